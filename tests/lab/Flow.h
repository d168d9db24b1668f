// Flow.h - real traffic between two networks of the lab, by the program lab_traffic, and what has arrived when.
//
// State: the traffic lasts as long as the object.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/e2e/Process.h"
#include "tests/lab/Lab.h"

// What the program said at one moment: bytes of payload since the start.
struct Sample {
    double time; // of the monotonic clock
    double up, down, upSent, downSent;
    double upMissing, downMissing; // datagrams
    double upGap, downGap;         // longest time without an arrival, seconds
};

struct FlowOptions {
    std::string protocol = "tcp"; // or udp
    std::string from = "client1", to = "internet";
    std::string address = kInternet4; // where `from` connects
    int port = 5000;
    std::string up = "0", down = "0"; // bytes per second, or max
    int listenPort = 0;               // where `to` listens; 0: port
    double seconds = 0;               // after which nothing more is sent; 0: never
};

enum Way { UP, DOWN }; // from `from` to `to`, and back

class Flow
{
  public:
    // Starts it. Throws Failure when the connection is not made.
    explicit Flow(const FlowOptions &options);

    // The next sample that is taken after now.
    Sample Fresh();
    // The bytes that arrive within the next `seconds`, and their rate in bytes per second. Two samples bound the time, so
    // it is a little longer.
    double Bytes(Way way, double seconds);
    double Rate(Way way, double seconds);
    // Waits until something arrives. The seconds that took; less than 0 if nothing does within `seconds`.
    double AwaitArrival(Way way, double seconds);
    // Waits until nothing has arrived for `quiet` seconds. Returns when the last bytes came, by the monotonic clock and to
    // a tenth of a second; less than 0 if there is no such silence within `seconds`.
    double AwaitSilence(Way way, double quiet, double seconds);
    // All samples so far.
    std::vector<Sample> All();

    static double Of(const Sample &sample, Way way) { return way == UP ? sample.up : sample.down; }

  private:
    std::unique_ptr<Lines> lines_; // outlives the program that writes them
    std::unique_ptr<Lines> errors_;
    std::unique_ptr<Process> process_;
};

// Counts IP packets, with their headers, that a host of the lab receives. The kernel counts a packet that is still to be
// cut up as one.
class Meter
{
  public:
    // `match` is nft's: "tcp dport 80".
    Meter(const Lab &lab, const std::string &net, const std::string &match);
    double Bytes() const; // since the start

  private:
    const Lab &lab_;
    std::string net_, name_;
};

// Whether such a connection can be made now.
bool Connects(const FlowOptions &options);
