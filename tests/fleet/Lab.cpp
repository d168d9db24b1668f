#include "tests/fleet/Lab.h"

#include <asio/ip/tcp.hpp>
#include <asio/read.hpp>
#include <asio/write.hpp>
#include <csignal>
#include <cstdio>
#include <sstream>
#include <unistd.h>

#include "tests/bench/Figures.h"
#include "tests/support/Files.h"
#include "tests/support/Processes.h"

static constexpr char kWebAt[] = "127.0.0.1:9470";
static constexpr double kTellSeconds = 10;
static const FleetClock::time_point s_begin = FleetClock::now();

double SecondsSince(FleetClock::time_point begin)
{
    return std::chrono::duration<double>(FleetClock::now() - begin).count();
}

void Sleep(double seconds)
{
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

void Tell(const std::string &text)
{
    fprintf(stderr, "%6.1f s  %s\n", SecondsSince(s_begin), text.c_str());
}

double Load()
{
    double load = 0;
    return getloadavg(&load, 1) == 1 ? load : -1;
}

Usage UsageOf(pid_t process)
{
    Usage usage;
    usage.at = FleetClock::now();
    usage.cpu = CpuSecondsOf(process);
    usage.dirtyKb = DirtyKbOf(process);
    long size = 0;
    std::istringstream(ReadFile("/proc/" + std::to_string(process) + "/statm")) >> size >> usage.residentKb;
    usage.residentKb *= sysconf(_SC_PAGESIZE) / 1024;
    usage.descriptors = DescriptorsOf(process);
    usage.threads = ThreadsOf(process);
    return usage;
}

Lab::Lab(const LabOptions &options) : options_(options), nats_({{}, "", options.folder + "/streams"})
{
    bus_ = std::make_unique<gateway::Bus>(BusAt());
}

gateway::BusOptions Lab::BusAt() const
{
    gateway::BusOptions options;
    options.servers = {nats_.Url()};
    return options;
}

double Lab::ImportDevices()
{
    const std::string csv = options_.folder + "/devices.csv";
    WriteFile(csv, DevicesCsv(options_.routers));
    const auto begin = FleetClock::now();
    RunGatewayTool(nats_, {"device", "import", csv});
    return SecondsSince(begin);
}

void Lab::StartGateway()
{
    GatewayOptions options;
    // With the limit of registrations that it has when nobody says otherwise.
    options.arguments = {"--threads", "1", "--web", kWebAt, "--registrations-per-second", "20"};
    gateway_ = std::make_unique<GatewayProgram>(nats_, options);
}

void Lab::KillGateway()
{
    gateway_->Program().Signal(SIGKILL);
    gateway_.reset();
}

void Lab::StartFleet()
{
    FleetOptions options;
    options.routers = options_.routers;
    options.registerAt = gateway_->RegisterAt();
    options.interval = options_.interval;
    fleet_ = std::make_unique<RouterFleet>(options);
}

void Lab::AwaitAll(double seconds)
{
    const auto begin = FleetClock::now();
    auto told = begin;
    while (fleet_->Online() < fleet_->Size()) {
        if (SecondsSince(begin) > seconds)
            throw Failure(
                Format("only %zu of %u routers are online after %.0f s", fleet_->Online(), fleet_->Size(), seconds));
        if (SecondsSince(told) > kTellSeconds) {
            Tell(Format("%zu of %u online", fleet_->Online(), fleet_->Size()));
            told = FleetClock::now();
        }
        Sleep(0.02);
    }
}

void Lab::Hold(double seconds, const char *what)
{
    const auto begin = FleetClock::now();
    while (SecondsSince(begin) < seconds) {
        Sleep(std::min(kTellSeconds, seconds - SecondsSince(begin)));
        Tell(Format("%s: %.0f of %.0f s, %zu online", what, SecondsSince(begin), seconds, fleet_->Online()));
    }
}

double Lab::Metric(const std::string &name) const
{
    asio::io_context context;
    asio::ip::tcp::socket socket(context);
    protocol::Address at;
    protocol::ParseAddress(kWebAt, &at);
    socket.connect({asio::ip::address_v4::loopback(), at.port});
    asio::write(socket, asio::buffer(std::string("GET /metrics HTTP/1.0\r\n\r\n")));
    std::string text;
    asio::error_code end;
    asio::read(socket, asio::dynamic_buffer(text), end);
    const size_t line = text.find("\n" + name + " ");
    return line == std::string::npos ? 0 : atof(text.c_str() + line + name.size() + 2);
}

std::pair<double, double> Lab::Stored()
{
    const auto info = bus_->Request("$JS.API.STREAM.INFO.PLUG_REPORTS", "", 10000);
    const gateway::Json json = gateway::Json::parse(info.value_or(""), nullptr, false);
    if (!json.is_object() || !json.contains("state")) throw Failure("the stream of reports tells nothing of itself");
    return {json["state"]["messages"].get<double>(), json["state"]["bytes"].get<double>()};
}
