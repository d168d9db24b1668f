// Words.h - a command line as words, and the small values that stand in them.
// State: none. Threads: any.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace sim
{

using Words = std::vector<std::string>;

// Among completions: the name of any file.
constexpr char kAnyFile[] = "FILE";

// Splits at blanks. '...' keeps everything, "..." everything but \" and \\, and a word that starts with # begins a
// comment. A quote inside a word is an ordinary character, and a word that begins with { goes on to the brace that
// closes it, so that JSON needs no quoting. Returns false with the reason when a quote is not closed.
bool SplitWords(const std::string &line, Words *words, std::string *error);

// A whole number, decimal or 0x..., within [low, high]. False for anything else.
bool ParseNumber(const std::string &text, int64_t low, int64_t high, int64_t *number);

// Seconds, with decimals if you like, as milliseconds; at most a day.
bool ParseSeconds(const std::string &text, int64_t *milliseconds);

struct Address {
    uint8_t octets[4] = {127, 0, 0, 1};
    uint16_t port = 0;
};

// "1.2.3.4:5678" or ":5678" (this computer), ports 0 to 65535.
bool ParseAddress(const std::string &text, Address *address);
std::string AddressText(const Address &address);

} // namespace sim
