#include <cstdio>
#include <vector>

#include "Agent.h"
#include "BenchPlatform.h"
#include "Benches.h"
#include "Echo.h"
#include "Figures.h"
#include "platform/Crypt.h"

static const double kPaceMs = 20;
static const double kAnswerMs = 2000;
static const int kBlock = 10; // samples of one before the other has its turn
static const double kMaxEchoRatio = 1.5;

// The echo's answers mean nothing but have a frame header, so the same code receives them.
static double AskEcho(Link *link, const Bytes &request, BenchFrame *reply)
{
    const double sent = NowMs();
    link->Send(request);
    if (!link->Next(reply, sent + kAnswerMs)) Fail("the echo does not answer");
    return NowMs() - sent;
}

// A block of paced samples; the first is a warm-up after the other's turn and does not count.
template <typename Ask>
static void Block(Ask ask, Link *link, const Bytes &request, std::vector<double> *samples)
{
    BenchFrame reply;
    const double begin = NowMs() + kPaceMs;
    for (int i = 0; i <= kBlock; i++) {
        SleepUntilMs(begin + i * kPaceMs);
        const double took = ask(link, request, &reply);
        if (i > 0) samples->push_back(took);
    }
}

void MeasureLatency(int samples)
{
    BenchPlatform platform;
    Agent agent(platform.RegisterPort());
    Link session = platform.LogIn(60, 20000);

    // Function 1: tag, ID, six bytes not used.
    const Bytes record = {0, 0, 1, 0x02, 0x11, 0x22, 0x33, 0x44, 0x55, 10, 0, 0x34, 0x12, 1, 0, 0, 0, 0, 0, 0, 0};
    const Bytes request = MakeFrame(MSG_FUNCTION_COMMAND, {0, 0}, record);
    BenchFrame reply;
    AskAgent(&session, request, &reply);
    const size_t replyLen = kFrameHeaderSize + reply.head.size() + reply.plain.size();

    Listener listener;
    StartEcho(listener.Port(), request.size(), AesPaddedLength(record.size()), replyLen, reply.plain.size());
    Link echo(listener.Accept());

    std::vector<double> agentMs, echoMs;
    while (static_cast<int>(agentMs.size()) < samples) {
        Block(AskAgent, &session, request, &agentMs);
        Block(AskEcho, &echo, request, &echoMs);
    }
    const double agentMedian = Quantile(agentMs, 0.5), echoMedian = Quantile(echoMs, 0.5);
    printf("latency: %zu samples each; agent median %.0f us, 90%% below %.0f us; echo %.0f us, %.0f us\n",
           agentMs.size(), agentMedian * 1e3, Quantile(agentMs, 0.9) * 1e3, echoMedian * 1e3,
           Quantile(echoMs, 0.9) * 1e3);
    const double ratio = agentMedian / echoMedian;
    PrintFigure("command to acknowledgement, median, over a bare two-thread echo", "at most 1.50",
                Format("%.2f (%.0f / %.0f us)", ratio, agentMedian * 1e3, echoMedian * 1e3), ratio <= kMaxEchoRatio);
}
