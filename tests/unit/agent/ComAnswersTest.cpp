// To which request a frame of the local peer is the answer: late answers, long answers, one request at a time.
#include "tests/unit/agent/ComRequestsTest.h"

#include <thread>

#include "comm/AutoReport.h"
#include "comm/FuncIdList.h"

using ComAnswers = ComRequestsTest;

// ---- Answers that come late, or to something else ----

TEST_F(ComAnswers, AnAnswerBeforeTheRequestDoesNotCount)
{
    AskedPeer::Answer(0, Hex("01"));
    FakeClockAuto(true);
    uint8_t on = 0xEE;
    EXPECT_EQ(1, ComF_get_mesh_switch(&on));
    EXPECT_EQ(0xEE, on);
    EXPECT_EQ(10000, OsNowMs());
}

TEST_F(ComAnswers, ALateAnswerCountsForTheNextRequestThatWaits)
{
    FakeClockAuto(true);
    uint8_t on = 0xEE;
    EXPECT_EQ(1, ComF_get_mesh_switch(&on));
    FakeClockAuto(false);
    peer.Frame();
    int result = -1;
    Exchange([&] { return ComF_get_mesh_roaming_switch(&on); }, 0, Hex("01"),
             &result); // meant for the previous request
    EXPECT_EQ(0, result);
    EXPECT_EQ(1, on);
}

TEST_F(ComAnswers, AFrameThatIsNoAnswerEndsTheWaitWithThePreviousAnswer)
{
    AskedPeer::Answer(0, Hex("05"));
    uint8_t on = 0xEE;
    auto asked = std::async(std::launch::async, [&] { return ComF_get_mesh_switch(&on); });
    peer.Frame();
    AskedPeer::Report();
    EXPECT_EQ(0, asked.get());
    EXPECT_EQ(5, on);
}

// ---- Longer answers ----

TEST_F(ComAnswers, AnAnswerHasAsManyBytesAsCame)
{
    uint8_t out[8];
    memset(out, 0xEE, sizeof out);
    uint32_t came = 99;
    const auto ask = [&] { return ComF_get_bssid(out, sizeof out, &came); };
    int result = -1;
    Exchange(ask, 0, Hex("01 02 03"), &result);
    EXPECT_EQ(0, result);
    EXPECT_EQ(3u, came);
    EXPECT_EQ(Hex("01 02 03 EE EE EE EE EE"), Bytes(out, out + 8));
    Exchange(ask, 0, {}, &result);
    EXPECT_EQ(0u, came);
}

TEST_F(ComAnswers, AnAnswerIsCutToTheRoomOfTheCaller)
{
    uint8_t out[8];
    memset(out, 0xEE, sizeof out);
    uint32_t came = 99;
    int result = -1;
    Exchange([&] { return ComF_get_mesh_topology(out, 2, &came); }, 0, Hex("01 02 03"), &result);
    EXPECT_EQ(2u, came);
    EXPECT_EQ(Hex("01 02 EE"), Bytes(out, out + 3));
}

TEST_F(ComAnswers, AnAnswerIsNeverReadPastItsBuffer)
{
    static uint8_t out[0x10000];
    uint32_t came = 0;
    const auto askAndReport = [&] {
        auto asked = std::async(std::launch::async, [&] { return ComF_get_bssid(out, sizeof out, &came); });
        peer.Frame();
        AskedPeer::Report();
        EXPECT_EQ(0, asked.get());
        return came;
    };
    rxData[1] = rxData[2] = 0xFF;
    EXPECT_EQ(kRxDataSize - 3, askAndReport());
    rxData[1] = rxData[2] = 0; // as after an answer with no bytes at all
    EXPECT_EQ(0u, askAndReport());
}

// ---- One request at a time ----

TEST_F(ComAnswers, ASecondRequesterWaitsForTheFirstOnesAnswer)
{
    uint8_t on = 0xEE;
    auto command = std::async(std::launch::async, [&] { return ComF_get_mesh_switch(&on); });
    EXPECT_EQ(Hex("5A5A 4900 01000000 01000000 6900 69"), peer.Frame());
    auto duty = std::async(std::launch::async, ComF_get_autoreport_conf);
    FakeClockAwaitWaiters(2);
    EXPECT_TRUE(peer.NothingSent());
    AskedPeer::Say(FUNCID_MESH, Hex("00 05"));
    EXPECT_EQ(0, command.get());
    EXPECT_EQ(5, on);
    EXPECT_EQ(Hex("5A5A E503 02000000 01000000 6900 69"), peer.Frame());
    auto next = std::async(std::launch::async, [&] { return ComF_get_mesh_switch(&on); });
    FakeClockAwaitWaiters(2);
    EXPECT_TRUE(peer.NothingSent()) << "nor the other way round";
    AskedPeer::Say(FUNCID_AUTO_REPORT_CONFIG, Hex("00 7B 20 20 7D"));
    EXPECT_EQ(0, duty.get());
    EXPECT_EQ(Hex("5A5A 4900 03000000 01000000 6900 69"), peer.Frame());
    AskedPeer::Say(FUNCID_MESH, Hex("00 06"));
    EXPECT_EQ(0, next.get());
    EXPECT_EQ(6, on);
    EXPECT_EQ(0, OsNowMs());
}

TEST_F(ComAnswers, AfterATimeoutTheNextRequestIsMade)
{
    auto scan = std::async(std::launch::async, AskForMore<ComF_get_adj_wifi_info>);
    peer.Frame();
    auto duty = std::async(std::launch::async, ComF_get_autoreport_conf);
    FakeClockAwaitWaiters(2);
    FakeClockAdvanceMs(60000);
    EXPECT_EQ(1, scan.get());
    EXPECT_EQ(Hex("5A5A E503 02000000 01000000 6900 69"), peer.Frame());
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(10000, FakeClockNextDeadlineMs()) << "its time begins with its turn";
    AskedPeer::Say(FUNCID_AUTO_REPORT_CONFIG, Hex("01"));
    duty.get();
}

TEST_F(ComAnswers, ACalibrationWaitsForItsTurnToo)
{
    AutoReportConfSet({100, 0, 5, 0, 30, ""});
    auto scan = std::async(std::launch::async, AskForMore<ComF_get_adj_wifi_info>);
    peer.Frame();
    auto duty = std::async(std::launch::async, ComF_send_calibration);
    FakeClockAwaitWaiters(2);
    EXPECT_TRUE(peer.NothingSent());
    AutoReportConfSet({100, 0, 6, 0, 30, ""}); // it sends the configuration of the moment when its turn comes
    AskedPeer::Answer(0, {});
    scan.get();
    duty.get();
    EXPECT_EQ(0u, peer.Payload().find("{\"interval1\":6,"));
    AutoReportConfSet(AutoReportConf());
}

TEST_F(ComAnswers, TheEndOfTheSessionEndsTheWaitForATurn)
{
    auto scan = std::async(std::launch::async, AskForMore<ComF_get_adj_wifi_info>);
    peer.Frame();
    auto duty = std::async(std::launch::async, ComF_get_autoreport_conf);
    FakeClockAwaitWaiters(2);
    SetSessionFlag(mQuitPro, 1); // the main thread waits there and has to end the session
    EXPECT_EQ(1, duty.get());
    EXPECT_TRUE(peer.NothingSent());
    SetSessionFlag(mQuitPro, 0);
    AskedPeer::Answer(0, {});
    EXPECT_EQ(0, scan.get());
}

TEST_F(ComAnswers, TheEndOfTheServerEndsBothWaits)
{
    auto scan = std::async(std::launch::async, AskForMore<ComF_get_adj_wifi_info>);
    peer.Frame();
    auto duty = std::async(std::launch::async, ComF_get_autoreport_conf);
    FakeClockAwaitWaiters(2);
    CommRun = 0;
    {
        OsGuard guard(&gCommAnswer);
        OsWakeAll(&gCommAnswer);
    }
    EXPECT_EQ(1, scan.get());
    EXPECT_EQ(1, duty.get());
    EXPECT_TRUE(peer.NothingSent());
}

TEST_F(LinkedTest, TheEndOfTheSessionEndsBothWaitsForTheAskedPeer)
{
    AskedPeer local;
    auto scan = std::async(std::launch::async, AskForMore<ComF_get_adj_wifi_info>);
    local.Frame();
    auto other = std::async(std::launch::async, [] { return ComF_get_mesh_switch(s_wan); });
    FakeClockAwaitWaiters(3); // these two, and the response thread for frames
    Unlink();
    EXPECT_EQ(1, scan.get());
    EXPECT_EQ(1, other.get());
    EXPECT_TRUE(local.NothingSent());
}

// ---- What duties ask and commands do not ----

TEST_F(ComAnswers, FramesOf88And997DoNotEndTheWaitForAnotherAnswer)
{
    uint8_t on = 0xEE;
    auto asked = std::async(std::launch::async, [&] { return ComF_get_mesh_switch(&on); });
    peer.Frame();
    FakeClockAwaitSleepers(1);
    AskedPeer::Say(FUNCID_SET_AUTO_REPORT, Hex("00 07"));
    EXPECT_EQ(0, CommReceived);
    AskedPeer::Say(FUNCID_AUTO_REPORT_CONFIG, Hex("00 7B 20 20 7D"));
    EXPECT_EQ(0, CommReceived);
    AskedPeer::Say(FUNCID_MESH, Hex("03"));
    EXPECT_EQ(3, asked.get());
    EXPECT_NE(7, on) << "nor is what they bring its answer";
}

TEST_F(ComAnswers, AFrameOf997DoesNotRevokeTheAnswerToAnotherRequest)
{
    const CommTurn turn(73);
    AskedPeer::Say(FUNCID_MESH, Hex("00 05"));
    AskedPeer::Say(FUNCID_AUTO_REPORT_CONFIG, Hex("00 7B 20 20 7D"));
    EXPECT_EQ(1, CommReceived);
}

TEST_F(ComAnswers, FramesOf88And997EndTheWaitForTheirOwn)
{
    AutoReportConf before = AutoReportConfNow();
    auto set = std::async(std::launch::async, [] { return ComF_set_auto_report(R"({"referNum":5})", 14); });
    peer.Frame();
    AskedPeer::Say(FUNCID_AUTO_REPORT_CONFIG, Hex("00 7B 20 20 7D"));
    EXPECT_EQ(0, CommReceived);
    AskedPeer::Say(FUNCID_SET_AUTO_REPORT, Hex("04"));
    EXPECT_EQ(4, set.get());
    auto get = std::async(std::launch::async, ComF_get_autoreport_conf);
    peer.Frame();
    AskedPeer::Say(FUNCID_SET_AUTO_REPORT, Hex("00"));
    EXPECT_EQ(0, CommReceived);
    AskedPeer::Say(FUNCID_AUTO_REPORT_CONFIG, Hex("00 7B 20 20 7D"));
    get.get();
    AutoReportConfSet(before);
}
