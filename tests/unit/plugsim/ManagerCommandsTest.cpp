#include "simulator/manager/ManagerCommands.h"

#include <cstdio>
#include <ctime>
#include <gtest/gtest.h>
#include <unistd.h>

#include "simulator/manager/LocalCommands.h"
#include "simulator/manager/ReportTimetable.h"

using namespace sim;

namespace
{

struct LocalCommandLines : testing::Test {
    Household house;
    LocalOutgoing frame;
    std::string error;

    bool Make(const std::string &line)
    {
        Words words;
        EXPECT_TRUE(SplitWords(line, &words, &error));
        return MakeLocalFrame(words, &house, &frame, &error);
    }
    std::string Text() const { return std::string(frame.payload.begin(), frame.payload.end()); }
};

// The commands of the manager, of which none is run.
struct ManagerTool {
    ManagerTool() { AddManagerCommands(&interpreter, nullptr); }
    Interpreter interpreter{nullptr};
};

bool Offers(const Words &before, const std::string &wanted)
{
    const std::vector<std::string> found = ManagerTool().interpreter.Completions(before);
    return std::find(found.begin(), found.end(), wanted) != found.end();
}

} // namespace

TEST_F(LocalCommandLines, MakeReports)
{
    ASSERT_TRUE(Make("report 84 {\"a\": 1}")) << error;
    EXPECT_EQ(84, frame.id);
    EXPECT_EQ("{\"a\": 1}", Text());
    ASSERT_TRUE(Make("report 86 hex=00ff"));
    EXPECT_EQ((Bytes{0, 0xFF}), frame.payload);
    ASSERT_TRUE(Make("report typed 2 two words"));
    EXPECT_EQ(89, frame.id);
    EXPECT_EQ("\002two words", Text());
    ASSERT_TRUE(Make("report typed 3"));
    EXPECT_EQ("\003{\"type\":3,\"online\":[\"office-pc\",\"phone-anna\"]}", Text());
}

TEST_F(LocalCommandLines, ReportAWanInTheRoutersOwnOrder)
{
    ASSERT_TRUE(Make("report wan mtu=1400 ip=192.0.2.77"));
    EXPECT_EQ(81, frame.id);
    ASSERT_EQ(228u, frame.payload.size());
    EXPECT_EQ((Bytes{0x78, 0x05}), Bytes(frame.payload.begin() + 5, frame.payload.begin() + 7));
    EXPECT_EQ((Bytes{192, 0, 2, 77}), Bytes(frame.payload.begin() + 205, frame.payload.begin() + 209));
    const Bytes &own = *house.Find("wan", "0");
    EXPECT_EQ((Bytes{0xD4, 0x05}), Bytes(own.begin() + 5, own.begin() + 7)); // 1492 still
    EXPECT_FALSE(Make("report wan 3"));
    EXPECT_FALSE(Make("report wan mtu=99999"));
}

TEST_F(LocalCommandLines, ReportDevicesAndRememberThem)
{
    ASSERT_TRUE(Make("devices online 02:00:00:00:00:01=lamp 02:1a:2b:00:00:15"));
    EXPECT_EQ(40, frame.id);
    Bytes expected = {2, 0, 2, 0, 0, 0, 0, 1, 'l', 'a', 'm', 'p'};
    expected.resize(2 + 38);
    expected.push_back(1);
    Append(&expected, {2, 0x1A, 0x2B, 0, 0, 0x15, 'p', 'h', 'o', 'n', 'e', '-', 'b', 'e', 'n'});
    expected.resize(2 + 39 + 38);
    expected.push_back(1);
    EXPECT_EQ(expected, frame.payload);
    EXPECT_EQ(4u, house.Records("device").size());
    ASSERT_TRUE(Make("devices"));
    EXPECT_EQ(2u + 4 * 39, frame.payload.size());
    ASSERT_TRUE(Make("devices offline 02:00:00:00:00:01"));
    EXPECT_EQ(0, frame.payload.back());
    ASSERT_TRUE(Make("devices"));
    EXPECT_EQ(2u + 3 * 39, frame.payload.size());
    EXPECT_FALSE(Make("devices online 02:00:00:00:00:02 no-mac"));
    EXPECT_EQ(4u, house.Records("device").size()); // a refused line changes nothing
}

TEST_F(LocalCommandLines, MakeAnyFrame)
{
    ASSERT_TRUE(Make("frame mesh hex=0001 sequence=0xffffffff checksum=2 length=3"));
    EXPECT_EQ(73, frame.id);
    EXPECT_EQ((Bytes{0, 1}), frame.payload);
    EXPECT_EQ(0xFFFFFFFFu, *frame.sequence);
    EXPECT_EQ(2, *frame.overrides.checksum);
    EXPECT_EQ(3u, *frame.overrides.length);
    ASSERT_TRUE(Make("raw 5a 5a 00"));
    EXPECT_TRUE(frame.raw);
    EXPECT_EQ((Bytes{0x5A, 0x5A, 0}), frame.payload);
    ASSERT_TRUE(Make("plugin-state"));
    EXPECT_EQ("i", Text());
    ASSERT_TRUE(Make("firmware-result 8"));
    EXPECT_EQ((Bytes{8}), frame.payload);
}

TEST_F(LocalCommandLines, AreRefusedWithAReason)
{
    for (const char *line :
         {"report", "report 85 x", "report 84", "report typed", "report typed 256", "devices maybe 020000000001",
          "devices online", "devices online nobody", "frame", "frame mash", "frame 73 hex=0", "frame 73 colour=red",
          "frame 73 checksum=65536", "raw", "raw xy", "firmware-result", "firmware-result 256", "mesh"}) {
        error.clear();
        EXPECT_FALSE(Make(line)) << line;
        EXPECT_FALSE(error.empty()) << line;
    }
}

TEST(ManagerHelp, KnowsEveryCommandAndSetting)
{
    const ManagerTool tool;
    std::string text;
    ASSERT_TRUE(tool.interpreter.Help("", &text));
    for (const char *name : {"report", "devices", "every", "reconnect", "misbehave", "wait", "quit", "firmware-result"})
        EXPECT_NE(std::string::npos, text.find(std::string("\n  ") + name)) << name;
    ASSERT_TRUE(tool.interpreter.Help("neighbour", &text));
    EXPECT_NE(std::string::npos, text.find("[ssid]"));
    ASSERT_TRUE(tool.interpreter.Help("wait", &text));
    EXPECT_NE(std::string::npos, text.find("answered"));
    EXPECT_FALSE(tool.interpreter.Help("no-such-thing", &text));
}

TEST(ManagerCompletions, OfferWhatMayFollow)
{
    EXPECT_TRUE(Offers({}, "report"));
    EXPECT_TRUE(Offers({}, "misbehave"));
    EXPECT_TRUE(Offers({"every", "5"}, "report"));
    EXPECT_TRUE(Offers({"every", "5", "3"}, "report"));
    EXPECT_FALSE(Offers({"every", "5"}, "misbehave"));
    EXPECT_TRUE(Offers({"report"}, "typed"));
    EXPECT_TRUE(Offers({"burst", "3", "report"}, "wan"));
    EXPECT_TRUE(Offers({"report", "wan"}, "mtu="));
    EXPECT_TRUE(Offers({"set"}, "thresholds"));
    EXPECT_TRUE(Offers({"set", "mesh"}, "off"));
    EXPECT_TRUE(Offers({"device"}, "change"));
    EXPECT_TRUE(Offers({"device", "add"}, "name="));
    EXPECT_TRUE(Offers({"misbehave"}, "late"));
    EXPECT_TRUE(Offers({"wait"}, "request"));
    EXPECT_TRUE(Offers({"show"}, "auto-report"));
    EXPECT_TRUE(Offers({"help"}, "reports"));
    EXPECT_FALSE(Offers({"at"}, "report"));
}

// ---- When reports are due

namespace
{
AutoReportPlan Daily()
{
    AutoReportPlan plan;
    plan.interval1 = 5;
    plan.interval2 = 1440;
    plan.interval3 = 60;
    plan.dayReportTime = 100000;
    plan.cycleReportStart = 20000;
    return plan;
}
} // namespace

TEST(ReportTimetable, FollowsTheConfiguration)
{
    const std::vector<NextReport> reports = NextReports(Daily(), 10000, 10000);
    ASSERT_EQ(3u, reports.size());
    EXPECT_EQ(1, reports[0].type);
    EXPECT_EQ(10300, reports[0].due);
    EXPECT_EQ(2, reports[1].type);
    EXPECT_EQ(100000, reports[1].due);
    EXPECT_EQ(3, reports[2].type);
    EXPECT_EQ(20000, reports[2].due);
}

TEST(ReportTimetable, ContinuesByWholePeriods)
{
    const std::vector<NextReport> reports = NextReports(Daily(), 10000, 100000);
    EXPECT_EQ(100300, reports.at(0).due);
    EXPECT_EQ(186400, reports.at(1).due); // the present moment does not count
    EXPECT_EQ(102800, reports.at(2).due);
}

TEST(ReportTimetable, IsEmptyForReportsThatAreOffOrNotConfigured)
{
    EXPECT_TRUE(NextReports({}, 0, 10000).empty());
    AutoReportPlan plan = Daily();
    plan.interval1 = plan.interval3 = 0;
    plan.interval2 = 60;
    EXPECT_TRUE(NextReports(plan, 0, 10000).empty());
}

TEST(UntilClock, IsTheNextTimeThatTheClockShows)
{
    setenv("TZ", "UTC", 1);
    tzset();
    int64_t milliseconds;
    ASSERT_TRUE(UntilClock("00:00:05", 86400 * 10, &milliseconds));
    EXPECT_EQ(5000, milliseconds);
    ASSERT_TRUE(UntilClock("12:00", 86400 * 10 + 43199.5, &milliseconds));
    EXPECT_EQ(500, milliseconds);
    ASSERT_TRUE(UntilClock("12:00", 86400 * 10 + 43200, &milliseconds));
    EXPECT_EQ(86400000, milliseconds);
    for (const char *bad : {"", "1", "12", "24:00", "12:60", "12:00:60", "12-00", "1:000", "12:00:0", "ab:cd", "-1:00"})
        EXPECT_FALSE(UntilClock(bad, 0, &milliseconds)) << bad;
}

// ---- The configuration's file

TEST(AutoReportKeeper, ReadsTheFileOfAnEarlierOne)
{
    const std::string path = testing::TempDir() + "auto-report-" + std::to_string(getpid());
    std::string error;
    bool saved;
    AutoReportKeeper first(path);
    ASSERT_TRUE(first.Load(&error));
    EXPECT_EQ("", first.Told());
    ASSERT_TRUE(
        first.Take("{\"referNum\":7,\"interval3\":2,\"cycleReportStart\":\"12.500000\",\"save\":1}", &saved, &error))
        << error;
    EXPECT_TRUE(saved);
    AutoReportKeeper second(path);
    ASSERT_TRUE(second.Load(&error));
    EXPECT_EQ("{\"referNum\":7,\"interval3\":2}", second.Told());
    EXPECT_EQ(12.5, second.Plan().cycleReportStart);
    second.Forget();
    EXPECT_EQ(-1, access(path.c_str(), F_OK));
}

TEST(AutoReportKeeper, RefusesATextThatIsNoObjectAndKeepsTheOldOne)
{
    AutoReportKeeper keeper;
    std::string error;
    bool saved;
    ASSERT_TRUE(keeper.Take("{\"referNum\":7}", &saved, &error));
    for (const char *bad : {"", "{", "[]", "7", "no"}) EXPECT_FALSE(keeper.Take(bad, &saved, &error)) << bad;
    EXPECT_EQ("{\"referNum\":7}", keeper.Told());
}
