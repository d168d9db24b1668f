// PluginCommands.h - the commands whose frame is a JSON text with typed members: one table, from which the texts, their
// checks and the documents are made.
//
// Most go to the agent itself (MsgType 18); two are the parameter of a router function. State: none; the table is a
// constant. Threads: any.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "protocol/Layout.h"

namespace protocol
{

enum class MemberKind : uint8_t {
    Choice,    // one of `values`, written as its number in a text
    Mac,       // written as agents look it up: upper case, with colons
    MacDigits, // 12 digits without colons
    Ip,
    NumberText, // a number from `low` to `high`, written as a text
    Number,
    Days,   // digits from 1 (Monday) to 7
    Time,   // H:MM; a second one is not before the first
    Text,   // at most `high` characters
    Always, // nobody gives it: the number `low`, written as a text
};

struct CommandMember {
    MemberKind kind;
    const char *member;    // its name in the document
    const char *parameter; // its name among JSON parameters; empty for Always
    const char *label;     // its name in a command line; empty if its word speaks for itself
    int64_t low = 0;
    int64_t high = 0;
    const char *about = "";
    ValueNames values = {};
    int64_t initial = kMustBeGiven; // of a number that may be left out
};

struct PluginCommand {
    const char *name;
    uint16_t function; // whose parameter the text is; 0: none, it is the payload of a plugin command
    uint8_t dataType;  // of the frame
    bool inList;       // the document is {"LIST":[{...}]}
    const char *summary;
    const CommandMember *members;
    size_t count;

    const CommandMember *begin() const { return members; }
    const CommandMember *end() const { return members + count; }
};

extern const std::vector<PluginCommand> kPluginCommands;

// nullptr if there is none.
const PluginCommand *FindPluginCommand(const std::string &name);

// The members that values can set, in their order.
std::vector<const CommandMember *> SettableMembers(const PluginCommand &command);

// The text of a command. `values` belong to SettableMembers(), in their order; those that are absent, or behind the
// last, were not given. False with a reason that calls the member as `name` says: by its label, or its parameter.
bool MakeCommandText(const PluginCommand &command, const std::vector<std::optional<std::string>> &values,
                     const char *CommandMember::*name, std::string *text, std::string *error);

} // namespace protocol
