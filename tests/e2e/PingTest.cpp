// Ping: the system's own program across a router, and fake programs that show how the agent calls it.
#include <chrono>

#include "tests/e2e/Diagnostics.h"

namespace
{
constexpr int kPing = 8, kPingResult = 9;

class Ping : public DiagnosticsTest
{
};

// The first result request of a ping that runs waits for its end.
std::string PingText(RunningSession *session, const std::string &parameters)
{
    EXPECT_EQ(0, Ask(&session->platform, kPing, parameters).status);
    FunctionReply result = Ask(&session->platform, kPingResult);
    if (result.status == 1) result = Ask(&session->platform, kPingResult);
    EXPECT_EQ(0, result.status);
    return result.text;
}

// ---- The real one

TEST_F(Ping, AcrossARouterTheResultHasHeadingAndStatisticsButNoSingleReplies)
{
    NeedPrograms({"ping"});
    HostBehindRouter network;
    AgentOptions options;
    options.clock = 1;
    RunningSession session(options);
    const std::string text = PingText(&session, PingParameters(kFarHost, 56, 2));
    EXPECT_EQ(0u, text.find("PING 10.77.2.2 (10.77.2.2) 56(84) bytes of data.\n")) << text;
    EXPECT_TRUE(Contains(text, "--- 10.77.2.2 ping statistics ---\n")) << text;
    EXPECT_TRUE(Contains(text, "2 packets transmitted, 2 received, 0% packet loss")) << text;
    EXPECT_TRUE(Contains(text, "\nrtt min/avg/max/mdev = ")) << text;
    EXPECT_FALSE(Contains(text, "ttl")) << text;
    EXPECT_EQ('\n', text.back());
}

TEST_F(Ping, TakesSizeAndCountFromTheRequestAlsoUnderTheFastClock)
{
    NeedPrograms({"ping"});
    HostBehindRouter network;
    RunningSession session;
    const std::string text = PingText(&session, PingParameters(kFarHost, 1000, 5));
    EXPECT_TRUE(Contains(text, "1000(1028) bytes of data.")) << text;
    EXPECT_TRUE(Contains(text, "5 packets transmitted, 5 received")) << text;
}

TEST_F(Ping, ErrorsFromARouterAreInTheText)
{
    NeedPrograms({"ping"});
    HostBehindRouter network;
    network.Router().Inside([] { RunShell("ip route add prohibit 10.77.2.2/32"); });
    RunningSession session;
    const std::string text = PingText(&session, PingParameters(kFarHost, 56, 1));
    EXPECT_TRUE(Contains(text, "From 10.77.1.2 icmp_seq=1 Packet filtered")) << text;
    EXPECT_TRUE(Contains(text, "1 packets transmitted, 0 received, +1 errors, 100% packet loss")) << text;
}

// ---- How it is called

struct Call {
    const char *name;
    std::string parameters;
    const char *arguments;
};

class PingCall : public DiagnosticsTest, public testing::WithParamInterface<Call>
{
};

TEST_P(PingCall, HasOnlyNumbersAndAnAddress)
{
    FakeProgram ping("ping");
    RunningSession session(WithFakes());
    EXPECT_EQ("", PingText(&session, GetParam().parameters));
    EXPECT_EQ(GetParam().arguments, ping.Runs());
    session.ExpectAnswers();
}

std::string HexOf(const std::string &text)
{
    std::string hex;
    for (const char byte : text) {
        char digits[3];
        snprintf(digits, sizeof digits, "%02X", static_cast<unsigned char>(byte));
        hex += digits;
    }
    return hex;
}

std::string Repeated(const std::string &text, size_t length)
{
    std::string result;
    while (result.size() < length) result += text;
    return result.substr(0, length);
}

INSTANTIATE_TEST_SUITE_P(
    , PingCall,
    testing::Values(
        Call{"Ordinary", PingParameters("192.168.1.20", 56, 4), "<-s><56><-c><4><192.168.1.20>\n"},
        Call{"Count50", PingParameters("192.168.1.20", 56, 50), "<-s><56><-c><50><192.168.1.20>\n"},
        Call{"Count51Becomes50", PingParameters("192.168.1.20", 56, 51), "<-s><56><-c><50><192.168.1.20>\n"},
        Call{"Count100Becomes50", PingParameters("192.168.1.20", 56, 100), "<-s><56><-c><50><192.168.1.20>\n"},
        Call{"Count32767Becomes50", PingParameters("192.168.1.20", 56, 32767), "<-s><56><-c><50><192.168.1.20>\n"},
        Call{"CountMinus1", PingParameters("192.168.1.20", 56, -1), "<-s><56><-c><-1><192.168.1.20>\n"},
        Call{"CountMinus32768", PingParameters("192.168.1.20", 56, -32768), "<-s><56><-c><-32768><192.168.1.20>\n"},
        Call{"Size65535", PingParameters("192.168.1.20", 65535, 1), "<-s><65535><-c><1><192.168.1.20>\n"},
        Call{"EveryBitSet", Repeated("F", 48), "<-s><65535><-c><-1><255.255.255.255>\n"},
        Call{"EveryBitSetToTheEnd", Repeated("F", 2000), "<-s><65535><-c><-1><255.255.255.255>\n"},
        Call{"NoParametersAtAll", "", "<-s><0><-c><0><0.0.0.0>\n"},
        // 2D 68 20 24 is the address in reverse, 28 74 the size, 6F 75 the count, 30,063.
        Call{"ShellText", HexOf("-h $" + Repeated("`reboot`;", 16) + "(touch /tmp/x)\n|&"),
             "<-s><29736><-c><50><36.32.104.45>\n"}),
    [](const auto &tested) { return std::string(tested.param.name); });

// ---- While it runs

TEST_F(Ping, AResultRequestDuringAPingIsAnsweredWithStatus1AfterItsEnd)
{
    FakeProgram ping("ping", "echo heading; @wait; echo '64 bytes from here: icmp_seq=1 ttl=64'; echo statistics");
    RunningSession session(WithFakes());
    EXPECT_EQ(0, Ask(&session.platform, kPing, PingParameters("192.168.1.20", 56, 4)).status);
    ping.AwaitRuns(1);
    Send(&session.platform, kPingResult);
    session.platform.Wait("heartbeat"); // 20 s of the agent's time pass
    EXPECT_EQ(0u, session.platform.Count("reply", {{"function", "9"}}));
    ping.LetGo();
    const FunctionReply meanwhile = AwaitReply(&session.platform, kPingResult);
    EXPECT_EQ(1, meanwhile.status);
    EXPECT_EQ(6u, meanwhile.length); // tag, ID and status
    const FunctionReply after = Ask(&session.platform, kPingResult);
    EXPECT_EQ(0, after.status);
    EXPECT_EQ("heading\nstatistics\n", after.text);
    EXPECT_EQ("heading\nstatistics\n", Ask(&session.platform, kPingResult).text); // and once more
}

TEST_F(Ping, ASecondStartDuringAPingIsAnsweredBusyAndStartsNothing)
{
    FakeProgram ping("ping", "@wait; echo end");
    RunningSession session(WithFakes());
    EXPECT_EQ(0, Ask(&session.platform, kPing, PingParameters("192.168.1.20", 56, 4)).status);
    ping.AwaitRuns(1);
    const FunctionReply busy = Ask(&session.platform, kPing, PingParameters("192.168.1.21", 56, 4));
    EXPECT_EQ(1, busy.status);
    EXPECT_EQ(6u, busy.length);
    ping.LetGo();
    Ask(&session.platform, kPingResult);
    EXPECT_EQ("end\n", Ask(&session.platform, kPingResult).text);
    EXPECT_EQ("<-s><56><-c><4><192.168.1.20>\n", ping.Runs());
    ping.LetGo();
    EXPECT_EQ("end\n", PingText(&session, PingParameters("192.168.1.21", 56, 4)));
}

TEST_F(Ping, TheTextIsCutAfterTheLastLineThatFitsBelow4000Bytes)
{
    // 81 bytes a line: 49 lines are 3969 bytes, 50 would be 4050.
    FakeProgram ping("ping", "i=1000; while [ $i -lt 1100 ]; do i=$((i + 1)); printf '%d%076d\\n' $i 7; done");
    RunningSession session(WithFakes(100));
    const std::string text = PingText(&session, PingParameters("192.168.1.20", 56, 4));
    ASSERT_EQ(3969u, text.size());
    EXPECT_EQ("1001" + std::string(75, '0') + "7\n", text.substr(0, 81));
    EXPECT_EQ("1049" + std::string(75, '0') + "7\n", text.substr(48 * 81));
}

TEST_F(Ping, WithoutTheProgramTheTextIsEmpty)
{
    AgentOptions options = WithFakes();
    options.environment["PATH"] = "/tmp";
    RunningSession session(options);
    EXPECT_EQ("", PingText(&session, PingParameters("192.168.1.20", 56, 4)));
}

TEST_F(Ping, RepeatedPingsLeaveNothingBehind)
{
    FakeProgram ping("ping", "echo text");
    RunningSession session(WithFakes(100));
    EXPECT_EQ("text\n", PingText(&session, PingParameters("192.168.1.20", 56, 4)));
    const size_t threads = ThreadsOf(session.agent.Id());
    const size_t descriptors = DescriptorsOf(session.agent.Id());
    for (int i = 0; i < 30; i++) EXPECT_EQ("text\n", PingText(&session, PingParameters("192.168.1.20", 56, 4)));
    // A thread that has been joined takes a moment to leave the kernel's table.
    EXPECT_TRUE(Within(1, [&] { return ThreadsOf(session.agent.Id()) == threads; })) << ThreadsOf(session.agent.Id());
    EXPECT_EQ(descriptors, DescriptorsOf(session.agent.Id()));
    EXPECT_TRUE(NoneRuns("ping"));
}

// ---- Ends

// Seconds until the agent has ended, and no ping is left.
double SecondsToEnd(RunningSession *session)
{
    const auto begin = std::chrono::steady_clock::now();
    session->agent.Signal(SIGTERM);
    session->agent.WaitExit();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    EXPECT_TRUE(NoneRuns("ping", 0.5));
    return took.count();
}

TEST_F(Ping, TheEndOfTheAgentEndsARealPingWithinASecond)
{
    NeedPrograms({"ping"});
    HostBehindRouter network;
    AgentOptions options;
    options.clock = 1;
    RunningSession session(options);
    EXPECT_EQ(0, Ask(&session.platform, kPing, PingParameters(kFarHost, 56, 50)).status);
    ASSERT_TRUE(OneRuns("ping"));        // the answer may come before the ping runs
    ASSERT_FALSE(NoneRuns("ping", 0.5)); // and it runs on
    EXPECT_LT(SecondsToEnd(&session), 1);
}

TEST_F(Ping, TheEndOfTheAgentEndsAPingWithAWaitingRequest)
{
    FakeProgram ping("ping", "@wait");
    RunningSession session(WithFakes(1));
    EXPECT_EQ(0, Ask(&session.platform, kPing, PingParameters("192.168.1.20", 56, 4)).status);
    ping.AwaitRuns(1);
    Send(&session.platform, kPingResult);
    session.agent.WaitLog("ParserProtoolData funcid 9");
    EXPECT_LT(SecondsToEnd(&session), 1);
}

TEST_F(Ping, TheLossOfTheSessionEndsTheWaitForAPingButNotThePing)
{
    FakeProgram ping("ping", "echo heading; @wait; echo statistics");
    RunningSession session(WithFakes());
    EXPECT_EQ(0, Ask(&session.platform, kPing, PingParameters("192.168.1.20", 56, 4)).status);
    ping.AwaitRuns(1);
    Send(&session.platform, kPingResult);
    session.platform.Wait("heartbeat");
    session.platform.Command("drop");
    session.platform.WaitSession();
    EXPECT_TRUE(OneRuns("ping"));
    session.ExpectAnswers();
    EXPECT_EQ(1, Ask(&session.platform, kPing, PingParameters("192.168.1.20", 56, 4)).status); // busy
    ping.LetGo();
    FunctionReply result = Ask(&session.platform, kPingResult);
    if (result.status == 1) result = Ask(&session.platform, kPingResult);
    EXPECT_EQ("heading\nstatistics\n", result.text);
    EXPECT_EQ("<-s><56><-c><4><192.168.1.20>\n", ping.Runs());
}

TEST_F(Ping, TheLossOfTheSessionDoesNotCutAResult)
{
    FakeProgram ping("ping", "for i in 1 2 3 4 5 6; do echo line $i; @wait; done");
    RunningSession session(WithFakes());
    EXPECT_EQ(0, Ask(&session.platform, kPing, PingParameters("192.168.1.20", 56, 4)).status);
    ping.AwaitRuns(1);
    Send(&session.platform, kPingResult);
    session.platform.Command("drop");
    session.platform.WaitSession();
    for (int i = 0; i < 6; i++) ping.LetGo();
    FunctionReply result = Ask(&session.platform, kPingResult);
    if (result.status == 1) result = Ask(&session.platform, kPingResult);
    EXPECT_EQ("line 1\nline 2\nline 3\nline 4\nline 5\nline 6\n", result.text);
}

TEST_F(Ping, APingWithoutACountThatNeverEndsIsKilledAfter500Seconds)
{
    FakeProgram ping("ping", "echo heading; @wait");
    RunningSession session(WithFakes(200));
    EXPECT_EQ(0, Ask(&session.platform, kPing, PingParameters("192.168.1.20", 56, 0)).status);
    ping.AwaitRuns(1);
    const LogEntry begin = session.agent.WaitLog("ping --------------");
    const LogEntry kill = session.agent.WaitLog("kill ping");
    EXPECT_GE(kill.time - begin.time, 499);
    EXPECT_LE(kill.time - begin.time, 540); // a fast process wakes late
    EXPECT_TRUE(NoneRuns("ping"));
    EXPECT_EQ("heading\n", Ask(&session.platform, kPingResult).text);
    EXPECT_EQ("<-s><56><-c><0><192.168.1.20>\n", ping.Runs());
}

TEST_F(Ping, APingWithoutACountIsKilledWhenItsTextIsFull)
{
    FakeProgram ping("ping", "printf '%0300d\\n%03900d\\n' 1 2; @wait");
    RunningSession session(WithFakes());
    const std::string text = PingText(&session, PingParameters("192.168.1.20", 56, 0));
    EXPECT_EQ(std::string(299, '0') + "1\n", text.substr(0, 301));
    EXPECT_TRUE(NoneRuns("ping"));
    EXPECT_EQ(0u, session.agent.CountLog("kill ping")); // the log line of the deadline
}

TEST_F(Ping, APingWithoutAWaitingRequestOutlivesTheSession)
{
    FakeProgram ping("ping", "@wait; echo text");
    RunningSession session(WithFakes());
    EXPECT_EQ(0, Ask(&session.platform, kPing, PingParameters("192.168.1.20", 56, 4)).status);
    ping.AwaitRuns(1);
    session.platform.Command("drop");
    session.platform.WaitSession();
    EXPECT_EQ(1, Ask(&session.platform, kPing, PingParameters("192.168.1.20", 56, 4)).status);
    ping.LetGo();
    Ask(&session.platform, kPingResult);
    EXPECT_EQ("text\n", Ask(&session.platform, kPingResult).text);
}
} // namespace
