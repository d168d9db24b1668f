#include "protocol/UploadDecoders.h"
#include "protocol/Decoder.h"
#include "protocol/Names.h"
#include "tests/support/Frames.h"

using namespace protocol;

namespace
{
Bytes Padded(const std::string &text, size_t size)
{
    Bytes field = Text(text);
    field.resize(size);
    return field;
}

// A report as it arrives, described whole.
struct Reports : testing::Test {
    Fields Describe(uint8_t dataType, const Bytes &payload, bool withMac)
    {
        OutFrame report;
        report.msgType = withMac ? MSG_UP_MAC : MSG_UP;
        report.flag = 1;
        report.hasPlain = true;
        report.plain = InnerRecordBytes(dataType, withMac ? Hex("021122334455") : Bytes(), payload);
        ParsedFrame frame = ParseFrame(EncodeFrame(report, kKey), kKey, true);
        EXPECT_EQ((std::vector<std::string>()), frame.problems);
        const Fields fields = DescribeFrame(&frame, STEP_UPLOAD);
        problems = frame.problems;
        return fields;
    }
    Fields WithMac(uint8_t dataType, const Bytes &payload) { return Describe(dataType, payload, true); }
    Fields Json(uint8_t dataType, const std::string &text) { return Describe(dataType, ToBytes(text), false); }
    void ExpectProblem(const std::string &problem) { EXPECT_EQ((std::vector<std::string>{problem}), problems); }
    void ExpectNone() { EXPECT_EQ((std::vector<std::string>()), problems); }

    std::vector<std::string> problems;
};

// 2 bytes of 0, data type 40, 2 of 0, one device; MAC, name, 16 bytes, online.
Bytes OnlineReport()
{
    return Hex("0000 2800 0000 0100 021a2b000014") + Padded("laptop", 16) + Bytes(16) + Hex("01");
}

Bytes SubdevRecord(const std::string &ip, const std::string &mac, const std::string &name, const std::string &rest)
{
    return Hex(ip) + Hex(mac) + Padded(name, 16) + Hex(rest);
}

// 258 as its sequence; 192.168.1.20 connected, 192.168.1.30 only in the ARP table and shut out.
Bytes DevicesReport()
{
    return Hex("0201 3f00 0000 0200") +
           SubdevRecord("1401a8c0", "021a2b000014", "laptop", "0004000000000000 ffffffffffffffff 01 01 00") +
           SubdevRecord("1e01a8c0", "021a2b00001e", "unknown-device", "0000000000000000 0000000000000000 00 00 01");
}
} // namespace

TEST_F(Reports, OfADeviceThatCameOnlineNameIt)
{
    ASSERT_EQ(47u, OnlineReport().size());
    const Fields fields = WithMac(40, OnlineReport());
    ExpectNone();
    EXPECT_EQ("device-report", At(fields, "datatype_name"));
    EXPECT_EQ("device came online 02:1a:2b:00:00:14 laptop", At(fields, "meaning"));
    EXPECT_EQ("02:1a:2b:00:00:14", At(fields, "fields.mac"));
    EXPECT_EQ("laptop", At(fields, "fields.name"));
    EXPECT_EQ("00000000000000000000000000000000", At(fields, "fields.data"));
}

TEST_F(Reports, OfADeviceThatCameOnlineMayCarryDataOfTheManagementProcess)
{
    Bytes report = OnlineReport();
    for (size_t i = 0; i < 32; i++) report[14 + i] = static_cast<uint8_t>(0xE0 + i);
    EXPECT_EQ("f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff", At(WithMac(40, report), "fields.data"));
    ExpectNone();
}

TEST_F(Reports, OfADeviceThatCameOnlineHaveFortySevenBytesSomeConstant)
{
    Bytes report = OnlineReport();
    report.pop_back();
    WithMac(40, report);
    ExpectProblem("46 bytes of data instead of 47");
    const struct {
        size_t at;
        const char *problem;
    } kFixed[] = {{0, "7 where 0 must stand"},
                  {2, "7 where 40 must stand"},
                  {4, "bytes that must be zero are not"},
                  {6, "7 where 1 must stand"},
                  {46, "7 where 1 must stand"}};
    for (const auto &fixed : kFixed) {
        report = OnlineReport();
        report[fixed.at] = 7;
        EXPECT_EQ("(none)", At(WithMac(40, report), "meaning")) << fixed.at;
        ExpectProblem(fixed.problem);
    }
}

TEST_F(Reports, OfAllDevicesAreReadRecordByRecordWithTheirAddressesSwapped)
{
    const Fields fields = WithMac(63, DevicesReport());
    ExpectNone();
    EXPECT_EQ("device-list", At(fields, "datatype_name"));
    EXPECT_EQ("2 devices, 1 of them connected", At(fields, "meaning"));
    EXPECT_EQ("258", At(fields, "fields.sequence"));
    const std::pair<const char *, const char *> kExpected[] = {
        {"0.ip", "192.168.1.20"},
        {"0.mac", "02:1a:2b:00:00:14"},
        {"0.name", "laptop"},
        {"0.up", "1024"},
        {"0.down", "18446744073709551615"},
        {"0.online", "yes"},
        {"0.black_listed", "no"},
        {"0.access", "refused"},
        {"1.ip", "192.168.1.30"},
        {"1.name", "unknown-device"},
        {"1.online", "no"},
        {"1.black_listed", "yes"},
        {"1.access", "allowed"},
    };
    for (const auto &row : kExpected)
        EXPECT_EQ(row.second, At(fields, std::string("fields.devices.") + row.first)) << row.first;
}

TEST_F(Reports, OfAllDevicesMayBeEmpty)
{
    EXPECT_EQ("0 devices, 0 of them connected", At(WithMac(63, Hex("0000 3f00 0000 0000")), "meaning"));
    ExpectNone();
}

TEST_F(Reports, OfAllDevicesHaveAsManyRecordsAsTheyCount)
{
    Bytes report = DevicesReport();
    report[6] = 3;
    WithMac(63, report);
    ExpectProblem("devices: 3 records of 45 bytes are announced, and 90 bytes follow");
    report[6] = 1;
    WithMac(63, report);
    ExpectProblem("45 bytes too many at the end of the data");
    Bytes full = Hex("0000 3f00 0000 8000");
    full.resize(8 + 128 * 45);
    WithMac(63, full);
    ExpectNone();
    full[6] = 0x81;
    full.resize(8 + 129 * 45);
    WithMac(63, full);
    ExpectProblem("devices: 129 records, and 128 are the most");
    WithMac(63, Hex("0000 3f00 0000"));
    ExpectProblem("devices: the data ends before it does");
}

TEST_F(Reports, OfAWanAreDecodedWhenTheyHaveTheLengthOfItsRecord)
{
    Bytes report = Hex("0100 5100 0000");      // sequence 1
    Append(&report, Hex("0000 02 6400 d405")); // WAN 0, pppoe, VLAN 100, MTU 1492
    Append(&report, Padded("Internet", 64));
    Append(&report, Bytes(128));
    Append(&report, Hex("021a2b000002 057100cb 00ffffff 017100cb 01010101 08080808 0300 01"));
    ASSERT_EQ(6u + 228, report.size());
    const Fields fields = WithMac(81, report);
    ExpectNone();
    EXPECT_EQ("wan-report", At(fields, "datatype_name"));
    EXPECT_EQ("1", At(fields, "fields.sequence"));
    EXPECT_EQ("pppoe", At(fields, "fields.mode"));
    EXPECT_EQ("203.0.113.5", At(fields, "fields.ip"));
    EXPECT_EQ("8.8.8.8", At(fields, "fields.dns2"));
    EXPECT_EQ("yes", At(fields, "fields.connected"));
    report.push_back(9);
    EXPECT_EQ("(none)", At(WithMac(81, report), "fields.mode"));
    ExpectNone();
    EXPECT_EQ("0102", At(WithMac(81, Hex("0100 5100 0000 0102")), "fields.data"));
    ExpectNone();
}

TEST_F(Reports, OfTheManagementProcessAreNeverEmpty)
{
    for (const char *empty : {"0100 5100 0000", "0100 5400 0000 0000", "0100 5600 0000 0000"}) {
        const Bytes report = Hex(empty);
        WithMac(report[2], report);
        ExpectProblem("the report is empty");
    }
    WithMac(89, Hex("0100 5900 0000 0000"));
    ExpectProblem("type: the data ends before it does");
}

TEST_F(Reports, OfTheManagementProcessMayBeTextsThatAreParsed)
{
    Bytes report = Hex("ff00 5400 0000 0700");
    Append(&report, ToBytes("{\"a\":1}"));
    Fields fields = WithMac(84, report);
    ExpectNone();
    EXPECT_EQ("json-report-84", At(fields, "datatype_name"));
    EXPECT_EQ("255", At(fields, "fields.sequence"));
    EXPECT_EQ("1", At(fields, "fields.json.a"));
    report[2] = 86;
    fields = WithMac(86, report);
    ExpectNone();
    EXPECT_EQ("1", At(fields, "fields.json.a"));
    report.back() = ' '; // the local peer's text, which is not the agent's error
    EXPECT_EQ("{\"a\":1 ", At(WithMac(86, report), "fields.json"));
    ExpectNone();
}

TEST_F(Reports, OfTheManagementProcessHaveTheirLengthAndDataTypeInTheHeader)
{
    WithMac(84, Hex("0100 5400 0000 0300 7b7d"));
    ExpectProblem("3 bytes are announced, and 2 follow");
    WithMac(84, Hex("0100 5400 0000 0100 7b7d"));
    ExpectProblem("1 bytes are announced, and 2 follow");
    WithMac(84, Hex("0100 5600 0000 0200 7b7d"));
    ExpectProblem("86 where 84 must stand");
    WithMac(86, Hex("0100 5600 0001 0200 7b7d"));
    ExpectProblem("bytes that must be zero are not");
    WithMac(86, Hex("0100 5600 00"));
    ExpectProblem("header: the data ends before it does");
    WithMac(81, Hex("0100 5900 0000 01"));
    ExpectProblem("89 where 81 must stand");
}

TEST_F(Reports, OfThreeTypesHaveIntervals)
{
    for (int type : {1, 2, 3}) {
        Bytes report = Hex("0100 5900 0000 0300 00 aabb");
        report[8] = static_cast<uint8_t>(type);
        const Fields fields = WithMac(89, report);
        ExpectNone();
        EXPECT_EQ("report of type " + std::to_string(type), At(fields, "meaning"));
        EXPECT_EQ("aabb", At(fields, "fields.data"));
    }
    WithMac(89, Hex("0100 5900 0000 0100 01"));
    ExpectNone();
    for (const char *type : {"00", "04"}) {
        WithMac(89, Hex(std::string("0100 5900 0000 0100 ") + type));
        ExpectProblem("type " + std::to_string(type[1] - '0') + " where 1, 2 or 3 must stand");
    }
}

TEST_F(Reports, OfAnUpdateHaveItsResult)
{
    const std::string done = "{\"pluginID\":\"p\",\"fromVersion\":\"1\",\"toVersion\":\"2\",\"process\":1,\"result\":0,"
                             "\"resultDesc\":\"\"}";
    const Fields fields = Json(3, done);
    ExpectNone();
    EXPECT_EQ("plugin-update-report", At(fields, "datatype_name"));
    EXPECT_EQ("the file is there and right; the agent ends itself", At(fields, "meaning"));
    EXPECT_EQ("2", At(fields, "json.toVersion"));
    EXPECT_EQ("the update has failed",
              At(Json(3, "{\"pluginID\":\"p\",\"fromVersion\":\"1\",\"toVersion\":\"2\",\"process\":0,\"result\":-1,"
                         "\"resultDesc\":\"\"}"),
                 "meaning"));
    ExpectNone();
}

TEST_F(Reports, OfAnUpdateHaveAllTheirMembersAndNoOthers)
{
    Json(3, "{\"pluginID\":\"p\",\"fromVersion\":\"1\",\"process\":1,\"result\":0,\"resultDesc\":\"\"}");
    ExpectProblem("toVersion is missing, or not in its place");
    const std::string begin = "{\"pluginID\":\"p\",\"fromVersion\":\"1\",\"toVersion\":\"2\",";
    Json(3, begin + "\"process\":1,\"result\":0,\"resultDesc\":\"\",\"more\":1}");
    ExpectProblem("more is one member too many");
    Json(3, begin + "\"process\":\"1\",\"result\":0,\"resultDesc\":\"\"}");
    ExpectProblem("process is no number");
    Json(3, begin + "\"process\":1,\"result\":0,\"resultDesc\":7}");
    ExpectProblem("resultDesc is no text");
    Json(3, begin + "\"process\":1,\"result\":1,\"resultDesc\":\"\"}");
    ExpectProblem("result 1 where 0 or -1 must stand");
    Json(3, begin + "\"process\":0,\"result\":0,\"resultDesc\":\"\"}");
    ExpectProblem("process 0 beside result 0");
    Json(3, begin + "\"process\":1,\"result\":0,\"resultDesc\":\"fine\"}");
    ExpectProblem("resultDesc is not empty");
    Json(3, begin);
    ExpectProblem("the text is no JSON object");
}

TEST_F(Reports, OfFirmwareHaveTheTextThatBelongsToTheirResult)
{
    const struct {
        const char *result, *text;
        bool right;
    } kAnswers[] = {
        {"0", "success", true},
        {"1", "fromVersion not match", true},
        {"1", "fromVersion not match.", true},
        {"2", "toVersion not support.", true},
        {"3", "url address error.", true},
        {"4", "check method not match.", true},
        {"5", "fileLength error.", true},
        {"6", "file download failed.", true},
        {"7", "check sum error.", true},
        {"8", "firmware update faiiled.", true},
        {"9", "unknown error.", true},
        {"9", "unKnown error.", true},
        {"-1", "unKnown error.", true},
        {"200", "unKnown error.", true},
        {"0", "success.", false},
        {"2", "toVersion not support", false},
        {"8", "firmware update failed.", false},
        {"200", "unknown error.", false},
        {"3", "unKnown error.", false},
    };
    for (const auto &answer : kAnswers) {
        const Fields fields =
            Json(17, std::string("{\"result\":") + answer.result + ",\"resultDesc\":\"" + answer.text + "\"}");
        EXPECT_EQ("firmware-answer", At(fields, "datatype_name"));
        EXPECT_EQ(answer.text, At(fields, "meaning"));
        EXPECT_EQ(answer.right, problems.empty()) << answer.result << answer.text;
    }
}

TEST_F(Reports, OfUnknownTypesAreShownUnchanged)
{
    const Fields fields = WithMac(41, Hex("0102"));
    ExpectNone();
    EXPECT_EQ("0102", At(fields, "payload"));
    EXPECT_EQ("(none)", At(fields, "fields"));
    Json(40, "text"); // the other way of sending
    ExpectNone();
}

TEST(FailureMeanings, NameALocalPeerThatDidNotAnswer)
{
    for (unsigned id : {70u, 71u, 72u, 73u, 74u, 75u, 76u, 77u, 78u, 79u, 80u, 82u, 83u, 85u}) {
        OutFrame reply;
        reply.msgType = MSG_ACK_MAC;
        reply.head = {0, 0};
        reply.hasPlain = true;
        reply.plain =
            InnerRecordBytes(static_cast<uint8_t>(id), Hex("021122334455"), {1, 0, static_cast<uint8_t>(id), 0, 1, 0});
        ParsedFrame frame = ParseFrame(EncodeFrame(reply, kKey), kKey, true);
        const Fields fields = DescribeFrame(&frame, STEP_COMMAND);
        EXPECT_EQ("the router's management process is not connected, did not answer in time, or refused",
                  At(fields, "meaning"))
            << id;
        EXPECT_EQ((std::vector<std::string>()), frame.problems) << id;
    }
}
