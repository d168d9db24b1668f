// AgentBench.cpp - measures the real agent: agent_bench [--agent FILE] WHAT [NUMBER]..., of these:
//
//   latency [SAMPLES]                      default 1000
//   idle [SETTLE-SECONDS [SECONDS]]        default 210 300: behind the duties that follow a login, five heartbeats
//   memory [SETTLE-SECONDS]                default 30
//   start [RUNS]                           default 5
//   sessions [SESSIONS [WARM-UP [FACTOR]]] default 1000 10 200
//   rate [MEGABYTES [ROUNDS]]              default 1024 9
//   ping [SAMPLES]                         default 100
//   local [SAMPLES [FRAMES [FACTOR]]]      default 300 100000 200
//   devices [SAMPLES]                      default 10
//
// Exit status: 0 measured (whatever the verdict), 1 could not measure, 2 wrong use, 77 no private /tmp possible.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include "Agent.h"
#include "Benches.h"
#include "PrivateTmp.h"

int main(int argc, char *argv[])
{
    const char *const name = argv[0];
    if (argc > 2 && strcmp(argv[1], "--agent") == 0) {
        if (access(argv[2], X_OK) != 0) {
            fprintf(stderr, "%s: cannot run %s\n", name, argv[2]);
            return 2;
        }
        SetAgentProgram(argv[2]);
        argc -= 2;
        argv += 2;
    }
    const auto number = [&](int index, int otherwise) { return argc > index ? atoi(argv[index]) : otherwise; };
    const char *what = argc > 1 ? argv[1] : "";
    for (int i = 2; i < argc; i++) {
        if (atoi(argv[i]) > 0) continue;
        fprintf(stderr, "%s: not a positive number: %s\n", name, argv[i]);
        return 2;
    }
    setvbuf(stdout, nullptr, _IOLBF, 0);
    const std::vector<std::pair<std::string, std::function<void()>>> benches = {
        {"latency", [&] { MeasureLatency(number(2, 1000)); }},
        {"idle", [&] { MeasureIdle(number(2, 210), number(3, 300)); }},
        {"memory", [&] { MeasureMemory(number(2, 30)); }},
        {"start", [&] { MeasureStart(number(2, 5)); }},
        {"sessions", [&] { MeasureSessions(number(2, 1000), number(3, 10), number(4, 200)); }},
        {"rate", [&] { MeasureRate(number(2, 1024), number(3, 9)); }},
        {"ping", [&] { MeasurePing(number(2, 100)); }},
        {"local", [&] { MeasureLocal(number(2, 300), number(3, 100000), number(4, 200)); }},
        {"devices", [&] { MeasureDevices(number(2, 10)); }},
    };
    for (const auto &bench : benches) {
        if (bench.first != what) continue;
        if (!EnterPrivateTmp()) return 77;
        bench.second();
        return 0;
    }
    fprintf(stderr, "usage: %s [--agent FILE] latency|idle|memory|start|sessions|rate|ping|local|devices [NUMBER]...\n",
            name);
    return 2;
}
