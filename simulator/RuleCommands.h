// RuleCommands.h - the rules that a platform gives a router (forwarded ports, limits and times without internet of
// single devices): from words to the JSON texts that an agent reads, and from its results to what they mean.
// State: none. Threads: any.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "simulator/Words.h"

namespace sim
{

constexpr uint16_t kLimitFunction = 66;
constexpr uint16_t kSurfFunction = 69;

// The document of a whole command line. False with a reason that names the word when one is wrong: what an agent is to
// cope with all the same is sent as a text (`plugin route-set`, `set-bandwidth`, `surf-json`).
//   forward add|del PRE_IP PRE_PORT POST_IP POST_PORT
//   limit MAC UP DOWN | limit MAC off
//   surf add|del MAC DAYS START STOP
// A MAC is written as agents look it up: upper case, with colons.
bool ForwardText(const Words &words, std::string *text, std::string *error);
bool LimitText(const Words &words, std::string *text, std::string *error);
bool SurfText(const Words &words, std::string *text, std::string *error);

// What the status of a function, or the result of a plugin command, means. Empty for one that has no meaning of its
// own.
std::string StatusMeaning(unsigned function, int status);
std::string ResultMeaning(uint8_t dataType, int result);

// What may follow `words`, a command of the above; empty for every other.
std::vector<std::string> RuleCompletions(const Words &words);

} // namespace sim
