// Memory.h - what a process has in memory for itself alone, mapping by mapping.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

// All mappings of one kind: of a file, of its zeroed data (.bss), the heap, the stacks of the threads.
struct MappedKb {
    std::string name;
    long dirty = 0; // pages that the process has written: its own, whoever else runs
    long clean = 0; // pages that it has as the file has them, and nobody else has mapped just now
};

// The mappings of `pid` that hold any, those with most dirty pages first. Ends the program when it cannot read them.
std::vector<MappedKb> PrivateMemory(pid_t pid);

// The files that `pid` has mapped, its own program left out.
std::vector<std::string> MappedLibraries(pid_t pid);

// A process that has every page of `files` mapped, as long as the object lives.
class Neighbour
{
  public:
    explicit Neighbour(const std::vector<std::string> &files);
    ~Neighbour();
    Neighbour(const Neighbour &) = delete;
    Neighbour &operator=(const Neighbour &) = delete;

  private:
    pid_t mPid;
};
