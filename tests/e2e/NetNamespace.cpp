#include "tests/e2e/NetNamespace.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include "tests/e2e/Process.h"

static int OwnNamespace()
{
    const int fd = open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
    if (fd < 0) throw Failure(std::string("network namespace: ") + strerror(errno));
    return fd;
}

static void Enter(int fd)
{
    if (setns(fd, CLONE_NEWNET) != 0) throw Failure(std::string("setns: ") + strerror(errno));
}

NetNamespace::NetNamespace(const std::string &device, const std::string &ours, const std::string &theirs)
    : device_(device), home_(OwnNamespace())
{
    if (unshare(CLONE_NEWNET) != 0) throw Failure(std::string("these tests need root; unshare: ") + strerror(errno));
    there_ = OwnNamespace();
    Enter(home_);

    const std::string path = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(there_);
    const std::string prefix = ours.substr(ours.find('/'));
    const std::string gateway = ours.substr(0, ours.find('/'));
    // Made over there at once: over here there may be an eth0 already.
    RunShell("ip link add " + device + " type veth peer name eth0 netns " + path + " && ip addr add " + ours + " dev " +
             device + " && ip link set " + device + " up");
    Inside([&] {
        RunShell("ip link set lo up && ip addr add " + theirs + prefix +
                 " dev eth0 && ip link set eth0 up && ip route add default via " + gateway);
    });
}

NetNamespace::~NetNamespace()
{
    try {
        RunShell("ip link del " + device_); // now, and not when the kernel gets round to the namespace
    } catch (const Failure &) {
        // It never came to be, or is gone already.
    }
    close(there_);
    close(home_);
}

void NetNamespace::Inside(const std::function<void()> &body) const
{
    RunInNetwork(there_, body);
}

void RunInNetwork(int network, const std::function<void()> &body)
{
    const int home = OwnNamespace();
    Enter(network);
    try {
        body();
    } catch (...) {
        Enter(home);
        close(home);
        throw;
    }
    Enter(home);
    close(home);
}

std::string RunShell(const std::string &text)
{
    ProcessOptions options;
    options.arguments = {"/bin/sh", "-c", text};
    options.environment["PATH"] = "/usr/sbin:/usr/bin:/sbin:/bin"; // not everybody has the first one
    Process shell(options);
    Lines output(shell.Output());
    Lines errors(shell.Errors());
    const auto status = shell.WaitExit(kPatience);
    if (!status) throw Failure("does not end: " + text);
    output.WaitEnd(kPatience);
    errors.WaitEnd(kPatience);
    std::string printed, complaint;
    for (const std::string &line : output.All()) printed += line + "\n";
    for (const std::string &line : errors.All()) complaint += line + "\n";
    if (*status != 0) throw Failure("status " + std::to_string(*status) + " of " + text + "\n" + complaint);
    return printed;
}
