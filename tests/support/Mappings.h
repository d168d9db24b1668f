// Mappings.h - what a process has in memory for itself alone, mapping by mapping.
// State: none. Threads: any.
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

// The mappings of `pid` that hold any, those with most dirty pages first. Empty when they cannot be read.
std::vector<MappedKb> PrivateMemory(pid_t pid);

// All of them together.
MappedKb Total(const std::vector<MappedKb> &list);

// The files that `pid` has mapped, its own program left out.
std::vector<std::string> MappedLibraries(pid_t pid);
