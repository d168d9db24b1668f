// The auto-report configuration: from the platform to the peer, from the peer back to the agent, calibrated after the
// start.
#include "comm/AutoReport.h"

#include <future>

#include "comm/ComRequests.h"
#include "comm/CommAnswer.h"
#include "comm/CommLink.h"
#include "comm/FuncIdList.h"
#include "os/OsClock.h"
#include "platform/Protool.h"
#include "platform/ServerStop.h"
#include "tests/unit/agent/AskedPeer.h"

namespace
{

// Now is kFakeEpoch = 1700000000, 80000 s after the midnight 1699920000. The MAC's last bytes are 12345, in slot 45 of
// 100: 38880 s after midnight of a day, 810 s into half an hour.
class AutoReport : public AgentTest
{
  protected:
    void SetUp() override
    {
        AgentTest::SetUp();
        ServerRun = mLogin = 1; // a session is up
        memcpy(gRoutemac, "\x02\x11\x22\x00\x30\x39", 6);
        AutoReportConfSet(AutoReportConf());
        Log();
    }

    void TearDown() override
    {
        ServerRun = 0;
        AutoReportConfSet(AutoReportConf());
        AgentTest::TearDown();
    }

    static int Set(const std::string &text)
    {
        return ComF_set_auto_report(text.c_str(), static_cast<int>(text.size()));
    }

    // Sends the configuration while the peer answers with `status`; returns the request's text.
    std::string Accepted(const std::string &text, uint8_t status = 0, int expected = 0)
    {
        auto set = std::async(std::launch::async, [&] { return Set(text); });
        const std::string request = peer.Payload();
        AskedPeer::Answer(status, {});
        EXPECT_EQ(expected, set.get());
        return request;
    }

    void ExpectRefused(const std::string &text, const std::string &line)
    {
        FakeClockAuto(true); // a request that is not refused times out
        EXPECT_EQ(1, Set(text)) << text;
        FakeClockAuto(false);
        const std::string log = Log();
        if (!line.empty()) {
            EXPECT_NE(std::string::npos, log.find("]-> " + line + "\n\n")) << text;
        }
        EXPECT_TRUE(peer.NothingSent()) << text;
        EXPECT_EQ(-1, intervalFlag1) << text; // as before
        EXPECT_EQ(0, OsNowMs()) << text;
    }

    static void Answer88(const Bytes &payload) { Comm_get_88Conf(payload.data(), payload.size()); }
    static void Answer88(const std::string &json) { Answer88(Bytes{0} + Text(json)); }

    static std::string ConfText()
    {
        const AutoReportConf conf = AutoReportConfNow();
        return std::to_string(conf.referNum) + " " + std::to_string(conf.serverErr) + " " +
               std::to_string(conf.interval1) + " " + std::to_string(conf.interval2) + " " +
               std::to_string(conf.interval3) + " '" + conf.jumpTime + "'";
    }

    AskedPeer peer;
};

constexpr char kBothReports[] =
    R"({"timestamp":1700000000,"referNum":100,"interval1":5,"interval2":1440,"interval3":30})";
constexpr char kNothingConfigured[] = "-1 0 -1 -1 -1 ''";

} // namespace

// ---- The platform's configuration ----

TEST_F(AutoReport, TheConfigurationIsSentToThePeerWithTheTimesOfThisRouter)
{
    EXPECT_EQ(R"({"timestamp":1700000000,"referNum":100,"interval1":5,"interval2":1440,"interval3":30,"serverDiff":0,)"
              R"("dayReportTime":"1699958880.000000","cycleReportStart":"1700001810.000000","save":1})",
              Accepted(kBothReports));
}

TEST_F(AutoReport, TheRequestIsFuncId88)
{
    auto set = std::async(std::launch::async, [] { return Set(kBothReports); });
    const Bytes frame = peer.Frame();
    AskedPeer::Answer(0, {});
    EXPECT_EQ(0, set.get());
    ASSERT_LE(kCommHeaderSize, frame.size());
    EXPECT_EQ(Hex("5A5A 5800 01000000"), Bytes(frame.begin(), frame.begin() + 8));
}

TEST_F(AutoReport, TheConfigurationIsLoggedAsReceivedAndAsSent)
{
    Accepted(R"({"referNum":5})");
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("]-> Receive 88 info:\n{\"referNum\":5}, length=14\n\n"));
    EXPECT_NE(std::string::npos, log.find("]-> MacVal: 12345\n\n"));
    EXPECT_NE(std::string::npos, log.find("]-> set auto report info:\n{\"referNum\":5,\"serverDiff\":0,"));
}

TEST_F(AutoReport, WithoutEitherReportNoTimeStampIsNeededAndAllTimesAre0)
{
    EXPECT_EQ(R"({"referNum":5,"interval2":0,"serverDiff":0,"dayReportTime":"0.000000","cycleReportStart":"0.000000",)"
              R"("save":1})",
              Accepted(R"({"referNum":5,"interval2":0})"));
    // a time stamp that is far off is ignored, too
    EXPECT_EQ(R"({"referNum":5,"timestamp":1,"serverDiff":0,"dayReportTime":"0.000000","cycleReportStart":"0.000000",)"
              R"("save":1})",
              Accepted(R"({"referNum":5,"timestamp":1})"));
}

TEST_F(AutoReport, AnIntervalOtherThanADayNeedsATimeStampToo)
{
    ExpectRefused(R"({"referNum":5,"interval2":1})", "Calibration time error !!!!!!");
    EXPECT_EQ(R"({"referNum":5,"interval2":1,"timestamp":1700000003,"serverDiff":3,"dayReportTime":"0.000000",)"
              R"("cycleReportStart":"0.000000","save":1})",
              Accepted(R"({"referNum":5,"interval2":1,"timestamp":1700000003})"));
}

TEST_F(AutoReport, ATimeStamp90SecondsOffIsAcceptedAnd91Refused)
{
    const auto at = [](int64_t stamp) {
        return R"({"referNum":100,"interval2":1440,"timestamp":)" + std::to_string(stamp) + "}";
    };
    EXPECT_NE(std::string::npos,
              Accepted(at(1700000090)).find(R"("serverDiff":90,"dayReportTime":"1699958970.000000")"));
    EXPECT_NE(std::string::npos,
              Accepted(at(1699999910)).find(R"("serverDiff":-90,"dayReportTime":"1699958790.000000")"));
    AutoReportConfSet(AutoReportConf());
    ExpectRefused(at(1700000091), "Calibration time error !!!!!!");
    ExpectRefused(at(1699999909), "Calibration time error !!!!!!");
}

TEST_F(AutoReport, AMissingTimeStampOrOneThatIsNoTimeIsRefused)
{
    const std::string begin = R"({"referNum":100,"interval3":30)";
    for (const char *stamp : {"}", R"(,"timestamp":"1700000000"})", R"(,"timestamp":1e400})", R"(,"timestamp":-1e400})",
                              R"(,"timestamp":null})"})
        ExpectRefused(begin + stamp, "Calibration time error !!!!!!");
}

TEST_F(AutoReport, TheReferenceNumberIs5To20000000)
{
    const auto with = [](const std::string &number) { return R"({"interval1":1,"referNum":)" + number + "}"; };
    for (const char *number : {"4", "0", "-1", "20000001", "1e30", "-1e30", "\"100\""})
        ExpectRefused(with(number), "referNum is error !!!!!!");
    ExpectRefused(R"({"interval1":1})", "referNum is error !!!!!!");
    Accepted(with("5"));
    Accepted(with("20000000"));
}

TEST_F(AutoReport, ATextOfLessThan2OrMoreThan1023CharactersIsRefused)
{
    EXPECT_EQ(1, ComF_set_auto_report("{}", 1));
    EXPECT_EQ(1, ComF_set_auto_report("{}", 0));
    EXPECT_EQ(1, ComF_set_auto_report("{}", -1));
    EXPECT_EQ("", Log());
    ExpectRefused("{}", "referNum is error !!!!!!"); // long enough to be read
    const std::string text = R"({"referNum":5,"x":")" + std::string(1100, 'x');
    EXPECT_EQ(1, ComF_set_auto_report(text.c_str(), 1024));
    EXPECT_EQ("", Log());
    EXPECT_EQ(1, ComF_set_auto_report(text.c_str(), 1023)); // read, but it is no JSON
    EXPECT_NE(std::string::npos, Log().find("length=1023\n\n"));
    EXPECT_TRUE(peer.NothingSent());
}

TEST_F(AutoReport, OnlyTheAnnouncedLengthOfTheTextCounts)
{
    const std::string text = R"({"referNum":5}, and what else the request holds)";
    auto set = std::async(std::launch::async, [&] { return ComF_set_auto_report(text.c_str(), 14); });
    EXPECT_EQ(0u, peer.Payload().find(R"({"referNum":5,"serverDiff":0,)"));
    AskedPeer::Answer(0, {});
    EXPECT_EQ(0, set.get());
    // and a length past the end of the text adds nothing
    set = std::async(std::launch::async, [&] { return ComF_set_auto_report(R"({"referNum":5})", 1023); });
    EXPECT_EQ(0u, peer.Payload().find(R"({"referNum":5,"serverDiff":0,)"));
    AskedPeer::Answer(0, {});
    EXPECT_EQ(0, set.get());
}

TEST_F(AutoReport, ATextThatIsNoJsonIsRefused)
{
    for (const char *text : {"no JSON", "{\"referNum\":5", "{\"referNum\":5}}", "{\"referNum\":5} and more", "  "})
        ExpectRefused(text, "");
}

TEST_F(AutoReport, BlanksAfterTheClosingBraceAreNotSent)
{
    EXPECT_EQ(0u, Accepted("{\"referNum\":5}\r\n ").find(R"({"referNum":5,"serverDiff":0,)"));
}

TEST_F(AutoReport, ARequestHasAtMost500Characters)
{
    const auto with = [](size_t filling) { return R"({"referNum":5,"x":")" + std::string(filling, 'x') + R"("})"; };
    // {"referNum":5,"x":"" and the fields after it: 20 + 82
    EXPECT_EQ(500u, Accepted(with(398)).size());
    AutoReportConfSet(AutoReportConf());
    ExpectRefused(with(399), "auto report info too long, length=501");
}

TEST_F(AutoReport, AQuietPeriodMovesTheDailyReport)
{
    const std::string begin = R"({"timestamp":1700000000,"referNum":100,"interval2":1440,"jumpTime":")";
    EXPECT_NE(std::string::npos, Accepted(begin + "8:00-22:00\"}").find(R"("dayReportTime":"1700002080.000000")"));
    // a text of another length is no quiet period
    EXPECT_NE(std::string::npos, Accepted(begin + "8:00-9:0\"}").find(R"("dayReportTime":"1699958880.000000")"));
    EXPECT_NE(std::string::npos, Accepted(begin + "08:00-022:00\"}").find(R"("dayReportTime":"1699958880.000000")"));
    AutoReportConfSet(AutoReportConf());
    ExpectRefused(begin + "1:00-1:59\"}", "jump time is error!");
}

TEST_F(AutoReport, ThePlatformsConfigurationIsKeptEvenWhenThePeerRefusesIt)
{
    Accepted(kBothReports, 9, 9);
    EXPECT_EQ("100 0 5 1440 30 ''", ConfText());
    EXPECT_EQ(5, intervalFlag1);
    EXPECT_EQ(1440, intervalFlag2);
    EXPECT_EQ(30, intervalFlag3);
}

TEST_F(AutoReport, ThePlatformsConfigurationReplacesTheWholePreviousOne)
{
    Answer88(
        R"({"referNum":100,"serverDiff":7,"interval1":5,"interval2":1440,"interval3":30,"jumpTime":"8:00-22:00"})");
    Accepted(R"({"referNum":6})");
    EXPECT_EQ("6 0 -1 -1 -1 ''", ConfText());
    ComF_send_calibration();
    EXPECT_TRUE(Logged("Function 89 no config, no need calibration!"));
}

TEST_F(AutoReport, ARequestThatWouldBeTooLongKeepsThePreviousConfiguration)
{
    Answer88(R"({"referNum":100,"serverDiff":7,"interval1":5,"interval2":0,"interval3":30,"jumpTime":"8:00-22:00"})");
    EXPECT_EQ(1, Set(R"({"referNum":5,"x":")" + std::string(399, 'x') + R"("})"));
    EXPECT_TRUE(peer.NothingSent());
    EXPECT_EQ("100 7 5 0 30 '8:00-22:00'", ConfText());
}

TEST_F(AutoReport, ALateAnswerToAQueryDoesNotReplaceThePlatformsConfiguration)
{
    auto question = std::async(std::launch::async, ComF_get_autoreport_conf);
    peer.Frame();
    auto set = std::async(std::launch::async, [] { return Set(kBothReports); });
    FakeClockAwaitWaiters(2);
    AskedPeer::Say(FUNCID_AUTO_REPORT_CONFIG, Bytes{0} + Text(R"({"referNum":77})"));
    question.get();
    peer.Frame();
    AskedPeer::Say(FUNCID_SET_AUTO_REPORT, {0});
    EXPECT_EQ(0, set.get());
    EXPECT_EQ("100 0 5 1440 30 ''", ConfText());
}

TEST_F(AutoReport, ThePeersStatusIsTheResult)
{
    Accepted(kBothReports, 3, 3);
    Accepted(kBothReports, 255, 255);
}

TEST_F(AutoReport, WithoutAnAnswerTheResultIs1After10Seconds)
{
    FakeClockAuto(true);
    EXPECT_EQ(1, Set(kBothReports));
    EXPECT_EQ(10000, OsNowMs());
}

TEST_F(AutoReport, WithoutAPeerTheResultIs1AtOnce)
{
    InstanceSocket = 0;
    EXPECT_EQ(1, Set(kBothReports));
    EXPECT_EQ(0, OsNowMs());
    EXPECT_TRUE(Logged("ERROR: send set autoreport switch command failed!"));
}

// ---- What the peer says ----

TEST_F(AutoReport, ThePeersConfigurationIsTaken)
{
    CommReceived = 1;
    Answer88(R"({"referNum":77,"serverDiff":-4,"interval1":1,"interval2":2,"interval3":3,"jumpTime":"1:00-02:30"})");
    EXPECT_EQ("77 -4 1 2 3 '1:00-02:30'", ConfText());
    EXPECT_EQ(0, CommReceived);
    EXPECT_NE(std::string::npos, Log().find("]-> Receive 88 info:\n{\"referNum\":77,"));
}

TEST_F(AutoReport, ThePeersConfigurationReplacesTheOneBeforeWhole)
{
    Answer88(R"({"referNum":77,"serverDiff":-4,"interval1":1,"interval2":2,"interval3":3,"jumpTime":"1:00-02:30"})");
    Answer88(R"({"interval2":5})");
    EXPECT_EQ("-1 0 -1 5 -1 ''", ConfText());
}

TEST_F(AutoReport, AnAnswerWithAStatusOrOfAWrongLengthLeavesNothingConfigured)
{
    const auto previous = [] { Answer88(R"({"referNum":77})"); };
    previous();
    Answer88(Bytes{1} + Text(R"({"referNum":5})"));
    EXPECT_EQ(kNothingConfigured, ConfText());
    previous();
    Answer88(Bytes{0} + Text("{ }")); // 4 bytes
    EXPECT_EQ(kNothingConfigured, ConfText());
    previous();
    Comm_get_88Conf(nullptr, 0);
    EXPECT_EQ(kNothingConfigured, ConfText());
    previous();
    Log();
    Answer88(Bytes{0} + Text(R"({"referNum":5})" + std::string(1009, ' '))); // 1024 bytes
    EXPECT_EQ(kNothingConfigured, ConfText());
    EXPECT_EQ("", Log());
}

TEST_F(AutoReport, AnAnswerOf5To1023BytesIsRead)
{
    Answer88(Bytes{0} + Text("{  }"));
    EXPECT_NE(std::string::npos, Log().find("]-> Receive 88 info:\n{  }, length=4\n\n"));
    Answer88(Bytes{0} + Text(R"({"referNum":5})" + std::string(1008, ' ')));
    EXPECT_EQ("5 0 -1 -1 -1 ''", ConfText());
    EXPECT_NE(std::string::npos, Log().find("length=1022\n\n"));
}

TEST_F(AutoReport, AnAnswerThatIsNoJsonLeavesNothingConfigured)
{
    Answer88(R"({"referNum":77})");
    Answer88("{\"referNum\":5");
    EXPECT_EQ(kNothingConfigured, ConfText());
}

TEST_F(AutoReport, AQuietPeriodHas9To11CharactersAndTheOtherValuesAreTakenWithoutIt)
{
    const auto with = [](const std::string &text) {
        Answer88(R"({"referNum":77,"jumpTime":")" + text + "\"}");
        return ConfText();
    };
    EXPECT_EQ("77 0 -1 -1 -1 ''", with("1:00-2:0"));
    EXPECT_EQ("77 0 -1 -1 -1 '1:00-2:00'", with("1:00-2:00"));
    EXPECT_EQ("77 0 -1 -1 -1 '01:00-02:00'", with("01:00-02:00"));
    EXPECT_EQ("77 0 -1 -1 -1 ''", with("01:00-002:00"));
    Answer88(R"({"referNum":77,"jumpTime":123456789})");
    EXPECT_EQ("77 0 -1 -1 -1 ''", ConfText());
}

// ---- Calibration ----

TEST_F(AutoReport, CalibrationSendsTheTimesAnewWithoutWaiting)
{
    Answer88(
        R"({"referNum":100,"serverDiff":7,"interval1":5,"interval2":1440,"interval3":30,"jumpTime":"8:00-22:00"})");
    CommReceived = 1;
    ComF_send_calibration();
    // 1700001810 is 7 s later; 22:00 + 2880 s, also 7 s later
    EXPECT_EQ(R"({"interval1":5,"interval2":1440,"interval3":30,"dayReportTime":"1700002087.000000",)"
              R"("cycleReportStart":"1700001817.000000","save":0})",
              peer.Payload());
    EXPECT_EQ(0, CommReceived);
    EXPECT_EQ(0, OsNowMs());
    EXPECT_TRUE(Logged("Send calibration success, No need return!"));
}

TEST_F(AutoReport, CalibrationCountsFromTheMidnightOfItsOwnDay)
{
    Answer88(R"({"referNum":100,"interval1":5,"interval2":1440,"interval3":0})");
    FakeClockSetWallTime(kFakeEpoch + 86400);
    ComF_send_calibration();
    EXPECT_NE(std::string::npos, peer.Payload().find(R"("dayReportTime":"1700045280.000000")"));
}

TEST_F(AutoReport, CalibrationWithoutAUsableReferenceNumberSendsNothing)
{
    for (const char *conf :
         {R"({"interval2":1440})", R"({"referNum":4,"interval2":1440})", R"({"referNum":20000001,"interval2":1440})"}) {
        Answer88(conf);
        ComF_send_calibration();
        EXPECT_TRUE(Logged("referNum is error !!!!!!")) << conf;
    }
    EXPECT_TRUE(peer.NothingSent());
}

TEST_F(AutoReport, CalibrationWithBothReportsOffSendsNothing)
{
    Answer88(R"({"referNum":100,"interval2":0,"interval3":0})");
    ComF_send_calibration();
    EXPECT_TRUE(Logged("Function 89 closed, no need calibration!"));
    EXPECT_TRUE(peer.NothingSent());
}

TEST_F(AutoReport, CalibrationWithNeitherReportConfiguredSendsNothing)
{
    Answer88(R"({"referNum":100,"interval1":5})");
    ComF_send_calibration();
    EXPECT_TRUE(Logged("Function 89 no config, no need calibration!"));
    EXPECT_TRUE(peer.NothingSent());
}

TEST_F(AutoReport, CalibrationWithOneReportOffAndTheOtherNotConfiguredSendsTimesOf0)
{
    Answer88(R"({"referNum":100,"interval2":0})");
    ComF_send_calibration();
    EXPECT_EQ(R"({"interval1":-1,"interval2":0,"interval3":-1,"dayReportTime":"0.000000",)"
              R"("cycleReportStart":"0.000000","save":0})",
              peer.Payload());
}

TEST_F(AutoReport, CalibrationWithAnUnusableQuietPeriodSendsNothing)
{
    Answer88(R"({"referNum":100,"interval2":1440,"jumpTime":"1:00-1:59"})");
    ComF_send_calibration();
    EXPECT_TRUE(Logged("jump time is error!"));
    EXPECT_TRUE(peer.NothingSent());
}

TEST_F(AutoReport, CalibrationWithoutAPeerOnlyLogs)
{
    Answer88(R"({"referNum":100,"interval2":1440})");
    InstanceSocket = 0;
    ComF_send_calibration();
    EXPECT_TRUE(Logged("ERROR: send set autoreport switch command failed!"));
}
