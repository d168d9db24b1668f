#include "tests/fleet/Storm.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>

#include "tests/bench/Figures.h"

static constexpr double kTellSeconds = 5, kLook = 0.05;

Storm Restart(Lab &lab, double pause, double patience)
{
    const FleetCounts &counts = lab.Fleet().Counts();
    const auto sum = [&counts] {
        return std::vector<uint64_t>{counts.unreachable, counts.refused, counts.unanswered, counts.loginsFailed,
                                     counts.gaveUp};
    };
    Storm storm;
    const auto before = sum();
    const auto kill = FleetClock::now();
    lab.KillGateway();
    Sleep(pause);
    lab.StartGateway();
    storm.served = SecondsSince(kill);
    Tell(Format("the gateway serves again %.1f s after its end", storm.served));
    auto told = FleetClock::now();
    std::vector<FleetClock::time_point> logins;
    while ((logins = lab.Fleet().LoginsSince(kill)).size() < lab.Fleet().Size()) {
        if (SecondsSince(kill) > patience)
            throw Failure(
                Format("%zu of %u routers are back after %.0f s", logins.size(), lab.Fleet().Size(), patience));
        if (SecondsSince(told) > kTellSeconds) {
            Tell(Format("%zu of %u are back", logins.size(), lab.Fleet().Size()));
            told = FleetClock::now();
        }
        Sleep(kLook);
    }
    for (const auto &login : logins) storm.logins.push_back(std::chrono::duration<double>(login - kill).count());
    const auto after = sum();
    uint64_t *const figures[] = {&storm.unreachable, &storm.refused, &storm.unanswered, &storm.loginsFailed,
                                 &storm.gaveUp};
    for (size_t i = 0; i < after.size(); i++) *figures[i] = after[i] - before[i];
    storm.limited = static_cast<uint64_t>(lab.Metric("plug_gateway_registrations_total{result=\"limited\"}"));
    return storm;
}

static std::map<int, int> BySecond(const std::vector<double> &logins)
{
    std::map<int, int> seconds;
    for (const double login : logins) seconds[static_cast<int>(std::floor(login))]++;
    return seconds;
}

int MostInASecond(const std::vector<double> &logins)
{
    int most = 0;
    for (const auto &second : BySecond(logins)) most = std::max(most, second.second);
    return most;
}

void ShowBySecond(const std::vector<double> &logins)
{
    constexpr double kWidth = 50;
    const int most = std::max(1, MostInASecond(logins));
    for (const auto &[second, count] : BySecond(logins))
        printf("  %4d s %6d  %s\n", second, count,
               std::string(static_cast<size_t>(kWidth * count / most), '#').c_str());
}
