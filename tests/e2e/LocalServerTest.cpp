// The local server: the platform's queries go through the agent to the local peer and are answered from the household;
// the peer's reports reach the platform.
#include "tests/e2e/LocalSession.h"

namespace
{

class LocalServer : public EndToEnd
{
};

struct Exchange {
    const char *command; // also the name of the request
    Wanted fields;       // of the reply
};

const Exchange kQueries[] = {
    {"wifi-band 1", {{"band", "5"}}},
    {"mesh-support", {{"support", "yes"}}},
    {"mesh", {{"switch", "on"}}},
    {"mesh-roaming", {{"switch", "on"}}},
    {"roaming-threshold", {{"first", "70"}, {"second", "60"}}},
    {"bssid",
     {{"bssid", "{\"bssid\":[{\"band\":\"2.4G\",\"ssid\":\"Household\",\"mac\":\"021A2B000021\"},"
                "{\"band\":\"5G\",\"ssid\":\"Household-5G\",\"mac\":\"021A2B000025\"}]}"}}},
    {"mesh-topology",
     {{"topology", "{\"nodes\":[{\"mac\":\"02:1a:2b:00:00:01\",\"name\":\"household\",\"role\":\"router\","
                   "\"parent\":\"00:00:00:00:00:00\",\"link\":\"wired\",\"rssi\":0},"
                   "{\"mac\":\"02:1a:2b:00:01:01\",\"name\":\"upstairs\",\"role\":\"satellite\","
                   "\"parent\":\"02:1a:2b:00:00:01\",\"link\":\"wifi-5g\",\"rssi\":-58},"
                   "{\"mac\":\"02:1a:2b:00:02:01\",\"name\":\"garden\",\"role\":\"satellite\","
                   "\"parent\":\"02:1a:2b:00:01:01\",\"link\":\"wired\",\"rssi\":0}]}"}}},
    // BSSID, SSID in 33 bytes, protection in 21, -61 dBm, 2412000 kHz, channel 1, 20 MHz, 34 %, three bytes more.
    {"adjacent-wifi-info",
     {{"networks.0", "021a2b000a01"
                     "4e65787420646f6f72000000000000000000000000000000000000000000000000"
                     "575041322d50534b00000000000000000000000000"
                     "c3ffffffe0cd24000100140022"
                     "00000000"}}},
};

TEST_F(LocalServer, EveryQueryIsAnsweredFromTheHousehold)
{
    LocalSession local;
    for (const Exchange &query : kQueries) {
        SCOPED_TRACE(query.command);
        const Event reply = local.Ask(query.command);
        EXPECT_EQ("0", reply.Text("status"));
        for (const auto &field : query.fields) EXPECT_EQ(field.second, reply.Text("fields." + field.first));
        const std::string name = std::string(query.command).substr(0, std::string(query.command).find(' '));
        local.manager.Wait("answered", {{"name", name}, {"status", "0"}}); // it says so when it has sent the answer
        EXPECT_EQ(1u, local.manager.Count("answered", {{"name", name}, {"status", "0"}}));
    }
    EXPECT_EQ(0u, local.manager.Count("bad-frame"));
    EXPECT_EQ(0u, local.platform.Count("bad-frame"));
}

TEST_F(LocalServer, SettingsReachTheHousehold)
{
    LocalSession local;
    for (const char *setting :
         {"set-mesh off", "set-mesh-roaming off", "set-roaming-threshold 81 42", "one-key-optimize", "fault-diagnosis"})
        EXPECT_EQ("0", local.Ask(setting).Text("status")) << setting;
    EXPECT_EQ("off", local.Ask("mesh").Text("fields.switch"));
    EXPECT_EQ("off", local.Ask("mesh-roaming").Text("fields.switch"));
    const Event thresholds = local.Ask("roaming-threshold");
    EXPECT_EQ("81", thresholds.Text("fields.first"));
    EXPECT_EQ("42", thresholds.Text("fields.second"));

    EXPECT_EQ("0", local
                       .Ask("set-wan-config index=0 mode=static mtu=1480 name=SECOND mac=02:1a:2b:00:00:0f "
                            "ip=203.0.113.7 dns2=203.0.113.53 services=513 connected=yes")
                       .Text("status"));
    local.manager.Command("show wan");
    const Event wan = local.manager.Wait("household");
    const Wanted wanted = {{"mode", "static"},           {"mtu", "1480"},        {"name", "SECOND"},
                           {"ip", "203.0.113.7"},        {"gateway", "0.0.0.0"}, {"dns2", "203.0.113.53"},
                           {"mac", "02:1a:2b:00:00:0f"}, {"services", "513"},    {"connected", "yes"}};
    for (const auto &field : wanted) EXPECT_EQ(field.second, wan.Text("wan.0." + field.first));
    EXPECT_EQ(0u, local.manager.Count("bad-frame"));
}

TEST_F(LocalServer, ARefusalIsReportedAsItsStatusOnly)
{
    LocalSession local;
    const Event refused = local.Ask("wifi-band 9");
    EXPECT_EQ("1", refused.Text("status"));
    EXPECT_FALSE(refused.Has("fields"));
    local.manager.Set("misbehave status@set-mesh=5 1");
    EXPECT_EQ("5", local.Ask("set-mesh off").Text("status"));
}

TEST_F(LocalServer, WithoutAPeerEveryRequestFailsAtOnce)
{
    RunningSession session;
    session.platform.Command("mesh");
    EXPECT_EQ("1", session.platform.Wait("reply", {}, 0.4).Text("status")); // a wait for an answer lasts 0.5 s
    session.agent.WaitLog("ERROR: send get mesh switch command failed!");
}

// ---- What the management process says by itself

// Sequence and number of a report, two bytes each, and two of zero.
TEST_F(LocalServer, AWanReportIsSentWithItsAddressesTurned)
{
    LocalSession local;
    local.manager.Command("report wan mtu=1400 services=258");
    const Event upload = local.platform.Wait("upload", {{"datatype", "81"}});
    std::string record = "0000"
                         "02"
                         "2900"
                         "7805";
    record += "494e5445524e4554" + std::string(112, '0');                            // INTERNET in 64 bytes
    record += "73756273637269626572406578616d706c652e6e6574" + std::string(84, '0'); // the account
    record += "73756273637269626572" + std::string(108, '0');                        // its password
    record += "021a2b000002"
              "146433c6"
              "ffffffff"
              "016433c6"
              "356433c6"
              "357100cb"
              "0201"
              "01";
    EXPECT_EQ("010051000000" + record, upload.Text("payload"));
    EXPECT_EQ("02:1a:2b:00:00:01", upload.Text("mac"));
}

TEST_F(LocalServer, JsonReportsAreSentAfterTheirHeaderAndShareOneCounter)
{
    LocalSession local;
    local.manager.Command("report 84 {\"cpu\":1}");
    EXPECT_EQ("0100"
              "5400"
              "0000"
              "0900"
              "7b22637075223a317d",
              local.platform.Wait("upload", {{"datatype", "84"}}).Text("payload"));
    local.manager.Command("report 86 {\"mem\":22}");
    EXPECT_EQ("0200"
              "5600"
              "0000"
              "0a00"
              "7b226d656d223a32327d",
              local.platform.Wait("upload", {{"datatype", "86"}}).Text("payload"));
    local.manager.Command("report typed 3 {}");
    EXPECT_EQ("0300"
              "5900"
              "0000"
              "0300"
              "037b7d",
              local.platform.Wait("upload", {{"datatype", "89"}}).Text("payload"));
}

TEST_F(LocalServer, ATypeOneReportIsNotRepeatedWithinTwoMinutesNorAnyWithinFiveSeconds)
{
    AgentOptions slow;
    slow.clock = 4; // five seconds of the agent are more than one of ours
    LocalSession local(slow);
    local.manager.Command("report typed 1 first");
    local.platform.Wait("upload", {{"datatype", "89"}});
    local.manager.Command("burst 2 report typed 1 first");
    const LogEntry second = local.agent.WaitLog("ERROR: type1 report error!");
    const LogEntry third = local.agent.WaitLog("ERROR: type1 report error!", second.number + 1);
    local.manager.Command("report typed 1 other");
    local.agent.WaitLog("ERROR: type1 report error!", third.number + 1);
    local.session.ExpectAnswers();
    EXPECT_EQ(1u, local.platform.Count("upload", {{"datatype", "89"}}));
    EXPECT_EQ(3u, local.agent.CountLog("ERROR: type1 report error!"));
}

TEST_F(LocalServer, ReportsOfTypesTwoAndThreeThatComeTooSoonAreDropped)
{
    LocalSession local;
    for (const char *type : {"2", "3"}) {
        const std::string report = std::string("report typed ") + type;
        const std::string refused = std::string("ERROR: type") + type + " report error!";
        local.manager.Command(report + " one");
        local.platform.Wait("upload", {{"datatype", "89"}});
        local.manager.Command(report + " two");
        local.agent.WaitLog(refused);
    }
    for (int i = 0; i < 4; i++) local.platform.Wait("heartbeat"); // 60 s and more
    local.manager.Command("report typed 2 three");
    local.manager.Command("report typed 3 three");
    EXPECT_EQ("037468726565", local.platform.Wait("upload", {{"datatype", "89"}}).Text("payload").substr(16));
    EXPECT_EQ(2u, local.agent.CountLog("ERROR: type2 report error!"));
    local.manager.Command("report typed 4 x");
    local.agent.WaitLog("ERROR: type error!");
}

TEST_F(LocalServer, DevicesThatComeOnlineAreReportedOneByOne)
{
    LocalSession local;
    local.manager.Command("devices online 02:1a:2b:00:00:31=laptop 02:1a:2b:00:00:32=phone");
    const std::string laptop = "0000"
                               "2800"
                               "0000"
                               "0100"
                               "021a2b000031"
                               "6c6170746f70" +
                               std::string(52, '0') + "01";
    const std::string phone = "0000"
                              "2800"
                              "0000"
                              "0100"
                              "021a2b000032"
                              "70686f6e65" +
                              std::string(54, '0') + "01";
    EXPECT_EQ(laptop, local.platform.Wait("upload", {{"datatype", "40"}}).Text("payload"));
    EXPECT_EQ(phone, local.platform.Wait("upload", {{"datatype", "40"}}).Text("payload"));
    local.Tell("devices online 02:1a:2b:00:00:31=laptop"); // known already
    local.Tell("devices offline 02:1a:2b:00:00:32");
    local.agent.WaitLog("Subdev offline.");
    for (int i = 0; i < 2; i++) local.platform.Wait("heartbeat"); // more than one cycle of reports
    EXPECT_EQ(2u, local.platform.Count("upload", {{"datatype", "40"}}));
}

TEST_F(LocalServer, ThePluginStateIsSentToAValidQuery)
{
    LocalSession local;
    local.manager.Command("plugin-state");
    const Event state = local.manager.Wait("request", {{"name", "plugin-state"}});
    EXPECT_EQ("online", state.Text("fields.pluginState"));
    EXPECT_EQ("2.0.0.7-20220406", state.Text("fields.pluginVersion"));
    local.manager.Command("plugin-state old");
    local.agent.WaitLog("Old plugin no plugin state notice.");
}

TEST_F(LocalServer, TheResultOfAFirmwareUpdateIsReported)
{
    LocalSession local;
    local.manager.Command("firmware-result 0");
    EXPECT_EQ("{\"result\":0,\"resultDesc\":\"success\"}",
              local.platform.Wait("upload", {{"datatype", "17"}}).Text("text"));
    local.manager.Command("firmware-result 8");
    EXPECT_EQ("{\"result\":8,\"resultDesc\":\"firmware update faiiled.\"}",
              local.platform.Wait("upload", {{"datatype", "17"}}).Text("text"));
    local.manager.Command("frame firmware-update hex=0000");
    local.agent.WaitLog("Firmware update return length error.");
}

// ---- The auto-report configuration

std::string Configuration(Platform &platform)
{
    const long now = static_cast<long>(platform.Wait("heartbeat").Number("head.time"));
    return "set-auto-report {\"timestamp\":" + std::to_string(now) +
           ",\"referNum\":100,\"interval1\":5,\"interval2\":1440,\"interval3\":60,\"jumpTime\":\"8:00-22:00\"}";
}

TEST_F(LocalServer, TheAutoReportConfigurationIsKeptAndCalibratedAfterTheAgentsRestart)
{
    AgentOptions fast;
    fast.clock = 60; // the calibration comes after 200 s
    ManagerOptions kept;
    kept.state = "/tmp/auto-report";
    Manager manager(kept);
    Platform platform;
    {
        Agent agent(fast);
        platform.WaitSession();
        manager.Wait("request", {{"name", "auto-report-config"}});
        EXPECT_EQ("nothing is configured",
                  manager.Wait("answered", {{"name", "auto-report-config"}, {"status", "1"}}).Text("note"));
        platform.Command(Configuration(platform));
        EXPECT_EQ("0", platform.Wait("reply").Text("status"));
        const Event request = manager.Wait("request", {{"name", "set-auto-report"}});
        EXPECT_EQ("1", request.Text("fields.save"));
        EXPECT_TRUE(Contains(request.Text("fields.dayReportTime"), "."));
        const Event plan = manager.Wait("auto-report");
        for (const auto &member : Wanted{{"kept", "true"},
                                         {"referNum", "100"},
                                         {"interval1", "5"},
                                         {"interval2", "1440"},
                                         {"interval3", "60"},
                                         {"jumpTime", "8:00-22:00"}})
            EXPECT_EQ(member.second, plan.Text(member.first)) << member.first;
        EXPECT_GT(plan.Number("cycleReportStart"), 1e9);
    }
    manager.Wait("disconnected", {{"by", "agent"}});
    EXPECT_EQ(0, manager.End());

    Manager again(kept);
    Agent agent(fast);
    const Event told = again.Wait("answered", {{"name", "auto-report-config"}, {"status", "0"}});
    EXPECT_EQ("100", told.Text("fields.referNum"));
    EXPECT_EQ("8:00-22:00", told.Text("fields.jumpTime"));
    const Event calibration = again.Wait("request", {{"name", "set-auto-report"}});
    EXPECT_EQ("0", calibration.Text("fields.save"));
    EXPECT_EQ("1440", calibration.Text("fields.interval2"));
    const Event plan = again.Wait("auto-report");
    EXPECT_EQ("100", plan.Text("referNum")); // only the times are new
    agent.WaitLog("Send calibration success, No need return!");
    EXPECT_EQ(0u, again.Count("answered", {{"name", "set-auto-report"}}));
}

} // namespace
