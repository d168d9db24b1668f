#include "tests/support/Mappings.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

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

std::string Proc(pid_t pid, const std::string &name)
{
    return "/proc/" + std::to_string(pid) + "/" + name;
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
    list.erase(std::remove_if(list.begin(), list.end(), [](const auto &at) { return at.dirty + at.clean == 0; }),
               list.end());
    std::stable_sort(list.begin(), list.end(), [](const auto &a, const auto &b) { return a.dirty > b.dirty; });
    return list;
}

MappedKb Total(const std::vector<MappedKb> &list)
{
    MappedKb total;
    for (const MappedKb &kind : list) {
        total.dirty += kind.dirty;
        total.clean += kind.clean;
    }
    return total;
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
    return {files.begin(), files.end()};
}
