// What becomes of a frame that the socket takes only a part of: it leaves whole or not at all.
#include <algorithm>

#include "platform/TcpServer.h"
#include "tests/fakes/FakeLibraries.h"
#include "tests/unit/agent/LinkTest.h"
#include "tests/unit/agent/PlatformSide.h"

namespace
{

class WholeFrames : public LinkTest
{
  protected:
    void SetUp() override
    {
        LinkTest::SetUp();
        FakeLibrariesReset();
        Connect();
    }
    void TearDown() override
    {
        FakeLibrariesReset();
        LinkTest::TearDown();
    }
};

const Bytes kFirst = Hex("CC DD 21 04 A9 00 00  00 F1 53 65"); // heartbeats
const Bytes kSecond = Hex("CC DD 21 04 BD 00 00  14 F1 53 65");
const Bytes kThird = Hex("CC DD 21 04 D1 00 00  28 F1 53 65");

int Send(const Bytes &frame)
{
    return SendData(frame.data(), frame.size());
}

// A frame of 8192 bytes with a number in its head and all through its body.
Bytes Numbered(uint32_t number)
{
    Bytes frame = Hex("CC DD 31 04 00 F5 1F"); // 7 + 4 + 8181
    for (int shift = 0; shift < 32; shift += 8) frame.push_back(static_cast<uint8_t>(number >> shift));
    while (frame.size() < 8192) frame.push_back(static_cast<uint8_t>(number + frame.size() / 7));
    return frame;
}

} // namespace

TEST_F(WholeFrames, TheRestOfAFrameIsSentBeforeTheNextAlthoughItsCallHasFailed)
{
    FakeSendTakes({5});
    EXPECT_EQ(-1, Send(kFirst));
    EXPECT_EQ(0, Send(kSecond));
    EXPECT_EQ(kFirst, mPeer.ReceiveFrame());
    EXPECT_EQ(kSecond, mPeer.ReceiveFrame());
    EXPECT_EQ(0, Send(kThird));
    EXPECT_EQ(kThird, mPeer.ReceiveFrame()) << "the rest has left once";
}

TEST_F(WholeFrames, NoFrameIsBegunWhileTheRestOfOneCannotBeSent)
{
    FakeSendTakes({5, 2, 0, 0, 3}); // of 11: four stand between the second frame and the link, then one
    EXPECT_EQ(-1, Send(kFirst));
    for (int i = 0; i < 4; i++) EXPECT_EQ(-1, Send(kSecond)) << i;
    EXPECT_EQ(0, Send(kThird));
    EXPECT_EQ(kFirst, mPeer.ReceiveFrame());
    EXPECT_EQ(kThird, mPeer.ReceiveFrame());
}

TEST_F(WholeFrames, AFrameOfWhichNothingWasSentIsNotSentLater)
{
    FakeSendTakes({0});
    EXPECT_EQ(-1, Send(kFirst));
    EXPECT_EQ(0, Send(kSecond));
    EXPECT_EQ(kSecond, mPeer.ReceiveFrame());
}

TEST_F(WholeFrames, ALongFrameIsCompletedWhereverItWasCut)
{
    const Bytes longest = Numbered(7);
    for (int taken : {1, 7, 4095, 8191}) {
        FakeSendTakes({taken});
        EXPECT_EQ(-1, Send(longest));
        EXPECT_EQ(0, Send(kFirst));
        EXPECT_EQ(longest, mPeer.ReceiveFrame()) << taken;
        EXPECT_EQ(kFirst, mPeer.ReceiveFrame()) << taken;
    }
}

TEST_F(WholeFrames, TheRestsOfTwoFramesInARowAreSentInTheirOrder)
{
    FakeSendTakes({5, 6, 4}); // the first in two pieces, four bytes of the second
    EXPECT_EQ(-1, Send(kFirst));
    EXPECT_EQ(-1, Send(kSecond));
    EXPECT_EQ(0, Send(kThird));
    for (const Bytes &frame : {kFirst, kSecond, kThird}) EXPECT_EQ(frame, mPeer.ReceiveFrame());
}

TEST_F(WholeFrames, TheRestIsSentWhenThePlatformSendsAgain)
{
    FakeSendTakes({5});
    EXPECT_EQ(-1, Send(kFirst));
    EXPECT_TRUE(mPeer.Send({0}));
    EXPECT_EQ(kFirst, mPeer.ReceiveFrame());
    EXPECT_EQ(0, Send(kSecond));
    EXPECT_EQ(kSecond, mPeer.ReceiveFrame());
}

TEST_F(WholeFrames, TheRestIsDroppedWithItsConnection)
{
    FakeSendTakes({5});
    EXPECT_EQ(-1, Send(kFirst));
    Stop();
    Connect();
    EXPECT_EQ(0, Send(kSecond));
    EXPECT_EQ(kSecond, mPeer.ReceiveFrame());
}

TEST_F(WholeFrames, APlatformThatReadsAgainReceivesWholeFramesAndEveryOneReportedAsSent)
{
    Stop();
    mPeer.SmallBuffer(); // so that the socket cuts frames
    Connect();
    std::vector<uint32_t> said;
    uint32_t number = 0;
    for (int refused = 0; refused < 5; number++) {
        ASSERT_LT(number, 10000u);
        if (Send(Numbered(number)) == 0)
            said.push_back(number);
        else
            refused++;
    }
    std::vector<uint32_t> found;
    Running reader([&] {
        for (Bytes frame = mPeer.ReceiveFrame(); !frame.empty(); frame = mPeer.ReceiveFrame()) {
            ASSERT_EQ(8192u, frame.size());
            const uint32_t arrived = frame[7] | frame[8] << 8 | frame[9] << 16;
            ASSERT_EQ(Numbered(arrived), frame);
            found.push_back(arrived);
        }
    });
    // It reads on, with the sender at its heels: the socket is full time and again.
    const size_t goal = said.size() + 200;
    EXPECT_TRUE(Within(60, [&] { // under valgrind it takes many seconds
        if (Send(Numbered(number)) == 0) said.push_back(number);
        number++;
        return said.size() >= goal;
    }));
    // The last one may still be in pieces.
    EXPECT_TRUE(Within([&] { return Send(Numbered(number)) == 0; }));
    said.push_back(number);
    Stop();
    reader.Join();
    EXPECT_TRUE(std::is_sorted(found.begin(), found.end()));
    EXPECT_TRUE(std::includes(found.begin(), found.end(), said.begin(), said.end()));
    EXPECT_EQ(number, found.back());
}
