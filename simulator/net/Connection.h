// Connection.h - one connection: bytes in, deliveries out at their time.
//
// State:    one Connection object; it owns the socket. Once closed it does nothing more.
// Threads:  the loop's. The callbacks must not destroy the Connection they are called from.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "protocol/Bytes.h"
#include "simulator/net/Loop.h"

namespace sim
{

using namespace protocol;

struct Chunk {
    int64_t pauseMs; // before it, after the chunk before (the first: from now)
    Bytes bytes;
};

struct Delivery {
    std::vector<Chunk> chunks; // none: nothing is sent
    bool closeAfter = false;
    std::vector<std::string> faults; // that happen to it
    int64_t deafMs = 0;              // how long nothing is read after it
};

class Connection
{
  public:
    struct Callbacks {
        std::function<void(const uint8_t *, size_t)> received;
        std::function<void(const std::string &by, const std::string &reason)> closed; // by "agent" or `self`
    };

    // `self` is the name of our side in `closed`.
    Connection(Loop *loop, int fd, Callbacks callbacks, const std::string &self = "platform");
    ~Connection();
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    // Sends a delivery. While it waits for its time others may overtake; once begun it is not interrupted.
    void Queue(Delivery delivery);

    void Close(const std::string &reason);
    void Reset();     // closes so that the other end reads "connection reset"
    void HalfClose(); // sends the end of the stream, goes on receiving

    bool Open() const { return fd_ >= 0; }
    bool Idle() const { return outgoing_.empty(); } // nothing waits to be sent

  private:
    struct Outgoing {
        int64_t dueMs; // of the next chunk
        bool begun;
        size_t chunk, offset;
        Delivery delivery;
    };
    void Ready(short events);
    void Read();
    void Write();
    void Deafen(int64_t ms);
    void Watch();
    bool WriteChunk(Outgoing *out); // false when the socket takes no more
    std::vector<Outgoing>::iterator Next();
    void End(const std::string &by, const std::string &reason);

    Loop *loop_;
    int fd_;
    Callbacks callbacks_;
    std::string self_;
    std::vector<Outgoing> outgoing_;
    uint64_t timer_ = 0;
    uint64_t deaf_ = 0; // the timer that ends it
    bool full_ = false; // the socket takes no more
};

} // namespace sim
