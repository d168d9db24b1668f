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
#include "os/OsMemory.h"
#include "os/OsProcess.h"
#include "os/OsWait.h"
#include "os/Paths.h"

FuzzWorld g_world;

void FuzzOsReset()
{
    g_world = FuzzWorld();
    g_world.allocationsLeft = -1;
}

void FuzzRequire(bool holds, const char *rule, const char *file, int line)
{
    if (holds) return;
    fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, rule);
    abort();
}

// ---- Input ----

uint8_t FuzzInput::Byte()
{
    if (left == 0) return 0;
    left--;
    return *data++;
}

uint16_t FuzzInput::Word()
{
    const uint8_t low = Byte();
    return static_cast<uint16_t>(low | Byte() << 8);
}

const uint8_t *FuzzInput::Bytes(size_t *size)
{
    if (*size > left) *size = left;
    const uint8_t *at = data;
    data += *size;
    left -= *size;
    return at;
}

std::string FuzzInput::Text()
{
    if (left == 0) return ""; // an empty input may have a null address
    const size_t length = strnlen(reinterpret_cast<const char *>(data), left);
    std::string text(reinterpret_cast<const char *>(data), length);
    size_t taken = length + 1;
    Bytes(&taken);
    return text;
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
    return memfd_create("written", MFD_CLOEXEC);
}

int OsWriteAll(int, const void *, size_t)
{
    return 0;
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
int OsThreadStart(pthread_t *, void *(*)(void *), void *)
{
    return g_world.noThreads ? EAGAIN : 0;
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

void OsRemoveAtEnd(const char *, const OsFileId &) {}

OsWaiter::OsWaiter() : lock(PTHREAD_MUTEX_INITIALIZER), changed(PTHREAD_COND_INITIALIZER) {}

bool OsWaitUntil(OsWaiter *, int64_t deadlineMs)
{
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

// Commands succeed and print nothing.
void OsCommandReady(OsCommand *) {}

int OsCommandRun(OsCommand *, const char *text)
{
    g_world.commands.push_back(text);
    return 0;
}

int OsCommandRunInto(OsCommand *, const char *text, int)
{
    return OsCommandRun(nullptr, text);
}

int OsRun(const char *text)
{
    return OsCommandRun(nullptr, text);
}

int OsCommandOpen(OsCommand *, const char *text)
{
    return OsCommandRun(nullptr, text);
}

size_t OsCommandReadLine(OsCommand *, char *, size_t, int64_t)
{
    return 0;
}

int OsCommandClose(OsCommand *)
{
    return 0;
}

void OsCommandStop(OsCommand *) {}
