#include "tests/support/Processes.h"

#include <cstdlib>
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
