// The real os/posix: real commands.
#include "os/OsCommand.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <poll.h>
#include <sched.h>
#include <string>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "os/OsClock.h"
#include "os/OsProcess.h"
#include "os/OsWait.h"

namespace
{

std::string OutputOf(const char *text)
{
    OsCommand command;
    if (OsCommandOpen(&command, text) != 0) return "cannot start";
    std::string output;
    char line[64];
    while (OsCommandReadLine(&command, line, sizeof line, OS_FOREVER) > 0) output += line;
    EXPECT_EQ(0, OsCommandClose(&command));
    return output;
}

// Two connected sockets. A command inherits the far end; the near end meets no end of file as long as anybody holds the
// far end open.
class Tether
{
  public:
    Tether() { EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, mEnds)); }
    ~Tether()
    {
        close(mEnds[0]);
        LetFarEndGo();
    }
    std::string FarEnd() const { return std::to_string(mEnds[1]); }
    void KeepFarEndOverExec() { fcntl(mEnds[1], F_SETFD, 0); }
    void LetFarEndGo()
    {
        if (mEnds[1] >= 0) close(mEnds[1]);
        mEnds[1] = -1;
    }
    // Waits for the byte with which a command says that it runs.
    bool Says()
    {
        char byte;
        return Ready() && read(mEnds[0], &byte, 1) == 1;
    }
    // Whether nobody holds the far end any more.
    bool Ended()
    {
        char byte;
        return Ready() && read(mEnds[0], &byte, 1) == 0;
    }

  private:
    bool Ready()
    {
        struct pollfd watched = {mEnds[0], POLLIN, 0};
        return poll(&watched, 1, 10000) == 1;
    }
    int mEnds[2];
};

// A command that says that it runs and never ends, with a second process that never ends either.
std::string Endless(const Tether &tether)
{
    return "sleep 1000 & printf x >&" + tether.FarEnd() + "; sleep 1000; echo over";
}

} // namespace

TEST(OsCommandRun, ReturnsTheExitStatus)
{
    OsCommand command;
    EXPECT_EQ(0, OsCommandRun(&command, "true"));
    EXPECT_EQ(3, OsCommandRun(&command, "exit 3"));
    EXPECT_EQ(127, OsRun("a-command-that-is-not-there 2>/dev/null"));
    EXPECT_EQ(128 + SIGKILL, OsRun("kill -9 $$"));
}

TEST(OsCommandRun, WaitsForTheEnd)
{
    char name[] = "/tmp/os-test-XXXXXX";
    close(mkstemp(name));
    EXPECT_EQ(0, OsRun((std::string("sleep 0.05; echo done > ") + name).c_str()));
    std::string word;
    std::ifstream(name) >> word;
    unlink(name);
    EXPECT_EQ("done", word);
}

TEST(OsCommandReadLine, ReturnsEachLineAndTheLastOneWithoutALineFeed)
{
    OsCommand command;
    char line[64];
    ASSERT_EQ(0, OsCommandOpen(&command, "printf 'one\\n\\nthree'"));
    EXPECT_EQ(4u, OsCommandReadLine(&command, line, sizeof line, OS_FOREVER));
    EXPECT_STREQ("one\n", line);
    EXPECT_EQ(1u, OsCommandReadLine(&command, line, sizeof line, OS_FOREVER));
    EXPECT_STREQ("\n", line);
    EXPECT_EQ(5u, OsCommandReadLine(&command, line, sizeof line, OS_FOREVER));
    EXPECT_STREQ("three", line);
    EXPECT_EQ(0u, OsCommandReadLine(&command, line, sizeof line, OS_FOREVER));
    EXPECT_STREQ("", line);
    EXPECT_EQ(0u, OsCommandReadLine(&command, line, sizeof line, OS_FOREVER));
    EXPECT_EQ(0, OsCommandClose(&command));
}

TEST(OsCommandReadLine, WaitsNoLongerThanItsDeadline)
{
    OsCommand command;
    ASSERT_EQ(0, OsCommandOpen(&command, "printf 'one\ntwo'; exec sleep 1000"));
    char line[64];
    EXPECT_EQ(4u, OsCommandReadLine(&command, line, sizeof line, OsNowMs() + 10000));
    EXPECT_STREQ("one\n", line);
    const int64_t begin = OsNowMs();
    EXPECT_EQ(3u, OsCommandReadLine(&command, line, sizeof line, begin + 100));
    EXPECT_STREQ("two", line); // as far as it has come
    EXPECT_GE(OsNowMs(), begin + 100);
    EXPECT_LT(OsNowMs(), begin + 10000);
    EXPECT_EQ(0u, OsCommandReadLine(&command, line, sizeof line, begin));
    OsCommandStop(&command);
    EXPECT_EQ(0, OsCommandClose(&command));
}

TEST(OsCommandReadLine, ReturnsALongLineInPieces)
{
    OsCommand command;
    char line[256];
    ASSERT_EQ(0, OsCommandOpen(&command, "printf '%0600d\\n' 7"));
    EXPECT_EQ(255u, OsCommandReadLine(&command, line, sizeof line, OS_FOREVER));
    EXPECT_EQ(std::string(255, '0'), line);
    EXPECT_EQ(255u, OsCommandReadLine(&command, line, sizeof line, OS_FOREVER));
    EXPECT_EQ(91u, OsCommandReadLine(&command, line, sizeof line, OS_FOREVER));
    EXPECT_EQ(std::string(89, '0') + "7\n", line);
    EXPECT_EQ(0u, OsCommandReadLine(&command, line, sizeof line, OS_FOREVER));
    EXPECT_EQ(0, OsCommandClose(&command));
}

TEST(OsCommandClose, EndsACommandThatGoesOnWriting)
{
    OsCommand command;
    char line[16];
    ASSERT_EQ(0, OsCommandOpen(&command, "yes"));
    EXPECT_EQ(2u, OsCommandReadLine(&command, line, sizeof line, OS_FOREVER));
    EXPECT_EQ(0, OsCommandClose(&command));
}

TEST(OsCommandClose, FailsWhenTheEndCannotBeWaitedFor)
{
    struct sigaction before;
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    OsCommand command;
    ASSERT_EQ(0, sigaction(SIGCHLD, &ignore, &before)); // ended children are forgotten at once
    ASSERT_EQ(0, OsCommandOpen(&command, "true"));
    EXPECT_EQ(-1, OsCommandClose(&command));
    EXPECT_EQ(ECHILD, errno);
    sigaction(SIGCHLD, &before, nullptr);
}

TEST(OsCommand, HasTheDefaultSignalsAndNoneBlocked)
{
    struct sigaction before;
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    sigset_t blocked;
    sigset_t maskBefore;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    ASSERT_EQ(0, sigaction(SIGPIPE, &ignore, &before));
    ASSERT_EQ(0, pthread_sigmask(SIG_BLOCK, &blocked, &maskBefore));
    const std::string status = OutputOf("cat /proc/self/status");
    pthread_sigmask(SIG_SETMASK, &maskBefore, nullptr);
    sigaction(SIGPIPE, &before, nullptr);
    const auto set = [&](const char *name) {
        return strtoull(status.c_str() + status.find(name) + strlen(name), nullptr, 16) &
               0x7FFFFFFF; // without libc's own
    };
    ASSERT_NE(std::string::npos, status.find("SigBlk:"));
    EXPECT_EQ(0u, set("SigBlk:"));
    EXPECT_EQ(0u, set("SigIgn:"));
    EXPECT_EQ(0u, set("SigCgt:"));
}

TEST(OsCommand, InheritsStandardOutputAndErrorButNoneOfOurDescriptors)
{
    Tether tether; // as all our descriptors, closed by an exec
    EXPECT_EQ("1\n2\n", OutputOf(("cd /proc/self/fd; ls -d 1 2 " + tether.FarEnd() + " 2>/dev/null").c_str()));
    EXPECT_EQ("/dev/null\n", OutputOf("readlink /proc/self/fd/0"));
}

TEST(OsCommandRunInto, WritesTheOutputToTheDescriptorAndLeavesItOpen)
{
    const int file = memfd_create("output", MFD_CLOEXEC);
    ASSERT_GE(file, 0);
    OsCommand command;
    EXPECT_EQ(3, OsCommandRunInto(&command, "echo one; echo error >&2; exit 3", file));
    EXPECT_EQ(0, OsCommandRunInto(&command, "echo two | cat", file));
    char text[16] = "";
    EXPECT_EQ(8, pread(file, text, sizeof text, 0));
    EXPECT_STREQ("one\ntwo\n", text);
    close(file);
}

TEST(OsCommandRunInto, WritesToTheOpenFileWhateverHasItsNameNow)
{
    char name[] = "/tmp/os-test-XXXXXX";
    const int file = mkstemp(name);
    ASSERT_GE(file, 0);
    ASSERT_EQ(0, unlink(name));
    ASSERT_EQ(0, symlink("/nowhere", name));
    OsCommand command;
    EXPECT_EQ(0, OsCommandRunInto(&command, "echo one", file));
    EXPECT_EQ(4, lseek(file, 0, SEEK_END));
    unlink(name);
    close(file);
}

TEST(OsCommand, LeadsAProcessGroupOfItsOwn)
{
    EXPECT_EQ("1\n", OutputOf("[ \"$(ps -o pgid= $$ | tr -d ' ')\" = $$ ] && echo 1"));
}

TEST(OsCommandStop, KillsTheCommandAndEverythingItHasStarted)
{
    Tether tether;
    tether.KeepFarEndOverExec();
    OsCommand command;
    int status = 0;
    const std::string text = Endless(tether);
    std::thread running([&] { status = OsCommandRun(&command, text.c_str()); });
    EXPECT_TRUE(tether.Says());
    tether.LetFarEndGo();
    OsCommandStop(&command);
    running.join();
    EXPECT_EQ(128 + SIGKILL, status);
    EXPECT_TRUE(tether.Ended());
}

TEST(OsCommandStop, EndsTheWaitForALine)
{
    OsCommand command;
    char line[64];
    ASSERT_EQ(0, OsCommandOpen(&command, "echo first; sleep 1000; echo second"));
    EXPECT_EQ(6u, OsCommandReadLine(&command, line, sizeof line, OS_FOREVER));
    std::thread stopping([&] { OsCommandStop(&command); });
    EXPECT_EQ(0u, OsCommandReadLine(&command, line, sizeof line, OS_FOREVER));
    stopping.join();
    EXPECT_EQ(0, OsCommandClose(&command));
}

TEST(OsCommandStop, KeepsACommandFromStartingUntilItIsReadyAgain)
{
    OsCommand command;
    OsCommandStop(&command);
    EXPECT_EQ(-1, OsCommandRun(&command, "true"));
    EXPECT_EQ(ECANCELED, errno);
    EXPECT_EQ(-1, OsCommandOpen(&command, "true"));
    EXPECT_EQ(ECANCELED, errno);
    OsCommandReady(&command);
    EXPECT_EQ(0, OsCommandRun(&command, "true"));
}

TEST(OsCommandStop, DoesNothingWhenNoCommandRuns)
{
    OsCommand command;
    EXPECT_EQ(0, OsCommandRun(&command, "true"));
    OsCommandStop(&command);
    OsCommandStop(&command);
}

TEST(OsCommand, AThousandCommandsLeaveNoDescriptorAndNoProcessBehind)
{
    const int before = dup(1);
    close(before);
    for (int i = 0; i < 500; i++) {
        ASSERT_EQ(0, OsRun("exit 0"));
        ASSERT_EQ("x\n", OutputOf("echo x"));
    }
    const int after = dup(1);
    close(after);
    EXPECT_EQ(before, after);
    EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG));
    EXPECT_EQ(ECHILD, errno);
}

// Runs a command in a child of this process that then calls `body`; `body` says when the command runs.
static pid_t ForkWithCommand(Tether *tether, const std::function<void()> &body)
{
    static OsCommand command;
    static std::string text;
    tether->KeepFarEndOverExec();
    text = Endless(*tether);
    const pid_t child = fork();
    if (child != 0) {
        tether->LetFarEndGo();
        return child;
    }
    alarm(20);
    OsPrepareProcess();
    pthread_t thread;
    const auto run = [](void *) -> void * {
        OsCommandRun(&command, text.c_str());
        for (;;) pause();
        return nullptr;
    };
    if (OsThreadStart(&thread, run, nullptr) != 0) _exit(1);
    body();
    for (;;) pause();
}

static void ExpectExit(pid_t child, int expected)
{
    int status = 0;
    EXPECT_EQ(child, waitpid(child, &status, 0));
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(expected, WEXITSTATUS(status));
}

// ThreadSanitizer waits another second when a process ends, unless it is told not to.
extern "C" const char *__tsan_default_options();
extern "C" const char *__tsan_default_options()
{
    return "atexit_sleep_ms=0";
}

TEST(OsCommand, EndsWithTheProcessOnASignalWithinASecond)
{
    for (const int signal : {SIGTERM, SIGINT}) {
        Tether tether;
        const pid_t child = ForkWithCommand(&tether, [] {});
        EXPECT_TRUE(tether.Says());
        const int64_t begin = OsNowMs();
        kill(child, signal);
        ExpectExit(child, 0);
        EXPECT_TRUE(tether.Ended());
        EXPECT_LT(OsNowMs() - begin, 1000);
    }
}

TEST(OsCommand, EndsWithAProcessThatExits)
{
    Tether tether;
    const pid_t child = ForkWithCommand(&tether, [&] {
        tether.Says();
        OsExit(9);
    });
    ExpectExit(child, 9);
    EXPECT_TRUE(tether.Ended());
}

// The signal may come at any moment of a start; no command may be left.
TEST(OsCommand, NoneIsLeftWhenTheSignalComesWhileCommandsStart)
{
    for (int i = 0; i < 60; i++) {
        Tether tether;
        tether.KeepFarEndOverExec();
        int ready[2];
        ASSERT_EQ(0, pipe2(ready, O_CLOEXEC));
        const pid_t child = fork();
        if (child == 0) {
            alarm(20);
            OsPrepareProcess();
            const auto startCommands = [](void *) -> void * {
                for (;;) {
                    OsCommand command;
                    char line[8];
                    if (OsCommandOpen(&command, "echo; sleep 1000 & sleep 1000") != 0) continue;
                    (void)OsCommandReadLine(&command, line, sizeof line, OS_FOREVER);
                    OsCommandStop(&command);
                    OsCommandClose(&command);
                }
                return nullptr;
            };
            for (int thread = 0; thread < 2; thread++) {
                pthread_t handle;
                if (OsThreadStart(&handle, startCommands, nullptr) != 0) _exit(1);
            }
            (void)!write(ready[1], "!", 1);
            for (;;) pause();
        }
        close(ready[1]);
        tether.LetFarEndGo();
        char byte;
        EXPECT_EQ(1, read(ready[0], &byte, 1));
        close(ready[0]);
        for (int yields = 0; yields < i * 50; yields++) sched_yield(); // another moment of the start each time
        kill(child, SIGTERM);
        EXPECT_EQ(child, waitpid(child, nullptr, 0));
        ASSERT_TRUE(tether.Ended()) << "a command outlived the process";
    }
}
