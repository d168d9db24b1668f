#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "Agent.h"
#include "BenchPlatform.h"
#include "Benches.h"
#include "Figures.h"

static const int kDevices = 128;
static const size_t kReportSize = 8 + kDevices * 45;
static const double kPausesMs = 4 * 20; // between the steps of a scan
static const double kMaxBareRatio = 1.5;
static const double kRestMs = 3000; // after a report
static const double kAnswerMs = 5000;
static const char kHousehold[] = "/tmp/household.json";

static void WriteHousehold()
{
    std::ofstream file(kHousehold);
    for (int i = 1; i <= kDevices; i++)
        file << (i == 1 ? "{\"devices\":[" : ",")
             << Format("{\"mac\":\"02:1a:2b:00:01:%02x\",\"name\":\"device %d\",\"ip\":\"192.168.1.%d\"}", i, i, i);
    file << "]}";
    file.close();
    if (!file || setenv("ROUTER_SIM_STATE", kHousehold, 1) != 0) Fail("cannot write the household");
}

// Milliseconds from the request to the whole report.
static double AskForReport(Link *session, uint16_t tag)
{
    const Bytes request = FunctionFrame(64, tag, {});
    const double begin = NowMs();
    session->Send(request);
    BenchFrame frame;
    while (session->Next(&frame, begin + kAnswerMs)) {
        InnerRecord record;
        if (AnswerHeartbeat(session, frame) || frame.header.msgType != MSG_UP_MAC) continue;
        const double took = NowMs() - begin;
        if (!InnerRecordRead(frame.plain.data(), frame.plain.size(), true, &record) || record.dataType != 63) continue;
        if (record.payloadLen != kReportSize || record.payload[6] != kDevices) Fail("the report is not that of all");
        return took;
    }
    Fail("the agent does not report its devices");
}

// What a scan cannot do without, and nothing else: the four pauses, and the command that reads the ARP table. Milliseconds.
static double BareScan()
{
    static const int kPauses = 4;
    char shell[] = "/bin/sh", option[] = "-c";
    char command[] = "cat /proc/net/arp | grep 192.168.1. | grep -v 00:00:00:00:00:00 > /tmp/bareSubdev";
    char *const arguments[] = {shell, option, command, nullptr};
    const double begin = NowMs();
    pid_t child;
    int status;
    for (int pause = 0; pause < kPauses; pause++) {
        if (pause == kPauses / 2 && (posix_spawn(&child, shell, nullptr, nullptr, arguments, environ) != 0 ||
                                     waitpid(child, &status, 0) != child))
            Fail("cannot run the command of a scan");
        SleepUntilMs(NowMs() + kPausesMs / kPauses);
    }
    return NowMs() - begin;
}

void MeasureDevices(int samples)
{
    WriteHousehold();
    BenchPlatform platform;
    Agent agent(platform.RegisterPort());
    Link session = platform.LogIn(60, 20000);

    std::vector<double> ours, bare;
    for (int i = 0; i <= samples; i++) {
        const double took = AskForReport(&session, static_cast<uint16_t>(i)) - kPausesMs;
        BenchFrame frame;
        const double rested = NowMs() + kRestMs + 20;
        const double least = BareScan() - kPausesMs; // while the agent rests
        if (i > 0) {                                 // the first binds symbols
            ours.push_back(took);
            bare.push_back(least);
        }
        if (i < samples)
            while (session.Next(&frame, rested)) AnswerHeartbeat(&session, frame);
    }
    const double median = Quantile(ours, 0.5), bareMedian = Quantile(bare, 0.5);
    PrintFigure(
        Format("request to report of %d devices over a bare scan's pauses and command, medians without the pauses",
               kDevices),
        Format("at most %.2f", kMaxBareRatio),
        Format("%.2f (%.2f / %.2f ms; slowest of %d: %.2f ms)", median / bareMedian, median, bareMedian, samples,
               Quantile(ours, 1)),
        median <= kMaxBareRatio * bareMedian);
}
