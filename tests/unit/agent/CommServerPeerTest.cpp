// The local server and its peer: reads, failures of the connection, sends.
#include <csignal>

#include "tests/unit/agent/CommServerTest.h"

#include "comm/FuncIdList.h"

namespace
{

const OsReadable F = OS_WAIT_FAILED;
const OsReadable R = OS_READABLE; // with nothing to read, so the read fails
const OsReadable T = OS_TIMED_OUT;

class CommServerPeer : public CommServer
{
  protected:
    static Bytes Part(const Bytes &frame, size_t begin, size_t end)
    {
        return Bytes(frame.begin() + static_cast<long>(begin), frame.begin() + static_cast<long>(end));
    }
};

} // namespace

// ---- What is read ----

TEST_F(CommServerPeer, AFrameIsHandledAtOnceAndTheNextTenMillisecondsLater)
{
    LocalPeer peer;
    Serve(&peer);
    EXPECT_TRUE(Answered(&peer, 1)); // although the clock does not advance
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(10, FakeClockNextDeadlineMs());
    CommReceived = 0;
    ASSERT_TRUE(peer.Send(LocalFrame(FUNCID_MESH_SUPPORT, 2, {0, 1})));
    FakeClockAdvanceMs(9);
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(0, CommReceived);
    FakeClockAdvanceMs(1);
    EXPECT_TRUE(Within([] { return CommReceived == 1; }));
}

TEST_F(CommServerPeer, AFrameThatFailsACheckPausesTheHandlerToo)
{
    LocalPeer peer;
    Serve(&peer);
    ASSERT_TRUE(peer.Send({1, 2, 3}));
    ASSERT_TRUE(AwaitLog("Receive length error, length is 3"));
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(10, FakeClockNextDeadlineMs());
}

TEST_F(CommServerPeer, SeveralFramesInOneReadAreHandledOneByOne)
{
    LocalPeer peer;
    Serve(&peer);
    FakeClockAuto(true);
    ASSERT_TRUE(peer.Send(LocalFrame(FUNCID_VERSION, 1, {0}) + LocalFrame(FUNCID_BASE_INFO, 2, {0, 1}) +
                          LocalFrame(FUNCID_WAN_CONFIG, 3, {0, 1, 2})));
    EXPECT_TRUE(AwaitLog("comm_get_wan_cfg"));
    EXPECT_EQ("comm_get_version\ncomm_get_base_info\ncomm_get_wan_cfg\n", Lines(AllLogged(), "CommHandleProc"));
}

TEST_F(CommServerPeer, AFurtherFrameThatIsCutOffIsCompletedByTheNextRead)
{
    LocalPeer peer;
    Serve(&peer);
    FakeClockAuto(true);
    const Bytes second = LocalFrame(FUNCID_BASE_INFO, 2, {0, 1, 2, 3, 4, 5});
    for (size_t cut = 1; cut < second.size(); cut++) {
        CommReceived = 0;
        ASSERT_TRUE(peer.Send(LocalFrame(FUNCID_VERSION, 1, {0}) + Part(second, 0, cut)));
        ASSERT_TRUE(AwaitLog("comm_get_version", cut));
        ASSERT_TRUE(peer.Send(Part(second, cut, second.size())));
        ASSERT_TRUE(AwaitLog("comm_get_base_info", cut)) << cut;
    }
    EXPECT_EQ(std::string::npos, AllLogged().find("error"));
}

TEST_F(CommServerPeer, FramesAfterACompletedFrameAreItemsOfTheirOwn)
{
    LocalPeer peer;
    Serve(&peer);
    FakeClockAuto(true);
    const Bytes second = LocalFrame(FUNCID_BASE_INFO, 2, {0, 1, 2, 3});
    ASSERT_TRUE(peer.Send(LocalFrame(FUNCID_VERSION, 1, {0}) + Part(second, 0, 9)));
    ASSERT_TRUE(AwaitLog("comm_get_version"));
    const Bytes third = LocalFrame(FUNCID_WAN_CONFIG, 3, {0});
    ASSERT_TRUE(peer.Send(Part(second, 9, 18) + third + Part(LocalFrame(FUNCID_WAN_CONFIGS, 4, {0, 1}), 0, 15)));
    ASSERT_TRUE(AwaitLog("comm_get_wan_cfg"));
    ASSERT_TRUE(
        peer.Send(Part(LocalFrame(FUNCID_WAN_CONFIGS, 4, {0, 1}), 15, 16))); // and its last one is completed, too
    EXPECT_TRUE(AwaitLog("comm_get_wans_cfg"));
    EXPECT_EQ("comm_get_version\ncomm_get_base_info\ncomm_get_wan_cfg\ncomm_get_wans_cfg\n",
              Lines(AllLogged(), "CommHandleProc"));
}

TEST_F(CommServerPeer, AFrameThatStaysCutOffSwallowsNoLaterFrame)
{
    LocalPeer peer;
    Serve(&peer);
    FakeClockAuto(true);
    // The declared length ends inside the next read, or far after it.
    const size_t announced[] = {20, 8000};
    uint32_t sequence = 0;
    size_t handled = 0;
    for (const size_t length : announced) {
        const Bytes half = Part(LocalFrame(FUNCID_REPORT_84, 1000, Bytes(length, 1)), 0, 17);
        ASSERT_TRUE(peer.Send(LocalFrame(FUNCID_VERSION, ++sequence, {0}) + half));
        ASSERT_TRUE(AwaitLog("comm_get_version", ++handled));
        ASSERT_TRUE(peer.Send(LocalFrame(FUNCID_BASE_INFO, sequence + 1, {0}) +
                              LocalFrame(FUNCID_WAN_CONFIG, sequence + 2, {0})));
        sequence += 2;
        EXPECT_TRUE(AwaitLog("comm_get_base_info", handled)) << length;
        EXPECT_TRUE(AwaitLog("comm_get_wan_cfg", handled)) << length;
        EXPECT_TRUE(Answered(&peer, ++sequence)) << length;
        EXPECT_EQ(handled, LoggedTimes("Receive  checkSum error.")) << "the half is an item of its own";
    }
}

TEST_F(CommServerPeer, AFurtherFrameIsNotWaitedForLongerThanOneRead)
{
    LocalPeer peer;
    Serve(&peer);
    FakeClockAuto(true);
    const Bytes second = LocalFrame(FUNCID_BASE_INFO, 2, {0, 1, 2, 3, 4, 5});
    ASSERT_TRUE(peer.Send(LocalFrame(FUNCID_VERSION, 1, {0}) + Part(second, 0, 8)));
    ASSERT_TRUE(AwaitLog("comm_get_version"));
    ASSERT_TRUE(peer.Send(Part(second, 8, 15)));
    EXPECT_TRUE(AwaitLog("Receive length error, length is 8"));
    EXPECT_TRUE(AwaitLog("Receive length error, length is 7"));
    ASSERT_TRUE(peer.Send(Part(second, 15, 20)));
    EXPECT_TRUE(AwaitLog("Receive length error, length is 5"));
    EXPECT_TRUE(Answered(&peer, 3));
}

TEST_F(CommServerPeer, ADamagedFrameIsCompletedToo)
{
    LocalPeer peer;
    Serve(&peer);
    FakeClockAuto(true);
    Bytes second = LocalFrame(FUNCID_BASE_INFO, 2, {0, 1, 2, 3});
    second.back() ^= 1;
    ASSERT_TRUE(peer.Send(LocalFrame(FUNCID_VERSION, 1, {0}) + Part(second, 0, 15)));
    ASSERT_TRUE(AwaitLog("comm_get_version"));
    ASSERT_TRUE(peer.Send(Part(second, 15, 18) + LocalFrame(FUNCID_WAN_CONFIG, 3, {0})));
    EXPECT_TRUE(AwaitLog("comm_get_wan_cfg")) << "the frame behind it begins where it ends";
    EXPECT_EQ(1u, LoggedTimes("Receive  checkSum error."));
}

TEST_F(CommServerPeer, ManyFramesInSeveralReadsAllArrive)
{
    LocalPeer peer;
    Serve(&peer);
    FakeClockAuto(true);
    Bytes all;
    for (uint32_t i = 1; i <= 6; i++)
        all = all + LocalFrame(FUNCID_WIFI_BAND, i, Bytes(3000, static_cast<uint8_t>(i % 2)));
    ASSERT_EQ(18084u, all.size()); // three reads, two of them end inside a frame
    ASSERT_TRUE(peer.Send(all));
    EXPECT_TRUE(Within([] { return CommRxSeq == 6; }));
    EXPECT_EQ(std::string::npos, AllLogged().find("error"));
}

TEST_F(CommServerPeer, ACutOffFrameAtTheStartOfAReadIsNotWaitedFor)
{
    LocalPeer peer;
    Serve(&peer);
    FakeClockAuto(true);
    const Bytes frame = LocalFrame(FUNCID_WIFI_BAND, 1, {0, 1, 2, 3, 4, 5});
    ASSERT_TRUE(peer.Send(Bytes(frame.begin(), frame.begin() + 16)));
    EXPECT_TRUE(AwaitLog("Receive  checkSum error."));
    ASSERT_TRUE(peer.Send(Bytes(frame.begin() + 16, frame.end())));
    EXPECT_TRUE(AwaitLog("Receive length error, length is 4"));
    EXPECT_TRUE(Answered(&peer, 2)) << "the connection stays up";
}

TEST_F(CommServerPeer, AnIncompleteFrameOfOnePeerDoesNotAffectTheNext)
{
    LocalPeer first, second;
    Serve(&first);
    FakeClockAuto(true);
    const Bytes half = LocalFrame(FUNCID_WIFI_BAND, 2, Bytes(100, 1));
    ASSERT_TRUE(first.Send(LocalFrame(FUNCID_VERSION, 1, {0}) + Bytes(half.begin(), half.begin() + 50)));
    ASSERT_TRUE(AwaitLog("comm_get_version"));
    first.Close();
    ASSERT_TRUE(AwaitLog("release ok"));
    ASSERT_TRUE(second.Connect());
    EXPECT_TRUE(Answered(&second, 2));
}

TEST_F(CommServerPeer, TheSequenceIsRememberedFromOnePeerToTheNext)
{
    LocalPeer first, second;
    Serve(&first);
    FakeClockAuto(true);
    ASSERT_TRUE(Answered(&first, 5));
    first.Close();
    ASSERT_TRUE(AwaitLog("release ok"));
    ASSERT_TRUE(second.Connect());
    ASSERT_TRUE(second.Send(LocalFrame(FUNCID_MESH_SUPPORT, 5, {0, 1})));
    EXPECT_TRUE(AwaitLog("Receive  sequence error."));
    EXPECT_TRUE(Answered(&second, 6));
}

TEST_F(CommServerPeer, NineFramesAreQueuedAndATenthIsLost)
{
    LocalPeer peer;
    Serve(&peer);
    ASSERT_TRUE(Answered(&peer, 1));
    FakeClockAwaitSleepers(1); // the handler pauses, so the next frames stay in the queue
    Bytes all;
    for (uint32_t i = 2; i <= 11; i++) all = all + LocalFrame(FUNCID_VERSION, i, {0});
    ASSERT_TRUE(peer.Send(all));
    EXPECT_TRUE(AwaitLog("reveive data err=-2"));
    for (uint32_t i = 2; i <= 10; i++) {
        FakeClockAdvanceMs(10);
        EXPECT_TRUE(Within([i] { return CommRxSeq == i; })) << i;
        FakeClockAwaitSleepers(1);
    }
    FakeClockAdvanceMs(10);
    EXPECT_TRUE(Answered(&peer, 12)) << "and the connection stays up";
    EXPECT_EQ(1u, LoggedTimes("reveive data err=-2"));
    EXPECT_EQ(9u, LoggedTimes("comm_get_version"));
}

// ---- What goes wrong on the connection ----

TEST_F(CommServerPeer, SixFailedWaitsInARowEndTheInstance)
{
    FakeReadableResults({F, F, F, F, F, F});
    ASSERT_EQ(0, CommServerStart());
    LocalPeer peer;
    ASSERT_TRUE(peer.Connect());
    EXPECT_TRUE(peer.AtEnd());
    EXPECT_TRUE(AwaitLog("release ok"));
    EXPECT_EQ("create a instance...\nError. socket err.\nClose instance.\n", Lines(AllLogged(), "ServerThread"));
}

TEST_F(CommServerPeer, FiveFailedWaitsDoNot)
{
    FakeReadableResults({F, F, F, F, F});
    LocalPeer peer;
    Serve(&peer);
    EXPECT_TRUE(Answered(&peer, 1));
    EXPECT_EQ(0u, LoggedTimes("Error. socket err."));
}

TEST_F(CommServerPeer, WaitsThatTimeOutDoNotResetTheCount)
{
    FakeReadableResults({F, T, F, F, T, F, F, T, F});
    ASSERT_EQ(0, CommServerStart());
    LocalPeer peer;
    ASSERT_TRUE(peer.Connect());
    EXPECT_TRUE(peer.AtEnd());
    EXPECT_TRUE(AwaitLog("Error. socket err."));
}

TEST_F(CommServerPeer, BytesResetTheCountOfFailedWaits)
{
    FakeClockAuto(true);
    FakeReadableResults({F, F, F, F, F});
    LocalPeer peer;
    Serve(&peer);
    ASSERT_TRUE(Answered(&peer, 1));
    FakeReadableResults({F, F, F, F, F});
    ASSERT_TRUE(Answered(&peer, 2)); // its bytes bring the thread to these five
    EXPECT_TRUE(Answered(&peer, 3));
    EXPECT_EQ(0u, LoggedTimes("Error. socket err."));
}

TEST_F(CommServerPeer, AnotherEventOfTheSocketEndsTheInstance)
{
    FakeReadableResults({OS_OTHER_EVENT});
    ASSERT_EQ(0, CommServerStart());
    LocalPeer peer;
    ASSERT_TRUE(peer.Connect());
    EXPECT_TRUE(peer.AtEnd());
    EXPECT_TRUE(AwaitLog("release ok"));
    EXPECT_EQ("create a instance...\nnet err.\nClose instance.\n", Lines(AllLogged(), "ServerThread"));
}

TEST_F(CommServerPeer, SixFailedReadsInARowEndTheInstance)
{
    FakeReadableResults({R, R, T, R, R, R, R});
    ASSERT_EQ(0, CommServerStart());
    LocalPeer peer;
    ASSERT_TRUE(peer.Connect());
    EXPECT_TRUE(peer.AtEnd());
    EXPECT_TRUE(AwaitLog("release ok"));
    EXPECT_EQ("create a instance...\nClose link err.\nClose instance.\n", Lines(AllLogged(), "ServerThread"));
}

TEST_F(CommServerPeer, FiveFailedReadsDoNotAndBytesResetTheCount)
{
    FakeClockAuto(true);
    FakeReadableResults({R, R, R, R, R});
    LocalPeer peer;
    Serve(&peer);
    ASSERT_TRUE(Answered(&peer, 1));
    FakeReadableResults({R, R, R, R, R});
    ASSERT_TRUE(Answered(&peer, 2));
    EXPECT_TRUE(Answered(&peer, 3));
    EXPECT_EQ(0u, LoggedTimes("Close link err."));
}

// ---- Sending ----

TEST_F(CommServerPeer, WithoutAPeerSendingFailsSilently)
{
    ASSERT_EQ(0, CommServerStart());
    const uint8_t byte = 1;
    EXPECT_EQ(-1, CommServerSend(&byte, 1));
    EXPECT_EQ("", Lines(AllLogged(), "CommServerSend"));
}

TEST_F(CommServerPeer, SendsToThePeerAndReturnsTheNumberOfBytes)
{
    LocalPeer peer;
    Serve(&peer);
    const Bytes bytes = Hex("5A 5A 01 02 03");
    EXPECT_EQ(5, CommServerSend(bytes.data(), 5));
    EXPECT_EQ(bytes, peer.Receive(5));
    EXPECT_EQ(1u, LoggedTimes("send success"));
}

TEST_F(CommServerPeer, SendingNothingIsLogged)
{
    LocalPeer peer;
    Serve(&peer);
    const uint8_t byte = 1;
    EXPECT_EQ(0, CommServerSend(&byte, 0));
    EXPECT_EQ(1u, LoggedTimes("send count is 0"));
}

TEST_F(CommServerPeer, SendingOnABrokenConnectionFailsWithoutASignal)
{
    signal(SIGPIPE, SIG_DFL); // would end the test
    LocalPeer peer;
    Serve(&peer);
    peer.StopReading();
    const uint8_t byte = 1;
    EXPECT_EQ(-1, CommServerSend(&byte, 1));
    EXPECT_EQ(1u, LoggedTimes("please reconnect server"));
}

TEST_F(CommServerPeer, SendingToAPeerThatDoesNotReadFailsInsteadOfWaiting)
{
    LocalPeer peer;
    Serve(&peer);
    const Bytes bytes(1500, 1);
    int sent = 0;
    while (sent < 100000 && CommServerSend(bytes.data(), 1500) > 0) sent++;
    EXPECT_LT(sent, 100000);
    EXPECT_EQ(1u, LoggedTimes("please reconnect server"));
    EXPECT_TRUE(peer.Open() || !peer.Receive(1500).empty());
}

TEST_F(CommServerPeer, ThePluginStateIsSentToThePeerThatAsks)
{
    LocalPeer peer;
    Serve(&peer);
    ASSERT_TRUE(peer.Send(LocalFrame(FUNCID_PLUGIN_STATE, 1, Text("i"))));
    const std::string text = "{\"pluginState\":\"online\",\"pluginVersion\":\"2.0.0.7-20220406\"}";
    EXPECT_EQ(LocalFrame(FUNCID_PLUGIN_STATE, 1, Text(text)), peer.Receive(14 + text.size()));
    EXPECT_TRUE(AwaitLog("send plugin state ok, no need ack."));
}
