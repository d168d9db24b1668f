// Tokens: who may log in with what.
#include <gtest/gtest.h>

#include "gateway/session/Token.h"

using namespace gateway;

namespace
{
const Mac kMac = {2, 0x1a, 0x2b, 0, 0, 1};
constexpr int64_t kNow = 1700000000, kLife = 120;

TokenBytes Sample()
{
    return MakeToken("secret", "123456789012", "R1", kMac, kNow);
}

TEST(Token, TellsTheMacOfItsRegistration)
{
    Mac mac = {};
    EXPECT_TRUE(CheckToken("secret", "123456789012", "R1", Sample(), kNow, kLife, &mac));
    EXPECT_EQ(kMac, mac);
}

TEST(Token, IsForOneDeviceAndOneSecretOnly)
{
    Mac mac = {};
    EXPECT_FALSE(CheckToken("Secret", "123456789012", "R1", Sample(), kNow, kLife, &mac));
    EXPECT_FALSE(CheckToken("secret", "123456789013", "R1", Sample(), kNow, kLife, &mac));
    EXPECT_FALSE(CheckToken("secret", "123456789012", "R2", Sample(), kNow, kLife, &mac));
    EXPECT_EQ(Mac{}, mac);
}

TEST(Token, PinAndSerialNumberDoNotRunIntoEachOther)
{
    Mac mac = {};
    const TokenBytes token = MakeToken("secret", "1234", "5R", kMac, kNow);
    EXPECT_FALSE(CheckToken("secret", "12345", "R", token, kNow, kLife, &mac));
}

TEST(Token, EveryBitCounts)
{
    for (size_t bit = 0; bit < 8 * kTokenSize; bit++) {
        TokenBytes token = Sample();
        token[bit / 8] ^= static_cast<uint8_t>(1 << bit % 8);
        Mac mac = {};
        EXPECT_FALSE(CheckToken("secret", "123456789012", "R1", token, kNow, kLife, &mac)) << bit;
    }
}

TEST(Token, IsGoodForItsLifeAndForClocksThatDifferALittle)
{
    Mac mac;
    const auto good = [&](int64_t now) {
        return CheckToken("secret", "123456789012", "R1", Sample(), now, kLife, &mac);
    };
    EXPECT_TRUE(good(kNow + kLife));
    EXPECT_FALSE(good(kNow + kLife + 1));
    EXPECT_TRUE(good(kNow - kClockSkew));
    EXPECT_FALSE(good(kNow - kClockSkew - 1));
}
} // namespace
