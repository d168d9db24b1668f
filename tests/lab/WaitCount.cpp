// Preloaded into the agent: counts how often the thread that waits with epoll_wait(), the router library's, comes back from
// a wait. The kernel's count of the thread's switches would not do: it has the waits for the kernel's own locks, which
// other households of this machine hold.
//
// WAIT_COUNT names a file of eight bytes, the count.
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <unistd.h>

static std::atomic<uint64_t> *s_count;
static thread_local bool t_isLibrary;

__attribute__((constructor)) static void MapTheCount()
{
    const char *path = getenv("WAIT_COUNT");
    const int file = path ? open(path, O_RDWR | O_CLOEXEC) : -1;
    if (file < 0) return;
    void *memory = mmap(nullptr, sizeof *s_count, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory != MAP_FAILED) s_count = static_cast<std::atomic<uint64_t> *>(memory);
    close(file);
}

static int Woken(int result)
{
    if (s_count && t_isLibrary) ++*s_count;
    return result;
}

template <typename Call>
static Call *Real(Call *, const char *name)
{
    return reinterpret_cast<Call *>(dlsym(RTLD_NEXT, name));
}

extern "C" int epoll_wait(int set, struct epoll_event *events, int most, int milliseconds)
{
    static const auto real = Real(epoll_wait, "epoll_wait");
    t_isLibrary = true;
    const int there = real(set, events, most, 0);
    return there != 0 ? there : Woken(real(set, events, most, milliseconds));
}

extern "C" int poll(struct pollfd *descriptors, nfds_t count, int milliseconds)
{
    static const auto real = Real(poll, "poll");
    const int there = real(descriptors, count, 0);
    return there != 0 ? there : Woken(real(descriptors, count, milliseconds));
}
