// Relay.h - a bad network between two programs on the loopback device: what a client sends to the relay's address goes on
// to the server's, and back, but late, slowly, in part, twice or not at all.
//
// Both ends of a connection are the relay's own sockets, so nothing of the system is set up and nothing is left behind.
// Seconds, and bytes a second, are those of the client's clock, which may run faster than ours.
//
// State:    a listening socket, the connections and a thread of its own that moves their bytes.
// Threads:  every procedure is safe from any.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

enum class Way { TO_SERVER, TO_CLIENT };

enum class Fault {
    CLOSE,  // both programs see an orderly end of the connection
    RESET,  // both programs get a TCP reset
    SILENCE // this way is dead, and nobody is told: the client's bytes are not even acknowledged, the server's get lost
};

struct Trouble {
    Fault fault;
    Way way = Way::TO_CLIENT; // whose bytes are counted; with SILENCE also the way that dies
    size_t after = 0;         // so many more bytes still pass
};

class Relay
{
  public:
    // Listens at `here`, connects to `there`; both are "127.0.0.1:6039". `clock`: how many times faster than ours the
    // client's clock runs. Throws std::runtime_error when the address is not to be had.
    Relay(const std::string &here, const std::string &there, double clock);
    ~Relay();
    Relay(const Relay &) = delete;
    Relay &operator=(const Relay &) = delete;

    // ---- The network, from now on

    void Delay(double seconds);           // of each way
    void Throttle(double bytesPerSecond); // each way of each connection; 0: as fast as it goes
    void Twice(bool twice); // new connections are made to two at once at the server: both get all that the
                            // client sends, and the client gets what both send
    void LeadTo(const std::string &there); // new connections
    void Refuse(bool refuse);              // attempts to connect

    // ---- What happens to connections

    void Strike(const Trouble &trouble);     // those that are open
    void StrikeNext(const Trouble &trouble); // the one that is made next
    void Vanish();                           // all of them, and attempts to connect: silence in both ways
    void Return();                           // ends every silence; what has been held back goes on
    void Repeat(size_t bytes); // the client gets the last `bytes` that it has got on the newest connection once more

    // ---- What has happened

    // When the last trouble struck, in seconds since the epoch; 0 while it has not.
    double StruckAt() const;
    // How many connections clients have made so far.
    size_t Connections() const;
    // How many bytes have gone this way so far, over all connections.
    size_t Passed(Way way) const;

  private:
    class Worker;
    std::unique_ptr<Worker> worker_;
};
