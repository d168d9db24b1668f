#include "FuzzInput.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

void FuzzRequire(bool holds, const char *rule, const char *file, int line)
{
    if (holds) return;
    fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, rule);
    abort();
}

// ---- Input ----

uint8_t FuzzInput::Byte()
{
    if (left == 0) return 0;
    left--;
    return *data++;
}

uint16_t FuzzInput::Word()
{
    const uint8_t low = Byte();
    return static_cast<uint16_t>(low | Byte() << 8);
}

const uint8_t *FuzzInput::Bytes(size_t *size)
{
    if (*size > left) *size = left;
    const uint8_t *at = data;
    data += *size;
    left -= *size;
    return at;
}

std::string FuzzInput::Text()
{
    if (left == 0) return ""; // an empty input may have a null address
    const size_t length = strnlen(reinterpret_cast<const char *>(data), left);
    std::string text(reinterpret_cast<const char *>(data), length);
    size_t taken = length + 1;
    Bytes(&taken);
    return text;
}
