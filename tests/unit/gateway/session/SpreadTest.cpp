// How routers are spread over gateways, and how registrations are limited.
#include <gtest/gtest.h>
#include <map>

#include "gateway/session/Instances.h"
#include "gateway/session/RateLimit.h"
#include "gateway/session/Rendezvous.h"

using namespace gateway;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace
{
const Clock::time_point kStart{seconds(1000)};
const std::vector<std::string> kThree = {"10.0.0.1:6040", "10.0.0.2:6040", "10.0.0.3:6040"};

std::string Serial(int i)
{
    return "R" + std::to_string(i);
}

TEST(Rendezvous, EveryPlaceGetsItsShare)
{
    std::map<size_t, int> shares;
    for (int i = 0; i < 30000; i++) shares[Choose(kThree, Serial(i))]++;
    for (const auto &[place, count] : shares) EXPECT_NEAR(10000, count, 300) << place;
    EXPECT_EQ(3u, shares.size());
}

TEST(Rendezvous, OnlyTheKeysOfAPlaceThatGoesMove)
{
    const std::vector<std::string> two = {kThree[0], kThree[2]};
    for (int i = 0; i < 3000; i++) {
        const std::string before = kThree[Choose(kThree, Serial(i))];
        const std::string after = two[Choose(two, Serial(i))];
        if (before != kThree[1]) {
            EXPECT_EQ(before, after);
        }
    }
}

TEST(Rendezvous, TheOrderOfThePlacesDoesNotMatter)
{
    const std::vector<std::string> turned = {kThree[2], kThree[0], kThree[1]};
    for (int i = 0; i < 1000; i++) EXPECT_EQ(kThree[Choose(kThree, Serial(i))], turned[Choose(turned, Serial(i))]);
}

// Gateways of different builds have to agree.
TEST(Rendezvous, TheHashNeverChanges)
{
    EXPECT_EQ(0xefd01f60ba992926u, StableHash(""));
    EXPECT_NE(StableHash("a"), StableHash("b"));
}

TEST(Rate, AllowsABurstOfOneSecondAndThenItsRate)
{
    Rate rate(5, kStart);
    int taken = 0;
    for (int i = 0; i < 20; i++) taken += rate.Take(kStart);
    EXPECT_EQ(5, taken);
    EXPECT_FALSE(rate.Take(kStart + milliseconds(199)));
    EXPECT_TRUE(rate.Take(kStart + milliseconds(401)));
    EXPECT_TRUE(rate.Take(kStart + milliseconds(402)));
    EXPECT_FALSE(rate.Take(kStart + milliseconds(403)));
}

TEST(Rate, OfLessThanOneASecondStillAllowsOne)
{
    Rate rate(0.5, kStart);
    EXPECT_FALSE(rate.Take(kStart));
    EXPECT_TRUE(rate.Take(kStart + seconds(1)));
    EXPECT_FALSE(rate.Take(kStart + seconds(2)));
}

TEST(AddressLimits, OneAddressDoesNotLimitAnother)
{
    AddressLimits limits(2);
    EXPECT_TRUE(limits.Take(1, kStart));
    EXPECT_TRUE(limits.Take(1, kStart));
    EXPECT_FALSE(limits.Take(1, kStart));
    EXPECT_TRUE(limits.Take(2, kStart));
}

TEST(AddressLimits, ZeroIsNoLimit)
{
    AddressLimits limits(0);
    for (int i = 0; i < 1000; i++) EXPECT_TRUE(limits.Take(1, kStart));
}

TEST(AddressLimits, ManyAddressesTakeBoundedMemoryAndAreForgotten)
{
    AddressLimits limits(1, 100);
    for (uint32_t address = 0; address < 100; address++) EXPECT_TRUE(limits.Take(address, kStart));
    EXPECT_FALSE(limits.Take(100, kStart));
    EXPECT_TRUE(limits.Take(100, kStart + seconds(3)));
}

Change Entry(const std::string &id, const std::string &login)
{
    protocol::Address address;
    protocol::ParseAddress(login, &address);
    return {id, InstanceText(login.empty() ? std::nullopt : std::optional<protocol::Address>(address)), 1};
}

TEST(Instances, ThoseThatAreSilentAreDead)
{
    Instances instances;
    instances.Take(Entry("a", "10.0.0.1:6040"), kStart);
    EXPECT_TRUE(instances.Alive("a", kStart + kDeadAfter - seconds(1)));
    EXPECT_FALSE(instances.Alive("a", kStart + kDeadAfter));
    instances.Take(Entry("a", "10.0.0.1:6040"), kStart + kDeadAfter);
    EXPECT_TRUE(instances.Alive("a", kStart + kDeadAfter));
    EXPECT_FALSE(instances.Alive("b", kStart));
}

TEST(Instances, ALoginServerIsOneThatIsAliveAndHasOne)
{
    Instances instances;
    EXPECT_FALSE(instances.LoginServer("R1", kStart));
    instances.Take(Entry("registers-only", ""), kStart);
    EXPECT_FALSE(instances.LoginServer("R1", kStart));
    instances.Take(Entry("a", "10.0.0.1:6040"), kStart);
    EXPECT_EQ("10.0.0.1:6040", AddressText(*instances.LoginServer("R1", kStart)));
    instances.Take({"a", std::nullopt, 0}, kStart);
    EXPECT_FALSE(instances.LoginServer("R1", kStart));
    EXPECT_EQ(std::vector<std::string>{"registers-only"}, instances.All(kStart));
}

TEST(Instances, OneThatStartsAgainGetsItsRoutersBack)
{
    Instances before, after;
    before.Take(Entry("a-1", "10.0.0.1:6040"), kStart);
    before.Take(Entry("b-1", "10.0.0.2:6040"), kStart);
    after.Take(Entry("z-2", "10.0.0.1:6040"), kStart);
    after.Take(Entry("b-1", "10.0.0.2:6040"), kStart);
    for (int i = 0; i < 200; i++)
        EXPECT_EQ(AddressText(*before.LoginServer(Serial(i), kStart)),
                  AddressText(*after.LoginServer(Serial(i), kStart)));
}

TEST(Instances, NonsenseInTheBucketIsNoGateway)
{
    Instances instances;
    for (const char *text : {"", "[]", "{\"login\":7}", "{\"login\":\"x\"}"}) {
        instances.Take({"a", text, 1}, kStart);
        EXPECT_FALSE(instances.LoginServer("R1", kStart)) << text;
    }
}
} // namespace
