#include "Agent.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Figures.h"
#include "Link.h"
#include "tests/support/Processes.h"

namespace fs = std::filesystem;

static bool WriteFile(const char *path, const std::string &text)
{
    std::ofstream file(path);
    file << text;
    file.close();
    return !file.fail();
}

// ---- The process ----

static std::string s_program = PLUG_BENCH_AGENT;

std::string AgentProgram()
{
    return s_program;
}

void SetAgentProgram(const std::string &path)
{
    s_program = path;
}

Agent::Agent(uint16_t registerPort, double factor)
{
    const std::string config = Format("[Dev]\nPIN=123456789012\n[Protool]\nKEY=%s\nSERVER1=127.0.0.1\n"
                                      "SERVER2=127.0.0.1\nPORT=%u\n",
                                      kBenchKey, registerPort);
    if (!WriteFile("/tmp/bench.conf", config)) Fail("cannot write the configuration");
    const std::string factorText = Format("%.6g", factor);
    mStartedMs = NowMs();
    mPid = fork();
    if (mPid < 0) Fail("cannot start a process");
    if (mPid > 0) return;

    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int null = open("/dev/null", O_RDWR);
    for (int fd = 0; fd <= 2; fd++) dup2(null, fd);
    if (factor != 1) {
        setenv("LD_PRELOAD", PLUG_BENCH_FASTCLOCK, 1);
        setenv("FASTCLOCK_FACTOR", factorText.c_str(), 1);
    }
    execl(s_program.c_str(), s_program.c_str(), "-f", "/tmp/bench.conf", static_cast<char *>(nullptr));
    _exit(127);
}

Agent::~Agent()
{
    kill(mPid, SIGKILL);
    waitpid(mPid, nullptr, 0);
}

std::string Agent::Proc(const char *name) const
{
    return Format("/proc/%d/%s", static_cast<int>(mPid), name);
}

static long CountEntries(const std::string &folder)
{
    std::error_code error;
    long count = 0;
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) count++;
    if (error || count == 0) Fail("the agent is gone");
    return count;
}

long Agent::Descriptors() const
{
    return CountEntries(Proc("fd"));
}

long Agent::Threads() const
{
    return CountEntries(Proc("task"));
}

// The sum of the numbers in all lines that start with `name`.
static long long SumOfLines(const std::string &path, const char *name)
{
    std::ifstream file(path);
    if (!file) Fail("the agent is gone");
    long long sum = 0;
    for (std::string line; std::getline(file, line);)
        if (line.rfind(name, 0) == 0) sum += atoll(line.c_str() + line.find(':') + 1);
    return sum;
}

long Agent::DirtyKb() const
{
    const long dirtyKb = DirtyKbOf(mPid);
    if (dirtyKb == 0) Fail("the agent is gone");
    return dirtyKb;
}

long Agent::HighWaterKb() const
{
    return static_cast<long>(SumOfLines(Proc("status"), "VmHWM"));
}

long long Agent::WakeUps() const
{
    long long sum = 0;
    for (const auto &task : fs::directory_iterator(Proc("task")))
        sum += SumOfLines(task.path() / "status", "voluntary_ctxt_switches");
    return sum;
}

std::string Agent::WakeUpList() const
{
    std::string list;
    for (const auto &task : fs::directory_iterator(Proc("task")))
        list +=
            Format("%s%lld", list.empty() ? "" : " + ", SumOfLines(task.path() / "status", "voluntary_ctxt_switches"));
    return list;
}
