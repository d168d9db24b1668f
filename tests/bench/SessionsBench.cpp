#include <cstdio>

#include "Agent.h"
#include "BenchPlatform.h"
#include "Benches.h"
#include "Figures.h"

// The heap of a process moves by pages as its threads come and go; a leak of 16 bytes a session would show.
static const long kToleranceKb = 16;

void MeasureSessions(int sessions, int warmUp, double factor)
{
    BenchPlatform platform;
    Agent agent(platform.RegisterPort(), factor);
    long descriptors = 0, threads = 0, privateKb = 0;
    const double begin = NowMs();
    for (int i = 1; i <= sessions; i++) {
        Link session = platform.LogIn(60, 60000); // dropped at the end of the turn
        const bool first = i == warmUp, last = i == sessions;
        if (!first && !last && i % 100 != 0) continue;
        printf("sessions: after %d (%.0f s): %ld descriptors, %ld threads, %ld KB private\n", i,
               (NowMs() - begin) / 1e3, agent.Descriptors(), agent.Threads(), agent.PrivateKb());
        fflush(stdout);
        if (first) {
            descriptors = agent.Descriptors();
            threads = agent.Threads();
            privateKb = agent.PrivateKb();
        }
        if (!last) continue;
        descriptors = agent.Descriptors() - descriptors;
        threads = agent.Threads() - threads;
        privateKb = agent.PrivateKb() - privateKb;
    }
    PrintFigure(Format("%d sessions in a row, growth since the %dth", sessions, warmUp),
                Format("no descriptor, no thread, at most %ld KB", kToleranceKb),
                Format("%+ld descriptors, %+ld threads, %+ld KB", descriptors, threads, privateKb),
                descriptors <= 0 && threads <= 0 && privateKb <= kToleranceKb);
}
