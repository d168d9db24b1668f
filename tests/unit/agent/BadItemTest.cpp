#include "rules/BadItem.h"

#include "platform/SignOfLife.h"
#include "tests/unit/agent/LinkTest.h"

namespace
{

class BadItem : public LinkTest
{
};

} // namespace

TEST_F(BadItem, IsReadAgainAfterASecond)
{
    Connect();
    bool stays = false;
    Running waiting([&] { stays = StayOnBadItem(); });
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(1000, FakeClockNextDeadlineMs());
    FakeClockAdvanceMs(1000);
    waiting.Join();
    EXPECT_TRUE(stays);
}

TEST_F(BadItem, IsLeftAsSoonAsTheSessionEnds)
{
    Connect();
    bool stays = true;
    Running waiting([&] { stays = StayOnBadItem(); });
    FakeClockAwaitSleepers(1);
    FakeClockAdvanceMs(400);
    Running deleter([this] { DeleteServer(&mContext); });
    waiting.Join(); // although the clock stands still
    EXPECT_FALSE(stays);
    FakeClockAwaitSleepers(1);
    FakeClockAdvanceMs(1000); // the deleter's own pause
}

TEST_F(BadItem, IsLeftAtOnceWithoutASession)
{
    EXPECT_FALSE(StayOnBadItem());
}

TEST_F(BadItem, NothingThatThePlatformSendsCountsAsASignOfLife)
{
    SetResponseState(RESPONSE_OCCUPIED);
    NoteBytes();
    FakeClockAuto(true); // the pauses of a second
    EXPECT_FALSE(StayOnBadItem());
    FakeClockAdvanceMs(5000);
    NoteBytes();
    EXPECT_EQ(5000, SilenceMs());
}
