#include "sdk/check/Library.h"

#include <atomic>
#include <chrono>
#include <dlfcn.h>

namespace check
{

static void *s_library;
static std::atomic<int64_t> s_longest;

static const int kMaxThreads = 64;
static std::atomic<const char *> s_calls[kMaxThreads];
static std::atomic<int> s_threads;
static thread_local int s_thread = -1; // index of its call; -1: none yet

static int64_t Now()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

bool OpenLibrary(const std::string &path, std::string *error)
{
    // A name without a slash would be searched for in the system's folders.
    const std::string file = path.find('/') == std::string::npos ? "./" + path : path;
    s_library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!s_library) *error = dlerror();
    return s_library != nullptr;
}

void *FindProcedure(const char *name)
{
    return dlsym(s_library, name);
}

// Notes the call of this thread. A thread too many is not noted.
static void Note(const char *name)
{
    if (s_thread < 0) s_thread = s_threads++;
    if (s_thread < kMaxThreads) s_calls[s_thread] = name;
}

const char *PresentCall()
{
    return s_thread >= 0 && s_thread < kMaxThreads ? s_calls[s_thread].load() : nullptr;
}

const char *PresentCallOf(int thread)
{
    if (thread >= s_threads || thread >= kMaxThreads) return nullptr;
    const char *const name = s_calls[thread];
    return name ? name : "";
}

int64_t LongestCall()
{
    return s_longest;
}

InLibrary::InLibrary(const char *name) : mBegin(Now())
{
    Note(name);
}

InLibrary::~InLibrary()
{
    Note(nullptr);
    const int64_t took = Now() - mBegin;
    int64_t longest = s_longest;
    while (took > longest && !s_longest.compare_exchange_weak(longest, took)) {
    }
}

} // namespace check
