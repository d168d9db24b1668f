// Processes.h - what a process holds, as the kernel tells it.
// State: none. Threads: any.
#pragma once

#include <cstddef>
#include <string>
#include <sys/types.h>

// How many threads, and how many open descriptors, a process has; 0 stands for this one. A thread that has been joined
// may be counted for a moment longer. The own descriptors contain the one that they are counted through.
size_t ThreadsOf(pid_t process = 0);
size_t DescriptorsOf(pid_t process = 0);

// The pages that a process has written to, KB; 0 when it has ended. Clean pages of its files are left out: they count as
// its own or as shared depending on who else has mapped the files just now, such as a second agent.
long DirtyKbOf(pid_t process);

// Processor time that all threads of a process have used, those that have ended too, seconds; 0 when it has ended.
double CpuSecondsOf(pid_t process);

// A child of `parent` whose program's file has a name that begins so; 0 when there is none.
pid_t ChildNamed(pid_t parent, const std::string &begin);
