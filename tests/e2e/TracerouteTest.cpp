// Traceroute: the system's own program over two hops, and fake programs that do not end.
#include <chrono>

#include "tests/e2e/Diagnostics.h"

namespace
{
constexpr int kTraceroute = 51, kTracerouteResult = 52;

class Traceroute : public DiagnosticsTest
{
};

void Start(RunningSession *session, const std::string &address)
{
    EXPECT_EQ(0, Ask(&session->platform, kTraceroute, TargetParameter(address)).status);
}

// ---- The real one

TEST_F(Traceroute, ShowsTheRouterAndTheHostBehindIt)
{
    NeedPrograms({"traceroute", "killall"});
    HostBehindRouter network;
    AgentOptions options;
    options.clock = 1;
    RunningSession session(options);
    Start(&session, kFarHost);
    // A result request would stop it.
    ASSERT_TRUE(WaitForFile(kTracerouteFile, "\n 2  10.77.2.2 "));
    ASSERT_TRUE(NoneRuns("traceroute"));
    const FunctionReply result = Ask(&session.platform, kTracerouteResult);
    EXPECT_EQ(0, result.status);
    EXPECT_EQ(0u, result.text.find("traceroute to 10.77.2.2 (10.77.2.2), 30 hops max")) << result.text;
    EXPECT_TRUE(Contains(result.text, "\n 1  10.77.1.2 ")) << result.text;
    EXPECT_TRUE(Contains(result.text, "\n 2  10.77.2.2 ")) << result.text;
    EXPECT_FALSE(Contains(result.text, "\n 3  ")) << result.text;
    EXPECT_EQ(ReadFile(kTracerouteFile), result.text);
}

TEST_F(Traceroute, ARealTracerouteIsStoppedByTheResultRequest)
{
    NeedPrograms({"traceroute", "killall"});
    HostBehindRouter network;
    // Packets to a neighbour that does not exist are lost without an error: the program waits half a minute.
    RunShell("ip neigh add 10.77.1.9 lladdr 02:00:00:00:00:09 dev router0 && ip route add 10.77.3.0/24 via 10.77.1.9");
    AgentOptions options;
    options.clock = 1;
    RunningSession session(options);
    Start(&session, "10.77.3.3");
    ASSERT_TRUE(WaitForFile(kTracerouteFile, "traceroute to 10.77.3.3"));
    EXPECT_TRUE(OneRuns("traceroute"));
    const FunctionReply result = Ask(&session.platform, kTracerouteResult);
    EXPECT_EQ(0, result.status);
    EXPECT_EQ(0u, result.text.find("traceroute to 10.77.3.3")) << result.text;
    EXPECT_TRUE(NoneRuns("traceroute"));
}

// ---- Programs in its place

TEST_F(Traceroute, ASlowTracerouteIsKilledByItsNameAndItsOutputSoFarIsTheResult)
{
    NeedPrograms({"killall", "setsid"});
    // The second program of this name runs in its own session, so that it can be found by its name only.
    FakeProgram traceroute("traceroute", "[ \"$1\" = again ] || exec setsid --wait \"$0\" again\n"
                                         "echo ' 1  10.77.1.2  0.1 ms'\n"
                                         "@wait\n"
                                         "echo too late");
    RunningSession session(WithFakes());
    Start(&session, "192.168.1.20");
    ASSERT_TRUE(WaitForFile(kTracerouteFile, " 1  10.77.1.2"));
    const FunctionReply result = Ask(&session.platform, kTracerouteResult);
    EXPECT_EQ(0, result.status);
    EXPECT_EQ(" 1  10.77.1.2  0.1 ms\n", result.text);
    EXPECT_TRUE(NoneRuns("traceroute"));
    EXPECT_TRUE(NoneRuns("setsid"));
    EXPECT_EQ("<-n><192.168.1.20>\n<again>\n", traceroute.Runs());
    session.agent.WaitLog("Exit killTrace");
    EXPECT_EQ(0u, session.agent.CountLog("kill traceroute")); // the log line of the watcher
    session.ExpectAnswers();
}

TEST_F(Traceroute, ATracerouteThatNeverEndsIsKilledAfter500Seconds)
{
    NeedPrograms({"killall"});
    FakeProgram traceroute("traceroute", "echo ' 1  10.77.1.2  0.1 ms'; @wait");
    RunningSession session(WithFakes(200));
    Start(&session, "192.168.1.20");
    traceroute.AwaitRuns(1);
    const LogEntry begin = session.agent.WaitLog("ParserProtoolData funcid 51");
    const LogEntry kill = session.agent.WaitLog("kill traceroute");
    EXPECT_GE(kill.time - begin.time, 499);
    EXPECT_LE(kill.time - begin.time, 540); // a fast process wakes late
    session.agent.WaitLog("Exit killTrace", kill.number);
    EXPECT_TRUE(NoneRuns("traceroute"));
    EXPECT_EQ(" 1  10.77.1.2  0.1 ms\n", Ask(&session.platform, kTracerouteResult).text);
}

TEST_F(Traceroute, ASecondStartDuringATracerouteIsAnsweredBusyAndStartsNothing)
{
    FakeProgram traceroute("traceroute", "@wait; echo end");
    RunningSession session(WithFakes());
    Start(&session, "192.168.1.20");
    traceroute.AwaitRuns(1);
    const FunctionReply busy = Ask(&session.platform, kTraceroute, TargetParameter("192.168.1.21"));
    EXPECT_EQ(1, busy.status);
    EXPECT_EQ(6u, busy.length);
    traceroute.LetGo();
    ASSERT_TRUE(WaitForFile(kTracerouteFile, "end\n"));
    EXPECT_EQ("end\n", Ask(&session.platform, kTracerouteResult).text);
    EXPECT_EQ("<-n><192.168.1.20>\n", traceroute.Runs());
}

TEST_F(Traceroute, AResultRequestBeforeTheFileExistsIsAnsweredWithStatus1)
{
    RunningSession session;
    const FunctionReply result = Ask(&session.platform, kTracerouteResult);
    EXPECT_EQ(1, result.status);
    EXPECT_EQ(6u, result.length);
}

TEST_F(Traceroute, AFileThatWasRemovedIsAnsweredWithStatus1)
{
    FakeProgram traceroute("traceroute", "echo end; rm -f /tmp/tracerouteFile");
    RunningSession session(WithFakes());
    Start(&session, "192.168.1.20");
    traceroute.AwaitRuns(1);
    ASSERT_TRUE(NoneRuns("traceroute"));
    EXPECT_EQ(1, Ask(&session.platform, kTracerouteResult).status);
}

TEST_F(Traceroute, TheFileOfTheLastRunIsReadAgain)
{
    FakeProgram traceroute("traceroute", "echo \"to $2\"");
    RunningSession session(WithFakes());
    Start(&session, "192.168.1.20");
    ASSERT_TRUE(WaitForFile(kTracerouteFile, "to 192.168.1.20\n"));
    EXPECT_EQ("to 192.168.1.20\n", Ask(&session.platform, kTracerouteResult).text);
    EXPECT_EQ("to 192.168.1.20\n", Ask(&session.platform, kTracerouteResult).text);
    Start(&session, "192.168.1.21");
    ASSERT_TRUE(WaitForFile(kTracerouteFile, "to 192.168.1.21\n"));
    // That result is not requested. The next start may still be a moment too early.
    while (Ask(&session.platform, kTraceroute, TargetParameter("192.168.1.22")).status == 1) {
    }
    ASSERT_TRUE(WaitForFile(kTracerouteFile, "to 192.168.1.22\n"));
    EXPECT_EQ("to 192.168.1.22\n", Ask(&session.platform, kTracerouteResult).text);
}

TEST_F(Traceroute, AtMost3999BytesOfTheFileAreTheResult)
{
    FakeProgram traceroute("traceroute", "printf '%05000d' 7; echo end");
    RunningSession session(WithFakes());
    Start(&session, "192.168.1.20");
    ASSERT_TRUE(WaitForFile(kTracerouteFile, "end\n"));
    EXPECT_EQ(std::string(3999, '0'), Ask(&session.platform, kTracerouteResult).text);
}

struct Call {
    const char *name;
    std::string parameters;
    const char *arguments;
};

class TracerouteCall : public DiagnosticsTest, public testing::WithParamInterface<Call>
{
};

TEST_P(TracerouteCall, HasOnlyAnAddress)
{
    FakeProgram traceroute("traceroute", "echo end");
    RunningSession session(WithFakes());
    EXPECT_EQ(0, Ask(&session.platform, kTraceroute, GetParam().parameters).status);
    ASSERT_TRUE(WaitForFile(kTracerouteFile, "end\n"));
    EXPECT_EQ("end\n", Ask(&session.platform, kTracerouteResult).text);
    EXPECT_EQ(GetParam().arguments, traceroute.Runs());
    session.ExpectAnswers();
}

INSTANTIATE_TEST_SUITE_P(, TracerouteCall,
                         testing::Values(Call{"Ordinary", TargetParameter("192.168.1.20"), "<-n><192.168.1.20>\n"},
                                         Call{"EveryBitSet", std::string(48, 'F'), "<-n><255.255.255.255>\n"},
                                         Call{"EveryBitSetToTheEnd", std::string(2000, 'F'), "<-n><255.255.255.255>\n"},
                                         Call{"NoParametersAtAll", "", "<-n><0.0.0.0>\n"},
                                         // ";reboot\n", of which the first four are the address in reverse
                                         Call{"ShellText", "3B7265626F6F740A", "<-n><98.101.114.59>\n"}),
                         [](const auto &tested) { return std::string(tested.param.name); });

// ---- Ends

// Seconds until the agent has ended, and no traceroute is left.
double SecondsToEnd(RunningSession *session)
{
    const auto begin = std::chrono::steady_clock::now();
    session->agent.Signal(SIGTERM);
    session->agent.WaitExit();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    EXPECT_TRUE(NoneRuns("traceroute", 0.5));
    return took.count();
}

TEST_F(Traceroute, TheEndOfTheAgentEndsATracerouteWithinASecond)
{
    FakeProgram traceroute("traceroute", "@wait");
    RunningSession session(WithFakes(1));
    Start(&session, "192.168.1.20");
    traceroute.AwaitRuns(1);
    EXPECT_LT(SecondsToEnd(&session), 1);
}

TEST_F(Traceroute, ATracerouteOutlivesTheSessionAndTheNextSessionGetsItsResult)
{
    FakeProgram traceroute("traceroute", "echo begin; @wait; echo end");
    RunningSession session(WithFakes());
    Start(&session, "192.168.1.20");
    traceroute.AwaitRuns(1);
    session.platform.Command("drop");
    session.platform.WaitSession();
    traceroute.LetGo();
    ASSERT_TRUE(WaitForFile(kTracerouteFile, "end\n"));
    EXPECT_EQ("begin\nend\n", Ask(&session.platform, kTracerouteResult).text);
}
} // namespace
