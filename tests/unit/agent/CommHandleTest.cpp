#include "comm/CommHandle.h"

#include <cstring>

#include "comm/AutoReport.h"
#include "comm/CommAnswer.h"
#include "comm/FuncIdList.h"
#include "os/OsClock.h"
#include "platform/Protool.h"
#include "platform/Settings.h"
#include "subdev/Function40.h"
#include "tests/unit/agent/CommTest.h"

namespace
{

const uint16_t kAnswers[] = {70, 71, 72, 73, 74, 75, 76, 77, 78, 79, 80, 82, 83, 85, 88};

class CommHandle : public HandleTest
{
};

} // namespace

// ---- Which frames are handled ----

TEST_F(CommHandle, FramesAreDroppedSilentlyWhileNotLoggedIn)
{
    mLogin = 0;
    Handle(FUNCID_MESH_SUPPORT, Hex("00 01"));
    HandleRead(Hex("01 02 03")); // not logged either
    EXPECT_EQ(0, CommReceived);
    EXPECT_EQ(Hex("EE EE"), RxData(2));
    EXPECT_EQ("", Log());
    mLogin = 1;
    sequence = 0;
    Handle(FUNCID_MESH_SUPPORT, Hex("00 01")); // the same sequence: it has not been used
    EXPECT_EQ(1, CommReceived);
}

TEST_F(CommHandle, AFrameThatFailsACheckDoesNothingAndAnnouncesNothing)
{
    Bytes damaged = LocalFrame(FUNCID_MESH_SUPPORT, 1, Hex("00 01"));
    damaged.back() = 2;
    HandleRead(damaged);
    EXPECT_TRUE(Logged("CommHandleProc", "Receive  checkSum error."));
    HandleRead(Hex("5A 5A 47 00 02 00 00 00 00 00 00 00 00 00"));
    EXPECT_TRUE(Logged("CommHandleProc", "Receive length error, length is 14"));
    EXPECT_EQ(0, CommReceived);
    EXPECT_EQ(Hex("EE EE"), RxData(2));
    ExpectNothingSent();
}

TEST_F(CommHandle, EveryValidFrameIsAnnouncedWhateverItsFuncId)
{
    for (uint16_t id : {0, 1, 5, 6, 39, 40, 41, 69, 70, 81, 84, 86, 87, 88, 89, 90, 996, 997, 998, 999, 1000, 65535}) {
        CommReceived = 0;
        Handle(id, {9});
        EXPECT_EQ(1, CommReceived) << id;
    }
}

TEST_F(CommHandle, UnknownFuncIdsAreErrors)
{
    for (uint16_t id : {0, 6, 39, 41, 69, 87, 90, 996, 1000, 65535}) {
        Handle(id, {0});
        EXPECT_TRUE(Logged("CommHandleProc", "Error funcID")) << id;
    }
    EXPECT_EQ(Hex("EE EE"), RxData(2));
    ExpectNothingSent();
}

TEST_F(CommHandle, AnswersToTheFirstFiveRequestsAreOnlyLogged)
{
    const char *const names[] = {"comm_get_version", "comm_get_base_info", "comm_get_wan_cfg", "comm_get_wans_cfg",
                                 "comm_get_wan_tcp_con_num"};
    for (uint16_t id = 1; id <= 5; id++) {
        Handle(id, {0, 1});
        EXPECT_TRUE(Logged("CommHandleProc", names[id - 1])) << id;
    }
    EXPECT_EQ(Hex("EE EE"), RxData(2));
}

// ---- Answers that are kept ----

TEST_F(CommHandle, AnAnswerIsKeptWithItsLengthAndANul)
{
    for (uint16_t id : kAnswers) {
        memset(rxData, 0xEE, sizeof rxData);
        Handle(id, Hex("00 A1 A2"));
        EXPECT_EQ(Hex("00 03 00 A1 A2 00 EE"), RxData(7)) << id; // three bytes, the status among them
        EXPECT_TRUE(Logged("CommFuncRecv", "Recv length: 3")) << id;
    }
}

TEST_F(CommHandle, AnAnswerWithOnlyAStatusHasNoBytes)
{
    Handle(FUNCID_SET_MESH, Hex("00"));
    EXPECT_EQ(Hex("00 01 00 00 EE"), RxData(5));
}

TEST_F(CommHandle, AnAnswerWithAnErrorStatusChangesOnlyTheStatus)
{
    Handle(FUNCID_MESH_TOPOLOGY, Hex("00 A1 A2"));
    Handle(FUNCID_MESH_TOPOLOGY, Hex("07 B1 B2 B3"));
    EXPECT_EQ(Hex("07 03 00 A1 A2 00"), RxData(6));
}

TEST_F(CommHandle, AnAnswerOf4000BytesIsKept)
{
    Bytes answer(4000, 0x41);
    answer[0] = 0;
    Handle(FUNCID_ADJACENT_WIFI_INFO, answer);
    EXPECT_EQ(Hex("00 A0 0F 41"), RxData(4)); // 4000 = 0x0FA0
    EXPECT_EQ(0x41, rxData[3 + 3998]);
    EXPECT_EQ(0, rxData[3 + 3999]);
    EXPECT_EQ(0xEE, rxData[3 + 4000]);
}

TEST_F(CommHandle, AnAnswerOf4001BytesIsTooLarge)
{
    Bytes answer(4001, 0x41);
    answer[0] = 0;
    Handle(FUNCID_ADJACENT_WIFI_INFO, answer);
    EXPECT_TRUE(Logged("CommFuncRecv", "ERROR: receive data too large!"));
    EXPECT_EQ(Hex("01 EE EE EE"), RxData(4));
}

TEST_F(CommHandle, AnAnswerThatDeclaresNoPayloadIsTooLarge)
{
    HandleRead(Hex("5A 5A 49 00 01 00 00 00 00 00 00 00 00 00  00"));
    EXPECT_TRUE(Logged("CommFuncRecv", "ERROR: receive data too large!"));
    EXPECT_EQ(Hex("01 EE EE EE"), RxData(4));
    EXPECT_EQ(1, CommReceived);
}

TEST_F(CommHandle, AnAnswerThatDeclaresTheWholeSlotStaysInsideIt)
{
    HandleRead(Hex("5A 5A 49 00 01 00 00 00 F6 1F 00 00 00 00  00")); // 8182 bytes
    EXPECT_TRUE(Logged("CommFuncRecv", "ERROR: receive data too large!"));
    EXPECT_EQ(Hex("01 EE EE EE"), RxData(4));
}

TEST_F(CommHandle, TheAnswerWakesTheWaitingRequesterAtOnce)
{
    Running requester([] {
        OsGuard guard(&gCommAnswer);
        while (CommReceived != 1) OsWaitUntil(&gCommAnswer, OsNowMs() + 10000);
    });
    FakeClockAwaitSleepers(1);
    Handle(FUNCID_MESH_SUPPORT, Hex("00 01"));
    requester.Join(); // although the clock does not advance
    EXPECT_EQ(1, CommReceived);
}

// ---- Devices, configuration, plugin state ----

TEST_F(CommHandle, DevicesGoToTheFunction40Filter)
{
    Bytes message = Hex("01 00  02 AA BB CC DD 01");
    message.resize(2 + 38, 0x20);
    message.push_back(1);
    Fn40Interval = AutoReportDevinfo = 0;
    Fn40Cycle(); // at this interval it empties the filter
    ASSERT_FALSE(Fn40Knows(Hex("02 AA BB CC DD 01").data()));
    Handle(FUNCID_DEVICES, message);
    EXPECT_TRUE(Fn40Knows(Hex("02 AA BB CC DD 01").data()));
    EXPECT_EQ(Hex("EE EE"), RxData(2));
}

TEST_F(CommHandle, DevicesWithoutAHandlerAreDropped)
{
    CommOnDevices(nullptr);
    Handle(FUNCID_DEVICES, Hex("01 00  02 AA BB CC DD 02") + Bytes(32, 0x20) + Bytes{1});
    EXPECT_FALSE(Fn40Knows(Hex("02 AA BB CC DD 02").data()));
    EXPECT_EQ(1, CommReceived);
    ExpectNothingSent();
}

TEST_F(CommHandle, TheAutoReportConfigurationIsKept)
{
    CommReceived = 0;
    Handle(FUNCID_AUTO_REPORT_CONFIG,
           Bytes{0} + Text("{\"referNum\":100,\"interval1\":5,\"interval2\":1440,\"interval3\":60}"));
    EXPECT_EQ(5, intervalFlag1);
    EXPECT_EQ(1440, intervalFlag2);
    EXPECT_EQ(60, intervalFlag3);
    EXPECT_EQ(100, referNum);
    EXPECT_EQ(1, CommReceived);
    EXPECT_EQ(Hex("EE EE"), RxData(2));
}

TEST_F(CommHandle, APluginStateQueryThatCannotBeAnsweredIsAnError)
{
    Handle(FUNCID_PLUGIN_STATE, Text("i"));
    EXPECT_TRUE(Logged("CommHandleProc", "ERROR: send plugin state failed!")); // there is no peer
}

TEST_F(CommHandle, APluginStateQueryWithAnotherMarkComesFromAnOldPlugin)
{
    Handle(FUNCID_PLUGIN_STATE, Text("x"));
    EXPECT_TRUE(Logged("CommHandleProc", "Old plugin no plugin state notice."));
    Handle(FUNCID_PLUGIN_STATE, Text("xi"));
    EXPECT_TRUE(Logged("CommHandleProc", "Old plugin no plugin state notice."));
}
