// OsDivide.h - division of 64-bit numbers. In both procedures the divisor is from 1 to 2^63.
// State: none. Threads: any.
#pragma once

#include <cstdint>

// Returns number / divisor, a bit at a time.
__attribute__((noinline)) inline uint64_t OsDivideBitwise(uint64_t number, uint64_t divisor)
{
    uint64_t rest = 0;
    for (int bit = 0; bit < 64; bit++) {
        rest = rest << 1 | number >> 63;
        number <<= 1;
        if (rest < divisor) continue;
        rest -= divisor;
        number |= 1; // the result grows where the number has been
    }
    return number;
}

// Returns number / divisor. For the operators / and % of such numbers a 32-bit processor needs procedures of the
// compiler's library, 1.2 KB each; the loop is a tenth of one.
inline uint64_t OsDivide(uint64_t number, uint64_t divisor)
{
    return sizeof(void *) == sizeof number ? number / divisor : OsDivideBitwise(number, divisor);
}
