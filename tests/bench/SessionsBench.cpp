#include <cstdio>
#include <vector>

#include "Agent.h"
#include "BenchPlatform.h"
#include "Benches.h"
#include "Figures.h"

// The heap of a process moves by pages as its threads come and go, so the medians of a few sessions are compared; a
// leak of 16 bytes a session shows in a thousand.
static const int kWindow = 9;
static const long kToleranceKb = 16;

namespace
{
struct Holdings {
    std::vector<double> descriptors, threads, dirtyKb;

    void Add(const Agent &agent)
    {
        descriptors.push_back(static_cast<double>(agent.Descriptors()));
        threads.push_back(static_cast<double>(agent.Threads()));
        dirtyKb.push_back(static_cast<double>(agent.DirtyKb()));
    }
};
} // namespace

static long Growth(const std::vector<double> &from, const std::vector<double> &to)
{
    return static_cast<long>(Quantile(to, 0.5) - Quantile(from, 0.5));
}

void MeasureSessions(int sessions, int warmUp, double factor)
{
    BenchPlatform platform;
    Agent agent(platform.RegisterPort(), factor);
    Holdings first, last;
    const double begin = NowMs();
    for (int i = 1; i <= sessions; i++) {
        Link session = platform.LogIn(60, 60000); // dropped at the end of the turn
        if (i >= warmUp && i < warmUp + kWindow) first.Add(agent);
        if (i > sessions - kWindow) last.Add(agent);
        if (i == warmUp || i == sessions || i % 100 == 0)
            printf("sessions: after %d (%.0f s): %ld descriptors, %ld threads, %ld KB written to\n", i,
                   (NowMs() - begin) / 1e3, agent.Descriptors(), agent.Threads(), agent.DirtyKb());
    }
    if (first.threads.empty()) Fail("fewer sessions than warm-up");
    const long descriptors = Growth(first.descriptors, last.descriptors);
    const long threads = Growth(first.threads, last.threads);
    const long dirtyKb = Growth(first.dirtyKb, last.dirtyKb);
    PrintFigure(Format("%d sessions in a row, growth since session %d", sessions, warmUp),
                Format("no descriptor, no thread, at most %ld KB", kToleranceKb),
                Format("%+ld descriptors, %+ld threads, %+ld KB", descriptors, threads, dirtyKb),
                descriptors <= 0 && threads <= 0 && dirtyKb <= kToleranceKb);
}
