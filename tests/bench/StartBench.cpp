#include <cstdio>
#include <vector>

#include "Agent.h"
#include "BenchPlatform.h"
#include "Benches.h"
#include "Figures.h"

static const double kMaxSeconds = 1.5;

void MeasureStart(int runs)
{
    std::vector<double> seconds;
    for (int i = 0; i < runs; i++) {
        BenchPlatform platform;
        Agent agent(platform.RegisterPort());
        double loggedInMs = 0;
        platform.LogIn(60, 20000, &loggedInMs);
        seconds.push_back((loggedInMs - agent.StartedMs()) / 1e3);
        printf("start: logged in after %.3f s\n", seconds.back());
    }
    const double median = Quantile(seconds, 0.5);
    PrintFigure("process start to logged in, median", Format("at most %.1f s", kMaxSeconds),
                Format("%.2f s (%d runs)", median, runs), median <= kMaxSeconds);
}
