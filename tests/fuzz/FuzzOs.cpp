#include "FuzzOs.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

#include "os/OsClock.h"
#include "os/OsCommand.h"
#include "os/OsFile.h"
#include "os/OsLibraries.h"
#include "os/OsMemory.h"
#include "os/OsProcess.h"
#include "os/OsWait.h"
#include "os/Paths.h"

FuzzWorld g_world;

void FuzzOsReset()
{
    g_world = FuzzWorld();
    g_world.allocationsLeft = -1;
    g_world.writesLeft = -1;
}

// ---- The seam ----

const char *const kPathPlugStatus = "status";
const char *const kPathDefaultConfig = "default.conf";
const char *const kPathLocalConfig = "local.conf";
const char *const kPathTraceroute = "traceroute";
const char *const kPathRateTest = "rate";
const char *const kPathSubdev = "subdev";
const char *const kPathMacConfig = "macconfig";
const char *const kPathPlugDownload = "download";
const char *const kPathCommServer = "comm";

int64_t OsNowMs()
{
    return g_world.nowMs;
}

time_t OsWallTime()
{
    return static_cast<time_t>(1600000000 + g_world.nowMs / 1000);
}

void OsLocalTime(time_t when, struct tm *out)
{
    gmtime_r(&when, out);
}

time_t OsLocalMidnight(time_t when)
{
    return when - when % 86400;
}

int OsOpenForReading(const char *, bool)
{
    if (g_world.configMissing) {
        errno = ENOENT;
        return -1;
    }
    const int fd = memfd_create("config", MFD_CLOEXEC);
    const std::string &text = g_world.configFile;
    REQUIRE(fd >= 0 && pwrite(fd, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()));
    return fd;
}

int OsOpenOurs(const char *path)
{
    return OsOpenForReading(path, false);
}

int OsOpenTrusted(const char *path)
{
    return OsOpenForReading(path, false);
}

int OsOpenForWriting(const char *)
{
    if (g_world.openFails) {
        errno = EACCES;
        return -1;
    }
    return memfd_create("written", MFD_CLOEXEC);
}

ssize_t OsRead(int fd, void *buffer, size_t size)
{
    return read(fd, buffer, size);
}

size_t OsReadUpTo(int fd, void *buffer, size_t size)
{
    const ssize_t count = read(fd, buffer, size); // the files are in memory: all of it comes at once
    return count > 0 ? static_cast<size_t>(count) : 0;
}

int OsWriteAll(int, const void *data, size_t size)
{
    const bool fits = g_world.writesLeft < 0 || size <= static_cast<size_t>(g_world.writesLeft);
    if (!fits) size = static_cast<size_t>(g_world.writesLeft);
    if (g_world.writesLeft >= 0) g_world.writesLeft -= static_cast<int64_t>(size);
    g_world.written.append(static_cast<const char *>(data), size);
    errno = ENOSPC;
    return fits ? 0 : -1;
}

void OsRemoveFile(const char *) {}

bool OsFileIdOf(const char *, OsFileId *)
{
    return false;
}

void OsRemoveFileIf(const char *, const OsFileId &) {}

int OsReplaceFile(const char *path, const void *data, size_t size, mode_t)
{
    const bool known = strcmp(path, kPathMacConfig) == 0;
    REQUIRE(known || strcmp(path, kPathPlugStatus) == 0);
    (known ? g_world.knownDevices : g_world.status).assign(static_cast<const char *>(data), size);
    return 0;
}

void *OsAllocate(size_t size)
{
    if (g_world.allocationsLeft == 0) return nullptr;
    if (g_world.allocationsLeft > 0) g_world.allocationsLeft--;
    return calloc(1, size);
}

void OsFree(void *memory)
{
    free(memory);
}

// Threads "start" but do not run: the target does their work.
int OsThreadStart(pthread_t *, void *(*body)(void *), void *argument)
{
    if (g_world.noThreads) return EAGAIN;
    g_world.threads.push_back({body, argument});
    return 0;
}

int OsThreadJoin(pthread_t)
{
    return 0;
}

void OsExit(int status)
{
    REQUIRE(g_world.exitTo != nullptr);
    g_world.exitStatus = status;
    longjmp(*g_world.exitTo, 1);
}

void OsEachLibrary(void (*)(const char *)) {}

void OsRemoveAtEnd(const char *, const OsFileId &) {}

OsWaiter::OsWaiter() : lock(PTHREAD_MUTEX_INITIALIZER), changed(PTHREAD_COND_INITIALIZER) {}

bool OsWaitUntil(OsWaiter *waiter, int64_t deadlineMs)
{
    if (g_world.onWait) {
        pthread_mutex_unlock(&waiter->lock);
        g_world.onWait(deadlineMs);
        pthread_mutex_lock(&waiter->lock);
        return g_world.nowMs < deadlineMs;
    }
    REQUIRE(deadlineMs != OS_FOREVER);
    if (g_world.nowMs < deadlineMs) g_world.nowMs = deadlineMs;
    return false;
}

void OsWakeAll(OsWaiter *) {}

void OsSleepMs(int64_t milliseconds)
{
    g_world.nowMs += milliseconds;
}

OsReadable OsWaitReadable(int, int)
{
    return OS_TIMED_OUT;
}

// Commands succeed, and print what the target says.
void OsCommandReady(OsCommand *) {}

int OsCommandRun(OsCommand *, const char *text)
{
    g_world.commands.push_back(text);
    return 0;
}

int OsCommandRunInto(OsCommand *, const char *text, int file)
{
    g_world.commands.push_back(text);
    return OsWriteAll(file, g_world.output.data(), g_world.output.size()) == 0 ? 0 : 1;
}

int OsRun(const char *text)
{
    return OsCommandRun(nullptr, text);
}

int OsCommandOpen(OsCommand *, const char *text)
{
    if (!g_world.commandFails) return OsCommandRun(nullptr, text);
    errno = ENOMEM;
    return -1;
}

size_t OsCommandReadLine(OsCommand *, char *line, size_t room, int64_t deadlineMs)
{
    std::string &output = g_world.output;
    g_world.nowMs += g_world.lineMs;
    if (output.empty() || g_world.nowMs >= deadlineMs) return 0;
    const size_t end = output.find('\n');
    size_t length = end == std::string::npos ? output.size() : end + 1;
    if (length > room - 1) length = room - 1;
    memcpy(line, output.data(), length);
    line[length] = '\0';
    output.erase(0, length);
    return length;
}

int OsCommandClose(OsCommand *)
{
    errno = ECHILD;
    return g_world.closeFails ? -1 : 0;
}

void OsCommandStop(OsCommand *) {}
