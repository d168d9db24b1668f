// Frames that arrive in pieces, in heaps, damaged or among rubbish.
#include "tests/e2e/EndToEnd.h"

namespace
{
class Frames : public EndToEnd
{
};

const int kVersionFrame = 39; // bytes of the command "version"

// The little-endian number that a reply's tag is, "0a00" for 10.
int Tag(const Event &reply)
{
    const std::string tag = reply.Text("tag");
    return std::stoi(tag.substr(2, 2) + tag.substr(0, 2), nullptr, 16);
}

std::string Misbehave(const std::string &what, const std::string &value)
{
    return "misbehave " + what + "@command=" + value + " 1";
}

TEST_F(Frames, AFunctionCommandWithAWrongChecksumIsAnsweredWithHeadValue11AndNotExecuted)
{
    RunningSession session;
    session.platform.Set("misbehave bad-checksum@command 1");
    session.platform.Command("identity");
    const Event reply = session.platform.Wait("reply");
    EXPECT_EQ("11", reply.Text("head.ack"));
    EXPECT_EQ("26", reply.Text("msgtype"));
    EXPECT_EQ("0", reply.Text("body_length"));
    EXPECT_EQ("true", reply.Text("checksum_ok"));
    EXPECT_FALSE(Contains(ReadFile(kCallLog), "get_cpu_cfg("));
    session.platform.Command("identity");
    EXPECT_EQ("0", session.platform.Wait("reply").Text("status"));
    EXPECT_TRUE(Contains(ReadFile(kCallLog), "get_cpu_cfg("));
}

TEST_F(Frames, APluginCommandWithAWrongChecksumIsAnsweredWithHeadValue11)
{
    RunningSession session;
    session.platform.Set("misbehave bad-checksum@command 1");
    session.platform.Command("plugin 250 {}");
    const Event reply = session.platform.Wait("ack");
    EXPECT_EQ("11", reply.Text("head.ack"));
    EXPECT_EQ("25", reply.Text("msgtype"));
    EXPECT_EQ("0", reply.Text("body_length"));
    session.platform.Command("plugin 250 {}");
    EXPECT_EQ("{\"result\":0}", session.platform.Wait("ack").Text("text")); // and no other one before it
}

TEST_F(Frames, ACommandMayBeSplitAnywhere)
{
    RunningSession session;
    for (int size = 1; size < kVersionFrame; size++) {
        session.platform.Set(Misbehave("fragments", std::to_string(size) + ",3"));
        session.platform.Command("version");
        EXPECT_EQ(std::to_string(kVersionFrame), session.platform.Wait("sent").Text("length"));
        EXPECT_EQ("true", session.platform.Wait("reply", {{"function", "1"}}).Text("matched")) << size;
    }
    EXPECT_EQ(0u, session.platform.Count("disconnected", {{"server", "login"}}));
}

TEST_F(Frames, ACommandMayComeWithOneByteASecond)
{
    AgentOptions options;
    options.clock = 50;
    RunningSession session(options);
    session.platform.Set(Misbehave("drip", "20"));
    session.platform.Command("version");
    EXPECT_EQ("0", session.platform.Wait("reply", {{"function", "1"}}).Text("status"));
    EXPECT_EQ(1u, session.platform.Count("login"));
}

TEST_F(Frames, AHundredCommandsInOnePieceAreAnsweredInTheirOrder)
{
    RunningSession session;
    session.platform.Command("burst 100 version");
    int last = Tag(session.platform.Wait("reply"));
    for (int i = 1; i < 100; i++) {
        const int tag = Tag(session.platform.Wait("reply", {{"status", "0"}}));
        EXPECT_EQ(last + 1, tag);
        last = tag;
    }
    EXPECT_EQ(100u, session.platform.Count("reply"));
}

TEST_F(Frames, BytesBetweenFramesAreSkipped)
{
    RunningSession session;
    session.platform.Set("misbehave garbage@command=1000 20");
    session.platform.Command("flood 20 version");
    for (int i = 0; i < 20; i++) session.platform.Wait("reply", {{"function", "1"}, {"status", "0"}});
    EXPECT_EQ(1u, session.platform.Count("login"));
}

TEST_F(Frames, AHeaderThatAnnouncesMoreThanABodyCanHaveIsSkipped)
{
    RunningSession session;
    session.platform.Command("raw ccdd140000ffff"); // 65535 bytes
    session.platform.Command("raw ccdd140000e505"); // 1509 bytes
    session.ExpectAnswers();
}

TEST_F(Frames, AHeaderWithoutItsBodySwallowsNoMoreThanItAnnounces)
{
    RunningSession session;
    session.platform.Command("raw ccdd140000e803"); // 1000 bytes: 25 commands and a piece of the next
    session.platform.Command("burst 40 version");
    for (int i = 0; i < 14; i++) session.platform.Wait("reply", {{"function", "1"}, {"status", "0"}});
    session.ExpectAnswers();
}

TEST_F(Frames, AFullQueueLosesWhatFollowsAndKeepsTheConnection)
{
    AgentOptions options;
    options.clock = 10; // the session outlives the silence while the queue is filled
    RunningSession session(options);
    const std::string connection = session.platform.Wait("heartbeat").Text("conn");
    // An acknowledgement among the bytes would drop those before it.
    for (const char *step : {"heartbeat", "upload"}) session.platform.Set(std::string("misbehave silent@") + step);
    for (int i = 0; i < 8; i++) session.platform.Command("raw " + std::string(2 * 204800 / 8, '0'));
    session.platform.Set("misbehave off");
    // The agent goes on talking but hears nothing, which it notices after a minute.
    session.platform.Wait("heartbeat", {{"conn", connection}});
    const LogEntry lost = session.agent.WaitLog("over flow");
    session.platform.Wait("heartbeat", {{"conn", connection}});
    session.agent.WaitLog("heart beep error", lost.number);
    EXPECT_EQ(1u, session.platform.Count("login"));
    session.platform.WaitSession();
    session.ExpectAnswers();
}

TEST_F(Frames, APlatformThatPausesItsReadingReceivesOnlyWholeFrames)
{
    const size_t commands = 4000;
    RunningSession session;
    session.platform.Set("misbehave deaf@command=1.5 1"); // 30 s for the agent
    session.platform.Command("burst " + std::to_string(commands) + " version");
    session.agent.WaitLog("mTcpConnectServer->sendData error"); // its socket is full
    session.platform.Set("identity");                           // the last command, and the last reply
    session.platform.Wait("reply", {{"function", "2"}, {"status", "0"}});
    const size_t refused = session.agent.CountLog("mTcpConnectServer->sendData error");
    EXPECT_GE(session.platform.Count("reply", {{"function", "1"}, {"status", "0"}}) + refused, commands);
    EXPECT_EQ(0u, session.platform.Count("bad-frame"));
    EXPECT_EQ(0u, session.platform.Count("bad-checksum"));
    EXPECT_EQ(1u, session.platform.Count("login"));
}

TEST_F(Frames, MoreRubbishThanTheQueueHoldsDoesNotEndTheSession)
{
    RunningSession session;
    session.platform.Set(Misbehave("garbage", "300000"));
    session.platform.Command("version");
    session.agent.WaitLog("over flow");
    // The first short frame that finds room takes the rubbish before it away.
    session.platform.Wait("heartbeat");
    session.platform.Wait("heartbeat");
    session.ExpectAnswers();
    EXPECT_EQ(1u, session.platform.Count("login"));
}

// Whether one of many commands is answered; the header of a frame in noise may still swallow a body's worth of them.
bool AnswersOneOfMany(Platform *platform)
{
    try {
        platform->Command("flood 60 version");
        platform->Wait("reply", {{"function", "1"}, {"status", "0"}}, 3);
        return true;
    } catch (const Failure &) { // no session at the moment, or a deaf one
        return false;
    }
}

TEST_F(Frames, MegabytesOfNoiseDoNotEndTheAgent)
{
    RunningSession session;
    session.platform.Set(Misbehave("noise", "4"));
    session.platform.Command("version");
    session.agent.WaitLog("over flow");
    // Where the reads of a busy machine fill the queue to the last byte, not even the shortest frame comes in any
    // more. The agent notices that after a minute, 3 seconds here, and begins another session.
    bool answers = false;
    for (int tries = 0; tries < 10 && !answers; tries++) {
        session.platform.Wait("heartbeat");
        answers = AnswersOneOfMany(&session.platform);
    }
    EXPECT_TRUE(answers);
    EXPECT_TRUE(session.agent.Runs());
    session.ExpectAnswers();
}

TEST_F(Frames, ACommandInAnotherKeyIsRefused)
{
    RunningSession session;
    session.platform.Set("misbehave wrong-key@command 2");
    session.platform.Command("version");
    EXPECT_EQ("11", session.platform.Wait("reply").Text("head.ack"));
    session.platform.Command("plugin 250 {}");
    EXPECT_EQ("11", session.platform.Wait("ack").Text("head.ack"));
    session.ExpectAnswers();
}

TEST_F(Frames, APayloadThatWouldEndBehindItsRecordIsRefused)
{
    RunningSession session;
    for (const char *excess : {"23", "1000", "65000"}) { // with 22 it would end in the padding
        session.platform.Set(Misbehave("inner-length", excess));
        session.platform.Command("version");
        const Event reply = session.platform.Wait("reply");
        EXPECT_EQ("length error", reply.Text("text")) << excess;
        EXPECT_EQ("0", reply.Text("head.ack")) << excess;
        session.platform.Set(Misbehave("inner-length", excess));
        session.platform.Command("plugin 250 {}");
        const Event result = session.platform.Wait("ack");
        EXPECT_EQ("{\"result\":-1}", result.Text("text")) << excess;
        EXPECT_EQ("65535", result.Text("head.ack")) << excess;
    }
    session.ExpectAnswers();
}

TEST_F(Frames, BodiesOfEveryLengthLeaveTheSessionUndisturbed)
{
    RunningSession session;
    for (const char *type : {"2", "11", "18", "20", "25", "26", "31"}) {
        std::string body;
        for (int length = 0; length <= 40; length++, body += "5a")
            session.platform.Set("frame " + std::string(type) + " head=0000" + (length > 0 ? " body=" + body : ""));
        session.ExpectAnswers();
    }
    EXPECT_EQ(1u, session.platform.Count("login"));
    EXPECT_EQ(0u, session.platform.Count("bad-frame"));
}

TEST_F(Frames, TheLongestHeadAndBodyThatFitAreTaken)
{
    RunningSession session;
    session.platform.Command("function 1 " + std::string(2 * 1400, '0'));
    EXPECT_EQ("0", session.platform.Wait("reply", {{"function", "1"}}).Text("status"));
    session.platform.Command("frame 31 head=" + std::string(2 * 255, '0') + " body=" + std::string(2 * 1508, '1'));
    session.ExpectAnswers();
}

TEST_F(Frames, ADuplicatedCommandIsAnsweredTwice)
{
    RunningSession session;
    session.platform.Set("misbehave duplicate@command 1");
    session.platform.Command("version");
    const int first = Tag(session.platform.Wait("reply", {{"function", "1"}}));
    EXPECT_EQ(first, Tag(session.platform.Wait("reply", {{"function", "1"}})));
}

TEST_F(Frames, UnknownMessageTypesAreIgnored)
{
    RunningSession session;
    for (int type : {0, 1, 4, 9, 10, 17, 19, 21, 24, 27, 28, 29, 30, 31})
        session.platform.Set("frame " + std::to_string(type) + " plain=0000010000");
    session.platform.Mark();
    session.platform.Command("version");
    EXPECT_EQ("1", session.platform.Wait("reply").Text("function"));
    EXPECT_EQ(1u, session.platform.Count("reply"));
    EXPECT_EQ(0u, session.platform.Count("ack"));
}
} // namespace
