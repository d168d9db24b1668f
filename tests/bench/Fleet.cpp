#include "Fleet.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Figures.h"
#include "PrivateTmp.h"
#include "tests/e2e/Platform.h"
#include "tests/support/Files.h"
#include "tests/support/Processes.h"

namespace fs = std::filesystem;

static const char kDefaults[] = "/tmp/defaults";
static const char kSupervisor[] = "/tmp/supervisor";
static const char kConfig[] = "/tmp/plug.conf";

// In a child process: becomes the supervisor of the agent with this number.
[[noreturn]] static void Supervise(const FleetOptions &options, const std::string &supervisor, int number)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (!EnterPrivateTmp()) _exit(1);
    WriteFile(kSupervisor, supervisor);
    WriteFile(kConfig, Format("[Dev]\nPIN=123456789012\n[Protool]\nKEY=%s\nSERVER1=127.0.0.1\nSERVER2=127.0.0.1\n"
                              "PORT=6039\n",
                              kKey));
    WriteFile(kDefaults, Format("PLUG=%s\nPLUG_OPTIONS='-f %s -m "
                                "02000000%02x%02x'\nPLUG_NEW=/tmp/plug.update\nPLUG_RUN=/tmp\nPLUG_LOG=none\n"
                                "LONG_PAUSE=%d\nlog() { :; }\n",
                                options.program.c_str(), kConfig, number >> 8, number & 0xFF, options.longPause));
    setenv("PLUG_DEFAULTS", kDefaults, 1);
    const int null = open("/dev/null", O_RDWR);
    for (int fd = 0; fd <= 2; fd++) dup2(null, fd);
    close_range(3, ~0u, 0);
    execl("/bin/sh", "sh", kSupervisor, static_cast<char *>(nullptr));
    _exit(127);
}

Fleet::Fleet(const FleetOptions &options)
{
    const std::string supervisor = ReadFile(PLUG_SUPERVISOR);
    for (int number = 0; number < options.agents; number++) {
        const pid_t child = fork();
        if (child < 0) throw Failure(std::string("fork: ") + strerror(errno));
        if (child == 0) Supervise(options, supervisor, number);
        supervisors_.push_back(child);
    }
}

Fleet::~Fleet()
{
    for (const pid_t supervisor : supervisors_) kill(supervisor, SIGTERM); // each ends its agent
    for (const pid_t supervisor : supervisors_) waitpid(supervisor, nullptr, 0);
}

// Of the children that it has waited for, and theirs.
static double CpuSecondsOfEnded(pid_t parent)
{
    const std::string stat = ReadFile(Format("/proc/%d/stat", parent));
    const size_t name = stat.rfind(')');
    if (name == std::string::npos) return 0;
    std::istringstream words(stat.substr(name + 1));
    double ticks = 0;
    std::string word;
    for (int field = 3; words >> word && field <= 17; field++)
        if (field >= 16) ticks += std::stod(word); // in user and in system mode
    return ticks / static_cast<double>(sysconf(_SC_CLK_TCK));
}

static long MedianOf(const std::vector<double> &values)
{
    return values.empty() ? 0 : static_cast<long>(Quantile(values, 0.5));
}

FleetUse Fleet::Use() const
{
    FleetUse use;
    std::vector<double> dirtyKb, supervisorDirtyKb, descriptors, threads;
    for (const pid_t supervisor : supervisors_) {
        use.cpuSeconds += CpuSecondsOf(supervisor) + CpuSecondsOfEnded(supervisor);
        supervisorDirtyKb.push_back(static_cast<double>(DirtyKbOf(supervisor)));
        const pid_t agent = ChildNamed(supervisor, "plug");
        if (agent == 0) continue;
        use.running++;
        use.cpuSeconds += CpuSecondsOf(agent);
        dirtyKb.push_back(static_cast<double>(DirtyKbOf(agent)));
        try {
            descriptors.push_back(static_cast<double>(DescriptorsOf(agent)));
            threads.push_back(static_cast<double>(ThreadsOf(agent)));
        } catch (const fs::filesystem_error &) { // it has just ended
        }
    }
    use.dirtyKb = MedianOf(dirtyKb);
    use.supervisorDirtyKb = MedianOf(supervisorDirtyKb);
    use.descriptors = MedianOf(descriptors);
    use.threads = MedianOf(threads);
    return use;
}
