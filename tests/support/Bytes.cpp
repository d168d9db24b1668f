#include "tests/support/Bytes.h"

#include <cctype>
#include <gtest/gtest.h>

Bytes operator+(const Bytes &left, const Bytes &right)
{
    Bytes all = left;
    all.insert(all.end(), right.begin(), right.end());
    return all;
}

Bytes Hex(const std::string &text)
{
    Bytes bytes;
    std::string digits;
    for (const char c : text) {
        if (c == ' ') continue;
        if (!isxdigit(static_cast<unsigned char>(c))) ADD_FAILURE() << "\"" << c << "\" is no hex digit: " << text;
        digits += c;
        if (digits.size() < 2) continue;
        bytes.push_back(static_cast<uint8_t>(strtoul(digits.c_str(), nullptr, 16)));
        digits.clear();
    }
    EXPECT_EQ("", digits) << "half a byte: " << text;
    return bytes;
}

Bytes Text(const std::string &text)
{
    return Bytes(text.begin(), text.end());
}

Bytes Le16(size_t value)
{
    return {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8)};
}

Bytes Repeated(const Bytes &bytes, size_t times)
{
    Bytes all;
    for (size_t i = 0; i < times; i++) all.insert(all.end(), bytes.begin(), bytes.end());
    return all;
}
