// The table type of faults, with a table of the test's own.
#include "simulator/faults/Faults.h"

#include <gtest/gtest.h>

using namespace sim;

namespace
{
constexpr unsigned kIn = 1, kOut = 2;

bool NarrowToName(const std::string &where, ActiveFault *fault, std::string *error)
{
    *error = "there is no place '" + where + "'";
    fault->where = where;
    return where == "door" || where == "gate";
}

const FaultTable kTable = {
    "misbehave",
    "PLACE",
    "Faults:\n",
    ", ",
    " times",
    {
        {"late", SecondsValue(), "come later"},
        {"cut", NumberValue("N", "1", 1, 9), "leave out N bytes", kOut},
        {"stay", kNoValue, "do not come"},
    },
    NarrowToName,
    nullptr,
};

const FaultPlace kDoorIn = {"door", kIn}, kDoorOut = {"door", kOut}, kGateOut = {"gate", kOut};

struct FaultTables : testing::Test {
    bool Add(const Words &words) { return faults.Add(words, &error); }
    bool Take(const char *name, const FaultPlace &place) { return faults.Take(name, place, &taken); }
    Faults faults{kTable};
    ActiveFault taken;
    std::string error;
};
} // namespace

TEST_F(FaultTables, AFaultHappensAsOftenAsItsCount)
{
    ASSERT_TRUE(Add({"late=1.5", "2"})) << error;
    EXPECT_EQ((std::vector<std::string>{"late=1.5, 2 times"}), faults.Shown());
    EXPECT_TRUE(Take("late", kDoorIn));
    EXPECT_EQ(1500, taken.number);
    EXPECT_TRUE(Take("late", kGateOut));
    EXPECT_FALSE(Take("late", kDoorIn));
    ASSERT_TRUE(Add({"stay"}));
    for (int i = 0; i < 100; i++) EXPECT_TRUE(Take("stay", kDoorIn));
}

TEST_F(FaultTables, AFaultHappensWhereItsRowAndItsWordsAllowIt)
{
    ASSERT_TRUE(Add({"cut"}));
    EXPECT_FALSE(Take("cut", kDoorIn)); // the row allows kOut only
    EXPECT_TRUE(Take("cut", kGateOut));
    EXPECT_EQ(1, taken.number); // the default
    ASSERT_TRUE(Add({"stay@gate"}));
    EXPECT_FALSE(Take("stay", kDoorOut));
    EXPECT_TRUE(Take("stay", kGateOut));
    EXPECT_EQ("stay@gate", FaultText(kTable, taken));
}

TEST_F(FaultTables, TheTakerNotesTheFaultsThatHappen)
{
    ASSERT_TRUE(Add({"cut=3"}));
    ASSERT_TRUE(Add({"stay@gate"}));
    std::vector<std::string> happened;
    FaultTaker taker(&faults, kDoorOut, &happened);
    EXPECT_FALSE(taker.Take("stay"));
    EXPECT_TRUE(taker.Take("cut"));
    EXPECT_EQ(3, taker.Number());
    EXPECT_EQ((std::vector<std::string>{"cut=3"}), happened);
}

TEST_F(FaultTables, OfTwoWithTheSameNameTakeAllReturnsTheLater)
{
    ASSERT_TRUE(Add({"cut=3", "1"}));
    ASSERT_TRUE(Add({"stay@gate"}));
    ASSERT_TRUE(Add({"cut=5", "1"}));
    const std::vector<ActiveFault> all = faults.TakeAll(kDoorOut);
    ASSERT_EQ(1u, all.size());
    EXPECT_EQ(5, all[0].number);
    EXPECT_EQ((std::vector<std::string>{"stay@gate"}), faults.Shown());
}

TEST_F(FaultTables, AreSwitchedOffByNameOrAllTogether)
{
    ASSERT_TRUE(Add({"cut"}) && Add({"stay"}) && Add({"cut=2"}) && Add({"late=0"}));
    EXPECT_EQ(2u, faults.Off("cut"));
    EXPECT_EQ(0u, faults.Off("cut"));
    EXPECT_EQ(2u, faults.Off(""));
}

TEST_F(FaultTables, AMisspeltNameEndsTheProgram)
{
    EXPECT_DEATH(Take("cutt", kDoorOut), "");
}
