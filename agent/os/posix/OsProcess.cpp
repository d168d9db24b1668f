#include "os/OsProcess.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include "os/OsCommand.h"

static const size_t kThreadStackSize = 128 * 1024;
static const int kOwnPagesFrom = 64 * 1024;
static const int kHeapStep = 8 * 1024;

// Read by the signal handler, so without a lock: nothing is named while it changes.
static struct {
    const char *path;
    OsFileId file;
} s_removeAtEnd;
static std::atomic<bool> s_removeNamed;

int OsThreadStart(pthread_t *thread, void *(*body)(void *), void *argument)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, kThreadStackSize);
    const int error = pthread_create(thread, &attributes, body, argument);
    pthread_attr_destroy(&attributes);
    return error;
}

int OsThreadJoin(pthread_t thread)
{
    return pthread_join(thread, nullptr);
}

// Does only what a signal handler may do.
static void RemoveNamedFile()
{
    if (s_removeNamed.load()) OsRemoveFileIf(s_removeAtEnd.path, s_removeAtEnd.file);
}

void OsExit(int status)
{
    OsStopCommands();
    RemoveNamedFile();
    exit(status);
}

void OsRemoveAtEnd(const char *path, const OsFileId &file)
{
    s_removeNamed.store(false);
    s_removeAtEnd = {path, file};
    s_removeNamed.store(true);
}

// Ends at once, whatever the other threads are doing: there is nothing to save, and waiting for a thread that sits in
// a name look-up or in a command could take minutes.
static void StopBySignal(int)
{
    OsStopCommands();
    RemoveNamedFile();
    _exit(0);
}

static void Handle(int number, void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    sigfillset(&action.sa_mask);
    sigaction(number, &action, nullptr);
}

static void KeepStandardDescriptorsOpen()
{
    int fd;
    do {
        fd = open("/dev/null", O_RDWR);
    } while (fd >= 0 && fd <= STDERR_FILENO);
    if (fd > STDERR_FILENO) close(fd);
}

// One heap for all threads: the agent allocates little and for a short time, and every further heap costs pages of its
// own. Large blocks get pages of their own, which take memory only when they are written to. So the heap must not keep
// enough in reserve to serve them itself, because it would have to clear them.
static void KeepHeapSmall()
{
#ifdef M_ARENA_MAX // not every C library has these
    mallopt(M_ARENA_MAX, 1);
    mallopt(M_MMAP_THRESHOLD, kOwnPagesFrom);
    mallopt(M_TOP_PAD, kHeapStep);
#endif
}

void OsPrepareProcess()
{
    KeepHeapSmall();
    KeepStandardDescriptorsOpen();
    Handle(SIGPIPE, SIG_IGN);
    Handle(SIGCHLD, SIG_DFL); // some supervisors leave it ignored: then no command could be waited for
    Handle(SIGTERM, StopBySignal);
    Handle(SIGINT, StopBySignal);
}
