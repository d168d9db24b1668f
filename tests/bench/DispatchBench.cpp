// DispatchBench.cpp - the cost of answering a function, besides the router's own time: request record to reply record,
// with a router whose calls do nothing, and the number of heap allocations. Takes the options of Google Benchmark.
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "Figures.h"
#include "Medians.h"
#include "functions/ProtoolSdk.h"
#include "sdk/RouterSdk.h"

static const double kMaxNanoseconds = 1000;

// ---- The heap, counted ----

static bool s_counting;
static size_t s_allocations;

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *memory, size_t size);

void *malloc(size_t size) noexcept
{
    s_allocations += s_counting;
    return __libc_malloc(size);
}

void *calloc(size_t count, size_t size) noexcept
{
    s_allocations += s_counting;
    return __libc_calloc(count, size);
}

void *realloc(void *memory, size_t size) noexcept
{
    s_allocations += s_counting;
    return __libc_realloc(memory, size);
}
}

// ---- A router that does nothing, linked before the simulated one; its calls are not inlined ----

static const uint16_t kDevices = 128;

#define ROUTER_CALL(name, parameters, result)                                                                          \
    __attribute__((noinline)) int name parameters                                                                      \
    {                                                                                                                  \
        benchmark::ClobberMemory();                                                                                    \
        return result;                                                                                                 \
    }
ROUTER_CALL(get_router_version, (RouterVersion *), 0)
ROUTER_CALL(get_router_sn, (char[64]), 0)
ROUTER_CALL(get_router_vender, (char[64]), 0)
ROUTER_CALL(get_router_model, (char[64]), 0)
ROUTER_CALL(get_cpu_cfg, (CpuCfg *), 0)
ROUTER_CALL(get_mem_cfg, (MemCfg *), 0)
ROUTER_CALL(get_name, (char[32]), 0)
ROUTER_CALL(get_router_is_plug, (), 1)
ROUTER_CALL(get_router_support_ipv6, (), 1)
ROUTER_CALL(get_wan_cfg, (uint16_t, WanCfg *), 0)
ROUTER_CALL(get_wan_receive_bytes, (uint16_t, uint64_t *), 0)
ROUTER_CALL(get_led_switch, (uint8_t *), 0)
ROUTER_CALL(get_dev_cfg, (DevCfg *, const uint8_t[6]), 0)
ROUTER_CALL(get_devs_cfg, (DevCfg *, uint16_t *count), (*count = kDevices, 0))
ROUTER_CALL(set_dns, (uint32_t, uint32_t), 0)
ROUTER_CALL(set_name, (const char *), 0)

// ---- The functions measured ----

struct Function {
    const char *name;
    uint16_t id;
    int replyLen;
    bool plain; // one or a few calls of the router, without a list
};

static const Function kFunctions[] = {
    {"led", 22, 7, true},         {"wan-received", 7, 14, true},    {"router-version", 1, 70, true},
    {"wan-config", 3, 234, true}, {"device-config", 38, 40, true},  {"identity", 2, 301, true},
    {"set-dns", 45, 6, true},     {"set-router-name", 46, 6, true}, {"all-devices", 39, 8 + kDevices * 34, false},
};

static uint8_t s_request[kFunctionRequestSize];
static uint8_t s_reply[kFunctionReplySize];

static void PrepareRequest(const Function &function)
{
    memset(s_request, 0, sizeof s_request);
    s_request[2] = static_cast<uint8_t>(function.id);
    strcpy(reinterpret_cast<char *>(s_request) + kFunctionRequestMin, "parameters");
    memset(s_reply, 0, sizeof s_reply);
}

static bool Answered(const Function &function)
{
    int replyLen = -1;
    return ParserProtoolData(s_request, s_reply, &replyLen) == 0 && replyLen == function.replyLen;
}

static void Dispatch(benchmark::State &state, const Function &function)
{
    PrepareRequest(function);
    for (auto _ : state)
        if (!Answered(function)) state.SkipWithError("not answered");
}

// Of one call; a first one before it has bound all symbols. Negative when the function was not answered.
static long AllocationsOf(const Function &function)
{
    PrepareRequest(function);
    if (!Answered(function)) return -1;
    s_allocations = 0;
    s_counting = true;
    const bool answered = Answered(function);
    s_counting = false;
    return answered ? static_cast<long>(s_allocations) : -1;
}

static bool CountsAllocations()
{
    void *(*volatile allocate)(size_t) = malloc;
    s_allocations = 0;
    s_counting = true;
    void *memory = allocate(1);
    s_counting = false;
    free(memory);
    return s_allocations == 1;
}

int main(int argc, char *argv[])
{
    for (const Function &function : kFunctions) benchmark::RegisterBenchmark(function.name, Dispatch, function);
    if (!InitializeForMedians(argc, argv)) return 2;
    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);

    double slowest = 0, list = 0;
    std::string slowestName;
    long allocations = 0;
    if (!CountsAllocations()) return 1;
    for (const Function &function : kFunctions) {
        const double median = reporter.Median(function.name);
        const long asked = AllocationsOf(function);
        if (!(median > 0) || asked < 0) return 1;
        allocations += asked;
        if (!function.plain) list = median;
        if (!function.plain || median <= slowest) continue;
        slowest = median;
        slowestName = function.name;
    }
    PrintFigure("dispatch of a plain function, request to reply", "below 1 us",
                Format("%.0f ns (%s is the slowest; a switch %.0f ns, %d devices %.0f ns)", slowest,
                       slowestName.c_str(), reporter.Median("led"), kDevices, list),
                slowest < kMaxNanoseconds);
    PrintFigure("heap allocations of a dispatch", "none",
                Format("%ld in %zu functions", allocations, std::size(kFunctions)), allocations == 0);
    return 0;
}
