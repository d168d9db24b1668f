// Words.h - a command line as words, and the small values in them.
// State: none. Threads: any.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "protocol/Address.h"
#include "protocol/Numbers.h"

namespace sim
{

using namespace protocol;

using Words = std::vector<std::string>;

// As a completion: the name of any file.
constexpr char kAnyFile[] = "FILE";

// Splits at blanks. '...' keeps everything, "..." everything but \" and \\, and a word that starts with # begins a
// comment. A quote inside a word is an ordinary character, and a word that begins with { extends to the brace that
// closes it, so that JSON needs no quoting. Returns false with the reason when a quote is not closed.
bool SplitWords(const std::string &line, Words *words, std::string *error);

// Seconds, decimals allowed, as milliseconds; at most a day.
bool ParseSeconds(const std::string &text, int64_t *milliseconds);

// "1500", "100K", "3M", "1G": bytes, the letters for 1024 and its powers.
constexpr int64_t kMaxSize = int64_t(1) << 40;
bool ParseSize(const std::string &text, int64_t *bytes);

} // namespace sim
