#include "rules/SurfRules.h"

#include <cerrno>
#include <cstring>

#include "core/Common.h"
#include "platform/ServerStop.h"
#include "platform/Settings.h"
#include "rules/BadItem.h"
#include "subdev/SubdevMutex.h"
#include "tests/unit/agent/SurfTest.h"

static const char kMac[] = "02:00:00:00:00:0A";
static const char kBytes[] = "02000000000A";

class SurfRulesTest : public SurfTest
{
  protected:
    // {"LIST":[item, item]}
    static std::string Document(std::initializer_list<std::string> items)
    {
        std::string text;
        for (const std::string &item : items) text += (text.empty() ? "" : ",") + item;
        return "{\"LIST\":[" + text + "]}";
    }

    static std::string Item(const std::string &flag, const std::string &mac, const std::string &days,
                            const std::string &start, const std::string &stop, const std::string &allow = "0")
    {
        return "{\"FLAG\":\"" + flag + "\",\"MAC\":\"" + mac + "\",\"DAY\":\"" + days + "\",\"START\":\"" + start +
               "\",\"STOP\":\"" + stop + "\",\"ALLOW\":\"" + allow + "\"}";
    }

    static int Do(const std::string &json) { return ParseSurfRulesParam(json.c_str()); }
    static int DoItem(const std::string &flag, const std::string &days, const std::string &start,
                      const std::string &stop)
    {
        return Do(Document({Item(flag, kMac, days, start, stop)}));
    }

    // The weekdays under which a device has rules, as digits.
    static std::string Days(const std::string &mac)
    {
        std::string days;
        for (char day = '0'; day <= '9'; day++)
            if (hash_table_lookup((mac + '|' + day).c_str())) days += day;
        return days;
    }

    static std::string Rules(const std::string &mac, const std::string &day)
    {
        const HashEntry *entry = hash_table_lookup((mac + '|' + day).c_str());
        return entry ? Ranges(entry->rules) : "none";
    }
};

// ---- Codes ----

TEST_F(SurfRulesTest, MissingTextReturns1)
{
    EXPECT_EQ(1, ParseSurfRulesParam(nullptr));
    EXPECT_TRUE(Holds(Log(), "]-> Json is null.\n"));
}

TEST_F(SurfRulesTest, InvalidJsonReturns2)
{
    for (const char *text : {"", "{", "{\"LIST\":[}", "nonsense", "{\"LIST\":[{\"FLAG\":\"1\""}) {
        EXPECT_EQ(2, ParseSurfRulesParam(text)) << text;
        EXPECT_TRUE(Holds(Log(), "]-> Parse json failed.\n")) << text;
    }
}

TEST_F(SurfRulesTest, AMissingOrEmptyListIsDone)
{
    for (const char *text : {"{}", "{\"LIST\":[]}", "{\"LIST\":{}}", "{\"LIST\":{\"A\":{}}}", "{\"LIST\":null}",
                             "{\"LIST\":\"1\"}", "{\"LIST\":7}", "[]", "7", "\"LIST\"", "null"})
        EXPECT_EQ(0, ParseSurfRulesParam(text)) << text;
    EXPECT_EQ(0, hash_table_size);
}

TEST_F(SurfRulesTest, EachMissingMemberHasItsResult)
{
    static const char *const kMembers[] = {"\"FLAG\":\"1\"",    "\"MAC\":\"02:00:00:00:00:0A\"",
                                           "\"DAY\":\"1\"",     "\"START\":\"8:00\"",
                                           "\"STOP\":\"9:00\"", "\"ALLOW\":\"0\""};
    for (int missing = 0; missing < 6; missing++) {
        std::string item;
        for (int i = 0; i < 6; i++)
            if (i != missing) item += (item.empty() ? "" : ",") + std::string(kMembers[i]);
        EXPECT_EQ(3 + missing, Do(Document({"{" + item + "}"}))) << missing;
        EXPECT_TRUE(Holds(Log(), "[RouteFunc->ParseSurfRulesParam->")) << missing;
    }
    EXPECT_EQ(3, Do(Document({"{}"})));
    EXPECT_TRUE(Holds(Log(), "]-> Wrong surf rule param\n"));
    EXPECT_EQ(0, hash_table_size);
}

TEST_F(SurfRulesTest, TheFirstMissingMemberDecides)
{
    EXPECT_EQ(4, Do(Document({"{\"FLAG\":\"1\",\"STOP\":\"9:00\"}"})));
    EXPECT_EQ(3, Do(Document({"{\"ALLOW\":\"1\"}"})));
}

TEST_F(SurfRulesTest, AnItemThatIsNoObjectLacksItsFlag)
{
    for (const char *item : {"1", "\"FLAG\"", "null", "[]", "true"}) EXPECT_EQ(3, Do(Document({item}))) << item;
}

TEST_F(SurfRulesTest, ItemsBeforeAnIncompleteOneStayApplied)
{
    const std::string third = "{\"FLAG\":\"1\",\"MAC\":\"M\",\"DAY\":\"1\",\"START\":\"8:00\",\"STOP\":\"9:00\"}";
    EXPECT_EQ(8, Do(Document({Item("1", "A", "1", "8:00", "9:00"), Item("1", "B", "2", "10:00", "11:00"), third,
                              Item("1", "C", "1", "8:00", "9:00")})));
    EXPECT_EQ("8:0-9:0", Rules("A", "1"));
    EXPECT_EQ("10:0-11:0", Rules("B", "2"));
    EXPECT_EQ("none", Rules("M", "1"));
    EXPECT_EQ("none", Rules("C", "1"));
}

TEST_F(SurfRulesTest, LogsTheSixTextsOfAnItem)
{
    EXPECT_EQ(0, Do(Document({Item("1", kMac, "135", "8:00", "9:30", "1")})));
    EXPECT_TRUE(Holds(Log(), "flag:1\n dev_mac:02:00:00:00:00:0A\n weekdays:135\n start_time:8:00\n stop_time:9:30\n "
                             "allowable:1\n\n"));
}

// ---- Adding ----

TEST_F(SurfRulesTest, AddsTheRuleUnderEveryWeekdayOfTheText)
{
    EXPECT_EQ(0, DoItem("1", "135", "8:00", "9:30"));
    EXPECT_EQ("135", Days(kMac));
    EXPECT_EQ("8:0-9:30", Rules(kMac, "1"));
    EXPECT_EQ("8:0-9:30", Rules(kMac, "5"));
    EXPECT_EQ(3, hash_table_size);
    EXPECT_TRUE(Holds(Log(), "]-> Add surf rule 02:00:00:00:00:0A|1\n"));
}

TEST_F(SurfRulesTest, WeekdaysAreTheDigitsAnywhereInTheText)
{
    const struct {
        const char *text;
        const char *days;
    } cases[] = {{"1,3,5", "135"},       {"0", ""},   {"10", "1"},       {"", ""},        {"890", ""},
                 {"7654321", "1234567"}, {"11", "1"}, {"Monday=2", "2"}, {"\\u0037", "7"}};
    for (const auto &c : cases) {
        hash_table_init();
        EXPECT_EQ(0, DoItem("1", c.text, "8:00", "9:00"));
        EXPECT_EQ(c.days, Days(kMac)) << c.text;
    }
}

TEST_F(SurfRulesTest, EveryWeekdayHasItsOwnCopyOfTheRule)
{
    DoItem("1", "12", "8:00", "9:00");
    DoItem("0", "1", "8:00", "9:00");
    EXPECT_EQ("none", Rules(kMac, "1"));
    EXPECT_EQ("8:0-9:0", Rules(kMac, "2"));
}

TEST_F(SurfRulesTest, TheDeviceTextIsStoredUnchanged)
{
    EXPECT_EQ(0, Do(Document({Item("1", "aa:bb:cc:dd:ee:0f", "1", "8:00", "9:00"), Item("1", "", "2", "8:00", "9:00"),
                              Item("1", " no mac ", "3", "8:00", "9:00")})));
    EXPECT_EQ("8:0-9:0", Rules("aa:bb:cc:dd:ee:0f", "1"));
    EXPECT_EQ("none", Rules("AA:BB:CC:DD:EE:0F", "1"));
    EXPECT_EQ("8:0-9:0", Rules("", "2"));
    EXPECT_EQ("8:0-9:0", Rules(" no mac ", "3"));
}

TEST_F(SurfRulesTest, ADeviceTextOf253CharactersFillsTheKeyAndALongerOneIsRefused)
{
    const std::string longest(253, 'A');
    EXPECT_EQ(0, Do(Document({Item("1", longest, "1", "8:00", "9:00")})));
    EXPECT_EQ("8:0-9:0", Rules(longest, "1"));
    Log();
    EXPECT_EQ(0, Do(Document({Item("1", longest + "A", "1", "8:00", "9:00")})));
    EXPECT_TRUE(Holds(Log(), "]-> Wrong surf rule\n"));
    EXPECT_EQ(1, hash_table_size);
}

TEST_F(SurfRulesTest, FurtherRulesForADayAreAppendedExceptEqualOnes)
{
    DoItem("1", "1", "8:00", "9:00");
    DoItem("1", "1", "18:00", "19:00");
    const int before = FakeAllocationsAlive();
    DoItem("1", "1", "08:0", "9:00"); // the same numbers
    EXPECT_EQ("8:0-9:0 18:0-19:0", Rules(kMac, "1"));
    EXPECT_EQ(before, FakeAllocationsAlive());
    EXPECT_EQ(1, hash_table_size);
}

TEST_F(SurfRulesTest, AllowIsIgnored)
{
    Do(Document({Item("1", "A", "1", "8:00", "9:00", "0"), Item("1", "B", "1", "8:00", "9:00", "1")}));
    EXPECT_EQ("8:0-9:0", Rules("A", "1"));
    EXPECT_EQ("8:0-9:0", Rules("B", "1"));
}

TEST_F(SurfRulesTest, TimesAreReadAsFarAsPossible)
{
    const struct {
        const char *start, *stop, *rule;
    } cases[] = {{"8", "9", "8:0-9:0"},
                 {"", "", "0:0-0:0"},
                 {"x", ":", "0:0-0:0"},
                 {"8:", "9:x", "8:0-9:0"},
                 {" 8:5", "9:05", "8:5-9:5"},
                 {"-1:-2", "99:99", "-1:-2-99:99"},
                 {"08:30:59", "9:1x", "8:30-9:1"},
                 {"8 :30", "9.30", "8:0-9:0"},
                 {"8: 30", "9: :1", "8:30-9:0"},
                 {"99999999999:1", "0:-99999999999", "2147483647:1-0:-2147483648"}};
    for (const auto &c : cases) {
        hash_table_init();
        EXPECT_EQ(0, DoItem("1", "1", c.start, c.stop));
        EXPECT_EQ(c.rule, Rules(kMac, "1")) << c.start << ' ' << c.stop;
    }
}

TEST_F(SurfRulesTest, AMemberThatIsNoTextRefusesTheItemAndTheNextOneIsApplied)
{
    for (const char *value : {"7", "null", "{}", "[\"1\"]", "true"})
        for (const char *name : {"MAC", "DAY", "START", "STOP"}) {
            hash_table_init();
            std::string item = Item("1", kMac, "1", "8:00", "9:00");
            const size_t at = item.find('"' + std::string(name) + "\":") + strlen(name) + 3;
            item.replace(at, item.find_first_of(",}", at) - at, value);
            Log();
            EXPECT_EQ(0, Do(Document({item, Item("1", "B", "1", "8:00", "9:00")}))) << item;
            EXPECT_TRUE(Holds(Log(), "]-> Wrong surf rule\n")) << item;
            EXPECT_EQ(1, hash_table_size) << item;
            EXPECT_EQ("8:0-9:0", Rules("B", "1")) << item;
        }
}

TEST_F(SurfRulesTest, CommitRefusesNullTexts)
{
    EXPECT_EQ(-1, CommitSurfRule(1, 1, nullptr, "1", "8:00", "9:00"));
    EXPECT_EQ(-1, CommitSurfRule(1, 1, kMac, nullptr, "8:00", "9:00"));
    EXPECT_EQ(-1, CommitSurfRule(1, 1, kMac, "1", nullptr, "9:00"));
    EXPECT_EQ(-1, CommitSurfRule(1, 1, kMac, "1", "8:00", nullptr));
    EXPECT_TRUE(Holds(Log(), "[RouteFunc->CommitSurfRule->"));
    EXPECT_EQ(0, hash_table_size);
}

TEST_F(SurfRulesTest, CommitWithAnotherActionDoesNothing)
{
    DoItem("1", "1", "8:00", "9:00");
    for (int add : {2, -1}) EXPECT_EQ(0, CommitSurfRule(add, 1, kMac, "1", "8:00", "9:00"));
    EXPECT_EQ("8:0-9:0", Rules(kMac, "1"));
    EXPECT_EQ(1, hash_table_size);
}

TEST_F(SurfRulesTest, WithoutMemoryARuleIsNotStored)
{
    FakeFailAllocation(1);
    EXPECT_EQ(0, DoItem("1", "12", "8:00", "9:00"));
    EXPECT_TRUE(Holds(Log(), "]-> Mem overflow!\n"));
    EXPECT_EQ("2", Days(kMac));
}

// ---- Deleting ----

TEST_F(SurfRulesTest, DeletesTheRuleAndLeavesTheOthers)
{
    DoItem("1", "12", "8:00", "9:00");
    DoItem("1", "12", "10:00", "11:00");
    Log();
    EXPECT_EQ(0, DoItem("0", "1", "8:00", "9:00"));
    const std::string log = Log();
    EXPECT_TRUE(Holds(log, "[RouteFunc->del_surf_rule->"));
    EXPECT_TRUE(Holds(log, "]-> Del from surf rule 02:00:00:00:00:0A|1 0x"));
    EXPECT_TRUE(Holds(log, "]-> rule - 8:0 9:0\n"));
    EXPECT_EQ("10:0-11:0", Rules(kMac, "1"));
    EXPECT_EQ("8:0-9:0 10:0-11:0", Rules(kMac, "2"));
    EXPECT_TRUE(gSdk.calls.empty());
}

TEST_F(SurfRulesTest, DeletingAMissingRuleOfAnEntryIsDone)
{
    DoItem("1", "1", "8:00", "9:00");
    Log();
    const SurfRule other = {8, 0, 9, 1};
    EXPECT_EQ(0, del_surf_rule(kMac, "1", &other));
    EXPECT_TRUE(Holds(Log(), "]-> can't find node! \n"));
    EXPECT_EQ("8:0-9:0", Rules(kMac, "1"));
    EXPECT_TRUE(gSdk.calls.empty());
}

TEST_F(SurfRulesTest, DeletingUnderAMissingKeyReturnsMinus1ForTheDayAndDoneForTheCommand)
{
    const SurfRule rule = {8, 0, 9, 0};
    EXPECT_EQ(-1, del_surf_rule(kMac, "1", &rule));
    EXPECT_TRUE(Holds(Log(), "]-> hash node is NULL for 02:00:00:00:00:0A|1\n"));
    DoItem("1", "3", "8:00", "9:00");
    EXPECT_EQ(0, DoItem("0", "1234567", "8:00", "9:00"));
    EXPECT_EQ("", Days(kMac));
}

TEST_F(SurfRulesTest, ARefusedDeviceHasAccessAgainAsSoonAsTheLastRuleOfADayIsDeleted)
{
    AddDevice(kBytes, 0);
    gSdk.devices[0].port = 0x1234;
    gSdk.devices[0].reserved2 = 77;
    DoItem("1", "1", "8:00", "9:00");
    DoItem("1", "1", "10:00", "11:00");
    EXPECT_EQ(0, DoItem("0", "1", "8:00", "9:00"));
    EXPECT_TRUE(gSdk.calls.empty()); // one rule is left
    Log();
    EXPECT_EQ(0, DoItem("0", "1", "10:00", "11:00"));
    const std::string log = Log();
    EXPECT_TRUE(Holds(log, "]-> set_dev_access_control for: 02:00:00:00:00:0A to 1\n"));
    EXPECT_TRUE(Holds(log, "]-> surf rule 02:00:00:00:00:0A|1 removed.\n"));
    EXPECT_TRUE(Holds(log, "]-> remove 02:00:00:00:00:0A|1\n"));
    ASSERT_EQ(2u, gSdk.calls.size());
    EXPECT_EQ("get_dev_cfg(02:00:00:00:00:0A)", gSdk.calls[0]);
    // MAC, name, reserved, changed 1, link, access 1, reserved2 77, port, address
    EXPECT_EQ("set_dev_access_control(02000000000A"
              "00000000000000000000000000000000"
              "0000"
              "01"
              "00"
              "01"
              "4D"
              "3412"
              "00000000)",
              gSdk.calls[1]);
    EXPECT_EQ("none", Rules(kMac, "1"));
}

TEST_F(SurfRulesTest, InTheOtherRunModeTheRecordIsNotMarkedAsChanged)
{
    for (int mode : {0, 1}) {
        runMode = mode;
        gSdk.devices.clear();
        AddDevice(kBytes, 0);
        DoItem("1", "1", "8:00", "9:00");
        DoItem("0", "1", "8:00", "9:00");
        EXPECT_EQ(1, gSdk.devices[0].access);
        EXPECT_EQ(mode, gSdk.devices[0].changed);
    }
}

TEST_F(SurfRulesTest, ADeviceThatHasAccessIsNotWritten)
{
    AddDevice(kBytes, 1);
    DoItem("1", "1", "8:00", "9:00");
    DoItem("0", "1", "8:00", "9:00");
    EXPECT_EQ(std::vector<std::string>({"get_dev_cfg(02:00:00:00:00:0A)"}), gSdk.calls);
    EXPECT_EQ("none", Rules(kMac, "1"));
}

TEST_F(SurfRulesTest, ADeviceThatTheRouterDoesNotKnowIsNotWrittenAndItsEntryIsRemoved)
{
    DoItem("1", "1", "8:00", "9:00");
    DoItem("0", "1", "8:00", "9:00");
    EXPECT_EQ(0u, Writes());
    EXPECT_EQ("none", Rules(kMac, "1"));
}

TEST_F(SurfRulesTest, EveryWeekdayThatLosesItsLastRuleReadsTheDevice)
{
    AddDevice(kBytes, 0);
    DoItem("1", "1234567", "8:00", "9:00");
    DoItem("0", "1234567", "8:00", "9:00");
    EXPECT_EQ(8u, gSdk.calls.size()); // one write and seven questions
    EXPECT_EQ(1u, Writes());
}

TEST_F(SurfRulesTest, RulesOfALowerCaseDeviceHaveNoEffectButDeletingThemGivesAccessBack)
{
    AddDevice("AABBCCDDEE0F", 0);
    Do(Document({Item("1", "aa:bb:cc:dd:ee:0f", "1", "8:00", "9:00")}));
    Do(Document({Item("0", "aa:bb:cc:dd:ee:0f", "1", "8:00", "9:00")}));
    EXPECT_EQ(1, Access("AABBCCDDEE0F"));
}

TEST_F(SurfRulesTest, MissingPairsOfTheDeviceTextAreZeros)
{
    Do(Document({Item("1", "02:0A:ff", "1", "8:00", "9:00"), Item("0", "02:0A:ff", "1", "8:00", "9:00"),
                 Item("1", "rubbish", "1", "8:00", "9:00"), Item("0", "rubbish", "1", "8:00", "9:00")}));
    EXPECT_EQ(std::vector<std::string>({"get_dev_cfg(02:0A:FF:00:00:00)", "get_dev_cfg(00:00:00:00:00:00)"}),
              gSdk.calls);
}

TEST_F(SurfRulesTest, AnEntryFoundByAPrefixStaysWhenItsLastRuleIsDeleted)
{
    ASSERT_EQ(hash_table_bucket("AA:BB:CC:DD:EE:5B|1"), hash_table_bucket("AA:BB:CC:DD:EE:5B|1x"));
    hash_table_insert("AA:BB:CC:DD:EE:5B|1", NewRule(8, 0, 9, 0));
    const SurfRule rule = {8, 0, 9, 0};
    EXPECT_EQ(0, del_surf_rule("AA:BB:CC:DD:EE:5B", "1x", &rule));
    EXPECT_EQ("", Rules("AA:BB:CC:DD:EE:5B", "1")); // there, without a rule
    EXPECT_EQ(0, del_surf_rule("AA:BB:CC:DD:EE:5B", "1", &rule));
    EXPECT_EQ("none", Rules("AA:BB:CC:DD:EE:5B", "1"));
}

// ---- Locks ----

TEST_F(SurfRulesTest, TheRouterIsCalledUnderItsLockAloneAndNothingIsLockedAfterwards)
{
    AddDevice(kBytes, 0);
    DoItem("1", "1", "8:00", "9:00");
    const auto keep = gSdk.onCall;
    int asked = 0;
    gSdk.onCall = [&](const std::string &name) {
        asked++;
        EXPECT_EQ(EDEADLK, pthread_mutex_lock(&SubdevMutex)) << name; // held, and by this thread
        EXPECT_EQ(0, pthread_mutex_trylock(&hashTableMutex)) << name;
        pthread_mutex_unlock(&hashTableMutex);
        keep(name);
    };
    DoItem("0", "1", "8:00", "9:00");
    EXPECT_EQ(2, asked);
    EXPECT_EQ(0, pthread_mutex_trylock(&SubdevMutex));
    pthread_mutex_unlock(&SubdevMutex);
}

// ---- The item that keeps the thread ----

class SurfRulesBadItemTest : public SurfRulesTest
{
  protected:
    // Lets `item` keep a thread for `seconds`, and ends the session.
    int StayOn(const std::string &item, int seconds)
    {
        ServerRun = 1;
        int result = 0;
        Running command([&] { result = Do(Document({Item("1", "A", "1", "8:00", "9:00"), item})); });
        for (int i = 0; i < seconds; i++) {
            FakeClockAwaitSleepers(1);
            EXPECT_EQ(1000, FakeClockNextDeadlineMs());
            EXPECT_EQ(0, pthread_mutex_trylock(&hashTableMutex));
            pthread_mutex_unlock(&hashTableMutex);
            FakeClockAdvanceMs(1000);
        }
        FakeClockAwaitSleepers(1);
        ServerRun = 0; // the pause ends after its second, as nothing wakes it here
        FakeClockAdvanceMs(1000);
        command.Join();
        return result;
    }
};

TEST_F(SurfRulesBadItemTest, AFlagThatIsNeither1Nor0KeepsTheThreadUntilTheSessionEnds)
{
    EXPECT_EQ(kLeftBadItem, StayOn(Item("2", kMac, "1", "8:00", "9:00"), 3));
    const std::string log = Log();
    size_t looks = 0;
    for (size_t at = 0; (at = log.find("Wrong surf rule param", at)) != std::string::npos; at++) looks++;
    EXPECT_EQ(4u, looks);
    EXPECT_EQ("8:0-9:0", Rules("A", "1")); // the item before
    EXPECT_EQ("none", Rules(kMac, "1"));
}

TEST_F(SurfRulesBadItemTest, SoDoAWrongAllowAndTextsThatOnlyBeginRight)
{
    for (const char *text : {"2", "", "10", "01", " 1", "true"}) {
        EXPECT_EQ(kLeftBadItem, StayOn(Item("1", kMac, "1", "8:00", "9:00", text), 1)) << text;
        EXPECT_EQ(kLeftBadItem, StayOn(Item(text, kMac, "1", "8:00", "9:00"), 1)) << text;
    }
    EXPECT_EQ("none", Rules(kMac, "1"));
}

TEST_F(SurfRulesBadItemTest, SoDoesAFlagThatIsNoText)
{
    std::string item = Item("1", kMac, "1", "8:00", "9:00");
    item.replace(item.find("\"1\""), 3, "1");
    EXPECT_EQ(kLeftBadItem, StayOn(item, 1));
}

TEST_F(SurfRulesBadItemTest, WithoutASessionItDoesNotWait)
{
    EXPECT_EQ(kLeftBadItem, Do(Document({Item("2", kMac, "1", "8:00", "9:00")})));
}
