#include "simulator/http/HttpConnection.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <unistd.h>

namespace sim
{

static const int64_t kMaxAtOnce = 4 << 20; // bytes of one reply before other connections get their turn
static const int64_t kRateStepMs = 20;
static const int64_t kLingerMs = 1000;
static const int64_t kDrainStepMs = 5, kDrainMs = 1000;

HttpConnection::HttpConnection(Loop *loop, int fd, int64_t idleMs, Callbacks callbacks)
    : loop_(loop), fd_(fd), idleMs_(idleMs), callbacks_(std::move(callbacks))
{
    SetTimer(idleMs_, [this] { RefuseRest(408, "no whole request has come in time"); });
    Watch();
}

HttpConnection::~HttpConnection()
{
    StopTimer();
    if (fd_ < 0) return;
    loop_->Unwatch(fd_);
    close(fd_);
}

void HttpConnection::StopTimer()
{
    if (timer_) loop_->Cancel(timer_);
    timer_ = 0;
}

void HttpConnection::SetTimer(int64_t ms, std::function<void()> due)
{
    StopTimer();
    timer_ = loop_->After(ms, [this, due = std::move(due)] {
        timer_ = 0;
        due();
    });
}

void HttpConnection::Watch()
{
    // poll reports a hang-up even while nothing is read.
    short events = inputEnded_ ? 0 : POLLIN;
    if (!inputEnded_ && Replying() && reader_.Full()) events = POLLRDHUP;
    if (blocked_) events |= POLLOUT;
    loop_->Watch(fd_, events, [this](short ready) { Ready(ready); });
}

void HttpConnection::Ready(short events)
{
    if (events & POLLIN) {
        Read();
    } else if (events & (POLLERR | POLLHUP)) {
        int error = 0;
        socklen_t size = sizeof error;
        getsockopt(fd_, SOL_SOCKET, SO_ERROR, &error, &size);
        Fail(error ? error : ECONNRESET);
    } else if (events & POLLRDHUP) {
        InputEnded();
    }
    if (events & POLLOUT) blocked_ = false;
    Go();
}

void HttpConnection::Read()
{
    uint8_t buffer[4096];
    const ssize_t count = recv(fd_, buffer, sizeof buffer, 0);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (count < 0)
        Fail(errno);
    else if (count == 0)
        InputEnded();
    else if (state_ == State::Waiting || Replying())
        reader_.Push(buffer, static_cast<size_t>(count));
}

void HttpConnection::InputEnded()
{
    // The other end may have closed only its own direction: the present reply continues until it cannot be sent.
    inputEnded_ = true;
    if (state_ == State::Stalled) Report("agent-closed");
    if (state_ == State::Stalled || state_ == State::Lingering) Close();
}

void HttpConnection::Go()
{
    bool more = true;
    while (more && fd_ >= 0) {
        switch (state_) {
        case State::Waiting: more = TakeRequest(); break;
        case State::Header: more = WriteHeader(); break;
        case State::Body: more = WriteBody(); break;
        default: more = false; break;
        }
    }
    if (fd_ >= 0) Watch();
}

bool HttpConnection::TakeRequest()
{
    HttpRequest request;
    if (reader_.Pop(&request)) {
        Begin(request);
        return true;
    }
    if (inputEnded_) RefuseRest(400, "the connection ended inside the request");
    return inputEnded_;
}

void HttpConnection::RefuseRest(int status, const std::string &problem)
{
    if (reader_.Left() == 0) {
        Close();
        return;
    }
    HttpRequest request;
    request.text = reader_.Rest();
    request.refusal = status;
    request.problem = problem;
    Begin(request);
    Go();
}

void HttpConnection::Begin(const HttpRequest &request)
{
    StopTimer();
    requestMs_ = Loop::NowMs();
    headerSent_ = 0;
    sent_ = 0;
    reported_ = false;
    state_ = State::Header;
    reply_ = callbacks_.answer(request);
    if (reply_.lateMs > 0) SetTimer(reply_.lateMs, [this] { Go(); });
}

bool HttpConnection::CannotSend(int error)
{
    if (error == EAGAIN)
        blocked_ = true;
    else
        Fail(error);
    return false;
}

bool HttpConnection::WriteHeader()
{
    if (timer_ || blocked_) return false;
    const size_t left = reply_.header.size() - headerSent_;
    if (left > 0) {
        const size_t size = reply_.dripMs >= 0 ? 1 : left;
        const ssize_t count = send(fd_, reply_.header.data() + headerSent_, size, MSG_NOSIGNAL);
        if (count < 0) return errno == EINTR || CannotSend(errno);
        headerSent_ += static_cast<size_t>(count);
    }
    if (headerSent_ < reply_.header.size()) {
        if (reply_.dripMs >= 0) SetTimer(reply_.dripMs, [this] { Go(); });
        return true;
    }
    state_ = State::Body;
    bodyMs_ = Loop::NowMs();
    return true;
}

int64_t HttpConnection::Allowed() const
{
    const int64_t left = std::min(reply_.send - sent_, kMaxAtOnce);
    if (reply_.rate == 0) return left;
    const double earned = static_cast<double>(Loop::NowMs() - bodyMs_) * static_cast<double>(reply_.rate) / 1000;
    return static_cast<int64_t>(std::min(earned - static_cast<double>(sent_), static_cast<double>(left)));
}

ssize_t HttpConnection::SendSome(int64_t most)
{
    const int64_t inFile = reply_.body.file >= 0 ? reply_.body.size - sent_ : 0;
    if (inFile > 0) {
        off_t offset = sent_;
        const ssize_t count = sendfile(fd_, reply_.body.file, &offset, static_cast<size_t>(std::min(most, inFile)));
        if (count == 0) errno = EIO; // the file is shorter than when its length was announced
        return count == 0 ? -1 : count;
    }
    const MadeUpBytes bytes = MadeUpAt(sent_);
    return send(fd_, bytes.data, static_cast<size_t>(std::min(most, bytes.size)), MSG_NOSIGNAL);
}

bool HttpConnection::WriteBody()
{
    if (timer_ || blocked_) return false;
    if (sent_ == reply_.send) {
        EndReply();
        return true;
    }
    int64_t allowed = Allowed();
    if (allowed <= 0) {
        const int64_t nextByte = (sent_ + 1) * 1000 / reply_.rate + 1 - (Loop::NowMs() - bodyMs_);
        SetTimer(std::max(kRateStepMs, nextByte), [this] { Go(); });
        return false;
    }
    while (allowed > 0) {
        const ssize_t count = SendSome(allowed);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return CannotSend(errno);
        sent_ += count;
        allowed -= count;
    }
    // The rest in the loop's next turn.
    blocked_ = sent_ < reply_.send;
    return !blocked_;
}

void HttpConnection::EndReply()
{
    switch (reply_.end) {
    case HttpReply::End::Keep:
        Report("complete");
        state_ = State::Waiting;
        SetTimer(idleMs_, [this] { RefuseRest(408, "no whole request has come in time"); });
        break;
    case HttpReply::End::Close:
        Report(reply_.early ? "closed" : "complete");
        Linger();
        break;
    case HttpReply::End::Reset:
        state_ = State::Draining;
        drainUntilMs_ = Loop::NowMs() + kDrainMs;
        ResetOnceDrained();
        break;
    case HttpReply::End::Stall:
        state_ = State::Stalled;
        callbacks_.stalled(sent_);
        if (inputEnded_) InputEnded();
        break;
    }
    if (fd_ >= 0 && state_ != State::Stalled) reply_.body = HttpBody();
}

void HttpConnection::ResetOnceDrained()
{
    int unsent = 0; // or not yet acknowledged: a reset would discard it
    if (ioctl(fd_, SIOCOUTQ, &unsent) == 0 && unsent > 0 && Loop::NowMs() < drainUntilMs_) {
        SetTimer(kDrainStepMs, [this] { ResetOnceDrained(); });
        return;
    }
    const linger atOnce = {1, 0};
    setsockopt(fd_, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    Report("reset");
    Close();
}

void HttpConnection::Linger()
{
    if (inputEnded_ || shutdown(fd_, SHUT_WR) != 0) {
        Close();
        return;
    }
    state_ = State::Lingering;
    SetTimer(kLingerMs, [this] { Close(); });
}

void HttpConnection::Report(const std::string &end)
{
    if (reported_) return;
    reported_ = true;
    callbacks_.done(sent_, Loop::NowMs() - requestMs_, end);
}

void HttpConnection::Fail(int error)
{
    const bool gone = error == ECONNRESET || error == EPIPE;
    Report(!gone ? strerror(error) : inputEnded_ ? "agent-closed" : "agent-reset");
    Close();
}

void HttpConnection::Close()
{
    if (fd_ < 0) return;
    StopTimer();
    loop_->Unwatch(fd_);
    close(fd_);
    fd_ = -1;
    reply_ = HttpReply();
    callbacks_.gone();
}

} // namespace sim
