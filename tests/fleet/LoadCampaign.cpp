#include <algorithm>
#include <cstdio>

#include "tests/bench/Figures.h"
#include "tests/e2e/Platform.h"
#include "tests/fleet/Campaigns.h"
#include "tests/fleet/Questions.h"
#include "tests/fleet/Storm.h"

namespace
{
constexpr double kMostKbOfSession = 8;
constexpr double kPatienceSeconds = 300;

class LoadRun
{
  public:
    explicit LoadRun(const LoadOptions &options) : options_(options), lab_(options.lab) {}
    bool Run();

  private:
    void LogIn();
    void Heartbeats();
    void Questions();
    void Reports();
    void OneStorm(unsigned addresses, double outage);
    void Plugsim();
    void Figure(const std::string &what, const std::string &toReach, const std::string &measured, bool reached = true);
    double Sessions() const { return static_cast<double>(options_.lab.routers); }

    const LoadOptions options_;
    Lab lab_;
    bool good_ = true;
    double gatewayIdle_ = 0; // processor time a second with nothing but heartbeats
    double median_ = 0;      // of a question, ms
};

void LoadRun::Figure(const std::string &what, const std::string &toReach, const std::string &measured, bool reached)
{
    PrintFigure(what, toReach, measured, reached);
    good_ = good_ && reached;
}

void LoadRun::LogIn()
{
    Tell(Format("%u devices are added to the directory", options_.lab.routers));
    const double imported = lab_.ImportDevices();
    Figure("import of the directory", "", Format("%.1f s", imported));
    const auto begin = FleetClock::now();
    lab_.StartGateway();
    Figure("start of the gateway with this directory, to readiness", "", Format("%.2f s", SecondsSince(begin)));
    Sleep(1);
    lab_.StartFleet();
    const Usage before = UsageOf(lab_.GatewayId()), natsBefore = UsageOf(lab_.NatsId());
    const auto first = FleetClock::now();
    lab_.Fleet().LogIn(options_.logins);
    lab_.AwaitAll(kPatienceSeconds);
    const double seconds = SecondsSince(first);
    Sleep(options_.lab.settle);
    const Usage after = UsageOf(lab_.GatewayId()), natsAfter = UsageOf(lab_.NatsId());
    Figure("registrations with login and first report", "",
           Format("%.0f a second (all in %.1f s, load %.1f)", Sessions() / seconds, seconds, Load()));
    Figure("processor time of one of them", "",
           Format("%.2f ms in the gateway, %.2f ms in nats-server", 1000 * (after.cpu - before.cpu) / Sessions(),
                  1000 * (natsAfter.cpu - natsBefore.cpu) / Sessions()));
    const double dirty = static_cast<double>(after.dirtyKb - before.dirtyKb) / Sessions();
    const double resident = static_cast<double>(after.residentKb - before.residentKb) / Sessions();
    Figure("memory of a session", Format("at most %.0f KB", kMostKbOfSession),
           Format("%.2f KB written to (%.2f KB resident)", dirty, resident), dirty <= kMostKbOfSession);
    Figure("memory of the gateway with all of them", "",
           Format("%.1f MB written to (%.1f MB before), %zu descriptors, %zu threads",
                  static_cast<double>(after.dirtyKb) / 1024, static_cast<double>(before.dirtyKb) / 1024,
                  after.descriptors, after.threads));
}

void LoadRun::Heartbeats()
{
    const FleetCounts &counts = lab_.Fleet().Counts();
    const uint64_t sentBefore = counts.heartbeats, answeredBefore = counts.heartbeatsAnswered, lost = counts.lost;
    const Usage before = UsageOf(lab_.GatewayId()), natsBefore = UsageOf(lab_.NatsId());
    lab_.Hold(options_.seconds, "heartbeats");
    const Usage after = UsageOf(lab_.GatewayId()), natsAfter = UsageOf(lab_.NatsId());
    const double seconds = std::chrono::duration<double>(after.at - before.at).count();
    gatewayIdle_ = (after.cpu - before.cpu) / seconds;
    const uint64_t sent = counts.heartbeats - sentBefore, answered = counts.heartbeatsAnswered - answeredBefore;
    Figure(Format("processor time with heartbeats every %.0f s", options_.lab.interval), "",
           Format("%.2f %% of a core in the gateway, %.2f %% in nats-server (%.0f heartbeats a second, load %.1f)",
                  100 * gatewayIdle_, 100 * (natsAfter.cpu - natsBefore.cpu) / seconds,
                  static_cast<double>(answered) / seconds, Load()));
    Figure("sessions lost meanwhile", "none", Format("%.0f", static_cast<double>(counts.lost - lost)),
           counts.lost == lost && answered > 0 && sent < answered + sent / 100 + 10);
}

void LoadRun::Questions()
{
    Tell(Format("%u questions, each in turn with a bare request", options_.questions));
    const Latencies asked = AskOneByOne(lab_, options_.questions);
    median_ = Quantile(asked.routers, 0.5);
    const double p99 = Quantile(asked.routers, 0.99), bare = Quantile(asked.bare, 0.5),
                 bareP99 = Quantile(asked.bare, 0.99);
    Figure("question to a router and back, p50 and p99", "",
           Format("%.2f and %.2f ms (load %.1f)", median_, p99, Load()));
    Figure("bare NATS request and reply, p50 and p99", "", Format("%.2f and %.2f ms", bare, bareP99));
    Figure("question over bare request, p50 and p99", "", Format("%.1f and %.1f", median_ / bare, p99 / bareP99));
    Figure("questions that were not answered", "none", Format("%zu", asked.failed), asked.failed == 0);
    Tell(Format("questions, %u at once", options_.askedAtOnce));
    const Usage before = UsageOf(lab_.GatewayId()), natsBefore = UsageOf(lab_.NatsId());
    const Answers many = AskMany(lab_, options_.askedAtOnce, options_.burstSeconds);
    const Usage after = UsageOf(lab_.GatewayId()), natsAfter = UsageOf(lab_.NatsId());
    const double good = static_cast<double>(many.good);
    Figure(Format("questions with %u on their way at once", options_.askedAtOnce), "",
           Format("%.0f a second, %zu failed", good / many.seconds, many.failed), many.good > 0 && many.failed == 0);
    Figure("processor time of one of them", "",
           Format("%.3f ms in the gateway, %.3f ms in nats-server",
                  1000 * (after.cpu - before.cpu - gatewayIdle_ * many.seconds) / good,
                  1000 * (natsAfter.cpu - natsBefore.cpu) / good));
}

void LoadRun::Reports()
{
    Tell(Format("%.0f reports a second", options_.reportRate));
    const FleetCounts &counts = lab_.Fleet().Counts();
    const auto stored = lab_.Stored();
    const uint64_t sent = counts.reports, acknowledged = counts.reportsAcknowledged;
    const Usage before = UsageOf(lab_.GatewayId()), natsBefore = UsageOf(lab_.NatsId());
    lab_.Fleet().Report(options_.reportRate);
    Sleep(options_.burstSeconds);
    const double inTime = static_cast<double>(counts.reportsAcknowledged - acknowledged);
    lab_.Fleet().Report(0);
    Sleep(options_.lab.settle);
    const Usage after = UsageOf(lab_.GatewayId()), natsAfter = UsageOf(lab_.NatsId());
    const auto storedAfter = lab_.Stored();
    const double all = static_cast<double>(counts.reports - sent), messages = storedAfter.first - stored.first;
    const double missing = all - static_cast<double>(counts.reportsAcknowledged - acknowledged);
    Figure("reports stored and acknowledged", "",
           Format("%.0f of %.0f offered a second; %.0f of %.0f not acknowledged", inTime / options_.burstSeconds,
                  all / options_.burstSeconds, missing, all),
           messages > 0 && messages >= all - missing);
    const double idle = gatewayIdle_ * (options_.burstSeconds + options_.lab.settle);
    Figure("one of them, a list of five devices", "",
           Format("%.0f bytes in the stream; %.3f ms in the gateway, %.3f ms in nats-server",
                  (storedAfter.second - stored.second) / messages, 1000 * (after.cpu - before.cpu - idle) / messages,
                  1000 * (natsAfter.cpu - natsBefore.cpu) / messages));
}

void LoadRun::OneStorm(unsigned addresses, double outage)
{
    std::string how = addresses ? Format("routers behind %u addresses", addresses) : "each router at its own address";
    if (outage > 0) how = Format("after an outage of %.0f s, ", outage) + how;
    Tell("the gateway is killed; " + how);
    lab_.Fleet().ComeFrom(addresses);
    const Storm storm = Restart(lab_, outage, outage + kPatienceSeconds);
    printf("\nback after the kill, by second; %s (load %.1f):\n", how.c_str(), Load());
    ShowBySecond(storm.logins);
    printf("\n");
    const int most = MostInASecond(storm.logins);
    Figure("restart storm, " + how, "all come back",
           Format("all after %.1f s, half after %.1f s; the gateway served after %.1f s", storm.logins.back(),
                  Quantile(storm.logins, 0.5), storm.served),
           storm.logins.size() == lab_.Fleet().Size());
    Figure("its most logins in a second", "", Format("%d (%.1f %%)", most, 100 * most / Sessions()));
    Figure(
        "its attempts in vain", "",
        Format(
            "%zu refused by the limit, %zu not connected, %zu closed, %zu unanswered, %zu logins; %zu processes ended",
            static_cast<size_t>(storm.limited), static_cast<size_t>(storm.unreachable),
            static_cast<size_t>(storm.refused), static_cast<size_t>(storm.unanswered),
            static_cast<size_t>(storm.loginsFailed), static_cast<size_t>(storm.gaveUp)));
}

// The same questions, put to plugsim by its own commands and read from its events.
void LoadRun::Plugsim()
{
    PlatformOptions options;
    options.registerAt = "127.0.0.9:6039";
    options.loginAt = "127.0.0.9:6040";
    options.interval = static_cast<int>(options_.lab.interval);
    Platform platform(options);
    FleetOptions fleet;
    fleet.routers = options_.plugsimSessions;
    fleet.registerAt = options.registerAt;
    fleet.interval = options_.lab.interval;
    fleet.key = options.key;
    Tell(Format("%u sessions at plugsim", fleet.routers));
    RouterFleet routers(fleet);
    const auto begin = FleetClock::now();
    routers.LogIn(10);
    while (routers.Online() < fleet.routers) {
        if (SecondsSince(begin) > kPatienceSeconds) throw Failure(Format("only %zu at plugsim", routers.Online()));
        Sleep(0.1);
    }
    Tell("questions at plugsim");
    std::vector<double> times;
    for (unsigned i = 0; i < std::max(1u, options_.questions / 4); i++) {
        const auto asked = FleetClock::now();
        platform.Command("version");
        platform.Wait("reply");
        times.push_back(1000 * SecondsSince(asked));
        Sleep(0.002);
    }
    const double median = Quantile(times, 0.5);
    Figure(Format("the same question at plugsim with %u sessions, p50 and p99", fleet.routers), "",
           Format("%.2f and %.2f ms (load %.1f); the gateway's p50 is %.2f of it", median, Quantile(times, 0.99),
                  Load(), median_ / median));
}

bool LoadRun::Run()
{
    LogIn();
    Heartbeats();
    Questions();
    Reports();
    OneStorm(0, 0);
    if (options_.addresses > 0) OneStorm(options_.addresses, 0);
    if (options_.outage > 0) OneStorm(0, options_.outage);
    lab_.EndFleet();
    lab_.KillGateway();
    if (options_.plugsimSessions > 0) Plugsim();
    return good_;
}
} // namespace

bool RunLoad(const LoadOptions &options)
{
    return LoadRun(options).Run();
}
