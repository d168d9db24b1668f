// The whole table: every one of the 65,536 IDs is answered as its row says.
#include <cstring>
#include <map>
#include <set>

#include "CBHandle.h"
#include "core/Common.h"
#include "functions/FunctionList.h"
#include "functions/ProtoolSdk.h"
#include "subdev/Subdev.h"
#include "subdev/SubdevMutex.h"
#include "tests/unit/agent/FeatureSpy.h"
#include "tests/unit/agent/FunctionTest.h"

namespace
{

struct Row {
    uint16_t id;
    const char *name;
    FunctionStatus status;
    int length;
};

#define ROW(id, name, handler, status, length) {id, name, STATUS_##status, length},
const Row kRows[] = {FUNCTION_LIST(ROW)};
#undef ROW

// Reply lengths of the rows that vary, with the lists in SetUp(). Written by hand, like all expected values here.
const std::map<int, size_t> kVarying = {
    {4, 6 + 2 * 228}, {9, 6 + 5},       {12, 8 + 3 * 16}, {13, 6 + 4 * 120},
    {39, 8 + 5 * 34}, {42, 6 + 6 * 74}, {43, 6 + 7 * 6},  {49, 8 + 3 + 2 + 1 + 4},
    {52, 6 + 9},      {78, 6 + 11},     {79, 6 + 154},    {80, 6 + 13},
};

// These return a fixed result; any other result comes from the router or the local peer.
const std::set<int> kNeverFailing = {20, 24, 33, 36, 39};

} // namespace

class FunctionRowsTest : public FunctionTest
{
  protected:
    void SetUp() override
    {
        FunctionTest::SetUp();
        d_set_log_level(LOG_LEVEL_NONE);
        spy.diagnostics = true;
        spy.answers = {{"PingResult", Bytes(5, 1)},
                       {"TracerouteResult", Bytes(9, 2)},
                       {"RateTestStart", Bytes(12, 0)},
                       {"ComF_get_mesh_topology", Bytes(11, 3)},
                       {"ComF_get_adj_wifi_info", Bytes(154, 4)},
                       {"ComF_get_bssid", Bytes(13, 5)}};
        gSdk.numbers["get_lan_num"] = 3;
        gSdk.numbers["get_wan_num"] = 1;
        gSdk.wans.assign(2, SampleWan());
        gSdk.ssids.assign(4, SampleSsid());
        gSdk.devices.assign(5, SampleDevice());
        gSdk.neighbours.assign(6, SampleNeighbour());
        gSdk.blackList.assign(7, {1, 2, 3, 4, 5, 6});
    }

    void TearDown() override
    {
        nQuerySubdev = 0;
        FunctionTest::TearDown();
    }

    // All calls of the rows return this result.
    void Result(int result)
    {
        gSdk.result = result;
        for (const char *name : {"PingStart",
                                 "PingResult",
                                 "TracerouteStart",
                                 "TracerouteResult",
                                 "RateTestStart",
                                 "ParseTcParam",
                                 "ParseSurfRulesParam",
                                 "ParseConfigData",
                                 "ComF_get_wifi_freqband",
                                 "ComF_get_mesh_support",
                                 "ComF_set_mesh_switch",
                                 "ComF_get_mesh_switch",
                                 "ComF_set_mesh_roaming_switch",
                                 "ComF_get_mesh_roaming_switch",
                                 "ComF_set_mesh_roaming_threshold",
                                 "ComF_get_mesh_roaming_threshold",
                                 "ComF_get_mesh_topology",
                                 "ComF_get_adj_wifi_info",
                                 "ComF_get_bssid",
                                 "ComF_set_wan_cfg",
                                 "ComF_trig_onekey_optimize",
                                 "ComF_trig_fault_diagnosis",
                                 "ComF_set_auto_report"})
            spy.results[name] = result;
    }

    FeatureSpy spy;
};

TEST_F(FunctionRowsTest, EveryIdIsAnsweredWithItsTagAndIdInTheLengthOfItsRow)
{
    Bytes request(kFunctionRequestSize);
    Bytes reply(kFunctionReplySize);
    for (unsigned id = 0; id <= 0xFFFF; id++) {
        const uint8_t head[4] = {static_cast<uint8_t>(id * 7), static_cast<uint8_t>(255 - id % 256),
                                 static_cast<uint8_t>(id), static_cast<uint8_t>(id >> 8)};
        std::fill(request.begin(), request.end(), 0);
        std::copy(head, head + 4, request.begin());
        std::fill(reply.begin(), reply.end(), 0);
        int length = -1;
        const int result = ParserProtoolData(request.data(), reply.data(), &length);

        const Row *row = id < kFunctionCount ? &kRows[id] : nullptr;
        const bool known = row && row->status != STATUS_UNKNOWN;
        ASSERT_EQ(known ? 0 : -1, result) << id;
        size_t expected = id >= 1 && id <= 32766 ? 6 : 0; // of an unknown function
        if (known) expected = row->length == VARIES ? kVarying.at(row->id) : static_cast<size_t>(row->length);
        ASSERT_EQ(expected, static_cast<size_t>(length)) << id;
        if (length == 0) continue;
        ASSERT_TRUE(std::equal(head, head + 4, reply.begin())) << id;
        ASSERT_EQ(known ? 0 : 7, reply[4] + 256 * reply[5]) << id;
        // Nothing follows the reply.
        ASSERT_EQ(Bytes(reply.size() - expected, 0), Bytes(reply.begin() + length, reply.end())) << id;
    }
}

TEST_F(FunctionRowsTest, EveryStatusIsEncodedAsItsRowSays)
{
    Result(0x7A051234);
    size_t host = 0, protocol = 0;
    for (const Row &row : kRows) {
        if (row.status == STATUS_UNKNOWN) continue;
        const Bytes reply = Reply(row.id);
        if (row.status == STATUS_NONE) {
            EXPECT_EQ(Bytes(), reply) << row.id;
            continue;
        }
        ASSERT_GE(reply.size(), 6u) << row.id;
        const bool carried = row.status != STATUS_ZERO && kNeverFailing.count(row.id) == 0;
        EXPECT_EQ(Hex(carried ? "34 12" : "00 00"), Bytes(reply.begin() + 4, reply.begin() + 6)) << row.id;
        host += carried && row.status == STATUS_HOST;
        protocol += carried && row.status == STATUS_PROTOCOL;
    }
    EXPECT_EQ(45u, host); // 89 but for 6 unknown, 4 silent, 13 of zero, 18 of the peer and the three that cannot fail
    EXPECT_EQ(18u, protocol);
}

TEST_F(FunctionRowsTest, EveryIdHasItsFixedStatusEncoding)
{
    std::map<FunctionStatus, std::set<int>> ids;
    for (const Row &row : kRows) ids[row.status].insert(row.id);
    EXPECT_EQ(std::set<int>({0, 62, 63, 65, 67, 68}), ids[STATUS_UNKNOWN]);
    EXPECT_EQ(std::set<int>({40, 81, 84, 86}), ids[STATUS_NONE]);
    EXPECT_EQ(std::set<int>({11, 20, 21, 24, 25, 27, 29, 47, 48, 55, 61, 64, 66}), ids[STATUS_ZERO]);
    EXPECT_EQ(std::set<int>({9, 52, 70, 71, 72, 73, 74, 75, 76, 77, 78, 79, 80, 82, 83, 85, 87, 88}),
              ids[STATUS_PROTOCOL]);
    EXPECT_EQ(89u, ids[STATUS_UNKNOWN].size() + ids[STATUS_NONE].size() + ids[STATUS_ZERO].size() +
                       ids[STATUS_PROTOCOL].size() + ids[STATUS_HOST].size());
}

TEST_F(FunctionRowsTest, EveryIdHasItsFixedReplyLength)
{
    const std::map<int, int> longer = {{1, 70},  {2, 301},  {3, 234},  {5, 10},  {6, 10},  {7, 14},  {10, 20},
                                       {11, 8},  {14, 7},   {16, 126}, {18, 7},  {20, 27}, {22, 7},  {24, 27},
                                       {26, 9},  {28, 102}, {30, 7},   {33, 22}, {34, 22}, {36, 70}, {38, 40},
                                       {41, 12}, {44, 14},  {47, 8},   {48, 8},  {54, 14}, {58, 22}, {60, 18},
                                       {61, 18}, {70, 7},   {71, 7},   {73, 7},  {75, 7},  {77, 8}};
    for (const Row &row : kRows) {
        const bool silent = row.status == STATUS_UNKNOWN || row.status == STATUS_NONE;
        int expected = silent ? 0 : 6; // a setting
        if (longer.count(row.id)) expected = longer.at(row.id);
        if (kVarying.count(row.id)) expected = VARIES;
        EXPECT_EQ(expected, row.length) << row.id;
    }
}

TEST_F(FunctionRowsTest, NamesAreUniqueAndOnlyUnknownSlotsHaveNone)
{
    std::set<std::string> names;
    for (const Row &row : kRows) {
        EXPECT_EQ(row.status == STATUS_UNKNOWN, *row.name == '\0') << row.id;
        if (*row.name) {
            EXPECT_TRUE(names.insert(row.name).second) << row.name;
        }
    }
}

TEST_F(FunctionRowsTest, FunctionsThatDoNothingMakeNoCallAndHaveNoReply)
{
    Result(-1);
    for (uint16_t id : {40, 81, 84, 86}) EXPECT_EQ(Bytes(), Reply(id, Bytes(200, 0xFF), 0)) << id;
    EXPECT_EQ(Calls(), gSdk.calls);
    EXPECT_EQ(Calls(), spy.Names());
}

TEST_F(FunctionRowsTest, OnlyCallsOfTheDeviceTableAreMadeUnderItsLock)
{
    size_t ofTable = 0;
    gSdk.onCall = [&](const std::string &name) {
        const bool free = pthread_mutex_trylock(&SubdevMutex) == 0;
        if (free) pthread_mutex_unlock(&SubdevMutex);
        const bool device = name.find("_dev") != std::string::npos;
        EXPECT_EQ(device, !free) << name;
        ofTable += device;
    };
    for (const Row &row : kRows)
        if (row.status != STATUS_UNKNOWN) Reply(row.id);
    EXPECT_EQ(16u, ofTable); // 41 makes three, 33 to 35 two each, seven others one
}

TEST_F(FunctionRowsTest, AFailedCallLeavesNoDataInAnyReplyEvenIfTheRouterWroteSome)
{
    Result(-3);
    gSdk.careless = true;
    for (const char *number : {"get_wan_tcp_con_num",
                               "get_wan_udp_con_num",
                               "get_wan_receive_bytes",
                               "get_ssid_switch",
                               "get_wifi_radio_switch",
                               "get_led_switch",
                               "get_ftp_switch",
                               "get_sambaenable_switch",
                               "get_telnetenable_switch",
                               "get_wps_switch",
                               "get_dev_us_max_bw",
                               "get_dev_ds_max_bw",
                               "get_dev_speed",
                               "get_cpu_use",
                               "get_mem_use",
                               "get_wifi_module_status",
                               "get_duration_time",
                               "get_flows_down_rate",
                               "get_flows_up_rate",
                               "get_lan_num",
                               "get_wan_num"})
        gSdk.numbers[number] = 0x1111111111111111;
    gSdk.numbers["get_router_is_plug"] = gSdk.numbers["get_router_support_ipv6"] = 0; // these cannot fail
    for (const char *text : {"get_router_pin", "get_ftp_user", "get_samba_user", "get_dev_name"})
        gSdk.texts[text] = "stale";
    memset(&gSdk.version, 0x22, sizeof gSdk.version);
    memset(&gSdk.cpu, 0x22, sizeof gSdk.cpu);
    memset(&gSdk.memory, 0x22, sizeof gSdk.memory);
    memset(&gSdk.lan, 0x22, sizeof gSdk.lan);
    gSdk.wan = SampleWan();
    gSdk.ssid = SampleSsid();
    gSdk.device = SampleDevice();
    gSdk.dns[0] = gSdk.dns[1] = 0x22222222;
    gSdk.lanStatus = gSdk.wanStatus = Bytes(16, 0x22);
    const std::set<int> aside = {9, 20, 24, 52}; // not the router's data
    for (const Row &row : kRows) {
        if (row.status == STATUS_UNKNOWN || aside.count(row.id)) continue;
        const Bytes reply = Reply(row.id);
        if (reply.empty()) continue;
        EXPECT_EQ(Bytes(reply.size() - 6, 0), Bytes(reply.begin() + 6, reply.end())) << row.id;
    }
}

TEST_F(FunctionRowsTest, ParametersDoNotChangeTheLengthOfAReply)
{
    for (const Bytes &parameters : {Bytes(1500, 0xFF), Bytes(1500, 'x'), Bytes(1, 0x80)}) {
        for (const Row &row : kRows) {
            if (row.status == STATUS_UNKNOWN) continue;
            const size_t expected = row.length == VARIES ? kVarying.at(row.id) : static_cast<size_t>(row.length);
            EXPECT_EQ(expected, Reply(row.id, parameters).size()) << row.id;
        }
    }
}

// ---- Through the receive path ----

class FunctionFramesTest : public LinkedTest
{
    void BeforeLink() override { gSdk.numbers = {{"get_cpu_use", 12}, {"get_mem_use", 34}}; }
};

TEST_F(FunctionFramesTest, AShorterRequestHasNoBytesOfTheOneBefore)
{
    CBHandle(ReceivedRecord(20, {}, Record(40, mac, FunctionRequest(45, Bytes(800, 0xFF)))));
    ExpectAck(26, 0, 40, Head(45));
    CBHandle(ReceivedRecord(20, {}, Record(40, mac, FunctionRequest(45, Hex("04 03 02")))));
    ExpectAck(26, 0, 40, Head(45));
    EXPECT_EQ(Calls({"set_dns(255.255.255.255, 255.255.255.255)", "set_dns(0.2.3.4, 0.0.0.0)"}), gSdk.calls);
}

TEST_F(FunctionFramesTest, TheLongestReplyIsSentWhole)
{
    gSdk.devices.assign(129, SampleDevice());
    CBHandle(ReceivedRecord(20, {}, Record(40, mac, FunctionRequest(39, {}))));
    ExpectAck(26, 0, 40, Head(39) + Hex("80 00") + Repeated(SampleDeviceOnTheWire(), 128));
}

TEST_F(FunctionFramesTest, TwoCommandsInFlightAreAnsweredInOrderEachUnderItsOwnTag)
{
    FakeClockAuto(true); // the pause after each frame
    Bytes first = FunctionRequest(47, {}), second = FunctionRequest(48, {});
    first[0] = 0x01;
    second[0] = 0x02;
    Bytes both;
    for (const Bytes &request : {first, second}) {
        const ReceivedFrame frame = ReceivedRecord(20, {}, Record(40, mac, request));
        const uint8_t length = static_cast<uint8_t>(frame.header.bodyLen);
        both = both + Hex("CC DD 34 00") + Bytes{frame.header.checksum, length, 0} +
               Bytes(frame.body, frame.body + length);
    }
    ASSERT_TRUE(peer.Send(both));
    ExpectAck(26, 0, 40, Hex("01 5A 2F 00 00 00  0C 00"));
    ExpectAck(26, 0, 40, Hex("02 5A 30 00 00 00  22 00"));
    Unlink(); // ends the thread that has made the calls
    EXPECT_EQ(Calls({"get_cpu_use", "get_mem_use"}), gSdk.calls);
}
