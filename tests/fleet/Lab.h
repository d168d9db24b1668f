// Lab.h - one gateway with one thread for its sessions, a message system, a directory of devices, and a fleet that is
// online: the place of the load and of the soak. Call EnterSandbox() before.
//
// State: all of it. Threads: one.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "gateway/bus/Bus.h"
#include "tests/e2e/Gateway.h"
#include "tests/fleet/RouterFleet.h"

struct LabOptions {
    unsigned routers = 10000;
    double interval = 60; // seconds between heartbeats
    double settle = 5;    // seconds until what has been under way is done
    std::string folder;   // for the streams of the message system
};

// What a process has used so far, and holds.
struct Usage {
    FleetClock::time_point at;
    double cpu = 0; // seconds
    long dirtyKb = 0, residentKb = 0;
    size_t descriptors = 0, threads = 0;
};
Usage UsageOf(pid_t process);

double SecondsSince(FleetClock::time_point begin);
void Sleep(double seconds);
// To the error output, with the time since the start of the program.
void Tell(const std::string &text);
// The load average of the last minute.
double Load();

class Lab
{
  public:
    explicit Lab(const LabOptions &options);

    // Each throws Failure when it cannot be done.
    double ImportDevices(); // the seconds that it took
    void StartGateway();    // and waits until it serves; also after KillGateway()
    void KillGateway();     // -9
    void StartFleet();      // without a connection yet
    // Waits until all are online, at most `seconds`, and tells now and then how far it is.
    void AwaitAll(double seconds);
    // Waits while the traffic goes on, and tells.
    void Hold(double seconds, const char *what);

    // A figure of the gateway's metrics, such as `plug_gateway_sessions`; 0 when it has none of that name.
    double Metric(const std::string &name) const;
    // Messages in the stream of reports, and their bytes as they are stored.
    std::pair<double, double> Stored();

    pid_t GatewayId() { return gateway_->Program().Id(); }
    pid_t NatsId() const { return nats_.Id(); }
    gateway::BusOptions BusAt() const;
    gateway::Bus &Bus() { return *bus_; }
    RouterFleet &Fleet() { return *fleet_; }
    void EndFleet() { fleet_.reset(); }

  private:
    const LabOptions options_;
    NatsServer nats_;
    std::unique_ptr<gateway::Bus> bus_;
    std::unique_ptr<GatewayProgram> gateway_;
    std::unique_ptr<RouterFleet> fleet_;
};
