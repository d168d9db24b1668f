// What the commands to the agent itself require and store, and what they answer.
#include "tests/unit/agent/ParserPlugTest.h"

namespace
{
const char kUpdateCmd[] = "{\"pluginID\":\"p1\",\"fromVersion\":\"1.0\",\"toVersion\":\"2.0\"}";

} // namespace

std::vector<Command> Commands()
{
    return {
        {1, {{{"pluginID", "\"p\""}, {"fromVersion", "\"1\""}, {"toVersion", "\"2\""}}}, {-1, -1, -1}},
        {2,
         {{{"url", "\"http://h/p\""}, {"fileLength", "5"}, {"fileMD5", "\"ab\""}, {"token", "\"t\""}}},
         {-1, -1, -1, -1}},
        {4, {{{"result", "0"}}}, {-1}},
        {5, {{{"mac", "\"0211223344aF\""}}}, {-1}},
        {6, {{{"mac", "\"0211223344aF\""}, {"result", "7"}}}, {-1, -1}},
        {7, {{{"mac", "\"0211223344aF\""}}}, {-1}},
        {15, {{{"fromVersion", "\"F1\""}, {"toVersion", "\"F2\""}}}, {1, 2}},
        {16,
         {{{"fromVersion", "\"F1\""},
           {"toVersion", "\"F2\""},
           {"url", "\"u\""},
           {"fileLength", "1"},
           {"checkMethod", "1"},
           {"chkSum", "\"c\""}}},
         {1, 2, 3, 5, 4, 7}},
        {18, {{{"func40Interval", "5"}}}, {-1}},
    };
}

// ---- What all commands have in common ----

TEST_F(ParserPlugTest, EveryMemberIsRequiredAndHasItsOwnCode)
{
    for (const Command &command : Commands()) {
        EXPECT_EQ(0, ParserPlug(command.dataType, command.members.Text().c_str())) << command.members.Text();
        for (size_t i = 0; i < command.missing.size(); i++) {
            const std::string text = command.members.Without(i).Text();
            EXPECT_EQ(command.missing[i], ParserPlug(command.dataType, text.c_str())) << text;
        }
    }
}

TEST_F(ParserPlugTest, AMemberOfAnyTypeIsAccepted)
{
    for (const Command &command : Commands()) {
        for (size_t i = 0; i < command.missing.size(); i++) {
            const std::string &name = command.members.all[i].first;
            if (name == "url" && command.dataType == 2) continue; // has to be one
            if (name == "func40Interval") continue;               // has limits
            for (const std::string &value : HostileValues()) {
                const std::string text = command.members.With(i, value).Text();
                EXPECT_EQ(0, ParserPlug(command.dataType, text.c_str())) << text;
            }
            const std::string text = command.members.With(i, "\"2000\"").Text();
            EXPECT_EQ(0, ParserPlug(command.dataType, text.c_str())) << text;
        }
    }
}

TEST_F(ParserPlugTest, AMemberThatIsNoTextIsAnEmptyText)
{
    for (const std::string &value : HostileValues()) {
        ASSERT_EQ(0, ParserPlug(1, kUpdateCmd));
        EXPECT_EQ(0,
                  ParserPlug(1, ("{\"pluginID\":\"p2\",\"fromVersion\":" + value + ",\"toVersion\":\"3\"}").c_str()));
        EXPECT_STREQ("p2", mPluginID);
        EXPECT_STREQ("", mFromVersion) << value;
        EXPECT_STREQ("3", mToVersion);
        EXPECT_EQ(-1,
                  ParserPlug(2, ("{\"url\":" + value + ",\"fileLength\":1,\"fileMD5\":\"\",\"token\":\"\"}").c_str()))
            << value; // the empty text is no URL
    }
}

TEST_F(ParserPlugTest, TheFirstMissingMemberDecides)
{
    EXPECT_EQ(1, ParserPlug(15, "{}"));
    EXPECT_EQ(1, ParserPlug(16, "{}"));
    EXPECT_EQ(2, ParserPlug(16, "{\"fromVersion\":1,\"url\":3}"));
    EXPECT_EQ(5, ParserPlug(16, "{\"fromVersion\":\"1\",\"toVersion\":\"1\",\"url\":\"1\"}")); // before 4
}

TEST_F(ParserPlugTest, InvalidJsonIsRefusedByEveryCommand)
{
    for (const Command &command : Commands()) {
        EXPECT_EQ(-1, ParserPlug(command.dataType, nullptr));
        for (const char *text : {"", " ", "{", "result", "{\"result\"", "\"", "{\"mac\":\"0211223344aF\""})
            EXPECT_EQ(-1, ParserPlug(command.dataType, text)) << text;
        EXPECT_EQ(command.missing[0], ParserPlug(command.dataType, "[]"));
        EXPECT_EQ(command.missing[0], ParserPlug(command.dataType, "[1,\"result\"]"));
        EXPECT_EQ(command.missing[0], ParserPlug(command.dataType, "3"));
    }
}

TEST_F(ParserPlugTest, AMissingMemberKeepsTheMembersBeforeItAndStopsTheReading)
{
    ASSERT_EQ(0, ParserPlug(1, kUpdateCmd));
    EXPECT_EQ(-1, ParserPlug(1, "{\"pluginID\":\"p2\",\"toVersion\":\"3.0\"}"));
    EXPECT_STREQ("p2", mPluginID);
    EXPECT_STREQ("1.0", mFromVersion);
    EXPECT_STREQ("2.0", mToVersion);
}

TEST_F(ParserPlugTest, ATextThatIsTooLongIsCutToItsField)
{
    struct Field {
        uint8_t dataType;
        size_t member;
        char *text;
        size_t size;
        size_t room; // a record's field is filled, the agent's own texts are terminated
    };
    const Field fields[] = {
        {1, 0, mPluginID, 128, 127},       {1, 1, mFromVersion, 16, 15},  {1, 2, mToVersion, 128, 127},
        {2, 2, mFileMD5, 64, 63},          {2, 3, mToken, 128, 127},      {15, 0, upParm.fromVersion, 64, 64},
        {16, 1, upParm.toVersion, 64, 64}, {16, 2, upParm.url, 256, 256}, {16, 5, upParm.chkSum, 40, 40},
    };
    for (const Field &field : fields) {
        for (const Command &command : Commands()) {
            if (command.dataType != field.dataType) continue;
            const auto expectKept = [&](size_t kept, size_t length) {
                const std::string text =
                    command.members.With(field.member, "\"" + std::string(length, 'x') + "\"").Text();
                EXPECT_EQ(0, ParserPlug(field.dataType, text.c_str())) << length;
                EXPECT_EQ(std::string(kept, 'x') + std::string(field.size - kept, '\0'),
                          std::string(field.text, field.size))
                    << int(field.dataType) << " " << field.member << " " << length;
            };
            for (const size_t length : {field.room - 1, field.room, size_t{3}, size_t{0}}) expectKept(length, length);
            for (const size_t length : {field.room + 1, field.size + 1, size_t{1400}, size_t{10000}})
                expectKept(field.room, length);
        }
    }
}

TEST_F(ParserPlugTest, TextsOfAnyLengthStayInTheirFieldsUnchanged)
{
    for (const HostileText &hostile : HostileTexts()) {
        const std::string text = JsonString(hostile.text);
        for (const Command &command : Commands()) {
            for (size_t i = 0; i < command.missing.size(); i++) {
                const int result = ParserPlug(command.dataType, command.members.With(i, text).Text().c_str());
                if (command.dataType != 1) continue;
                EXPECT_EQ(0, result) << text;
                EXPECT_EQ(hostile.text.substr(0, i == 1 ? 15 : 127), i == 0   ? mPluginID
                                                                     : i == 1 ? mFromVersion
                                                                              : mToVersion);
            }
        }
        EXPECT_NE(nullptr, memchr(mPluginID, 0, sizeof mPluginID));
        EXPECT_NE(nullptr, memchr(mFromVersion, 0, sizeof mFromVersion));
        EXPECT_NE(nullptr, memchr(mDownloadServer, 0, sizeof mDownloadServer));
        EXPECT_EQ(1u, upParm.fileLength); // the neighbours of the fields
        EXPECT_EQ(1u, upParm.checkMethod);
    }
    EXPECT_TRUE(FakeCommands().empty());
}

// ---- 1: announced update ----

TEST_F(ParserPlugTest, AnAnnouncedUpdateIsStored)
{
    EXPECT_EQ(0, ParserPlugData(1, kUpdateCmd));
    EXPECT_STREQ("p1", mPluginID);
    EXPECT_STREQ("1.0", mFromVersion);
    EXPECT_STREQ("2.0", mToVersion);
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("[DEBUG] [ParseJson->ParserPlugData->")) << log;
    const size_t first = log.find("]-> ParserPlug datatype_update_cmd ret 0\n");
    ASSERT_NE(std::string::npos, first) << log;
    EXPECT_LT(first, log.find("]-> update cmd ok\n"));
    EXPECT_NE(std::string::npos, log.find("]-> update cmd ok\n"));
    ExpectNothingSent();
}

TEST_F(ParserPlugTest, AWrongAnnouncementIsAcknowledgedAllTheSame)
{
    EXPECT_EQ(0, ParserPlugData(1, "{\"pluginID\":\"p1\"}"));
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("]-> ParserPlug datatype_update_cmd ret -1\n"));
    EXPECT_EQ(std::string::npos, log.find("update cmd ok"));
    EXPECT_EQ(0, ParserPlugData(1, nullptr));
}

// ---- 2: the URL of an update ----

TEST_F(ParserPlugTest, AUrlWithoutAPortHasPort80)
{
    EXPECT_EQ(0, ParseUrl("http://files.example.net/plug/2.0"));
    EXPECT_EQ("files.example.net|80|/plug/2.0", Place());
    EXPECT_TRUE(Logged("port 80;mDownloadUrl : /plug/2.0; mDownloadServer: files.example.net "));
    EXPECT_EQ(5u, mFileLength);
    EXPECT_STREQ("ab", mFileMD5);
    EXPECT_STREQ("t", mToken);
}

TEST_F(ParserPlugTest, AUrlsPortIsRead)
{
    EXPECT_EQ(0, ParseUrl("http://10.0.0.1:8080/p"));
    EXPECT_EQ("10.0.0.1|8080|/p", Place());
    EXPECT_EQ(0, ParseUrl("http://10.0.0.1:/p"));
    EXPECT_EQ("10.0.0.1|0|/p", Place());
    EXPECT_EQ(0, ParseUrl("http://10.0.0.1:80x/p"));
    EXPECT_EQ("10.0.0.1|80|/p", Place());
    EXPECT_EQ(0, ParseUrl("http://10.0.0.1/a:81/b"));
    EXPECT_EQ("10.0.0.1|80|/a:81/b", Place());
}

TEST_F(ParserPlugTest, AUrlsPortHasAtMostSevenCharacters)
{
    EXPECT_EQ(0, ParseUrl("http://h:0008080/p"));
    EXPECT_EQ("h|8080|/p", Place());
    EXPECT_EQ(-1, ParseUrl("http://x:00008080/q"));
    EXPECT_EQ("h|8080|/p", Place());
}

TEST_F(ParserPlugTest, AUrlsHostHasAtMostThirtyOneCharacters)
{
    const std::string host(31, 'h');
    EXPECT_EQ(0, ParseUrl("http://" + host + "/p"));
    EXPECT_EQ(host + "|80|/p", Place());
    EXPECT_EQ(-1, ParseUrl("http://" + host + "h/q"));
    EXPECT_EQ(-1, ParseUrl("http://" + host + "h:80/q"));
    EXPECT_EQ(host + "|80|/p", Place());
}

TEST_F(ParserPlugTest, AUrlHasASchemeAndASlashAfterItsHost)
{
    for (const char *url : {"", "h/p", "http:/h/p", "http://h", "http://h:80", "http://", "h.p"})
        EXPECT_EQ(-1, ParseUrl(url)) << url;
    EXPECT_EQ("|0|", Place());
}

TEST_F(ParserPlugTest, AUrlHasAtMost255Characters)
{
    const std::string path = "/" + std::string(246, 'p');
    EXPECT_EQ(0, ParseUrl("http://h" + path)); // 255
    EXPECT_EQ("h|80|" + path, Place());
    EXPECT_EQ(-1, ParseUrl("http://x" + path + "p"));
    EXPECT_EQ("h|80|" + path, Place());
}

TEST_F(ParserPlugTest, ALengthIsCutToItsField)
{
    const auto parse = [](const std::string &length) {
        return ParserPlug(
            2, ("{\"url\":\"http://h/p\",\"fileLength\":" + length + ",\"fileMD5\":\"\",\"token\":\"\"}").c_str());
    };
    const struct {
        const char *sent;
        uint32_t kept;
    } kLengths[] = {
        {"2000", 2000}, // a number that fits is kept as it is, up to the last of 32 bits
        {"0", 0},
        {"1e3", 1000},
        {"2147483648", 2147483648u},
        {"4294967295", 4294967295u},
        {"1.9", 1},
        {"-0.9", 0},
        {"-1", 4294967295u},
        {"-2147483648", 2147483648u},
        {"4294967296", 4294967295u}, // beyond, the nearest
        {"1e308", 4294967295u},
        {"1e999", 4294967295u},
        {"123456789012345678901234567890", 4294967295u},
        {"-1e999", 2147483648u},
        {"\"2000\"", 0}, // a text has no number
        {"\"\"", 0},
        {"null", 0},
        {"false", 0},
        {"true", 1},
        {"{}", 0},
        {"[5]", 0},
    };
    for (const auto &length : kLengths) {
        mFileLength = 77;
        EXPECT_EQ(0, parse(length.sent)) << length.sent;
        EXPECT_EQ(length.kept, mFileLength) << length.sent;
    }
}

// ---- 4 to 7: devices ----

TEST_F(ParserPlugTest, OnlineNeedsAResultOfAnyType)
{
    for (const char *text : {"{\"result\":0}", "{\"result\":null}", "{\"result\":{}}", "{\"result\":\"x\"}"})
        EXPECT_EQ(0, ParserPlugData(4, text)) << text;
    EXPECT_TRUE(Logged("datatype_online"));
    EXPECT_EQ(-1, ParserPlugData(4, "{\"code\":0}"));
    ExpectNothingSent();
}

TEST_F(ParserPlugTest, AMacIsStoredByTheThreeCommandsThatHaveOne)
{
    const struct {
        uint8_t dataType;
        const char *log;
    } kCommands[] = {{5, "datatype_vip"}, {6, "datatype_recog"}, {7, "datatype_rerecog"}};
    for (const auto &command : kCommands) {
        memset(mMac, 0, sizeof mMac);
        EXPECT_EQ(0, ParserPlugData(command.dataType, "{\"mac\":\"02aBcDeF0910\",\"result\":200}"));
        EXPECT_EQ(Hex("02 AB CD EF 09 10"), Bytes(mMac, mMac + 6));
        EXPECT_TRUE(Logged(command.log));
    }
    ExpectNothingSent();
}

TEST_F(ParserPlugTest, AMacIsReadAsFarAsPossibleAndTheRestIsZero)
{
    const struct {
        const char *sent;
        const char *kept;
    } kMacs[] = {
        {"\"02:11:22:33:44:55\"", "02 00 00 00 00 00"},
        {"\"0211223344\"", "02 11 22 33 44 00"},
        {"\"02112233445\"", "02 11 22 33 44 05"},
        {"\"0211223344556\"", "02 11 22 33 44 55"},
        {"\"0211223344gg\"", "02 11 22 33 44 00"},
        {"\" 021122 334455\"", "02 11 22 33 44 55"},
        {"\"02112233445\\u0000\"", "02 11 22 33 44 05"},
        {"\"mac\"", "00 00 00 00 00 00"},
        {"\"\"", "00 00 00 00 00 00"},
        {"21122334455", "00 00 00 00 00 00"},
        {"null", "00 00 00 00 00 00"},
    };
    for (const auto &one : kMacs) {
        for (const uint8_t dataType : {5, 6, 7}) {
            memset(mMac, 'x', sizeof mMac);
            EXPECT_EQ(0, ParserPlugData(dataType, (std::string("{\"mac\":") + one.sent + ",\"result\":1}").c_str()));
            EXPECT_EQ(Hex(one.kept), Bytes(mMac, mMac + 6)) << one.sent;
        }
    }
}

TEST_F(ParserPlugTest, ARecognitionsResultIsCutToEightBits)
{
    const struct {
        const char *sent;
        uint8_t kept;
    } kResults[] = {{"255", 255}, {"256", 0}, {"257", 1}, {"-1", 255}, {"7.9", 7}, {"\"5\"", 0}, {"null", 0}};
    for (const auto &result : kResults) {
        mRecogResult = 99;
        EXPECT_EQ(
            0, ParserPlugData(6, (std::string("{\"mac\":\"021122334455\",\"result\":") + result.sent + "}").c_str()));
        EXPECT_EQ(result.kept, mRecogResult) << result.sent;
        EXPECT_TRUE(Logged("devrecog result  : " + std::to_string(result.kept)));
    }
    EXPECT_EQ(-1, ParserPlugData(6, "{\"mac\":\"021122334466\"}"));
    EXPECT_EQ(0, mRecogResult);
    EXPECT_EQ(0x66, mMac[5]); // it stood before
    EXPECT_EQ(std::string::npos, Log().find("devrecog"));
}

// ---- 18: period of the device reports ----

TEST_F(ParserPlugTest, AReportPeriodOf1To19MinutesIsSixCyclesAMinute)
{
    AutoReportDevinfo = 0;
    EXPECT_EQ(0, ParserPlugData(18, "{\"func40Interval\":19}"));
    EXPECT_EQ(114, Fn40Interval);
    EXPECT_EQ(1, AutoReportDevinfo);
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("]-> datatype_fn40_interval.\n"));
    EXPECT_NE(std::string::npos, log.find("]-> Set subdev auto report 19 minute.\n"));
    EXPECT_EQ(0, ParserPlugData(18, "{\"func40Interval\":1}"));
    EXPECT_EQ(6, Fn40Interval);
}

TEST_F(ParserPlugTest, AReportPeriodOfZeroTurnsTheReportsOff)
{
    EXPECT_EQ(0, ParserPlugData(18, "{\"func40Interval\":0}"));
    EXPECT_EQ(0, AutoReportDevinfo);
    EXPECT_EQ(6, Fn40Interval);
    EXPECT_TRUE(Logged("Close subdev auto report."));
}

TEST_F(ParserPlugTest, AReportPeriodIsCutToWholeMinutes)
{
    EXPECT_EQ(0, ParserPlugData(18, "{\"func40Interval\":19.99}"));
    EXPECT_EQ(114, Fn40Interval);
    EXPECT_EQ(0, ParserPlugData(18, "{\"func40Interval\":1.5}"));
    EXPECT_EQ(6, Fn40Interval);
    for (const char *minutes : {"0.5", "-0.5", "\"5\"", "\"\"", "null", "[5]"}) { // all of them are 0
        AutoReportDevinfo = 1;
        EXPECT_EQ(0, ParserPlugData(18, ("{\"func40Interval\":" + std::string(minutes) + "}").c_str())) << minutes;
        EXPECT_EQ(0, AutoReportDevinfo) << minutes;
        EXPECT_TRUE(Logged("Close subdev auto report."));
    }
    EXPECT_EQ(6, Fn40Interval);
}

TEST_F(ParserPlugTest, EveryOtherReportPeriodIsRefused)
{
    Fn40Interval = 30;
    for (const char *minutes : {"20", "-1", "255", "4294967296", "4294967297", "1e308", "-1e999"}) {
        EXPECT_EQ(-1, ParserPlugData(18, ("{\"func40Interval\":" + std::string(minutes) + "}").c_str())) << minutes;
        EXPECT_TRUE(Logged("Set subdev auto report error.")) << minutes;
    }
    EXPECT_EQ(-1, ParserPlugData(18, "{\"interval\":5}"));
    EXPECT_TRUE(Logged("func40Interval not found."));
    EXPECT_EQ(30, Fn40Interval);
    EXPECT_EQ(1, AutoReportDevinfo);
    ExpectNothingSent();
}
