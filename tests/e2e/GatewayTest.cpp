// plug-gateway with a real agent, with routers made of frames, and with a real message system.
#include "tests/e2e/Gateway.h"

#include <algorithm>
#include <csignal>
#include <set>
#include <thread>

#include "gateway/session/Instances.h"
#include "tests/support/Within.h"

using gateway::Json;

namespace
{
const std::string kSerial = RouterFacts().serial;

std::string ErrorOf(const Json &answer)
{
    return answer.is_object() && answer.contains("error") ? answer["error"]["code"].get<std::string>() : answer.dump();
}

TEST_F(GatewayTest, ARealAgentIsOnlineReportsAnswersAndGoesOffline)
{
    AddDevice(RouterFacts());
    GatewayProgram gateway(nats_);
    auto agent = std::make_unique<Agent>();
    const Json online = WaitHeard("plug." + kSerial + ".session", "\"online\"");
    EXPECT_EQ("2.0.0.7", online["version"]);
    EXPECT_EQ("02:1a:2b:00:00:01", online["mac"]);
    EXPECT_EQ(gateway.Id(), online["gateway"]);
    EXPECT_TRUE(Within([&] { return Entry("plug_sessions", kSerial).find(gateway.Id()) != std::string::npos; }));

    const Json report = WaitHeard("plug." + kSerial + ".report.rules-request");
    EXPECT_EQ("021A2B000001", report["fields"]["MAC"]);
    EXPECT_EQ(kSerial, report["serial"]);
    EXPECT_EQ("rules-request", report["report"]);
    EXPECT_TRUE(Within([&] { return Stored() > 0; }));

    const Json identity = Ask(kSerial, "ask.identity");
    ASSERT_TRUE(identity.value("ok", false)) << identity;
    EXPECT_EQ(kSerial, identity["fields"]["serial"]);
    EXPECT_EQ(0, identity["status"]);
    const Json command = Ask(kSerial, "command.online", R"({"result":0})");
    EXPECT_TRUE(command.value("ok", false)) << command;
    agent->WaitLog("heart beat ack");

    EXPECT_EQ("unknown_function", ErrorOf(Ask(kSerial, "ask.nonsense")));
    EXPECT_EQ("bad_parameter", ErrorOf(Ask(kSerial, "ask.ping", R"({"hots":"1.2.3.4"})")));
    EXPECT_EQ("bad_json", ErrorOf(Ask(kSerial, "ask.ping", "{")));
    EXPECT_EQ("unknown_command", ErrorOf(Ask(kSerial, "command.nonsense")));

    agent.reset();
    EXPECT_EQ("router", WaitHeard("plug." + kSerial + ".session", "\"offline\"")["cause"]);
    EXPECT_EQ("offline", ErrorOf(Ask(kSerial, "ask.identity")));
    EXPECT_TRUE(Within([&] { return Entry("plug_sessions", kSerial).empty(); }));
}

TEST_F(GatewayTest, DevicesAreAddedShownExportedImportedAndRemoved)
{
    AddDevice(FactsOf(1), {"--name", "kitchen, left"});
    AddDevice(FactsOf(2));
    RunGatewayTool(nats_, {"device", "lock", "R2"});
    EXPECT_EQ("R1\tPIN100000001\t-\tkitchen, left\nR2\tPIN100000002\tlocked\t\n",
              RunGatewayTool(nats_, {"device", "list"}));
    const std::string shown = RunGatewayTool(nats_, {"device", "show", "R1"});
    EXPECT_NE(std::string::npos, shown.find("kitchen, left"));
    EXPECT_EQ(std::string::npos, shown.find(FactsOf(1).key));
    EXPECT_NE(std::string::npos,
              RunGatewayTool(nats_, {"device", "show", "PIN100000001", "--with-key"}).find(FactsOf(1).key));

    RunGatewayTool(nats_, {"device", "export", "/tmp/export.csv"});
    RunGatewayTool(nats_, {"device", "remove", "R1"});
    RunGatewayTool(nats_, {"device", "remove", "R2"});
    EXPECT_EQ("", RunGatewayTool(nats_, {"device", "list"}));
    EXPECT_EQ("2 devices\n", RunGatewayTool(nats_, {"device", "import", "/tmp/export.csv"}));
    EXPECT_NE(std::string::npos, RunGatewayTool(nats_, {"device", "list"}).find("kitchen, left"));

    RunGatewayTool(nats_, {"device", "show", "R3"}, 1);
    RunGatewayTool(nats_, {"device", "add", "99", "R1", "--key", "k"}, 1); // R1 has another PIN
    RunGatewayTool(nats_, {"device", "add", "99", "a.b", "--key", "k"}, 1);
}

TEST_F(GatewayTest, TheConfigurationFileHasTheSameOptions)
{
    WriteFile("/tmp/gateway.toml", "nats = \"" + nats_.Url() + "\"\n[run]\ninterval = 77\nlogin = \"0.0.0.0:7001\"\n");
    ProcessOptions options;
    options.arguments = {GATEWAY_PROGRAM, "run", "--config", "/tmp/gateway.toml"};
    Process process(options);
    Lines errors(process.Errors()), output(process.Output());
    EXPECT_EQ(1, process.WaitExit(kPatience).value_or(-1));
    ASSERT_TRUE(errors.WaitEnd(kPatience));
    ASSERT_EQ(1u, errors.Count());
    EXPECT_NE(std::string::npos, errors.At(0).find("0.0.0.0:7001")) << errors.At(0);
}

TEST_F(GatewayTest, UnknownAndLockedDevicesAreRefusedUntilTheyAreUnlocked)
{
    AddDevice(FactsOf(1), {"--locked"});
    GatewayProgram gateway(nats_);
    GatewayRouter unknown, locked(FactsOf(1));
    EXPECT_FALSE(unknown.Register());
    EXPECT_FALSE(locked.Register());
    RunGatewayTool(nats_, {"device", "unlock", FactsOf(1).pin});
    EXPECT_TRUE(Within([&] { return locked.Register(); }));
    EXPECT_TRUE(locked.Login());
    RouterFacts other = FactsOf(1);
    other.serial = "R2";
    EXPECT_FALSE(GatewayRouter(other).Register());
    gateway.WaitLog("another serial number");
}

TEST_F(GatewayTest, LockingOrRemovingADeviceOrANewKeyEndsItsSessionAtWhicheverGateway)
{
    AddDevices(4);
    GatewayProgram first(nats_, {0}), second(nats_, {1});
    GatewayRouter locked(FactsOf(0)), removed(FactsOf(1)), other(FactsOf(2)), rekeyed(FactsOf(3));
    ASSERT_TRUE(locked.Register() && locked.Login(first.LoginAt()));
    ASSERT_TRUE(removed.Register() && removed.Login(second.LoginAt()));
    ASSERT_TRUE(other.Register() && other.Login(second.LoginAt()));
    ASSERT_TRUE(rekeyed.Register() && rekeyed.Login(first.LoginAt()));
    RunGatewayTool(nats_, {"device", "lock", "R0"});
    RunGatewayTool(nats_, {"device", "remove", "R1"});
    RouterFacts facts = FactsOf(3);
    facts.key = "0123456789abcdeX";
    AddDevice(facts);
    Json offline = WaitHeard("plug.R0.session", "\"offline\"");
    EXPECT_EQ("locked", offline["cause"]);
    EXPECT_EQ(first.Id(), offline["gateway"]);
    offline = WaitHeard("plug.R1.session", "\"offline\"");
    EXPECT_EQ("removed", offline["cause"]);
    EXPECT_EQ(second.Id(), offline["gateway"]);
    EXPECT_EQ("new_key", WaitHeard("plug.R3.session", "\"offline\"")["cause"]);
    EXPECT_TRUE(rekeyed.IsClosed());
    EXPECT_TRUE(locked.IsClosed());
    EXPECT_TRUE(removed.IsClosed());
    EXPECT_FALSE(locked.Login(first.LoginAt())); // its token is still good
    AddDevice(FactsOf(2), {"--name", "a change that bars nobody"});
    EXPECT_TRUE(other.Heartbeat());
    EXPECT_EQ(0u, CountHeard("plug.R2.session", "\"offline\""));
}

TEST_F(GatewayTest, AQuestionFindsItsRouterAtAnyGatewayAndIsAnsweredOnce)
{
    AddDevices(2);
    GatewayProgram first(nats_, {0}), second(nats_, {1});
    GatewayRouter a(FactsOf(0)), b(FactsOf(1));
    ASSERT_TRUE(a.Register(first.RegisterAt()) && a.Login(first.LoginAt()));
    // The token of one gateway is good at the other.
    ASSERT_TRUE(b.Register(first.RegisterAt()) && b.Login(second.LoginAt()));
    a.Serve();
    b.Serve();
    // Each has to have heard of the other one's session.
    EXPECT_TRUE(Within([&] { return Entry("plug_sessions", "R0") != "" && Entry("plug_sessions", "R1") != ""; }));
    EXPECT_TRUE(Within([&] {
        int good = 0;
        for (int i = 0; i < 10; i++)
            good += Ask("R0", "ask.led").value("ok", false) + Ask("R1", "ask.led").value("ok", false);
        return good == 20;
    }));
    const unsigned before = b.Asked();
    Context context;
    std::atomic<int> answers{0};
    const std::string inbox = bus_->NewInbox();
    const auto subscription = bus_->Subscribe(inbox, "", context.io, [&](const gateway::Message &) { answers++; });
    for (int i = 0; i < 10; i++) bus_->Publish("plug.R1.ask.led", "", inbox);
    EXPECT_TRUE(Within([&] { return answers == 10; }));
    EXPECT_TRUE(Ask("R1", "command.online", R"({"result":0})").value("ok", false));
    EXPECT_EQ(10, answers);
    EXPECT_EQ(before + 11, b.Asked());
    context.End();
}

TEST_F(GatewayTest, AQuestionToAllReachesEveryRouterOnceAndTellsItsEnd)
{
    constexpr unsigned kRouters = 12;
    AddDevices(kRouters);
    GatewayProgram first(nats_, {0}), second(nats_, {1});
    std::vector<std::unique_ptr<GatewayRouter>> routers;
    for (unsigned i = 0; i < kRouters; i++) {
        routers.push_back(std::make_unique<GatewayRouter>(FactsOf(i)));
        ASSERT_TRUE(routers[i]->Register(first.RegisterAt()));
        ASSERT_TRUE(routers[i]->Login(i % 2 ? first.LoginAt() : second.LoginAt()));
        routers[i]->Serve();
    }
    const std::string output = RunGatewayTool(nats_, {"ask", "all", "led"});
    for (unsigned i = 0; i < kRouters; i++) {
        EXPECT_EQ(1u, routers[i]->Asked());
        EXPECT_NE(std::string::npos, output.find("\"serial\":\"R" + std::to_string(i) + "\"")) << output;
    }
    EXPECT_NE(std::string::npos, output.find("\"asked\":6,\"answered\":6")) << output;
    EXPECT_NE(std::string::npos, RunGatewayTool(nats_, {"ask", "all", "nonsense"}, 2).find("unknown_function"));
}

// Gateways are at different servers of the message system, which keep the order of one sender only.
TEST_F(GatewayTest, TheCommandLineWaitsForAllGatewaysInWhateverOrderTheirMessagesCome)
{
    Context context;
    const auto asked = bus_->Subscribe("plug.all.ask.led", "", context.io, [&](const gateway::Message &message) {
        for (const char *text : {R"({"serial":"R1","ok":true})", R"({"ok":true,"done":true,"gateway":"a"})",
                                 R"({"ok":true,"gateways":["a","b"]})", R"({"serial":"R2","ok":true})",
                                 R"({"ok":true,"done":true,"gateway":"b"})"})
            bus_->Publish(message.reply, text);
    });
    const std::string output = RunGatewayTool(nats_, {"ask", "all", "led", "--seconds", "5"});
    EXPECT_EQ(5, std::count(output.begin(), output.end(), '\n')) << output;
    context.End();
}

TEST_F(GatewayTest, RegistrationsNameTheGatewaysThatAreAlive)
{
    AddDevices(20);
    GatewayProgram first(nats_, {0});
    auto second = std::make_unique<GatewayProgram>(nats_, GatewayOptions{1});
    const auto ports = [&] {
        std::map<uint16_t, int> count;
        for (unsigned i = 0; i < 20; i++) {
            GatewayRouter router(FactsOf(i));
            EXPECT_TRUE(router.Register());
            count[router.LoginServer().port]++;
        }
        return count;
    };
    EXPECT_TRUE(Within([&] { return ports().size() == 2; }));
    second->Program().Signal(SIGTERM);
    EXPECT_EQ(0, second->Program().WaitExit(kPatience).value_or(-1));
    EXPECT_TRUE(Within([&] { return ports() == (std::map<uint16_t, int>{{6040, 20}}); }));
}

TEST_F(GatewayTest, TheNewerSessionOfARouterReplacesTheOlderOneOnAnyGateway)
{
    AddDevices(1);
    GatewayProgram first(nats_, {0}), second(nats_, {1});
    GatewayRouter old(FactsOf(0)), newer(FactsOf(0)), newest(FactsOf(0));
    const auto isAt = [&](const GatewayProgram &gateway) {
        return Within([&] { return Entry("plug_sessions", "R0").find(gateway.Id()) != std::string::npos; });
    };
    ASSERT_TRUE(old.Register() && old.Login(first.LoginAt()));
    ASSERT_TRUE(isAt(first));
    ASSERT_TRUE(newer.Register() && newer.Login(second.LoginAt()));
    EXPECT_TRUE(old.IsClosed());
    EXPECT_EQ(first.Id(), WaitHeard("plug.R0.session", "\"replaced\"")["gateway"]);
    ASSERT_TRUE(isAt(second));
    ASSERT_TRUE(newest.Register() && newest.Login(second.LoginAt()));
    EXPECT_TRUE(newer.IsClosed());
    EXPECT_TRUE(Within([&] { return CountHeard("plug.R0.session", "\"replaced\"") == 2; }));
    EXPECT_TRUE(newest.Heartbeat());
    newest.Serve();
    EXPECT_TRUE(Ask("R0", "ask.led").value("ok", false));
    EXPECT_NE(std::string::npos, Entry("plug_sessions", "R0").find(second.Id()));
}

TEST_F(GatewayTest, ARouterThatHangsHoldsUpNoOther)
{
    AddDevices(2);
    GatewayProgram gateway(nats_, {0, {"--question-seconds", "2"}});
    GatewayRouter hanging(FactsOf(0)), good(FactsOf(1));
    ASSERT_TRUE(hanging.Register() && hanging.Login());
    ASSERT_TRUE(good.Register() && good.Login());
    good.Serve();
    Context context;
    std::atomic<int> late{0};
    const std::string inbox = bus_->NewInbox();
    const auto subscription = bus_->Subscribe(inbox, "", context.io, [&](const gateway::Message &message) {
        late += message.data.find("no_answer") != std::string::npos;
    });
    bus_->Publish("plug.R0.ask.led", "", inbox);
    for (int i = 0; i < 20; i++) EXPECT_TRUE(Ask("R1", "ask.led").value("ok", false));
    EXPECT_EQ(0, late);
    EXPECT_TRUE(Within([&] { return late == 1; }));
    context.End();
}

TEST_F(GatewayTest, WhatIsAcknowledgedIsInTheStreamOnceWhenTheMessageSystemDiesAndReturns)
{
    constexpr unsigned kReports = 200;
    AddDevices(1);
    GatewayProgram gateway(nats_, {0, {"--reports-outstanding", "1000"}});
    GatewayRouter router(FactsOf(0));
    ASSERT_TRUE(router.Register() && router.Login());
    router.Serve();
    for (unsigned i = 0; i < kReports; i++) {
        router.SendReport("{\"MAC\":\"" + std::to_string(i) + "\"}");
        if (i == kReports / 3) nats_.Kill();
        if (i == 2 * kReports / 3) nats_.Start();
    }
    EXPECT_TRUE(Within(30, [&] { return router.Acknowledged() == kReports; })) << router.Acknowledged();
    EXPECT_EQ(static_cast<int>(kReports), Stored());
    std::set<std::string> reports;
    for (unsigned i = 1; i <= kReports; i++) {
        const auto report = bus_->Request("$JS.API.DIRECT.GET.PLUG_REPORTS", Json{{"seq", i}}.dump(), 5000);
        reports.insert(Json::parse(report.value_or("{}"))["fields"]["MAC"].dump());
    }
    EXPECT_EQ(kReports, reports.size());
}

TEST_F(GatewayTest, WhileNatsIsAwayRoutersLogInWhereTheyRegister)
{
    AddDevices(1);
    GatewayProgram gateway(nats_);
    nats_.Kill();
    std::this_thread::sleep_for(gateway::kDeadAfter +
                                std::chrono::seconds(1)); // no gateway hears of another one any more
    GatewayRouter router(FactsOf(0));
    EXPECT_TRUE(router.Register() && router.Login() && router.Heartbeat());
}

TEST_F(GatewayTest, WhatTheStreamDoesNotTakeIsNotAcknowledged)
{
    AddDevices(1);
    GatewayProgram gateway(nats_, {0, {"--store-seconds", "1"}});
    GatewayRouter router(FactsOf(0));
    ASSERT_TRUE(router.Register() && router.Login());
    EXPECT_TRUE(bus_->Request("$JS.API.STREAM.DELETE.PLUG_REPORTS", "", 5000));
    router.SendReport("{}");
    EXPECT_FALSE(router.Read(3));
    EXPECT_TRUE(router.Heartbeat()); // and nothing else suffers
}

TEST_F(GatewayTest, SigtermDrainsAndEndsWithoutATrace)
{
    AddDevices(5);
    GatewayProgram gateway(nats_, {0, {"--drain-seconds", "2"}});
    std::vector<std::unique_ptr<GatewayRouter>> routers;
    for (unsigned i = 0; i < 5; i++) {
        routers.push_back(std::make_unique<GatewayRouter>(FactsOf(i)));
        ASSERT_TRUE(routers[i]->Register() && routers[i]->Login());
    }
    gateway.Program().Signal(SIGTERM);
    gateway.WaitLog("drain: ");
    EXPECT_TRUE(Within([&] { return !GatewayRouter(FactsOf(0)).Register(); }));
    EXPECT_EQ(0, gateway.Program().WaitExit(kPatience).value_or(-1));
    for (unsigned i = 0; i < 5; i++) {
        const std::string serial = FactsOf(i).serial;
        EXPECT_EQ("drain", WaitHeard("plug." + serial + ".session", "\"offline\"")["cause"]);
        EXPECT_TRUE(routers[i]->IsClosed());
        EXPECT_EQ("", Entry("plug_sessions", serial));
    }
    EXPECT_EQ("", Entry("plug_gateways", gateway.Id()));
}

TEST_F(GatewayTest, TheSessionsOfAGatewayThatDiesAreOfflineWhenItIsMissed)
{
    AddDevices(1);
    GatewayProgram first(nats_, {0});
    auto second = std::make_unique<GatewayProgram>(nats_, GatewayOptions{1});
    GatewayRouter router(FactsOf(0));
    ASSERT_TRUE(router.Register() && router.Login(second->LoginAt()));
    EXPECT_TRUE(Within([&] { return Entry("plug_sessions", "R0") != ""; }));
    second->Program().Signal(SIGKILL);
    EXPECT_EQ(128 + SIGKILL, second->Program().WaitExit(kPatience).value_or(-1));
    EXPECT_TRUE(Within(25, [&] { return ErrorOf(Ask("R0", "ask.led")) == "offline"; }));
    ASSERT_TRUE(router.Register() && router.Login(first.LoginAt()));
    router.Serve();
    EXPECT_TRUE(Ask("R0", "ask.led").value("ok", false));
}

// The body of what the gateway's web server has at `path`.
std::string Fetch(const std::string &path, const std::vector<std::string> &more = {})
{
    ProcessOptions options;
    options.arguments = {"/usr/bin/curl", "-s", "http://127.0.0.1:9470" + path};
    options.arguments.insert(options.arguments.end(), more.begin(), more.end());
    Process process(options);
    Lines output(process.Output());
    if (process.WaitExit(kPatience) != 0 || !output.WaitEnd(kPatience)) throw Failure("curl " + path);
    std::string text;
    for (const std::string &line : output.All()) text += line + "\n";
    return text;
}

TEST_F(GatewayTest, ItsWebServerTellsFiguresRoutersAndReportsAndPutsQuestions)
{
    AddDevice(FactsOf(0), {"--model", "AX-1"});
    WriteFile("/tmp/web-token", "web-token\n");
    GatewayProgram gateway(nats_, {0, {"--web", ":9470", "--web-token-file", "/tmp/web-token", "--allow-ask"}});
    GatewayRouter router(FactsOf(0));
    ASSERT_TRUE(router.Register() && router.Login());
    router.Serve();
    router.SendReport("{\"MAC\":\"021A2B000001\"}");
    ASSERT_TRUE(Within([&] { return router.Acknowledged() == 1; }));
    ASSERT_TRUE(Within([&] { return Entry("plug_sessions", "R0") != ""; }));
    EXPECT_EQ("1 sessions, NATS connected\n", Fetch("/healthz"));
    const std::string figures = Fetch("/metrics");
    EXPECT_NE(std::string::npos, figures.find("\nplug_gateway_sessions 1\n")) << figures;
    EXPECT_NE(std::string::npos, figures.find("\nplug_gateway_reports_total{result=\"stored\"} 1\n")) << figures;

    const std::vector<std::string> token = {"-H", "Authorization: Bearer web-token"};
    EXPECT_NE(std::string::npos, Fetch("/api/routers").find("forbidden"));
    EXPECT_TRUE(Within([&] { return Fetch("/api/routers", token).find("\"R0\"") != std::string::npos; }));
    EXPECT_NE(std::string::npos, Fetch("/api/summary", token).find(R"("models":[{"value":"AX-1","count":1}])"));
    const std::string one = Fetch("/api/routers/R0", token);
    EXPECT_NE(std::string::npos, one.find(R"("model":"AX-1")")) << one;
    EXPECT_NE(std::string::npos, one.find("021A2B000001")) << one;
    const std::string answer =
        Fetch("/api/ask", {"-H", "Authorization: Bearer web-token", "-H", "Content-Type: application/json", "-d",
                           R"({"serial":"R0","function":"led","parameters":{}})"});
    EXPECT_NE(std::string::npos, answer.find("\"ok\":true")) << answer;
    EXPECT_EQ(1u, router.Asked());
}

TEST_F(GatewayTest, ItsWebServerTellsTheLastReportsOfRoutersAtOtherGateways)
{
    AddDevices(2);
    WriteFile("/tmp/web-token", "web-token\n");
    GatewayProgram first(nats_, {0, {"--web", ":9470", "--web-token-file", "/tmp/web-token"}}), second(nats_, {1});
    GatewayRouter router(FactsOf(0)), silent(FactsOf(1));
    ASSERT_TRUE(router.Register() && router.Login(second.LoginAt()));
    ASSERT_TRUE(silent.Register() && silent.Login(second.LoginAt()));
    router.Serve();
    router.SendReport("{\"MAC\":\"021A2B000001\"}");
    const std::vector<std::string> token = {"-H", "Authorization: Bearer web-token"};
    const std::string counts = R"("reports":[{"value":"","count":1},{"value":"rules-request","count":1}])";
    EXPECT_TRUE(Within([&] { return Fetch("/api/summary", token).find(counts) != std::string::npos; }))
        << Fetch("/api/summary", token);
    EXPECT_NE(std::string::npos, Fetch("/api/routers?report=rules-request", token).find("\"total\":1"));
    EXPECT_NE(std::string::npos, Fetch("/api/routers/R0", token).find("\"report\":\"rules-request\""));
}

TEST_F(GatewayTest, RegistrationsOfOneAddressAreLimited)
{
    AddDevices(1);
    GatewayProgram gateway(nats_, {0, {"--registrations-per-second", "3"}});
    int good = 0;
    for (int i = 0; i < 30; i++) good += GatewayRouter(FactsOf(0)).Register();
    EXPECT_GE(good, 3);
    EXPECT_LT(good, 30);
}

TEST_F(GatewayTest, ARegistrationFromElsewhereIsLetInAndReported)
{
    AddDevices(1);
    GatewayProgram gateway(nats_);
    GatewayRouter first(FactsOf(0));
    ASSERT_TRUE(first.Register() && first.Login());
    ASSERT_TRUE(Within([&] { return Entry("plug_sessions", "R0") != ""; }));
    EXPECT_TRUE(GatewayRouter(FactsOf(0)).Register());
    EXPECT_EQ(0u, CountHeard("plug.R0.session", "registered-elsewhere"));
    RouterFacts facts = FactsOf(0);
    protocol::ParseAddress("127.0.0.9:0", &facts.from);
    EXPECT_TRUE(Within([&] { // the gateway hears of its own entry a little later
        EXPECT_TRUE(GatewayRouter(facts).Register());
        return CountHeard("plug.R0.session", "registered-elsewhere") > 0;
    }));
    EXPECT_EQ(0u, std::string(WaitHeard("plug.R0.session", "registered-elsewhere")["address"]).find("127.0.0.9:"));
}

TEST_F(GatewayTest, ARouterThatDoesNotReadIsDropped)
{
    AddDevices(1);
    GatewayProgram gateway(nats_);
    GatewayRouter router(FactsOf(0));
    ASSERT_TRUE(router.Register() && router.Login());
    protocol::OutFrame heartbeat;
    heartbeat.msgType = MSG_HEARTBEAT;
    heartbeat.flag = FLAG_UP;
    heartbeat.head = {0, 0, 0, 0};
    protocol::Bytes many;
    for (int i = 0; i < 10000; i++) protocol::Append(&many, protocol::EncodeFrame(heartbeat, ""));
    for (int i = 0; i < 200 && CountHeard("plug.R0.session", "\"offline\"") == 0; i++) router.SendBytes(many);
    EXPECT_EQ("slow", WaitHeard("plug.R0.session", "\"offline\"")["cause"]);
}

TEST_F(GatewayTest, HostileBytesTakeNeitherTheGatewayNorAnotherRouter)
{
    AddDevices(2);
    GatewayProgram gateway(nats_);
    GatewayRouter good(FactsOf(0));
    ASSERT_TRUE(good.Register() && good.Login());
    good.Serve();
    unsigned seed = 1;
    for (int round = 0; round < 200; round++) {
        GatewayRouter hostile(FactsOf(1));
        ASSERT_TRUE(hostile.Register() && hostile.Login());
        protocol::Bytes bytes(1 + rand_r(&seed) % 3000);
        for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(rand_r(&seed));
        if (round % 2) bytes[0] = 0xcc, bytes[1 % bytes.size()] = 0xdd;
        hostile.SendBytes(bytes);
    }
    EXPECT_TRUE(Ask("R0", "ask.led").value("ok", false));
    EXPECT_TRUE(gateway.Program().Runs());
}
} // namespace
