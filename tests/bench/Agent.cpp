#include "Agent.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Figures.h"
#include "Link.h"
#include "tests/support/Processes.h"

namespace fs = std::filesystem;

// ---- A /tmp of our own ----

static bool WriteFile(const char *path, const std::string &text)
{
    std::ofstream file(path);
    file << text;
    file.close();
    return !file.fail();
}

static bool Unshare()
{
    const uid_t uid = getuid();
    const gid_t gid = getgid();
    if (unshare(CLONE_NEWNS) == 0) return true;
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    return WriteFile("/proc/self/setgroups", "deny") && WriteFile("/proc/self/uid_map", Format("0 %u 1", uid)) &&
           WriteFile("/proc/self/gid_map", Format("0 %u 1", gid));
}

bool EnterPrivateTmp()
{
    const fs::path folder = fs::path(PLUG_BENCH_AGENT).parent_path();
    bool done = Unshare() && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    // Opened in the new namespace: a folder of another one cannot be mounted.
    const int fd = open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    done = done && fd >= 0 && mount("tmpfs", "/tmp", "tmpfs", 0, "mode=1777") == 0;
    if (done && folder.string().rfind("/tmp/", 0) == 0) {
        std::error_code error;
        fs::create_directories(folder, error);
        const std::string hidden = Format("/proc/self/fd/%d", fd);
        done = mount(hidden.c_str(), folder.c_str(), nullptr, MS_BIND, nullptr) == 0;
    }
    if (!done) fprintf(stderr, "benchmark: no private /tmp to be had here: %s\n", strerror(errno));
    if (fd >= 0) close(fd);
    return done;
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
