// The real os/posix. What ends a process is tried in children of this one.
#include "os/OsProcess.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "os/OsFile.h"
#include "os/OsMemory.h"
#include "os/Paths.h"

namespace
{

// A file of this test's own; removed at its end when nobody else has.
class TemporaryFile
{
  public:
    TemporaryFile()
    {
        char name[] = "/tmp/os-test-XXXXXX";
        close(mkstemp(name));
        mPath = name;
    }
    ~TemporaryFile() { unlink(mPath.c_str()); }
    const char *Path() const { return mPath.c_str(); }
    bool Exists() const { return access(mPath.c_str(), F_OK) == 0; }
    OsFileId Id() const
    {
        OsFileId id = {};
        EXPECT_TRUE(OsFileIdOf(Path(), &id));
        return id;
    }

  private:
    std::string mPath;
};

// Runs `body` in a child, which ends with its result.
pid_t Fork(const std::function<int()> &body)
{
    const pid_t child = fork();
    if (child == 0) {
        alarm(20); // a child never outlives a failed test
        _exit(body());
    }
    return child;
}

// The child's exit status; -signal when a signal has killed it.
int StatusOf(pid_t child)
{
    int status = 0;
    EXPECT_EQ(child, waitpid(child, &status, 0));
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

// The status of a child that prepares itself, names a file to remove, runs `body`, says so, and then gets `signal`.
int StatusAfter(int signal, const TemporaryFile &file, const std::function<void()> &body)
{
    int ready[2];
    EXPECT_EQ(0, pipe(ready));
    const pid_t child = Fork([&] {
        OsPrepareProcess();
        OsRemoveAtEnd(file.Path(), file.Id());
        body();
        (void)!write(ready[1], "!", 1);
        for (;;) pause();
        return 99;
    });
    close(ready[1]);
    char byte;
    EXPECT_EQ(1, read(ready[0], &byte, 1));
    close(ready[0]);
    kill(child, signal);
    return StatusOf(child);
}

void *SleepForGood(void *)
{
    for (;;) pause();
    return nullptr;
}

} // namespace

TEST(OsProcess, TerminationSignalRemovesTheNamedFileAndExitsWithZero)
{
    const TemporaryFile file;
    EXPECT_EQ(0, StatusAfter(SIGTERM, file, [] {}));
    EXPECT_FALSE(file.Exists());
}

TEST(OsProcess, InterruptSignalRemovesTheNamedFileAndExitsWithZero)
{
    const TemporaryFile file;
    EXPECT_EQ(0, StatusAfter(SIGINT, file, [] {}));
    EXPECT_FALSE(file.Exists());
}

TEST(OsProcess, AFileThatHasReplacedTheNamedOneIsNotRemovedAtTheEnd)
{
    for (const int signal : {SIGTERM, SIGINT}) {
        const TemporaryFile file, other;
        EXPECT_EQ(0, StatusAfter(signal, file, [&] { rename(other.Path(), file.Path()); }));
        EXPECT_TRUE(file.Exists());
    }
    const TemporaryFile file, other;
    EXPECT_EQ(7, StatusOf(Fork([&]() -> int {
                  OsRemoveAtEnd(file.Path(), file.Id());
                  rename(other.Path(), file.Path());
                  OsExit(7);
              })));
    EXPECT_TRUE(file.Exists());
}

TEST(OsProcess, TerminationDoesNotWaitForOtherThreads)
{
    const TemporaryFile file;
    EXPECT_EQ(0, StatusAfter(SIGTERM, file, [] {
                  pthread_t thread;
                  if (OsThreadStart(&thread, SleepForGood, nullptr) != 0) _exit(1);
              }));
    EXPECT_FALSE(file.Exists());
}

TEST(OsProcess, ABrokenPipeDoesNotEndTheProcess)
{
    EXPECT_EQ(7, StatusOf(Fork([] {
                  OsPrepareProcess();
                  int ends[2];
                  if (pipe(ends) != 0) return 1;
                  close(ends[0]);
                  return write(ends[1], "x", 1) == -1 && errno == EPIPE ? 7 : 2;
              })));
}

TEST(OsProcess, MissingStandardDescriptorsAreOpenedSoThatNoSocketGetsTheirNumber)
{
    EXPECT_EQ(7, StatusOf(Fork([] {
                  for (int fd = 0; fd < 3; fd++) close(fd);
                  OsPrepareProcess();
                  for (int fd = 0; fd < 3; fd++)
                      if (fcntl(fd, F_GETFD) < 0) return 1;
                  return socket(AF_INET, SOCK_STREAM, 0) > 2 ? 7 : 2;
              })));
}

TEST(OsProcess, OpenDescriptorsAreKeptAndNoneIsAdded)
{
    EXPECT_EQ(7, StatusOf(Fork([] {
                  int ends[2];
                  if (pipe(ends) != 0 || dup2(ends[1], 1) != 1) return 1;
                  const int before = dup(1);
                  close(before);
                  OsPrepareProcess();
                  const int after = dup(1);
                  char byte = 0;
                  if (write(1, "x", 1) != 1 || read(ends[0], &byte, 1) != 1 || byte != 'x') return 2;
                  return after == before ? 7 : 3;
              })));
}

TEST(OsProcess, ExitRemovesTheNamedFileAndReturnsTheStatus)
{
    const TemporaryFile file;
    const TemporaryFile other;
    EXPECT_EQ(255, StatusOf(Fork([&]() -> int {
                  OsRemoveAtEnd(file.Path(), file.Id());
                  OsExit(-1);
              })));
    EXPECT_FALSE(file.Exists());
    EXPECT_TRUE(other.Exists());
}

TEST(OsProcess, OnlyTheFileNamedLastIsRemoved)
{
    const TemporaryFile before;
    const TemporaryFile last;
    EXPECT_EQ(7, StatusOf(Fork([&]() -> int {
                  OsRemoveAtEnd(before.Path(), before.Id());
                  OsRemoveAtEnd(last.Path(), last.Id());
                  OsExit(7);
              })));
    EXPECT_TRUE(before.Exists());
    EXPECT_FALSE(last.Exists());
}

TEST(OsProcess, AThreadGetsItsArgumentAndCanBeJoined)
{
    std::atomic<int> value{0};
    pthread_t thread;
    ASSERT_EQ(0, OsThreadStart(
                     &thread,
                     [](void *argument) -> void * {
                         *static_cast<std::atomic<int> *>(argument) = 7;
                         return nullptr;
                     },
                     &value));
    EXPECT_EQ(0, OsThreadJoin(thread));
    EXPECT_EQ(7, value);
}

TEST(OsProcess, AThreadsStackIsSmall)
{
    size_t size = 0;
    pthread_t thread;
    ASSERT_EQ(0, OsThreadStart(
                     &thread,
                     [](void *argument) -> void * {
                         pthread_attr_t attributes;
                         pthread_getattr_np(pthread_self(), &attributes);
                         pthread_attr_getstacksize(&attributes, static_cast<size_t *>(argument));
                         pthread_attr_destroy(&attributes);
                         return nullptr;
                     },
                     &size));
    EXPECT_EQ(0, OsThreadJoin(thread));
    EXPECT_GE(size, 128u * 1024);
    EXPECT_LT(size, 1024u * 1024); // a sanitizer may add something of its own
}

TEST(OsProcess, MemoryIsZeroed)
{
    for (int i = 0; i < 3; i++) {
        unsigned char *memory = static_cast<unsigned char *>(OsAllocate(8192));
        ASSERT_NE(nullptr, memory);
        for (size_t at = 0; at < 8192; at++) ASSERT_EQ(0, memory[at]);
        memory[0] = memory[8191] = 0xFF;
        OsFree(memory);
    }
    OsFree(nullptr);
}

TEST(OsProcess, PathsAreTheFixedOnes)
{
    EXPECT_STREQ("/tmp/plugstatus", kPathPlugStatus);
    EXPECT_STREQ("/tmp/plug.conf", kPathDefaultConfig);
    EXPECT_STREQ("./plug.conf", kPathLocalConfig);
    EXPECT_STREQ("/tmp/tracerouteFile", kPathTraceroute);
    EXPECT_STREQ("/tmp/rate", kPathRateTest);
}
