// LocalSocket.h - finds the agent's socket: tries to connect, again after a while, and at once when the socket appears.
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
    // `connected` takes over a descriptor; `failed` is told why there is none, once for every reason in a row.
    LocalSocket(Loop *loop, const std::string &path, std::function<void(int fd)> connected,
                std::function<void(const std::string &reason)> failed);
    ~LocalSocket();
    LocalSocket(const LocalSocket &) = delete;
    LocalSocket &operator=(const LocalSocket &) = delete;

    // Begins to try, `delayMs` from now, and goes on every `retryMs` until it is connected. The appearance of the
    // socket is only waited for when there has been none: one that stands there already has shut us out for a reason.
    void Seek(int64_t delayMs, int64_t retryMs);
    void Stop();
    bool Seeking() const { return timer_ != 0; }

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
    int watch_ = -1; // of the socket's folder, while there is no socket
};

} // namespace sim
