// Commands that take longer than a platform may be silent: what it sends meanwhile waits in the queue.
#include <chrono>
#include <thread>

#include "tests/e2e/Diagnostics.h"
#include "tests/e2e/LocalSession.h"
#include "tests/support/HttpServer.h"

namespace
{
constexpr int kPing = 8, kPingResult = 9;

class LongCommand : public DiagnosticsTest
{
};

// Lets the platform see heartbeats of `seconds`. A session lost meanwhile shows in the login that follows.
void PassHeartbeats(Platform *platform, double seconds)
{
    const double begin = platform->Wait("heartbeat").Number("head.time");
    while (platform->Wait("heartbeat").Number("head.time") < begin + seconds) {
    }
}

void ExpectTheFirstSession(RunningSession *session)
{
    EXPECT_EQ(0u, session->agent.CountLog("heart beep error"));
    session->ExpectAnswers();
    EXPECT_EQ(1u, session->platform.Count("login"));
}

// The wait for the first acknowledgement: before it nothing is held against a platform.
void AwaitAcknowledgement(RunningSession *session)
{
    session->agent.WaitLog("heart beat ack");
}

// A ping that lasts until it is released, and occupies the response thread.
void BeginEndlessPing(RunningSession *session)
{
    EXPECT_EQ(0, Ask(&session->platform, kPing, PingParameters("10.77.2.2", 56, 84)).status);
    Send(&session->platform, kPingResult);
}

TEST_F(LongCommand, AWaitForAPingOf84SecondsCostsNoSession)
{
    FakeProgram ping("ping", "@wait");
    RunningSession session(WithFakes(50));
    AwaitAcknowledgement(&session);
    BeginEndlessPing(&session);
    PassHeartbeats(&session.platform, 84);
    ping.LetGo();
    EXPECT_EQ(1, AwaitReply(&session.platform, kPingResult).status); // the result itself comes with the next request
    ExpectTheFirstSession(&session);
}

TEST_F(LongCommand, APlatformThatFallsSilentDuringOneLosesTheSession)
{
    FakeProgram ping("ping", "@wait");
    RunningSession session(WithFakes(20));
    AwaitAcknowledgement(&session);
    BeginEndlessPing(&session);
    PassHeartbeats(&session.platform, 40);
    for (const char *step : {"heartbeat", "upload"}) session.platform.Set(std::string("misbehave silent@") + step);
    const double last = session.platform.Wait("heartbeat").Number("head.time"); // its acknowledgement is withheld
    const LogEntry end = session.agent.WaitLog("heart beep error");
    EXPECT_GE(end.time - last, 39); // 60 to 70 s after the acknowledgement before, which came an interval earlier
    EXPECT_LE(end.time - last, 53);
    session.platform.Set("misbehave off");
    session.platform.WaitSession();
    session.ExpectAnswers();
    ping.LetGo(); // it goes on, session or not
}

TEST_F(LongCommand, TwoRequestsToALocalPeerThatIsSilentForAMinuteCostNoSession)
{
    AgentOptions options;
    options.clock = 50;
    LocalSession local(options);
    local.manager.Set("misbehave silent@adjacent-wifi-info");
    AwaitAcknowledgement(&local.session);
    local.platform.Command("burst 2 adjacent-wifi-info");
    for (int i = 0; i < 2; i++) local.platform.Wait("reply", {{"function", "79"}, {"status", "1"}});
    ExpectTheFirstSession(&local.session);
}

TEST_F(LongCommand, AnUpdateOf100SecondsCostsNoSession)
{
    const size_t size = 300000;
    HttpServer server([](HttpConnection &connection) {
        connection.Send(HeaderFor(size));
        // 3 kB in a second of the agent's.
        for (size_t sent = 0; sent < size; sent += 3000) {
            connection.Send(Body(3000));
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        connection.AwaitEnd();
    });
    AgentOptions options;
    options.clock = 50;
    RunningSession session(options);
    AwaitAcknowledgement(&session);
    session.platform.Command("plugin 1 {\"pluginID\":\"router\",\"fromVersion\":\"2.0\",\"toVersion\":\"2.1\"}");
    session.platform.Wait("ack", {{"datatype", "1"}});
    session.platform.Command("plugin 2 {\"url\":\"http://127.0.0.1:" + std::to_string(server.Port()) +
                             "/agent\",\"fileLength\":1,\"fileMD5\":\"" + std::string(32, '0') + "\",\"token\":\"t\"}");
    session.platform.Wait("upload", {{"datatype", "3"}}, 60);
    session.platform.Wait("ack", {{"datatype", "2"}});
    ExpectTheFirstSession(&session);
}

TEST_F(LongCommand, AFrameWhoseBodyComesByteByByteCostsNoSession)
{
    AgentOptions options;
    options.clock = 50;
    RunningSession session(options);
    AwaitAcknowledgement(&session);
    session.platform.Set("misbehave drip@command=50 1"); // 2.5 s a byte for the agent
    session.platform.Command("version");
    session.platform.Wait("reply", {{"function", "1"}, {"status", "0"}});
    ExpectTheFirstSession(&session);
}

// ---- Where a thread stays

TEST_F(LongCommand, AnItemThatIsStayedOnLosesTheSessionThoughThePlatformTalksOn)
{
    RunningSession session;
    AwaitAcknowledgement(&session);
    session.platform.Command(
        "function 66 'text={\"LIST\":[{\"FLAG\":\"2\",\"MAC\":\"02:11:22:33:44:55\",\"UP\":\"1\",\"DOWN\":\"1\"}]}'");
    session.agent.WaitLog("Wrong tc rule param flag");
    session.agent.WaitLog("heart beep error");
    session.platform.WaitSession();
    session.ExpectAnswers();
}

TEST_F(LongCommand, AnUpdateWhoseServerClosedEarlyLosesTheSessionThoughThePlatformTalksOn)
{
    HttpServer server([](HttpConnection &connection) { connection.Send(HeaderFor(5000) + "half an agent"); });
    RunningSession session;
    AwaitAcknowledgement(&session);
    session.platform.Command("plugin 2 {\"url\":\"http://127.0.0.1:" + std::to_string(server.Port()) +
                             "/agent\",\"fileLength\":1,\"fileMD5\":\"" + std::string(32, '0') + "\",\"token\":\"t\"}");
    session.agent.WaitLog("lens = ");
    session.agent.WaitLog("heart beep error");
    session.platform.WaitSession(60);
    session.ExpectAnswers();
}

TEST_F(LongCommand, ARateTestWhoseServerClosedEarlyCostsNoSessionNorDoesACommandBesideIt)
{
    HttpServer server([](HttpConnection &connection) { connection.Send(HeaderFor(5000) + "half a file"); });
    FakeProgram ping("ping", "@wait");
    RunningSession session(WithFakes(50));
    AwaitAcknowledgement(&session);
    const std::string json = "{\"value_func61\":\"http://127.0.0.1:" + std::to_string(server.Port()) + "/file\"}";
    session.platform.Command("function 87 " + Hex16(static_cast<unsigned>(json.size())) + " text=" + json);
    session.agent.WaitLog("lens = ");
    BeginEndlessPing(&session);
    PassHeartbeats(&session.platform, 84);
    ping.LetGo();
    AwaitReply(&session.platform, kPingResult);
    ExpectTheFirstSession(&session);
}
} // namespace
