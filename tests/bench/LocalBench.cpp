#include <cstdio>
#include <cstring>
#include <vector>

#include "Agent.h"
#include "BenchPlatform.h"
#include "Benches.h"
#include "Figures.h"
#include "LocalPeer.h"
#include "core/Wire.h"

static const double kPaceMs = 30; // more than the pauses that the agent makes after a command and after a frame
static const double kMaxMs = 1;
static const int kWarmUp = 10;
static const uint16_t kReport = 86;
static const uint32_t kMaxWaiting = 9; // what the agent's queue holds
static const double kLostMs = 2000;    // a report that takes longer is lost
static const size_t kReportHeader = 8;

// ---- Command, question, answer, acknowledgement

static void MeasureLocalLatency(int samples)
{
    BenchPlatform platform;
    Agent agent(platform.RegisterPort());
    LocalPeer peer;
    peer.AnswerAll();
    Link session = platform.LogIn(60, 20000);

    const Bytes request = FunctionFrame(71, 0x1234, {});
    const Bytes answer = {0x34, 0x12, 71, 0, 0, 0, 1}; // tag, function, status 0 and the peer's byte
    std::vector<double> took;
    const double begin = NowMs();
    for (int i = 0; i < kWarmUp + samples; i++) {
        SleepUntilMs(begin + i * kPaceMs);
        BenchFrame reply;
        const double ms = AskAgent(&session, request, &reply);
        InnerRecord inner;
        if (!InnerRecordRead(reply.plain.data(), reply.plain.size(), true, &inner) ||
            Bytes(inner.payload, inner.payload + inner.payloadLen) != answer)
            Fail("the agent does not answer what its peer said");
        if (i >= kWarmUp) took.push_back(ms);
    }
    const double median = Quantile(took, 0.5);
    printf("local: %zu questions; median %.0f us, 90%% below %.0f us, slowest %.0f us\n", took.size(), median * 1e3,
           Quantile(took, 0.9) * 1e3, Quantile(took, 1) * 1e3);
    PrintFigure("local request to the platform's acknowledgement, median", Format("below %.0f ms", kMaxMs),
                Format("%.2f ms", median), median < kMaxMs);
}

// ---- Many frames

namespace
{
// Reports have their number as payload and must arrive in order.
struct Stream {
    uint32_t sent = 0;
    uint32_t next = 0; // number of the one that should come next
    uint32_t came = 0;
    uint32_t wrong = 0; // out of order, or not with the agent's next number

    void Take(const InnerRecord &record)
    {
        WireReader r = WireRead(record.payload, record.payloadLen);
        const uint16_t sequence = WireGetLe16(&r);
        WireTake(&r, kReportHeader - sizeof(uint16_t));
        const uint32_t number = WireGetLe32(&r);
        came++;
        if (r.failed || number < next || sequence != static_cast<uint16_t>(came)) wrong++;
        next = number + 1;
    }
};
} // namespace

static bool TakeReport(Link *session, Stream *stream)
{
    BenchFrame frame;
    InnerRecord record;
    const double deadline = NowMs() + kLostMs;
    while (session->Next(&frame, deadline)) {
        if (AnswerHeartbeat(session, frame) || frame.header.msgType != MSG_UP_MAC) continue;
        if (!InnerRecordRead(frame.plain.data(), frame.plain.size(), true, &record) || record.dataType != kReport)
            continue;
        stream->Take(record);
        return true;
    }
    return false;
}

static void MeasureLocalStream(int frames, double factor)
{
    BenchPlatform platform;
    Agent agent(platform.RegisterPort(), factor);
    LocalPeer peer;
    Link session = platform.LogIn(30000, 60000);
    Stream stream;
    const double begin = NowMs();
    while (stream.next < static_cast<uint32_t>(frames)) {
        while (stream.sent < static_cast<uint32_t>(frames) && stream.sent - stream.next < kMaxWaiting) {
            Bytes payload(4);
            WireWriter w = WireWrite(payload.data(), payload.size());
            WirePutLe32(&w, stream.sent++);
            peer.Send(kReport, payload);
        }
        if (!TakeReport(&session, &stream)) break;
        peer.Drain();
        if (stream.came % 10000 == 0)
            printf("local: %u frames (%.0f s): %ld descriptors, %ld threads, %ld KB written to\n", stream.came,
                   (NowMs() - begin) / 1e3, agent.Descriptors(), agent.Threads(), agent.DirtyKb());
    }
    const uint32_t lost = static_cast<uint32_t>(frames) - stream.came;
    PrintFigure(Format("%d local frames, at most %u of them waiting", frames, kMaxWaiting), "none lost",
                Format("%u lost, %u wrong", lost, stream.wrong), lost == 0 && stream.wrong == 0);
}

void MeasureLocal(int samples, int frames, double factor)
{
    MeasureLocalLatency(samples);
    MeasureLocalStream(frames, factor);
}
