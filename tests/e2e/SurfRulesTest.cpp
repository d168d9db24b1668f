// Internet-access-time rules from the platform's command through the table and the pass to the router, at a date and
// time that the test sets.
#include <ctime>
#include <sstream>

#include "tests/e2e/EndToEnd.h"

namespace
{
const char kPhone[] = "02:1A:2B:00:00:14"; // at place 3 of the household
const char kOther[] = "02:1A:2B:00:00:15";

// The agent's clock begins at this time of a week in March 2026, "Wed 12:00:00"; its time runs `factor` times faster.
AgentOptions At(const std::string &moment, double factor = 40)
{
    static const char kWeek[] = "SunMonTueWedThuFriSat";
    struct tm date = {};
    date.tm_year = 2026 - 1900;
    date.tm_mon = 2;
    date.tm_mday = 1 + static_cast<int>(std::string(kWeek).find(moment.substr(0, 3)) / 3); // the 1st is a Sunday
    date.tm_hour = stoi(moment.substr(4, 2));
    date.tm_min = stoi(moment.substr(7, 2));
    date.tm_sec = stoi(moment.substr(10, 2));
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    AgentOptions options;
    options.clock = factor;
    options.environment["FASTCLOCK_ANCHOR"] =
        std::to_string(timegm(&date)) + "000000000 " +
        std::to_string(static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec);
    return options;
}

// "11:59:30" of a log entry.
std::string ClockOf(const LogEntry &entry)
{
    struct tm date;
    char text[16];
    gmtime_r(&entry.time, &date);
    strftime(text, sizeof text, "%H:%M:%S", &date);
    return text;
}

std::string Item(const std::string &flag, const std::string &mac, const std::string &days, const std::string &start,
                 const std::string &stop)
{
    return "{\"FLAG\":\"" + flag + "\",\"MAC\":\"" + mac + "\",\"DAY\":\"" + days + "\",\"START\":\"" + start +
           "\",\"STOP\":\"" + stop + "\",\"ALLOW\":\"0\"}";
}

struct SurfSession : RunningSession {
    using RunningSession::RunningSession;

    // Sends a command of surf rules. Returns its status; `*meaning` is plugsim's text for it.
    int Rule(const std::string &command, std::string *meaning = nullptr)
    {
        platform.Command(command);
        const Event reply = platform.Wait("reply", {{"function", "69"}, {"matched", "true"}});
        if (meaning) *meaning = reply.Text("meaning");
        return stoi(reply.Text("status"));
    }

    // "allowed" or "refused", as the platform sees it.
    std::string Access()
    {
        platform.Command("all-devices");
        const Event reply = platform.Wait("reply", {{"function", "39"}});
        EXPECT_EQ("02:1a:2b:00:00:14", reply.Text("fields.devices.3.mac"));
        return reply.Text("fields.devices.3.access");
    }

    // The access settings that the router received for a device, in order: "01" is refused, then allowed.
    static std::string Calls(const std::string &mac = "02:1a:2b:00:00:14")
    {
        std::string calls;
        std::istringstream log(ReadFile(kCallLog));
        for (std::string line; std::getline(log, line);) {
            const size_t access = line.find("access=");
            if (Contains(line, " set_dev_access_control(mac=" + mac + ",") && access != std::string::npos)
                calls += line[access + 7];
        }
        return calls;
    }

    // Waits until `count` passes have begun and ended from now on.
    void AwaitPasses(size_t count)
    {
        static const char kPass[] = "Sub dev num:[";
        size_t from = 0;
        // The last one has certainly ended when one more begins.
        for (size_t left = agent.CountLog(kPass) + count + 1; left > 0; left--)
            from = agent.WaitLog(kPass, from).number + 1;
    }
};

class SurfRules : public EndToEnd
{
};

// ---- Access refused and given back

TEST_F(SurfRules, ARuleForNowRefusesTheDeviceAtTheNextPassAndItsDeletionGivesAccessBackAtOnce)
{
    SurfSession session(At("Wed 12:00:00"));
    std::string meaning;
    EXPECT_EQ(0, session.Rule("surf add 02:1a:2b:00:00:14 3 11:00 13:00", &meaning));
    EXPECT_EQ("done", meaning);
    const LogEntry added = session.agent.WaitLog("Add surf rule 02:1A:2B:00:00:14|3");
    const LogEntry cut = session.agent.WaitLog("set_dev_access_control for: 02:1A:2B:00:00:14 to 0", added.number);
    EXPECT_EQ("surf_rule_func", cut.function);
    EXPECT_LE(cut.time - added.time, 45); // a pass every 30 s, on a machine that may be busy
    EXPECT_EQ("refused", session.Access());
    EXPECT_EQ("0", session.Calls());

    session.AwaitPasses(1); // finds it in the right state
    EXPECT_EQ("0", session.Calls());
    EXPECT_EQ("", session.Calls("02:1a:2b:00:00:15"));

    EXPECT_EQ(0, session.Rule("surf del 02:1a:2b:00:00:14 3 11:00 13:00"));
    EXPECT_EQ("01", session.Calls()); // at the latest with the answer
    EXPECT_EQ("allowed", session.Access());
    EXPECT_EQ("del_surf_rule",
              session.agent.WaitLog("set_dev_access_control for: 02:1A:2B:00:00:14 to 1", cut.number).function);
    session.AwaitPasses(1);
    EXPECT_EQ("01", session.Calls());
}

TEST_F(SurfRules, ARuleOutsideTheTimeDoesNothing)
{
    SurfSession session(At("Wed 12:00:00"));
    EXPECT_EQ(0, session.Rule("surf add 02:1a:2b:00:00:14 3 12:30 23:59"));
    EXPECT_EQ(0, session.Rule("surf add 02:1a:2b:00:00:14 3 0:00 11:59"));
    EXPECT_EQ(0, session.Rule("surf add 02:1a:2b:00:00:14 124567 0:00 23:59")); // any day but this one
    session.AwaitPasses(2);
    EXPECT_GE(session.agent.CountLog("Found rule for : 02:1A:2B:00:00:14|3"), 2u);
    EXPECT_EQ("allowed", session.Access());
    EXPECT_EQ("", session.Calls());
}

TEST_F(SurfRules, ARuleBeginsAndEndsByItselfWithinAPass)
{
    SurfSession session(At("Wed 11:59:00"));
    EXPECT_EQ(0, session.Rule("surf add 02:1a:2b:00:00:14 3 12:01 12:02"));
    const LogEntry cut = session.agent.WaitLog("set_dev_access_control for: 02:1A:2B:00:00:14 to 0");
    EXPECT_GE(ClockOf(cut), "12:01:00");
    EXPECT_LE(ClockOf(cut), "12:01:45");
    const LogEntry back = session.agent.WaitLog("set_dev_access_control for: 02:1A:2B:00:00:14 to 1");
    EXPECT_EQ("surf_rule_func", back.function);
    EXPECT_GE(ClockOf(back), "12:03:00"); // the range includes its last minute
    EXPECT_LE(ClockOf(back), "12:03:45");
    EXPECT_EQ("allowed", session.Access());
}

TEST_F(SurfRules, TwoRulesCoverMidnight)
{
    SurfSession session(At("Tue 23:58:30"));
    EXPECT_EQ(0, session.Rule("surf add 02:1a:2b:00:00:14 2 23:00 23:59"));
    EXPECT_EQ(0, session.Rule("surf add 02:1a:2b:00:00:14 3 0:00 0:00"));
    EXPECT_LT(ClockOf(session.agent.WaitLog("set_dev_access_control for: 02:1A:2B:00:00:14 to 0")), "23:59:59");
    const LogEntry back = session.agent.WaitLog("set_dev_access_control for: 02:1A:2B:00:00:14 to 1");
    EXPECT_GE(ClockOf(back), "00:01:00");
    EXPECT_LE(ClockOf(back), "00:01:45");
    EXPECT_EQ("01", session.Calls());
}

TEST_F(SurfRules, ADeviceStaysRefusedAfterMidnightUntilItsRuleIsDeleted)
{
    SurfSession session(At("Tue 23:59:00"));
    EXPECT_EQ(0, session.Rule("surf add 02:1a:2b:00:00:14 2 23:00 23:59"));
    session.agent.WaitLog("set_dev_access_control for: 02:1A:2B:00:00:14 to 0");
    session.agent.WaitLog("Can't find rule for : 02:1A:2B:00:00:14|3"); // the next day has none
    session.AwaitPasses(1);
    EXPECT_EQ("refused", session.Access());
    EXPECT_EQ(0, session.Rule("surf del 02:1a:2b:00:00:14 2 23:00 23:59"));
    EXPECT_EQ("allowed", session.Access());
}

TEST_F(SurfRules, WeekdayAndTimeAreThoseOfTheRoutersTimeZone)
{
    AgentOptions options = At("Sun 20:00:00");
    options.environment["TZ"] = "XXX-9"; // Monday 5:00
    SurfSession session(options);
    EXPECT_EQ(0, session.Rule("surf add 02:1a:2b:00:00:14 1 4:30 5:30"));
    session.agent.WaitLog("set_dev_access_control for: 02:1A:2B:00:00:14 to 0");
    EXPECT_EQ("refused", session.Access());
}

TEST_F(SurfRules, NoDigitMeansSunday)
{
    SurfSession session(At("Sun 12:00:00"));
    EXPECT_EQ(0, session.Rule("surf add 02:1a:2b:00:00:14 1234567 0:00 23:59"));
    session.AwaitPasses(2);
    EXPECT_GE(session.agent.CountLog("Can't find rule for : 02:1A:2B:00:00:14|0"), 2u);
    EXPECT_EQ("", session.Calls());
}

TEST_F(SurfRules, AMacInLowerCaseHasNoEffectButItsDeletionGivesAccessBack)
{
    SurfSession session(At("Wed 12:00:00"));
    session.platform.Command("set-device-access mac=02:1a:2b:00:00:14 access=refused");
    session.platform.Wait("reply", {{"function", "32"}, {"status", "0"}});
    ASSERT_EQ("0", session.Calls());
    const std::string mac = "02:1a:2b:00:00:14";
    EXPECT_EQ(0, session.Rule("surf-json {\"LIST\":[" + Item("1", mac, "3", "13:00", "14:00") + "]}"));
    session.AwaitPasses(2); // a rule that is found would have given access back
    EXPECT_EQ("refused", session.Access());
    EXPECT_EQ(0, session.Rule("surf-json {\"LIST\":[" + Item("0", mac, "3", "13:00", "14:00") + "]}"));
    EXPECT_EQ("allowed", session.Access());
    EXPECT_EQ("01", session.Calls());
}

TEST_F(SurfRules, AccessIsGivenBackWithTheLastRuleOfADayAndNotBefore)
{
    SurfSession session(At("Wed 12:00:00"));
    EXPECT_EQ(0, session.Rule("surf-json {\"LIST\":[" + Item("1", kPhone, "3", "11:00", "13:00") + "," +
                              Item("1", kPhone, "3", "11:30", "13:30") + "]}"));
    session.agent.WaitLog("set_dev_access_control for: 02:1A:2B:00:00:14 to 0");
    EXPECT_EQ(0, session.Rule("surf del 02:1a:2b:00:00:14 3 11:00 13:00"));
    session.AwaitPasses(1);
    EXPECT_EQ("0", session.Calls()); // the other one still applies
    EXPECT_EQ(0, session.Rule("surf del 02:1a:2b:00:00:14 3 11:30 13:30"));
    EXPECT_EQ("01", session.Calls());
}

TEST_F(SurfRules, AfterAPassWithoutDevicesTheNextOneRuns)
{
    AgentOptions options = At("Wed 12:00:00");
    options.environment["ROUTER_SIM_FAULTS"] = "get_devs_cfg=1";
    SurfSession session(options);
    EXPECT_EQ(0, session.Rule("surf add 02:1a:2b:00:00:14 3 11:00 13:00"));
    const LogEntry first = session.agent.WaitLog("get_devs_cfg failed");
    const LogEntry second = session.agent.WaitLog("get_devs_cfg failed", first.number + 1);
    EXPECT_GE(second.time - first.time, 29);
    EXPECT_LE(second.time - first.time, 45);
    EXPECT_EQ("", session.Calls());
}

// ---- Results

TEST_F(SurfRules, AnIncompleteItemEndsTheListWithItsOwnStatus)
{
    SurfSession session(At("Wed 12:00:00"));
    const struct {
        int status;
        const char *text;
        const char *meaning;
    } kCases[] = {
        {2, "{\"LIST\":[", "the text is no JSON"},
        {3, "{\"LIST\":[{\"MAC\":\"m\",\"DAY\":\"1\",\"START\":\"0:00\",\"STOP\":\"0:01\",\"ALLOW\":\"0\"}]}",
         "an item lacks FLAG"},
        {4, "{\"LIST\":[{\"FLAG\":\"1\",\"DAY\":\"1\",\"START\":\"0:00\",\"STOP\":\"0:01\",\"ALLOW\":\"0\"}]}",
         "an item lacks MAC"},
        {5, "{\"LIST\":[{\"FLAG\":\"1\",\"MAC\":\"m\",\"START\":\"0:00\",\"STOP\":\"0:01\",\"ALLOW\":\"0\"}]}",
         "an item lacks DAY"},
        {6, "{\"LIST\":[{\"FLAG\":\"1\",\"MAC\":\"m\",\"DAY\":\"1\",\"STOP\":\"0:01\",\"ALLOW\":\"0\"}]}",
         "an item lacks START"},
        {7, "{\"LIST\":[{\"FLAG\":\"1\",\"MAC\":\"m\",\"DAY\":\"1\",\"START\":\"0:00\",\"ALLOW\":\"0\"}]}",
         "an item lacks STOP"},
        {8, "{\"LIST\":[{\"FLAG\":\"1\",\"MAC\":\"m\",\"DAY\":\"1\",\"START\":\"0:00\",\"STOP\":\"0:01\"}]}",
         "an item lacks ALLOW"},
        {0, "{}", "done"},
        {0, "{\"LIST\":[]}", "done"},
    };
    for (const auto &row : kCases) {
        std::string meaning;
        EXPECT_EQ(row.status, session.Rule(std::string("surf-json ") + row.text, &meaning)) << row.text;
        EXPECT_EQ(row.meaning, meaning);
    }
    EXPECT_EQ(0u, session.agent.CountLog("Add surf rule"));
}

TEST_F(SurfRules, ItemsBeforeAnIncompleteOneStayApplied)
{
    SurfSession session(At("Wed 12:00:00"));
    std::string meaning;
    EXPECT_EQ(8,
              session.Rule("surf-json {\"LIST\":[" + Item("1", kPhone, "3", "11:00", "13:00") + "," +
                               Item("1", kOther, "3", "11:00", "13:00") +
                               ",{\"FLAG\":\"1\",\"MAC\":\"m\",\"DAY\":\"1\",\"START\":\"0:00\",\"STOP\":\"0:01\"}]}",
                           &meaning));
    EXPECT_EQ("an item lacks ALLOW", meaning);
    session.agent.WaitLog("set_dev_access_control for: 02:1A:2B:00:00:14 to 0");
    session.agent.WaitLog("set_dev_access_control for: 02:1A:2B:00:00:15 to 0");
    EXPECT_EQ("refused", session.Access());
}

TEST_F(SurfRules, ABadItemEndsTheSessionButNotTheProcessTheRulesOrThePasses)
{
    SurfSession session(At("Wed 12:00:00"));
    session.platform.Command("surf-json {\"LIST\":[" + Item("1", kPhone, "3", "11:00", "13:00") + "," +
                             Item("2", kPhone, "3", "11:00", "13:00") + "]}");
    const LogEntry first = session.agent.WaitLog("Wrong surf rule param");
    const LogEntry second = session.agent.WaitLog("Wrong surf rule param", first.number + 1);
    EXPECT_GE(second.time, first.time + 1);                                      // with pauses: no busy loop
    session.agent.WaitLog("set_dev_access_control for: 02:1A:2B:00:00:14 to 0"); // by a pass, although the thread stays
    EXPECT_EQ(0u, session.platform.Count("reply", {{"function", "69"}}));
    session.platform.Command("drop");
    session.platform.WaitSession();
    session.ExpectAnswers();
    EXPECT_EQ("refused", session.Access());
    EXPECT_EQ(0, session.Rule("surf del 02:1a:2b:00:00:14 3 11:00 13:00")); // the rule is still stored
    EXPECT_EQ("allowed", session.Access());
    EXPECT_EQ(0u, session.platform.Count("reply", {{"function", "69"}, {"status", "-1"}}));
}

// ---- Many

TEST_F(SurfRules, The513thKeyIsNotStoredAndNoRemovalMakesRoom)
{
    SurfSession session(At("Wed 12:00:00"));
    const auto add = [&](const std::string &mac) {
        EXPECT_EQ(0, session.Rule("surf add " + mac + " 123456 11:00 13:00"));
    };
    const auto expectOverflows = [&](size_t count) { // the log line may come after the answer
        size_t from = 0;
        for (size_t i = 0; i < count; i++) from = session.agent.WaitLog("Mem overflow!", from).number + 1;
        EXPECT_EQ(count, session.agent.CountLog("Mem overflow!"));
    };
    add(kPhone);
    char mac[20];
    for (int i = 1; i < 85; i++) {
        snprintf(mac, sizeof mac, "02:99:00:00:00:%02X", i);
        add(mac);
    }
    expectOverflows(0); // 510
    add(kOther);        // 511 and 512 for Monday and Tuesday, and no more
    expectOverflows(4);

    session.agent.WaitLog("set_dev_access_control for: 02:1A:2B:00:00:14 to 0");
    session.AwaitPasses(1);
    EXPECT_EQ("", session.Calls("02:1a:2b:00:00:15")); // today is Wednesday

    EXPECT_EQ(0, session.Rule("surf add 02:1a:2b:00:00:14 3 14:00 15:00")); // a key that exists
    expectOverflows(4);
    EXPECT_EQ(0, session.Rule("surf del 02:1a:2b:00:00:14 12456 11:00 13:00"));
    EXPECT_EQ(0, session.Rule("surf add 02:1a:2b:00:00:15 3 11:00 13:00"));
    expectOverflows(5);
}
} // namespace
