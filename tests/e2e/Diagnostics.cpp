#include "tests/e2e/Diagnostics.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

static const char kFakeFolder[] = "/tmp/programs";
static const char kSystemFolders[] = "/usr/sbin:/usr/bin:/sbin:/bin"; // not everybody has the first one

void DiagnosticsTest::SetUp()
{
    EndToEnd::SetUp();
    for (const char *path : {kTracerouteFile, kFakeFolder}) fs::remove_all(path);
}

// ---- Programs ----

void NeedPrograms(const std::vector<std::string> &names)
{
    for (const std::string &name : names) {
        try {
            RunShell("command -v " + name);
        } catch (const Failure &) {
            throw Failure("there is no " + name + " here; scripts/install-packages.sh run installs it");
        }
    }
}

AgentOptions WithFakes(double clock)
{
    AgentOptions options;
    options.clock = clock;
    options.environment["PATH"] = std::string(kFakeFolder) + ":" + kSystemFolders;
    return options;
}

FakeProgram::FakeProgram(const std::string &name, const std::string &script)
    : path_(std::string(kFakeFolder) + "/" + name), log_(path_ + ".runs"), gate_(path_ + ".gate")
{
    mkdir(kFakeFolder, 0755);
    WriteFile(log_, "");
    if (mkfifo(gate_.c_str(), 0600) != 0) throw Failure("mkfifo: " + gate_);
    held_ = open(gate_.c_str(), O_RDWR | O_CLOEXEC); // both ends, so that nobody waits for the other to open his
    const std::string wait = "@wait";
    std::string text = script;
    for (size_t at; (at = text.find(wait)) != std::string::npos;)
        text.replace(at, wait.size(), "read -r line <" + gate_);
    WriteFile(path_, "#!/bin/sh\n{ printf '<%s>' \"$@\"; echo; } >>" + log_ + "\n" + text + "\n");
    chmod(path_.c_str(), 0755);
}

FakeProgram::~FakeProgram()
{
    close(held_);
}

void FakeProgram::LetGo()
{
    if (write(held_, "\n", 1) != 1) throw Failure("cannot write to " + gate_);
}

void FakeProgram::AwaitRuns(size_t count) const
{
    const auto lines = [this] {
        const std::string runs = Runs();
        return static_cast<size_t>(std::count(runs.begin(), runs.end(), '\n'));
    };
    if (!Within(kPatience, [&] { return lines() >= count; })) throw Failure("too few runs: " + Runs());
}

bool WaitForFile(const std::string &path, const std::string &text)
{
    return Within(kPatience, [&] { return Contains(ReadFile(path), text); });
}

// "12 (name) S ..." in /proc/12/stat.
static std::string NameOf(const fs::path &process)
{
    const std::string stat = ReadFile(process / "stat");
    const size_t begin = stat.find('('), end = stat.rfind(')');
    if (end == std::string::npos || stat.compare(end, 4, ") Z ") == 0) return "";
    return stat.substr(begin + 1, end - begin - 1);
}

std::vector<std::string> RunningPrograms()
{
    std::vector<std::string> names;
    for (const auto &entry : fs::directory_iterator("/proc")) {
        if (!isdigit(static_cast<unsigned char>(entry.path().filename().string()[0]))) continue;
        const std::string name = NameOf(entry.path());
        if (!name.empty()) names.push_back(name);
    }
    return names;
}

static bool RunsNow(const std::string &name)
{
    const std::vector<std::string> names = RunningPrograms();
    return std::find(names.begin(), names.end(), name) != names.end();
}

bool OneRuns(const std::string &name)
{
    return Within(kPatience, [&] { return RunsNow(name); });
}

bool NoneRuns(const std::string &name, double seconds)
{
    return Within(seconds, [&] { return !RunsNow(name); });
}

// ---- Functions ----

std::string Hex16(unsigned value)
{
    char text[5];
    snprintf(text, sizeof text, "%02X%02X", value & 0xFF, value >> 8 & 0xFF);
    return text;
}

// The octets travel in reverse order.
std::string TargetParameter(const std::string &address)
{
    struct in_addr binary = {};
    if (inet_pton(AF_INET, address.c_str(), &binary) != 1) throw Failure("no address: " + address);
    uint8_t octets[4];
    memcpy(octets, &binary, sizeof octets);
    char text[9];
    snprintf(text, sizeof text, "%02X%02X%02X%02X", octets[3], octets[2], octets[1], octets[0]);
    return text;
}

std::string PingParameters(const std::string &address, unsigned size, int count)
{
    return TargetParameter(address) + std::string(32, '0') + Hex16(size) + Hex16(static_cast<unsigned>(count));
}

void Send(Platform *platform, int function, const std::string &parameters)
{
    platform->Command("function " + std::to_string(function) + (parameters.empty() ? "" : " " + parameters));
}

static unsigned Octet(const std::string &hex, size_t at)
{
    return static_cast<unsigned>(std::stoul(hex.substr(2 * at, 2), nullptr, 16));
}

FunctionReply AwaitReply(Platform *platform, int function, double seconds)
{
    const Event event = platform->Wait("reply", {{"function", std::to_string(function)}, {"matched", "true"}}, seconds);
    const std::string payload = event.Text("payload");
    FunctionReply reply;
    reply.status = atoi(event.Text("status").c_str());
    reply.length = payload.size() / 2;
    if (reply.length < 8) return reply;
    const size_t length = Octet(payload, 6) + Octet(payload, 7) * 256;
    if (reply.length != 8 + length) throw Failure("the text's length is wrong: " + payload);
    for (size_t i = 8; i < reply.length; i++) reply.text += static_cast<char>(Octet(payload, i));
    return reply;
}

FunctionReply Ask(Platform *platform, int function, const std::string &parameters)
{
    Send(platform, function, parameters);
    return AwaitReply(platform, function);
}

// ---- Network ----

// The kernel holds back ICMP messages that come too often, which would be some of a traceroute's.
static const char kAllMessages[] = "echo 0 >/proc/sys/net/ipv4/icmp_ratelimit";

HostBehindRouter::HostBehindRouter() : router_("router0", "10.77.1.1/24", kRouter)
{
    RunShell("ip route add 10.77.2.0/24 via 10.77.1.2");
    router_.Inside([this] {
        RunShell("echo 1 >/proc/sys/net/ipv4/ip_forward");
        RunShell(kAllMessages);
        host_ = std::make_unique<NetNamespace>("host0", "10.77.2.1/24", kFarHost);
        host_->Inside([] { RunShell(kAllMessages); });
    });
}

HostBehindRouter::~HostBehindRouter()
{
    router_.Inside([this] { host_.reset(); }); // its cable begins there
}

void HostBehindRouter::Inside(const std::function<void()> &body) const
{
    router_.Inside([&] { host_->Inside(body); });
}
