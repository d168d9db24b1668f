// FaultPage.h - what the fault library and the program that drives it share: the kinds of calls, and a page of memory.
//
// The page is a file that both map (PLUG_FAULT_PAGE names it). The library counts there; the driver reads the counts at
// any time, also when the agent has ended, and switches the faults off. C and C++.
#pragma once

#include <stdint.h>

// A kind is what a fault is asked for by its name; behind it, the calls that it stands for. The agent asks for no other
// variants of them.
#define FAULT_KINDS(X)                                                                                                 \
    X(malloc) /* malloc, calloc, realloc; also what the C library and cJSON take */                                    \
    X(send)                                                                                                            \
    X(recv)                                                                                                            \
    X(read)                                                                                                            \
    X(write) /* write, pwrite */                                                                                       \
    X(open)                                                                                                            \
    X(socket)                                                                                                          \
    X(bind)                                                                                                            \
    X(listen)                                                                                                          \
    X(accept) /* accept4 */                                                                                            \
    X(connect)                                                                                                         \
    X(spawn)  /* posix_spawn */                                                                                        \
    X(pipe)   /* pipe2 */                                                                                              \
    X(thread) /* pthread_create */                                                                                     \
    X(rename)                                                                                                          \
    X(unlink)                                                                                                          \
    X(stat) /* fstat, lstat */                                                                                         \
    X(poll)                                                                                                            \
    X(option) /* setsockopt, getsockopt, ioctl, fcntl */                                                               \
    X(file)   /* chmod, fchmod, ftruncate, lseek, readlinkat, fdopen */                                                \
    X(router) /* every procedure of the router library */

#define FAULT_NUMBER(name) FAULT_##name,
enum { FAULT_KINDS(FAULT_NUMBER) FAULT_KIND_COUNT };

struct FaultPage {
    uint32_t off;                     // by the driver: 1 ends all faults
    uint32_t loaded;                  // the library works in a process
    uint32_t calls[FAULT_KIND_COUNT]; // so far, of each kind
    uint32_t faults;                  // calls that went wrong by our doing
    int32_t blocks;                   // of the heap that are in use
    char first[32];                   // the call that went wrong first, and where in the program it returns to
    uint64_t from;
};
