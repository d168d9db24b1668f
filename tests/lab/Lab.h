// Lab.h - a household with a Linux machine as its router, an internet behind it, and the agent on that router. The
//         networks, the router's other programs and the clients are scripts/lab.sh's.
//
// State: the networks live as long as the Lab.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/e2e/Agent.h"
#include "tests/e2e/Plugsim.h"

// Addresses and devices, as scripts/lab.sh has them.
constexpr char kInternet4[] = "198.51.100.1";
constexpr char kInternet6[] = "2001:db8:200::1";
constexpr char kProvider4[] = "100.64.0.1"; // the first hop
constexpr char kRouterWan4[] = "100.64.0.2";
constexpr char kRouterLan4[] = "192.168.50.1";
constexpr char kMac1[] = "02:00:00:00:01:01";
constexpr char kMac2[] = "02:00:00:00:01:02";
constexpr char kMac3[] = "02:00:00:00:01:03"; // behind the switch: its port always has carrier
constexpr char kLeasesFile[] = "/run/lab/leases";
constexpr char kStateFile[] = "/run/lab/router.state";
constexpr char kRouterConfig[] = "/run/lab/router.conf";

// The devices of Crowd(), from 1.
std::string CrowdMac(int device);
std::string CrowdIp(int device);

class Lab
{
  public:
    Lab();
    ~Lab();
    Lab(const Lab &) = delete;
    Lab &operator=(const Lab &) = delete;

    void Join(int client, const std::string &name); // plugs it in; returns when it has its addresses
    void Leave(int client);
    void Crowd(int count);

    // Much news for the router's programs: interfaces that come and go, ports that join and leave the bridge, thousands of
    // routes and neighbours. In the end everything is as before.
    void Flood() const;

    // Runs a shell's text in a network, and returns what it prints. Throws Failure when it fails.
    std::string Shell(const std::string &net, const std::string &text) const;
    // Runs `body` in a network, on this thread.
    void Inside(const std::string &net, const std::function<void()> &body) const;

    // The global IPv4 (4) or IPv6 (6) address of a client.
    std::string AddressOf(int client, int family) const;
};

// A device, as the platform sees it.
struct SeenDevice {
    std::string name, link, ip, access;
    int port;
};

// The test platform on the internet host, and the agent with the Linux library on the router.
class LabSession
{
  public:
    // `environment` is the agent's in addition. Its time zone is one in which today's surf rules hold for the next hours.
    // `interval`: seconds between heartbeats.
    explicit LabSession(const Lab &lab, const std::map<std::string, std::string> &environment = {}, int interval = 20);

    // The digit of its weekday in surf rules.
    static std::string Today();

    // Asks a function and returns its reply, whatever its status.
    Event Ask(const std::string &command, double seconds = kPatience);
    // The same; throws Failure unless the status is 0.
    Event AskWell(const std::string &command);

    std::map<std::string, SeenDevice> Devices(); // by MAC
    // Waits until the platform sees a device, or no longer sees it. Returns the seconds that took, less than 0 when it
    // is not so within `seconds`.
    double AwaitDevice(const std::string &mac, bool there, double seconds);

    void SetLimits(const std::string &mac, int64_t up, int64_t down);
    // Refuses a device or lets it in at once, without a surf rule.
    void SetAccess(const std::string &mac, bool allowed);

    // Ends the agent with this signal, if it runs, and starts another one; returns when it has logged in.
    void RestartAgent(int signal);
    // Kills the agent as nobody can survive.
    void KillAgent();

    Plugsim &Platform() { return *platform_; }
    Agent &TheAgent() { return *agent_; }

  private:
    void StartAgent();

    const Lab &lab_;
    std::map<std::string, std::string> environment_;
    std::unique_ptr<Plugsim> platform_;
    std::unique_ptr<Agent> agent_;
};

// The time of the monotonic clock, in seconds.
double Now();
