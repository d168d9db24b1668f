#include "tests/support/Relay.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <deque>
#include <linux/filter.h>
#include <list>
#include <mutex>
#include <netinet/tcp.h>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

static const size_t kMaxHeld = 64 * 1024; // bytes of a way; then nothing more is read
static const size_t kMaxRead = 16 * 1024;
static const double kGrainSeconds = 0.02; // real ones; a slow way passes its bytes in grains of this length

// ---- Times and sockets

static int64_t NowNs()
{
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

static double EpochSeconds()
{
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

static std::runtime_error Error(const std::string &what)
{
    return std::runtime_error("relay: " + what + ": " + strerror(errno));
}

static struct sockaddr_in ReadAddress(const std::string &text)
{
    const size_t colon = text.find(':');
    struct sockaddr_in address = {};
    address.sin_family = AF_INET;
    if (colon == std::string::npos || inet_pton(AF_INET, text.substr(0, colon).c_str(), &address.sin_addr) != 1)
        throw std::runtime_error("relay: no address: " + text);
    address.sin_port = htons(static_cast<uint16_t>(std::stoi(text.substr(colon + 1))));
    return address;
}

static int Listen(const struct sockaddr_in &address)
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (bind(fd, reinterpret_cast<const struct sockaddr *>(&address), sizeof address) == 0 && listen(fd, 16) == 0)
        return fd;
    const std::runtime_error error = Error("listen");
    close(fd);
    throw error;
}

// Returns -1 when nobody listens there.
static int Connect(const struct sockaddr_in &address)
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(fd, reinterpret_cast<const struct sockaddr *>(&address), sizeof address) == 0) return fd;
    close(fd);
    return -1;
}

static void SendAtOnce(int fd)
{
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

static void CloseWithReset(int fd)
{
    const struct linger now = {1, 0};
    setsockopt(fd, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    close(fd);
}

// The kernel drops all packets that come to this socket before it looks at them: nothing is acknowledged.
static void BeDeaf(int fd)
{
    struct sock_filter dropAll = {BPF_RET | BPF_K, 0, 0, 0};
    const struct sock_fprog program = {1, &dropAll};
    if (setsockopt(fd, SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program) != 0) throw Error("socket filter");
}

static void HearAgain(int fd)
{
    const int unused = 0;
    setsockopt(fd, SOL_SOCKET, SO_DETACH_FILTER, &unused, sizeof unused);
}

// ---- Connections

namespace
{
struct Piece {
    int64_t dueNs;
    std::string bytes;
};

// One way of a connection.
struct Pipe {
    int from;
    std::vector<int> to; // the first one sets the pace
    Way way;
    std::deque<Piece> held = {};
    size_t heldBytes = 0;
    int64_t freeNs = 0;   // when a slow way has passed what it holds
    bool atEnd = false;   // `from` has ended
    bool endTold = false; // and `to` has been told
    bool blocked = false; // `to` takes no more just now
    bool silent = false;
    std::string passed = {};
};

struct Connection {
    std::vector<int> sockets; // the client's first
    std::vector<Pipe> pipes;  // the client's first
    std::optional<Trouble> trouble = {};
    bool closing = false; // both ends have been told; what still comes is thrown away
    bool dead = false;    // to be removed, its sockets are closed
};
} // namespace

class Relay::Worker
{
  public:
    Worker(const std::string &here, const std::string &there, double clock)
        : here_(ReadAddress(here)), there_(ReadAddress(there)), clock_(clock), wake_(eventfd(0, EFD_CLOEXEC)),
          listener_(Listen(here_)), thread_([this] { Run(); })
    {
    }

    ~Worker()
    {
        Do([this] { stop_ = true; });
        thread_.join();
        for (Connection &connection : connections_) End(&connection, close);
        if (listener_ >= 0) close(listener_);
        close(wake_);
    }

    // Changes something under the lock, and has the thread look at everything again.
    template <typename Change>
    void Do(Change change)
    {
        std::lock_guard<std::mutex> guard(lock_);
        change();
        const uint64_t one = 1;
        if (write(wake_, &one, sizeof one) < 0) throw Error("wake");
    }

    template <typename Question>
    auto Ask(Question question)
    {
        std::lock_guard<std::mutex> guard(lock_);
        return question();
    }

    void StrikeOpen(const Trouble &trouble)
    {
        struckAt = 0;
        for (Connection &connection : connections_) {
            if (connection.closing) continue;
            connection.trouble = trouble;
            if (trouble.after == 0) Strike(&connection);
        }
    }

    void SetVanished(bool vanished)
    {
        struckAt = vanished ? EpochSeconds() : 0;
        if (listener_ >= 0) (vanished ? BeDeaf : HearAgain)(listener_);
        for (Connection &connection : connections_) {
            if (connection.closing) continue;
            for (Pipe &pipe : connection.pipes) pipe.silent = vanished;
            (vanished ? BeDeaf : HearAgain)(connection.sockets[0]);
        }
    }

    void SetRefusing(bool refuse)
    {
        if (refuse && listener_ >= 0) {
            close(listener_);
            listener_ = -1;
        }
        if (!refuse && listener_ < 0) listener_ = Listen(here_);
    }

    void RepeatLast(size_t bytes)
    {
        if (connections_.empty()) throw std::runtime_error("relay: there is no connection");
        Pipe &pipe = connections_.back().pipes[1];
        if (pipe.passed.size() < bytes) throw std::runtime_error("relay: not so much has passed");
        pipe.held.push_back({NowNs(), pipe.passed.substr(pipe.passed.size() - bytes)});
        pipe.heldBytes += bytes;
    }

    // What Relay reads and sets, under the lock.
    double delay = 0;
    double rate = 0;
    bool twice = false;
    std::optional<Trouble> next;
    double struckAt = 0;
    size_t made = 0;
    size_t passed[2] = {};
    void LeadTo(const std::string &there) { there_ = ReadAddress(there); }

  private:
    typedef std::vector<struct pollfd> Watched;

    void Run()
    {
        std::unique_lock<std::mutex> guard(lock_);
        while (!stop_) {
            Watched watched;
            const int64_t untilNs = Look(&watched);
            guard.unlock();
            const int64_t leftNs = std::max<int64_t>(untilNs - NowNs(), 0);
            const struct timespec limit = {static_cast<time_t>(leftNs / 1000000000),
                                           static_cast<long>(leftNs % 1000000000)};
            ppoll(watched.data(), watched.size(), untilNs == INT64_MAX ? nullptr : &limit, nullptr);
            guard.lock();
            uint64_t count;
            if (watched[0].revents && read(wake_, &count, sizeof count) < 0) throw Error("wake");
            if (listener_ >= 0 && IsReady(watched, listener_, POLLIN)) Accept();
            for (Connection &connection : connections_) Serve(&connection, watched);
            connections_.remove_if([](const Connection &connection) { return connection.dead; });
        }
    }

    static bool IsReady(const Watched &watched, int fd, short events)
    {
        for (const struct pollfd &entry : watched)
            if (entry.fd == fd && (entry.events & events) && entry.revents) return true;
        return false;
    }

    // What to wait for, and until when.
    int64_t Look(Watched *watched)
    {
        int64_t untilNs = INT64_MAX;
        watched->push_back({wake_, POLLIN, 0});
        if (listener_ >= 0) watched->push_back({listener_, POLLIN, 0});
        for (const Connection &connection : connections_) {
            for (const Pipe &pipe : connection.pipes) {
                if (pipe.silent) continue;
                if (!pipe.atEnd && pipe.heldBytes < kMaxHeld) watched->push_back({pipe.from, POLLIN, 0});
                if (pipe.blocked) watched->push_back({pipe.to[0], POLLOUT, 0});
                if (!pipe.blocked && !pipe.held.empty()) untilNs = std::min(untilNs, pipe.held.front().dueNs);
            }
        }
        return untilNs;
    }

    void Accept()
    {
        const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0) return;
        made++;
        Connection connection;
        connection.sockets.push_back(client);
        for (int i = 0; i < (twice ? 2 : 1); i++) {
            const int server = Connect(there_);
            if (server >= 0) connection.sockets.push_back(server);
        }
        for (int fd : connection.sockets) SendAtOnce(fd);
        if (connection.sockets.size() == 1) {
            CloseWithReset(client);
            return;
        }
        const std::vector<int> servers(connection.sockets.begin() + 1, connection.sockets.end());
        connection.pipes.push_back({client, servers, Way::TO_SERVER});
        for (int server : servers) connection.pipes.push_back({server, {client}, Way::TO_CLIENT});
        connection.trouble = next;
        if (next) struckAt = 0;
        next.reset();
        connections_.push_back(connection);
        if (connection.trouble && connection.trouble->after == 0) Strike(&connections_.back());
    }

    void Serve(Connection *connection, const Watched &watched)
    {
        for (Pipe &pipe : connection->pipes) {
            if (connection->dead) return;
            if (pipe.silent) continue;
            if (!pipe.atEnd && IsReady(watched, pipe.from, POLLIN) && !Take(connection, &pipe)) return;
            if (!connection->closing && !Pass(connection, &pipe)) return;
        }
        if (std::all_of(connection->pipes.begin(), connection->pipes.end(),
                        [&](const Pipe &pipe) { return pipe.atEnd && (pipe.endTold || connection->closing); }))
            End(connection, close);
    }

    // Reads. Returns false when the connection is over.
    bool Take(Connection *connection, Pipe *pipe)
    {
        const double bytesPerSecond = rate * clock_;
        char bytes[kMaxRead];
        const double grain = rate > 0 ? std::max(1.0, bytesPerSecond * kGrainSeconds) : kMaxRead;
        const ssize_t count = recv(pipe->from, bytes, std::min(kMaxRead, static_cast<size_t>(grain)), MSG_DONTWAIT);
        if (count < 0 && (errno == EAGAIN || errno == EINTR)) return true;
        if (count < 0) {
            End(connection, CloseWithReset);
            return false;
        }
        if (count == 0) pipe->atEnd = true;
        if (count == 0 || connection->closing) return true;
        const int64_t now = NowNs();
        const double seconds = rate > 0 ? static_cast<double>(count) / bytesPerSecond : 0;
        pipe->freeNs = std::max(now, pipe->freeNs) + static_cast<int64_t>(seconds * 1e9);
        pipe->held.push_back({pipe->freeNs + static_cast<int64_t>(delay / clock_ * 1e9),
                              std::string(bytes, static_cast<size_t>(count))});
        pipe->heldBytes += static_cast<size_t>(count);
        return true;
    }

    // Sends what is due. Returns false when the connection is over, or silent.
    bool Pass(Connection *connection, Pipe *pipe)
    {
        pipe->blocked = false;
        while (!pipe->held.empty() && pipe->held.front().dueNs <= NowNs()) {
            std::string &bytes = pipe->held.front().bytes;
            const bool counted = connection->trouble && connection->trouble->way == pipe->way;
            const size_t most = counted ? std::min(bytes.size(), connection->trouble->after) : bytes.size();
            const ssize_t count = send(pipe->to[0], bytes.data(), most, MSG_DONTWAIT | MSG_NOSIGNAL);
            if (count < 0 && errno == EAGAIN) {
                pipe->blocked = true;
                return true;
            }
            if (count < 0) {
                End(connection, CloseWithReset);
                return false;
            }
            const size_t sent = static_cast<size_t>(count);
            for (size_t i = 1; i < pipe->to.size(); i++) {
                if (send(pipe->to[i], bytes.data(), sent, MSG_NOSIGNAL) < 0) break; // the second one may have gone
            }
            passed[static_cast<int>(pipe->way)] += sent;
            pipe->passed += bytes.substr(0, sent);
            pipe->heldBytes -= sent;
            bytes.erase(0, sent);
            if (bytes.empty()) pipe->held.pop_front();
            if (counted && (connection->trouble->after -= sent) == 0) {
                Strike(connection);
                return false;
            }
        }
        if (pipe->atEnd && pipe->held.empty() && !pipe->endTold) {
            for (int fd : pipe->to) shutdown(fd, SHUT_WR);
            pipe->endTold = true;
        }
        return true;
    }

    // The trouble of a connection strikes.
    void Strike(Connection *connection)
    {
        const Trouble trouble = *connection->trouble;
        connection->trouble.reset();
        struckAt = EpochSeconds();
        switch (trouble.fault) {
        case Fault::CLOSE:
            // A socket that is closed while something in it is unread sends a reset: both are read to their end.
            for (int fd : connection->sockets) shutdown(fd, SHUT_WR);
            connection->closing = true;
            for (Pipe &pipe : connection->pipes) {
                pipe.held.clear();
                pipe.heldBytes = 0;
                pipe.blocked = false;
            }
            break;
        case Fault::RESET: End(connection, CloseWithReset); break;
        case Fault::SILENCE:
            for (Pipe &pipe : connection->pipes) pipe.silent = pipe.silent || pipe.way == trouble.way;
            if (trouble.way == Way::TO_SERVER) BeDeaf(connection->sockets[0]);
            break;
        }
    }

    template <typename Closing>
    void End(Connection *connection, Closing closing)
    {
        if (!connection->dead)
            for (int fd : connection->sockets) closing(fd);
        connection->dead = true;
    }

    std::mutex lock_; // guards everything
    const struct sockaddr_in here_;
    struct sockaddr_in there_;
    const double clock_;
    const int wake_;
    int listener_;
    bool stop_ = false;
    std::list<Connection> connections_;
    std::thread thread_; // last: starts when the rest is there
};

// ---- The relay

Relay::Relay(const std::string &here, const std::string &there, double clock)
    : worker_(std::make_unique<Worker>(here, there, clock))
{
}

Relay::~Relay() = default;

void Relay::Delay(double seconds)
{
    worker_->Do([&] { worker_->delay = seconds; });
}

void Relay::Throttle(double bytesPerSecond)
{
    worker_->Do([&] { worker_->rate = bytesPerSecond; });
}

void Relay::Twice(bool twice)
{
    worker_->Do([&] { worker_->twice = twice; });
}

void Relay::LeadTo(const std::string &there)
{
    worker_->Do([&] { worker_->LeadTo(there); });
}

void Relay::Refuse(bool refuse)
{
    worker_->Do([&] { worker_->SetRefusing(refuse); });
}

void Relay::Strike(const Trouble &trouble)
{
    worker_->Do([&] { worker_->StrikeOpen(trouble); });
}

void Relay::StrikeNext(const Trouble &trouble)
{
    worker_->Do([&] {
        worker_->next = trouble;
        worker_->struckAt = 0;
    });
}

void Relay::Vanish()
{
    worker_->Do([&] { worker_->SetVanished(true); });
}

void Relay::Return()
{
    worker_->Do([&] { worker_->SetVanished(false); });
}

void Relay::Repeat(size_t bytes)
{
    worker_->Do([&] { worker_->RepeatLast(bytes); });
}

double Relay::StruckAt() const
{
    return worker_->Ask([&] { return worker_->struckAt; });
}

size_t Relay::Connections() const
{
    return worker_->Ask([&] { return worker_->made; });
}

size_t Relay::Passed(Way way) const
{
    return worker_->Ask([&] { return worker_->passed[static_cast<int>(way)]; });
}
