// How data frames are handled: commands, their answers, and acknowledgements of uploads.
#include "CBHandle.h"

#include <cstring>

#include "platform/Protool.h"
#include "tests/unit/agent/FeatureSpy.h"
#include "tests/unit/agent/PlatformSide.h"

typedef LinkedTest CBHandleDataTest;

static const uint8_t kDataTypes[] = {18, 20, 25, 26};

// A function request: tag A5 5A, the ID, six bytes without a meaning, parameters.
static Bytes FunctionRequest(uint16_t id, const Bytes &parameters = {})
{
    return Bytes{0xA5, 0x5A, uint8_t(id), uint8_t(id >> 8), 0, 0, 0, 0, 0, 0} + parameters;
}

// ---- All of them ----

TEST_F(CBHandleDataTest, EveryDataFrameIsASignOfLifeEvenWithoutABody)
{
    for (uint8_t type : kDataTypes) {
        beepAck = 0;
        CBHandle(Received(type, Hex("00 00"), {}));
        EXPECT_EQ(1, beepAck) << int(type);
        EXPECT_EQ(0u, mHeartTime);
    }
    EXPECT_EQ("", Log());
    ExpectNothingSent();
}

TEST_F(CBHandleDataTest, DecryptedRecordsAreLogged)
{
    const FeatureSpy spy;
    for (uint8_t type : kDataTypes) {
        const Bytes inner = type == 20 || type == 26 ? mac : Bytes();
        CBHandle(ReceivedRecord(type, {}, Record(200, inner, Text("hello"))));
        EXPECT_NE(std::string::npos,
                  Log().find("Recv MsgType=[" + std::to_string(type) + "] DataType=[200] DataLen=[5]\n"));
    }
}

TEST_F(CBHandleDataTest, ShortBodiesOfEveryLengthAreDroppedOrRefused)
{
    const FeatureSpy spy;
    Bytes noise;
    for (int i = 0; i < 40; i++) noise.push_back(static_cast<uint8_t>(i * 37 + 11));
    for (uint8_t type : kDataTypes) {
        for (size_t size = 0; size <= 40; size++) {
            CBHandle(Received(type, {}, Bytes(noise.begin(), noise.begin() + static_cast<long>(size)), 0x5A));
            const bool dropped = size < 16; // not one block
            EXPECT_EQ(dropped, Log().empty()) << int(type) << " " << size;
            if (!dropped && type == 18) ExpectAck(25, 11, 0, {});
            if (!dropped && type == 20) ExpectAck(26, 11, 0, {});
        }
        ExpectNothingSent();
    }
    for (const FeatureSpy::Call &call : spy.Calls()) EXPECT_LE(call.payload.size(), 40u); // of type 25
    EXPECT_TRUE(gSdk.calls.empty());
    EXPECT_EQ(0, mQuitPro);
}

TEST_F(CBHandleDataTest, TheLongestBodyIsAccepted)
{
    const FeatureSpy spy;
    const std::string text(1498, 'x'); // a record of 1503 bytes in a body of 1504
    CBHandle(ReceivedRecord(18, {}, Record(200, {}, Text(text))));
    ASSERT_EQ(1u, spy.Calls().size());
    EXPECT_EQ(text, spy.Calls()[0].payload);
    ExpectAck(25, 0, 200, Text("{\"result\":0}"));
}

// A record may announce the padding as part of its text, which then ends with the decrypted body.
TEST_F(CBHandleDataTest, ATextThatFillsItsBodyToTheLastByteEndsThere)
{
    const FeatureSpy spy;
    const size_t sizes[] = {1499, 27, 11}; // falling: behind the shorter ones stand bytes of the longest
    for (const size_t size : sizes) {
        const std::string text = std::string(size - 1, 'x') + "\1"; // the padding of one byte
        const Bytes head = Hex("00 00 C8") + Bytes{uint8_t(size), uint8_t(size >> 8)};
        const ReceivedFrame frame = ReceivedRecord(18, {}, head + Bytes(size - 1, 'x'));
        ASSERT_EQ(5 + size, frame.header.bodyLen);
        CBHandle(frame);
        ASSERT_FALSE(spy.Calls().empty());
        EXPECT_EQ(text, spy.Calls().back().payload);
        ExpectAck(25, 0, 200, Text("{\"result\":0}"));

        if (size > 1018) continue; // too long for the text of an acknowledgement
        CBHandle(ReceivedRecord(18, {}, Record(200, {}, Bytes(1498, 'y'))));
        ExpectAck(25, 0, 200, Text("{\"result\":0}"));
        CBHandle(ReceivedRecord(25, {}, head + Bytes(size - 1, 'x')));
        EXPECT_EQ(text, spy.Calls().back().payload);
    }
    EXPECT_EQ(7u, spy.Calls().size());
}

TEST_F(CBHandleDataTest, NothingIsAnsweredWhileNotLoggedIn)
{
    const FeatureSpy spy;
    mLogin = 0;
    CBHandle(ReceivedRecord(18, {}, Record(200, {}, Text("hello"))));
    CBHandle(ReceivedRecord(20, {}, Record(200, mac, FunctionRequest(1))));
    CBHandle(Received(20, {}, Encrypted(Record(200, mac, FunctionRequest(1))), 0x01));
    mLogin = 1;
    ExpectNothingSent();
}

// ---- Cipher text that begins FF FF ----

// The first of these records, one for each number, whose cipher text begins so, the mark of a network failure: one in
// 65536 does. Every number makes another first block. Empty when there is none.
static Bytes FailureLookalike(const std::function<Bytes(uint32_t)> &record)
{
    for (uint32_t number = 0; number < 1 << 24; number++) {
        const Bytes plain = record(number);
        const Bytes block = EncryptedBlocks(Bytes(plain.begin(), plain.begin() + 16));
        if (block[0] == 0xFF && block[1] == 0xFF) return plain;
    }
    return {};
}

// Such a record for a plugin command; its payload is "hello" and six digits.
static Bytes PlugLookalike()
{
    return FailureLookalike([](uint32_t number) {
        const std::string digits = std::to_string(number);
        return Record(200, {}, Text("hello" + std::string(6 - std::min<size_t>(6, digits.size()), '0') + digits));
    });
}

TEST_F(CBHandleDataTest, APlugCommandWhoseCipherBeginsLikeANetworkFailureIsACommand)
{
    const FeatureSpy spy;
    const Bytes plain = PlugLookalike();
    ASSERT_FALSE(plain.empty());
    const ReceivedFrame frame = ReceivedRecord(18, {}, plain);
    ASSERT_EQ(0xFFFF, frame.firstWord);
    CBHandle(frame);
    EXPECT_EQ(0, mQuitPro);
    ASSERT_EQ(1u, spy.Calls().size());
    EXPECT_EQ(std::string(plain.begin() + 5, plain.end()), spy.Calls()[0].payload);
    ExpectAck(25, 0, 200, Text("{\"result\":0}"));
}

TEST_F(CBHandleDataTest, AFunctionCommandWhoseCipherBeginsLikeANetworkFailureIsACommand)
{
    strcpy(gSdk.version.text, "V1");
    const Bytes plain = FailureLookalike([this](uint32_t number) {
        Bytes request = FunctionRequest(1);
        for (int i = 0; i < 3; i++)
            request[i < 2 ? i : 4] = static_cast<uint8_t>(number >> 8 * i); // tag, and one behind
        return Record(40, mac, request);
    });
    ASSERT_FALSE(plain.empty());
    const ReceivedFrame frame = ReceivedRecord(20, {}, plain);
    ASSERT_EQ(0xFFFF, frame.firstWord);
    CBHandle(frame);
    EXPECT_EQ(0, mQuitPro);
    ExpectAck(26, 0, 40, Bytes{plain[11], plain[12]} + Hex("01 00 00 00") + Text("V1") + Bytes(62, 0));
}

TEST_F(CBHandleDataTest, ACommandThatBeginsLikeANetworkFailureAndHasAWrongChecksumIsOne)
{
    const FeatureSpy spy;
    ReceivedFrame frame = ReceivedRecord(18, {}, PlugLookalike());
    frame.header.checksum++;
    CBHandle(frame);
    EXPECT_EQ(1, mQuitPro);
    EXPECT_TRUE(spy.Calls().empty());
    EXPECT_NE(std::string::npos, Log().find("net error reconnect\n"));
    ExpectNothingSent();
}

TEST_F(CBHandleDataTest, OtherTypesThatBeginLikeANetworkFailureAreOneWhateverTheirChecksum)
{
    const Bytes plain = PlugLookalike();
    for (uint8_t type : {2, 11, 25, 26, 27}) {
        mQuitPro = 0;
        CBHandle(ReceivedRecord(type, {}, plain));
        EXPECT_EQ(1, mQuitPro) << int(type);
    }
}

// ---- Checksum ----

TEST_F(CBHandleDataTest, APlugCommandWithAWrongChecksumIsAnsweredElevenAndNotExecuted)
{
    const FeatureSpy spy;
    ReceivedFrame frame = ReceivedRecord(18, {}, Record(200, {}, Text("hello")));
    frame.header.checksum++;
    CBHandle(frame);
    EXPECT_EQ(Hex("CC DD 19 02 0B 00 00 0B 00"), peer.ReceiveFrame());
    ExpectNothingSent();
    EXPECT_TRUE(spy.Calls().empty());
}

TEST_F(CBHandleDataTest, AFunctionCommandWithAWrongChecksumIsAnsweredElevenAndNotExecuted)
{
    ReceivedFrame frame = ReceivedRecord(20, {}, Record(40, mac, FunctionRequest(1)));
    frame.header.checksum--;
    CBHandle(frame);
    EXPECT_EQ(Hex("CC DD 1A 02 0B 00 00 0B 00"), peer.ReceiveFrame());
    ExpectNothingSent();
    EXPECT_TRUE(gSdk.calls.empty());
}

TEST_F(CBHandleDataTest, TheChecksumCoversBodyLengthHeadAndPlainRecord)
{
    const FeatureSpy spy;
    // Length 10 00, head 05 06 (0B), record (19B): 1B6.
    CBHandle(Received(18, Hex("05 06"), Encrypted(Hex("00 00 C8 02 00 68 69")), 0xB6));
    ExpectAck(25, 0, 200, Text("{\"result\":0}"));
    EXPECT_EQ(1u, spy.Count("ParserPlugData"));
}

TEST_F(CBHandleDataTest, TheChecksumOfAnUploadAckIsNotVerified)
{
    const FeatureSpy spy;
    CBHandle(Received(25, {}, Encrypted(Record(200, {}, Text("hello"))), 0xEE));
    EXPECT_EQ(1u, spy.Count("ParserPlugData"));
    ExpectNothingSent();
}

TEST_F(CBHandleDataTest, AnImpossiblePaddingCountIsAMismatch)
{
    const FeatureSpy spy;
    for (uint8_t padding : {17, 128, 255}) {
        const Bytes plain = Hex("00 00 C8 02 00 68 69") + Bytes(8, 0) + Bytes{padding};
        // Right whichever part of the block is summed up.
        for (int checksum = 0; checksum < 256; checksum++) {
            CBHandle(Received(18, {}, EncryptedBlocks(plain), static_cast<uint8_t>(checksum)));
            ASSERT_EQ(Hex("CC DD 19 02 0B 00 00 0B 00"), peer.ReceiveFrame()) << int(padding) << " " << checksum;
        }
    }
    EXPECT_TRUE(spy.Calls().empty());
}

TEST_F(CBHandleDataTest, EveryPossiblePaddingCountIsUsedAsItIs)
{
    const FeatureSpy spy;
    // Count 0: all 16 bytes are summed. Count 16: none is. The record is read all the same.
    const Bytes plain = Hex("00 00 C8 02 00 68 69") + Bytes(8, 0);
    CBHandle(Received(18, {}, EncryptedBlocks(plain + Bytes{0}), Sum(Hex("10 00") + plain)));
    ExpectAck(25, 0, 200, Text("{\"result\":0}"));
    CBHandle(Received(18, {}, EncryptedBlocks(plain + Bytes{16}), 0x10));
    ExpectAck(25, 0, 200, Text("{\"result\":0}"));
    EXPECT_EQ(2u, spy.Count("ParserPlugData"));
}

// ---- Plug commands ----

TEST_F(CBHandleDataTest, APlugCommandIsAnsweredWithTheHandlersCodeAsHeadAndText)
{
    FeatureSpy spy;
    const struct {
        int code;
        uint16_t head;
        const char *text;
    } cases[] = {{0, 0, "{\"result\":0}"},
                 {7, 7, "{\"result\":7}"},
                 {300, 300, "{\"result\":300}"},
                 {-1, 0xFFFF, "{\"result\":-1}"}};
    for (const auto &sample : cases) {
        spy.plugCode = sample.code;
        CBHandle(ReceivedRecord(18, Hex("01 00"), Record(61, {}, Text("{\"a\":1}"))));
        ExpectAck(25, sample.head, 61, Text(sample.text));
    }
    ASSERT_EQ(4u, spy.Calls().size());
    EXPECT_EQ(61, spy.Calls()[0].dataType);
    EXPECT_EQ("{\"a\":1}", spy.Calls()[0].payload);
    ExpectNothingSent();
}

TEST_F(CBHandleDataTest, ThePayloadOfAPlugCommandEndsWhereItsLengthSays)
{
    const FeatureSpy spy;
    CBHandle(ReceivedRecord(18, {}, Hex("00 00 C8 02 00") + Text("hello"))); // 2 of 5
    ExpectAck(25, 0, 200, Text("{\"result\":0}"));
    ASSERT_EQ(1u, spy.Calls().size());
    EXPECT_EQ("he", spy.Calls()[0].payload);
}

TEST_F(CBHandleDataTest, APlugCommandThatAnnouncesMoreThanFollowsIsNotExecuted)
{
    const FeatureSpy spy;
    CBHandle(ReceivedRecord(18, {}, Hex("00 00 C8 64 00") + Text("hello")));
    ExpectAck(25, 0xFFFF, 200, Text("{\"result\":-1}"));
    EXPECT_TRUE(spy.Calls().empty());
}

// ---- Function commands ----

TEST_F(CBHandleDataTest, AFunctionCommandIsAnsweredWithItsReplyRecordAndNothingElse)
{
    strcpy(gSdk.version.text, "V1");
    CBHandle(ReceivedRecord(20, Hex("01 02 03"), Record(40, mac, FunctionRequest(1))));
    ExpectAck(26, 0, 40, Hex("A5 5A 01 00 00 00") + Text("V1") + Bytes(62, 0));
    ExpectNothingSent();
    EXPECT_EQ(0, FakeAllocationsAlive());
}

TEST_F(CBHandleDataTest, AFunctionCommandOfNineBytesIsALengthError)
{
    for (size_t size = 0; size < 10; size++) {
        const Bytes request = FunctionRequest(1);
        CBHandle(
            ReceivedRecord(20, {}, Record(40, mac, Bytes(request.begin(), request.begin() + static_cast<long>(size)))));
        ExpectAck(26, 0, 40, Text("length error"));
    }
    ExpectNothingSent();
    EXPECT_TRUE(gSdk.calls.empty());
}

TEST_F(CBHandleDataTest, AFunctionCommandThatAnnouncesMoreThanFollowsIsALengthError)
{
    CBHandle(ReceivedRecord(20, {}, Bytes{0, 0, 40} + mac + Hex("64 00") + FunctionRequest(1)));
    ExpectAck(26, 0, 40, Text("length error"));
    ExpectNothingSent();
    EXPECT_TRUE(gSdk.calls.empty());
}

TEST_F(CBHandleDataTest, AFunctionCommandWithoutMemoryForItsReplyIsAMemError)
{
    FakeFailAllocation(1);
    CBHandle(ReceivedRecord(20, {}, Record(40, mac, FunctionRequest(1))));
    ExpectAck(26, 1, 40, Text("mem error"));
    ExpectNothingSent();
    EXPECT_TRUE(gSdk.calls.empty());
    EXPECT_EQ(0, FakeAllocationsAlive());
}

TEST_F(CBHandleDataTest, AnUnknownFunctionIsAnsweredWithItsOutputFirstAndThenAParserError)
{
    CBHandle(ReceivedRecord(20, {}, Record(40, mac, FunctionRequest(300))));
    ExpectAck(26, 0, 40, Hex("A5 5A 2C 01 07 00"));
    ExpectAck(26, 0xFFFF, 40, Text("parser error"));
    ExpectNothingSent();
}

TEST_F(CBHandleDataTest, AnInvalidFunctionHasNoOutputAndIsAnsweredWithAParserErrorAlone)
{
    for (int id : {0, 32767, 65535}) {
        CBHandle(ReceivedRecord(20, {}, Record(40, mac, FunctionRequest(static_cast<uint16_t>(id)))));
        ExpectAck(26, 0xFFFF, 40, Text("parser error"));
        ExpectNothingSent();
    }
    EXPECT_EQ(0, FakeAllocationsAlive());
}

TEST_F(CBHandleDataTest, AnswersCarryTheRoutersOwnMacNotTheFrames)
{
    CBHandle(ReceivedRecord(20, {}, Record(40, Hex("FF EE DD CC BB AA"), Hex("01"))));
    ExpectAck(26, 0, 40, Text("length error")); // with the router's
}

// ---- Acknowledgements of uploads ----

TEST_F(CBHandleDataTest, AnUploadAckOfUpTo1018BytesIsParsedAndNeverAnswered)
{
    FeatureSpy spy;
    spy.plugCode = 5;
    for (size_t size : {0u, 1u, 1018u}) {
        CBHandle(ReceivedRecord(25, Hex("00 00"), Record(13, {}, Bytes(size, 'r'))));
        ASSERT_FALSE(spy.Calls().empty());
        EXPECT_EQ(std::string(size, 'r'), spy.Calls().back().payload);
        EXPECT_EQ(13, spy.Calls().back().dataType);
    }
    CBHandle(ReceivedRecord(25, {}, Record(13, {}, Bytes(1019, 'r'))));
    EXPECT_EQ(3u, spy.Calls().size());
    EXPECT_NE(std::string::npos, Log().find("DataLen=[1019]\n"));
    ExpectNothingSent();
}

TEST_F(CBHandleDataTest, AnUploadAckThatAnnouncesMoreThanFollowsIsNotParsed)
{
    const FeatureSpy spy;
    CBHandle(ReceivedRecord(25, {}, Hex("00 00 0D 64 00") + Text("hello")));
    EXPECT_TRUE(spy.Calls().empty());
    ExpectNothingSent();
}

TEST_F(CBHandleDataTest, AnUploadAckWithMacIsOnlyLogged)
{
    const FeatureSpy spy;
    CBHandle(ReceivedRecord(26, Hex("00 00"), Record(40, mac, FunctionRequest(1))));
    EXPECT_NE(std::string::npos, Log().find("Recv MsgType=[26] DataType=[40] DataLen=[10]\n"));
    EXPECT_TRUE(spy.Calls().empty());
    EXPECT_TRUE(gSdk.calls.empty());
    ExpectNothingSent();
}
