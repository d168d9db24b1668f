#include "sdk/linux/access/Rules.h"

#include "sdk/linux/access/RuleEvents.h"
#include "sdk/linux/limits/Limits.h"
#include "tests/support/Texts.h"
#include "tests/unit/linux_router/Messages.h"
#include <cstring>
#include <gtest/gtest.h>
#include <linux/netfilter/nf_tables.h>
#include <linux/netfilter/nfnetlink.h>
#include <memory>

static const uint8_t kPhone[6] = {2, 0, 0, 0, 0, 1};
static const uint8_t kTablet[6] = {2, 0, 0, 0, 0, 2};

class RouterRules : public testing::Test
{
  protected:
    std::string Rules(size_t size = kMaxRules)
    {
        std::string script(size, '\0');
        const RuleInput input = {state.get(), "br-lan", &wans[0], 1, masquerade, black, blackCount};
        script.resize(WriteRules(&input, &script[0], size));
        return script;
    }
    std::unique_ptr<State> state = std::make_unique<State>();
    const char wans[1][16] = {"eth0"};
    bool masquerade = false;
    uint8_t black[2][6] = {{2, 0, 0, 0, 0, 8}, {2, 0, 0, 0, 0, 9}};
    uint16_t blackCount = 0;
};

TEST_F(RouterRules, ReplaceWhatWasThereInOneStep)
{
    EXPECT_EQ(0u, Rules().find("add table inet plug_router\ndelete table inet plug_router\n"
                               "add table netdev plug_router\ndelete table netdev plug_router\n"));
}

TEST_F(RouterRules, RefusedAndBlackDevicesAreInBothTables)
{
    MakeSettings(state.get(), kPhone)->refused = 1;
    MakeSettings(state.get(), kTablet);
    blackCount = 2;
    const std::string rules = Rules();
    EXPECT_EQ(2u, CountOf(rules, "set refused {\n  type ether_addr\n  elements = { 02:00:00:00:00:01 }\n }\n"));
    EXPECT_EQ(
        2u,
        CountOf(rules, "set black {\n  type ether_addr\n  elements = { 02:00:00:00:00:08, 02:00:00:00:00:09 }\n }\n"));
}

TEST_F(RouterRules, AnEmptyListHasNoElements)
{
    EXPECT_EQ(0u, CountOf(Rules(), "elements"));
}

TEST_F(RouterRules, ALimitIsTheClassOfTheDevicesPlace)
{
    MakeSettings(state.get(), kPhone);
    MakeSettings(state.get(), kTablet)->maxUp = 1;
    const std::string rules = Rules();
    EXPECT_EQ(1u, CountOf(rules, "elements = { 02:00:00:00:00:02 : 706c:11 }"));
    EXPECT_LT(rules.find("706c:11"), rules.find("table netdev plug_router {")); // sent: the first table
}

TEST_F(RouterRules, MasqueradingIsOnlyThereWhenItIsWanted)
{
    EXPECT_FALSE(Contains(Rules(), "masquerade"));
    masquerade = true;
    EXPECT_TRUE(Contains(Rules(), "meta nfproto ipv4 iifname \"br-lan\" oifname \"eth0\" masquerade"));
}

TEST_F(RouterRules, AScriptThatDoesNotFitIsNone)
{
    MakeSettings(state.get(), kPhone)->refused = 1;
    const size_t length = Rules().size();
    for (size_t size = 1; size <= length; size++) EXPECT_EQ("", Rules(size)) << size;
    EXPECT_EQ(length, Rules(length + 1).size());
}

TEST_F(RouterRules, TheLargestHouseholdFits)
{
    for (uint16_t i = 0; i < kMaxSettings; i++) {
        const uint8_t mac[6] = {2, 0, 0, 0, uint8_t(i >> 8), uint8_t(i)};
        DeviceSettings *device = MakeSettings(state.get(), mac);
        device->refused = 1;
        device->maxUp = device->maxDown = INT64_MAX;
    }
    EXPECT_NE("", Rules());
    std::string script(kMaxLimits, '\0');
    EXPECT_NE(0u, WriteLimits("eth0.4094@long0", state.get(), true, &script[0], kMaxLimits));
}

TEST_F(RouterRules, LettingInRemovesWhatMayNotBeThere)
{
    char script[512];
    ASSERT_NE(0u, WriteAccess(kPhone, false, script, sizeof script));
    EXPECT_STREQ("add element inet plug_router refused { 02:00:00:00:00:01 }\n"
                 "delete element inet plug_router refused { 02:00:00:00:00:01 }\n"
                 "add element netdev plug_router refused { 02:00:00:00:00:01 }\n"
                 "delete element netdev plug_router refused { 02:00:00:00:00:01 }\n",
                 script);
}

TEST_F(RouterRules, LimitsAreOneHtbWithAClassForEachLimitedDevice)
{
    MakeSettings(state.get(), kPhone)->maxDown = 100000;
    MakeSettings(state.get(), kTablet)->maxUp = 1;
    char script[2048];
    ASSERT_NE(0u, WriteLimits("br-lan", state.get(), false, script, sizeof script));
    EXPECT_STREQ("qdisc add dev br-lan root handle 706c: htb\n"
                 "class replace dev br-lan parent 706c: classid 706c:10 htb rate 101000bps ceil 101000bps "
                 "burst 5048 cburst 5048 quantum 1514\n"
                 "qdisc replace dev br-lan parent 706c:10 tbf rate 12500000000bps burst 10240 limit 50500\n",
                 script);
    state->devices[0].maxDown = 0;
    EXPECT_EQ(0u, WriteLimits("br-lan", state.get(), false, script, sizeof script));
}

TEST_F(RouterRules, RatesThatTheKernelCannotHoldAreTheNearestThatItCan)
{
    char script[kLimitScript];
    ASSERT_NE(0u, WriteLimit("eth0", 0, 1, script, sizeof script));
    EXPECT_TRUE(Contains(script, "rate 64bps"));
    ASSERT_NE(0u, WriteLimit("eth0", 0, INT64_MAX, script, sizeof script));
    EXPECT_TRUE(Contains(script, "rate 12500000000bps"));
}

// ---- Who has changed them ----

static Message RuleMessage(int type, const std::string &table, uint32_t sender)
{
    return Message(uint16_t(NFNL_SUBSYS_NFTABLES << 8 | type), Raw(nfgenmsg{}) + Attribute(1, Text(table)), sender);
}

static Message EndMessage(uint32_t process)
{
    return Message(uint16_t(NFNL_SUBSYS_NFTABLES << 8 | NFT_MSG_NEWGEN),
                   Raw(nfgenmsg{}) + Attribute(NFTA_GEN_PROC_PID, {0, 0, uint8_t(process >> 8), uint8_t(process)}));
}

static bool IsOurs(uint32_t number)
{
    return number == 42;
}

// Hears a change of one message; returns whether it was somebody else's.
static bool Change(int type, const std::string &table, uint32_t sender, uint32_t process)
{
    RuleWatch watch = {};
    EXPECT_FALSE(RulesTouched(&watch, RuleMessage(type, table, sender).Get(), IsOurs));
    return RulesTouched(&watch, EndMessage(process).Get(), IsOurs);
}

TEST(RuleEvents, AChangeOfOursIsKnownByItsSocketOrItsProcess)
{
    EXPECT_FALSE(Change(NFT_MSG_DELTABLE, "plug_router", 42, 7)); // another space of process numbers
    EXPECT_FALSE(Change(NFT_MSG_DELTABLE, "plug_router", 7, 42)); // a second socket
    EXPECT_TRUE(Change(NFT_MSG_DELTABLE, "plug_router", 7, 7));
}

TEST(RuleEvents, EveryKindOfChangeOfOurTablesCountsAndNoneOfOthers)
{
    for (const int type : {NFT_MSG_DELTABLE, NFT_MSG_DELCHAIN, NFT_MSG_DELRULE, NFT_MSG_NEWRULE, NFT_MSG_DELSET,
                           NFT_MSG_DELSETELEM, NFT_MSG_NEWSETELEM}) {
        EXPECT_TRUE(Change(type, "plug_router", 7, 7)) << type;
        EXPECT_FALSE(Change(type, "plug_router2", 7, 7)) << type;
        EXPECT_FALSE(Change(type, "filter", 7, 7)) << type;
    }
}

TEST(RuleEvents, MessagesCutAnywhereAreReadWithoutHarm)
{
    for (const Message &message : {RuleMessage(NFT_MSG_DELTABLE, "plug_router", 7), EndMessage(7)}) {
        for (size_t length = sizeof(nlmsghdr); length + 4 < message.Size(); length++) {
            RuleWatch watch = {};
            EXPECT_FALSE(RulesTouched(&watch, message.CutTo(length).Get(), IsOurs));
        }
    }
}
