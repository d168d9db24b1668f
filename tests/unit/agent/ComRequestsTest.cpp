// The requests to the local peer: frames, waits, results.
#include "tests/unit/agent/ComRequestsTest.h"

#include "comm/FuncIdList.h"

#include <thread>

namespace
{

using ComRequests = ComRequestsTest;

struct Request {
    const char *function;
    std::function<int()> ask;
    const char *frame; // with sequence 1
    size_t answerSize; // bytes that are stored at `out`
    const char *failure;
    const char *name; // in CommSendCmd's log line
};

// Every request whose answer is kept.
const std::vector<Request> &Requests()
{
    static const std::vector<Request> requests = {
        {"ComF_get_wifi_freqband", [] { return ComF_get_wifi_freqband(0x102, s_out); },
         "5A5A 4600 01000000 01000000 0200 02", 1, "ERROR: send command failed!", "get freqband"},
        {"ComF_get_mesh_support", [] { return ComF_get_mesh_support(s_out); }, "5A5A 4700 01000000 01000000 6900 69", 1,
         "ERROR: send get mesh support command failed!", "get mesh support"},
        {"ComF_set_mesh_switch", [] { return ComF_set_mesh_switch(1); }, "5A5A 4800 01000000 01000000 0100 01", 0,
         "ERROR: send set mesh switch command failed!", "set mesh switch"},
        {"ComF_get_mesh_switch", [] { return ComF_get_mesh_switch(s_out); }, "5A5A 4900 01000000 01000000 6900 69", 1,
         "ERROR: send get mesh switch command failed!", "get mesh switch"},
        {"ComF_set_mesh_roaming_switch", [] { return ComF_set_mesh_roaming_switch(0); },
         "5A5A 4A00 01000000 01000000 0000 00", 0, "ERROR: send set mesh roaming switch command failed!",
         "set mesh roaming switch"},
        {"ComF_get_mesh_roaming_switch", [] { return ComF_get_mesh_roaming_switch(s_out); },
         "5A5A 4B00 01000000 01000000 6900 69", 1, "ERROR: send get mesh roaming switch command failed!",
         "get mesh roaming switch"},
        {"ComF_set_mesh_roaming_threshold", [] { return ComF_set_mesh_roaming_threshold(0xC8, 0x46); },
         "5A5A 4C00 01000000 02000000 0E01 C846", 0, "ERROR: send set mesh roaming threshold command failed!",
         "set mesh roaming threshold"}, // C8 + 46 = 10E
        {"ComF_get_mesh_roaming_threshold", [] { return ComF_get_mesh_roaming_threshold(s_out); },
         "5A5A 4D00 01000000 01000000 6900 69", 2, "ERROR: send get mesh roaming threshold command failed!",
         "get mesh roaming threshold"},
        {"ComF_get_mesh_topology", AskForMore<ComF_get_mesh_topology>, "5A5A 4E00 01000000 01000000 6900 69", 2,
         "ERROR: send get mesh topology command failed!", "get mesh topology"},
        {"ComF_get_adj_wifi_info", AskForMore<ComF_get_adj_wifi_info>, "5A5A 4F00 01000000 01000000 6900 69", 2,
         "ERROR: send get adj wifi info command failed!", "get adj wifi info"},
        {"ComF_get_bssid", AskForMore<ComF_get_bssid>, "5A5A 5000 01000000 01000000 6900 69", 2,
         "ERROR: send get bssid command failed!", "get bssid"},
        {"ComF_trig_onekey_optimize", ComF_trig_onekey_optimize, "5A5A 5300 01000000 01000000 6900 69", 0,
         "ERROR: send trigger onekey optimize command failed!", "trigger one key optimize"},
        {"ComF_trig_fault_diagnosis", ComF_trig_fault_diagnosis, "5A5A 5500 01000000 01000000 6900 69", 0,
         "ERROR: send trigger fault diagnosis command failed!", "trigger fault diagnosis"},
        {"ComF_get_autoreport_conf", ComF_get_autoreport_conf, "5A5A E503 01000000 01000000 6900 69", 0,
         "ERROR: get auto report config info failed!", "get autoreport conf"},
    };
    return requests;
}

} // namespace

// ---- CommSendCmd ----

TEST_F(ComRequests, FuncIds0And1001FailWithoutUsingASequence)
{
    for (const uint32_t id : {0u, 1001u, 0x10001u, 0xFFFFFFFFu}) {
        EXPECT_NE(0, CommSendCmd(id, "x", 1)) << id;
        EXPECT_TRUE(Logged("]-> Function CMD error.")) << id;
    }
    EXPECT_EQ(0u, CommTxSeq);
    EXPECT_TRUE(peer.NothingSent());
}

TEST_F(ComRequests, FuncId40FailsAndUsesASequence)
{
    EXPECT_NE(0, CommSendCmd(FUNCID_DEVICES, "x", 1));
    EXPECT_TRUE(Logged("]-> Error comm_subdev_report"));
    EXPECT_EQ(1u, CommTxSeq);
    EXPECT_TRUE(peer.NothingSent());
}

TEST_F(ComRequests, OtherFuncIdsWithoutARequestFailAndUseASequence)
{
    uint32_t number = 0;
    for (const uint32_t id : {6u, 39u, 41u, 69u, 81u, 84u, 86u, 87u, 89u, 90u, 996u, 1000u}) {
        EXPECT_NE(0, CommSendCmd(id, "x", 1)) << id;
        EXPECT_TRUE(Logged("]-> funcCMD error")) << id;
        EXPECT_EQ(++number, CommTxSeq);
    }
    EXPECT_TRUE(peer.NothingSent());
}

TEST_F(ComRequests, FuncIds1To4HaveNoPayloadWhateverTheCallerPasses)
{
    EXPECT_EQ(0, CommSendCmd(FUNCID_VERSION, "xyz", 3));
    EXPECT_TRUE(Logged("]-> comm_get_version"));
    EXPECT_EQ(0, CommSendCmd(FUNCID_BASE_INFO, nullptr, 0));
    EXPECT_TRUE(Logged("]-> comm_get_base_info"));
    EXPECT_EQ(0, CommSendCmd(FUNCID_WAN_CONFIG, nullptr, 9));
    EXPECT_TRUE(Logged("]-> comm_get_wan_cfg"));
    EXPECT_EQ(0, CommSendCmd(FUNCID_WAN_CONFIGS, "x", 1));
    EXPECT_TRUE(Logged("]-> comm_get_wans_cfg"));
    EXPECT_EQ(Hex("5A5A 0100 01000000 00000000 0000"), peer.Frame());
    EXPECT_EQ(Hex("5A5A 0200 02000000 00000000 0000"), peer.Frame());
    EXPECT_EQ(Hex("5A5A 0300 03000000 00000000 0000"), peer.Frame());
    EXPECT_EQ(Hex("5A5A 0400 04000000 00000000 0000"), peer.Frame());
}

TEST_F(ComRequests, FuncId5HasTwoBytesOfTheCaller)
{
    EXPECT_EQ(0, CommSendCmd(FUNCID_WAN_CONNECTIONS, "\xFF\x02\x07", 3));
    EXPECT_TRUE(Logged("]-> comm_get_wan_tcp_con_num"));
    EXPECT_EQ(Hex("5A5A 0500 01000000 02000000 0101 FF02"), peer.Frame()); // FF + 02 = 101
    EXPECT_NE(0, CommSendCmd(FUNCID_WAN_CONNECTIONS, "\xFF", 1));
    EXPECT_NE(0, CommSendCmd(FUNCID_WAN_CONNECTIONS, nullptr, 2));
    EXPECT_TRUE(peer.NothingSent());
}

TEST_F(ComRequests, RequestsWithThePayloadOfTheCallerHaveAllOfIt)
{
    uint8_t number = 0;
    for (const uint8_t id : {70, 72, 74, 76, 82, 88}) {
        EXPECT_EQ(0, CommSendCmd(id, "\x80\x81\x82", 3));
        const Bytes head = {0x5A, 0x5A, id, 0, ++number};
        EXPECT_EQ(head + Hex("000000 03000000 8301 808182"), peer.Frame());
    }
    EXPECT_EQ(0, CommSendCmd(FUNCID_FIRMWARE_UPDATE, "\x80\x81\x82", 3));
    EXPECT_TRUE(Logged("]-> Firmware update"));
    EXPECT_EQ(Hex("5A5A E703 07000000 03000000 8301 808182"), peer.Frame());
}

TEST_F(ComRequests, TheOtherRequestsHaveTheCharacterIWhateverTheCallerPasses)
{
    uint8_t number = 0;
    for (const uint32_t id : {71u, 73u, 75u, 77u, 78u, 79u, 80u, 83u, 85u, 997u}) {
        EXPECT_EQ(0, CommSendCmd(id, "other", 5));
        const Bytes head = {0x5A, 0x5A, static_cast<uint8_t>(id), static_cast<uint8_t>(id >> 8), ++number};
        EXPECT_EQ(head + Hex("000000 01000000 6900 69"), peer.Frame());
    }
}

TEST_F(ComRequests, AFrameHasAtMost1500Bytes)
{
    const Bytes payload(1487, 0xFF);
    EXPECT_EQ(0, CommSendCmd(FUNCID_SET_AUTO_REPORT, payload.data(), 1486));
    const Bytes frame = peer.Frame();
    ASSERT_EQ(1500u, frame.size());
    // 1486 * FF = 5C832 hexadecimal, of which the lower 16 bits are kept
    EXPECT_EQ(Hex("5A5A 5800 01000000 CE050000 32C8 FF"), Bytes(frame.begin(), frame.begin() + 15));
    EXPECT_NE(0, CommSendCmd(FUNCID_SET_AUTO_REPORT, payload.data(), 1487));
    EXPECT_NE(0, CommSendCmd(FUNCID_SET_AUTO_REPORT, payload.data(), 0xFFFFFFFF));
    EXPECT_TRUE(peer.NothingSent());
}

TEST_F(ComRequests, TheSequenceWrapsFromTheLargestTo0)
{
    CommTxSeq = 0xFFFFFFFE;
    EXPECT_EQ(0, CommSendCmd(FUNCID_MESH_SUPPORT, nullptr, 0));
    EXPECT_EQ(0, CommSendCmd(FUNCID_MESH_SUPPORT, nullptr, 0));
    EXPECT_EQ(Hex("5A5A 4700 FFFFFFFF 01000000 6900 69"), peer.Frame());
    EXPECT_EQ(Hex("5A5A 4700 00000000 01000000 6900 69"), peer.Frame());
}

TEST_F(ComRequests, FramesOfSeveralThreadsAreSentWholeAndInTheOrderOfTheirSequences)
{
    const int each = 100; // fits the socket's buffer
    const auto send = [] {
        for (int i = 0; i < each; i++) EXPECT_EQ(0, CommSendCmd(FUNCID_MESH_SUPPORT, nullptr, 0));
    };
    const Running one(send), other(send);
    for (uint32_t number = 1; number <= 2 * each; number++) {
        const Bytes head = {0x5A, 0x5A, 0x47, 0, static_cast<uint8_t>(number), static_cast<uint8_t>(number >> 8)};
        ASSERT_EQ(head + Hex("0000 01000000 6900 69"), peer.Frame());
    }
}

// ---- The plugin state ----

TEST_F(ComRequests, ThePluginStateIsOnlineWhileLoggedIn)
{
    mLogin = 1;
    EXPECT_EQ(0, ComF_send_pluginstate());
    EXPECT_EQ(R"({"pluginState":"online","pluginVersion":"2.0.0.7-20220406"})", peer.Payload());
    mLogin = 0;
    EXPECT_EQ(0, ComF_send_pluginstate());
    EXPECT_EQ(R"({"pluginState":"offline","pluginVersion":"2.0.0.7-20220406"})", peer.Payload());
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("]-> send plugin state\n\n"));
    EXPECT_NE(std::string::npos, log.find("]-> send plugin state ok, no need ack.\n\n"));
}

TEST_F(ComRequests, ThePluginStateIsSentWithoutWaitingAndLeavesTheLastAnswerAlone)
{
    CommReceived = 1;
    EXPECT_EQ(0, ComF_send_pluginstate());
    EXPECT_EQ(1, CommReceived);
    EXPECT_EQ(0, OsNowMs());
    InstanceSocket = 0;
    EXPECT_EQ(1, ComF_send_pluginstate());
    EXPECT_TRUE(Logged("]-> ERROR: send plugin state failed!"));
}

// ---- Route_Wait ----

TEST_F(ComRequests, AWaitOfNoTicksReturns0AtOnce)
{
    EXPECT_EQ(0, Route_Wait(0));
    EXPECT_EQ(0, Route_Wait(-1));
    EXPECT_EQ(0, OsNowMs());
    EXPECT_EQ("", Log());
}

TEST_F(ComRequests, AWaitLasts50MsPerTickAndAMinuteAtMost)
{
    FakeClockAuto(true);
    EXPECT_EQ(-1, Route_Wait(1));
    EXPECT_EQ(50, OsNowMs());
    EXPECT_TRUE(Logged("]-> ERROR: request timeout!"));
    EXPECT_EQ(-1, Route_Wait(200));
    EXPECT_EQ(50 + 10000, OsNowMs());
    EXPECT_EQ(-1, Route_Wait(1200));
    EXPECT_EQ(50 + 10000 + 60000, OsNowMs());
    EXPECT_EQ(-1, Route_Wait(5000));
    EXPECT_EQ(50 + 10000 + 2 * 60000, OsNowMs());
}

TEST_F(ComRequests, WithAnAnswerAlreadyThereTheWaitReturnsAtOnce)
{
    AskedPeer::Answer(0, {});
    EXPECT_EQ(0, Route_Wait(200));
    EXPECT_EQ(0, OsNowMs());
}

TEST_F(ComRequests, AnAnswerWakesTheRequesterAtOnce)
{
    auto waiting = std::async(std::launch::async, [] { return Route_Wait(200); });
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(10000, FakeClockNextDeadlineMs());
    AskedPeer::Answer(0, {});
    EXPECT_EQ(0, waiting.get()); // the clock has not advanced
    EXPECT_EQ(0, OsNowMs());
}

TEST_F(ComRequests, TheEndOfTheServerEndsTheWait)
{
    auto waiting = std::async(std::launch::async, [] { return Route_Wait(1200); });
    FakeClockAwaitSleepers(1);
    CommRun = 0;
    {
        OsGuard guard(&gCommAnswer);
        OsWakeAll(&gCommAnswer);
    }
    EXPECT_EQ(-1, waiting.get());
    EXPECT_EQ(std::string::npos, Log().find("timeout"));
}

TEST_F(LinkedTest, TheEndOfTheSessionEndsAWaitForTheAskedPeer)
{
    const AskedPeer local;
    auto waiting = std::async(std::launch::async, [] { return Route_Wait(1200); });
    ASSERT_TRUE(Within([] { return FakeClockNextDeadlineMs() == 60000; }));
    Unlink();
    EXPECT_EQ(-1, waiting.get());
    EXPECT_EQ(-1, Route_Wait(1200)); // and no other wait starts
    EXPECT_LT(OsNowMs(), 60000);
}

// ---- The family ----

TEST_F(ComRequests, EachRequestSendsItsFrameAndReturnsThePeersStatusAndBytes)
{
    for (const Request &request : Requests()) {
        CommTxSeq = 0;
        s_out[0] = s_out[1] = 0xEE;
        int result = -1;
        EXPECT_EQ(Hex(request.frame), Exchange(request.ask, 0, Hex("A1 A2 A3"), &result)) << request.function;
        EXPECT_EQ(0, result) << request.function;
        EXPECT_EQ(request.answerSize > 0 ? 0xA1 : 0xEE, s_out[0]) << request.function;
        EXPECT_EQ(request.answerSize > 1 ? 0xA2 : 0xEE, s_out[1]) << request.function;
        EXPECT_EQ(0, OsNowMs()) << request.function;
    }
}

TEST_F(ComRequests, EachRequestIsLoggedByItsName)
{
    FakeClockAuto(true); // nobody answers
    for (const Request &request : Requests()) {
        EXPECT_EQ(1, request.ask());
        EXPECT_TRUE(Logged(std::string("]-> ") + request.name)) << request.function;
    }
}

TEST_F(ComRequests, EachRequestReturnsAStatusOtherThan0AsItIs)
{
    for (const Request &request : Requests()) {
        int result = -1;
        Exchange(request.ask, 7, {}, &result);
        EXPECT_EQ(7, result) << request.function;
        Exchange(request.ask, 0xFF, {}, &result);
        EXPECT_EQ(255, result) << request.function;
    }
}

TEST_F(ComRequests, EachRequestWaits10SecondsAndTheScanAMinute)
{
    FakeClockAuto(true);
    for (const Request &request : Requests()) {
        const int64_t begin = OsNowMs();
        EXPECT_EQ(1, request.ask()) << request.function;
        const bool scan = std::string(request.function) == "ComF_get_adj_wifi_info";
        EXPECT_EQ(scan ? 60000 : 10000, OsNowMs() - begin) << request.function;
        EXPECT_TRUE(Logged("]-> ERROR: request timeout!")) << request.function;
    }
}

TEST_F(ComRequests, WithoutAPeerEachRequestFailsAtOnce)
{
    InstanceSocket = 0;
    for (const Request &request : Requests()) {
        EXPECT_EQ(1, request.ask()) << request.function;
        const std::string log = Log();
        EXPECT_NE(std::string::npos, log.find(std::string("[ERR] [CommServer->") + request.function + "->"));
        EXPECT_NE(std::string::npos, log.find(std::string("]-> ") + request.failure + "\n\n")) << request.function;
        EXPECT_EQ(0, OsNowMs()) << request.function;
    }
    EXPECT_EQ(1, ComF_set_wan_cfg(s_wan));
    EXPECT_TRUE(Logged("]-> ERROR: send set wan cfg command failed!"));
}

TEST_F(ComRequests, TheWanConfigurationIsSentAsAWholeRecord)
{
    for (size_t i = 0; i < sizeof s_wan; i++) s_wan[i] = static_cast<uint8_t>(i);
    int result = -1;
    const Bytes frame = Exchange([] { return ComF_set_wan_cfg(s_wan); }, 0, {}, &result);
    EXPECT_EQ(0, result);
    // 0 + 1 + ... + 227 = 25878 = 6516 hexadecimal
    EXPECT_EQ(Hex("5A5A 5200 01000000 E4000000 1665") + Bytes(s_wan, s_wan + 228), frame);
    EXPECT_TRUE(Logged("]-> set wan configure"));
}

TEST_F(ComRequests, TheAutoReportConfigurationIsLoggedWhenItHasCome)
{
    int result = -1;
    Exchange([] { return ComF_get_autoreport_conf(); }, 0, {}, &result);
    EXPECT_EQ(0, result);
    EXPECT_TRUE(Logged("]-> DEBUG: get auto report config info success."));
    Exchange([] { return ComF_get_autoreport_conf(); }, 3, {}, &result);
    EXPECT_EQ(3, result);
    EXPECT_FALSE(Logged("]-> DEBUG: get auto report config info success."));
}
