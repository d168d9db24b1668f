// Pings with scripted output.
#include "functions/Ping.h"

#include <cerrno>
#include <cstring>

#include "os/OsClock.h"
#include "tests/unit/agent/DiagnosticsTest.h"

namespace
{

const char kOutput[] = "PING 192.168.1.20 (192.168.1.20): 56 data bytes\n"
                       "64 bytes from 192.168.1.20: seq=0 ttl=64 time=0.301 ms\n"
                       "64 bytes from 192.168.1.20: seq=1 ttl=64 time=0.287 ms\n"
                       "\n"
                       "2 packets transmitted, 2 packets received, 0% packet loss\n";
const char kKept[] = "PING 192.168.1.20 (192.168.1.20): 56 data bytes\n"
                     "\n"
                     "2 packets transmitted, 2 packets received, 0% packet loss\n";

// The parameters: 192.168.1.20, a payload of 56 bytes, this count.
Bytes Request(const std::string &count = "02 00")
{
    return Hex("14 01 A8 C0") + Bytes(16) + Hex("38 00" + count);
}

class PingTest : public DiagnosticsTest
{
  protected:
    void SetUp() override
    {
        DiagnosticsTest::SetUp();
        gPingState = 0;
        gPingLen = 0;
    }

    // Runs a ping that prints `output`, to its end.
    void Run(const std::string &output, const Bytes &request = Request())
    {
        FakeScript script;
        script.output = output;
        FakeCommand("ping ", script);
        ASSERT_EQ(0, Call(PingStart, request).status);
        ASSERT_TRUE(Within([] { return gPingThreadState == 0; }));
    }

    // As at the start of every ping: an earlier test may have stopped its own.
    void GetReady()
    {
        Run("");
        Call(PingResult);
    }

    // Starts a ping that runs until it is stopped, and waits for its command.
    void StartLasting()
    {
        FakeScript script;
        script.output = kOutput;
        script.lasts = true;
        FakeCommand("ping ", script);
        ASSERT_EQ(0, Call(PingStart, Request()).status);
        FakeClockAwaitWaiters(1);
    }
};

} // namespace

// ---- The command ----

TEST_F(PingTest, RunsTheCommandWithSizeCountAndAddress)
{
    Run("");
    EXPECT_EQ(std::vector<std::string>{"ping -s 56 -c 2 192.168.1.20"}, FakeCommands());
    EXPECT_TRUE(Logged("ping --------------ping -s 56 -c 2 192.168.1.20"));
}

TEST_F(PingTest, ACountAboveFiftyBecomesFifty)
{
    const struct {
        const char *bytes;
        const char *command;
    } counts[] = {
        {"64 00", "ping -s 56 -c 50 192.168.1.20"},    // 100
        {"33 00", "ping -s 56 -c 50 192.168.1.20"},    // 51
        {"FF 7F", "ping -s 56 -c 50 192.168.1.20"},    // 32767
        {"32 00", "ping -s 56 -c 50 192.168.1.20"},    // 50
        {"31 00", "ping -s 56 -c 49 192.168.1.20"},    // 49
        {"00 00", "ping -s 56 -c 0 192.168.1.20"},     // 0
        {"FF FF", "ping -s 56 -c -1 192.168.1.20"},    // -1
        {"00 80", "ping -s 56 -c -32768 192.168.1.20"} // -32768
    };
    for (const auto &count : counts) {
        Run("", Request(count.bytes));
        EXPECT_EQ(count.command, FakeCommands().back());
    }
}

TEST_F(PingTest, WithoutParametersPingsAddressZero)
{
    Run("", {});
    EXPECT_EQ(std::vector<std::string>{"ping -s 0 -c 0 0.0.0.0"}, FakeCommands());
}

TEST_F(PingTest, TheLargestSizeAndAddressArePrintedAsNumbers)
{
    Run("", Bytes(24, 0xFF));
    EXPECT_EQ(std::vector<std::string>{"ping -s 65535 -c -1 255.255.255.255"}, FakeCommands());
}

// ---- The text ----

TEST_F(PingTest, KeepsAllLinesExceptThoseOfSingleReplies)
{
    Run(kOutput);
    EXPECT_EQ(Result(kKept), Call(PingResult));
    EXPECT_TRUE(Logged("------------ping len =" + std::to_string(strlen(kKept)) + ",result = " + kKept));
}

TEST_F(PingTest, RecognisesRepliesInCapitals)
{
    Run("head\nfrom 1.2.3.4: TTL=64\nTtl stays\nlast\n");
    EXPECT_EQ(Result("head\nTtl stays\nlast\n"), Call(PingResult));
}

TEST_F(PingTest, KeepsALastLineWithoutALineFeed)
{
    Run("head\nlast");
    EXPECT_EQ(Result("head\nlast"), Call(PingResult));
}

TEST_F(PingTest, WithoutOutputTheTextIsEmpty)
{
    Run("");
    EXPECT_EQ(Result(""), Call(PingResult));
}

TEST_F(PingTest, TakesTextUpTo3999Bytes)
{
    std::string text;
    for (int line = 0; line < 39; line++) text += std::string(99, 'a') + "\n";
    Run(text + std::string(98, 'b') + "\n");
    EXPECT_EQ(Result(text + std::string(98, 'b') + "\n"), Call(PingResult));
}

TEST_F(PingTest, TheFirstLineThatWouldReach4000BytesEndsTheText)
{
    std::string text;
    for (int line = 0; line < 39; line++) text += std::string(99, 'a') + "\n";
    Run(text + std::string(99, 'b') + "\n" + "this one would fit\n");
    EXPECT_EQ(Result(text), Call(PingResult));
}

TEST_F(PingTest, ALongLineIsReadInPiecesOf255Bytes)
{
    // The second piece says that it is a reply.
    Run(std::string(255, 'a') + " ttl=64 " + std::string(247, 'b') + "the end\n");
    EXPECT_EQ(Result(std::string(255, 'a') + "the end\n"), Call(PingResult));
}

TEST_F(PingTest, ALaterResultReplacesTheEarlierOne)
{
    Run("a rather long first line\n");
    EXPECT_EQ(Result("a rather long first line\n"), Call(PingResult));
    Run("short\n");
    EXPECT_EQ(Result("short\n"), Call(PingResult));
    EXPECT_EQ(Result("short\n"), Call(PingResult)); // as often as it is asked for
}

TEST_F(PingTest, ReadsALineEveryFiftyMilliseconds)
{
    FakeClockAuto(false);
    FakeScript script;
    script.output = "one\ntwo\n";
    FakeCommand("ping ", script);
    ASSERT_EQ(0, Call(PingStart, Request()).status);
    for (int pause = 0; pause < 3; pause++) { // before either line and before the end
        FakeClockAwaitSleepers(1);
        EXPECT_EQ(1, gPingState);
        EXPECT_EQ(50, FakeClockNextDeadlineMs());
        FakeClockAdvanceMs(50);
    }
    ASSERT_TRUE(Within([] { return gPingThreadState == 0; }));
    EXPECT_EQ(150, OsNowMs());
    EXPECT_EQ(Result("one\ntwo\n"), Call(PingResult));
}

// ---- States ----

TEST_F(PingTest, ItsWholeStateIsSetWhenTheStartReturns)
{
    StartLasting();
    EXPECT_EQ(1, gPingThreadState);
    EXPECT_EQ(1, gPingState);
    EXPECT_EQ(1, pingRes);
}

TEST_F(PingTest, ASecondStartDuringAPingIsBusyAndStartsNothing)
{
    StartLasting();
    EXPECT_EQ((Answer{1, {}}), Call(PingStart, Request()));
    EXPECT_EQ(1u, FakeCommands().size());
    EXPECT_EQ(1, FakeCommandsRunning());
}

// Between the start command and the first step of the thread there is nothing that lets another one through.
TEST_F(PingTest, RepeatedStartsNeverRunTwoPingsAtOnce)
{
    int started = 0;
    for (int i = 0; i < 300; i++) started += Call(PingStart, Request()).status == 0;
    ASSERT_TRUE(Within([] { return gPingThreadState == 0; }));
    EXPECT_GE(started, 1);
    EXPECT_EQ(static_cast<size_t>(started), FakeCommands().size());
    EXPECT_EQ(1, FakeCommandsAtOnce());
}

TEST_F(PingTest, AResultRequestDuringAPingWaitsForItsEndAndAnswersWithoutData)
{
    StartLasting();
    Answer answer = {};
    Running request([&] { answer = Call(PingResult); });
    FakeClockAwaitWaiters(2);
    EXPECT_EQ(1, gPingThreadState);
    FakeCommandEnd();
    request.Join();
    EXPECT_EQ((Answer{1, {}}), answer);
    EXPECT_EQ(0, pingRes);
    EXPECT_EQ(0, gPingThreadState);
    EXPECT_EQ(Result(kKept), Call(PingResult));
}

TEST_F(PingTest, WithoutAnyPingTheResultIsEmpty)
{
    EXPECT_EQ(Result(""), Call(PingResult));
}

TEST_F(PingTest, AResultThatWasNotFetchedDoesNotPreventTheNextPing)
{
    Run("first\n");
    EXPECT_EQ(1, pingRes);
    Run("second\n");
    EXPECT_EQ(Result("second\n"), Call(PingResult));
    EXPECT_EQ(0, pingRes);
}

TEST_F(PingTest, AThousandStartsLeaveNothingBehind)
{
    Run(kOutput);
    Call(PingResult);
    const Belongings before;
    for (int i = 0; i < 1000; i++) {
        Run(kOutput);
        if (i % 3 == 0) Call(PingResult); // most results are never fetched
    }
    Call(PingResult);
    EXPECT_TRUE(before.Unchanged());
    EXPECT_EQ(0, FakeCommandsRunning());
}

// ---- Failures ----

TEST_F(PingTest, AfterACommandThatCannotBeStartedTheResultIs1UntilAPingSucceeds)
{
    Run("an earlier text\n");
    Call(PingResult);
    FakeScript script;
    script.cannotStart = true;
    FakeCommand("ping ", script);
    ASSERT_EQ(0, Call(PingStart, Request()).status);
    EXPECT_EQ((Answer{1, {}}), Call(PingResult));
    EXPECT_EQ((Answer{1, {}}), Call(PingResult));
    EXPECT_EQ(1, gPingState);
    EXPECT_NE(std::string::npos, Log().find("popen failed"));
    Run("a later text\n");
    EXPECT_EQ(Result("a later text\n"), Call(PingResult));
}

TEST_F(PingTest, TheTextIsValidEvenIfClosingFails)
{
    GetReady();
    FakeScript script;
    script.output = kOutput;
    script.closeFails = true;
    FakeCommand("ping ", script);
    EXPECT_EQ(-2, PopenParsePing(56, 2, "192.168.1.20"));
    EXPECT_NE(std::string::npos, Log().find("pclose failed"));
    EXPECT_EQ(Result(kKept), Call(PingResult));
}

TEST_F(PingTest, TheProcedureReturnsHowThePingEnded)
{
    GetReady();
    const size_t before = FakeCommands().size();
    EXPECT_EQ(0, PopenParsePing(8, 51, "10.0.0.1"));
    FakeScript script;
    script.cannotStart = true;
    FakeCommand("ping ", script);
    EXPECT_EQ(-1, PopenParsePing(8, -2, "10.0.0.1"));
    const std::vector<std::string> commands = FakeCommands();
    EXPECT_EQ((std::vector<std::string>{"ping -s 8 -c 50 10.0.0.1", "ping -s 8 -c -2 10.0.0.1"}),
              std::vector<std::string>(commands.begin() + static_cast<long>(before), commands.end()));
    EXPECT_EQ(1, gPingState);
    EXPECT_EQ(0, gPingLen);
}

TEST_F(PingTest, AThreadThatCannotBeStartedIsAnsweredWithItsErrorAndKeepsTheLastResult)
{
    Run("text\n");
    FakeFailThreadStart(1, EAGAIN);
    EXPECT_EQ((Answer{EAGAIN, {}}), Call(PingStart, Request()));
    EXPECT_TRUE(Logged("Create PingThread Failed: " + std::to_string(EAGAIN)));
    EXPECT_EQ(0, gPingThreadState);
    EXPECT_EQ(0, pingRes);
    EXPECT_EQ(Result("text\n"), Call(PingResult));
    EXPECT_EQ(1u, FakeCommands().size());
    Run("and works again\n");
    EXPECT_EQ(Result("and works again\n"), Call(PingResult));
}

// ---- Without a count ----

TEST_F(PingTest, WithoutACountIsKilledAfter500Seconds)
{
    for (const char *count : {"00 00", "FF FF", "00 80"}) {
        FakeClockAuto(false);
        FakeScript endless;
        endless.output = "heading\n";
        endless.lasts = true;
        FakeCommand("ping ", endless);
        ASSERT_EQ(0, Call(PingStart, Request(count)).status);
        for (int pause = 0; pause < 2; pause++) { // before the line and before the next
            FakeClockAwaitSleepers(1);
            FakeClockAdvanceMs(50);
        }
        FakeClockAwaitSleepers(1);
        EXPECT_EQ(500000 - 100, FakeClockNextDeadlineMs());
        FakeClockAdvanceMs(500000 - 101);
        EXPECT_EQ(1, FakeCommandsRunning());
        FakeClockAdvanceMs(1);
        ASSERT_TRUE(Within([] { return gPingThreadState == 0; }));
        EXPECT_EQ(0, FakeCommandsRunning());
        EXPECT_TRUE(Logged("kill ping"));
        EXPECT_EQ(Result("heading\n"), Call(PingResult));
    }
}

TEST_F(PingTest, WithoutACountMayEndByItselfBefore500Seconds)
{
    Run(kOutput, Request("00 00"));
    EXPECT_EQ(Result(kKept), Call(PingResult));
    EXPECT_FALSE(Logged("kill ping"));
}

TEST_F(PingTest, WithACountThereIsNoTimeLimit)
{
    FakeClockAuto(false);
    FakeScript endless;
    endless.lasts = true;
    FakeCommand("ping ", endless);
    ASSERT_EQ(0, Call(PingStart, Request("01 00")).status);
    FakeClockAwaitSleepers(1);
    FakeClockAdvanceMs(50);
    FakeClockAwaitWaiters(1);
    EXPECT_EQ(-1, FakeClockNextDeadlineMs());
}

// ---- Letting go ----

TEST_F(PingTest, TheEndOfTheSessionEndsTheWaitForAResultButNotThePing)
{
    StartLasting();
    Answer answer = {};
    Running request([&] { answer = Call(PingResult); });
    FakeClockAwaitWaiters(2);
    EndSession();
    request.Join();
    EXPECT_EQ((Answer{1, {}}), answer);
    EXPECT_EQ(1, FakeCommandsRunning());
    ServerRun = 1;
    EXPECT_EQ((Answer{1, {}}), Call(PingStart, Request())); // until it ends
    FakeCommandEnd();
    ASSERT_TRUE(Within([] { return gPingThreadState == 0; }));
    EXPECT_EQ(Result(kKept), Call(PingResult));
    EXPECT_EQ(0, pingRes);
    Run("new\n");
    EXPECT_EQ(Result("new\n"), Call(PingResult));
}

TEST_F(PingTest, APingWithoutAWaitingRequestOutlivesTheSession)
{
    StartLasting();
    EndSession();
    EXPECT_EQ(1, FakeCommandsRunning());
    EXPECT_EQ(1, gPingThreadState);
    ServerRun = 1;
    FakeCommandEnd();
    ASSERT_TRUE(Within([] { return gPingThreadState == 0; }));
    EXPECT_EQ(Result(kKept), Call(PingResult));
}

TEST_F(PingTest, StoppingTheDiagnosticsKillsThePing)
{
    StartLasting();
    StopDiagnostics();
    EXPECT_EQ(0, FakeCommandsRunning());
    EXPECT_EQ(0, gPingThreadState);
    EXPECT_EQ(0, pingRes);
    StopDiagnostics(); // nothing is left to stop
}

TEST_F(PingTest, StoppingEndsThePauseBetweenTwoLines)
{
    FakeClockAuto(false);
    ASSERT_EQ(0, Call(PingStart, Request()).status);
    FakeClockAwaitSleepers(1);
    StopDiagnostics(); // although the clock stands still
    EXPECT_EQ(0, gPingThreadState);
}
