#include "Memory.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Figures.h"
#include "Link.h"

namespace fs = std::filesystem;

namespace
{
struct Mapping {
    unsigned long begin = 0;
    unsigned long end = 0;
    std::string rights;
    std::string file; // or the kernel's name for it; empty when it has none
};

// The first line of a mapping in smaps: "7f00-7fff rw-p 00000000 00:00 0    [heap]"
bool ReadMapping(const std::string &line, Mapping *mapping)
{
    std::istringstream words(line);
    char dash = 0;
    std::string offset, device, inode;
    Mapping read;
    if (!(words >> std::hex >> read.begin >> dash >> read.end >> read.rights >> offset >> device >> inode) ||
        dash != '-')
        return false;
    words >> read.file;
    *mapping = read;
    return true;
}

// What is reported of it. The kernel lets the zeroed data follow the file's, and the C library a stack its guard page.
std::string Name(const Mapping &mapping, const Mapping &before, const std::string &nameBefore)
{
    if (!mapping.file.empty()) return fs::path(mapping.file).filename();
    if (mapping.begin == before.end) {
        if (before.rights == "---p") return "thread stacks";
        if (before.file.find('/') != std::string::npos) return nameBefore + " (.bss)";
    }
    return "other";
}

std::string Proc(pid_t pid, const char *name)
{
    return Format("/proc/%d/%s", static_cast<int>(pid), name);
}

void TouchEveryPage(const std::string &file)
{
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status;
    if (fd < 0 || fstat(fd, &status) != 0) _exit(1);
    const size_t size = static_cast<size_t>(status.st_size);
    void *const pages = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
    if (pages == MAP_FAILED) _exit(1);
    for (size_t at = 0; at < size; at += 4096) (void)static_cast<const volatile char *>(pages)[at];
    close(fd);
}
} // namespace

std::vector<MappedKb> PrivateMemory(pid_t pid)
{
    std::ifstream file(Proc(pid, "smaps"));
    std::vector<MappedKb> list;
    MappedKb *current = nullptr;
    Mapping mapping, before;
    std::string name;
    for (std::string line; std::getline(file, line);) {
        if (ReadMapping(line, &mapping)) {
            name = Name(mapping, before, name);
            before = mapping;
            auto kind = std::find_if(list.begin(), list.end(), [&](const auto &at) { return at.name == name; });
            if (kind == list.end()) {
                list.emplace_back();
                list.back().name = name;
                kind = list.end() - 1;
            }
            current = &*kind;
        } else if (current && line.rfind("Private_Dirty:", 0) == 0) {
            current->dirty += atol(line.c_str() + line.find(':') + 1);
        } else if (current && line.rfind("Private_Clean:", 0) == 0) {
            current->clean += atol(line.c_str() + line.find(':') + 1);
        }
    }
    if (list.empty()) Fail("the agent is gone");
    list.erase(std::remove_if(list.begin(), list.end(), [](const auto &at) { return at.dirty + at.clean == 0; }),
               list.end());
    std::stable_sort(list.begin(), list.end(), [](const auto &a, const auto &b) { return a.dirty > b.dirty; });
    return list;
}

std::vector<std::string> MappedLibraries(pid_t pid)
{
    std::ifstream file(Proc(pid, "maps"));
    const std::string program = fs::read_symlink(Proc(pid, "exe"));
    std::set<std::string> files;
    Mapping mapping;
    for (std::string line; std::getline(file, line);)
        if (ReadMapping(line, &mapping) && mapping.file.rfind("/", 0) == 0 && mapping.file != program)
            files.insert(mapping.file);
    if (files.empty()) Fail("the agent has no library");
    return {files.begin(), files.end()};
}

Neighbour::Neighbour(const std::vector<std::string> &files)
{
    int ready[2];
    if (pipe(ready) != 0) Fail("no pipe to be had");
    mPid = fork();
    if (mPid < 0) Fail("cannot start a process");
    if (mPid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (const std::string &file : files) TouchEveryPage(file);
        if (write(ready[1], "", 1) != 1) _exit(1);
        for (;;) pause();
    }
    close(ready[1]);
    char byte;
    if (read(ready[0], &byte, 1) != 1) Fail("the neighbour cannot map the libraries");
    close(ready[0]);
}

Neighbour::~Neighbour()
{
    kill(mPid, SIGKILL);
    waitpid(mPid, nullptr, 0);
}
