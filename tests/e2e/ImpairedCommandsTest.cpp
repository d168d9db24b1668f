// What becomes of commands and reports that are under way on a bad network: none is done twice, none comes late into
// another session.
#include "tests/e2e/ImpairedNetwork.h"

namespace
{
constexpr size_t kLedFrame = 39; // bytes of the command "led"
constexpr double kClock = 5;

class ImpairedCommands : public ImpairedTest
{
};

// From here on the platform sends commands and nothing else.
void WithoutAcknowledgements(ImpairedSession *session)
{
    session->platform.Set("misbehave silent@heartbeat");
    session->platform.Set("misbehave silent@upload");
}

size_t Replies(ImpairedSession *session)
{
    return session->platform.Count("reply", {{"function", "22"}, {"matched", "true"}});
}

TEST_F(ImpairedCommands, OfAConnectionThatIsCutThoseThatCameWholeAreDoneOnce)
{
    ImpairedSession session(kClock);
    session.Settle();
    WithoutAcknowledgements(&session);
    const size_t before = CallsOf("get_led_switch");
    session.network.login.Strike({Fault::CLOSE, Way::TO_CLIENT, 25 * kLedFrame + 20});
    session.platform.Command("burst 50 led");
    ASSERT_TRUE(Within(kPatience, [&] { return session.network.login.StruckAt() > 0; }));
    session.ExpectRecovery(session.network.login.StruckAt(), kClosed + kAgain);
    EXPECT_EQ(before + 25 + 1, CallsOf("get_led_switch"));
    EXPECT_EQ(2u, Replies(&session)); // the connection that should have brought the others has ended
}

TEST_F(ImpairedCommands, RepliesThatAreLostWithTheirConnectionAreNotSentInTheNextOne)
{
    ImpairedSession session(kClock);
    session.Settle();
    const size_t before = CallsOf("get_led_switch");
    session.network.login.Delay(2);
    session.platform.Command("burst 10 led");
    ASSERT_TRUE(Within(kPatience, [&] { return CallsOf("get_led_switch") == before + 10; }));
    session.network.login.Strike({Fault::CLOSE});
    session.network.login.Delay(0);
    session.ExpectRecovery(session.network.login.StruckAt(), kClosed + kAgain);
    EXPECT_EQ(before + 10 + 1, CallsOf("get_led_switch"));
    EXPECT_EQ(2u, Replies(&session)); // of the first session's only question before, and of the second's
}

TEST_F(ImpairedCommands, ThatTakeLongerThanTheirConnectionAreDoneOnce)
{
    AgentOptions options;
    options.environment["ROUTER_SIM_FAULTS"] = "set_dev_name:delay=4000";
    ImpairedSession session(
        kClock, [](Network *) {}, BehindRelays(), options);
    session.Settle();
    session.platform.Command("set-device-name 02:1A:2B:00:00:14 slow");
    session.agent.WaitLog("ParserProtoolData funcid 37");
    session.network.login.Strike({Fault::RESET});
    session.ExpectRecovery(session.network.login.StruckAt(), kClosed + kStop + 4 + kAgain);
    EXPECT_EQ(1u, CallsOf("set_dev_name"));
    EXPECT_EQ(0u, session.platform.Count("reply", {{"function", "37"}}));
}

TEST_F(ImpairedCommands, ThatArriveTwiceAreDoneAndAnsweredTwice)
{
    ImpairedSession session(kClock);
    session.Settle();
    WithoutAcknowledgements(&session);
    const size_t before = CallsOf("get_led_switch");
    session.platform.Command("led");
    const Event first = session.platform.Wait("reply", {{"function", "22"}});
    session.network.login.Repeat(kLedFrame); // frames have no number by which the agent could know it again
    const Event second = session.platform.Wait("reply", {{"function", "22"}});
    EXPECT_EQ(first.Text("payload"), second.Text("payload"));
    EXPECT_EQ(before + 2, CallsOf("get_led_switch"));
    session.ExpectAnswers();
    EXPECT_EQ(1u, session.platform.Count("login"));
}

TEST_F(ImpairedCommands, OnAConnectionThatIsMadeTwiceAtThePlatformAreDoneOnce)
{
    const Holdings good = OnAGoodNetwork();
    ImpairedSession session(kClock, [](Network *network) {
        network->registration.Twice(true);
        network->login.Twice(true);
    });
    session.SettleAs(good);
    session.platform.WaitSession();
    session.platform.Wait("heartbeat"); // the same one on the other connection
    EXPECT_EQ(2u, session.platform.Count("register"));
    EXPECT_EQ(2u, session.platform.Count("login"));
    EXPECT_EQ(1u, session.network.registration.Connections());
    EXPECT_EQ(1u, session.network.login.Connections());
    session.platform.Command("led"); // on one of the two
    session.platform.Wait("reply", {{"function", "22"}, {"status", "0"}});
    session.platform.Wait("reply", {{"function", "22"}, {"status", "0"}}); // the same one on the other
    EXPECT_EQ(1u, CallsOf("get_led_switch"));
    session.network.registration.Twice(false);
    session.network.login.Twice(false);
    session.network.login.Strike({Fault::CLOSE});
    session.ExpectRecovery(session.network.login.StruckAt(), kClosed + kAgain);
    EXPECT_EQ(2u, CallsOf("get_led_switch"));
}

// ---- Reports

std::string Device(const std::string &mac, const std::string &name, const std::string &ip)
{
    return "{\"mac\":\"" + mac + "\",\"name\":\"" + name + "\",\"ip\":\"" + ip + "\"}";
}

TEST_F(ImpairedCommands, ADeviceThatComesOnlineBetweenTwoSessionsIsReportedOnceInTheNext)
{
    const double clock = 60;
    std::filesystem::create_directory(kAgentFolder);
    WriteFile("/tmp/agent/household.json",
              "{\"devices\":[" + Device("02:1a:2b:00:00:14", "phone", "192.168.1.20") + "],\"timetable\":[{\"at\":90," +
                  "\"join\":" + Device("02:1a:2b:00:00:99", "guest", "192.168.1.50") + "}]}");
    AgentOptions options;
    options.environment["ROUTER_SIM_STATE"] = "/tmp/agent/household.json";
    ImpairedSession session(
        clock, [](Network *) {}, BehindRelays(), options);
    session.platform.Wait("upload", {{"datatype", "40"}}); // the phone, a minute after the start
    session.network.registration.Delay(2 * kUnanswered);
    session.network.login.Strike({Fault::CLOSE});
    LogEntry failure = session.agent.WaitLog("Register failed.");
    for (int i = 0; i < 2; i++) failure = session.agent.WaitLog("Register failed.", failure.number + 1);
    session.network.registration.Delay(0); // after three times ten seconds without an answer; the guest is there
    const Event report = session.platform.Wait("upload", {{"datatype", "40"}});
    EXPECT_TRUE(Contains(report.Text("payload"), "021a2b000099")) << report.Line();
    const LogEntry query = session.agent.WaitLog("Func39 query...", failure.number);
    session.agent.WaitLog("Func39 query...", query.number + 1);
    EXPECT_EQ(2u, session.platform.Count("upload", {{"datatype", "40"}}));
}
} // namespace
