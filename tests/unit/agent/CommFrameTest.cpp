#include "comm/CommFrame.h"

#include "tests/unit/agent/CommTest.h"

namespace
{

class LocalFrames : public AgentTest
{
  protected:
    void SetUp() override
    {
        AgentTest::SetUp();
        CommTxSeq = CommRxSeq = 0;
        Log();
    }
    // Checks the bytes of one read.
    bool Check(const Bytes &read)
    {
        slot = Slot(read);
        return CommFrameCheck(slot.data(), &frame);
    }
    // Returns whether the log is this one line.
    void ExpectError(const std::string &text)
    {
        const std::string said = Log();
        EXPECT_EQ(1u, CountOf(said, "\n\n")) << said;
        EXPECT_NE(std::string::npos, said.find("[ERR] [CommServer->CommHandleProc->")) << said;
        EXPECT_NE(std::string::npos, said.find("]-> " + text + "\n\n")) << said;
    }
    static size_t Cut(const Bytes &bytes, bool further) { return CommFrameCut(bytes.data(), bytes.size(), further); }

    Bytes slot;
    CommFrame frame = {};
};

// FuncID 71, sequence 7, payload "i"; and FuncID 72, sequence 8, payloads 01 02.
const char kFirst[] = "5A 5A 47 00 07 00 00 00 01 00 00 00 69 00  69";
const char kSecond[] = "5A 5A 48 00 08 00 00 00 02 00 00 00 03 00  01 02";

} // namespace

// ---- Writing ----

TEST_F(LocalFrames, AreNumberedFromOne)
{
    uint8_t buffer[8];
    EXPECT_EQ(1u, CommFrameHead(buffer, 71));
    EXPECT_EQ(Hex("5A 5A 47 00 01 00 00 00"), Bytes(buffer, buffer + 8));
    EXPECT_EQ(2u, CommFrameHead(buffer, 998));
    EXPECT_EQ(Hex("5A 5A E6 03 02 00 00 00"), Bytes(buffer, buffer + 8));
    CommTxSeq = 0x01020303;
    EXPECT_EQ(0x01020304u, CommFrameHead(buffer, 1));
    EXPECT_EQ(Hex("5A 5A 01 00 04 03 02 01"), Bytes(buffer, buffer + 8));
}

TEST_F(LocalFrames, AreCompletedWithTheLengthAndChecksumOfTheirPayload)
{
    Bytes buffer(32, 0xEE);
    CommFrameHead(buffer.data(), 71);
    buffer[14] = 'i';
    EXPECT_EQ(15u, CommFrameSeal(buffer.data(), buffer.size(), 1));
    EXPECT_EQ(Hex("5A 5A 47 00 01 00 00 00 01 00 00 00 69 00 69 EE"), Bytes(buffer.begin(), buffer.begin() + 16));
}

TEST_F(LocalFrames, WithoutPayloadHaveChecksumZero)
{
    Bytes buffer(14, 0xEE);
    EXPECT_EQ(14u, CommFrameWrite(1, 5, nullptr, 0, buffer.data(), buffer.size()));
    EXPECT_EQ(Hex("5A 5A 01 00 05 00 00 00 00 00 00 00 00 00"), buffer);
}

TEST_F(LocalFrames, TheChecksumAddsBytesWithoutSignModulo65536)
{
    EXPECT_EQ(0, CommChecksum(nullptr, 0));
    const Bytes some = {0xFF, 0x80, 0x01};
    EXPECT_EQ(0x180, CommChecksum(some.data(), some.size()));
    const Bytes many(8086, 0xFF); // 2,061,930 = 31 * 65536 + 0x766A
    EXPECT_EQ(0x766A, CommChecksum(many.data(), many.size()));
}

TEST_F(LocalFrames, AreNotWrittenToABufferThatIsTooShort)
{
    Bytes buffer(1500, 0xEE);
    const Bytes payload(1487, 1);
    EXPECT_EQ(0u, CommFrameSeal(buffer.data(), 1500, 1487));
    EXPECT_EQ(0u, CommFrameSeal(buffer.data(), 13, 0));
    EXPECT_EQ(0u, CommFrameWrite(88, 1, payload.data(), 1487, buffer.data(), 1500));
    EXPECT_EQ(0u, CommFrameWrite(88, 1, payload.data(), 0, buffer.data(), 13));
    EXPECT_EQ(Bytes(1500, 0xEE), buffer);
    EXPECT_EQ(1500u, CommFrameWrite(88, 1, payload.data(), 1486, buffer.data(), 1500));
    EXPECT_EQ(Hex("CE 05 00 00 CE 05 01"), Bytes(buffer.begin() + 8, buffer.begin() + 15)); // 1486 = 0x5CE
}

// ---- Checking ----

TEST_F(LocalFrames, ThatAreValidAreParsed)
{
    ASSERT_TRUE(Check(Hex("5A 5A E7 03 04 03 02 01 02 00 00 00 80 01  FF 81")));
    EXPECT_EQ(999, frame.funcId);
    EXPECT_EQ(0x01020304u, frame.sequence);
    EXPECT_EQ(2u, frame.length);
    EXPECT_EQ(slot.data() + 18, frame.payload);
    EXPECT_EQ(0x01020304u, CommRxSeq);
    EXPECT_EQ("", Log());
}

TEST_F(LocalFrames, OfFourteenBytesAreTooShort)
{
    EXPECT_FALSE(Check(Hex("5A 5A 01 00 01 00 00 00 00 00 00 00 00 00")));
    ExpectError("Receive length error, length is 14");
    EXPECT_TRUE(Check(Hex(kFirst))); // fifteen
}

TEST_F(LocalFrames, OfMoreThan8100BytesAreTooLong)
{
    EXPECT_FALSE(Check(LocalFrame(84, 1, Bytes(8087, 1))));
    ExpectError("Receive length error, length is 8101");
    EXPECT_TRUE(Check(LocalFrame(84, 1, Bytes(8086, 1)))); // the last one has not used the sequence
    EXPECT_EQ(8086u, frame.length);
}

TEST_F(LocalFrames, WithAnotherHeadAreRefused)
{
    for (const char *head : {"5A 5B", "5B 5A", "00 00"}) {
        Bytes read = Hex(kFirst);
        const Bytes bytes = Hex(head);
        read[0] = bytes[0];
        read[1] = bytes[1];
        EXPECT_FALSE(Check(read));
        ExpectError("Receive head error.");
    }
    EXPECT_EQ(0u, CommRxSeq);
}

TEST_F(LocalFrames, MayNotRepeatTheSequenceOfTheLastOne)
{
    EXPECT_TRUE(Check(LocalFrame(71, 7, {1})));
    EXPECT_FALSE(Check(LocalFrame(72, 7, {2})));
    ExpectError("Receive  sequence error.");
    EXPECT_TRUE(Check(LocalFrame(71, 6, {1}))); // any other is accepted
    EXPECT_TRUE(Check(LocalFrame(71, 7, {1})));
}

TEST_F(LocalFrames, MayNotBeginWithSequenceZero)
{
    EXPECT_FALSE(Check(LocalFrame(71, 0, {1})));
    ExpectError("Receive  sequence error.");
}

TEST_F(LocalFrames, WithAWrongChecksumAreRefusedButUseTheirSequence)
{
    Bytes damaged = LocalFrame(71, 7, {1});
    damaged.back() = 2;
    EXPECT_FALSE(Check(damaged));
    ExpectError("Receive  checkSum error.");
    EXPECT_FALSE(Check(LocalFrame(71, 7, {1})));
    ExpectError("Receive  sequence error.");
}

TEST_F(LocalFrames, TheHighByteOfTheChecksumCounts)
{
    Bytes damaged = LocalFrame(71, 7, {1});
    damaged[13] = 1;
    EXPECT_FALSE(Check(damaged));
    ExpectError("Receive  checkSum error.");
}

TEST_F(LocalFrames, ThatDeclareNoPayloadNeedChecksumZero)
{
    Bytes read = Hex("5A 5A 01 00 01 00 00 00 00 00 00 00 00 00  77"); // one byte more than declared
    EXPECT_TRUE(Check(read));
    EXPECT_EQ(0u, frame.length);
    read[4] = 2;
    read[12] = 1;
    EXPECT_FALSE(Check(read));
    ExpectError("Receive  checkSum error.");
}

TEST_F(LocalFrames, MayDeclareFewerBytesThanCame)
{
    EXPECT_TRUE(Check(Hex("5A 5A 47 00 07 00 00 00 01 00 00 00 69 00  69 FF FF")));
    EXPECT_EQ(1u, frame.length);
}

TEST_F(LocalFrames, ThatDeclareMoreBytesThanCameUseTheRestOfTheSlot)
{
    slot = Slot(Hex("5A 5A 47 00 07 00 00 00 04 00 00 00 6C 00  69"));
    slot[4 + 14 + 3] = 3; // from an earlier frame
    EXPECT_TRUE(CommFrameCheck(slot.data(), &frame));
    EXPECT_EQ(4u, frame.length);
}

TEST_F(LocalFrames, MayDeclareAtMostTheWholeSlot)
{
    // The slot has 8200 bytes, 4 of them its length and 14 the header: 8182 = 0x1FF6.
    EXPECT_TRUE(Check(Hex("5A 5A 47 00 07 00 00 00 F6 1F 00 00 69 00  69")));
    EXPECT_EQ(8182u, frame.length);
    EXPECT_FALSE(Check(Hex("5A 5A 47 00 08 00 00 00 F7 1F 00 00 69 00  69")));
    ExpectError("Receive  checkSum error.");
    EXPECT_FALSE(Check(Hex("5A 5A 47 00 09 00 00 00 FF FF FF FF 69 00  69")));
    ExpectError("Receive  checkSum error.");
    EXPECT_EQ(9u, CommRxSeq);
}

TEST_F(LocalFrames, AreCheckedInTheOrderLengthHeadSequenceChecksum)
{
    Bytes read = Hex("00 5A 01 00 00 00 00 00 00 00 00 00 09 00");
    EXPECT_FALSE(Check(read));
    ExpectError("Receive length error, length is 14");
    read.push_back(0);
    EXPECT_FALSE(Check(read));
    ExpectError("Receive head error.");
    read[0] = 0x5A;
    EXPECT_FALSE(Check(read));
    ExpectError("Receive  sequence error.");
    read[4] = 1;
    EXPECT_FALSE(Check(read));
    ExpectError("Receive  checkSum error.");
    read[4] = 2;
    read[12] = 0;
    EXPECT_TRUE(Check(read));
}

// ---- Cutting ----

TEST_F(LocalFrames, AReadWithOneFrameIsOneItem)
{
    EXPECT_EQ(15u, Cut(Hex(kFirst), false));
    EXPECT_EQ(15u, Cut(Hex(kFirst), true));
}

TEST_F(LocalFrames, AHeadAfterAWholeFrameStartsANewItem)
{
    EXPECT_EQ(15u, Cut(Hex(kFirst) + Hex(kSecond), false));
    EXPECT_EQ(16u, Cut(Hex(kSecond) + Hex(kFirst), true));
    EXPECT_EQ(15u, Cut(Hex(kFirst) + Hex("5A 5A"), false)) << "as much of a head as there is";
    EXPECT_EQ(15u, Cut(Hex(kFirst) + Hex("5A"), false));
}

TEST_F(LocalFrames, OtherBytesAfterAFrameStayInItsItem)
{
    EXPECT_EQ(17u, Cut(Hex(kFirst) + Hex("00 5A"), false));
    EXPECT_EQ(17u, Cut(Hex(kFirst) + Hex("5A 00"), false));
    EXPECT_EQ(31u, Cut(Hex(kFirst) + Hex("00") + Hex(kFirst), true));
}

TEST_F(LocalFrames, AHeadInsideAPayloadStartsNoItem)
{
    const Bytes nested = LocalFrame(84, 1, Hex(kFirst));
    EXPECT_EQ(29u, Cut(nested, false));
    EXPECT_EQ(29u, Cut(nested + Hex(kSecond), false));
}

TEST_F(LocalFrames, TheFirstFrameOfAReadIsNotWaitedFor)
{
    const Bytes whole = Hex(kSecond);
    for (size_t size = 1; size < whole.size(); size++)
        EXPECT_EQ(size, Cut(Bytes(whole.begin(), whole.begin() + static_cast<long>(size)), false)) << size;
}

TEST_F(LocalFrames, AFurtherFrameIsWaitedForUntilItIsWhole)
{
    const Bytes whole = Hex(kSecond);
    for (size_t size = 1; size < whole.size(); size++)
        EXPECT_EQ(0u, Cut(Bytes(whole.begin(), whole.begin() + static_cast<long>(size)), true)) << size;
    EXPECT_EQ(16u, Cut(whole, true));
}

TEST_F(LocalFrames, AFurtherFrameThatDeclaresTooManyBytesIsNotWaitedFor)
{
    EXPECT_EQ(0u, Cut(Hex("5A 5A 47 00 07 00 00 00 96 1F 00 00 69 00  69"), true));  // 8086 = 0x1F96
    EXPECT_EQ(15u, Cut(Hex("5A 5A 47 00 07 00 00 00 97 1F 00 00 69 00  69"), true)); // 8087
    EXPECT_EQ(15u, Cut(Hex("5A 5A 47 00 07 00 00 00 FF FF FF FF 69 00  69"), true));
}

TEST_F(LocalFrames, BytesThatAreNoFrameAreOneItem)
{
    EXPECT_EQ(20u, Cut(Bytes(20, 0x11), false));
    EXPECT_EQ(20u, Cut(Bytes(20, 0x11), true));
    EXPECT_EQ(3u, Cut(Hex("5A 00 5A"), true));
}

TEST_F(LocalFrames, AStrayHeadByteBeforeAFurtherFrameIsAnItemOfItsOwn)
{
    EXPECT_EQ(1u, Cut(Hex("5A") + Hex(kFirst), true));
    EXPECT_EQ(16u, Cut(Hex("5A") + Hex(kFirst), false));
}
