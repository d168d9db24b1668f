// The supervisor as who operates a router sees it: one of it, one agent, and a log that says what is wrong.
#include <algorithm>
#include <csignal>

#include "tests/e2e/Updates.h"

namespace fs = std::filesystem;

namespace
{
using Operated = UpdateTest;

constexpr int kTemporaryFailure = 75; // as in sysexits.h
constexpr int kConfigurationError = 78;

std::string PidFile()
{
    return std::string(kHome) + "/plug.pid";
}

// ---- One supervisor, one agent ----

TEST_F(Operated, ASecondSupervisorEndsAtOnceAndTheFirstGoesOn)
{
    Install(kOld, Script("echo run >>/tmp/runs; exec sleep 1000"));
    Supervisor first;
    EXPECT_TRUE(WaitForFile(kRuns, "run\n"));
    const std::string entry = ReadFile(PidFile());
    Supervisor second;
    second.WaitLog("another supervisor runs already: process " + entry.substr(0, entry.find(' ')));
    EXPECT_EQ(kTemporaryFailure, second.WaitExit());
    EXPECT_EQ(entry, ReadFile(PidFile()));
    EXPECT_EQ("run\n", Runs());
    EXPECT_EQ(0, first.Stop());
    EXPECT_FALSE(fs::exists(PidFile()));
}

TEST_F(Operated, OfManySupervisorsThatStartAtOnceOneStays)
{
    Install(kOld, Script("echo run >>/tmp/runs; exec sleep 1000"));
    WriteFile(PidFile(), "1 1\n"); // left behind by one that was killed: process 1 began at another time
    constexpr int count = 8;
    std::vector<std::unique_ptr<Supervisor>> all;
    for (int i = 0; i < count; i++) all.push_back(std::make_unique<Supervisor>());
    EXPECT_TRUE(WaitForFile(kRuns, "run\n"));
    EXPECT_TRUE(Within(kPatience, [&] {
        return std::count_if(all.begin(), all.end(), [](const auto &each) { return !each->Runs(); }) == count - 1;
    }));
    int ended = 0;
    for (const auto &supervisor : all) {
        const int status = supervisor->Runs() ? supervisor->Stop() : supervisor->WaitExit();
        if (status == kTemporaryFailure)
            ended++;
        else
            EXPECT_EQ(0, status);
    }
    EXPECT_EQ(count - 1, ended);
    EXPECT_EQ("run\n", Runs());
}

TEST_F(Operated, AnAgentWhoseSupervisorWasKilledIsEndedByTheNextOne)
{
    Install(kOld, Script("echo run >>/tmp/runs; exec sleep 1000"));
    Supervisor killed;
    const std::string entry = std::string(kHome) + "/plug.agent";
    EXPECT_TRUE(WaitForFile(entry, "\n"));
    killed.Signal(SIGKILL);
    const std::string orphan = ReadFile(entry);
    Supervisor next;
    next.WaitLog("an agent without a supervisor runs, process " + orphan.substr(0, orphan.find(' ')));
    EXPECT_TRUE(WaitForFile(kRuns, "run\nrun\n"));
    EXPECT_EQ(0, next.Stop());
    EXPECT_TRUE(NoneRuns("sleep"));
}

TEST_F(Operated, AMissingAgentIsNamed)
{
    Supervisor supervisor("", "MAX_PAUSE=600\nPAUSE=300\n");
    supervisor.WaitLog(std::string("there is no agent: ") + kOld);
    EXPECT_EQ(0, supervisor.Stop());
}

TEST_F(Operated, AConfigurationThatOthersMayWriteIsRefused)
{
    Install(kOld, Script("echo run >>/tmp/runs; exec sleep 1000"));
    const std::string file = std::string(kHome) + "/plug.conf";
    for (const mode_t mode : {0602, 0620, 0666}) {
        WriteFile(file, "[Dev]\n");
        chmod(file.c_str(), mode);
        Supervisor supervisor("-f " + file);
        supervisor.WaitLog("refusing to start: " + file);
        EXPECT_EQ(kConfigurationError, supervisor.WaitExit()) << std::oct << mode;
    }
    EXPECT_EQ("", Runs());
    EXPECT_FALSE(fs::exists(PidFile()));
    chmod(file.c_str(), 0600);
    Supervisor supervisor("-f " + file);
    EXPECT_TRUE(WaitForFile(kRuns, "run\n"));
    EXPECT_EQ(0, supervisor.Stop());
}

TEST_F(Operated, TheLastFiveEndsAreKept)
{
    Install(kOld, Script("echo run >>/tmp/runs; n=$(wc -l </tmp/runs); [ $n -lt 8 ] || exec sleep 1000; exit $n"));
    Supervisor supervisor;
    EXPECT_TRUE(WaitForFile(kRuns, "run\nrun\nrun\nrun\nrun\nrun\nrun\nrun\n"));
    const std::string ends = ReadFile(std::string(kHome) + "/plug.ends");
    EXPECT_EQ(5, std::count(ends.begin(), ends.end(), '\n')) << ends;
    EXPECT_FALSE(Contains(ends, "status 2,")) << ends;
    for (const char *status : {"status 3,", "status 4,", "status 5,", "status 6,", "status 7,"})
        EXPECT_TRUE(Contains(ends, status)) << ends;
    EXPECT_EQ(0, supervisor.Stop());
}

// ---- The log ----

TEST_F(Operated, AStopDoesNotWaitForWhoHoldsTheLogOpen)
{
    // What an agent has started has its error output, too, and may outlive it.
    Install(kOld, Script("sleep 1000 & echo run >>/tmp/runs; exec sleep 1001"));
    Supervisor supervisor;
    EXPECT_TRUE(WaitForFile(kRuns, "run\n"));
    EXPECT_EQ(0, supervisor.Stop());
}

TEST_F(Operated, AnEndOfTheAgentDoesNotLeaveAFilterBehind)
{
    Install(kOld,
            Script("echo run >>/tmp/runs; [ $(wc -l </tmp/runs) -lt 3 ] || exec sleep 1001; sleep 1000 & exit 1"));
    Supervisor supervisor;
    EXPECT_TRUE(WaitForFile(kRuns, "run\nrun\nrun\n"));
    EXPECT_EQ("1", RunShell("pgrep -fc '[p]lug-log.sh'").substr(0, 1));
    EXPECT_EQ(0, supervisor.Stop());
}

TEST_F(Operated, AnUnknownLevelOfTheLogIsSaidAndErrorsAreLogged)
{
    Install(kOld, Script("echo \"$*\" >>/tmp/runs; exec sleep 1000"));
    Supervisor supervisor("-m 021A2B000001", "PLUG_LOG=loud\n");
    supervisor.WaitLog("PLUG_LOG is \"loud\", and not none, error, info or debug: taking error");
    EXPECT_TRUE(WaitForFile(kRuns, "-d -m 021A2B000001\n"));
    EXPECT_EQ(0, supervisor.Stop());
}

#ifndef PLUG_SANITIZED // the preload line would have every tool of the supervisor run under it

// The real agent with this configuration, and what the supervisor makes of it.
void InstallAgentWith(const ConfigText &config)
{
    WriteFile(kConfigFile, config.Text());
    InstallAgent();
}

TEST_F(Operated, APlatformThatCannotBeReachedIsLoggedWithAHint)
{
    InstallAgentWith(ConfigText());
    Supervisor supervisor("", "", AgentEnvironment(20));
    supervisor.WaitLog("agent err: connect failed!......");
    supervisor.WaitLog("agent err: hint: the platform cannot be reached");
    EXPECT_FALSE(Contains(supervisor.Log(), "agent debug:"));
    EXPECT_EQ(0, supervisor.Stop());
}

TEST_F(Operated, AWrongKeyIsSaidToBeOne)
{
    PlatformOptions options;
    options.key = "fedcba9876543210";
    Platform platform(options);
    InstallAgentWith(ConfigText());
    Supervisor supervisor("", "", AgentEnvironment(20));
    supervisor.WaitLog("and is KEY the platform's?");
    EXPECT_EQ(0, supervisor.Stop());
}

TEST_F(Operated, AMissingConfigurationIsLogged)
{
    InstallAgent();
    Supervisor supervisor("-f /tmp/home/none.conf", "", AgentEnvironment(20));
    supervisor.WaitLog("agent err: hint: no configuration");
    EXPECT_EQ(0, supervisor.Stop());
}

TEST_F(Operated, TheWholeLogOfASessionHoldsNeitherPinNorKeyNorToken)
{
    PlatformOptions options;
    options.token = "secret-token-of-this-one";
    Platform platform(options);
    const ConfigText config;
    InstallAgentWith(config);
    Supervisor supervisor("", "PLUG_LOG=debug\nPLUG_LOG_RATE=1000\n", AgentEnvironment(20));
    platform.WaitSession();
    Announce(&platform);
    supervisor.WaitLog("agent debug: KEY:");
    supervisor.WaitLog("agent info: heart beat ack");
    const std::string log = supervisor.Log();
    for (const std::string &secret : {config.pin, config.key, options.token})
        EXPECT_FALSE(Contains(log, secret)) << log;
    EXPECT_EQ(0, supervisor.Stop());
}

TEST_F(Operated, WithoutALogTheAgentRunsWithoutItsOption)
{
    Install(kOld, Script("echo \"$*\" >>/tmp/runs; exec sleep 1000"));
    Supervisor supervisor("-m 021A2B000001", "PLUG_LOG=none\n");
    EXPECT_TRUE(WaitForFile(kRuns, "-m 021A2B000001\n"));
    EXPECT_EQ(0, supervisor.Stop());
}
#endif
} // namespace
