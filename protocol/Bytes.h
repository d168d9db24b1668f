// Bytes.h - byte strings and their hexadecimal text.
// State: none. Threads: any.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace protocol
{

using Bytes = std::vector<uint8_t>;

// Lower-case digits; `separator` between two bytes unless it is 0.
std::string ToHex(const Bytes &bytes, char separator = 0);

// Reads pairs of hexadecimal digits; blanks and colons may stand between pairs. False for anything else.
bool FromHex(const std::string &text, Bytes *bytes);

// "02:11:22:33:44:55"
std::string MacText(const Bytes &mac);

Bytes ToBytes(const std::string &text);

// The text up to the first zero byte, at most the whole field.
std::string FieldText(const Bytes &field);

void Append(Bytes *to, const Bytes &more);

} // namespace protocol
