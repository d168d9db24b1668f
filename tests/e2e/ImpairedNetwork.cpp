#include "tests/e2e/ImpairedNetwork.h"

#include <chrono>
#include <cstdio>

#include "tests/e2e/Sandbox.h"

Machine::Machine()
    : watch_([this] {
          const auto nap = std::chrono::milliseconds(5);
          while (!stop_) {
              const auto begin = std::chrono::steady_clock::now();
              std::this_thread::sleep_for(nap);
              const std::chrono::duration<double> late = std::chrono::steady_clock::now() - begin - nap;
              late_ = late_ + late.count();
          }
      })
{
}

Machine::~Machine()
{
    stop_ = true;
    watch_.join();
}

void ImpairedTest::SetUp()
{
    EndToEnd::SetUp();
    for (const char *path : {"/tmp/macconfig", "/tmp/plug_download"}) std::filesystem::remove_all(path);
}

PlatformOptions BehindRelays()
{
    PlatformOptions options;
    options.registerAt = kRealRegistration;
    options.loginAt = kRealLogin;
    options.announce = kLogin;
    options.interval = static_cast<int>(kHeartbeats);
    return options;
}

AgentOptions ThroughRelays(double clock)
{
    AgentOptions options;
    ConfigText config;
    config.server1 = kSingleServer;
    options.config = config.Text();
    options.clock = clock;
    return options;
}

static AgentOptions With(AgentOptions options, double clock)
{
    const AgentOptions through = ThroughRelays(clock);
    options.config = through.config;
    options.clock = clock;
    return options;
}

size_t CallsOf(const std::string &procedure)
{
    const std::string log = ReadFile(kCallLog);
    size_t count = 0;
    for (size_t at = 0; (at = log.find(" " + procedure + "(", at)) != std::string::npos; at++) count++;
    return count;
}

ImpairedSession::ImpairedSession(double agentClock, const std::function<void(Network *)> &strike,
                                 const PlatformOptions &platformOptions, AgentOptions agentOptions)
    : clock(agentClock), platform(platformOptions), network(agentClock),
      agent((strike(&network), With(std::move(agentOptions), agentClock)))
{
}

void ImpairedSession::Settle()
{
    platform.WaitSession();
    ExpectAnswers();
    settled_ = std::make_unique<Holdings>(agent.Id());
}

void ImpairedSession::ExpectAnswers()
{
    platform.Command("led");
    EXPECT_EQ("0", platform.Wait("reply", {{"function", "22"}, {"matched", "true"}}).Text("status"));
    platform.Command("set-led on");
    EXPECT_EQ("0", platform.Wait("reply", {{"function", "23"}, {"matched", "true"}}).Text("status"));
}

void ImpairedSession::ExpectHoldings()
{
    if (!settled_) throw Failure("nobody knows what the agent held before");
    // A thread that has been joined takes a moment to leave the kernel's table.
    EXPECT_TRUE(Within(kMachine, [this] { return Holdings(agent.Id()) == *settled_; }))
        << ThreadsOf(agent.Id()) << " threads instead of " << settled_->threads << ", " << DescriptorsOf(agent.Id())
        << " descriptors instead of " << settled_->descriptors;
}

void ImpairedSession::ExpectRecovery(double begin, double documented)
{
    const double login = platform.Wait("login", {{"token_ok", "true"}}, kPatience).Number("t");
    ExpectTime(documented, (login - begin) * clock);
    platform.Wait("heartbeat");
    ExpectAnswers();
    ExpectHoldings();
    EXPECT_TRUE(agent.Runs());
}

double EpochNow()
{
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

void ExpectTime(const Machine &machine, double clock, double documented, double measured)
{
    const testing::TestInfo &test = *testing::UnitTest::GetInstance()->current_test_info();
    const std::string name = test.name();
    printf("recovery: %s %s %.0f %.1f\n", test.test_suite_name(), name.substr(name.find('/') + 1).c_str(), documented,
           measured);
    EXPECT_LE(measured, machine.Allows(documented, clock));
}

Holdings OnAGoodNetwork()
{
    std::unique_ptr<Holdings> holdings;
    {
        ImpairedSession session(20);
        session.Settle();
        holdings = std::make_unique<Holdings>(session.agent.Id());
    }
    std::filesystem::remove(kCallLog);
    return *holdings;
}
