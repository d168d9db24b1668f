// WrongWords.h - how a misbehaviour is written: NAME[@WHERE][=VALUE] [COUNT].
// State: none. Threads: any.
#pragma once

#include <optional>
#include <string>

#include "simulator/Words.h"

namespace sim
{

struct WrongWords {
    std::string name;
    std::optional<std::string> where, value;
    int64_t count = -1; // times to come; -1: until switched off
};

// Takes the words apart. False with the reason; `where` is what messages call WHERE.
bool SplitWrong(const Words &words, const char *where, WrongWords *wrong, std::string *error);

// The value of a misbehaviour: the one given, or `unset` where none is. `value` is how help names it, nullptr for one
// that takes none; `unset` is nullptr where one has to be given. False with the reason.
bool WrongValue(const WrongWords &wrong, const char *value, const char *unset, std::string *text, std::string *error);

// "  late=SECONDS              send ..." for help.
std::string WrongHelp(const char *name, const char *value, const char *unset, const char *help);

} // namespace sim
