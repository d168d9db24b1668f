// The lists of rules in the table's entries.
#include <climits>

#include "core/Common.h"
#include "os/OsMemory.h"
#include "rules/SurfTable.h"
#include "tests/unit/agent/SurfTest.h"

typedef SurfTest SurfListTest;

TEST_F(SurfListTest, AMissingRuleMakesNoList)
{
    EXPECT_EQ(nullptr, rule_node_init(nullptr));
    EXPECT_TRUE(Holds(Log(), "[ERR] [RouteFunc->rule_node_init->"));
    EXPECT_EQ(nullptr, rule_node_insert(nullptr, nullptr));
    EXPECT_TRUE(Holds(Log(), "]-> rule empty! \n"));
}

TEST_F(SurfListTest, RulesAreAppended)
{
    RuleNode *list = rule_node_insert(nullptr, NewRule(8, 0, 9, 0));
    RuleNode *const head = list;
    list = rule_node_insert(list, NewRule(6, 0, 7, 0));
    list = rule_node_insert(list, NewRule(7, 0, 8, 0));
    EXPECT_EQ(head, list);
    EXPECT_EQ("8:0-9:0 6:0-7:0 7:0-8:0", Ranges(list));
    EXPECT_EQ(list, rule_node_insert(list, nullptr));
    EXPECT_EQ(0, rule_node_destroy(list));
}

TEST_F(SurfListTest, AnEqualRuleIsStoredOnceAndTheOtherFreed)
{
    RuleNode *list = rule_node_insert(nullptr, NewRule(6, 0, 7, 0));
    list = rule_node_insert(list, NewRule(8, 0, 9, 0));
    const int before = FakeAllocationsAlive();
    Log();
    list = rule_node_insert(list, NewRule(8, 0, 9, 0));
    EXPECT_TRUE(Holds(Log(), "[INFO] [RouteFunc->rule_node_exist->"));
    list = rule_node_insert(list, NewRule(6, 0, 7, 0));
    EXPECT_TRUE(Holds(Log(), "]-> surf rule exist \n"));
    EXPECT_EQ("6:0-7:0 8:0-9:0", Ranges(list));
    EXPECT_EQ(before, FakeAllocationsAlive());
    rule_node_destroy(list);
}

TEST_F(SurfListTest, ARuleThatIsAlreadyInTheListIsNotFreedWhenItIsInsertedAgain)
{
    SurfRule *rule = NewRule(8, 0, 9, 0);
    RuleNode *list = rule_node_insert(nullptr, rule);
    list = rule_node_insert(list, rule);
    EXPECT_EQ("8:0-9:0", Ranges(list));
    rule_node_destroy(list);
}

TEST_F(SurfListTest, RulesAreEqualWhenAllFourNumbersAre)
{
    RuleNode *list = rule_node_init(NewRule(8, 0, 9, 0));
    const SurfRule others[] = {{7, 0, 9, 0}, {8, 1, 9, 0}, {8, 0, 10, 0}, {8, 0, 9, 1}, {7, 60, 9, 0}};
    for (const SurfRule &other : others) EXPECT_EQ(0, rule_node_exist(list, &other));
    const SurfRule same = {8, 0, 9, 0};
    EXPECT_EQ(1, rule_node_exist(list, &same));
    EXPECT_EQ(-1, rule_node_exist(nullptr, &same));
    rule_node_destroy(list);
}

TEST_F(SurfListTest, DeletingTheHeadGivesTheSecondNode)
{
    RuleNode *list = rule_node_init(NewRule(8, 0, 9, 0));
    list = rule_node_insert(list, NewRule(10, 0, 11, 0));
    RuleNode *const second = list->next;
    const SurfRule head = {8, 0, 9, 0};
    list = rule_node_delete(list, &head);
    EXPECT_EQ(second, list);
    EXPECT_EQ("10:0-11:0", Ranges(list));
    rule_node_destroy(list);
}

TEST_F(SurfListTest, DeletingTheOnlyNodeEmptiesTheList)
{
    const int before = FakeAllocationsAlive();
    const SurfRule rule = {8, 0, 9, 0};
    EXPECT_EQ(nullptr, rule_node_delete(rule_node_init(NewRule(8, 0, 9, 0)), &rule));
    EXPECT_EQ(before, FakeAllocationsAlive());
}

TEST_F(SurfListTest, DeletingALaterNodeKeepsTheHead)
{
    RuleNode *list = rule_node_init(NewRule(1, 0, 2, 0));
    for (int hour : {3, 5, 7}) list = rule_node_insert(list, NewRule(hour, 0, hour + 1, 0));
    RuleNode *const head = list;
    const SurfRule middle = {3, 0, 4, 0}, last = {7, 0, 8, 0};
    Log();
    list = rule_node_delete(list, &middle);
    EXPECT_TRUE(Holds(Log(), "]-> delete node done! \n"));
    EXPECT_EQ("1:0-2:0 5:0-6:0 7:0-8:0", Ranges(list));
    list = rule_node_delete(list, &last);
    EXPECT_EQ("1:0-2:0 5:0-6:0", Ranges(list));
    EXPECT_EQ(head, list);
    rule_node_destroy(list);
}

TEST_F(SurfListTest, DeletingAMissingRuleIsLogged)
{
    RuleNode *list = rule_node_init(NewRule(8, 0, 9, 0));
    const SurfRule other = {8, 0, 9, 1};
    EXPECT_EQ(list, rule_node_delete(list, &other));
    EXPECT_TRUE(Holds(Log(), "]-> can't find node! \n"));
    EXPECT_EQ(list, rule_node_delete(list, nullptr));
    EXPECT_TRUE(Holds(Log(), "]-> rule is nothing! \n"));
    EXPECT_EQ(nullptr, rule_node_delete(nullptr, &other));
    EXPECT_TRUE(Holds(Log(), "]-> pNode is empty! \n"));
    EXPECT_EQ("8:0-9:0", Ranges(list));
    rule_node_destroy(list);
}

TEST_F(SurfListTest, DestroyingAMissingListIsAnError)
{
    EXPECT_EQ(-1, rule_node_destroy(nullptr));
    EXPECT_TRUE(Holds(Log(), "]-> rules empty! \n"));
}

// ---- Matching ----

static int Matches(const SurfRule &rule, int hour, int minute)
{
    RuleNode *list = rule_node_init(NewRule(rule.startHour, rule.startMinute, rule.stopHour, rule.stopMinute));
    const int result = rule_node_match(list, hour, minute);
    rule_node_destroy(list);
    return result;
}

TEST_F(SurfListTest, BothEndsOfARangeBelongToIt)
{
    EXPECT_EQ(0, Matches({8, 30, 10, 15}, 8, 29));
    EXPECT_EQ(1, Matches({8, 30, 10, 15}, 8, 30));
    EXPECT_EQ(1, Matches({8, 30, 10, 15}, 10, 15));
    EXPECT_EQ(0, Matches({8, 30, 10, 15}, 10, 16));
}

TEST_F(SurfListTest, ARangeOfOneMinuteMatchesThatMinuteOnly)
{
    EXPECT_EQ(0, Matches({8, 0, 8, 0}, 7, 59));
    EXPECT_EQ(1, Matches({8, 0, 8, 0}, 8, 0));
    EXPECT_EQ(0, Matches({8, 0, 8, 0}, 8, 1));
}

TEST_F(SurfListTest, ARangeThatStopsBeforeItStartsNeverMatches)
{
    for (int minute = 0; minute < 24 * 60; minute++) EXPECT_EQ(0, Matches({22, 0, 2, 0}, minute / 60, minute % 60));
}

TEST_F(SurfListTest, HoursAndMinutesOfAnySizeAreAddedUp)
{
    EXPECT_EQ(1, Matches({0, 480, 0, 540}, 8, 30)); // 480 minutes are 8 hours
    EXPECT_EQ(1, Matches({-1, 0, 99, 99}, 0, 0));
    EXPECT_EQ(1, Matches({INT_MIN, INT_MIN, INT_MAX, INT_MAX}, 12, 0));
    EXPECT_EQ(0, Matches({INT_MAX, INT_MAX, INT_MIN, INT_MIN}, 12, 0));
    EXPECT_EQ(0, Matches({71582789, 0, INT_MAX, INT_MAX}, 12, 0)); // 2^32 and 44 minutes
}

TEST_F(SurfListTest, AnyRangeOfTheListMayMatchAndTheFirstMatchIsLogged)
{
    RuleNode *list = rule_node_init(NewRule(1, 0, 2, 0));
    list = rule_node_insert(list, NewRule(8, 5, 12, 0));
    list = rule_node_insert(list, NewRule(9, 0, 10, 0));
    EXPECT_EQ(1, rule_node_match(list, 9, 30));
    EXPECT_TRUE(Holds(Log(), "]-> surf rule match 8:5 - 12:0\n"));
    EXPECT_EQ(0, rule_node_match(list, 13, 0));
    EXPECT_EQ("", Log());
    rule_node_destroy(list);
}

TEST_F(SurfListTest, AMissingListIsNeitherInsideNorOutside)
{
    EXPECT_EQ(-1, rule_node_match(nullptr, 8, 0));
}
