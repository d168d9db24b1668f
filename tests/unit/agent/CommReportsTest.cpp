#include "comm/CommReports.h"

#include "comm/CommAnswer.h"
#include "comm/CommHandle.h"
#include "comm/FuncIdList.h"
#include "core/Config.h"
#include "platform/Protool.h"
#include "tests/unit/agent/CommTest.h"

namespace
{

class CommReports : public HandleTest
{
  protected:
    static void At(int seconds) { FakeClockSetWallTime(kFakeEpoch + seconds); }
    // A report of FuncID 89 arrives; `forwarded` says whether it has to be sent with the next number.
    void Expect89(const Bytes &payload, bool forwarded)
    {
        Handle(FUNCID_TYPED_REPORT, payload);
        if (!forwarded) return ExpectNothingSent();
        const Bytes length = {static_cast<uint8_t>(payload.size()), 0};
        ExpectReport(89, Bytes{number++, 0} + Hex("59 00 00 00") + length + payload);
    }
    uint8_t number = 1; // of the next report
};

} // namespace

// ---- Headers ----

TEST_F(CommReports, JsonReportsAreSentAfterAHeaderOfEightBytes)
{
    Handle(FUNCID_REPORT_84, Text("{}"));
    ExpectReport(84, Hex("01 00  54 00  00 00  02 00  7B 7D"));
    Handle(FUNCID_REPORT_86, Text("[1]"));
    ExpectReport(86, Hex("02 00  56 00  00 00  03 00  5B 31 5D"));
}

TEST_F(CommReports, RecordsAreSentAfterAHeaderOfSixBytes)
{
    Handle(FUNCID_WAN_REPORT, Hex("01 02 03"));
    ExpectReport(81, Hex("01 00  51 00  00 00  01 02 03"));
}

TEST_F(CommReports, TypedReportsAreSentAfterAHeaderOfEightBytes)
{
    Handle(FUNCID_TYPED_REPORT, Hex("02 AA"));
    ExpectReport(89, Hex("01 00  59 00  00 00  02 00  02 AA"));
}

TEST_F(CommReports, AllReportsShareOneCounterThatWraps)
{
    autoReportSeq = 0xFFFE;
    Handle(FUNCID_WAN_REPORT, {1});
    ExpectReport(81, Hex("FE FF  51 00  00 00  01"));
    Handle(FUNCID_REPORT_84, {1});
    ExpectReport(84, Hex("FF FF  54 00  00 00  01 00  01"));
    Handle(FUNCID_TYPED_REPORT, {2});
    ExpectReport(89, Hex("00 00  59 00  00 00  01 00  02"));
    Handle(FUNCID_REPORT_86, {1});
    ExpectReport(86, Hex("01 00  56 00  00 00  01 00  01"));
}

TEST_F(CommReports, TheCounterContinuesWhenTheServerRestarts)
{
    autoReportSeq = 7;
    CommReportsReset();
    EXPECT_EQ(7, autoReportSeq);
}

TEST_F(CommReports, TheLongestFrameIsSentWhole)
{
    const Bytes payload(8086, 0x41);
    Handle(FUNCID_REPORT_84, payload);
    ExpectReport(84, Hex("01 00  54 00  00 00  96 1F") + payload); // 8086 = 0x1F96
}

TEST_F(CommReports, AReportThatIsTooLongForThePlatformIsCountedButNotSent)
{
    HandleRead(Hex("5A 5A 54 00 01 00 00 00 F6 1F 00 00 41 00  41")); // 8182 bytes, 8190 with the header
    ExpectNothingSent();
    EXPECT_EQ(2, autoReportSeq);
}

TEST_F(CommReports, WithoutPayloadAreNotSent)
{
    for (const char *id : {"51", "54", "56"}) {
        HandleRead(Hex("5A 5A " + std::string(id) + " 00") + Bytes{static_cast<uint8_t>(++sequence)} +
                   Hex("00 00 00 00 00 00 00 00 00 00"));
        const std::string log = Log();
        EXPECT_NE(std::string::npos, log.find("]-> ERROR: receive data length error!\n\n")) << id << log;
    }
    ExpectNothingSent();
    EXPECT_EQ(1, autoReportSeq);
}

TEST_F(CommReports, ATypedReportWithoutPayloadTakesItsTypeFromTheByteAfterItsHeader)
{
    HandleRead(Hex("5A 5A 59 00 01 00 00 00 00 00 00 00 00 00  02"));
    EXPECT_TRUE(Logged("CommAutoReport89", "ERROR: receive data length error!"));
    ExpectNothingSent();
}

TEST_F(CommReports, AreDroppedSilentlyWithoutMemory)
{
    Log();
    FakeFailAllocation(1);
    Handle(FUNCID_REPORT_84, {1});
    EXPECT_EQ("", Log());
    ExpectNothingSent();
    EXPECT_EQ(1, CommReceived);
}

TEST_F(CommReports, ArePrintedOnStandardOutputWithDebug)
{
    l_debug = 1;
    testing::internal::CaptureStdout();
    Handle(FUNCID_REPORT_84, Hex("7B 0A FF"));
    EXPECT_EQ("\nFuncID 84, Auto report info:\n01 00 54 00 00 00 03 00 7B 0A FF \n",
              testing::internal::GetCapturedStdout());
    ExpectReport(84, Hex("01 00  54 00  00 00  03 00  7B 0A FF"));
    l_debug = 0;
    testing::internal::CaptureStdout();
    Handle(FUNCID_REPORT_84, {1});
    EXPECT_EQ("", testing::internal::GetCapturedStdout());
}

TEST_F(CommReports, AreShownAtOnce)
{
    l_debug = 1;
    const StandardOutput shown;
    Handle(FUNCID_REPORT_84, Hex("7B"));
    EXPECT_EQ("\nFuncID 84, Auto report info:\n01 00 54 00 00 00 01 00 7B \n", shown.SoFar());
}

// ---- FuncID 81 ----

TEST_F(CommReports, OnlyTheFiveAddressesOfARecordAreReversed)
{
    Bytes record(228);
    for (size_t i = 0; i < record.size(); i++) record[i] = static_cast<uint8_t>(i);
    Bytes expected = record;
    const Bytes reversed = Hex("D0 CF CE CD  D4 D3 D2 D1  D8 D7 D6 D5  DC DB DA D9  E0 DF DE DD"); // 205 = 0xCD
    std::copy(reversed.begin(), reversed.end(), expected.begin() + 205);
    Handle(FUNCID_WAN_REPORT, record);
    ExpectReport(81, Hex("01 00 51 00 00 00") + expected);
}

TEST_F(CommReports, AShortRecordIsConvertedOnlyInsideItsSlot)
{
    // The record ends inside the first address; the bytes after it in the slot are used.
    Bytes slot = Slot(LocalFrame(FUNCID_WAN_REPORT, 1, Bytes(207, 0x11)));
    slot[18 + 207] = 0xA1;
    slot[18 + 208] = 0xA2;
    slot[18 + 221] = 0xB1;
    CommHandleFrame(slot.data());
    Bytes expected(207, 0x11);
    expected[205] = 0xA2;
    expected[206] = 0xA1;
    ExpectReport(81, Hex("01 00 51 00 00 00") + expected);
    EXPECT_EQ(0x11, slot[18 + 208]);
    EXPECT_EQ(0xB1, slot[18 + 224]);
    EXPECT_EQ(Bytes(8200 - 18 - 225), Bytes(slot.begin() + 18 + 225, slot.end()));
}

// ---- FuncID 89, type 1 ----

TEST_F(CommReports, Type1ThatRepeatsItsBytesWithinTwoMinutesIsDropped)
{
    At(0);
    Expect89(Hex("01 AA"), true);
    Log();
    At(60);
    Expect89(Hex("01 AA"), false);
    At(61);
    EXPECT_TRUE(Logged("CommAutoReport89", "ERROR: type1 report error!"));
    At(120);
    Expect89(Hex("01 AA"), false); // 60 s after the dropped one
    At(240);
    Expect89(Hex("01 AA"), true);
}

TEST_F(CommReports, Type1WithOtherBytesIsForwardedAMinuteLater)
{
    At(0);
    Expect89(Hex("01 AA"), true);
    At(60);
    Expect89(Hex("01 AB"), true);
    At(120);
    Expect89(Hex("01 AA"), true); // only the last one counts
    At(125);
    Expect89(Hex("01 AB"), true);
}

TEST_F(CommReports, Type1IsDroppedWithinFiveSecondsWhateverItsBytes)
{
    At(0);
    Expect89(Hex("01 AA"), true);
    At(3);
    Expect89(Hex("01 BB"), false);
    At(7);
    Expect89(Hex("01 CC"), false); // 4 s after the dropped one
    At(12);
    Expect89(Hex("01 DD"), true);
}

TEST_F(CommReports, Type1IsComparedWithTheLastOneEvenIfThatWasDropped)
{
    At(0);
    Expect89(Hex("01 AA"), true);
    At(3);
    Expect89(Hex("01 BB"), false);
    At(63);
    Expect89(Hex("01 BB"), false);
    At(123);
    Expect89(Hex("01 AA"), true);
}

TEST_F(CommReports, Type1IsComparedWithTheLastOneHoweverOldThatIs)
{
    At(0);
    Expect89(Hex("01 AA"), true);
    At(7200);
    Expect89(Hex("01 BB"), true);
    At(7260);
    Expect89(Hex("01 BB"), false);
    At(7320);
    Expect89(Hex("01 AA"), true);
}

TEST_F(CommReports, Type1IsComparedByTheSumOfItsBytesModulo256)
{
    At(0);
    Expect89(Hex("01 02 03"), true);
    At(60);
    Expect89(Hex("01 03 02"), false);
    At(119);
    Expect89(Hex("01 FF 06"), false); // 0x106
    At(178);
    Expect89(Hex("01 FF 05"), true);
}

TEST_F(CommReports, Type1AfterExactlyTwoMinutesMayRepeatItself)
{
    At(0);
    Expect89(Hex("01 AA"), true);
    At(119);
    Expect89(Hex("01 AA"), false);
    At(239);
    Expect89(Hex("01 AA"), true);
}

TEST_F(CommReports, Type1LogsItsInterval)
{
    At(0);
    Expect89(Hex("01 AA"), true);
    EXPECT_TRUE(Logged("CommAutoReport89", "Type1 report interval: 1700000000 seconds!"));
    At(42);
    Expect89(Hex("01 AA"), false);
    EXPECT_TRUE(Logged("CommAutoReport89", "Type1 report interval: 42 seconds!"));
}

TEST_F(CommReports, Type1IsDroppedAfterTheDateWasSetBack)
{
    At(0);
    Expect89(Hex("01 AA"), true);
    At(-100);
    Expect89(Hex("01 BB"), false);
    EXPECT_TRUE(Logged("CommAutoReport89", "Type1 report interval: -100 seconds!"));
    At(-40);
    Expect89(Hex("01 AA"), true);
}

// ---- FuncID 89, types 2 and 3 ----

TEST_F(CommReports, Type2Within1170SecondsIsDroppedAndItsTimeCounts)
{
    At(0);
    Expect89(Hex("02 AA"), true);
    Log();
    At(1169);
    Expect89(Hex("02 BB"), false);
    EXPECT_TRUE(Logged("CommAutoReport89", "ERROR: type2 report error!"));
    At(1170);
    Expect89(Hex("02 BB"), false); // a second after the dropped one
    At(2340);
    Expect89(Hex("02 BB"), true);
}

TEST_F(CommReports, Type3WithinFiftySecondsIsDroppedAndItsTimeCounts)
{
    At(0);
    Expect89(Hex("03 AA"), true);
    EXPECT_TRUE(Logged("CommAutoReport89", "Type3 report interval: 1700000000 seconds!"));
    At(49);
    Handle(FUNCID_TYPED_REPORT, Hex("03 BB"));
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("]-> Type3 report interval: 49 seconds!\n\n"));
    EXPECT_NE(std::string::npos, log.find("]-> ERROR: type3 report error!\n\n"));
    ExpectNothingSent();
    At(98);
    Expect89(Hex("03 BB"), false);
    At(148);
    Expect89(Hex("03 BB"), true);
}

TEST_F(CommReports, EachTypeHasItsOwnLastTime)
{
    At(0);
    Expect89(Hex("01 AA"), true);
    Expect89(Hex("02 AA"), true);
    Expect89(Hex("03 AA"), true);
}

TEST_F(CommReports, TheFirstReportOfEachTypeIsSentWhateverTheYear)
{
    // 1970, the last second of 32 bits and those after it, 2106
    for (const time_t now : {time_t(0), time_t(3), time_t(49), time_t(0x7FFFFFFF), time_t(0x80000000),
                             time_t(0x80000000 + 40), time_t(0xFFFFFFFF), time_t(0x100000003)}) {
        CommReportsReset();
        FakeClockSetWallTime(now);
        for (uint8_t type = 1; type <= 3; type++) Expect89({type, 0xAA}, true);
    }
}

TEST_F(CommReports, TheRulesHoldInEveryYear)
{
    for (const time_t first : {time_t(3), time_t(0x7FFFFFF0), time_t(0x180000000)}) {
        CommReportsReset();
        FakeClockSetWallTime(first);
        Expect89(Hex("01 AA"), true);
        Expect89(Hex("02 AA"), true);
        Expect89(Hex("03 AA"), true);
        FakeClockSetWallTime(first + 49);
        Expect89(Hex("01 AA"), false);
        Expect89(Hex("03 AA"), false);
        FakeClockSetWallTime(first + 1169);
        Expect89(Hex("01 AA"), true);
        Expect89(Hex("02 AA"), false);
        Expect89(Hex("03 AA"), true);
    }
}

TEST_F(CommReports, AClockThatIsSetAfterTheFirstReportCountsAsTheTimeBetween)
{
    FakeClockSetWallTime(3); // the time is not known yet
    Expect89(Hex("01 AA"), true);
    At(0);
    Expect89(Hex("01 AA"), true);
    EXPECT_TRUE(Logged("CommAutoReport89", "Type1 report interval: 1699999997 seconds!"));
}

TEST_F(CommReports, OtherTypesAreDropped)
{
    for (uint8_t type : {0, 4, 0x31, 255}) {
        Expect89({type, 0xAA}, false);
        At(type + 1);
    }
    Handle(FUNCID_TYPED_REPORT, {4});
    EXPECT_TRUE(Logged("CommAutoReport89", "ERROR: type error!"));
    EXPECT_EQ(1, autoReportSeq);
}

TEST_F(CommReports, TheStartOfTheServerForgetsTheLastTimes)
{
    At(0);
    Expect89(Hex("02 AA"), true);
    CommReportsReset();
    At(1);
    Expect89(Hex("02 AA"), true);
}

// ---- FuncID 999 ----

TEST_F(CommReports, ASuccessfulFirmwareUpdateIsSentAsText)
{
    Handle(FUNCID_FIRMWARE_UPDATE, {0});
    EXPECT_TRUE(Logged("CommFwUpdateResult", "update firmware success."));
    ExpectPlainReport(17, "{\"result\":0,\"resultDesc\":\"success\"}");
}

TEST_F(CommReports, AFailedFirmwareUpdateIsSentWithItsReason)
{
    const struct {
        uint8_t code;
        const char *text;
    } kFailures[] = {
        {1, "{\"result\":1,\"resultDesc\":\"fromVersion not match.\"}"},
        {2, "{\"result\":2,\"resultDesc\":\"toVersion not support.\"}"},
        {3, "{\"result\":3,\"resultDesc\":\"url address error.\"}"},
        {4, "{\"result\":4,\"resultDesc\":\"check method not match.\"}"},
        {5, "{\"result\":5,\"resultDesc\":\"fileLength error.\"}"},
        {6, "{\"result\":6,\"resultDesc\":\"file download failed.\"}"},
        {7, "{\"result\":7,\"resultDesc\":\"check sum error.\"}"},
        {8, "{\"result\":8,\"resultDesc\":\"firmware update faiiled.\"}"}, // this spelling is fixed: FirmwareAnswer.cpp
        {9, "{\"result\":9,\"resultDesc\":\"unKnown error.\"}"},
        {255, "{\"result\":255,\"resultDesc\":\"unKnown error.\"}"},
    };
    for (const auto &failure : kFailures) {
        Handle(FUNCID_FIRMWARE_UPDATE, {failure.code});
        EXPECT_TRUE(Logged("CommFwUpdateResult", "update firmware file error.")) << failure.text;
        ExpectPlainReport(17, failure.text);
    }
}

TEST_F(CommReports, AFirmwareResultThatIsNotOneByteIsNotSent)
{
    Handle(FUNCID_FIRMWARE_UPDATE, {0, 0});
    EXPECT_TRUE(Logged("CommFwUpdateResult", "Firmware update return length error."));
    HandleRead(Hex("5A 5A E7 03 02 00 00 00 00 00 00 00 00 00  00"));
    EXPECT_TRUE(Logged("CommFwUpdateResult", "Firmware update return length error."));
    ExpectNothingSent();
}
