#include "sdk/linux/commands/Process.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "sdk/linux/base/Clock.h"

static const int kPatienceMs = 2; // between looks at a process that has closed its output and runs on

static char s_path[] = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
static char s_language[] = "LC_ALL=C";
static char *s_environment[] = {s_path, s_language, nullptr};

static void Close(int *descriptor)
{
    if (*descriptor >= 0) close(*descriptor);
    *descriptor = -1;
}

// The input is a file in memory: a pipe that the program closes early would raise SIGPIPE in the agent, and nft opens
// its standard input by name, which cannot be done with a socket.
static int InputFile(const char *data, size_t length)
{
    int file = memfd_create("input", MFD_CLOEXEC);
    if (file < 0) return -1;
    while (length > 0) {
        const ssize_t written = write(file, data, length);
        if (written <= 0) {
            Close(&file);
            return -1;
        }
        data += written;
        length -= size_t(written);
    }
    lseek(file, 0, SEEK_SET);
    return file;
}

// Names without a slash are looked for here, not where the agent's own PATH says.
static int Start(const ProcessRun *run, int input, int output, pid_t *process)
{
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    sigset_t all, none;
    sigfillset(&all);
    sigdelset(&all, SIGKILL);
    sigdelset(&all, SIGSTOP);
    sigemptyset(&none);
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDERR_FILENO);
#if defined __GLIBC__ && __GLIBC__ * 100 + __GLIBC_MINOR__ >= 234
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
#endif
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    char *const *arguments = const_cast<char *const *>(run->arguments);
    int error = ENOENT;
    static const char *const folders[] = {"/usr/sbin/", "/usr/bin/", "/sbin/", "/bin/"};
    if (strchr(arguments[0], '/')) {
        error = posix_spawn(process, arguments[0], &actions, &attributes, arguments, s_environment);
    } else {
        for (const char *folder : folders) {
            char path[64];
            if (strlen(folder) + strlen(arguments[0]) >= sizeof path) break;
            strcpy(path, folder);
            strcat(path, arguments[0]);
            error = posix_spawn(process, path, &actions, &attributes, arguments, s_environment);
            if (error != ENOENT) break;
        }
    }
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    return error;
}

// Collects output until the program has closed it. False when the time is over.
static bool Collect(const ProcessRun *run, int output, int64_t endMs)
{
    size_t length = 0;
    char waste[512] = {};
    for (;;) {
        const int64_t left = endMs - NowMs();
        if (left <= 0) return false;
        pollfd end = {output, POLLIN, 0};
        if (poll(&end, 1, int(left)) <= 0) continue; // the clock decides
        const size_t room = run->output && length + 1 < run->outputSize ? run->outputSize - 1 - length : 0;
        // cppcheck-suppress nullPointerArithmeticRedundantCheck ; there is no room without an output
        const ssize_t got = read(output, room ? run->output + length : waste, room ? room : sizeof waste);
        if (got == 0) return true;
        if (got < 0 && errno != EAGAIN && errno != EINTR) return true;
        if (got > 0 && room) length += size_t(got);
        if (run->output && run->outputSize > 0) run->output[length] = '\0';
    }
}

// Waits for the end of the process until `endMs`. False if it runs on.
static bool Await(pid_t process, int64_t endMs, int *status)
{
    for (;;) {
        const pid_t ended = waitpid(process, status, WNOHANG);
        if (ended == process) return true;
        if (ended < 0 && errno != EINTR) {
            *status = 0; // somebody else has taken its result; it did end
            return true;
        }
        if (NowMs() >= endMs) return false;
        poll(nullptr, 0, kPatienceMs);
    }
}

int RunProcess(const ProcessRun *run)
{
    if (run->output && run->outputSize > 0) run->output[0] = '\0';
    int input = InputFile(run->input, run->inputLength);
    int output[2] = {-1, -1};
    if (input < 0 || pipe2(output, O_CLOEXEC) != 0) {
        const int error = errno;
        Close(&input);
        errno = error;
        return -1;
    }
    fcntl(output[0], F_SETFL, O_NONBLOCK);
    const int64_t endMs = NowMs() + run->limitMs;
    pid_t process = -1;
    const int error = Start(run, input, output[1], &process);
    Close(&input);
    Close(&output[1]);
    if (error != 0) {
        Close(&output[0]);
        errno = error;
        return -1;
    }
    if (run->started) run->started(process);
    int status = 0;
    const bool inTime = Collect(run, output[0], endMs) && Await(process, endMs, &status);
    Close(&output[0]);
    if (!inTime) {
        kill(-process, SIGKILL);
        while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
        }
        errno = ETIMEDOUT;
        return -1;
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}
