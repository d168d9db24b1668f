#include "simulator/platform/Delivery.h"
#include "simulator/platform/PlatformFaults.h"
#include "tests/support/Frames.h"

using namespace sim;

namespace
{
struct PlatformFaults : testing::Test {
    bool Add(const std::string &wrong)
    {
        Words words;
        return SplitWords(wrong, &words, &error) && faults.Add(words, &error);
    }
    Delivery Send(const OutFrame &frame) { return Deliver(frame, kKey, &faults, &random); }
    Bytes SendBytes(const OutFrame &frame)
    {
        Bytes bytes;
        for (const Chunk &chunk : Send(frame).chunks) Append(&bytes, chunk.bytes);
        return bytes;
    }
    static OutFrame Ack(Step step, const std::string &plain)
    {
        OutFrame frame;
        frame.step = step;
        frame.msgType = MSG_SESSION_ACK;
        frame.hasPlain = true;
        frame.plain = Hex(plain);
        return frame;
    }
    const OutFrame loginAck = Ack(STEP_LOGIN, "00003c00");
    const OutFrame registerAck = Ack(STEP_REGISTER, "0000"
                                                    "746f6b0000000000000000000000000000000000000000000000000000000000"
                                                    "7f000001"
                                                    "9817"
                                                    "706c7567696e2d30303031000000000000000000000000000000000000000000");
    OutFrame command = Command();
    static OutFrame Command()
    {
        OutFrame frame;
        frame.msgType = MSG_FUNCTION_COMMAND;
        frame.hasPlain = true;
        frame.plain = InnerRecordBytes(1, Hex("021122334455"), Hex("01000100000000000000"));
        return frame;
    }
    Faults faults{kPlatformFaults};
    std::mt19937_64 random{1};
    std::string error;
};
} // namespace

TEST_F(PlatformFaults, WithoutAFaultAFrameIsOneChunkAtOnce)
{
    const Delivery delivery = Send(loginAck);
    ASSERT_EQ(1u, delivery.chunks.size());
    EXPECT_EQ(0, delivery.chunks[0].pauseMs);
    EXPECT_EQ(Hex(kLoginAckFrame), delivery.chunks[0].bytes);
    EXPECT_TRUE(delivery.faults.empty());
    EXPECT_FALSE(delivery.closeAfter);
    EXPECT_EQ(Hex(kRegisterAckFrame), SendBytes(registerAck));
    EXPECT_EQ(Hex(kVersionCommandFrame), SendBytes(command));
}

TEST_F(PlatformFaults, HappenAsOftenAsTheirCount)
{
    ASSERT_TRUE(Add("bad-checksum 2"));
    Bytes wrong = Hex(kVersionCommandFrame);
    wrong[4]++;
    EXPECT_EQ(wrong, SendBytes(command));
    EXPECT_EQ(wrong, SendBytes(command));
    EXPECT_EQ(Hex(kVersionCommandFrame), SendBytes(command));
    EXPECT_TRUE(faults.Active().empty());
}

TEST_F(PlatformFaults, HappenOnlyAtTheirStep)
{
    ASSERT_TRUE(Add("silent@login"));
    EXPECT_TRUE(Send(loginAck).chunks.empty());
    EXPECT_FALSE(Send(registerAck).chunks.empty());
    EXPECT_EQ(std::vector<std::string>{"silent@login"}, Send(loginAck).faults);
}

TEST_F(PlatformFaults, EndWhenSwitchedOff)
{
    ASSERT_TRUE(Add("silent"));
    ASSERT_TRUE(Add("bad-checksum"));
    EXPECT_EQ(1u, faults.Off("silent"));
    EXPECT_FALSE(Send(loginAck).chunks.empty());
    EXPECT_EQ(0u, faults.Off("silent"));
    EXPECT_EQ(1u, faults.Off(""));
    EXPECT_TRUE(faults.Active().empty());
}

TEST_F(PlatformFaults, IntervalChangesTheIntervalInTheLoginAcknowledgement)
{
    ASSERT_TRUE(Add("interval=-2"));
    EXPECT_EQ(Hex("0000 feff"), ParseFrame(SendBytes(loginAck), kKey, false).plain);
}

TEST_F(PlatformFaults, AnnounceChangesTheLoginServerInTheRegistrationAcknowledgement)
{
    ASSERT_TRUE(Add("announce=1.2.3.4:513"));
    const Bytes plain = ParseFrame(SendBytes(registerAck), kKey, false).plain;
    EXPECT_EQ(Hex("01020304 0102"), Bytes(plain.begin() + 34, plain.begin() + 40));
}

TEST_F(PlatformFaults, RefuseErrorAddsAHeadBlockAndKeepsTheChecksumRight)
{
    ASSERT_TRUE(Add("refuse-error=0x0102"));
    const ParsedFrame frame = ParseFrame(SendBytes(registerAck), kKey, false);
    EXPECT_EQ(Hex("02 01"), frame.head);
    EXPECT_TRUE(frame.checksumOk);
}

TEST_F(PlatformFaults, EmptyAckIsABareHeader)
{
    ASSERT_TRUE(Add("empty-ack"));
    EXPECT_EQ(Hex("cc dd 0b 00 00 00 00"), SendBytes(loginAck));
}

TEST_F(PlatformFaults, WrongKeyGarblesTheBodyAndKeepsTheChecksumRight)
{
    ASSERT_TRUE(Add("'wrong-key=another key 0000'"));
    const Bytes bytes = SendBytes(command);
    EXPECT_NE(Hex(kVersionCommandFrame), bytes);
    EXPECT_TRUE(ParseFrame(bytes, "another key 0000", false).checksumOk);
    EXPECT_EQ(0x2e, bytes[4]);
}

TEST_F(PlatformFaults, InnerLengthChangesNothingElseOfTheRecord)
{
    ASSERT_TRUE(Add("inner-length=256"));
    const ParsedFrame frame = ParseFrame(SendBytes(command), kKey, false);
    EXPECT_TRUE(frame.checksumOk);
    EXPECT_EQ(Hex("0000 01 021122334455 0a01 01000100000000000000"), frame.plain);
}

TEST_F(PlatformFaults, BodiesMayBeShorterOrLongerThanAnnounced)
{
    const Bytes right = Hex(kVersionCommandFrame);
    ASSERT_TRUE(Add("short-body=5 1"));
    EXPECT_EQ(Bytes(right.begin(), right.end() - 5), SendBytes(command));
    ASSERT_TRUE(Add("cut-body=5 1"));
    Bytes cut(right.begin(), right.end() - 5);
    cut[5] = 0x20 - 5;
    EXPECT_EQ(cut, SendBytes(command));
    ASSERT_TRUE(Add("long-body=3 1"));
    const Bytes longer = SendBytes(command);
    EXPECT_EQ(right, Bytes(longer.begin(), longer.end() - 3));
    ASSERT_TRUE(Add("announce-body=1509 1"));
    const Bytes announced = SendBytes(command);
    EXPECT_EQ(Hex("e5 05"), Bytes(announced.begin() + 5, announced.begin() + 7));
    ASSERT_TRUE(Add("cut-body=65535 1")); // more than the body has: it is empty then
    EXPECT_EQ(7u, SendBytes(command).size());
}

TEST_F(PlatformFaults, NetworkFailureIsABodyOfOnes)
{
    ASSERT_TRUE(Add("network-failure@login"));
    EXPECT_EQ(Hex("cc dd 0b 00 10 10 00 ffffffffffffffffffffffffffffffff"), SendBytes(loginAck));
}

TEST_F(PlatformFaults, FragmentsAreSentWithPausesBetween)
{
    ASSERT_TRUE(Add("fragments=10,250"));
    const Delivery delivery = Send(loginAck);
    ASSERT_EQ(3u, delivery.chunks.size());
    EXPECT_EQ(0, delivery.chunks[0].pauseMs);
    EXPECT_EQ(250, delivery.chunks[1].pauseMs);
    EXPECT_EQ(3u, delivery.chunks[2].bytes.size());
    EXPECT_EQ(Hex(kLoginAckFrame), SendBytes(loginAck));
}

TEST_F(PlatformFaults, LateAndDripCanBeCombined)
{
    ASSERT_TRUE(Add("late=2.5"));
    ASSERT_TRUE(Add("drip"));
    const Delivery delivery = Send(loginAck);
    ASSERT_EQ(23u, delivery.chunks.size());
    EXPECT_EQ(2500, delivery.chunks[0].pauseMs);
    EXPECT_EQ(1000, delivery.chunks[1].pauseMs);
}

TEST_F(PlatformFaults, DeafFollowsTheFrameAndDoesNotChangeIt)
{
    ASSERT_TRUE(Add("deaf@command=1.5 1"));
    const Delivery delivery = Send(command);
    EXPECT_EQ(1500, delivery.deafMs);
    ASSERT_EQ(1u, delivery.chunks.size());
    EXPECT_EQ(Hex(kVersionCommandFrame), delivery.chunks[0].bytes);
    EXPECT_EQ(0, Send(command).deafMs);
}

TEST_F(PlatformFaults, GarbageHoldsNoMagicAndIsTheSameForTheSameSeed)
{
    ASSERT_TRUE(Add("garbage=5000"));
    const Bytes bytes = SendBytes(command);
    const size_t frame = Hex(kVersionCommandFrame).size();
    ASSERT_EQ(5000 + frame, bytes.size());
    for (size_t i = 0; i < 5000; i++) ASSERT_NE(0xCC, bytes[i]);
    EXPECT_EQ(Hex(kVersionCommandFrame), Bytes(bytes.begin() + 5000, bytes.end()));
    random.seed(1);
    EXPECT_EQ(bytes, SendBytes(command));
}

TEST_F(PlatformFaults, NoiseIsMegabytesBeforeTheFrame)
{
    ASSERT_TRUE(Add("noise=2"));
    EXPECT_EQ(2000000 + Hex(kVersionCommandFrame).size(), SendBytes(command).size());
}

TEST_F(PlatformFaults, CloseBehindOrInsideTheFrame)
{
    ASSERT_TRUE(Add("close@command 1"));
    EXPECT_TRUE(Send(command).closeAfter);
    ASSERT_TRUE(Add("close-mid-frame 1"));
    const Delivery delivery = Send(command);
    EXPECT_TRUE(delivery.closeAfter);
    EXPECT_EQ(19u, delivery.chunks[0].bytes.size()); // of 39
    command.raw = {1};                               // its half is empty, in pieces too
    ASSERT_TRUE(Add("drip 1"));
    ASSERT_TRUE(Add("close-mid-frame 1"));
    EXPECT_TRUE(Send(command).closeAfter);
}

TEST_F(PlatformFaults, DuplicateAndForcedDisconnectFollowTheFrame)
{
    ASSERT_TRUE(Add("duplicate@command 1"));
    Bytes expected = Hex(kVersionCommandFrame);
    Append(&expected, Hex(kVersionCommandFrame));
    EXPECT_EQ(expected, SendBytes(command));
    ASSERT_TRUE(Add("forced-disconnect@login 1"));
    expected = Hex(kLoginAckFrame);
    Append(&expected, Hex("cc dd 03 00 00 00 00"));
    EXPECT_EQ(expected, SendBytes(loginAck));
}

TEST_F(PlatformFaults, LeaveRawBytesUnchanged)
{
    ASSERT_TRUE(Add("bad-checksum"));
    command.raw = Hex(kHeartbeatFrame);
    EXPECT_EQ(Hex(kHeartbeatFrame), SendBytes(command));
    EXPECT_EQ(1u, faults.Active().size());
}

TEST_F(PlatformFaults, AreRefusedWhenInvalid)
{
    for (const char *wrong : {"", "nonsense", "late", "late=x", "late=-1", "deaf", "deaf=x", "silent=1", "silent 0",
                              "silent x", "silent 1 2", "silent@nowhere", "interval@register=1", "interval=32768",
                              "refuse@command", "fragments=0", "fragments=5,x", "announce=1.2.3:4", "noise=65"}) {
        EXPECT_FALSE(Add(wrong)) << wrong;
        EXPECT_NE("", error) << wrong;
    }
    EXPECT_TRUE(faults.Active().empty());
}
