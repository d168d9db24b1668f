// Slow links, and downloads over a bad network.
#include "tests/e2e/ImpairedNetwork.h"
#include "tests/e2e/Updates.h"

namespace
{
constexpr double kSlow = 1000; // bytes a second
constexpr char kWeb[] = "127.0.0.13:8199";

class ImpairedTransfer : public ImpairedTest
{
};

void Slow(Network *network)
{
    network->registration.Throttle(kSlow);
    network->login.Throttle(kSlow);
}

// What takes at least `seconds`, and as much longer as `pauses` say, since `begin`.
void ExpectTook(ImpairedSession *session, double begin, const Event &end, double seconds, double pauses)
{
    const double measured = (end.Number("t") - begin) * session->clock;
    session->ExpectTime(seconds + pauses, measured);
    EXPECT_GE(measured, 0.8 * seconds); // the relay and the platform look at their clocks in grains
}

std::string Devices(int count)
{
    std::string list;
    char device[160];
    for (int i = 0; i < count; i++) {
        snprintf(device, sizeof device,
                 "%s{\"mac\":\"02:1a:2b:00:01:%02x\",\"name\":\"device %d\",\"ip\":\"192.168.1.%d\"}", i > 0 ? "," : "",
                 i, i, i + 1);
        list += device;
    }
    return list;
}

std::string UpdateOver(const std::string &content)
{
    const std::string url = std::string("http://") + kWeb + "/agent";
    return "plugin 2 {\"url\":\"" + url + "\",\"fileLength\":1,\"fileMD5\":\"" + Md5(content) + "\",\"token\":\"t\"}";
}

std::string At(const HttpServer &server)
{
    return "127.0.0.1:" + std::to_string(server.Port());
}

// ---- A link of 1 KB/s

TEST_F(ImpairedTransfer, ASessionBeginsOverASlowLink)
{
    const double clock = 5;
    const Holdings good = OnAGoodNetwork();
    const double begin = EpochNow();
    ImpairedSession session(clock, Slow);
    session.SettleAs(good);
    // Requests and answers of 103 to 118 bytes; before them the agent starts.
    session.ExpectRecovery(begin, 1 + kAgain);
}

TEST_F(ImpairedTransfer, CommandsThatCameAtOnceAreAllAnsweredInTheirOrderOverASlowLink)
{
    const double clock = 20;
    const int count = 40;
    ImpairedSession session(clock, Slow);
    session.Settle();
    const double begin = EpochNow();
    session.platform.Command("burst " + std::to_string(count) + " identity");
    const Event first = session.platform.Wait("reply", {{"function", "2"}, {"matched", "true"}, {"status", "0"}});
    const double size = first.Number("length");
    std::string last = first.Text("tag");
    Event reply = first;
    for (int i = 1; i < count; i++) {
        reply = session.platform.Wait("reply", {{"function", "2"}, {"matched", "true"}, {"status", "0"}});
        EXPECT_LT(std::stoi(last.substr(0, 2), nullptr, 16), std::stoi(reply.Text("tag").substr(0, 2), nullptr, 16));
        last = reply.Text("tag");
    }
    ExpectTook(&session, begin, reply, count * size / kSlow, 1);
    session.ExpectAnswers();
    session.ExpectHoldings();
    EXPECT_EQ(1u, session.platform.Count("login"));
    EXPECT_EQ(0u, session.agent.CountLog("mTcpConnectServer->sendData error"));
}

TEST_F(ImpairedTransfer, TheReportOfAllDevicesArrivesOverASlowLink)
{
    const double clock = 20;
    std::filesystem::create_directory(kAgentFolder);
    WriteFile("/tmp/agent/household.json", "{\"devices\":[" + Devices(128) + "]}");
    AgentOptions options;
    options.environment["ROUTER_SIM_STATE"] = "/tmp/agent/household.json";
    ImpairedSession session(clock, Slow, BehindRelays(), options);
    session.Settle();
    const double begin = EpochNow();
    session.platform.Command("report-devices");
    const Event report = session.platform.Wait("upload", {{"datatype", "63"}});
    EXPECT_EQ(2u * (8 + 128 * 45), report.Text("payload").size());
    ExpectTook(&session, begin, report, report.Number("length") / kSlow, 1);
    session.ExpectAnswers();
    EXPECT_EQ(1u, session.platform.Count("upload", {{"datatype", "63"}}));
    EXPECT_EQ(1u, session.platform.Count("login"));
}

TEST_F(ImpairedTransfer, AnUpdateOverASlowLinkTakesLongerThanThreeHeartbeatsAndCostsNoSession)
{
    const double clock = 40;
    const std::string content = Body(100000);
    HttpServer server(Serving(content));
    Relay web(kWeb, At(server), clock);
    web.Throttle(kSlow);
    ImpairedSession session(clock, Slow);
    session.Settle();
    Announce(&session.platform);
    const double begin = EpochNow();
    session.platform.Command(UpdateOver(content));
    const Event report = session.platform.Wait("upload", {{"datatype", "3"}});
    EXPECT_EQ(kSuccess, report.Text("text"));
    ExpectTook(&session, begin, report, static_cast<double>(content.size()) / kSlow, 2);
    EXPECT_EQ(255, session.agent.WaitExit());
    EXPECT_EQ(content, ReadFile(kUpdate));
    EXPECT_EQ(1u, session.platform.Count("upload", {{"datatype", "3"}}));
    EXPECT_EQ(1u, session.platform.Count("login"));
    EXPECT_EQ(1u, web.Connections());
}

TEST_F(ImpairedTransfer, TheRateTestMeasuresTheSlowLink)
{
    const double clock = 20;
    const double size = 30000;
    HttpServer server(Serving(Body(static_cast<size_t>(size))));
    Relay web(kWeb, At(server), clock);
    web.Throttle(kSlow);
    ImpairedSession session(clock, Slow);
    session.Settle();
    const std::string json = std::string("{\"value_func61\":\"http://") + kWeb + "/x\"}";
    const double begin = EpochNow();
    session.platform.Command("function 87 " + Hex16(static_cast<unsigned>(json.size())) + " text=" + json);
    const Event report = session.platform.Wait("reply", {{"function", "62"}, {"status", "0"}});
    ExpectTook(&session, begin, report, size / kSlow, 2);
    EXPECT_LE(report.Number("fields.rate"), 1.1 * kSlow);
    EXPECT_GE(report.Number("fields.rate"), size / (session.machine.Allows(size / kSlow, clock) + 1));
    session.agent.WaitLog("route rate up ret 0");
    session.ExpectAnswers();
    EXPECT_EQ(1u, session.platform.Count("login"));
    EXPECT_EQ(1u, session.platform.Count("reply", {{"function", "62"}}));
}

// ---- A download whose server goes away

TEST_F(ImpairedTransfer, AnUpdateWhoseServerClosesEarlyEndsWithTheSession)
{
    const double clock = 20;
    const std::string content = Body(100000);
    HttpServer server(Serving(content));
    Relay web(kWeb, At(server), clock);
    ImpairedSession session(clock);
    session.Settle();
    web.StrikeNext({Fault::CLOSE, Way::TO_CLIENT, 50000});
    Announce(&session.platform);
    session.platform.Command(UpdateOver(content));
    ASSERT_TRUE(Within(kPatience, [&] { return web.StruckAt() > 0; }));
    session.ExpectRecovery(web.StruckAt(), kSilent + kAgain); // heartbeats are no sign of life meanwhile
    EXPECT_EQ(0u, session.platform.Count("upload", {{"datatype", "3"}}));
}

TEST_F(ImpairedTransfer, AnUpdateWhoseServerFallsSilentIsLeftTenSecondsAfterItsLastByteOnceTheSessionEnds)
{
    const double clock = 5;
    const double letGo = 10 + 1; // looked at every second
    const std::string content = Body(100000);
    HttpServer server(Serving(content));
    Relay web(kWeb, At(server), clock);
    ImpairedSession session(clock);
    session.Settle();
    web.StrikeNext({Fault::SILENCE, Way::TO_CLIENT, 50000});
    Announce(&session.platform);
    session.platform.Command(UpdateOver(content));
    ASSERT_TRUE(Within(kPatience, [&] { return web.StruckAt() > 0; }));
    session.network.login.Strike({Fault::CLOSE});
    session.ExpectRecovery(session.network.login.StruckAt(), kClosed + letGo + kAgain);
    EXPECT_EQ(0u, session.platform.Count("upload", {{"datatype", "3"}}));
}
} // namespace
