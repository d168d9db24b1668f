#include "platform/SessionFrames.h"

#include <cstring>

#include "tests/unit/agent/PlatformSide.h"

static Bytes Pin(const char *text)
{
    Bytes field(kPinHeadSize, 0xEE);
    PinField(text, field.data());
    return field;
}

TEST(SessionFrames, ThePinFieldIsTheFirstTwelveCharactersZeroFilled)
{
    EXPECT_EQ(Text("123456789012"), Pin("1234567890123456"));
    EXPECT_EQ(Text("123456789012"), Pin("123456789012"));
    EXPECT_EQ(Hex("31 32 33 00 00 00 00 00 00 00 00 00"), Pin("123"));
    EXPECT_EQ(Bytes(12, 0), Pin(""));
}

TEST(SessionFrames, RegisterHeadIsThreeZeroBytesAndThePin)
{
    RegisterRequest request = {};
    PinField("1234", request.pin);
    Bytes out(15, 0xEE);
    ASSERT_EQ(15u, RegisterHeadWrite(request, out.data(), out.size()));
    EXPECT_EQ(Hex("00 00 00  31 32 33 34 00 00 00 00 00 00 00 00"), out);
    EXPECT_EQ(0u, RegisterHeadWrite(request, out.data(), 14));
}

TEST(SessionFrames, RegisterRecordIsFortyOneBytesLongerThanTheSerial)
{
    const uint8_t mac[] = {0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6};
    const std::string longest(63, 'S');
    for (size_t length : {size_t{1}, size_t{2}, size_t{63}}) {
        RegisterRequest request = {};
        request.serial = longest.c_str();
        request.serialLen = length;
        request.mac = mac;
        Bytes out(104, 0xEE);
        ASSERT_EQ(length + 41, RegisterRecordWrite(request, out.data(), out.size()));
        out.resize(length + 41);
        const Bytes lead = {0, 0, static_cast<uint8_t>(length)};
        EXPECT_EQ(lead + Bytes(length, 'S') + Hex("A1A2A3A4A5A6") + Bytes(32, 0), out);
        EXPECT_EQ(0u, RegisterRecordWrite(request, out.data(), out.size() - 1));
    }
}

TEST(SessionFrames, RegisterRecordRefusesASerialOfSixtyFourCharacters)
{
    const uint8_t mac[6] = {};
    const std::string serial(64, 'S');
    RegisterRequest request = {};
    request.serial = serial.c_str();
    request.serialLen = 64;
    request.mac = mac;
    uint8_t out[256];
    EXPECT_EQ(0u, RegisterRecordWrite(request, out, sizeof out));
}

TEST(SessionFrames, RegisterRequestIsReadBackAndRefusedWhereverItIsCut)
{
    const Bytes head = Hex("00 00 00") + Text("PIN012345678");
    const Bytes record = Hex("00 00 02 53 4E A1 A2 A3 A4 A5 A6") + Bytes(32, 0);
    RegisterRequest request = {};
    ASSERT_TRUE(RegisterRequestRead(head.data(), head.size(), record.data(), record.size(), &request));
    EXPECT_EQ(0, memcmp("PIN012345678", request.pin, 12));
    EXPECT_EQ("SN", std::string(request.serial, request.serialLen));
    EXPECT_EQ(Hex("A1A2A3A4A5A6"), Bytes(request.mac, request.mac + 6));
    for (size_t size = 0; size < head.size(); size++)
        EXPECT_FALSE(RegisterRequestRead(head.data(), size, record.data(), record.size(), &request)) << size;
    for (size_t size = 0; size < record.size(); size++)
        EXPECT_FALSE(RegisterRequestRead(head.data(), head.size(), record.data(), size, &request)) << size;
}

static Bytes HandMadeRegisterAck()
{
    Bytes record = {0x77, 0x88}; // not used
    for (int i = 0; i < 32; i++) record.push_back(static_cast<uint8_t>(0x40 + i));
    record = record + Hex("C0 A8 01 FE  97 17"); // 192.168.1.254, port 6039
    for (int i = 0; i < 32; i++) record.push_back(static_cast<uint8_t>(0xC0 + i));
    return record;
}

TEST(SessionFrames, RegisterAckHoldsTokenServerPortAndPluginIdentifier)
{
    const Bytes record = HandMadeRegisterAck();
    ASSERT_EQ(72u, record.size());
    RegisterAck ack = {};
    ASSERT_TRUE(RegisterAckRead(record.data(), record.size(), &ack));
    EXPECT_EQ(Bytes(record.begin() + 2, record.begin() + 34), Bytes(ack.token, ack.token + 32));
    EXPECT_EQ(Hex("C0 A8 01 FE"), Bytes(ack.server, ack.server + 4));
    EXPECT_EQ(6039, ack.port);
    EXPECT_EQ(Bytes(record.begin() + 40, record.end()), Bytes(ack.pluginId, ack.pluginId + 32));

    Bytes again(72, 0xEE);
    ASSERT_EQ(72u, RegisterAckWrite(ack, again.data(), again.size()));
    EXPECT_EQ(Bytes({0, 0}) + Bytes(record.begin() + 2, record.end()), again);
    EXPECT_EQ(0u, RegisterAckWrite(ack, again.data(), 71));
}

TEST(SessionFrames, RegisterAckIsRefusedWhereverItIsCut)
{
    const Bytes record = HandMadeRegisterAck();
    RegisterAck ack;
    for (size_t size = 0; size < 72; size++) {
        const Bytes cut(record.begin(), record.begin() + static_cast<long>(size));
        EXPECT_FALSE(RegisterAckRead(cut.data(), cut.size(), &ack)) << size;
    }
}

TEST(SessionFrames, LoginHeadIsPinAndToken)
{
    LoginRequest request = {};
    PinField("1234", request.pin);
    memset(request.token, 0xAB, sizeof request.token);
    Bytes out(44, 0xEE);
    ASSERT_EQ(44u, LoginHeadWrite(request, out.data(), out.size()));
    EXPECT_EQ(Hex("31 32 33 34 00 00 00 00 00 00 00 00") + Bytes(32, 0xAB), out);
    EXPECT_EQ(0u, LoginHeadWrite(request, out.data(), 43));
}

TEST(SessionFrames, LoginRecordIsNineteenZeroBytesTheVersionAndTwoFixedBytes)
{
    LoginRequest request = {};
    const uint8_t version[] = {2, 0, 0, 7};
    memcpy(request.version, version, 4);
    Bytes out(25, 0xEE);
    ASSERT_EQ(25u, LoginRecordWrite(request, out.data(), out.size()));
    EXPECT_EQ(Bytes(19, 0) + Hex("02 00 00 07 01 36"), out);
    EXPECT_EQ(0u, LoginRecordWrite(request, out.data(), 24));
}

TEST(SessionFrames, LoginRequestIsReadBackAndRefusedWhereverItIsCut)
{
    const Bytes head = Text("PIN012345678") + Bytes(32, 0xAB);
    const Bytes record = Bytes(19, 0) + Hex("02 00 00 07 01 36");
    LoginRequest request = {};
    ASSERT_TRUE(LoginRequestRead(head.data(), head.size(), record.data(), record.size(), &request));
    EXPECT_EQ(0, memcmp("PIN012345678", request.pin, 12));
    EXPECT_EQ(Bytes(32, 0xAB), Bytes(request.token, request.token + 32));
    EXPECT_EQ(Hex("02 00 00 07"), Bytes(request.version, request.version + 4));
    for (size_t size = 0; size < head.size(); size++)
        EXPECT_FALSE(LoginRequestRead(head.data(), size, record.data(), record.size(), &request)) << size;
    for (size_t size = 0; size < record.size(); size++)
        EXPECT_FALSE(LoginRequestRead(head.data(), head.size(), record.data(), size, &request)) << size;
}

TEST(SessionFrames, LoginAckHoldsASignedLittleEndianIntervalAtTwo)
{
    const struct {
        const char *record;
        int16_t interval;
    } cases[] = {{"00 00 3C 00", 60}, {"99 99 2C 01", 300}, {"00 00 FF FF", -1}, {"00 00 00 80", -32768}};
    for (const auto &sample : cases) {
        const Bytes record = Hex(sample.record);
        int16_t interval = 0;
        EXPECT_TRUE(LoginAckRead(record.data(), record.size(), &interval));
        EXPECT_EQ(sample.interval, interval);
        for (size_t size = 0; size < record.size(); size++) EXPECT_FALSE(LoginAckRead(record.data(), size, &interval));
    }
    Bytes out(4, 0xEE);
    ASSERT_EQ(4u, LoginAckWrite(-2, out.data(), out.size()));
    EXPECT_EQ(Hex("00 00 FE FF"), out);
}

TEST(SessionFrames, HeartbeatHeadIsTheTimeInSecondsLittleEndian)
{
    Bytes out(4, 0xEE);
    ASSERT_EQ(4u, HeartbeatHeadWrite(0x6553F100, out.data(), out.size()));
    EXPECT_EQ(Hex("00 F1 53 65"), out);
    uint32_t seconds = 0;
    ASSERT_TRUE(HeartbeatHeadRead(out.data(), 4, &seconds));
    EXPECT_EQ(0x6553F100u, seconds);
    EXPECT_FALSE(HeartbeatHeadRead(out.data(), 3, &seconds));
    EXPECT_EQ(0u, HeartbeatHeadWrite(1, out.data(), 3));
}
