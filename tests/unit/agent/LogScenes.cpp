// The scenes of rules, devices and the local peer; the others are in LogNamesTest.
#include "tests/unit/agent/LogScenes.h"

#include <sys/stat.h>
#include <unistd.h>

#include "comm/ComRequests.h"
#include "comm/CommAnswer.h"
#include "comm/CommServer.h"
#include "comm/FuncIdList.h"
#include "core/LocalPeer.h"
#include "os/Paths.h"
#include "rules/BadItem.h"
#include "rules/Bandwidth.h"
#include "rules/PortForward.h"
#include "rules/SurfRules.h"
#include "rules/eaccess.h"
#include "rules/iot_poll.h"
#include "rules/iot_signal.h"
#include "subdev/Function39.h"
#include "subdev/Function40.h"
#include "subdev/KnownDevices.h"
#include "subdev/SubdevReport.h"

// ---- Rules ----

void LogNames::Forwarding()
{
    const std::string rest =
        "\",\"PRE_IP\":\"1.2.3.4\",\"PRE_PORT\":\"1\",\"POST_IP\":\"1.2.3.5\",\"POST_PORT\":\"2\"}";
    for (const char *flag : {"1", "0", "x"})
        EXPECT_EQ(*flag == 'x' ? PORT_FORWARD_BAD_FLAG : PORT_FORWARD_DONE,
                  ParseRouteParam(("{\"FLAG\":\"" + std::string(flag) + rest).c_str()));
}

void LogNames::Limits()
{
    Unlink(); // nobody stays on a bad item
    const auto item = [](const std::string &flag, const std::string &device, const std::string &up) {
        return ParseTcParam(
            ("{\"LIST\":[{\"FLAG\":\"" + flag + "\",\"MAC\":\"" + device + "\",\"UP\":" + up + ",\"DOWN\":\"1\"}]}")
                .c_str());
    };
    EXPECT_EQ(BANDWIDTH_NO_JSON, ParseTcParam("{"));
    EXPECT_EQ(BANDWIDTH_DONE, item("1", "02:AA:BB:CC:DD:EE", "\"1\""));
    EXPECT_EQ(BANDWIDTH_DONE, item("0", "02:AA:BB:CC:DD:EE", "\"1\""));
    EXPECT_EQ(kLeftBadItem, item("2", "02:AA:BB:CC:DD:EE", "\"1\""));
    EXPECT_EQ(kLeftBadItem, item("1", "", "\"1\""));
    EXPECT_EQ(kLeftBadItem, item("1", "02:AA:BB:CC:DD:EE", "1"));
}

void LogNames::Surfing()
{
    EXPECT_EQ(SURF_NO_TEXT, ParseSurfRulesParam(nullptr));
    EXPECT_EQ(SURF_NOT_PARSED, ParseSurfRulesParam("{"));
    EXPECT_EQ(SURF_NO_FLAG, ParseSurfRulesParam("{\"LIST\":[{}]}"));
    CommitSurfRule(1, 0, nullptr, "1", "8:00", "9:00");
    const auto rule = [](const std::string &flag, const std::string &start) {
        const std::string text = "{\"LIST\":[{\"FLAG\":\"" + flag + "\",\"MAC\":\"02:AA:BB:CC:DD:EE\",\"DAY\":\"1\"," +
                                 "\"START\":\"" + start + "\",\"STOP\":\"23:00\",\"ALLOW\":\"0\"}]}";
        EXPECT_EQ(SURF_DONE, ParseSurfRulesParam(text.c_str()));
    };
    rule("0", "8:00"); // there is none
    rule("1", "8:00");
    rule("1", "8:00"); // there is one
    rule("0", "9:00"); // another
    rule("0", "8:00");
}

void LogNames::Enforcing()
{
    FakeFailThreadStart(1, EAGAIN);
    EXPECT_EQ(EAGAIN, StartEaccess());
    FakeFailThreadStart(1, -1);
    no_feeling_daemon(1, 99, 6100);
    FakeFailThreadStart(2, -1);
    no_feeling_daemon(1, 99, 6100);
    hash_table_init(); // a start that is tried again, as these are, keeps the table
    gSdk.devices = {DevCfg()};
    surf_rule_func();
    gSdk.results["get_devs_cfg"] = 1;
    surf_rule_func();
    WithoutDeviceTable(surf_rule_func);
    eaccess_send(nullptr, 0, nullptr);
}

// ---- Devices ----

void LogNames::Devices()
{
    EXPECT_EQ(0, StartSubdev());
    SubdevStop();
    static SubdevReport report;
    l_debug = 1;
    report.count = 129;
    GetBlackInfo(&report);
    SendtoServer(&report);
    report.count = 0;
    gSdk.blackList = {{2, 1, 1, 1, 1, 1}};
    GetBlackInfo(&report);
    gSdk.results["get_dev_black_list"] = 1;
    GetBlackInfo(&report);
    WithoutDeviceTable([] { GetBlackInfo(&report); });
}

void LogNames::Online()
{
    Fn39LoadMac();
    Fn39UpdateMac();
    Fn39LoadMac();
    FakeFailAllocation(1);
    EXPECT_EQ(-1, Fn39Init());
    FakeFailThreadStart(1, EAGAIN);
    EXPECT_EQ(-1, Fn39Init());
    CommClientReg = 1;
    EXPECT_EQ(0, Fn39Init());
    CommClientReg = 0;

    const auto handle = [](Bytes message, size_t length) {
        message.resize(length);
        Fn40Handle(message.data(), length);
    };
    handle({0, 0}, 41);
    handle({1, 0}, 38);
    handle({1, 0}, 41);
    FakeFailThreadStart(1, EAGAIN);
    EXPECT_EQ(-1, Fn40Init());
    Fn40Interval = 0;
    Fn40Cycle();
}

// ---- The local peer ----

void LogNames::Server()
{
    for (int allocation : {1, 2}) {
        FakeFailAllocation(allocation);
        EXPECT_EQ(-1, CommServerStart());
    }
    FakeFailThreadStart(1, EAGAIN);
    EXPECT_EQ(-1, CommServerStart());
    CommServerStop();
}

void LogNames::Local()
{
    HandleRead(Bytes(14));
    HandleRead(Bytes(15));
    Bytes frame = LocalFrame(FUNCID_VERSION, ++mSequence, {1});
    HandleRead(frame);
    HandleRead(frame);
    frame = LocalFrame(FUNCID_VERSION, ++mSequence, {1});
    frame.back() ^= 1;
    HandleRead(frame);
    Handle(6, {0});
    Handle(FUNCID_PLUGIN_STATE, Text("x"));
    Handle(FUNCID_PLUGIN_STATE, Text("i"));
    Handle(FUNCID_MESH_SUPPORT, {0, 1});
    Handle(FUNCID_MESH_SUPPORT, Bytes(4001));
    for (uint8_t type : {1, 1, 2, 2, 3, 3, 4}) Handle(FUNCID_TYPED_REPORT, {type});
    for (const Bytes &result : {Bytes{0, 0}, Bytes{0}, Bytes{1}}) Handle(FUNCID_FIRMWARE_UPDATE, result);
    Handle(FUNCID_AUTO_REPORT_CONFIG, Bytes{0} + Text("{  }"));
}

void LogNames::Requests()
{
    for (uint32_t id : {0u, 40u, 6u}) EXPECT_EQ(-1, CommSendCmd(id, nullptr, 0));
    uint8_t byte;
    EXPECT_EQ(1, ComF_get_mesh_support(&byte));
    ComF_send_pluginstate();
    ComF_get_autoreport_conf();
    CommReceived = 0;
    EXPECT_EQ(-1, Route_Wait(1));
}

void LogNames::Reporting()
{
    const std::string now = std::to_string(kFakeEpoch);
    SetAutoReport("{\"referNum\":1}");
    SetAutoReport("{\"referNum\":100,\"interval2\":1440,\"timestamp\":1}");
    SetAutoReport("{\"referNum\":100,\"interval2\":1440,\"timestamp\":" + now + ",\"jumpTime\":\"1:00-1:59\"}");
    SetAutoReport("{\"referNum\":100,\"interval2\":1440,\"timestamp\":" + now + ",\"jumpTime\":\"123456789\"}");
    SetAutoReport("{\"referNum\":100,\"interval2\":1440,\"timestamp\":" + now + "}");
    const auto calibrate = [](int slots, int interval, const char *quiet) {
        AutoReportConf conf;
        conf.referNum = slots;
        conf.interval2 = conf.interval3 = interval;
        snprintf(conf.jumpTime, sizeof conf.jumpTime, "%s", quiet);
        AutoReportConfSet(conf);
        ComF_send_calibration();
    };
    calibrate(1, 1440, "");
    calibrate(100, 0, "");
    calibrate(100, -1, "");
    calibrate(100, 1440, "1:00-1:59");
    calibrate(100, 1440, "");
}
