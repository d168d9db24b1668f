#include "tests/support/Processes.h"

#include <filesystem>
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
