#include <algorithm>
#include <cstring>

#include "core/Common.h"

static const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int Base64Encode(const uint8_t *in, size_t inLen, char *out, size_t capacity, size_t *outLen)
{
    *outLen = (inLen + 2) / 3 * 4;
    if (capacity < *outLen) return -1;
    for (size_t i = 0; i < inLen; i += 3) {
        const size_t have = std::min<size_t>(inLen - i, 3);
        const uint32_t group =
            static_cast<uint32_t>(in[i]) << 16 | (have > 1 ? in[i + 1] << 8 : 0) | (have > 2 ? in[i + 2] : 0);
        *out++ = kAlphabet[group >> 18];
        *out++ = kAlphabet[group >> 12 & 63];
        *out++ = have > 1 ? kAlphabet[group >> 6 & 63] : '=';
        *out++ = have > 2 ? kAlphabet[group & 63] : '=';
    }
    return 0;
}

// The length of a line break at `at`, 0 when there is none.
static size_t LineBreak(const char *at, size_t left)
{
    if (at[0] == '\n') return 1;
    return left > 1 && at[0] == '\r' && at[1] == '\n' ? 2 : 0;
}

// One pass over the text: counts the bytes that it stands for and, when `out` is given, stores them.
static int Decode(const char *in, size_t inLen, uint8_t *out, size_t *outLen)
{
    uint32_t group = 0;
    unsigned digits = 0; // in the group under way, padding included
    unsigned padding = 0;
    *outLen = 0;
    for (size_t i = 0; i < inLen;) {
        if (const size_t skip = LineBreak(in + i, inLen - i)) {
            i += skip;
            continue;
        }
        const char c = in[i++];
        const char *at = c ? strchr(kAlphabet, c) : nullptr;
        if (c == '=' && digits >= 2 && digits < 4)
            padding++;
        else if (!at || padding > 0)
            return -2;
        group = group << 6 | (at ? static_cast<uint32_t>(at - kAlphabet) : 0);
        if (++digits < 4) continue;
        for (unsigned n = 0; n < 3 - padding; n++) {
            if (out) out[*outLen] = static_cast<uint8_t>(group >> (16 - 8 * n));
            ++*outLen;
        }
        if (padding == 0) digits = 0; // a padded group is the last: `padding` refuses anything behind it
    }
    return digits == 0 || (digits == 4 && padding > 0) ? 0 : -2;
}

int Base64Decode(const char *in, size_t inLen, uint8_t *out, size_t capacity, size_t *outLen)
{
    const int result = Decode(in, inLen, nullptr, outLen);
    if (result != 0) return result;
    if (capacity < *outLen) return -1;
    return Decode(in, inLen, out, outLen);
}
