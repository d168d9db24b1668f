// The local server and a peer that misbehaves, is absent or connects too often.
#include <chrono>
#include <cmath>
#include <fstream>
#include <unistd.h>

#include "tests/e2e/LocalSession.h"

namespace
{

class LocalTrouble : public EndToEnd
{
};

double Now()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// Processor time of the agent so far, seconds.
double ProcessorTime(const Agent &agent)
{
    const std::string stat = ReadFile("/proc/" + std::to_string(agent.Id()) + "/stat");
    std::istringstream fields(stat.substr(stat.rfind(')') + 2));
    std::string skipped;
    for (int i = 0; i < 11; i++) fields >> skipped;
    double user = 0, system = 0;
    fields >> user >> system;
    return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

struct Holdings {
    size_t descriptors, threads;
    long memoryKb; // that belongs to no file
};

Holdings HoldingsOf(const Agent &agent)
{
    Holdings holdings = {DescriptorsOf(agent.Id()), ThreadsOf(agent.Id()), 0};
    std::ifstream rollup("/proc/" + std::to_string(agent.Id()) + "/smaps_rollup");
    for (std::string line; std::getline(rollup, line);)
        // Pages of the program's own file would count as private or as shared by whether another agent runs.
        if (line.compare(0, 10, "Anonymous:") == 0) holdings.memoryKb = atol(line.c_str() + 10);
    return holdings;
}

// ---- Answers that are wrong

struct WrongAnswer {
    const char *misbehaviour;
    const char *log;
};

// For `wait`s the agent's ten seconds are half a second of ours.
const WrongAnswer kUnusable[] = {
    {"bad-checksum", "Receive  checkSum error."},    {"bad-head", "Receive head error."},
    {"repeat-sequence", "Receive  sequence error."}, {"oversized=8101", "Receive length error, length is 8101"},
    {"empty", "Receive length error, length is 14"}, {"half", "Receive length error, length is 8"},
    {"announce=20000", "Receive  checkSum error."},  {"silent", "ERROR: request timeout!"},
};

TEST_F(LocalTrouble, AnInvalidAnswerIsIgnoredAndTheNextOneCounts)
{
    LocalSession local;
    for (const WrongAnswer &wrong : kUnusable) {
        SCOPED_TRACE(wrong.misbehaviour);
        EXPECT_EQ("on", local.Ask("mesh").Text("fields.switch")); // the connection works
        local.manager.Set("misbehave " + std::string(wrong.misbehaviour) + " 1");
        const double asked = Now();
        const size_t before = local.agent.CountLog(wrong.log);
        EXPECT_EQ("1", local.Ask("mesh").Text("status"));
        EXPECT_GT(Now() - asked, 0.45); // ten seconds
        EXPECT_EQ(before + 1, local.agent.CountLog(wrong.log));
    }
    EXPECT_EQ(1u, local.manager.Count("connected"));
    EXPECT_EQ(std::size(kUnusable), local.agent.CountLog("ERROR: request timeout!"));
}

TEST_F(LocalTrouble, AnAnswerMayHave3999BytesAfterItsStatus)
{
    LocalSession local;
    local.manager.Set("misbehave oversized=4014 1"); // header, status and 3999 bytes
    EXPECT_EQ("0", local.Ask("bssid").Text("status"));
    local.manager.Set("misbehave oversized=4015 1");
    EXPECT_EQ("1", local.Ask("bssid").Text("status"));
    local.agent.WaitLog("ERROR: receive data too large!");
}

TEST_F(LocalTrouble, ALateAnswerCountsWithinTenSecondsAndForItsOwnRequestOnly)
{
    LocalSession local;
    local.manager.Set("misbehave late@mesh=0.2 1"); // four seconds
    EXPECT_EQ("on", local.Ask("mesh").Text("fields.switch"));
    local.manager.Set("misbehave late@mesh=0.7 1"); // fourteen
    EXPECT_EQ("1", local.Ask("mesh").Text("status"));
    local.agent.WaitLog("ERROR: request timeout!");
    // Once more, so that the late answer has come before the next request.
    local.Tell("plugin-state old");
    for (int i = 0; i < 2; i++) local.platform.Wait("heartbeat");
    EXPECT_EQ("70", local.Ask("roaming-threshold").Text("fields.first"));
}

TEST_F(LocalTrouble, TwoFramesInOneWriteAreBothHandled)
{
    LocalSession local;
    local.manager.Set("misbehave two-in-one 1");
    EXPECT_EQ("on", local.Ask("mesh").Text("fields.switch"));
    local.agent.WaitLog("Old plugin no plugin state notice.");

    local.manager.Command("burst 5 report 84 {\"n\":5}");
    for (int i = 1; i <= 5; i++)
        EXPECT_EQ("0" + std::to_string(i) + "00",
                  local.platform.Wait("upload", {{"datatype", "84"}}).Text("payload").substr(0, 4));
}

TEST_F(LocalTrouble, AFrameInTwoPartsIsLostAndTheNextOneCounts)
{
    LocalSession local;
    local.manager.Set("misbehave split=0.1 1");
    EXPECT_EQ("1", local.Ask("mesh").Text("status"));
    EXPECT_EQ("on", local.Ask("mesh").Text("fields.switch"));
}

TEST_F(LocalTrouble, ACutOffFrameAfterAnotherSwallowsNoLaterFrame)
{
    LocalSession local;
    // An invalid query for the plugin's state, and the start of a report that declares 8000 bytes.
    local.manager.Command("raw 5A5AE60301000000010000006F006F"
                          "5A5A540002000000401F0000000041");
    local.agent.WaitLog("Old plugin no plugin state notice.");
    for (int i = 1; i <= 5; i++) {
        local.manager.Command("report 84 {\"n\":5}");
        EXPECT_EQ("0" + std::to_string(i) + "00",
                  local.platform.Wait("upload", {{"datatype", "84"}}).Text("payload").substr(0, 4));
    }
}

TEST_F(LocalTrouble, TheAnswerToADutyIsNotTheAnswerToACommand)
{
    LocalSession local;
    local.manager.Set("misbehave late@mesh=0.3 1"); // six seconds
    local.platform.Command("mesh");
    local.manager.Wait("request", {{"name", "mesh"}});
    local.manager.Command("frame set-auto-report hex=0000");
    local.manager.Command("frame auto-report-config hex=007b20207d");
    EXPECT_EQ("on", local.platform.Wait("reply").Text("fields.switch"));
    EXPECT_EQ(1u, local.manager.Count("answered", {{"name", "mesh"}}));
}

TEST_F(LocalTrouble, FramesBeyondTheQueuesRoomAreLostAndTheNextOneCounts)
{
    LocalSession local;
    local.manager.Command("burst 20 report 86 {\"n\":1}");
    local.agent.WaitLog("reveive data err=-2");
    for (int i = 0; i < 9; i++) local.platform.Wait("upload", {{"datatype", "86"}});
    local.Tell("plugin-state old"); // after all frames that had room
    local.session.ExpectAnswers();
    EXPECT_EQ(20u, local.platform.Count("upload", {{"datatype", "86"}}) + local.agent.CountLog("reveive data err=-2"));
}

// ---- Connections

TEST_F(LocalTrouble, APeerThatLeavesDuringARequestMayReconnect)
{
    LocalSession local;
    for (const char *way : {"disconnect", "close-mid-frame"}) {
        SCOPED_TRACE(way);
        const size_t closed = local.agent.CountLog("Close link.");
        local.manager.Set("misbehave " + std::string(way) + "@mesh 1");
        local.manager.Mark();
        EXPECT_EQ("1", local.Ask("mesh").Text("status"));
        EXPECT_EQ(closed + 1, local.agent.CountLog("Close link."));
        local.manager.Wait("disconnected", {{"by", "manager"}});
        local.manager.Wait("connected");
        EXPECT_EQ("on", local.Ask("mesh").Text("fields.switch"));
    }
    EXPECT_EQ(0u, local.agent.CountLog("link quntity is large."));
}

TEST_F(LocalTrouble, TheManagerReconnectsToARestartedAgent)
{
    Manager manager;
    EXPECT_EQ("there is no socket", manager.Wait("waiting").Text("reason"));
    Platform platform;
    {
        Agent agent;
        manager.Wait("connected");
    }
    manager.Wait("disconnected", {{"by", "agent"}});
    Agent agent;
    manager.Wait("connected");
    platform.WaitSession();
    platform.Command("mesh");
    EXPECT_EQ("on", platform.Wait("reply").Text("fields.switch"));
}

TEST_F(LocalTrouble, PeersThatSendNothingCostNothing)
{
    RunningSession session;
    size_t from = 0;
    for (int i = 0; i < 5; i++) {
        BarePeer();
        from = session.agent.WaitLog("release ok", session.agent.WaitLog("Close link.", from).number).number + 1;
    }
    const double before = ProcessorTime(session.agent);
    for (int i = 0; i < 2; i++) session.platform.Wait("heartbeat"); // a second and more
    EXPECT_LT(ProcessorTime(session.agent) - before, 0.2);
    Manager manager;
    manager.Wait("connected");
    session.platform.Command("mesh");
    EXPECT_EQ("on", session.platform.Wait("reply").Text("fields.switch"));
}

TEST_F(LocalTrouble, ASecondPeerIsRefusedAndAThirdWaitsFiveSeconds)
{
    LocalSession local;
    BarePeer second;
    EXPECT_TRUE(second.IsShutOut(kPatience));
    const LogEntry first = local.agent.WaitLog("link quntity is large.");
    BarePeer third;
    EXPECT_TRUE(third.IsShutOut(kPatience));
    const LogEntry last = local.agent.WaitLog("link quntity is large.", first.number + 1);
    EXPECT_GE(last.time - first.time, 4); // whole seconds: five may show as four
    EXPECT_LE(last.time - first.time, 15);
    EXPECT_EQ("on", local.Ask("mesh").Text("fields.switch")); // the first one has not noticed
}

// The agent's time runs so fast that its pause of a second between two peers is five milliseconds.
TEST_F(LocalTrouble, AThousandPeersInARowLeakNothing)
{
    AgentOptions options;
    options.clock = 200;
    RunningSession session(options);
    Holdings early = {};
    LogEntry released = {};
    const int peers = 1000;
    for (int i = 1; i <= peers; i++) {
        BarePeer();
        released = session.agent.WaitLog("release ok", i == 1 ? 0 : released.number + 1);
        if (i == 50) early = HoldingsOf(session.agent);
    }
    const Holdings late = HoldingsOf(session.agent);
    EXPECT_EQ(early.threads, late.threads);
    EXPECT_LE(late.descriptors, early.descriptors);
    EXPECT_GT(early.memoryKb, 0);
    // A sanitizer keeps what has been freed.
    if (!AgentIsSanitized()) {
        EXPECT_LE(late.memoryKb, early.memoryKb + 64);
    }
    EXPECT_EQ(0u, session.agent.CountLog("link quntity is large."));
}

} // namespace
