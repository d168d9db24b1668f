#include "tests/support/Processes.h"

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>

static size_t EntriesOf(pid_t process, const char *folder)
{
    const std::string name = process ? std::to_string(process) : "self";
    const std::filesystem::directory_iterator entries("/proc/" + name + "/" + folder);
    return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

size_t ThreadsOf(pid_t process)
{
    return EntriesOf(process, "task");
}

size_t DescriptorsOf(pid_t process)
{
    return EntriesOf(process, "fd");
}

long DirtyKbOf(pid_t process)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/smaps_rollup");
    long sum = 0;
    for (std::string line; std::getline(file, line);)
        if (line.rfind("Private_Dirty:", 0) == 0) sum += atol(line.c_str() + line.find(':') + 1);
    return sum;
}

double CpuSecondsOf(pid_t process)
{
    clockid_t clock;
    struct timespec used = {};
    if (clock_getcpuclockid(process, &clock) == 0) clock_gettime(clock, &used);
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
}

pid_t ChildNamed(pid_t parent, const std::string &begin)
{
    const std::string number = std::to_string(parent);
    std::ifstream children("/proc/" + number + "/task/" + number + "/children");
    for (pid_t child; children >> child;) {
        std::error_code error;
        const std::string program = "/proc/" + std::to_string(child) + "/exe";
        const std::string name = std::filesystem::read_symlink(program, error).filename();
        if (name.rfind(begin, 0) == 0) return child;
    }
    return 0;
}
