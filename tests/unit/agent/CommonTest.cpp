#define LOG_MODULE "Common"
#include "core/Common.h"

#include "tests/unit/agent/AgentTest.h"

namespace
{

class Common : public AgentTest
{
  protected:
    // What has been logged since the last call, colours included.
    std::string ColouredLog()
    {
        const std::string text = testing::internal::GetCapturedStderr();
        testing::internal::CaptureStderr();
        return text;
    }
};

} // namespace

// ---- Filter and stamp ----

TEST_F(Common, LogLevelZeroPrintsNothingNotEvenErrors)
{
    d_set_log_level(LOG_LEVEL_NONE);
    for (uint32_t level : {1u, 2u, 4u, 8u, 16u, 32u}) {
        EXPECT_FALSE(d_log_filter(level)) << level;
        LogLine(LogPlace(level, LogModule("Plug"), 1), "f", "text");
    }
    LOG_ERR("text");
    EXPECT_EQ("", Log());
}

TEST_F(Common, SetLogLevelStoresTheMask)
{
    d_set_log_level(9);
    EXPECT_EQ(9u, log_level);
}

TEST_F(Common, FilterAdmitsOnlyTheLevelsOfTheMask)
{
    for (uint32_t admitted : {1u, 2u, 4u, 8u, 16u, 32u}) {
        d_set_log_level(admitted);
        for (uint32_t level : {1u, 2u, 4u, 8u, 16u, 32u}) EXPECT_EQ(level == admitted, d_log_filter(level)) << level;
    }
}

TEST_F(Common, FilterRefusesWhatIsNotASingleBitAndPrintsNothing)
{
    d_set_log_level(0xFFFFFFFF);
    for (uint32_t level : {0u, 3u, 9u, 31u, 33u, 64u, 0x80000000u}) EXPECT_FALSE(d_log_filter(level)) << level;
    EXPECT_EQ("", Log());
}

TEST_F(Common, FilterPrintsTheStampWithTheNameOfTheLevel)
{
    d_set_log_level(63);
    const struct {
        uint32_t level;
        const char *stamp;
    } rows[] = {
        {1, "2023-11-14 22:13:20 [ERR]"},    {2, "2023-11-14 22:13:20 [WARN]"},
        {4, "2023-11-14 22:13:20 [NOTICE]"}, {8, "2023-11-14 22:13:20 [INFO]"},
        {16, "2023-11-14 22:13:20 [DEBUG]"}, {32, "2023-11-14 22:13:20 [(null)]"}, // the sixth bit has no name
    };
    for (const auto &row : rows) {
        EXPECT_TRUE(d_log_filter(row.level));
        EXPECT_EQ(row.stamp, ColouredLog());
    }
}

TEST_F(Common, StampHasNoLeadingZerosInMonthAndDayButInTheTime)
{
    FakeClockSetWallTime(1773039900); // 2026-03-09 07:05:00
    d_time_in_microseconds(0);
    EXPECT_EQ("2026-3-9 07:05:00 [ERR]", ColouredLog());
    FakeClockSetWallTime(1767225609); // 2026-01-01 00:00:09
    d_time_in_microseconds(3);
    EXPECT_EQ("2026-1-1 00:00:09 [INFO]", ColouredLog());
}

// ---- Whole lines ----

TEST_F(Common, ErrorLineHasARedPrefixAndYellowText)
{
    LogLine(LogPlace(LOG_LEVEL_ERR, LogModule("TcpServer"), 42), "SendData", "only %d bytes", 7);
    EXPECT_EQ(
        "2023-11-14 22:13:20 [ERR]\033[1;31m [TcpServer->SendData->42]-> \033[0m\033[1;33monly 7 bytes\033[0m\n\n",
        ColouredLog());
}

TEST_F(Common, DebugAndWarningLinesHaveAYellowPrefixAndYellowText)
{
    LogLine(LogPlace(LOG_LEVEL_DEBUG, LogModule("Plug"), 1), "f", "text");
    EXPECT_EQ("2023-11-14 22:13:20 [DEBUG]\033[1;33m [Plug->f->1]-> \033[0m\033[1;33mtext\033[0m\n\n", ColouredLog());
    LogLine(LogPlace(LOG_LEVEL_WARN, LogModule("Plug"), 1), "f", "text");
    EXPECT_EQ("2023-11-14 22:13:20 [WARN]\033[1;33m [Plug->f->1]-> \033[0m\033[1;33mtext\033[0m\n\n", ColouredLog());
}

TEST_F(Common, InformationalLineIsGreenThroughout)
{
    LogLine(LogPlace(LOG_LEVEL_INFO, LogModule("Plug"), 1), "f", "text");
    EXPECT_EQ("2023-11-14 22:13:20 [INFO]\033[1;32m [Plug->f->1]-> \033[0m\033[1;32mtext\033[0m\n\n", ColouredLog());
}

TEST_F(Common, LogPlaceHoldsEveryModuleAndLongLines)
{
    for (const auto &module : kLogModules) {
        LogLine(LogPlace(LOG_LEVEL_DEBUG, LogModule(module), 123456), "f", "text");
        EXPECT_EQ("2023-11-14 22:13:20 [DEBUG] [" + std::string(module) + "->f->123456]-> text\n\n", Log());
    }
}

TEST_F(Common, LogMacrosNameModuleFunctionAndLine)
{
    const int line = __LINE__ + 1;
    LOG_ERR("text");
    EXPECT_EQ("2023-11-14 22:13:20 [ERR] [Common->TestBody->" + std::to_string(line) + "]-> text\n\n", Log());
    LOG_AS(LOG_LEVEL_INFO, "SocketInit", "text");
    EXPECT_NE(std::string::npos, Log().find("[INFO] [Common->SocketInit->"));
}

TEST_F(Common, LogMacrosDoNotEvaluateArgumentsOfALevelThatIsOff)
{
    int evaluated = 0;
    d_set_log_level(LOG_LEVEL_ERR);
    LOG_DEBUG("%d", ++evaluated);
    LOG_INFO("%d", ++evaluated);
    EXPECT_EQ(0, evaluated);
    LOG_ERR("%d", ++evaluated);
    EXPECT_EQ(1, evaluated);
}

TEST_F(Common, LinesOfSeveralThreadsStayWhole)
{
    const auto logMany = [](const char *text) {
        for (int i = 0; i < 50; i++) LogLine(LogPlace(LOG_LEVEL_INFO, LogModule("Plug"), 1), "f", "%s", text);
    };
    {
        Running first([&] { logMany("aaaaaaaaaaaaaaaa"); });
        Running second([&] { logMany("bbbbbbbbbbbbbbbb"); });
    }
    const std::string text = Log();
    const std::string stamp = "2023-11-14 22:13:20 [INFO] [Plug->f->1]-> ";
    const size_t lineSize = stamp.size() + 16 + 2;
    ASSERT_EQ(100 * lineSize, text.size());
    for (size_t at = 0; at < text.size(); at += lineSize) {
        EXPECT_EQ(stamp, text.substr(at, stamp.size()));
        EXPECT_EQ(std::string(16, text[at + stamp.size()]) + "\n\n", text.substr(at + stamp.size(), 18));
    }
}

// ---- Byte order ----

TEST_F(Common, GetEndTypeSetsZeroAndReturnsZeroAtEveryLevel)
{
    for (uint32_t level : {0u, 1u, 31u}) {
        d_set_log_level(level);
        mEndType = 1;
        EXPECT_EQ(0, GetEndType());
        EXPECT_EQ(0u, mEndType);
    }
}

TEST_F(Common, ConditionalSwapsReturnTheirValueUnchanged)
{
    GetEndType();
    EXPECT_EQ(0x1122, swapInt16(0x1122));
    EXPECT_EQ(0x11223344u, swapInt32(0x11223344));
    EXPECT_EQ(0x1122334455667788u, swapInt64(0x1122334455667788));
}

TEST_F(Common, ConditionalSwapsReverseAllBytesWhenTheTypeIsNotZero)
{
    mEndType = 1;
    EXPECT_EQ(0x2211, swapInt16(0x1122));
    EXPECT_EQ(0x44332211u, swapInt32(0x11223344));
    EXPECT_EQ(0x8877665544332211u, swapInt64(0x1122334455667788));
}

TEST_F(Common, SwapNet32StoresNetworkOrderWhateverTheTypeAndTheAlignment)
{
    for (uint32_t type : {0u, 1u}) {
        mEndType = type;
        for (size_t offset = 0; offset < 4; offset++) {
            uint8_t room[9] = {};
            swapNet32(room + offset + 1, 0x11223344);
            EXPECT_EQ(Hex("11 22 33 44"), Bytes(room + offset + 1, room + offset + 5));
            EXPECT_EQ(0, room[offset]);
            EXPECT_EQ(0, room[offset + 5]);
        }
    }
}

// ---- Text ----

TEST_F(Common, CharToHexReadsDigitsOfEitherCaseHighNibbleFirst)
{
    const struct {
        const char *text;
        uint8_t byte;
    } rows[] = {{"aB", 0xAB}, {"00", 0x00}, {"09", 0x09}, {"90", 0x90}, {"af", 0xAF},
                {"fa", 0xFA}, {"AF", 0xAF}, {"FA", 0xFA}, {"7e", 0x7E}};
    for (const auto &row : rows) {
        uint8_t byte = 0x55;
        CharToHex(&byte, row.text);
        EXPECT_EQ(row.byte, byte) << row.text;
    }
}

TEST_F(Common, CharToHexOfTwoOtherCharactersKeepsTheByte)
{
    for (const char *text : {"zz", "gG", "/:", "@`", "  "}) {
        uint8_t byte = 0x5A;
        CharToHex(&byte, text);
        EXPECT_EQ(0x5A, byte) << text;
    }
}

TEST_F(Common, CharToHexAfterABadFirstCharacterStillOrsTheLowNibble)
{
    uint8_t byte = 0x51;
    CharToHex(&byte, "zA");
    EXPECT_EQ(0x5B, byte);
}

TEST_F(Common, CharToHexOfABadSecondCharacterAddsNothing)
{
    uint8_t byte = 0x55;
    CharToHex(&byte, "Az");
    EXPECT_EQ(0xA0, byte);
}
