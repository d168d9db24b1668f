// HttpConnection.h - one accepted HTTP connection: requests in, one after the other, and each one's reply out.
//
// State:    one HttpConnection object; it owns the socket. Once closed it does nothing more.
// Threads:  the loop's. The callbacks must not destroy the HttpConnection they are called from.
#pragma once

#include <functional>
#include <string>

#include "simulator/http/HttpReply.h"
#include "simulator/net/Loop.h"

namespace sim
{

class HttpConnection
{
  public:
    struct Callbacks {
        std::function<HttpReply(const HttpRequest &)> answer;
        std::function<void(int64_t sent)> stalled; // the reply has reached the point where it stalls
        // A reply has ended: bytes of body sent, milliseconds since the request, and how: "complete", "closed" or
        // "reset" by us before the announced length, "agent-closed", "agent-reset", or the reason of an error.
        std::function<void(int64_t sent, int64_t ms, const std::string &end)> done;
        std::function<void()> gone; // the connection is closed
    };

    // Closes by itself if no whole request arrives within `idleMs`.
    HttpConnection(Loop *loop, int fd, int64_t idleMs, Callbacks callbacks);
    ~HttpConnection();
    HttpConnection(const HttpConnection &) = delete;
    HttpConnection &operator=(const HttpConnection &) = delete;

    bool Open() const { return fd_ >= 0; }
    bool Replying() const { return state_ == State::Header || state_ == State::Body || state_ == State::Stalled; }
    int64_t Sent() const { return sent_; } // bytes of the present reply's body

  private:
    enum class State {
        Waiting,  // for a request
        Header,   // being sent
        Body,     // being sent
        Stalled,  // until the other end closes
        Draining, // until the other end has everything, before a reset
        Lingering // closed for sending; received bytes are discarded: unread ones would reset the connection too early
    };
    void Ready(short events);
    void Read();
    void InputEnded();
    void Go();
    bool TakeRequest(); // this one and the next two: false if there is nothing to do now
    bool WriteHeader();
    bool WriteBody();
    void Begin(const HttpRequest &request);
    void RefuseRest(int status, const std::string &problem);
    int64_t Allowed() const;
    ssize_t SendSome(int64_t most);
    bool CannotSend(int error);
    void EndReply();
    void Report(const std::string &end);
    void ResetOnceDrained();
    void Linger();
    void Fail(int error);
    void Close();
    void Watch();
    void SetTimer(int64_t ms, std::function<void()> due);
    void StopTimer();

    Loop *loop_;
    int fd_;
    int64_t idleMs_;
    Callbacks callbacks_;
    HttpRequestReader reader_;
    State state_ = State::Waiting;
    bool inputEnded_ = false;
    bool blocked_ = false; // the socket takes no more for now
    uint64_t timer_ = 0;

    HttpReply reply_;
    bool reported_ = true;
    size_t headerSent_ = 0;
    int64_t sent_ = 0;
    int64_t requestMs_ = 0; // when it came
    int64_t bodyMs_ = 0;    // when its body was begun
    int64_t drainUntilMs_ = 0;
};

} // namespace sim
