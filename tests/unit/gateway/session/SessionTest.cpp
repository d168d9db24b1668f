// Once a router is logged in: heartbeats, reports, questions, the end.
#include "tests/unit/gateway/session/SessionTest.h"

using namespace gateway;
using namespace protocol;

TEST_F(SessionTest, HeartbeatsKeepASessionAndSilenceForThreeIntervalsEndsIt)
{
    GoOnline();
    for (int i = 0; i < 5; i++) {
        After(179);
        ASSERT_EQ("", outlet.ended);
        Heartbeat();
    }
    EXPECT_EQ(5u, outlet.frames.size());
    After(180);
    EXPECT_EQ("silent", outlet.ended);
    EXPECT_EQ("offline silent", world.told.back());
    EXPECT_EQ(1, world.counters.endedSilent.Get());
    EXPECT_EQ(0, world.counters.sessions.Get());
}

TEST_F(SessionTest, ADamagedFrameIsDroppedAndCounted)
{
    GoOnline();
    Give(MSG_UP, FLAG_UP, {}, InnerRecordBytes(13, {}, ToBytes("{}")), "another key");
    EXPECT_EQ(1, world.counters.framesBad.Get());
    EXPECT_TRUE(world.stored.empty());
    EXPECT_EQ("", outlet.ended);
}

TEST_F(SessionTest, AReportIsAcknowledgedOnceItIsStored)
{
    GoOnline();
    Upload();
    ASSERT_EQ(1u, world.stored.size());
    EXPECT_EQ("rules-request", world.stored[0].report.name);
    EXPECT_TRUE(outlet.frames.empty());
    session->ReportStored(MSG_UP, true);
    ASSERT_EQ(1u, outlet.frames.size());
    EXPECT_EQ(MSG_ACK, outlet.Last().header.msgType);
    EXPECT_EQ(0, outlet.Last().header.bodyLen);
    session->ReportStored(MSG_UP_MAC, true);
    EXPECT_EQ(MSG_ACK_MAC, outlet.Last().header.msgType);
}

TEST_F(SessionTest, AReportThatIsNotStoredIsNotAcknowledged)
{
    GoOnline();
    Upload();
    session->ReportStored(MSG_UP, false);
    EXPECT_TRUE(outlet.frames.empty());
}

TEST_F(SessionTest, ReportsAreNumberedAndBounded)
{
    world.settings.reportsOutstanding = 2;
    GoOnline();
    for (int i = 0; i < 3; i++) Upload();
    ASSERT_EQ(2u, world.stored.size());
    EXPECT_EQ(1u, world.stored[0].number);
    EXPECT_EQ(2u, world.stored[1].number);
    EXPECT_EQ(1, world.counters.reportsRefused.Get());
    session->ReportStored(MSG_UP, true);
    Upload();
    ASSERT_EQ(3u, world.stored.size());
    EXPECT_EQ(3u, world.stored[2].number);
}

TEST_F(SessionTest, AQuestionIsAnsweredByItsReply)
{
    GoOnline();
    Ask(15);
    ASSERT_EQ(1u, outlet.frames.size());
    EXPECT_EQ(MSG_FUNCTION_COMMAND, outlet.Last().header.msgType);
    EXPECT_EQ(Bytes(std::begin(kMac), std::end(kMac)), outlet.Last().mac);
    now += std::chrono::milliseconds(12);
    Reply(15);
    ASSERT_EQ(1u, answers.size());
    EXPECT_TRUE(answers[0]["ok"].get<bool>());
    EXPECT_EQ("set-ssid-switch", answers[0]["function"]);
    EXPECT_EQ(0, answers[0]["status"]);
    EXPECT_EQ(12.0, answers[0]["ms"].get<double>());
    EXPECT_EQ(0, world.counters.questionsWaiting.Get());
}

TEST_F(SessionTest, AReplyWithAnotherTagIsNobodys)
{
    GoOnline();
    Ask(15);
    Reply(15, 1);
    EXPECT_TRUE(answers.empty());
    EXPECT_EQ(1, world.counters.repliesUnmatched.Get());
}

TEST_F(SessionTest, QuestionsArePutOneAfterAnother)
{
    GoOnline();
    Ask(15);
    Ask(19);
    EXPECT_EQ(1u, outlet.frames.size());
    Reply(15);
    EXPECT_EQ(2u, outlet.frames.size());
    Reply(19);
    ASSERT_EQ(2u, answers.size());
    EXPECT_EQ("set-radio-switch", answers[1]["function"]);
}

TEST_F(SessionTest, AQuestionWithoutAReplyIsGivenUpAndTheNextIsPut)
{
    GoOnline();
    Ask(15);
    Ask(19);
    After(20);
    ASSERT_EQ(1u, answers.size());
    EXPECT_EQ("no_answer", ErrorOf(0));
    EXPECT_EQ(2u, outlet.frames.size());
}

TEST_F(SessionTest, TooManyQuestionsAreRefusedAtOnce)
{
    world.settings.questionsWaiting = 2;
    GoOnline();
    for (int i = 0; i < 3; i++) Ask(15);
    ASSERT_EQ(1u, answers.size());
    EXPECT_EQ("busy", ErrorOf(0));
}

TEST_F(SessionTest, TheEndOfTheSessionAnswersAllQuestions)
{
    GoOnline();
    Ask(15);
    Ask(19);
    outlet.End("router");
    ASSERT_EQ(2u, answers.size());
    EXPECT_EQ("offline", ErrorOf(0));
    EXPECT_EQ("offline", ErrorOf(1));
    EXPECT_EQ(0, world.counters.questionsWaiting.Get());
}

TEST_F(SessionTest, ACommandIsAnsweredWithItsResult)
{
    GoOnline();
    Command(4);
    EXPECT_EQ(MSG_PLUG_COMMAND, outlet.Last().header.msgType);
    EXPECT_EQ(4, outlet.Last().dataType);
    Give(MSG_ACK, FLAG_ACK, {0xff, 0xff}, InnerRecordBytes(4, {}, ToBytes("{\"result\":-1}")));
    ASSERT_EQ(1u, answers.size());
    EXPECT_EQ(-1, answers[0]["result"].get<int>());
}

TEST_F(SessionTest, TheResultOfARateTestIsAReport)
{
    GoOnline();
    Give(MSG_ACK_MAC, FLAG_ACK, {0, 0},
         InnerRecordBytes(62, Bytes(std::begin(kMac), std::end(kMac)), {0, 0, 62, 0, 0, 0, 1, 0, 0, 0}));
    ASSERT_EQ(1u, world.stored.size());
    session->ReportStored(MSG_ACK_MAC, true);
    EXPECT_TRUE(outlet.frames.empty()); // a reply is not acknowledged
}

TEST_F(SessionTest, ADrainEndsItAtItsTime)
{
    GoOnline();
    session->DrainAt(now + seconds(5));
    After(4);
    EXPECT_EQ("", outlet.ended);
    After(1);
    EXPECT_EQ("drain", outlet.ended);
    EXPECT_EQ(1, world.counters.endedDrain.Get());
}

TEST_F(SessionTest, ASecondLoginOnTheSameConnectionEndsIt)
{
    GoOnline();
    Login(Token());
    EXPECT_EQ("bad_frame", outlet.ended);
}

TEST_F(SessionTest, AfterTheEndNothingIsHeard)
{
    GoOnline();
    outlet.End("replaced");
    Upload();
    After(1000);
    EXPECT_TRUE(world.stored.empty());
    EXPECT_EQ(std::vector<std::string>({"online R1", "offline replaced"}), world.told);
}
