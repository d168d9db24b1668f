#include "simulator/manager/LocalSocket.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace sim
{

static const int64_t kSettleMs = 20; // the socket appears before the agent listens

// Returns a connected descriptor, or -1 with errno.
static int Connect(const std::string &path)
{
    struct sockaddr_un there = {};
    there.sun_family = AF_UNIX;
    if (path.size() >= sizeof there.sun_path) {
        errno = ENAMETOOLONG;
        return -1;
    }
    memcpy(there.sun_path, path.c_str(), path.size());
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) return -1;
    const socklen_t size = static_cast<socklen_t>(offsetof(struct sockaddr_un, sun_path) + path.size() + 1);
    if (connect(fd, reinterpret_cast<struct sockaddr *>(&there), size) == 0) return fd;
    const int error = errno;
    close(fd);
    errno = error;
    return -1;
}

LocalSocket::LocalSocket(Loop *loop, const std::string &path, std::function<void(int)> connected,
                         std::function<void(const std::string &)> failed)
    : loop_(loop), path_(path), connected_(std::move(connected)), failed_(std::move(failed))
{
}

LocalSocket::~LocalSocket()
{
    Stop();
}

void LocalSocket::Seek(int64_t delayMs, int64_t retryMs)
{
    Stop();
    retryMs_ = retryMs;
    timer_ = loop_->After(delayMs, [this] { Try(); });
}

void LocalSocket::Stop()
{
    if (timer_) loop_->Cancel(timer_);
    timer_ = 0;
    reason_.clear();
    Unwatch();
}

void LocalSocket::Try()
{
    timer_ = 0;
    // Before connect(), so that a socket that appears meanwhile is not missed.
    WatchFolder();
    const int fd = Connect(path_);
    if (fd >= 0) {
        Stop();
        connected_(fd);
        return;
    }
    const std::string reason = errno == ENOENT         ? "there is no socket"
                               : errno == ECONNREFUSED ? "nobody listens"
                               : errno == EAGAIN       ? "too many wait to be let in"
                                                       : strerror(errno);
    timer_ = loop_->After(retryMs_, [this] { Try(); });
    if (reason == reason_) return;
    reason_ = reason;
    failed_(reason);
}

void LocalSocket::WatchFolder()
{
    if (watch_ >= 0) return;
    const size_t slash = path_.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : slash == 0 ? "/" : path_.substr(0, slash);
    watch_ = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    if (watch_ < 0) return; // the timer is still there
    inotify_add_watch(watch_, folder.c_str(), IN_CREATE | IN_MOVED_TO);
    loop_->Watch(watch_, POLLIN, [this](short) { Appeared(); });
}

void LocalSocket::Appeared()
{
    alignas(struct inotify_event) char events[4096];
    const std::string name = path_.substr(path_.rfind('/') + 1);
    bool found = false;
    ssize_t count;
    while ((count = read(watch_, events, sizeof events)) > 0) {
        for (ssize_t at = 0; at < count;) {
            const auto *event = reinterpret_cast<const struct inotify_event *>(events + at);
            found = found || (event->len > 0 && name == event->name);
            at += static_cast<ssize_t>(sizeof *event + event->len);
        }
    }
    if (!found || !timer_) return;
    loop_->Cancel(timer_);
    timer_ = loop_->After(kSettleMs, [this] { Try(); });
}

void LocalSocket::Unwatch()
{
    if (watch_ < 0) return;
    loop_->Unwatch(watch_);
    close(watch_);
    watch_ = -1;
}

} // namespace sim
