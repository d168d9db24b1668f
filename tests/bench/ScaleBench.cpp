// ScaleBench.cpp - one test platform and many supervised agents:
//
//   scale_bench [AGENTS [STEADY-SECONDS [OUTAGE [LONGER-OUTAGE [LONG-PAUSE]]]]]     default 1000 300 5 60 60
//
// All agents start at once; heartbeats for STEADY-SECONDS; then the platform is gone for OUTAGE seconds, later for
// LONGER-OUTAGE. LONG-PAUSE is that of the supervisors. Progress goes to the error output.
//
// Exit status: 0 measured (whatever the verdict), 1 could not measure, 2 wrong use, 77 no sandbox possible.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <set>
#include <sys/resource.h>
#include <thread>

#include "Figures.h"
#include "Fleet.h"
#include "tests/e2e/Platform.h"
#include "tests/e2e/Sandbox.h"
#include "tests/support/Processes.h"

static const int kInterval = 60;      // seconds between heartbeats
static const double kMaxShare = 0.06; // of the logins, in one second after the longer outage
static const double kPatienceForAllSeconds = 300;
static const double kSettleSeconds = 5;

namespace
{
struct Numbers {
    int agents = 1000, steady = 300, outage = 5, longerOutage = 60, longPause = 60;
};

// Of the date, as in the platform's events.
double Date()
{
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

void Sleep(double seconds)
{
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

class Bench
{
  public:
    explicit Bench(const Numbers &numbers) : numbers_(numbers) {}
    void Run();

  private:
    void StartPlatform();
    void ColdStart();
    void Heartbeats();
    void Outage(int seconds, bool judged);
    std::vector<double> AwaitLogins(double origin);
    void ShowDistribution(const std::vector<double> &logins);
    void ShowUse(const char *when, double seconds);

    Numbers numbers_;
    std::unique_ptr<Platform> platform_;
    std::unique_ptr<Fleet> fleet_;
    double agentsCpu_ = 0, platformCpu_ = 0; // when ShowUse() was last called
};

void Bench::StartPlatform()
{
    PlatformOptions options;
    options.interval = kInterval;
    platform_ = std::make_unique<Platform>(options);
    platformCpu_ = 0;
}

// Seconds from `origin` until each agent has logged in, in ascending order. All of them are waited for.
std::vector<double> Bench::AwaitLogins(double origin)
{
    const double limit = Date() + kPatienceForAllSeconds;
    std::vector<double> logins;
    double shown = Date();
    for (;;) {
        if (platform_->Count("login") >= static_cast<size_t>(numbers_.agents)) {
            std::map<std::string, double> first; // by MAC
            for (const Event &login : platform_->All("login", {{"token_ok", "true"}}))
                first.emplace(login.Text("mac"), login.Number("t") - origin);
            logins.clear();
            for (const auto &entry : first) logins.push_back(entry.second);
            if (logins.size() == static_cast<size_t>(numbers_.agents)) break;
        }
        if (Date() > limit) throw Failure(Format("only %zu logins", platform_->Count("login")));
        if (Date() - shown > 10) {
            fprintf(stderr, "scale: %zu logins, %.0f s\n", platform_->Count("login"), Date() - origin);
            shown = Date();
        }
        Sleep(0.5);
    }
    std::sort(logins.begin(), logins.end());
    return logins;
}

void Bench::ShowDistribution(const std::vector<double> &logins)
{
    std::map<int, int> bySecond;
    for (const double login : logins) bySecond[static_cast<int>(std::floor(login))]++;
    for (const auto &second : bySecond) {
        const double percent = 100.0 * second.second / static_cast<double>(logins.size());
        printf("  %4d s %5d  %5.1f %%  %s\n", second.first, second.second, percent,
               std::string(static_cast<size_t>(std::min(percent, 30.0) * 2), '#').c_str());
    }
}

double LargestShare(const std::vector<double> &logins)
{
    std::map<int, int> bySecond;
    int most = 0;
    for (const double login : logins) most = std::max(most, ++bySecond[static_cast<int>(std::floor(login))]);
    return static_cast<double>(most) / static_cast<double>(logins.size());
}

// `seconds`: since the last call.
void Bench::ShowUse(const char *when, double seconds)
{
    const FleetUse use = fleet_->Use();
    const double platformCpu = CpuSecondsOf(platform_->Id());
    printf("  %s: %d agents run, each %ld KB dirty, %ld descriptors, %ld threads, its supervisor %ld KB (medians)\n",
           when, use.running, use.dirtyKb, use.descriptors, use.threads, use.supervisorDirtyKb);
    printf(
        "  processor time in %.0f s: agents and supervisors %.2f s (%.2f ms for each and second), platform %.2f s; the "
        "platform has %ld KB dirty\n",
        seconds, use.cpuSeconds - agentsCpu_, (use.cpuSeconds - agentsCpu_) * 1000 / seconds / numbers_.agents,
        platformCpu - platformCpu_, DirtyKbOf(platform_->Id()));
    agentsCpu_ = use.cpuSeconds;
    platformCpu_ = platformCpu;
}

void Bench::ColdStart()
{
    FleetOptions options;
    options.agents = numbers_.agents;
    options.longPause = numbers_.longPause;
    options.program = PLUG_BENCH_AGENT;
    const double begin = Date();
    fleet_ = std::make_unique<Fleet>(options);
    const double forked = Date() - begin;
    const std::vector<double> logins = AwaitLogins(begin);
    printf("cold start: %zu agents started in %.1f s, logged in from %.1f to %.1f s (half of them at %.1f s)\n",
           logins.size(), forked, logins.front(), logins.back(), Quantile(logins, 0.5));
    ShowDistribution(logins);
    Sleep(kSettleSeconds);
    ShowUse("after it", Date() - begin);
    PrintFigure(Format("cold start of %d agents at one platform, last login", numbers_.agents), "",
                Format("%.1f s", logins.back()), true);
}

void Bench::Heartbeats()
{
    const size_t before = platform_->Count("heartbeat"), lost = platform_->Count("disconnected", {{"server", "login"}});
    fprintf(stderr, "scale: heartbeats for %d s\n", numbers_.steady);
    const double begin = Date();
    Sleep(numbers_.steady);
    const double seconds = Date() - begin;
    const size_t heartbeats = platform_->Count("heartbeat") - before;
    const size_t disconnects = platform_->Count("disconnected", {{"server", "login"}}) - lost;
    printf("heartbeats: %zu in %.0f s (each agent one every %d s: %.0f), %zu sessions lost\n", heartbeats, seconds,
           kInterval, numbers_.agents * seconds / kInterval, disconnects);
    ShowUse("after them", seconds);
    PrintFigure(Format("sessions lost in %d s of heartbeats, %d agents", numbers_.steady, numbers_.agents), "none",
                Format("%zu", disconnects), disconnects == 0);
}

void Bench::Outage(int seconds, bool judged)
{
    fprintf(stderr, "scale: the platform is gone for %d s\n", seconds);
    const double gone = Date();
    platform_.reset(); // killed: the kernel closes its connections
    Sleep(seconds);
    StartPlatform();
    const double back = Date() - gone;
    const std::vector<double> logins = AwaitLogins(gone);
    const double share = LargestShare(logins);
    printf("outage of %d s: the platform is back after %.1f s, logins from %.1f to %.1f s, at most %.1f %% in one "
           "second\n",
           seconds, back, logins.front(), logins.back(), share * 100);
    ShowDistribution(logins);
    ShowUse("after it", Date() - gone);
    PrintFigure(Format("logins of %d agents in one second, outage of %d s", numbers_.agents, seconds),
                judged ? Format("at most %.0f %%", kMaxShare * 100) : "",
                Format("%.1f %%, all within %.0f s", share * 100, logins.back()), !judged || share <= kMaxShare);
}

void Bench::Run()
{
    StartPlatform();
    ColdStart();
    Heartbeats();
    Outage(numbers_.outage, false);
    Outage(numbers_.longerOutage, true);
}

// The platform has a descriptor for each agent.
void AllowDescriptors()
{
    struct rlimit limit;
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}
} // namespace

int main(int argc, char *argv[])
{
    Numbers numbers;
    int *const given[] = {&numbers.agents, &numbers.steady, &numbers.outage, &numbers.longerOutage, &numbers.longPause};
    for (int i = 1; i < argc; i++) {
        char rest;
        if (i > 5 || sscanf(argv[i], "%d%c", given[i - 1], &rest) != 1 || *given[i - 1] < 1 || *given[i - 1] > 5000) {
            fprintf(stderr,
                    "usage: %s [AGENTS [STEADY-SECONDS [OUTAGE [LONGER-OUTAGE [LONG-PAUSE]]]]], each up to 5000\n",
                    argv[0]);
            return 2;
        }
    }
    setvbuf(stdout, nullptr, _IOLBF, 0);
    AllowDescriptors();
    std::string reason;
    if (!EnterSandbox(PLUG_BUILD_FOLDER, &reason)) {
        fprintf(stderr, "no sandbox: %s\n", reason.c_str());
        return 77;
    }
    try {
        Bench(numbers).Run();
        return 0;
    } catch (const Failure &failure) {
        fprintf(stderr, "scale: %s\n", failure.what());
        return 1;
    }
}
