// Leak.c - a preload library that makes the agent lose something with its frames, so that a soak has to find it.
//
//   PLUG_LEAK  one or more of: memory (64 bytes of each frame), descriptors, threads (one of every 40 frames)
//
// Only in the agent itself: what it starts, and its supervisor, run as they are.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#define EXPORT __attribute__((visibility("default")))

enum { LOST_BYTES = 64, FRAMES_EACH = 40 };

static void *Stay(void *unused)
{
    for (;;) pause();
    return unused;
}

static void Lose(const char *what)
{
    static unsigned frames;
    const unsigned frame = __atomic_add_fetch(&frames, 1, __ATOMIC_RELAXED);
    pthread_t thread;
    if (strstr(what, "memory")) {
        volatile char *const lost = malloc(LOST_BYTES);
        if (lost) lost[0] = 1;
    }
    if (frame % FRAMES_EACH != 0) return;
    if (strstr(what, "descriptors") && dup(STDIN_FILENO) < 0) return;
    if (strstr(what, "threads")) pthread_create(&thread, NULL, Stay, NULL);
}

EXPORT ssize_t send(int fd, const void *data, size_t size, int flags)
{
    static ssize_t (*real)(int, const void *, size_t, int);
    if (!real) real = (ssize_t(*)(int, const void *, size_t, int))dlsym(RTLD_NEXT, "send");
    const char *const what = getenv("PLUG_LEAK");
    if (what && strncmp(program_invocation_short_name, "plug", 4) == 0) Lose(what);
    return real(fd, data, size, flags);
}
