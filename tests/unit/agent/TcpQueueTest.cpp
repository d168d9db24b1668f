#include "platform/TcpQueue.h"

#include <atomic>
#include <memory>

#include "tests/unit/agent/AgentTest.h"

namespace
{

class TcpQueue : public AgentTest
{
  protected:
    static int Push(const Bytes &bytes) { return push(bytes.data(), bytes.size()); }
    // The next frame as type byte, head and body; nullptr when there is none.
    static std::unique_ptr<ReceivedFrame> Pop()
    {
        auto frame = std::make_unique<ReceivedFrame>();
        return popup(frame.get()) == 0 ? std::move(frame) : nullptr;
    }
    static Bytes Head(const ReceivedFrame &frame) { return Bytes(frame.head, frame.head + frame.header.headLen); }
    static Bytes Body(const ReceivedFrame &frame) { return Bytes(frame.body, frame.body + frame.header.bodyLen); }
};

// A heartbeat answer, and a frame with a head of 2 and a body of 3 bytes.
const char kShort[] = "CC DD 02 00 7F 00 00";
const char kLong[] = "CC DD 34 02 5A 03 00  0B 0C  A1 B2 C3";

Bytes FrameWithBody(size_t bodyLen)
{
    Bytes frame = {0xCC, 0xDD, 0x12, 0, 0, static_cast<uint8_t>(bodyLen), static_cast<uint8_t>(bodyLen >> 8)};
    frame.resize(frame.size() + bodyLen, 0xEE);
    return frame;
}

} // namespace

TEST_F(TcpQueue, CutsAFrameIntoHeaderHeadBodyAndFirstWord)
{
    ASSERT_EQ(0, Push(Hex(kLong)));
    const auto frame = Pop();
    ASSERT_TRUE(frame);
    EXPECT_EQ(20, frame->header.msgType); // 0x34: type 20, flag 1
    EXPECT_EQ(1, frame->header.flag);
    EXPECT_EQ(0x5A, frame->header.checksum);
    EXPECT_EQ(Hex("0B 0C"), Head(*frame));
    EXPECT_EQ(Hex("A1 B2 C3"), Body(*frame));
    EXPECT_EQ(0xB2A1, frame->firstWord);
    EXPECT_FALSE(Pop());
}

TEST_F(TcpQueue, FirstWordIsZeroWhenTheBodyHasFewerThanTwoBytes)
{
    Push(Hex("CC DD 02 01 00 00 00 FF  CC DD 02 00 00 01 00 FF  CC DD 02 00 00 02 00 FF FE"));
    EXPECT_EQ(0, Pop()->firstWord);
    EXPECT_EQ(0, Pop()->firstWord);
    EXPECT_EQ(0xFEFF, Pop()->firstWord);
}

TEST_F(TcpQueue, ReturnsFramesInTheirOrder)
{
    Push(Hex(std::string(kShort) + kLong + kShort));
    EXPECT_EQ(2, Pop()->header.msgType);
    EXPECT_EQ(20, Pop()->header.msgType);
    EXPECT_EQ(2, Pop()->header.msgType);
    EXPECT_FALSE(Pop());
}

TEST_F(TcpQueue, KeepsAPartialFrameUntilTheRestArrivesWhereverItIsSplit)
{
    const Bytes whole = Hex(std::string("00 CC 11") + kLong); // with bytes before the magic
    for (size_t split = 1; split < whole.size(); split++) {
        NewTcpQueue();
        ASSERT_EQ(0, Push(Bytes(whole.begin(), whole.begin() + static_cast<long>(split))));
        ASSERT_FALSE(Pop()) << split;
        ASSERT_FALSE(Pop()) << split << ": looking must not change anything";
        ASSERT_EQ(0, Push(Bytes(whole.begin() + static_cast<long>(split), whole.end())));
        const auto frame = Pop();
        ASSERT_TRUE(frame) << split;
        EXPECT_EQ(Hex("0B 0C"), Head(*frame)) << split;
        EXPECT_EQ(Hex("A1 B2 C3"), Body(*frame)) << split;
    }
}

TEST_F(TcpQueue, KeepsAPartialFrameThatComesByteByByte)
{
    for (uint8_t byte : Hex(kLong)) {
        ASSERT_FALSE(Pop());
        ASSERT_EQ(0, push(&byte, 1));
    }
    ASSERT_TRUE(Pop());
}

TEST_F(TcpQueue, DropsBytesBeforeTheMagicTogetherWithTheNextFrame)
{
    // Fills the queue up to its last byte: garbage, then a frame.
    const Bytes frame = Hex(kLong);
    ASSERT_EQ(0, Push(Bytes(kQueueSize - frame.size(), 0x11)));
    EXPECT_FALSE(Pop());
    EXPECT_EQ(-1, Push(Bytes(frame.size() + 1, 0x22))) << "the garbage is still there";
    ASSERT_EQ(0, Push(frame));
    ASSERT_TRUE(Pop());
    EXPECT_EQ(0, Push(Bytes(kQueueSize, 0x33))) << "all of it has gone with the frame";
}

TEST_F(TcpQueue, KeepsWhatFollowsTheFrame)
{
    const Bytes whole = Hex(kLong);
    Push(Hex(kShort));
    Push(Bytes(whole.begin(), whole.begin() + 9));
    ASSERT_EQ(2, Pop()->header.msgType);
    EXPECT_FALSE(Pop());
    Push(Bytes(whole.begin() + 9, whole.end()));
    EXPECT_EQ(Hex("A1 B2 C3"), Body(*Pop()));
}

TEST_F(TcpQueue, FindsTheMagicAfterALoneFirstByteOfIt)
{
    Push(Hex(std::string("CC CC CC") + kShort));
    ASSERT_TRUE(Pop());
}

TEST_F(TcpQueue, FindsTheMagicOnlyInItsByteOrder)
{
    Push(Hex("DD CC 02 00 7F 00 00"));
    EXPECT_FALSE(Pop());
    Push(Hex(kShort));
    EXPECT_EQ(0x7F, Pop()->header.checksum);
}

TEST_F(TcpQueue, IsNotConfusedByAMagicInsideABody)
{
    Push(Hex("CC DD 12 00 00 07 00  CC DD 02 00 7F 00 00"));
    Push(Hex(kLong));
    EXPECT_EQ(18, Pop()->header.msgType);
    EXPECT_EQ(20, Pop()->header.msgType);
    EXPECT_FALSE(Pop());
}

TEST_F(TcpQueue, HoldsExactly204800BytesAndRefusesAnyFurtherOne)
{
    EXPECT_EQ(0, Push(Bytes(204799, 0x11)));
    EXPECT_EQ(-1, Push(Bytes(2, 0x11)));
    EXPECT_EQ(0, Push(Bytes(1, 0x11)));
    EXPECT_EQ(-1, Push(Bytes(1, 0x11)));
}

TEST_F(TcpQueue, LogsAnOverflowAtDebugLevel)
{
    Push(Bytes(kQueueSize, 0x11));
    Push(Hex("00"));
    const std::string log = Log();
    EXPECT_EQ(0u, log.find("2023-11-14 22:13:20 [DEBUG] [TcpQueue->push->"));
    EXPECT_NE(std::string::npos, log.find("]-> over flow\n\n"));
}

TEST_F(TcpQueue, LosesTheBytesThatDoNotFitButNotThoseItHolds)
{
    Push(Hex(kLong));
    Push(Bytes(kQueueSize - Hex(kLong).size(), 0x11));
    EXPECT_EQ(-1, Push(Hex(kShort)));
    EXPECT_EQ(20, Pop()->header.msgType);
    EXPECT_FALSE(Pop());
    EXPECT_EQ(0, Push(Hex("00")));
}

TEST_F(TcpQueue, RefusesALengthThatWouldWrapAround)
{
    const uint8_t byte = 0;
    Push(Hex("00 00"));
    EXPECT_EQ(-1, push(&byte, SIZE_MAX));
    EXPECT_EQ(-1, push(&byte, kQueueSize + 1));
}

TEST_F(TcpQueue, AcceptsABodyOf1508Bytes)
{
    Push(FrameWithBody(1508));
    const auto frame = Pop();
    ASSERT_TRUE(frame);
    EXPECT_EQ(Bytes(1508, 0xEE), Body(*frame));
}

TEST_F(TcpQueue, SkipsAHeaderThatAnnounces1509Bytes)
{
    Push(FrameWithBody(1509));
    EXPECT_FALSE(Pop());
    Push(Hex(kShort));
    const auto frame = Pop();
    ASSERT_TRUE(frame);
    EXPECT_EQ(2, frame->header.msgType);
}

TEST_F(TcpQueue, ADamagedHeaderDoesNotBlockTheFramesAfterIt)
{
    Push(Hex(std::string("CC DD 12 00 00 FF FF") + kShort + kLong));
    EXPECT_EQ(2, Pop()->header.msgType);
    EXPECT_EQ(20, Pop()->header.msgType);
}

TEST_F(TcpQueue, AcceptsTheLongestHeadWithTheLongestBody)
{
    Bytes bytes = Hex("CC DD 12 FF 00 E4 05"); // 255 and 1508
    bytes.resize(7 + 255, 0x0B);
    bytes.resize(7 + 255 + 1508, 0x0C);
    Push(bytes);
    const auto frame = Pop();
    ASSERT_TRUE(frame);
    EXPECT_EQ(Bytes(255, 0x0B), Head(*frame));
    EXPECT_EQ(Bytes(1508, 0x0C), Body(*frame));
}

TEST_F(TcpQueue, NewTcpQueueEmptiesIt)
{
    Push(Hex(kShort));
    NewTcpQueue();
    EXPECT_FALSE(Pop());
    EXPECT_EQ(0, Push(Bytes(kQueueSize, 0x11)));
}

// ---- Whose turn it is ----

TEST_F(TcpQueue, TheTurnIsThereForWhoeverAsksFirstOnceBytesHaveArrived)
{
    EXPECT_FALSE(QueueTurn(false));
    Push(Hex("CC"));
    EXPECT_TRUE(QueueTurn(false));
    EXPECT_FALSE(QueueTurn(false)); // somebody has it
    EXPECT_TRUE(QueueTurn(true));   // who stays it
}

TEST_F(TcpQueue, TheTurnEndsWhenNobodyHasToLookAgain)
{
    Push(Hex("CC"));
    ASSERT_TRUE(QueueTurn(false));
    EXPECT_FALSE(Pop());
    EXPECT_FALSE(QueueTurn(true));
    EXPECT_FALSE(QueueTurn(false)); // there is nothing new
    Push(Hex("DD"));
    EXPECT_TRUE(QueueTurn(false));
}

TEST_F(TcpQueue, TheTurnGoesOnWhenBytesHaveArrivedSinceTheLastPopup)
{
    Push(Hex("CC"));
    ASSERT_TRUE(QueueTurn(false));
    EXPECT_FALSE(Pop());
    Push(Hex("DD"));
    EXPECT_FALSE(QueueTurn(false));
    EXPECT_TRUE(QueueTurn(true));
}

TEST_F(TcpQueue, TheTurnGoesOnWhenBytesAreLeftBehindTheFrame)
{
    Push(Hex(std::string(kShort) + "11"));
    ASSERT_TRUE(QueueTurn(false));
    ASSERT_TRUE(Pop());
    EXPECT_TRUE(QueueHoldsBegunFrame()); // it may be one, nobody has looked
    EXPECT_TRUE(QueueTurn(true));
    EXPECT_FALSE(Pop());
    EXPECT_FALSE(QueueHoldsBegunFrame());
    EXPECT_FALSE(QueueTurn(true));
}

TEST_F(TcpQueue, NewTcpQueueEndsTheTurn)
{
    Push(Hex("CC"));
    ASSERT_TRUE(QueueTurn(false));
    NewTcpQueue();
    EXPECT_FALSE(QueueTurn(false));
    Push(Hex("CC"));
    EXPECT_TRUE(QueueTurn(false));
}
