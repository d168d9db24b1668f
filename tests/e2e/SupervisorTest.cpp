// The supervisor: it starts the agent again, and what an update has fetched.
#include <chrono>
#include <csignal>
#include <thread>
#include <unistd.h>

#include "tests/e2e/Updates.h"

namespace fs = std::filesystem;

namespace
{
using Supervised = UpdateTest;

// ---- The supervisor ----

TEST_F(Supervised, TheSupervisorStartsTheAgentAgainWhateverItsExitStatus)
{
    Install(kOld, Script("echo run >>/tmp/runs; [ $(wc -l </tmp/runs) -lt 4 ] || exec sleep 1000; exit 255"));
    Supervisor supervisor;
    EXPECT_TRUE(WaitForFile("/tmp/runs", "run\nrun\nrun\nrun\n"));
    EXPECT_EQ(0, supervisor.Stop());
    EXPECT_TRUE(NoneRuns("sleep"));
}

TEST_F(Supervised, TheSupervisorsPauseGrowsWhenTheAgentEndsAtOnce)
{
    Install(kOld, Script("echo run >>/tmp/runs; exit 255"));
    Supervisor supervisor("", "PAUSE=1\nMAX_PAUSE=600\n");
    const std::vector<int> pauses = supervisor.WaitPauses(2);
    EXPECT_GE(pauses[0], 2); // doubled from the first time on, and up to half of that added
    EXPECT_LE(pauses[0], 3);
    EXPECT_GE(pauses[1], 4);
    EXPECT_LE(pauses[1], 6);
    EXPECT_EQ("run\nrun\n", Runs());
    EXPECT_EQ(0, supervisor.Stop()); // in the pause, too
}

TEST_F(Supervised, TheSupervisorStartsAnUpdateThatIsWholeAndKeepsItWhenItLasts)
{
    Install("/tmp/home/good", Script("echo new >>/tmp/runs; sleep 3; exit 255"));
    Install(kOld,
            Script("echo old >>/tmp/runs; cp /tmp/home/good /tmp/plug_download; echo 004 >/tmp/plugstatus; exit 255"));
    Supervisor supervisor;
    EXPECT_TRUE(WaitForFile("/tmp/runs", "old\nnew\nnew\n"));
    supervisor.WaitLog("the update stays");
    EXPECT_EQ(ReadFile("/tmp/home/good"), ReadFile(kNew));
    EXPECT_FALSE(fs::exists(std::string(kNew) + ".trial"));
    EXPECT_FALSE(fs::exists(kUpdate));
    EXPECT_EQ(0, supervisor.Stop());
    EXPECT_EQ(std::string::npos, Runs().find("old", 4));
}

TEST_F(Supervised, TheSupervisorGoesBackToTheOldAgentWhenTheNewOneEndsAtOnce)
{
    Install(kOld, Script("echo old >>/tmp/runs; [ ! -e /tmp/home/once ] || exec sleep 1000; touch /tmp/home/once; "
                         "printf '#!/bin/sh\\necho new >>/tmp/runs; exit 1\\n' >/tmp/plug_download; "
                         "echo 004 >/tmp/plugstatus; exit 255"));
    Supervisor supervisor;
    EXPECT_TRUE(WaitForFile("/tmp/runs", "old\nnew\nold\n"));
    supervisor.WaitLog("back to the agent before it");
    EXPECT_FALSE(fs::exists(kNew));
    EXPECT_FALSE(fs::exists(std::string(kNew) + ".trial"));
    EXPECT_EQ(0, supervisor.Stop());
}

TEST_F(Supervised, TheSupervisorGoesBackToTheLastUpdateThatLasted)
{
    Install(kOld, Script("echo old >>/tmp/runs; exec sleep 1000"));
    Install(kNew, Script("echo first >>/tmp/runs; [ ! -e /tmp/home/once ] || exec sleep 1000; touch /tmp/home/once; "
                         "echo rubbish that no system runs >/tmp/plug_download; echo 004 >/tmp/plugstatus; exit 255"));
    Supervisor supervisor;
    EXPECT_TRUE(WaitForFile("/tmp/runs", "first\nfirst\n"));
    EXPECT_EQ("first\nfirst\n", Runs());
    EXPECT_EQ(0, supervisor.Stop());
}

TEST_F(Supervised, TheSupervisorStartsNoUpdateWithoutItsStageAndNoLink)
{
    Install("/tmp/home/bad", Script("echo bad >>/tmp/runs; exec sleep 1000"));
    Install(kOld, Script("echo old >>/tmp/runs; n=$(wc -l </tmp/runs); rm -f /tmp/plug_download\n"
                         "case $n in\n"
                         "1) cp /tmp/home/bad /tmp/plug_download; echo 104 >/tmp/plugstatus ;;\n"
                         "2) cp /tmp/home/bad /tmp/plug_download ;;\n" // and no stage at all
                         "3) ln -s /tmp/home/bad /tmp/plug_download; echo 004 >/tmp/plugstatus ;;\n"
                         "4) : >/tmp/plug_download; echo 004 >/tmp/plugstatus ;;\n"
                         "5) echo 004 >/tmp/plugstatus ;;\n"
                         "*) exec sleep 1000 ;;\n"
                         "esac\nexit 255"));
    Supervisor supervisor;
    EXPECT_TRUE(WaitForFile("/tmp/runs", "old\nold\nold\nold\nold\nold\n"));
    EXPECT_EQ(std::string::npos, Runs().find("bad"));
    EXPECT_EQ(0, supervisor.Stop());
}

// ---- The agent under its supervisor ----

#ifndef PLUG_SANITIZED // the preload line would have every tool of the supervisor run under it
TEST_F(Supervised, UnderTheSupervisorTheAgentFetchedIsTheOneThatRunsNext)
{
    WriteFile(kConfigFile, ConfigText().Text());
    InstallAgent();
    const std::string content = Script("echo new >>/tmp/runs; exec sleep 1000");
    HttpServer server(Serving(content));
    Platform platform;
    Supervisor supervisor("", "", AgentEnvironment(20));
    platform.WaitSession();
    Announce(&platform);
    platform.Command(UpdateCommand(server.Port(), "/agent", Md5(content)));
    EXPECT_EQ(kSuccess, platform.Wait("upload", {{"datatype", "3"}}).Text("text"));
    EXPECT_TRUE(WaitForFile("/tmp/runs", "new\n"));
    EXPECT_EQ(content, ReadFile(std::string(kNew) + ".trial"));
    EXPECT_EQ(0, supervisor.Stop());
}

TEST_F(Supervised, KilledAtAnyPointTheSupervisorStartsTheOldAgentOrAWholeNewOne)
{
    WriteFile(kConfigFile, ConfigText().Text());
    InstallAgent();
    std::string content = Script("echo new >>/tmp/runs; exec sleep 1000");
    content += "#" + std::string(3000000, '-') + "\n";
    const std::string digest = Md5(content);
    const int rounds = 12, reported = 3;
    int older = 0, newer = 0;
    std::chrono::steady_clock::duration took{}; // by a round that nobody ends, from the command to the report
    for (int round = 0; round < rounds; round++) {
        for (const std::string &path : {std::string(kNew) + ".trial", std::string("/tmp/runs"), std::string(kUpdate)})
            fs::remove(path);
        HttpServer server(Serving(content));
        Platform platform;
        Supervisor supervisor("", "", AgentEnvironment(20));
        platform.WaitSession();
        Announce(&platform);
        const auto begin = std::chrono::steady_clock::now();
        platform.Command(UpdateCommand(server.Port(), "/agent", digest));
        if (round < reported) {
            platform.Wait("upload", {{"datatype", "3"}});
            took = std::chrono::steady_clock::now() - begin;
        } else {
            std::this_thread::sleep_for(took * (round - reported) / (rounds - reported)); // the rounds sweep over it
        }
        kill(std::stoi(ReadFile(kAgentId)), SIGKILL);
        supervisor.WaitLog("starting again");
        const bool installed = Contains(supervisor.Log(), "update installed");
        if (installed) {
            newer++;
            EXPECT_TRUE(WaitForFile("/tmp/runs", "new\n"));
            EXPECT_EQ(content, ReadFile(std::string(kNew) + ".trial"));
        } else {
            older++;
            platform.WaitSession();
            EXPECT_EQ("", Runs());
        }
        EXPECT_EQ(0, supervisor.Stop());
    }
    printf("the old agent again: %d times, the new one: %d times\n", older, newer);
    EXPECT_GE(older, 1);
    EXPECT_GE(newer, reported);
}
#endif
} // namespace
