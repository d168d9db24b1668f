// LocalSocket.h - connects to the agent's socket: tries again and again, and at once when the socket appears.
// State: one object. Threads: the loop's.
#pragma once

#include <functional>
#include <string>

#include "simulator/net/Loop.h"

namespace sim
{

class LocalSocket
{
  public:
    // `connected` gets the descriptor and owns it; `failed` gets the reason of a failure, repeated reasons once.
    LocalSocket(Loop *loop, const std::string &path, std::function<void(int fd)> connected,
                std::function<void(const std::string &reason)> failed);
    ~LocalSocket();
    LocalSocket(const LocalSocket &) = delete;
    LocalSocket &operator=(const LocalSocket &) = delete;

    // Tries to connect after `delayMs`, then every `retryMs` until it succeeds, and at once when the socket appears. A
    // socket that is there already and refuses does so for a reason: then only the timer counts.
    void Seek(int64_t delayMs, int64_t retryMs);
    // Stops trying.
    void Stop();
    [[nodiscard]] bool Seeking() const { return timer_ != 0; }

  private:
    void Try();
    void WatchFolder();
    void Appeared();
    void Unwatch();

    Loop *loop_;
    std::string path_;
    std::function<void(int)> connected_;
    std::function<void(const std::string &)> failed_;
    std::string reason_;
    int64_t retryMs_ = 0;
    uint64_t timer_ = 0;
    int watch_ = -1; // descriptor of the watch on the socket's folder; -1: none
};

} // namespace sim
