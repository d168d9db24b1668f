// Any text to decode and any bytes to encode: the announced size is the written size, and encoding reverses decoding.
#include <cstring>
#include <string>
#include <vector>

#include "FuzzOs.h"
#include "core/Common.h"

static void Encode(const uint8_t *data, size_t size)
{
    size_t length = 0, back = 0;
    REQUIRE(Base64Encode(data, size, nullptr, 0, &length) == (size == 0 ? 0 : -1));
    REQUIRE(length == (size + 2) / 3 * 4);
    std::vector<char> text(length + 1, '~');
    REQUIRE(Base64Encode(data, size, text.data(), length, &length) == 0 && text[length] == '~');
    std::vector<uint8_t> again(size + 1, 0xA5);
    REQUIRE(Base64Decode(text.data(), length, again.data(), size, &back) == 0);
    REQUIRE(back == size && again[size] == 0xA5);
    REQUIRE(size == 0 || memcmp(again.data(), data, size) == 0);
}

static void Decode(const char *text, size_t size)
{
    size_t length = 0, textLen = 0;
    if (Base64Decode(text, size, nullptr, 0, &length) == -2) return;
    std::vector<uint8_t> bytes(length + 1, 0xA5);
    REQUIRE(Base64Decode(text, size, bytes.data(), length, &length) == 0 && bytes[length] == 0xA5);
    if (length > 0) REQUIRE(Base64Decode(text, size, bytes.data(), length - 1, &length) == -1);

    // The result is the same text without line breaks, except unused bits of the last digit.
    std::string digits;
    for (size_t i = 0; i < size; i++)
        if (text[i] != '\r' && text[i] != '\n') digits += text[i];
    std::vector<char> again((length + 2) / 3 * 4);
    REQUIRE(Base64Encode(bytes.data(), length, again.data(), again.size(), &textLen) == 0);
    REQUIRE(textLen == digits.size());
    const size_t loose = length % 3 == 0 ? textLen : length / 3 * 4 + length % 3; // the digit with unused bits
    for (size_t i = 0; i < textLen; i++) REQUIRE(i == loose || again[i] == digits[i]);
    REQUIRE(loose == textLen || digits[loose] != '=');
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Encode(data, size);
    Decode(reinterpret_cast<const char *>(data), size);
    return 0;
}
