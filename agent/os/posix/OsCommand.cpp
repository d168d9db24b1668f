#include "os/OsCommand.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "os/OsClock.h"
#include "os/OsFile.h"
#include "os/OsWait.h"

extern char **environ;

static const int kMaxGroups = 16;
static const int kLastStartMs = 400; // how long the end of the process waits for a start that has begun

// Read by the signal handler, so plain atomics. A group stays here until just before its leader is reaped; until then
// its number belongs to no other process.
static std::atomic<pid_t> s_groups[kMaxGroups];
static std::atomic<int> s_starting; // threads that may start a command and have not entered its group yet
static std::atomic<bool> s_ending;

// Blocks the signals that end the process while a command starts: the handler waits for starts that have begun, and so
// must not interrupt one.
class SignalsBlocked
{
  public:
    SignalsBlocked()
    {
        sigset_t ends;
        sigemptyset(&ends);
        sigaddset(&ends, SIGTERM);
        sigaddset(&ends, SIGINT);
        pthread_sigmask(SIG_BLOCK, &ends, &mBefore);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &mBefore, nullptr); }

  private:
    sigset_t mBefore;
};

// `output` is where the command's standard output goes, -1 for ours. Returns 0 or an error number.
static int Spawn(pid_t *child, const char *text, int output)
{
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_t actions;
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_init(&actions);

    sigset_t all;
    sigset_t none;
    sigfillset(&all);
    sigemptyset(&none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
    // A background group that reads from a terminal would be stopped by it.
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    if (output >= 0) posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);

    char shell[] = "/bin/sh";
    char option[] = "-c";
    char *const arguments[] = {shell, option, const_cast<char *>(text), nullptr}; // nothing writes to them
    const int error = posix_spawn(child, shell, &actions, &attributes, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    return error;
}

// Enters `group` into the list (0: only looks for room). Returns false when the list is full.
static bool EnterGroup(pid_t group)
{
    for (auto &entry : s_groups) {
        pid_t free = 0;
        if (group == 0 ? entry.load() == 0 : entry.compare_exchange_strong(free, group)) return true;
    }
    return false;
}

// Waits for the end of the leader of `group` and takes the group out. Returns the wait status, or -1 with errno.
static int Reap(OsCommand *command, pid_t group)
{
    siginfo_t information;
    int waited;
    do {
        waited = waitid(P_PID, static_cast<id_t>(group), &information, WEXITED | WNOWAIT);
    } while (waited != 0 && errno == EINTR);

    OsGuard guard(&command->lock);
    command->group = 0;
    for (auto &entry : s_groups) {
        pid_t mine = group;
        entry.compare_exchange_strong(mine, 0);
    }
    int status;
    return waitpid(group, &status, 0) == group ? status : -1;
}

// Starts `text` unless somebody has stopped it. Returns 0 or an error number.
static int Start(OsCommand *command, const char *text, int output)
{
    OsGuard guard(&command->lock);
    if (command->stopped) return ECANCELED;
    SignalsBlocked blocked;
    s_starting++;
    pid_t child = 0;
    int error = s_ending ? ECANCELED : EnterGroup(0) ? Spawn(&child, text, output) : EAGAIN;
    // The child does the same. Whichever is first: from here on the group exists and can be killed.
    if (error == 0) setpgid(child, child);
    if (error == 0 && !EnterGroup(child)) { // another thread took the last place meanwhile
        kill(-child, SIGKILL);
        waitpid(child, nullptr, 0);
        error = EAGAIN;
    }
    if (error == 0) command->group = child;
    s_starting--;
    return error;
}

void OsCommandReady(OsCommand *command)
{
    OsGuard guard(&command->lock);
    command->stopped = false;
}

int OsCommandRunInto(OsCommand *command, const char *text, int output)
{
    const int error = Start(command, text, output);
    if (error != 0) {
        errno = error;
        return -1;
    }
    const int status = Reap(command, command->group);
    if (status == -1) return -1;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

int OsCommandRun(OsCommand *command, const char *text)
{
    return OsCommandRunInto(command, text, -1);
}

int OsRun(const char *text)
{
    OsCommand command;
    return OsCommandRun(&command, text);
}

int OsCommandOpen(OsCommand *command, const char *text)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return -1;
    const int error = Start(command, text, ends[1]);
    close(ends[1]);
    if (error != 0) {
        close(ends[0]);
        errno = error;
        return -1;
    }
    command->output = ends[0];
    command->taken = command->filled = 0;
    return 0;
}

// Waits for output, or its end, until `deadlineMs`. Returns false when there is neither.
static bool AwaitOutput(int output, int64_t deadlineMs)
{
    if (deadlineMs == OS_FOREVER) return true; // the read waits
    // In a loop, because a signal may end a wait early.
    for (int64_t left; (left = deadlineMs - OsNowMs()) > 0;)
        if (OsWaitReadable(output, left < INT_MAX ? static_cast<int>(left) : INT_MAX) == OS_READABLE) return true;
    return false;
}

// Makes sure that the buffer has a byte left. Returns false at the end of the output and at the deadline.
static bool Fill(OsCommand *command, int64_t deadlineMs)
{
    if (command->taken < command->filled) return true;
    if (!AwaitOutput(command->output, deadlineMs)) return false;
    const ssize_t count = OsRead(command->output, command->buffer, sizeof command->buffer);
    command->taken = 0;
    command->filled = count > 0 ? static_cast<size_t>(count) : 0;
    return count > 0;
}

size_t OsCommandReadLine(OsCommand *command, char *line, size_t room, int64_t deadlineMs)
{
    size_t length = 0;
    while (length + 1 < room && Fill(command, deadlineMs)) {
        const char byte = command->buffer[command->taken++];
        line[length++] = byte;
        if (byte == '\n') break;
    }
    line[length] = '\0';
    return length;
}

int OsCommandClose(OsCommand *command)
{
    close(command->output);
    command->output = -1;
    return Reap(command, command->group) == -1 ? -1 : 0;
}

void OsCommandStop(OsCommand *command)
{
    OsGuard guard(&command->lock);
    command->stopped = true;
    if (command->group > 0) kill(-command->group, SIGKILL);
}

void OsStopCommands()
{
    const int error = errno;
    s_ending = true;
    // A thread that has seen s_ending unset is about to enter a group, which takes as long as a fork.
    const struct timespec millisecond = {0, 1000000};
    for (int i = 0; i < kLastStartMs && s_starting > 0; i++) nanosleep(&millisecond, nullptr);
    for (auto &entry : s_groups) {
        const pid_t group = entry.load();
        if (group > 0) kill(-group, SIGKILL);
    }
    errno = error;
}
