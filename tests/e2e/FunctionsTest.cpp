// Every function of the platform, from the words of a command to the simulated router and back to named fields.
#include <set>

#include "functions/FunctionList.h"
#include "tests/e2e/EndToEnd.h"

namespace
{

const char kDevice[] = "02:1a:2b:00:00:14";

struct Exchange {
    int function;
    const char *command;
    Wanted fields; // of the reply
};

// Queries to the default household (sdk/sim/household.example.json).
const Exchange kQueries[] = {
    {1, "router-version", {{"version", "1.0.0-simulated"}, {"date", "2024-06-01"}}},
    {2,
     "identity",
     {{"serial", "SIM0000000001"}, {"cpu_mhz", "880"}, {"memory_kb", "131072"}, {"name", "household"}, {"ipv6", "1"}}},
    {3,
     "wan-config 0",
     {{"index", "0"},
      {"mode", "pppoe"},
      {"vlan", "41"},
      {"mtu", "1492"},
      {"name", "INTERNET"},
      {"user", "subscriber@example.net"},
      {"password", "subscriber"},
      {"mac", "02:1a:2b:00:00:02"},
      {"ip", "198.51.100.20"},
      {"netmask", "255.255.255.255"},
      {"gateway", "198.51.100.1"},
      {"dns1", "198.51.100.53"},
      {"dns2", "203.0.113.53"},
      {"services", "1"},
      {"connected", "yes"}}},
    {4, "wan-configs", {{"wans.0.name", "INTERNET"}, {"wans.0.ip", "198.51.100.20"}, {"wans.0.mtu", "1492"}}},
    {5, "wan-tcp-connections 0", {}},
    {6, "wan-udp-connections 0", {}},
    {7, "wan-received 0", {}},
    {10, "lan-config", {{"mac", "02:1a:2b:00:00:01"}, {"ip", "192.168.1.1"}, {"netmask", "255.255.255.0"}}},
    {11, "lan-ports", {{"ports", "4"}}},
    {12, "lan-traffic", {}},
    {13, "ssid-configs", {{"ssids.2.ssid", "Household-5G"}, {"ssids.2.channel", "44"}, {"ssids.3.enabled", "off"}}},
    {14, "ssid-switch 3", {{"switch", "off"}}},
    {16,
     "ssid-config 1",
     {{"index", "1"},
      {"ssid", "Household-Guest"},
      {"key", "welcome home"},
      {"enabled", "on"},
      {"hidden", "no"},
      {"security", "4"},
      {"bandwidth", "20"},
      {"channel", "6"},
      {"ip", "192.168.2.1"},
      {"netmask", "255.255.255.0"}}},
    {18, "radio-switch", {{"switch", "on"}}},
    {20, "reserved-query-20", {{"value", "1"}}},
    {22, "led", {{"switch", "on"}}},
    {24, "reserved-query-24", {{"value", "1"}}},
    {26, "services", {{"ftp", "off"}, {"samba", "on"}, {"telnet", "off"}}},
    {28,
     "accounts",
     {{"ftp_user", "ftp"},
      {"ftp_password", "ftp-secret"},
      {"samba_user", "samba"},
      {"samba_password", "samba-secret"},
      {"telnet_user", "admin"},
      {"telnet_password", "telnet-secret"}}},
    {30, "wps", {{"switch", "off"}}},
    {33, "device-bandwidth 02:1a:2b:00:00:14", {}},
    {34, "device-limits 02:1a:2b:00:00:14", {{"up", "0"}, {"down", "0"}}},
    {36, "device-name 02:1a:2b:00:00:17", {{"name", "laptop-of-the-living-room"}}},
    {38,
     "device-config 02:1a:2b:00:00:14",
     {{"mac", kDevice}, {"name", "phone-anna"}, {"link", "wifi-5g"}, {"access", "allowed"}, {"ip", "192.168.1.14"}}},
    {39,
     "all-devices",
     {{"devices.0.name", "office-pc"}, {"devices.0.ip", "192.168.1.11"}, {"devices.11.name", "visitor"}}},
    {41, "device-speeds 02:1a:2b:00:00:14", {{"negotiated", "866"}}},
    {42,
     "adjacent-wifi",
     {{"networks.0.ssid", "Next door"}, {"networks.0.rssi", "-61"}, {"networks.4.frequency", "5500000"}}},
    {43, "black-list", {{"macs.0", "02:1a:2b:00:00:b1"}, {"macs.1", "02:1a:2b:00:00:b2"}}},
    {44, "dns", {{"primary", "198.51.100.53"}, {"secondary", "203.0.113.53"}}},
    {47, "cpu-use", {}},
    {48, "memory-use", {}},
    {49,
     "link-status",
     {{"lan.0", "up"}, {"lan.3", "down"}, {"wan.0", "up"}, {"wifi0", "up"}, {"wifi1", "up"}, {"wifi2", "down"}}},
    {54, "up-time", {}},
    {58, "traffic-rates", {}},
    {60, "router-pin", {{"pin", "12345670"}}},
};

// A setting, the router's call that it makes, and a query that shows that it stays.
const struct Setting {
    int function;
    const char *command;
    const char *call;
    Exchange check; // function 0: none
} kSettings[] = {
    {15, "set-ssid-switch 3 on", "set_ssid_switch(index=3, on=1)", {14, "ssid-switch 3", {{"switch", "on"}}}},
    {17,
     "set-ssid-config index=1 ssid=Visitors key=secret-key channel=11 security=3 bandwidth=40 enabled=on",
     "set_ssid_cfg(",
     {16, "ssid-config 1", {{"ssid", "Visitors"}, {"key", "secret-key"}, {"channel", "11"}, {"bandwidth", "40"}}}},
    {19, "set-radio-switch off", "set_wifi_radio_switch(on=0)", {18, "radio-switch", {{"switch", "off"}}}},
    {23, "set-led off", "set_led_switch(on=0)", {22, "led", {{"switch", "off"}}}},
    {27,
     "set-services on off on",
     "set_telnetenable_switch(on=1)",
     {26, "services", {{"ftp", "on"}, {"samba", "off"}, {"telnet", "on"}}}},
    {29,
     "set-accounts a sixteen-letters! c d e f",
     "set_telnet_password(",
     {28, "accounts", {{"ftp_user", "a"}, {"ftp_password", "sixteen-letters!"}, {"telnet_password", "f"}}}},
    {31, "set-wps on", "set_wps_switch(on=1)", {30, "wps", {{"switch", "on"}}}},
    {32,
     "set-device-access mac=02:1a:2b:00:00:14 access=refused",
     "set_dev_access_control(",
     {38, "device-config 02:1a:2b:00:00:14", {{"access", "refused"}, {"name", "phone-anna"}}}},
    {35,
     "set-device-limits 02:1a:2b:00:00:14 1000000 20000000000",
     "set_dev_ds_max_bw(mac=02:1a:2b:00:00:14, limit=20000000000)",
     {34, "device-limits 02:1a:2b:00:00:14", {{"up", "1000000"}, {"down", "20000000000"}}}},
    {37,
     "set-device-name 02:1a:2b:00:00:14 Anna's new phone",
     "set_dev_name(mac=02:1a:2b:00:00:14, name=\"Anna's new phone\")",
     {36, "device-name 02:1a:2b:00:00:14", {{"name", "Anna's new phone"}}}},
    {45,
     "set-dns 192.0.2.1 192.0.2.2",
     "set_dns(primary=192.0.2.1, secondary=192.0.2.2)",
     {44, "dns", {{"primary", "192.0.2.1"}, {"secondary", "192.0.2.2"}}}},
    {46, "set-router-name Our house", "set_name(name=\"Our house\")", {2, "identity", {{"name", "Our house"}}}},
    {50, "set-full-load 3 on", "set_full_load_enable(selector=3, on=1)", {}},
    {53, "set-time 1800000000", "sync_time(seconds=1800000000)", {}},
    {56, "set-redirection http://portal.example.net/", "set_redirection(text=\"http://portal.example.net/\")", {}},
    {57, "update-rom http://example.net/rom.bin", "update_rom_version(text=\"http://example.net/rom.bin\")", {}},
    {59, "set-test-url http://example.net/", "set_http_test_url(text=\"http://example.net/\")", {}},
    {55, "restart", "restart()", {}},
};

// Functions with a status and no data.
const struct Status {
    int function;
    const char *command;
    int status;
} kStatuses[] = {
    {21, "reserved-setting-21", 0},
    {25, "reserved-setting-25", 0},
    {64, "report-devices", 0},
    {66, "set-bandwidth no JSON", 0},
    {69, "set-surf-rules no JSON", 2},
    {87, "config-data {\"another\":1}", 1},
    // There is no local peer.
    {70, "wifi-band 0", 1},
    {71, "mesh-support", 1},
    {72, "set-mesh on", 1},
    {73, "mesh", 1},
    {74, "set-mesh-roaming on", 1},
    {75, "mesh-roaming", 1},
    {76, "set-roaming-threshold 20 30", 1},
    {77, "roaming-threshold", 1},
    {78, "mesh-topology", 1},
    {79, "adjacent-wifi-info", 1},
    {80, "bssid", 1},
    {82, "set-wan-config index=0 mode=dhcp mtu=1500", 1},
    {83, "one-key-optimize", 1},
    {85, "fault-diagnosis", 1},
    {88, "set-auto-report {\"referNum\":1}", 1},
};

const int kSilent[] = {40, 81, 84, 86};
const int kDiagnostics[] = {8, 9, 51, 52, 61}; // they have their own tests

class Functions : public EndToEnd
{
  protected:
    static Event Ask(RunningSession &session, int function, const std::string &command, int status = 0)
    {
        session.platform.Command(command);
        const Event reply = session.platform.Wait("reply", {{"function", std::to_string(function)}});
        EXPECT_EQ(std::to_string(status), reply.Text("status")) << command;
        EXPECT_EQ("true", reply.Text("matched")) << command;
        EXPECT_FALSE(reply.Has("problems")) << reply.Line();
        return reply;
    }

    static void Check(RunningSession &session, const Exchange &exchange)
    {
        const Event reply = Ask(session, exchange.function, exchange.command);
        EXPECT_TRUE(reply.Has("fields")) << reply.Line();
        for (const auto &field : exchange.fields)
            EXPECT_EQ(field.second, reply.Text("fields." + field.first)) << exchange.command << ": " << field.first;
    }
};

TEST_F(Functions, EveryQueryAnswersTheRoutersData)
{
    RunningSession session;
    for (const Exchange &query : kQueries) Check(session, query);
}

TEST_F(Functions, EverySettingReachesTheRouterAndStays)
{
    RunningSession session;
    for (const Setting &setting : kSettings) {
        Ask(session, setting.function, setting.command);
        EXPECT_TRUE(Contains(ReadFile(kCallLog), std::string(" ") + setting.call)) << setting.command;
        if (setting.check.function != 0) Check(session, setting.check);
    }
}

TEST_F(Functions, FunctionsWithoutDataAnswerTheirStatus)
{
    RunningSession session;
    for (const Status &row : kStatuses) {
        const Event reply = Ask(session, row.function, row.command, row.status);
        EXPECT_FALSE(reply.Has("fields")) << row.command;
    }
}

TEST_F(Functions, FunctionsThatDoNothingHaveNoReply)
{
    RunningSession session;
    for (int function : kSilent) session.platform.Command("no-operation-" + std::to_string(function));
    session.ExpectAnswers();
    for (int function : kSilent)
        EXPECT_EQ(0u, session.platform.Count("reply", {{"function", std::to_string(function)}})) << function;
}

TEST_F(Functions, UnusedIdsAreAnsweredAsUnsupported)
{
    RunningSession session;
    for (int function : {62, 63, 65, 67, 68, 89, 32766}) {
        session.platform.Command("function " + std::to_string(function));
        const Event reply = session.platform.Wait("reply", {{"function", std::to_string(function)}});
        EXPECT_EQ("not supported", reply.Text("verdict")) << function;
        EXPECT_EQ("parser error", session.platform.Wait("reply").Text("text")) << function;
    }
    session.ExpectAnswers();
}

TEST_F(Functions, AFailureOfTheRouterIsAnsweredWithItsResultAndZeros)
{
    AgentOptions options;
    options.environment["ROUTER_SIM_FAULTS"] = "get_wan_cfg=9,get_led_switch=-1,get_cpu_use=5,get_devs_cfg=1,set_dns=3";
    RunningSession session(options);
    const Event wan = Ask(session, 3, "wan-config 0", 9);
    EXPECT_EQ("", wan.Text("fields.name"));
    EXPECT_EQ("0.0.0.0", wan.Text("fields.ip"));
    EXPECT_EQ("off", Ask(session, 22, "led", -1).Text("fields.switch"));
    EXPECT_EQ("0", Ask(session, 47, "cpu-use").Text("fields.use"));
    EXPECT_EQ("[]", Ask(session, 39, "all-devices").Text("fields.devices"));
    Ask(session, 45, "set-dns 1.1.1.1 2.2.2.2", 3);
}

TEST_F(Functions, TheFirmwareIsReportedWithin20SecondsAfterTheLogin)
{
    RunningSession session;
    const Event report = session.platform.Wait("upload", {{"datatype", "14"}});
    EXPECT_EQ("1.0.0-simulated20240601", report.Text("json.version"));
    EXPECT_EQ("2.0.0.7", report.Text("json.sdkVersion"));
    EXPECT_EQ("-1", report.Text("json.interval1"));
    EXPECT_EQ("-1", report.Text("json.interval2"));
    EXPECT_EQ("-1", report.Text("json.interval3"));
    EXPECT_EQ("no", report.Text("json.configed"));
}

TEST_F(Functions, EveryFunctionIsTested)
{
    std::set<int> tested(std::begin(kDiagnostics), std::end(kDiagnostics));
    tested.insert(std::begin(kSilent), std::end(kSilent));
    for (const Exchange &query : kQueries) tested.insert(query.function);
    for (const Setting &setting : kSettings) tested.insert(setting.function);
    for (const Status &row : kStatuses) tested.insert(row.function);
#define FUNCTION_TESTED(id, name, handler, status, length)                                                             \
    EXPECT_EQ(STATUS_##status != STATUS_UNKNOWN, tested.count(id) == 1) << name;
    FUNCTION_LIST(FUNCTION_TESTED)
#undef FUNCTION_TESTED
}

} // namespace
