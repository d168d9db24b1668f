#include "simulator/net/Connection.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace sim
{

Connection::Connection(Loop *loop, int fd, Callbacks callbacks, const std::string &self)
    : loop_(loop), fd_(fd), callbacks_(std::move(callbacks)), self_(self)
{
    loop_->Watch(fd_, POLLIN, [this](short events) { Ready(events); });
}

Connection::~Connection()
{
    for (const uint64_t timer : {timer_, deaf_})
        if (timer) loop_->Cancel(timer);
    if (fd_ < 0) return;
    loop_->Unwatch(fd_);
    close(fd_);
}

void Connection::End(const std::string &by, const std::string &reason)
{
    if (fd_ < 0) return;
    for (uint64_t *timer : {&timer_, &deaf_}) {
        if (*timer) loop_->Cancel(*timer);
        *timer = 0;
    }
    outgoing_.clear();
    loop_->Unwatch(fd_);
    close(fd_);
    fd_ = -1;
    callbacks_.closed(by, reason);
}

void Connection::Close(const std::string &reason)
{
    End(self_, reason);
}

void Connection::Reset()
{
    if (fd_ < 0) return;
    const linger at_once = {1, 0};
    setsockopt(fd_, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    End(self_, "reset");
}

void Connection::HalfClose()
{
    if (fd_ >= 0) shutdown(fd_, SHUT_WR);
}

void Connection::Watch()
{
    if (fd_ < 0) return;
    const int wanted = (deaf_ ? 0 : POLLIN) | (full_ ? POLLOUT : 0);
    loop_->Watch(fd_, static_cast<short>(wanted), [this](short events) { Ready(events); });
}

void Connection::Deafen(int64_t ms)
{
    if (deaf_) loop_->Cancel(deaf_);
    deaf_ = loop_->After(ms, [this] {
        deaf_ = 0;
        Watch();
    });
}

void Connection::Ready(short events)
{
    if (events & (POLLIN | POLLHUP | POLLERR)) Read();
    if (fd_ >= 0 && (events & POLLOUT)) Write();
}

void Connection::Read()
{
    uint8_t buffer[16384];
    const ssize_t count = recv(fd_, buffer, sizeof buffer, 0);
    if (count > 0)
        callbacks_.received(buffer, static_cast<size_t>(count));
    else if (count == 0)
        End("agent", "closed");
    else if (errno != EAGAIN && errno != EINTR)
        End("agent", errno == ECONNRESET ? "reset" : strerror(errno));
}

void Connection::Queue(Delivery delivery)
{
    if (fd_ < 0 || delivery.chunks.empty()) return;
    const int64_t due = Loop::NowMs() + delivery.chunks.front().pauseMs;
    outgoing_.push_back({due, false, 0, 0, std::move(delivery)});
    Write();
}

std::vector<Connection::Outgoing>::iterator Connection::Next()
{
    // A delivery that has begun comes first; of equal times the one queued first does.
    return std::min_element(outgoing_.begin(), outgoing_.end(), [](const Outgoing &a, const Outgoing &b) {
        return a.begun != b.begun ? a.begun : a.dueMs < b.dueMs;
    });
}

bool Connection::WriteChunk(Outgoing *out)
{
    const Bytes &bytes = out->delivery.chunks[out->chunk].bytes;
    while (out->offset < bytes.size()) {
        const ssize_t count = send(fd_, bytes.data() + out->offset, bytes.size() - out->offset, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && errno == EAGAIN) return false;
        if (count < 0) {
            End("agent", errno == ECONNRESET || errno == EPIPE ? "reset" : strerror(errno));
            return false;
        }
        out->offset += static_cast<size_t>(count);
    }
    return true;
}

void Connection::Write()
{
    full_ = false;
    while (fd_ >= 0 && !outgoing_.empty()) {
        const auto next = Next();
        const int64_t wait = next->dueMs - Loop::NowMs();
        if (wait > 0) {
            if (timer_) loop_->Cancel(timer_);
            timer_ = loop_->After(wait, [this] {
                timer_ = 0;
                Write();
            });
            break;
        }
        next->begun = true;
        if (!WriteChunk(&*next)) {
            full_ = true;
            break;
        }
        next->offset = 0;
        const bool closeAfter = next->delivery.closeAfter;
        const int64_t deafMs = next->delivery.deafMs;
        if (++next->chunk < next->delivery.chunks.size()) {
            next->dueMs = Loop::NowMs() + next->delivery.chunks[next->chunk].pauseMs;
            continue;
        }
        outgoing_.erase(next);
        if (deafMs > 0) Deafen(deafMs);
        if (closeAfter) Close("misbehaviour");
    }
    Watch();
}

} // namespace sim
