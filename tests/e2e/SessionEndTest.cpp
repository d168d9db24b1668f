// How sessions end, and that a new one follows.
#include "tests/e2e/EndToEnd.h"
#include "tests/e2e/NetNamespace.h"

namespace
{
class SessionEnd : public EndToEnd
{
};

struct Ending {
    const char *name;
    const char *misbehaviour; // may be empty
    const char *command;
    const char *log; // the reason that the agent gives, may be empty
};

class EndedSession : public EndToEnd, public testing::WithParamInterface<Ending>
{
};

TEST_P(EndedSession, IsFollowedByANewOneThatWorks)
{
    RunningSession session;
    if (GetParam().misbehaviour[0]) session.platform.Set(std::string("misbehave ") + GetParam().misbehaviour);
    session.platform.Command(GetParam().command);
    session.platform.Wait("register");
    const LogEntry reason = session.agent.WaitLog(GetParam().log);
    session.agent.WaitLog("Ready to Register ...", reason.number);
    session.platform.WaitSession();
    session.ExpectAnswers();
    EXPECT_EQ(1u, session.agent.CountLog("Ready to Register ..."));
    EXPECT_TRUE(session.agent.Runs());
}

INSTANTIATE_TEST_SUITE_P(, EndedSession,
                         testing::Values(Ending{"ThePlatformCloses", "", "drop", "Close link."},
                                         Ending{"ThePlatformClosesItsDirection", "", "half-close", "Close link."},
                                         Ending{"ThePlatformResets", "", "reset", ""},
                                         Ending{"ThePlatformClosesWithinAFrame", "close-mid-frame@command 1", "version",
                                                "Close link."},
                                         Ending{"NetworkFailure", "", "network-failure", "net error reconnect"},
                                         Ending{"NetworkFailureInsteadOfACommand", "network-failure@command 1",
                                                "version", "net error reconnect"}),
                         [](const auto &tested) { return std::string(tested.param.name); });

TEST_F(SessionEnd, TheStatusFileHolds103AfterALostConnection)
{
    AgentOptions options;
    options.clock = 5; // 103 remains for one second, until the next cycle begins
    RunningSession session(options);
    session.platform.Command("drop");
    WaitStatus("103\n");
    session.platform.WaitSession();
    WaitStatus("003\n");
}

TEST_F(SessionEnd, AClosedConnectionIsGivenUpAfter3Seconds)
{
    RunningSession session;
    session.platform.Command("drop");
    const double closed = session.platform.Wait("disconnected", {{"server", "login"}}).Number("t");
    const double again = session.platform.Wait("connected", {{"server", "register"}}).Number("t");
    const double seconds = (again - closed) * AgentOptions().clock;
    EXPECT_GE(seconds, 3.9); // 300 empty reads 10 ms apart, then one second to stop the threads
    EXPECT_LE(seconds, 12);  // each of 300 pauses comes out longer in a process whose time runs fast
}

TEST_F(SessionEnd, MissingHeartbeatAcknowledgementsEndItBetween60And70SecondsAfterTheLast)
{
    RunningSession session; // heartbeats every 20 s
    session.platform.Set("misbehave silent@heartbeat");
    session.platform.Set("misbehave silent@upload"); // devices that come online: their acknowledgements count as well
    const LogEntry end = session.agent.WaitLog("heart beep error");
    LogEntry last = session.agent.WaitLog("heart beat ack");
    for (size_t left = session.agent.CountLog("heart beat ack"); left > 1; left--)
        last = session.agent.WaitLog("heart beat ack", last.number + 1);
    EXPECT_LT(last.number, end.number);
    // Both ends are cut to whole seconds, and the threads of a fast process wake late.
    EXPECT_GE(end.time - last.time, 60);
    EXPECT_LE(end.time - last.time, 73);
    session.platform.Wait("register");
    session.platform.Set("misbehave off");
    session.platform.WaitSession();
    session.ExpectAnswers();
}

TEST_F(SessionEnd, NoSilenceIsHeldAgainstThePlatformBeforeItsFirstAcknowledgement)
{
    PlatformOptions silent;
    silent.faults = {"silent@heartbeat"};
    AgentOptions options;
    options.clock = 100;
    RunningSession session(options, silent);
    const double begin = session.platform.Wait("heartbeat").Number("head.time");
    while (session.platform.Wait("heartbeat").Number("head.time") < begin + 150) {
    }
    EXPECT_EQ(0u, session.agent.CountLog("heart beep error"));
    EXPECT_EQ(1u, session.platform.Count("login"));
}

TEST_F(SessionEnd, APlatformThatVanishesBeforeItsFirstAcknowledgementLosesTheSessionAfterThreeIntervals)
{
    PlatformOptions silent;
    silent.faults = {"silent@heartbeat", "silent@upload"};
    RunningSession session({}, silent);
    const double last = session.platform.Wait("heartbeat").Number("head.time");
    const std::string rule = " INPUT -p tcp --dport 6040 -j DROP";
    RunShell("iptables -I" + rule); // from here on it does not even say that it has gone
    const LogEntry end = session.agent.WaitLog("Close link.");
    // What is sent within the next 20 s reaches nobody for 60; the kernel notices only when it retransmits.
    EXPECT_GE(end.time - last, 60);
    EXPECT_LE(end.time - last, 130);
    RunShell("iptables -D" + rule);
    session.platform.WaitSession();
    session.ExpectAnswers();
    EXPECT_EQ(0u, session.agent.CountLog("heart beep error"));
}

TEST_F(SessionEnd, AForcedDisconnectEndsTheAgentWithStatus5)
{
    RunningSession session;
    session.platform.Command("disconnect");
    EXPECT_EQ(255, session.agent.WaitExit());
    EXPECT_EQ("005\n", Status());
    EXPECT_EQ("force disconnect exit !!!!!", session.agent.WaitLog("force disconnect").text);
    const LogEntry exit = session.agent.WaitLog("exit at [CBHandle] ");
    EXPECT_EQ("ERR", exit.level);
}

TEST_F(SessionEnd, TenSessionsInARowLeaveNothingBehind)
{
    AgentOptions options;
    options.clock = 100;
    RunningSession session(options);
    session.ExpectAnswers();
    const size_t threads = ThreadsOf(session.agent.Id());
    const size_t descriptors = DescriptorsOf(session.agent.Id());
    for (int i = 0; i < 10; i++) {
        session.platform.Command("drop");
        session.platform.WaitSession();
    }
    session.ExpectAnswers();
    // A thread that has been joined takes a moment to leave the kernel's table.
    EXPECT_TRUE(Within(1, [&] { return ThreadsOf(session.agent.Id()) == threads; })) << ThreadsOf(session.agent.Id());
    EXPECT_EQ(descriptors, DescriptorsOf(session.agent.Id()));
}
} // namespace
