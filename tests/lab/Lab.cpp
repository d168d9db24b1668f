#include "tests/lab/Lab.h"

#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sstream>
#include <unistd.h>

#include "tests/e2e/NetNamespace.h"

static const double kLookSeconds = 0.1; // between two questions for what no event tells

double Now()
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// ---- The networks ----

static std::string LabScript(const std::string &arguments)
{
    return RunShell(LAB_SCRIPT " " + arguments);
}

Lab::Lab()
{
    LabScript("up");
}

Lab::~Lab()
{
    try {
        LabScript("down");
    } catch (const Failure &failure) {
        fprintf(stderr, "%s\n", failure.what());
    }
}

void Lab::Join(int client, const std::string &name)
{
    LabScript("join " + std::to_string(client) + " " + name);
}

void Lab::Leave(int client)
{
    LabScript("leave " + std::to_string(client));
}

void Lab::Crowd(int count)
{
    LabScript("crowd " + std::to_string(count));
}

void Lab::Flood() const
{
    Shell("router", R"(
        for i in $(seq 1 60); do
            ip link add flap$i type veth peer name palf$i
            ip link set flap$i master br-lan up; ip link set palf$i up
            ip link del flap$i
        done
        ip link add store type dummy; ip link set store up
        seq 1 3000 | awk '{ print "route add 10." int($1 / 250) "." $1 % 250 ".0/24 dev store" }' | ip -batch -
        seq 1 3000 | awk '{ print "neigh add 10." int($1 / 250) "." $1 % 250 ".7 lladdr 02:00:00:03:00:01 dev store" }' |
            ip -batch -
        ip link del store
        seq 1 400 | awk '{ printf "neigh replace 192.168.50.240 lladdr 02:00:00:04:%02x:%02x dev br-lan nud stale\n", int($1 / 256), $1 % 256 }' |
            ip -batch -
        ip neigh del 192.168.50.240 dev br-lan)");
}

std::string CrowdMac(int device)
{
    char mac[18];
    snprintf(mac, sizeof mac, "02:00:00:02:%02x:%02x", static_cast<unsigned>(device / 256),
             static_cast<unsigned>(device % 256));
    return mac;
}

std::string CrowdIp(int device)
{
    return "192.168.50." + std::to_string(device < 98 ? device + 1 : device + 102);
}

std::string Lab::Shell(const std::string &net, const std::string &text) const
{
    std::string output;
    Inside(net, [&] { output = RunShell(text); });
    return output;
}

void Lab::Inside(const std::string &net, const std::function<void()> &body) const
{
    const int network = open(("/run/netns/" + net).c_str(), O_RDONLY | O_CLOEXEC);
    if (network < 0) throw Failure("no network " + net + ": " + strerror(errno));
    try {
        RunInNetwork(network, body);
    } catch (...) {
        close(network);
        throw;
    }
    close(network);
}

std::string Lab::AddressOf(int client, int family) const
{
    std::istringstream words(Shell("client" + std::to_string(client),
                                   "ip -" + std::to_string(family) + " -o addr show dev eth0 scope global"));
    std::string word, kind;
    while (words >> word)
        if (word == "inet" || word == "inet6") {
            words >> word;
            return word.substr(0, word.find('/'));
        }
    throw Failure("client " + std::to_string(client) + " has no address");
}

// ---- The session ----

// Surf rules have no Sunday, and none crosses midnight: how many hours ahead it is another day, and not late.
static int HoursAhead(struct tm *local)
{
    const time_t now = time(nullptr);
    for (const int ahead : {0, -12, 12, -24}) {
        const time_t there = now + ahead * 3600;
        gmtime_r(&there, local);
        if (local->tm_wday != 0 && local->tm_hour < 22) return ahead;
    }
    return 0;
}

static std::string TimeZone()
{
    struct tm local;
    return "<lab>" + std::to_string(-HoursAhead(&local)); // POSIX: what has to be added to get UTC
}

std::string LabSession::Today()
{
    struct tm local;
    HoursAhead(&local);
    return std::to_string(local.tm_wday);
}

LabSession::LabSession(const Lab &lab, const std::map<std::string, std::string> &environment, int interval)
    : lab_(lab), environment_(environment)
{
    environment_.emplace("LD_LIBRARY_PATH", LINUX_ROUTER_FOLDER);
    environment_.emplace("PLUG_ROUTER_CONF", kRouterConfig);
    environment_.emplace("PATH", "/usr/sbin:/usr/bin:/sbin:/bin");
    environment_.emplace("TZ", TimeZone());
    const std::string host = kInternet4;
    lab_.Inside("internet", [&] {
        platform_ = std::make_unique<Plugsim>(std::vector<std::string>{
            "platform", "--json", "--key", "0123456789abcdef", "--register", host + ":6039", "--login", host + ":6040",
            "--interval", std::to_string(interval), "--http", host + ":8199", "--http-size", "16M"});
    });
    platform_->Wait("listening");
    StartAgent();
}

void LabSession::StartAgent()
{
    AgentOptions options;
    options.clock = 1; // nothing here is faster than life
    options.environment = environment_;
    ConfigText config;
    config.server1 = config.server2 = kInternet4;
    options.config = config.Text();
    platform_->Mark();
    lab_.Inside("router", [&] { agent_ = std::make_unique<Agent>(options); });
    platform_->Wait("login", {{"token_ok", "true"}});
    platform_->Wait("heartbeat");
}

void LabSession::KillAgent()
{
    agent_->Signal(SIGKILL);
    agent_->WaitExit();
}

void LabSession::RestartAgent(int signal)
{
    if (agent_->Runs()) {
        agent_->Signal(signal);
        agent_->WaitExit();
    }
    agent_.reset();
    StartAgent();
}

Event LabSession::Ask(const std::string &command, double seconds)
{
    platform_->Command(command);
    return platform_->Wait("reply", {}, seconds);
}

Event LabSession::AskWell(const std::string &command)
{
    Event reply = Ask(command);
    if (reply.Text("status") != "0") throw Failure(command + ": " + reply.Line());
    return reply;
}

std::map<std::string, SeenDevice> LabSession::Devices()
{
    const Event reply = AskWell("all-devices");
    std::map<std::string, SeenDevice> devices;
    for (int i = 0;; i++) {
        const std::string at = "fields.devices." + std::to_string(i) + ".";
        if (!reply.Has(at + "mac")) return devices;
        devices[reply.Text(at + "mac")] = {reply.Text(at + "name"), reply.Text(at + "link"), reply.Text(at + "ip"),
                                           reply.Text(at + "access"), static_cast<int>(reply.Number(at + "port"))};
    }
}

double LabSession::AwaitDevice(const std::string &mac, bool there, double seconds)
{
    const double begin = Now();
    for (;;) {
        if ((Devices().count(mac) > 0) == there) return Now() - begin;
        if (Now() - begin > seconds) return -1;
        usleep(static_cast<useconds_t>(kLookSeconds * 1e6)); // no event tells of it
    }
}

void LabSession::SetLimits(const std::string &mac, int64_t up, int64_t down)
{
    AskWell("set-device-limits " + mac + " " + std::to_string(up) + " " + std::to_string(down));
}

void LabSession::SetAccess(const std::string &mac, bool allowed)
{
    AskWell("set-device-access mac=" + mac + " access=" + (allowed ? "1" : "0"));
}
