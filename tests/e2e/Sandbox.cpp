#include "tests/e2e/Sandbox.h"

#include <arpa/inet.h>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

static bool Failed(const char *what, std::string *reason)
{
    *reason = std::string(what) + ": " + strerror(errno);
    return false;
}

static bool WriteFile(const char *path, const std::string &text)
{
    const int fd = open(path, O_WRONLY | O_CLOEXEC);
    if (fd < 0) return false;
    const bool complete = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(fd);
    return complete;
}

// In its own user namespace the process is root; outside it is the same user as before.
static bool EnterNamespaces(std::string *reason)
{
    const int own = CLONE_NEWNS | CLONE_NEWNET | CLONE_NEWPID;
    if (unshare(own) == 0) return true;
    const std::string user = std::to_string(geteuid());
    const std::string group = std::to_string(getegid());
    if (unshare(CLONE_NEWUSER | own) != 0)
        return Failed("these tests need root, or user namespaces that are open to everybody; unshare", reason);
    if (!WriteFile("/proc/self/setgroups", "deny") || !WriteFile("/proc/self/uid_map", "0 " + user + " 1") ||
        !WriteFile("/proc/self/gid_map", "0 " + group + " 1"))
        return Failed("these tests need root, or user namespaces that are open to everybody; user map", reason);
    return true;
}

// Waits until `child` has ended, and ends with the same status. Waits for all other processes that have lost their
// parent here, too.
[[noreturn]] static void StayBehind(pid_t child)
{
    int status = 0;
    for (pid_t ended = 0; ended != child;) {
        ended = wait(&status);
        if (ended < 0 && errno != EINTR) _exit(1);
    }
    _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
}

// Returns in a process of the new process namespace. It is not the first one there: the first one has the duties of an
// init. It ends at the latest with the process that started the tests, and its end ends all others.
static bool EnterProcesses(std::string *reason)
{
    const pid_t first = fork();
    if (first < 0) return Failed("fork", reason);
    if (first > 0) StayBehind(first);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const pid_t second = fork();
    if (second < 0) return Failed("fork", reason);
    if (second > 0) StayBehind(second);
    return true;
}

static bool ReplaceProc(std::string *reason)
{
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return Failed("private mounts", reason);
    if (mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) != 0)
        return Failed("an own /proc", reason);
    return true;
}

static void MakeFolders(const std::string &path)
{
    for (size_t at = path.find('/', 1); at != std::string::npos; at = path.find('/', at + 1))
        mkdir(path.substr(0, at).c_str(), 0755);
    mkdir(path.c_str(), 0755);
}

static bool ReplaceTmp(const std::string &keep, std::string *reason)
{
    char path[PATH_MAX];
    if (!realpath(keep.c_str(), path)) return Failed(keep.c_str(), reason);
    const bool hidden = strncmp(path, "/tmp/", 5) == 0;

    // The descriptor still leads to the folder when its path no longer does.
    const int kept = open(path, O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (kept < 0) return Failed(path, reason);
    bool done = mount("tmpfs", "/tmp", "tmpfs", MS_NOSUID | MS_NODEV, "size=32m,mode=1777") == 0;
    if (done && hidden) {
        MakeFolders(path);
        const std::string source = "/proc/self/fd/" + std::to_string(kept);
        done = mount(source.c_str(), path, nullptr, MS_BIND | MS_REC, nullptr) == 0;
    }
    if (!done) Failed("an own /tmp", reason);
    close(kept);
    // By its path: the working folder of before may be one that nobody can see any more.
    if (done && chdir(path) != 0) return Failed(path, reason);
    return done;
}

static struct sockaddr Address(const char *dotted)
{
    struct sockaddr_in address = {};
    address.sin_family = AF_INET;
    inet_pton(AF_INET, dotted, &address.sin_addr);
    struct sockaddr result;
    memcpy(&result, &address, sizeof result);
    return result;
}

static bool RaiseLoopback(std::string *reason)
{
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return Failed("socket", reason);
    struct ifreq loopback = {};
    strcpy(loopback.ifr_name, "lo");
    loopback.ifr_flags = IFF_UP | IFF_RUNNING;
    bool done = ioctl(fd, SIOCSIFFLAGS, &loopback) == 0;

    struct ifreq alias = {};
    strcpy(alias.ifr_name, "lo:1");
    alias.ifr_addr = Address(kSingleServer);
    done = done && ioctl(fd, SIOCSIFADDR, &alias) == 0;
    alias.ifr_addr = Address("255.255.255.255");
    done = done && ioctl(fd, SIOCSIFNETMASK, &alias) == 0;
    if (!done) Failed("loopback device", reason);
    close(fd);
    return done;
}

bool EnterSandbox(const std::string &keep, std::string *reason)
{
    return EnterNamespaces(reason) && EnterProcesses(reason) && ReplaceProc(reason) && ReplaceTmp(keep, reason) &&
           RaiseLoopback(reason);
}
