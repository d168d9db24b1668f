// The commands for the router's firmware: what they store, what they answer, what they hand over to the local peer.
#include "comm/FirmwareAnswer.h"
#include "tests/unit/agent/AskedPeer.h"
#include "tests/unit/agent/ParserPlugTest.h"

class FirmwareCommandsTest : public ParserPlugTest
{
};

// ---- 15: firmware check ----

TEST_F(FirmwareCommandsTest, AFirmwareCheckIsAnsweredWithItsText)
{
    EXPECT_EQ(0, ParserPlugData(15, "{\"fromVersion\":\"F1\",\"toVersion\":\"F2\"}"));
    ExpectPlainReport(17, "{\"result\":0,\"resultDesc\":\"success\"}"); // 35 bytes
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("]-> update firmware cmd ok\n"));
    EXPECT_NE(std::string::npos, log.find("F2"));
    EXPECT_STREQ("F1", upParm.fromVersion);
    EXPECT_STREQ("", upParm.toVersion);
}

TEST_F(FirmwareCommandsTest, AFirmwareCheckThatFailsIsAnsweredWithItsReason)
{
    EXPECT_EQ(1, ParserPlugData(15, "{\"toVersion\":\"F2\"}"));
    ExpectPlainReport(17, "{\"result\":1,\"resultDesc\":\"fromVersion not match\"}"); // 49 bytes, no full stop
    std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("]-> fromVersion is mismatching.\n"));
    EXPECT_NE(std::string::npos, log.find("]-> update firmware cmd error.\n"));
    EXPECT_EQ(2, ParserPlugData(15, "{\"fromVersion\":\"F1\"}"));
    ExpectPlainReport(17, "{\"result\":2,\"resultDesc\":\"toVersion not support.\"}"); // 50 bytes
    EXPECT_TRUE(Logged("toVersion is mismatching."));
    for (const char *text : {"", "{", "F1"}) {
        EXPECT_EQ(-1, ParserPlugData(15, text));
        ExpectPlainReport(17, "{\"result\":9,\"resultDesc\":\"unknown error.\"}"); // 42 bytes, small u, small k
    }
    EXPECT_EQ(-1, ParserPlugData(15, nullptr));
    ExpectPlainReport(17, "{\"result\":9,\"resultDesc\":\"unknown error.\"}");
}

TEST_F(FirmwareCommandsTest, AFirmwareCheckForgetsTheLastParameters)
{
    memset(&upParm, 'x', sizeof upParm);
    ASSERT_EQ(0, ParserPlug(15, "{\"fromVersion\":\"F1\",\"toVersion\":\"F2\"}"));
    Bytes expected(432);
    expected[0] = 'F';
    expected[1] = '1';
    const uint8_t *bytes = reinterpret_cast<const uint8_t *>(&upParm);
    EXPECT_EQ(expected, Bytes(bytes, bytes + sizeof upParm));
}

// ---- 16: firmware update ----

namespace
{
const char kFirmwareUpdate[] = "{\"fromVersion\":\"F1\",\"toVersion\":\"F2\",\"url\":\"http://h/f.bin\",\"fileLength\":"
                               "305419896,\"checkMethod\":2,\"chkSum\":\"0123456789abcdef0123456789abcdef\"}";

// The record by hand: texts at 0, 64, 128 and 392, numbers at 384 and 388.
Bytes Parameters(const std::string &fromVersion)
{
    Bytes record(432);
    const auto put = [&](size_t at, const std::string &text) { std::copy(text.begin(), text.end(), &record[at]); };
    put(0, fromVersion);
    put(64, "F2");
    put(128, "http://h/f.bin");
    put(384, "\x78\x56\x34\x12");
    record[388] = 2;
    put(392, "0123456789abcdef0123456789abcdef");
    return record;
}
} // namespace

TEST_F(FirmwareCommandsTest, AFirmwareUpdateGoesToTheLocalPeerWithTheVersionOfTheCheck)
{
    AskedPeer local;
    ASSERT_EQ(0, ParserPlug(15, "{\"fromVersion\":\"F0\",\"toVersion\":\"F2\"}"));
    EXPECT_EQ(0, ParserPlugData(16, kFirmwareUpdate));
    const Bytes frame = local.Frame();
    ASSERT_EQ(kCommHeaderSize + 432, frame.size());
    EXPECT_EQ(Hex("E7 03"), Bytes(&frame[2], &frame[4])); // 999
    EXPECT_EQ(Parameters("F0"), Bytes(frame.begin() + kCommHeaderSize, frame.end()));
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("]-> MD5: 0123456789abcdef0123456789abcdef\n"));
    EXPECT_NE(std::string::npos, log.find("]-> send update firmware command success.\n"));
    ExpectNothingSent();
}

TEST_F(FirmwareCommandsTest, AFirmwareUpdateWithoutACheckHasNoFromVersion)
{
    AskedPeer local;
    EXPECT_EQ(0, ParserPlugData(16, kFirmwareUpdate));
    const Bytes frame = local.Frame();
    ASSERT_EQ(kCommHeaderSize + 432, frame.size());
    EXPECT_EQ(Parameters(""), Bytes(frame.begin() + kCommHeaderSize, frame.end()));
}

TEST_F(FirmwareCommandsTest, TextsMayFillTheFieldsOfTheRecord)
{
    AskedPeer local;
    ASSERT_EQ(0, ParserPlug(15, ("{\"fromVersion\":\"" + std::string(70, 'f') + "\",\"toVersion\":5}").c_str()));
    EXPECT_EQ(0,
              ParserPlugData(16, ("{\"fromVersion\":0,\"toVersion\":\"" + std::string(64, 't') + "\",\"url\":\"" +
                                  std::string(300, 'u') + "\",\"fileLength\":-1,\"checkMethod\":\"1\",\"chkSum\":\"" +
                                  std::string(40, 'c') + "\"}")
                                     .c_str()));
    EXPECT_NE(std::string::npos, Log().find("]-> MD5: " + std::string(40, 'c') + "\n"));
    const Bytes frame = local.Frame();
    ASSERT_EQ(kCommHeaderSize + 432, frame.size());
    const Bytes expected =
        Bytes(64, 'f') + Bytes(64, 't') + Bytes(256, 'u') + Hex("FF FF FF FF 00 00 00 00") + Bytes(40, 'c');
    EXPECT_EQ(expected, Bytes(frame.begin() + kCommHeaderSize, frame.end()));
}

TEST_F(FirmwareCommandsTest, AFirmwareUpdateThatNobodyTakesIsAnUnknownError)
{
    EXPECT_EQ(-1, ParserPlugData(16, kFirmwareUpdate));
    ExpectPlainReport(17, "{\"result\":9,\"resultDesc\":\"unKnown error.\"}"); // 42 bytes, small u, capital K
    EXPECT_TRUE(Logged("send update firmware command failed."));
}

TEST_F(FirmwareCommandsTest, AFirmwareUpdateWithAMissingMemberIsAnsweredWithItsCodeAndText)
{
    AskedPeer local;
    const struct {
        size_t member;
        const char *answer;
        const char *log;
    } kMissing[] = {
        {0, "{\"result\":1,\"resultDesc\":\"fromVersion not match.\"}", ""},
        {1, "{\"result\":2,\"resultDesc\":\"toVersion not support.\"}", ""},
        {2, "{\"result\":3,\"resultDesc\":\"url address error.\"}", "url is null."},
        {3, "{\"result\":5,\"resultDesc\":\"fileLength error.\"}", "fileLength is null."},
        {4, "{\"result\":4,\"resultDesc\":\"check method not match.\"}", "checkMethod is null."},
        {5, "{\"result\":7,\"resultDesc\":\"check sum error.\"}", "chkSum is null."},
    };
    const std::vector<Command> commands = Commands();
    const Command &command = commands[7];
    ASSERT_EQ(16, command.dataType);
    for (const auto &missing : kMissing) {
        EXPECT_EQ(-1, ParserPlugData(16, command.members.Without(missing.member).Text().c_str()));
        ExpectPlainReport(17, missing.answer);
        const std::string log = Log();
        EXPECT_NE(std::string::npos, log.find("]-> update firmware file error.\n"));
        EXPECT_NE(std::string::npos, log.find(std::string("]-> ") + missing.log));
    }
    EXPECT_EQ(-1, ParserPlugData(16, "{"));
    ExpectPlainReport(17, "{\"result\":-1,\"resultDesc\":\"unKnown error.\"}");
    EXPECT_TRUE(local.NothingSent());
}

TEST_F(FirmwareCommandsTest, EveryFirmwareCodeHasItsText)
{
    EXPECT_STREQ("success", FirmwareText(0));
    EXPECT_STREQ("file download failed.", FirmwareText(6));
    EXPECT_STREQ("firmware update faiiled.", FirmwareText(8));
    for (const int code : {-1, 9, 10, 255, 100000, -100000}) EXPECT_STREQ("unKnown error.", FirmwareText(code));
    EXPECT_EQ(0, SendFirmwareAnswer(3, std::string(1000, 'x').c_str()));
    ExpectPlainReport(17, "{\"result\":3,\"resultDesc\":\"" + std::string(229, 'x')); // 255 characters
}
