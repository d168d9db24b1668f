// LogNames.h - under which module and procedure each documented text of the log stands, whichever helper writes it.
// Operators look for the pair, so it is part of what the agent promises.
#pragma once

#include <string>
#include <vector>

struct LogName {
    const char *scene; // what provokes it in LogNamesTest; "" when other tests alone do
    const char *module;
    const char *function;
    const char *text;       // as it is documented, with its placeholders
    const char *level = ""; // where it is settled
};

extern const std::vector<LogName> kLogNames;

// One line of the log.
struct LogText {
    std::string level, module, function, text;
};

// What a captured log holds, without colours.
std::vector<LogText> LogTexts(const std::string &log);

// Whether `entry` can be what `name` describes, by its text and module.
bool HasText(const LogText &entry, const LogName &name);
bool HasName(const LogText &entry, const LogName &name);

// The lines of a log with a documented text that stand under another procedure or level, one a line. AgentTest looks at
// all that any test logs.
std::string Misnamed(const std::string &log);
