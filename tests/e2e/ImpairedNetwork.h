// ImpairedNetwork.h - an agent whose connections to its platform go through a bad network, and what it may cost.
#pragma once

#include <atomic>
#include <string>
#include <thread>

#include "tests/e2e/EndToEnd.h"
#include "tests/support/Relay.h"

// The agent's own pauses, in seconds. docs/impaired-networks.md says which of them a trouble may cost.
constexpr double kHeartbeats = 20;                    // between two heartbeats
constexpr double kSilence = 3 * kHeartbeats;          // of the platform, until the session is given up
constexpr double kCheck = 10;                         // between two looks for silence
constexpr double kEnd = 3;                            // from the end of a connection until it is given up
constexpr double kAnswer = 10;                        // for an answer to a registration or a login
constexpr double kStop = 1;                           // to stop the threads of a connection
constexpr double kClosed = kEnd + kStop;              // a connection that has ended is left
constexpr double kUnanswered = kAnswer + kStop;       // a connection on which no answer comes is left
constexpr double kSilent = kSilence + kCheck + kStop; // a session without a sign of life is left
constexpr double kAgain = kStop; // registration and login, with the end of the registration's connection in between

// What the machine may add to a recovery, in real seconds, if it is idle; a busy one more.
constexpr double kMachine = 1;

// Where the agent finds the two servers. The first one's address has it try no second one.
constexpr char kRegistration[] = "192.168.77.1:6039";
constexpr char kLogin[] = "127.0.0.12:6040";
// Where they are.
constexpr char kRealRegistration[] = "127.0.0.1:6039";
constexpr char kRealLogin[] = "127.0.0.1:6040";

// Watches how late the machine lets a program run that has slept for some milliseconds.
class Machine
{
  public:
    Machine();
    ~Machine();
    Machine(const Machine &) = delete;
    Machine &operator=(const Machine &) = delete;

    // The most that `documented` seconds of an agent's time may have become since this object was made. The agent sleeps
    // more often than we do: up to 300 times for 10 ms of its own.
    double Allows(double documented, double clock) const { return documented + (kMachine + 3 * late_) * clock; }

  private:
    std::atomic<double> late_{0}; // real seconds, all together
    std::atomic<bool> stop_{false};
    std::thread watch_; // last: starts when the rest is there
};

class ImpairedTest : public EndToEnd
{
  protected:
    void SetUp() override;
};

// A platform that is found at the addresses above only.
PlatformOptions BehindRelays();
// An agent that seeks it there.
AgentOptions ThroughRelays(double clock);

// The two ways to a platform.
struct Network {
    Relay registration, login;
    explicit Network(double clock)
        : registration(kRegistration, kRealRegistration, clock), login(kLogin, kRealLogin, clock)
    {
    }
};

// How often the agent has called a procedure of the router library.
size_t CallsOf(const std::string &procedure);

// What the agent holds.
struct Holdings {
    size_t threads, descriptors;
    explicit Holdings(pid_t agent) : threads(ThreadsOf(agent)), descriptors(DescriptorsOf(agent)) {}
    bool operator==(const Holdings &other) const
    {
        return threads == other.threads && descriptors == other.descriptors;
    }
};

// Now, in seconds since the epoch, as the platform's events have it.
double EpochNow();

// Prints a scenario's row, named after the test, of which scripts/impaired-networks.sh makes a table; and compares the
// time with what the machine allows.
void ExpectTime(const Machine &machine, double clock, double documented, double measured);

// Platform, network and agent.
class ImpairedSession
{
  public:
    // `strike` is called when everything stands but the agent.
    explicit ImpairedSession(
        double agentClock, const std::function<void(Network *)> &strike = [](Network *) {},
        const PlatformOptions &platformOptions = BehindRelays(), AgentOptions agentOptions = {});

    // Waits for the session, and remembers what the agent holds.
    void Settle();
    // For a session that is disturbed from its beginning: what an agent holds that is not.
    void SettleAs(const Holdings &holdings) { settled_ = std::make_unique<Holdings>(holdings); }

    // Waits for the next login behind the mark and prints how long after `begin` (in seconds since the epoch) it came,
    // in the agent's time. It has to come within `documented` seconds, commands have to be answered then, and the agent
    // must hold what it held when the session was settled.
    void ExpectRecovery(double begin, double documented);

    // Has commands answered: one that asks, one that sets.
    void ExpectAnswers();

    // The agent holds what it held when the session was settled.
    void ExpectHoldings();

    void ExpectTime(double documented, double measured) { ::ExpectTime(machine, clock, documented, measured); }

    const double clock;
    const Machine machine;
    Platform platform;
    Network network;
    Agent agent;

  private:
    std::unique_ptr<Holdings> settled_;
};

// What an agent holds in a session on a good network. The agent, its platform and the network are gone afterwards.
Holdings OnAGoodNetwork();
