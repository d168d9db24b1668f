// LocalSession.h - what tests of the local server start with: a session, and a local peer that is connected.
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/e2e/EndToEnd.h"
#include "tests/e2e/Manager.h"
#include "tests/support/UnixSocket.h"

// A peer that is no more than its connection.
class BarePeer
{
  public:
    BarePeer() : fd_(ConnectUnix(kSocket))
    {
        if (fd_ < 0) throw Failure("the agent's socket takes no connection");
    }
    ~BarePeer() { close(fd_); }
    BarePeer(const BarePeer &) = delete;
    BarePeer &operator=(const BarePeer &) = delete;

    // Whether the agent closes within `seconds`.
    bool IsShutOut(double seconds)
    {
        struct pollfd ready = {fd_, POLLIN, 0};
        char byte;
        return poll(&ready, 1, static_cast<int>(seconds * 1000)) > 0 && recv(fd_, &byte, 1, 0) == 0;
    }

  private:
    int fd_;
};

struct LocalSession {
    Manager manager;
    RunningSession session;
    Platform &platform = session.platform;
    Agent &agent = session.agent;

    explicit LocalSession(const AgentOptions &agentOptions = {}, const ManagerOptions &managerOptions = {})
        : manager(managerOptions), session(agentOptions)
    {
        // The agent has sent its first frames. The one before, plugin-state, has found nobody if the manager was late.
        manager.Wait("connected");
        manager.Wait("request", {{"name", "auto-report-config"}});
        manager.Wait("answered", {{"name", "auto-report-config"}});
        Settle();
    }

    // Waits until the agent has handled all frames of the local peer. A valid frame would end the agent's wait for any
    // answer; so a frame that is refused shows it.
    void Settle()
    {
        manager.Command("frame report-84 hex=00 checksum=7");
        settled = agent.WaitLog("Receive  checkSum error.", settled).number + 1;
    }

    // Has the local peer send something and waits until the agent has handled it.
    void Tell(const std::string &command)
    {
        manager.Command(command);
        Settle();
    }

    size_t settled = 0; // lines of the log up to the last Settle()

    // Asks the router something through the agent.
    Event Ask(const std::string &command, double seconds = kPatience)
    {
        platform.Command(command);
        return platform.Wait("reply", {}, seconds);
    }
};
