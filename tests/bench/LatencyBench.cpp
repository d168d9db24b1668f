#include <algorithm>
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
static const size_t kParts = 10;
static const double kMaxEchoRatio = 1.05;

// An echo's answers mean nothing but have a frame header, so the same code receives them.
static double AskEcho(Link *link, const Bytes &request, BenchFrame *reply)
{
    const double sent = NowMs();
    link->Send(request);
    if (!link->Next(reply, sent + kAnswerMs)) Fail("an echo does not answer");
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

// The median of that of each part of the samples: so a moment in which the machine does something else does not become
// the result of whose turn it was.
static double SteadyQuantile(const std::vector<double> &samples, double share)
{
    const size_t parts = std::min(kParts, samples.size()), size = samples.size() / parts;
    std::vector<double> each;
    for (size_t part = 0; part < parts; part++) {
        const auto begin = samples.begin() + static_cast<long>(part * size);
        each.push_back(Quantile(std::vector<double>(begin, begin + static_cast<long>(size)), share));
    }
    return Quantile(each, 0.5);
}

// Shows the agent against an echo, at the median and where 99 of 100 are quicker; judged when there is a limit.
static void Compare(const char *echo, const std::vector<double> &agentMs, const std::vector<double> &echoMs,
                    double limit)
{
    const struct {
        const char *name;
        double share;
    } places[] = {{"median", 0.5}, {"99th percentile", 0.99}};
    for (const auto &place : places) {
        const double ours = SteadyQuantile(agentMs, place.share), theirs = SteadyQuantile(echoMs, place.share);
        PrintFigure(Format("command to acknowledgement, %s, over a bare %s echo", place.name, echo),
                    limit > 0 ? Format("at most %.2f", limit) : "",
                    Format("%.2f (%.0f / %.0f us)", ours / theirs, ours * 1e3, theirs * 1e3),
                    limit <= 0 || ours <= limit * theirs);
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
    const auto echo = [&](int threads) {
        StartEcho(threads, listener.Port(), request.size(), AesPaddedLength(record.size()), replyLen,
                  reply.plain.size());
        return Link(listener.Accept());
    };
    Link two = echo(2), one = echo(1);

    std::vector<double> agentMs, twoMs, oneMs;
    while (static_cast<int>(agentMs.size()) < samples) {
        Block(AskAgent, &session, request, &agentMs);
        Block(AskEcho, &two, request, &twoMs);
        Block(AskEcho, &one, request, &oneMs);
    }
    printf("latency: %zu samples each\n", agentMs.size());
    Compare("two-thread", agentMs, twoMs, kMaxEchoRatio);
    Compare("one-thread", agentMs, oneMs, 0);
}
