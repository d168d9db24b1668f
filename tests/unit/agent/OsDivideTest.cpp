#include "os/OsDivide.h"

#include <gtest/gtest.h>

namespace
{

constexpr uint64_t kLargest = UINT64_MAX;
constexpr uint64_t kLargestDivisor = uint64_t{1} << 63;

} // namespace

TEST(OsDivide, GivesTheSameAsTheOperator)
{
    const uint64_t numbers[] = {0,
                                1,
                                2,
                                7,
                                999,
                                1000,
                                1001,
                                1999,
                                123456789,
                                0xFFFFFFFF,
                                0x100000000,
                                0x100000001,
                                86400000000,
                                kLargestDivisor - 1,
                                kLargestDivisor,
                                kLargestDivisor + 1,
                                kLargest - 1,
                                kLargest};
    for (const uint64_t number : numbers) {
        for (const uint64_t divisor : numbers) {
            if (divisor == 0 || divisor > kLargestDivisor) continue;
            EXPECT_EQ(number / divisor, OsDivideBitwise(number, divisor)) << number << " / " << divisor;
            EXPECT_EQ(number / divisor, OsDivide(number, divisor)) << number << " / " << divisor;
        }
    }
}
