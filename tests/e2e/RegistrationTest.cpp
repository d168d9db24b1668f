// Which server is tried when, and what failed registrations and logins lead to.
#include "tests/e2e/EndToEnd.h"
#include "tests/e2e/Listener.h"
#include "tests/e2e/Sandbox.h"

namespace
{
class Registration : public EndToEnd
{
};

AgentOptions Fast(const ConfigText &config = {})
{
    AgentOptions options;
    options.config = config.Text();
    options.clock = 200;
    return options;
}

PlatformOptions Misbehaving(const std::string &fault)
{
    PlatformOptions options;
    options.faults = {fault};
    return options;
}

TEST_F(Registration, TheSecondServerIsTriedWhenTheFirstRefuses)
{
    PlatformOptions second;
    second.registerAt = "127.0.0.2:6039";
    Platform platform(second);
    Agent agent;
    const LogEntry first = agent.WaitLog("Register server1...");
    const LogEntry failure = agent.WaitLog("connect failed!......", first.number);
    agent.WaitLog("Register server2...", failure.number);
    EXPECT_EQ("127.0.0.2:6039", platform.Wait("connected").Text("at"));
    platform.WaitSession();
    EXPECT_EQ(0u, agent.CountLog("RegisterStart error.")); // the pair is one attempt
}

TEST_F(Registration, TheSecondServerIsTriedWhenTheFirstSaysNothingFor10Seconds)
{
    Listener first("127.0.0.1", 6039, Listener::MUTE);
    PlatformOptions second;
    second.registerAt = "127.0.0.2:6039";
    Platform platform(second);
    Agent agent;
    const LogEntry begin = agent.WaitLog("connected.");
    const LogEntry failure = agent.WaitLog("Register failed.", begin.number);
    EXPECT_NEAR(11, static_cast<double>(failure.time - begin.time), 2); // and one to close the connection
    platform.WaitSession();
}

TEST_F(Registration, ASingleServerIsFoundAtItsAddress)
{
    PlatformOptions platformOptions;
    platformOptions.registerAt = std::string(kSingleServer) + ":6039";
    Platform platform(platformOptions);
    AgentOptions options;
    ConfigText config;
    config.server1 = kSingleServer;
    options.config = config.Text();
    Agent agent(options);
    platform.WaitSession();
    EXPECT_EQ(0u, agent.CountLog("Register server1..."));
}

TEST_F(Registration, WithASingleServerTheSecondIsNeverTried)
{
    PlatformOptions second;
    second.registerAt = "127.0.0.2:6039";
    Platform platform(second);
    ConfigText config;
    config.server1 = kSingleServer;
    Agent agent(Fast(config));
    EXPECT_EQ(255, agent.WaitExit());
    EXPECT_EQ(12u, agent.CountLog("connect failed!......"));
    EXPECT_EQ(0u, agent.CountLog("Register server2..."));
    EXPECT_EQ(0u, platform.Count("connected"));
}

TEST_F(Registration, TwelveFailuresInARowEndTheAgentWhenNobodyListens)
{
    Agent agent(Fast());
    EXPECT_EQ(255, agent.WaitExit());
    EXPECT_EQ("102\n", Status());
    EXPECT_EQ(24u, agent.CountLog("connect failed!......"));
    EXPECT_EQ(11u, agent.CountLog("RegisterStart error."));
    EXPECT_EQ("Register retry more than 10 times, exit !!!", agent.WaitLog("Register retry").text);
}

TEST_F(Registration, TwelveFailuresInARowEndTheAgentWhenThePlatformIsSilent)
{
    Platform platform(Misbehaving("silent@register"));
    Agent agent(Fast());
    EXPECT_EQ(255, agent.WaitExit());
    EXPECT_EQ("102\n", Status());
    EXPECT_EQ(12u, agent.CountLog("Register failed."));
    EXPECT_EQ("Register retry more than 10 times, exit !!!", agent.WaitLog("Register retry").text);
    EXPECT_EQ(12u, platform.Count("register"));
}

TEST_F(Registration, ASessionForgivesTheFailuresBeforeIt)
{
    Platform platform(Misbehaving("silent@register 8"));
    Agent agent(Fast());
    platform.WaitSession();
    EXPECT_EQ(9u, platform.Count("register"));
    platform.Set("misbehave silent@register");
    platform.Command("drop");
    EXPECT_EQ(255, agent.WaitExit());
    EXPECT_EQ(9u + 12u, platform.Count("register"));
}

TEST_F(Registration, AnAcknowledgementWithoutABodyIsRefusedAndTimesOut)
{
    Platform platform(Misbehaving("empty-ack@register 1"));
    Agent agent;
    const LogEntry refusal = agent.WaitLog("regist ack error");
    const LogEntry failure = agent.WaitLog("Register failed.", refusal.number);
    EXPECT_NEAR(11, static_cast<double>(failure.time - refusal.time), 2);
    platform.WaitSession();
}

TEST_F(Registration, AnErrorCodeInTheAcknowledgementIsLoggedAndTheSessionGoesOn)
{
    Platform platform(Misbehaving("refuse-error@register=300"));
    Agent agent;
    EXPECT_EQ("optlen 2, error code = [300]", agent.WaitLog("optlen").text);
    platform.WaitSession();
}

struct Refusal {
    const char *name;
    const char *fault;
    const char *log;
};

class FailedLogin : public EndToEnd, public testing::WithParamInterface<Refusal>
{
};

TEST_P(FailedLogin, BeginsTheCycleAgain)
{
    Platform platform(Misbehaving(GetParam().fault + std::string(" 1")));
    Agent agent;
    platform.Wait("register");
    const LogEntry reason = agent.WaitLog(GetParam().log);
    agent.WaitLog("LoginStart error.", reason.number);
    platform.Wait("register");
    platform.WaitSession();
    EXPECT_EQ(1u, agent.CountLog("LoginStart error."));
}

INSTANTIATE_TEST_SUITE_P(
    , FailedLogin,
    testing::Values(Refusal{"Refused", "refuse@login", "login failed !"},
                    Refusal{"Silent", "silent@login", "login failed !"},
                    Refusal{"EmptyAcknowledgement", "empty-ack@login", "register ack error"},
                    Refusal{"NetworkFailure", "network-failure@login", "net error reconnect"},
                    Refusal{"NoServerThere", "announce@register=127.0.0.1:7777", "Login ServerInit error"},
                    Refusal{"NoServerNamed", "announce@register=0.0.0.0:0", "Login ServerInit error"}),
    [](const auto &tested) { return std::string(tested.param.name); });

TEST_F(Registration, FailedLoginsAreRepeatedWithoutEnd)
{
    Platform platform(Misbehaving("empty-ack@login 15")); // more than the failed registrations that end the agent
    Agent agent(Fast());
    platform.WaitSession();
    EXPECT_EQ(16u, platform.Count("login"));
}
} // namespace
