#include <cstdio>

#include "Agent.h"
#include "BenchPlatform.h"
#include "Benches.h"
#include "Figures.h"

static const int16_t kHeartbeatSeconds = 60;
static const double kMaxWakeUps = 0.1;

void MeasureIdle(int settleSeconds, int seconds)
{
    BenchPlatform platform;
    Agent agent(platform.RegisterPort());
    Link session = platform.LogIn(kHeartbeatSeconds, 20000);

    // Only heartbeats are answered; whatever is due after a start comes within the time to settle.
    BenchFrame frame;
    const double begin = NowMs() + settleSeconds * 1e3;
    while (session.Next(&frame, begin)) AnswerHeartbeat(&session, frame);
    printf("idle: %ld threads, %ld descriptors; switches by thread %s\n", agent.Threads(), agent.Descriptors(),
           agent.WakeUpList().c_str());

    const double measured = NowMs();
    const long long before = agent.WakeUps();
    int heartbeats = 0, others = 0;
    while (session.Next(&frame, measured + seconds * 1e3)) (AnswerHeartbeat(&session, frame) ? heartbeats : others)++;
    const double lasted = (NowMs() - measured) / 1e3;
    if (lasted < seconds * 0.9) Fail("the agent ended its session while idle");
    const long long wakeUps = agent.WakeUps() - before;
    printf("idle: %lld wake-ups in %.1f s, %d heartbeats, %d other frames; by thread %s\n", wakeUps, lasted, heartbeats,
           others, agent.WakeUpList().c_str());
    const double rate = static_cast<double>(wakeUps) / lasted;
    PrintFigure(
        "wake-ups a second, logged in and idle, all threads", "at most 0.10",
        Format("%.2f (%lld in %.0f s, %d heartbeat%s)", rate, wakeUps, lasted, heartbeats, heartbeats == 1 ? "" : "s"),
        rate <= kMaxWakeUps);
}
