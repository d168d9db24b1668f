#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Agent.h"
#include "BenchPlatform.h"
#include "Benches.h"
#include "Figures.h"

static const double kAnswerMs = 5000;
static const double kDownloadMs = 120000;
static const double kPaceMs = 20;
static const double kLeastOfCurl = 0.8;
static const long kToleranceKb = 64;
static const double kMaxMs = 2;
static const int64_t kWarmUp = 4 << 20;

// ---- Functions ----

// What follows the record's own header in a function's reply: tag, ID, status, data. Heartbeats in between are
// answered.
static Bytes AwaitReply(Link *link, uint8_t function, double timeoutMs)
{
    const double deadline = NowMs() + timeoutMs;
    BenchFrame frame;
    errno = 0;
    while (link->Next(&frame, deadline)) {
        InnerRecord record;
        if (AnswerHeartbeat(link, frame) || frame.header.msgType != MSG_ACK_MAC) continue;
        if (!InnerRecordRead(frame.plain.data(), frame.plain.size(), true, &record) || record.payloadLen < 6) continue;
        if (record.payload[2] == function) return Bytes(record.payload, record.payload + record.payloadLen);
    }
    Fail("the agent does not answer a command");
}

// ---- Rate ----

// Serves `length` bytes to whoever connects next. Returns the milliseconds from the start of the response until the
// other end has closed the connection, which it does when it has received everything.
static double Serve(const Listener &listener, int64_t length)
{
    struct pollfd coming = {listener.Descriptor(), POLLIN, 0};
    errno = 0;
    if (poll(&coming, 1, static_cast<int>(kAnswerMs)) != 1) Fail("nobody comes to download");
    const int fd = listener.Accept();
    std::string request;
    char bytes[1024];
    while (request.find("\r\n\r\n") == std::string::npos) {
        const ssize_t count = recv(fd, bytes, sizeof bytes, 0);
        if (count <= 0) Fail("no request");
        request.append(bytes, static_cast<size_t>(count));
    }
    static char block[256 * 1024];
    const double begin = NowMs();
    const std::string header =
        Format("HTTP/1.1 200 OK\r\nContent-Length: %lld\r\n\r\n", static_cast<long long>(length));
    if (send(fd, header.data(), header.size(), MSG_NOSIGNAL | MSG_MORE) < 0) Fail("cannot send");
    for (int64_t sent = 0; sent < length;) {
        const size_t size = static_cast<size_t>(std::min<int64_t>(length - sent, sizeof block));
        const ssize_t count = send(fd, block, size, MSG_NOSIGNAL);
        if (count <= 0) Fail("the download ends early");
        sent += count;
    }
    while (recv(fd, bytes, sizeof bytes, 0) > 0) {
    }
    const double took = NowMs() - begin;
    close(fd);
    return took;
}

static double ServeAgent(Link *session, const Listener &listener, int64_t length)
{
    const std::string json = Format("{\"value_func61\":\"http://127.0.0.1:%u/bench\"}", listener.Port());
    Bytes parameters = {static_cast<uint8_t>(json.size()), 0};
    parameters.insert(parameters.end(), json.begin(), json.end());
    session->Send(FunctionFrame(87, 1, parameters));
    AwaitReply(session, 87, kAnswerMs);
    const double took = Serve(listener, length);
    const Bytes report = AwaitReply(session, 62, kDownloadMs);
    if (report.size() != 10 || report[4] != 0) Fail("the rate test has failed");
    return took;
}

static double ServeCurl(const Listener &listener, int64_t length)
{
    const std::string url = Format("http://127.0.0.1:%u/bench", listener.Port());
    const pid_t pid = fork();
    if (pid < 0) Fail("cannot start a process");
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        execlp("curl", "curl", "--silent", "--noproxy", "*", "-o", "/dev/null", url.c_str(),
               static_cast<char *>(nullptr));
        fprintf(stderr, "benchmark: no curl: scripts/install-packages.sh run installs it\n");
        _exit(127);
    }
    const double took = Serve(listener, length);
    int status = 0;
    if (waitpid(pid, &status, 0) != pid || status != 0) Fail("curl has failed");
    return took;
}

void MeasureRate(int megabytes, int rounds)
{
    const int64_t length = static_cast<int64_t>(megabytes) << 20;
    BenchPlatform platform;
    Agent agent(platform.RegisterPort());
    Link session = platform.LogIn(60, 20000);
    Listener listener;

    // Code and buffers that the first one touches are there for the others.
    ServeAgent(&session, listener, kWarmUp);
    ServeCurl(listener, kWarmUp);
    const long before = agent.HighWaterKb();
    std::vector<double> agentMs, curlMs;
    for (int i = 0; i < rounds; i++) {
        curlMs.push_back(ServeCurl(listener, length));
        agentMs.push_back(ServeAgent(&session, listener, length));
        printf("rate: %d MB: agent %.0f ms, curl %.0f ms\n", megabytes, agentMs.back(), curlMs.back());
    }
    const long growth = agent.HighWaterKb() - before;

    const double mb = static_cast<double>(length) / 1e6;
    const double agentRate = mb / Quantile(agentMs, 0.5) * 1e3, curlRate = mb / Quantile(curlMs, 0.5) * 1e3;
    const double ratio = agentRate / curlRate;
    PrintFigure(Format("rate test of %d MB over curl from the same server, medians", megabytes), "at least 80 %",
                Format("%.0f %% (%.0f / %.0f MB/s)", ratio * 100, agentRate, curlRate), ratio >= kLeastOfCurl);
    PrintFigure(Format("growth of the resident memory's peak by rate tests of %d MB", megabytes),
                Format("at most %ld KB", kToleranceKb), Format("%+ld KB (of %ld KB)", growth, before),
                growth <= kToleranceKb);
}

// ---- Ping ----

// Sends a function and waits for its reply, after a pause. Returns the milliseconds.
static double Ask(Link *session, uint8_t function, uint16_t tag, const Bytes &parameters, Bytes *reply)
{
    SleepUntilMs(NowMs() + kPaceMs);
    const Bytes request = FunctionFrame(function, tag, parameters);
    const double begin = NowMs();
    session->Send(request);
    *reply = AwaitReply(session, function, kAnswerMs);
    return NowMs() - begin;
}

// The measuring process must not wait for a processor that ping and its shell keep busy.
static void GoFirst()
{
    const struct sched_param first = {1};
    if (sched_setscheduler(0, SCHED_FIFO | SCHED_RESET_ON_FORK, &first) != 0)
        printf("ping: no right to go before others: the waits for a processor are measured too\n");
}

static void Print(const char *what, const std::vector<double> &ms)
{
    printf("ping: %s: median %.2f ms, 90%% below %.2f ms, slowest %.2f ms\n", what, Quantile(ms, 0.5),
           Quantile(ms, 0.9), Quantile(ms, 1));
}

void MeasurePing(int samples)
{
    BenchPlatform platform;
    Agent agent(platform.RegisterPort());
    Link session = platform.LogIn(60, 20000);

    GoFirst();
    Bytes parameters(24);
    parameters[0] = 1; // 127.0.0.1, its octets reversed; size 0
    parameters[3] = 127;
    parameters[22] = 1; // count
    std::vector<double> startMs, plainMs;
    Bytes reply;
    for (int i = 0; i <= samples; i++) {
        const uint16_t tag = static_cast<uint16_t>(i);
        const double start = Ask(&session, 8, tag, parameters, &reply);
        if (reply[4] != 0) Fail("the ping has not been started");
        // Answered when it has ended, and then with its text.
        do Ask(&session, 9, tag, {}, &reply);
        while (reply[4] != 0);
        const double plain = Ask(&session, 1, tag, {}, &reply);
        if (i == 0) continue; // the first binds symbols
        startMs.push_back(start);
        plainMs.push_back(plain);
    }
    Print("starts", startMs);
    Print("plain commands in between", plainMs);
    const double slowest = Quantile(startMs, 1);
    PrintFigure(Format("command that starts a ping to acknowledgement, slowest of %d", samples), "at most 2 ms",
                Format("%.2f ms (median %.2f ms)", slowest, Quantile(startMs, 0.5)), slowest <= kMaxMs);
}
