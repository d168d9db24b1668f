// plug-gateway update: routers made of frames, good and bad ones, and a real agent under its supervisor.
#include <csignal>
#include <set>

#include "tests/e2e/Gateway.h"
#include "tests/e2e/Updates.h"
#include "tests/support/Within.h"

using gateway::Json;

namespace
{
constexpr char kFile[] = "/tmp/agent-2.0.0.8";

enum class Fate {
    Good,
    BadFile,   // reports that the file is another one
    GoesBack,  // reports a good file, and is back with the old version
    StaysAway, // is never seen again
    NoMatter   // sends reports that nobody could have meant, then is good
};

// A router made of frames on a thread of its own. Its fate can be changed while it runs.
class FleetRouter
{
  public:
    explicit FleetRouter(unsigned i, Fate mine = Fate::Good) : fate(mine), router_(FactsOf(i))
    {
        online_ = router_.Register() && router_.Login();
        thread_ = std::thread([this] {
            while (!end_) {
                if (const auto frame = router_.Read(0.05)) Take(*frame);
            }
        });
    }
    ~FleetRouter()
    {
        end_ = true;
        thread_.join();
    }
    bool IsOnline() const { return online_; }
    unsigned Sent() const { return sent_; }

    std::atomic<Fate> fate;
    std::atomic<bool> hold{false}; // with what follows on the update

  private:
    void Take(const protocol::ParsedFrame &frame)
    {
        if (frame.header.msgType != MSG_PLUG_COMMAND || frame.dataType != 2) return router_.Answer(frame);
        sent_++;
        while (hold && !end_) std::this_thread::sleep_for(std::chrono::milliseconds(10));
        Json report = {{"pluginID", "p"}, {"fromVersion", "2.0.0.7"}, {"toVersion", "2.0.0.8"}, {"process", 1},
                       {"result", 0},     {"resultDesc", ""}};
        if (fate == Fate::NoMatter) {
            router_.SendReport("{\"result\":{},\"toVersion\":[0]}", 3);
            router_.SendReport("{", 3);
            Json other = report;
            other["toVersion"] = "9.9.9.9";
            other["result"] = -1;
            router_.SendReport(other.dump(), 3);
        }
        if (fate == Fate::BadFile) report["result"] = -1;
        router_.SendReport(report.dump(), 3);
        if (fate == Fate::BadFile) return router_.Answer(frame);
        router_.Read(5); // the report's acknowledgement
        router_.Close();
        online_ = false;
        // An agent takes three seconds from its report to its end: the report is heard before the next login.
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        if (fate == Fate::StaysAway) return;
        if (fate != Fate::GoesBack) router_.SetVersion({2, 0, 0, 8});
        online_ = router_.Register() && router_.Login();
    }

    std::atomic<bool> online_{false}, end_{false};
    std::atomic<unsigned> sent_{0};
    GatewayRouter router_;
    std::thread thread_;
};

class GatewayUpdate : public GatewayTest
{
  protected:
    // A fleet that is online, and known to be.
    void Begin(unsigned count, Fate fate = Fate::Good)
    {
        WriteFile(kFile, "the new agent");
        AddDevices(count);
        gateway_ = std::make_unique<GatewayProgram>(nats_);
        for (unsigned i = 0; i < count; i++) {
            routers_.push_back(std::make_unique<FleetRouter>(i, fate));
            ASSERT_TRUE(routers_[i]->IsOnline());
        }
        for (unsigned i = 0; i < count; i++)
            ASSERT_TRUE(Within([&] { return Entry("plug_sessions", FactsOf(i).serial) != ""; }));
    }

    static std::vector<std::string> Words(const std::vector<std::string> &more)
    {
        std::vector<std::string> words = {"update",   kFile, "--to", "2.0.0.8", "--url", "http://192.0.2.1/f",
                                          "--settle", "0"};
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }
    std::string Update(const std::vector<std::string> &more, int status = 0)
    {
        return RunGatewayTool(nats_, Words(more), status);
    }

    unsigned Sent() const
    {
        unsigned sent = 0;
        for (const auto &router : routers_) sent += router->Sent();
        return sent;
    }
    Json Result(unsigned i) { return Json::parse(Entry("plug_updates", FactsOf(i).serial), nullptr, false); }
    // How many entries have this member.
    unsigned Results(const char *name, const Json &value)
    {
        unsigned count = 0;
        for (unsigned i = 0; i < routers_.size(); i++) {
            const Json entry = Result(i);
            count += entry.is_object() && entry.value(name, Json()) == value;
        }
        return count;
    }

    std::unique_ptr<GatewayProgram> gateway_;
    std::vector<std::unique_ptr<FleetRouter>> routers_;
};

bool Has(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

TEST_F(GatewayUpdate, EveryRouterGetsItOnceShareByShare)
{
    Begin(10);
    routers_[3]->fate = Fate::NoMatter;
    const std::string output = Update({"--share", "10%,50%,100%"});
    EXPECT_TRUE(Has(output, "100%: 10 of 10 updated, 0 failed, 0 offline, 0 under way\n")) << output;
    EXPECT_EQ(1u, Results("share", "10%"));
    EXPECT_EQ(4u, Results("share", "50%"));
    EXPECT_EQ(5u, Results("share", "100%"));
    EXPECT_EQ(10u, Results("state", "updated"));
    EXPECT_EQ(10u, Results("version", "2.0.0.8"));
    const Json entry = Result(0);
    EXPECT_EQ("2.0.0.8", entry["to"]);
    EXPECT_EQ(Md5("the new agent"), entry["md5"]);
    EXPECT_GE(entry["time"], entry["sent"]);

    Update({"--share", "10%,50%,100%"});
    for (const auto &router : routers_) EXPECT_EQ(1u, router->Sent());
}

TEST_F(GatewayUpdate, RoutersThatAreOfflineComeInALaterRun)
{
    Begin(4);
    AddDevice(FactsOf(4));
    EXPECT_TRUE(Has(Update({"--directory"}), "100%: 4 of 4 updated, 0 failed, 1 offline"));
    EXPECT_EQ("offline", Json::parse(Entry("plug_updates", "R4"))["state"]);
    routers_.push_back(std::make_unique<FleetRouter>(4));
    ASSERT_TRUE(Within([&] { return Entry("plug_sessions", "R4") != ""; }));
    EXPECT_TRUE(Has(Update({"--directory"}), "100%: 5 of 5 updated, 0 failed, 0 offline"));
    for (const auto &router : routers_) EXPECT_EQ(1u, router->Sent());
}

TEST_F(GatewayUpdate, ABadBuildStopsItselfInTheFirstShareUntilItIsToldToTryAgain)
{
    Begin(10, Fate::GoesBack);
    const std::vector<std::string> words = {"--share", "20%,100%", "--stop-after-failures", "10%"};
    const std::string output = Update(words, 2);
    EXPECT_TRUE(Has(output, "stopped: more than 10% have failed")) << output;
    EXPECT_TRUE(Has(output, "it is back with 2.0.0.7")) << output;
    const unsigned sent = Sent();
    EXPECT_GE(sent, 1u);
    EXPECT_LE(sent, 2u);
    EXPECT_GE(Results("state", "failed"), 1u);

    for (const auto &router : routers_) router->fate = Fate::Good;
    Update(words, 2);
    EXPECT_EQ(sent, Sent()); // what has failed stays so
    Update({"--share", "20%,100%", "--retry"});
    EXPECT_EQ(10u, Results("state", "updated"));
}

TEST_F(GatewayUpdate, FailuresWithinTheLimitDoNotStopIt)
{
    Begin(10);
    routers_[0]->fate = Fate::BadFile;
    routers_[1]->fate = Fate::StaysAway;
    const std::string output = Update({"--share", "100%", "--stop-after-failures", "20%", "--wait", "5"});
    EXPECT_TRUE(Has(output, "100%: 8 of 10 updated, 2 failed, 0 offline, 0 under way\n")) << output;
    EXPECT_TRUE(Has(output, "R0 has failed: it could not fetch the file, or has fetched another one\n")) << output;
    EXPECT_TRUE(Has(output, "R1 has failed: it has not come back with 2.0.0.8 in time\n")) << output;
    EXPECT_EQ("failed", Result(1)["state"]);
}

TEST_F(GatewayUpdate, AfterItWasKilledTheNextRunGoesOn)
{
    Begin(6);
    for (const auto &router : routers_) router->hold = true;
    {
        Process killed(GatewayTool(nats_, Words({"--share", "10%,100%", "--at-once", "2"})));
        EXPECT_TRUE(Within([&] { return Sent() == 1; }));
        for (const auto &router : routers_) router->hold = router->Sent() == 0;
        EXPECT_TRUE(Within([&] { return Sent() == 3; }));
        killed.Signal(SIGKILL);
        EXPECT_EQ(128 + SIGKILL, killed.WaitExit(kPatience).value_or(-1));
    }
    EXPECT_EQ(2u, Results("state", "sent"));
    for (const auto &router : routers_) router->hold = false;
    const std::string output = Update({"--share", "10%,100%"});
    EXPECT_TRUE(Has(output, "100%: 6 of 6 updated, 0 failed, 0 offline, 0 under way\n")) << output;
    for (const auto &router : routers_) EXPECT_EQ(1u, router->Sent());
}

TEST_F(GatewayUpdate, AnInterruptEndsItAndSendsNoMore)
{
    Begin(4);
    for (const auto &router : routers_) router->hold = true;
    Process update(GatewayTool(nats_, Words({"--share", "100%", "--at-once", "1"})));
    Lines output(update.Output());
    EXPECT_TRUE(Within([&] { return Sent() == 1; }));
    update.Signal(SIGINT);
    EXPECT_EQ(128 + SIGINT, update.WaitExit(kPatience).value_or(-1));
    ASSERT_TRUE(output.WaitEnd(kPatience));
    EXPECT_TRUE(Has(output.At(output.Count() - 1), "interrupted; the same command goes on"));
    EXPECT_EQ(1u, Results("state", "sent"));
    for (const auto &router : routers_) router->hold = false;
    EXPECT_TRUE(Has(Update({"--share", "100%"}), "100%: 4 of 4 updated"));
    for (const auto &router : routers_) EXPECT_EQ(1u, router->Sent());
}

TEST_F(GatewayUpdate, ADryRunShowsThePlanOfThoseOnlineAndSendsNothing)
{
    Begin(4);
    bus_->Request("$KV.plug_sessions.GHOST", R"({"gateway":"dead-1","version":"2.0.0.7"})", 5000);
    ASSERT_NE("", Entry("plug_sessions", "GHOST"));
    const std::string output = Update({"--share", "25%,100%", "--dry-run"});
    EXPECT_EQ(4, std::count(output.begin(), output.end(), '\n')) << output;
    EXPECT_EQ(0u, output.find("25%\tR"));
    EXPECT_TRUE(Has(output, "100%\tR")) << output;
    EXPECT_TRUE(Has(output, "\t2.0.0.7\twaiting\n")) << output;
    EXPECT_EQ(0u, Sent());
    EXPECT_EQ(0u, Results("to", "2.0.0.8"));
}

TEST_F(GatewayUpdate, WhatNoRouterCouldTakeIsRefusedBeforeItBegins)
{
    WriteFile(kFile, "the new agent");
    const auto refused = [&](const std::string &to, const std::string &url, const std::string &shares) {
        const std::vector<std::string> words = {"update", kFile, "--to", to, "--url", url, "--share", shares};
        try {
            return RunGatewayTool(nats_, words, 1);
        } catch (const Failure &failure) {
            return std::string(failure.what());
        }
    };
    EXPECT_TRUE(Has(refused("2.0.0.8", "https://192.0.2.1", "100%"), "no router reads it"));
    EXPECT_TRUE(Has(refused("2.0.0.8", "http://" + std::string(32, 'h'), "100%"), "no router reads it"));
    EXPECT_TRUE(Has(refused("2.0.0.8", "http://h/" + std::string(255, 'p'), "100%"), "url"));
    EXPECT_TRUE(Has(refused("2.0.0.8", "http://h", "10%,1%"), "percentages that rise"));
    EXPECT_TRUE(Has(refused("2.0.8", "http://h", "100%"), "no version"));
    EXPECT_TRUE(Has(refused("2.0.0.8", "http://h", "100%"), "there is no router to update"));
    std::filesystem::remove(kFile);
    EXPECT_TRUE(Has(refused("2.0.0.8", "http://h", "100%"), "cannot be read"));
}

#ifndef PLUG_SANITIZED // the preload line would have every tool of the supervisor run under it
TEST_F(GatewayUpdate, ARealAgentUnderItsSupervisorComesBackWithTheNextVersion)
{
    AddDevice(RouterFacts());
    gateway_ = std::make_unique<GatewayProgram>(nats_);
    for (const char *path : {kUpdate, kHome}) std::filesystem::remove_all(path);
    mkdir(kHome, 0755);
    WriteFile(kConfigFile, ConfigText().Text());
    InstallAgent();
    const std::string next = ReadFile(PLUG_NEXT_PROGRAM);
    WriteFile("/tmp/plug-next", next);
    HttpServer server(Serving(next));
    Supervisor supervisor("", "", AgentEnvironment(20));
    WaitHeard("plug." + RouterFacts().serial + ".session", "\"2.0.0.7\"");
    ASSERT_TRUE(Within([&] { return Entry("plug_sessions", RouterFacts().serial) != ""; }));
    const std::string output =
        RunGatewayTool(nats_, {"update", "/tmp/plug-next", "--to", "2.0.0.8", "--url",
                               "http://127.0.0.1:" + std::to_string(server.Port()), "--settle", "1"});
    EXPECT_TRUE(Has(output, "100%: 1 of 1 updated")) << output;
    WaitHeard("plug." + RouterFacts().serial + ".session", "\"2.0.0.8\"");
    EXPECT_EQ(0u, server.Requests().at(0).find("GET /plug-next "));
    EXPECT_EQ(0, supervisor.Stop());
}
#endif
} // namespace
