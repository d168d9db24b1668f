// Threads, memory, the end of the process and the paths, in place of the sources in os/posix.
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <unistd.h>

#include "os/OsMemory.h"
#include "os/OsProcess.h"
#include "os/Paths.h"
#include "tests/fakes/FakeOs.h"

void FakeClockReset();
void FakeCommandReset();

namespace
{

// Counts calls down; the one that reaches 0 fails.
struct Failure {
    std::atomic<int> countdown{0};
    std::atomic<int> error{0};
    bool Due() { return countdown.load() > 0 && --countdown == 0; }
};

Failure s_start;
Failure s_join;
Failure s_allocation;
std::atomic<int> s_alive{0};

struct Folder {
    std::string path;
    Folder()
    {
        char name[] = "/tmp/plug-unit-XXXXXX";
        path = mkdtemp(name);
    }
    ~Folder()
    {
        std::error_code ignored;
        if (getpid() == owner) std::filesystem::remove_all(path, ignored);
    }
    pid_t owner = getpid(); // a death test's child must not take the folder away
};

const char *Inside(const char *name)
{
    return strdup((FakeFolder() + "/" + name).c_str());
}

} // namespace

const std::string &FakeFolder()
{
    static Folder folder;
    return folder.path;
}

const char *const kPathPlugStatus = Inside("plugstatus");
const char *const kPathDefaultConfig = Inside("plug.conf");
const char *const kPathLocalConfig = Inside("local-plug.conf");
const char *const kPathTraceroute = Inside("tracerouteFile");
const char *const kPathRateTest = Inside("rate");
const char *const kPathSubdev = Inside("tmpSubdev");
const char *const kPathMacConfig = Inside("macconfig");
const char *const kPathPlugDownload = Inside("plug_download");
const char *const kPathCommServer = Inside("CommServer");

int OsThreadStart(pthread_t *thread, void *(*body)(void *), void *argument)
{
    if (s_start.Due()) return s_start.error;
    return pthread_create(thread, nullptr, body, argument);
}

int OsThreadJoin(pthread_t thread)
{
    const int result = pthread_join(thread, nullptr);
    return s_join.Due() ? s_join.error.load() : result;
}

void OsExit(int status)
{
    _exit(status); // tests look at it with EXPECT_EXIT
}

void OsRemoveAtEnd(const char *, const OsFileId &) {}

void OsPrepareProcess() {}

void *OsAllocate(size_t size)
{
    if (s_allocation.Due()) return nullptr;
    s_alive++;
    return calloc(1, size);
}

void OsFree(void *memory)
{
    if (memory) s_alive--;
    free(memory);
}

void FakeFailThreadStart(int nth, int error)
{
    s_start.error = error;
    s_start.countdown = nth;
}

void FakeFailThreadJoin(int nth, int error)
{
    s_join.error = error;
    s_join.countdown = nth;
}

void FakeFailAllocation(int nth)
{
    s_allocation.countdown = nth;
}

int FakeAllocationsAlive()
{
    return s_alive;
}

void FakeOsReset()
{
    FakeClockReset();
    FakeCommandReset();
    s_start.countdown = s_join.countdown = s_allocation.countdown = 0;
    for (const auto &entry : std::filesystem::directory_iterator(FakeFolder()))
        std::filesystem::remove_all(entry.path());
}
