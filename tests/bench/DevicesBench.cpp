#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <vector>

#include "Agent.h"
#include "BenchPlatform.h"
#include "Benches.h"
#include "Figures.h"

static const int kDevices = 128;
static const size_t kReportSize = 8 + kDevices * 45;
static const double kPausesMs = 4 * 20; // between the steps of a scan
static const double kMaxMs = 5;
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

void MeasureDevices(int samples)
{
    WriteHousehold();
    BenchPlatform platform;
    Agent agent(platform.RegisterPort());
    Link session = platform.LogIn(60, 20000);

    std::vector<double> ours;
    for (int i = 0; i <= samples; i++) {
        const double took = AskForReport(&session, static_cast<uint16_t>(i)) - kPausesMs;
        if (i > 0) ours.push_back(took); // the first binds symbols
        BenchFrame frame;
        const double rested = NowMs() + kRestMs + 20;
        if (i < samples)
            while (session.Next(&frame, rested)) AnswerHeartbeat(&session, frame);
    }
    const double median = Quantile(ours, 0.5);
    PrintFigure(Format("request to report of %d devices, beyond its pauses of %.0f ms, median", kDevices, kPausesMs),
                Format("at most %.0f ms", kMaxMs),
                Format("%.2f ms (slowest of %d: %.2f ms)", median, samples, Quantile(ours, 1)), median <= kMaxMs);
}
