// AgentBench.cpp - measures the real agent: agent_bench latency|idle|start|sessions [NUMBER]...
//
//   latency [SAMPLES]                      default 600
//   idle [SETTLE-SECONDS [SECONDS]]        default 30 70: one heartbeat of 60 s is always among them
//   start [RUNS]                           default 5
//   sessions [SESSIONS [WARM-UP [FACTOR]]] default 1000 10 200
//
// Exit status: 0 measured (whatever the verdict), 1 could not measure, 2 wrong use, 77 no private /tmp to be had.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Agent.h"
#include "Benches.h"

int main(int argc, char *argv[])
{
    const auto number = [&](int index, int otherwise) { return argc > index ? atoi(argv[index]) : otherwise; };
    const char *what = argc > 1 ? argv[1] : "";
    for (int i = 2; i < argc; i++) {
        if (atoi(argv[i]) > 0) continue;
        fprintf(stderr, "%s: not a positive number: %s\n", argv[0], argv[i]);
        return 2;
    }
    setvbuf(stdout, nullptr, _IOLBF, 0);
    if (strcmp(what, "latency") != 0 && strcmp(what, "idle") != 0 && strcmp(what, "start") != 0 &&
        strcmp(what, "sessions") != 0) {
        fprintf(stderr, "usage: %s latency|idle|start|sessions [NUMBER]...\n", argv[0]);
        return 2;
    }
    if (!EnterPrivateTmp()) return 77;
    if (what[0] == 'l') MeasureLatency(number(2, 600));
    if (what[0] == 'i') MeasureIdle(number(2, 30), number(3, 70));
    if (strcmp(what, "start") == 0) MeasureStart(number(2, 5));
    if (strcmp(what, "sessions") == 0) MeasureSessions(number(2, 1000), number(3, 10), number(4, 200));
    return 0;
}
