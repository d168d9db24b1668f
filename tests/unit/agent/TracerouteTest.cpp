// Traceroutes with scripted commands whose output goes into the real file, which lies in the tests' own folder.
#include "functions/Traceroute.h"

#include <cerrno>
#include <sys/stat.h>

#include "os/OsClock.h"
#include "os/Paths.h"
#include "tests/unit/agent/DiagnosticsTest.h"

namespace
{

const char kHops[] = "traceroute to 192.168.1.20 (192.168.1.20), 30 hops max\n 1  192.168.1.1  0.4 ms\n";
const char kKillAll[] = "killall -9 traceroute";
const Bytes kRequest = Hex("14 01 A8 C0"); // 192.168.1.20

class TracerouteTest : public DiagnosticsTest
{
  protected:
    void SetUp() override
    {
        DiagnosticsTest::SetUp();
        FakeClockAuto(false); // or the watcher would not wait
    }

    // The output of a traceroute; a lasting one runs until it is stopped.
    static void Script(const std::string &text, bool lasts)
    {
        FakeScript script;
        script.output = text;
        script.lasts = lasts;
        FakeCommand("traceroute ", script);
    }

    void Run(const std::string &text)
    {
        Script(text, false);
        ASSERT_EQ(0, Call(TracerouteStart, kRequest).status);
        ASSERT_TRUE(Within([] { return gTraceThreadState == 0; }));
    }

    void StartLasting(const std::string &text = kHops)
    {
        Script(text, true);
        ASSERT_EQ(0, Call(TracerouteStart, kRequest).status);
        FakeClockAwaitWaiters(2); // the command and the watcher
    }

    size_t Killings()
    {
        size_t count = 0;
        for (const std::string &command : FakeCommands()) count += command == kKillAll;
        return count;
    }
};

} // namespace

// ---- The command ----

TEST_F(TracerouteTest, RunsTheCommandWithTheAddressIntoTheFile)
{
    Run(kHops);
    EXPECT_EQ("traceroute -n 192.168.1.20", FakeCommands().front());
    EXPECT_EQ(kHops, ReadFile(kPathTraceroute));
}

TEST_F(TracerouteTest, DoesNotWriteThroughALink)
{
    const std::string precious = FakeFolder() + "/precious";
    WriteFile(precious, "precious");
    ASSERT_EQ(0, symlink(precious.c_str(), kPathTraceroute));
    Run(kHops);
    EXPECT_EQ("precious", ReadFile(precious));
    EXPECT_EQ(Result(kHops), Call(TracerouteResult));
}

TEST_F(TracerouteTest, RunsNothingIfTheFileCannotBeOpened)
{
    ASSERT_EQ(0, mkdir(kPathTraceroute, 0700));
    ASSERT_EQ(0, Call(TracerouteStart, kRequest).status);
    ASSERT_TRUE(Within([] { return gTraceThreadState == 0; }));
    EXPECT_EQ(0u, FakeCommands().size());
    EXPECT_TRUE(Logged(std::string("can't open ") + kPathTraceroute));
    EXPECT_EQ((Answer{1, {}}), Call(TracerouteResult));
}

TEST_F(TracerouteTest, AFileThatReplacesItsOwnDuringTheStartIsNeitherWrittenNorRead)
{
    const std::string precious = FakeFolder() + "/precious";
    WriteFile(precious, "precious");
    FakeScript script;
    script.run = [&] {
        unlink(kPathTraceroute);
        EXPECT_EQ(0, symlink(precious.c_str(), kPathTraceroute));
    };
    script.output = kHops;
    FakeCommand("traceroute ", script);
    ASSERT_EQ(0, Call(TracerouteStart, kRequest).status);
    ASSERT_TRUE(Within([] { return gTraceThreadState == 0; }));
    EXPECT_EQ("precious", ReadFile(precious));
    EXPECT_EQ((Answer{1, {}}), Call(TracerouteResult));
}

// ---- The result ----

TEST_F(TracerouteTest, TheResultIsTheContentOfTheFile)
{
    Run(kHops);
    EXPECT_EQ(Result(kHops), Call(TracerouteResult));
    EXPECT_EQ(0, traceRes);
    EXPECT_EQ(0, killRun);
}

TEST_F(TracerouteTest, TheFileOfTheLastRunIsReadAgain)
{
    Run(kHops);
    EXPECT_EQ(Result(kHops), Call(TracerouteResult));
    EXPECT_EQ(1u, Killings()); // once, although it had ended
    EXPECT_EQ(Result(kHops), Call(TracerouteResult));
    EXPECT_EQ(1u, Killings());
}

TEST_F(TracerouteTest, AResultRequestDuringATracerouteKillsItAndAnswersTheFilesContent)
{
    StartLasting("half of ");
    EXPECT_EQ(Result("half of "), Call(TracerouteResult));
    EXPECT_EQ(kKillAll, FakeCommands().back());
    EXPECT_EQ(0, FakeCommandsRunning());
    EXPECT_EQ(0, gTraceThreadState);
    EXPECT_EQ(0, traceRes);
}

TEST_F(TracerouteTest, ATracerouteEndsEvenIfTheKillCommandCannotBeStarted)
{
    FakeScript script;
    script.cannotStart = true;
    FakeCommand("killall ", script);
    StartLasting();
    EXPECT_EQ(Result(kHops), Call(TracerouteResult));
    EXPECT_EQ(0, FakeCommandsRunning());
}

TEST_F(TracerouteTest, AtMost3999BytesAreRead)
{
    const std::string text(3998, 'x');
    Run(text + "yz");
    EXPECT_EQ(Result(text + "y"), Call(TracerouteResult));
    EXPECT_EQ(3999, gTracertLen);
    Run(text + "y");
    EXPECT_EQ(Result(text + "y"), Call(TracerouteResult));
    Run("");
    EXPECT_EQ(Result(""), Call(TracerouteResult));
}

TEST_F(TracerouteTest, WithoutAFileTheStatusIs1)
{
    EXPECT_EQ((Answer{1, {}}), Call(TracerouteResult));
    EXPECT_EQ(0u, FakeCommands().size());
}

TEST_F(TracerouteTest, AFileThatIsALinkIsNotRead)
{
    WriteFile(FakeFolder() + "/secret", "secret");
    ASSERT_EQ(0, symlink((FakeFolder() + "/secret").c_str(), kPathTraceroute));
    EXPECT_EQ((Answer{1, {}}), Call(TracerouteResult));
}

// ---- States ----

TEST_F(TracerouteTest, ItsWholeStateIsSetWhenTheStartReturns)
{
    StartLasting();
    EXPECT_EQ(1, gTraceThreadState);
    EXPECT_EQ(1, traceRes);
    EXPECT_EQ(1, killRun);
}

TEST_F(TracerouteTest, ASecondStartDuringATracerouteIsBusyAndStartsNothing)
{
    StartLasting();
    EXPECT_EQ((Answer{1, {}}), Call(TracerouteStart, kRequest));
    EXPECT_EQ(1u, FakeCommands().size());
}

TEST_F(TracerouteTest, RepeatedStartsNeverRunTwoTraceroutesAtOnce)
{
    int started = 0;
    for (int i = 0; i < 300; i++) started += Call(TracerouteStart, kRequest).status == 0;
    ASSERT_TRUE(Within([] { return gTraceThreadState == 0; }));
    EXPECT_GE(started, 1);
    size_t runs = 0;
    for (const std::string &command : FakeCommands()) runs += command != kKillAll;
    EXPECT_EQ(static_cast<size_t>(started), runs);
}

TEST_F(TracerouteTest, AResultThatWasNotFetchedDoesNotPreventTheNextTraceroute)
{
    Run("first");
    EXPECT_EQ(1, traceRes);
    EXPECT_EQ(1, killRun);
    Run("second");
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("]-> Exit killTrace\n")); // the first one's watcher
    EXPECT_EQ(log.find("Exit killTrace"), log.rfind("Exit killTrace"));
    EXPECT_EQ(0u, Killings());
    EXPECT_EQ(Result("second"), Call(TracerouteResult));
}

TEST_F(TracerouteTest, AThousandStartsLeaveNothingBehind)
{
    Run(kHops);
    Call(TracerouteResult);
    const Belongings before;
    for (int i = 0; i < 1000; i++) {
        Run(kHops);
        if (i % 3 == 0) Call(TracerouteResult);
    }
    Call(TracerouteResult);
    EXPECT_TRUE(before.Unchanged());
}

// ---- The watcher ----

TEST_F(TracerouteTest, ATracerouteThatNeverEndsIsKilled500SecondsAfterItsStart)
{
    StartLasting();
    EXPECT_EQ(500000, FakeClockNextDeadlineMs());
    FakeClockAdvanceMs(499999);
    EXPECT_EQ(1, FakeCommandsRunning());
    EXPECT_EQ(0u, Killings());
    FakeClockAdvanceMs(1);
    ASSERT_TRUE(Within([] { return gTraceThreadState == 0; }));
    EXPECT_EQ(1u, Killings());
    EXPECT_EQ(Result(kHops), Call(TracerouteResult)); // joins the watcher
    const std::string log = Log();
    EXPECT_LT(log.find("]-> kill traceroute\n"), log.find("]-> Exit killTrace\n"));
    EXPECT_NE(std::string::npos, log.find("]-> Exit killTrace\n"));
}

TEST_F(TracerouteTest, AStoppedWatcherEndsAtOnceAndKillsNothing)
{
    StartLasting();
    FakeCommandEnd();
    ASSERT_TRUE(Within([] { return gTraceThreadState == 0; }));
    Call(TracerouteResult);    // although the clock stands still
    EXPECT_EQ(1u, Killings()); // by the result request
    const std::string log = Log();
    EXPECT_EQ(std::string::npos, log.find("kill traceroute"));
    EXPECT_NE(std::string::npos, log.find("]-> Exit killTrace\n"));
}

TEST_F(TracerouteTest, TheWatcherKillsEvenIfNobodyFetchesTheResult)
{
    Run(kHops);
    FakeClockAwaitSleepers(1);
    FakeClockAdvanceMs(500000);
    EXPECT_TRUE(Within([&] { return Killings() == 1; }));
}

// ---- Failures ----

TEST_F(TracerouteTest, AThreadThatCannotBeStartedIsAnsweredWithItsErrorAndLeavesNothing)
{
    FakeFailThreadStart(2, EAGAIN); // the watcher comes first
    EXPECT_EQ((Answer{EAGAIN, {}}), Call(TracerouteStart, kRequest));
    EXPECT_NE(std::string::npos, Log().find("]-> Create TracerouteThread Failed: " + std::to_string(EAGAIN)));
    EXPECT_EQ(0, gTraceThreadState);
    EXPECT_EQ(0, traceRes);
    EXPECT_EQ(0, killRun);
    EXPECT_EQ(0u, FakeCommands().size());
    Run(kHops);
    EXPECT_EQ(Result(kHops), Call(TracerouteResult));
}

TEST_F(TracerouteTest, RunsWithoutAWatcherIfThatCannotBeStarted)
{
    FakeFailThreadStart(1, EAGAIN);
    Run(kHops);
    EXPECT_NE(std::string::npos, Log().find("]-> Create KillTrace500s Failed: " + std::to_string(EAGAIN)));
    EXPECT_EQ(1, traceRes);
    EXPECT_EQ(0, killRun);
    EXPECT_EQ(Result(kHops), Call(TracerouteResult));
    EXPECT_EQ(0, traceRes);
}

TEST_F(TracerouteTest, WithoutAWatcherTheResultRequestEndsItAndTheNextOneIsWatched)
{
    FakeFailThreadStart(1, EAGAIN);
    Script(kHops, true);
    ASSERT_EQ(0, Call(TracerouteStart, kRequest).status);
    FakeClockAwaitWaiters(1); // the command
    EXPECT_EQ(Result(kHops), Call(TracerouteResult));
    EXPECT_EQ(0, FakeCommandsRunning());
    StartLasting();
    EXPECT_EQ(1, killRun);
    EXPECT_EQ(Result(kHops), Call(TracerouteResult));
    EXPECT_EQ(0, killRun);
}

TEST_F(TracerouteTest, ACommandThatCannotBeStartedGivesAnEmptyResult)
{
    WriteFile(kPathTraceroute, "of the last run");
    FakeScript script;
    script.cannotStart = true;
    FakeCommand("traceroute ", script);
    ASSERT_EQ(0, Call(TracerouteStart, kRequest).status);
    ASSERT_TRUE(Within([] { return gTraceThreadState == 0; }));
    EXPECT_EQ(Result(""), Call(TracerouteResult));
}

TEST_F(TracerouteTest, StoppingTheDiagnosticsKillsIt)
{
    StartLasting();
    StopDiagnostics();
    EXPECT_EQ(1u, Killings());
    EXPECT_EQ(0, FakeCommandsRunning());
    EXPECT_EQ(0, gTraceThreadState);
    EXPECT_EQ(0, traceRes);
    EXPECT_EQ(0, killRun);
}
