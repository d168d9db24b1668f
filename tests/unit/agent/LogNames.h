// LogNames.h - the texts of the log that are fixed, each with the module and the procedure under which it is logged,
// whichever helper writes it. Operators search for the pair, so it must not change.
#pragma once

#include <string>
#include <vector>

struct LogName {
    const char *scene; // what brings it about in LogNamesTest; "" when only other tests do
    const char *module;
    const char *function;
    const char *text;       // with its placeholders
    const char *level = ""; // "" where it is not fixed
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

// The lines of a log with a fixed text under a wrong procedure or level, one a line. AgentTest checks everything that
// any test logs.
std::string Misnamed(const std::string &log);
