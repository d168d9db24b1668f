#include "tests/torture/Script.h"

#include <algorithm>
#include <cstring>
#include <ctime>

static const char kHttp[] = "127.0.0.1:8199";
static const char kPhone[] = "02:1a:2b:00:00:14";

const std::string &NewAgent()
{
    static const std::string content = Body(30000);
    return content;
}

static PlatformOptions WithHttp()
{
    PlatformOptions options;
    options.httpAt = kHttp;
    return options;
}

static const std::string &DigestOfNewAgent()
{
    static const std::string digest = Md5(NewAgent());
    return digest;
}

Programs::Programs()
    : ping_("ping", "echo 'PING 10.77.2.2'; echo '1 packets transmitted, 1 received'"),
      traceroute_("traceroute", "echo 'traceroute to 10.77.2.2'; echo ' 1  10.77.1.2'"), killall_("killall"),
      iptables_("iptables")
{
}

Scene::Scene(const ManagerOptions &managerOptions)
    : platform(WithHttp()), manager(managerOptions), updates(Serving(NewAgent())), digest(DigestOfNewAgent())
{
    manager.Set("disconnect");
    platform.Set("http /download/x size=20000");
}

void Scene::Clear(bool peer)
{
    for (const char *path : {kStatusFile, kConfigFile, kAgentFolder, kSocket, kTracerouteFile, kUpdate,
                             "/tmp/macconfig", "/tmp/tmpSubdev"})
        std::filesystem::remove_all(path);
    manager.Set("disconnect");
    platform.Mark();
    manager.Mark();
    if (peer) manager.Set("connect");
}

// A Wednesday, at noon.
AgentOptions SceneOptions()
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    AgentOptions options = WithFakes(kTortureClock);
    options.environment["FASTCLOCK_ANCHOR"] =
        "1772625600000000000 " + std::to_string(static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec);
    return options;
}

// ---- Steps of all sessions

static void Reply(const Turn &turn, const std::string &command, int function)
{
    turn.scene.platform.Command(command);
    turn.scene.platform.Wait("reply", {{"function", std::to_string(function)}, {"matched", "true"}}, turn.patience);
}

static void Drop(const Turn &turn)
{
    turn.scene.platform.Command("drop");
    turn.scene.platform.WaitSession(turn.patience);
}

// ---- The router's side

// Sends them all, and waits for the answer to the last one.
static void All(const Turn &turn, const std::vector<const char *> &commands, int last)
{
    Platform &platform = turn.scene.platform;
    platform.Mark();
    for (const char *command : commands) platform.Set(command);
    platform.Wait("reply", {{"function", std::to_string(last)}, {"status", "0"}}, turn.patience);
}

static void Queries(const Turn &turn)
{
    All(turn,
        {"identity",
         "wan-config 0",
         "function 4",
         "function 5",
         "function 6",
         "function 7",
         "function 10",
         "function 11",
         "function 12",
         "function 13",
         "ssid-switch 3",
         "ssid-config 1",
         "radio-switch",
         "led",
         "services",
         "accounts",
         "wps",
         "device-bandwidth 02:1a:2b:00:00:14",
         "device-limits 02:1a:2b:00:00:14",
         "device-name 02:1a:2b:00:00:17",
         "device-config 02:1a:2b:00:00:14",
         "all-devices",
         "device-speeds 02:1a:2b:00:00:14",
         "adjacent-wifi",
         "black-list",
         "dns",
         "cpu-use",
         "memory-use",
         "link-status",
         "up-time",
         "traffic-rates",
         "router-pin",
         "version"},
        1);
}

static void Settings(const Turn &turn)
{
    All(turn,
        {"set-ssid-switch 3 on", "set-ssid-config index=1 ssid=Visitors key=secret-key channel=11 enabled=on",
         "set-radio-switch on", "set-led off", "set-services on off on", "set-accounts a b c d e f", "set-wps on",
         "set-device-access mac=02:1a:2b:00:00:15 access=allowed",
         "set-device-limits 02:1a:2b:00:00:14 1000000 2000000", "set-device-name 02:1a:2b:00:00:14 phone",
         "set-dns 192.0.2.1 192.0.2.2", "set-router-name Our house", "set-full-load 3 on", "set-time 1800000000",
         "set-redirection http://portal.example.net/", "update-rom http://example.net/rom.bin",
         "set-test-url http://example.net/", "restart", "version"},
        1);
}

static void ReportInterval(const Turn &turn)
{
    turn.scene.platform.Command("report-interval 5");
    turn.scene.platform.Wait("ack", {}, turn.patience);
}

// New devices are reported by themselves, after a minute; until there is a local peer, or what was taken for one.
static void NewDevices(const Turn &turn)
{
    if (turn.first) turn.agent->WaitLog("Func39 query...", 0, 4 * turn.patience);
}

static void Surf(const Turn &turn)
{
    const std::string log = turn.agent->RawLog();
    const size_t from = static_cast<size_t>(std::count(log.begin(), log.end(), '\n'));
    // The agent does not try again when the router fails to let a device back in.
    Reply(turn, std::string("surf del ") + kPhone + " 3 0:00 23:59", 69);
    Reply(turn, std::string("set-device-access mac=") + kPhone + " access=allowed", 32);
    Reply(turn, std::string("surf add ") + kPhone + " 3 0:00 23:59", 69);
    turn.agent->WaitLog("set_dev_access_control for: 02:1A:2B:00:00:14 to 0", from, 2 * turn.patience);
    Reply(turn, std::string("surf del ") + kPhone + " 3 0:00 23:59", 69);
}

static void PingTarget(const Turn &turn)
{
    Platform &platform = turn.scene.platform;
    Send(&platform, 8, PingParameters(kFarHost, 56, 1));
    AwaitReply(&platform, 8, turn.patience);
    for (int i = 0; i < 2; i++) {
        Send(&platform, 9);
        if (AwaitReply(&platform, 9, turn.patience).status == 0) return;
    }
    throw Failure("the ping brings no result");
}

static void TraceTarget(const Turn &turn)
{
    Platform &platform = turn.scene.platform;
    Send(&platform, 51, TargetParameter(kFarHost));
    if (AwaitReply(&platform, 51, turn.patience).status != 0) throw Failure("the traceroute does not start");
    Send(&platform, 52);
    AwaitReply(&platform, 52, turn.patience);
}

static void RateTest(const Turn &turn)
{
    Platform &platform = turn.scene.platform;
    const std::string json = std::string("{\"value_func61\":\"http://") + kHttp + "/download/x\"}";
    platform.Command("function 87 " + Hex16(static_cast<unsigned>(json.size())) + " text=" + json);
    const Event report = platform.Wait("reply", {{"function", "62"}}, turn.patience);
    if (Contains(report.Line(), "ffffffff")) throw Failure("the rate test fails");
}

static void Forward(const Turn &turn)
{
    for (const char *way : {"add", "del"}) {
        turn.scene.platform.Command(std::string("forward ") + way + " 192.168.1.1 8080 192.168.1.50 80");
        turn.scene.platform.Wait("ack", {{"datatype", "9"}}, turn.patience);
    }
}

static void Limit(const Turn &turn)
{
    Reply(turn, std::string("limit ") + kPhone + " 100000 500000", 66);
    Reply(turn, std::string("limit ") + kPhone + " off", 66);
}

static void AttachedDevices(const Turn &turn)
{
    turn.scene.platform.Command("report-devices");
    turn.scene.platform.Wait("upload", {{"datatype", "63"}}, turn.patience);
}

// ---- The local peer's side

static void Connect(const Turn &turn)
{
    if (!turn.first) {
        turn.scene.manager.Set("disconnect");
        turn.scene.manager.Command("connect");
    }
    turn.scene.manager.Wait("connected", {}, turn.patience);
    if (turn.first) turn.scene.manager.Wait("request", {{"name", "auto-report-config"}}, 2 * turn.patience);
}

static void Mesh(const Turn &turn)
{
    for (const char *command : {"wifi-band 1", "mesh-support", "mesh", "mesh-roaming", "roaming-threshold", "bssid",
                                "mesh-topology", "adjacent-wifi-info", "set-mesh off", "set-mesh-roaming off",
                                "set-roaming-threshold 81 42", "one-key-optimize", "fault-diagnosis",
                                "set-wan-config index=0 mode=static mtu=1480 name=SECOND ip=203.0.113.7"}) {
        turn.scene.platform.Command(command);
        if (turn.scene.platform.Wait("reply", {{"matched", "true"}}, turn.patience).Text("status") != "0")
            throw Failure(std::string("no success of ") + command);
    }
}

static void Reports(const Turn &turn)
{
    static const struct {
        const char *command;
        const char *type;
    } kReports[] = {{"report wan mtu=1400", "81"},
                    {"report 84 {\"a\":1}", "84"},
                    {"report 86 {\"a\":1}", "86"},
                    {"report typed 1 {\"a\":1}", "89"}};
    for (const auto &report : kReports) {
        turn.scene.platform.Mark();
        turn.scene.manager.Set(report.command);
        if (!turn.first && strcmp(report.type, "89") == 0) break; // for some time the agent keeps further ones back
        turn.scene.platform.Wait("upload", {{"datatype", report.type}}, turn.patience);
    }
}

// Another device each time: one that has been reported is known for a while.
static void ComeAndGo(const Turn &turn)
{
    static unsigned count;
    char device[32];
    count++;
    snprintf(device, sizeof device, "02:1a:2b:01:%02x:%02x", count >> 8 & 0xFF, count & 0xFF);
    turn.scene.platform.Mark();
    turn.scene.manager.Set(std::string("devices online ") + device + "=guest");
    turn.scene.platform.Wait("upload", {{"datatype", "40"}}, 2 * turn.patience);
    turn.scene.manager.Set(std::string("devices offline ") + device);
    turn.scene.manager.Set(std::string("device remove ") + device); // it has room for 128
}

static void AutoReport(const Turn &turn)
{
    Reply(turn, "set-auto-report {\"referNum\":1,\"interval1\":10,\"interval2\":1440,\"interval3\":30}", 88);
    turn.scene.manager.Set("plugin-state");
}

static void Firmware(const Turn &turn)
{
    turn.scene.platform.Command("firmware-check 1.0.0 2.0.0");
    turn.scene.platform.Wait("upload", {{"datatype", "17"}}, turn.patience);
    turn.scene.platform.Command(
        "firmware-update 1.0.0 2.0.0 http://198.51.100.9/rom 70000 1 0123456789abcdef0123456789abcdef");
    turn.scene.platform.Wait("upload", {{"datatype", "17"}}, turn.patience);
}

static void Leave(const Turn &turn)
{
    turn.scene.manager.Set("disconnect");
    Drop(turn);
}

// ---- Updates

static std::string UpdateResult(const Turn &turn, const std::string &digest)
{
    Platform &platform = turn.scene.platform;
    platform.Command("plugin 1 {\"pluginID\":\"router\",\"fromVersion\":\"2.0\",\"toVersion\":\"2.1\"}");
    platform.Wait("ack", {{"datatype", "1"}}, turn.patience);
    platform.Command(UpdateCommand(turn.scene.updates.Port(), "/agent", digest));
    return platform.Wait("upload", {{"datatype", "3"}}, turn.patience).Text("json.result");
}

static void RefusedUpdate(const Turn &turn)
{
    if (UpdateResult(turn, std::string(32, '0')) != "-1") throw Failure("a wrong digest is accepted");
    turn.scene.platform.Wait("ack", {{"datatype", "2"}}, turn.patience);
}

static void Update(const Turn &turn)
{
    if (UpdateResult(turn, turn.scene.digest) != "0") throw Failure("the update fails");
    turn.agent->WaitExit(turn.patience);
}

const std::vector<Session> &Sessions()
{
    static const std::vector<Session> sessions = {
        {"router",
         {{"report interval", ReportInterval},
          {"queries", Queries},
          {"settings", Settings},
          {"surf rules", Surf},
          {"ping", PingTarget},
          {"traceroute", TraceTarget},
          {"rate test", RateTest},
          {"port forwarding", Forward},
          {"bandwidth", Limit},
          {"attached devices", AttachedDevices},
          {"new devices", NewDevices},
          {"lost session", Drop}},
         false,
         false},
        {"local",
         {{"connect", Connect},
          {"mesh", Mesh},
          {"reports", Reports},
          {"devices", ComeAndGo},
          {"auto report", AutoReport},
          {"firmware", Firmware},
          {"leave", Leave}},
         true,
         false},
        {"update", {{"refused", RefusedUpdate}, {"update", Update}}, false, true},
    };
    return sessions;
}
