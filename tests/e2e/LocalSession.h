// LocalSession.h - what tests of the local server begin with: a session, and a management process that is connected.
#pragma once

#include "tests/e2e/EndToEnd.h"
#include "tests/e2e/Manager.h"

struct LocalSession {
    Manager manager;
    RunningSession session;
    Platform &platform = session.platform;
    Agent &agent = session.agent;

    explicit LocalSession(const AgentOptions &agentOptions = {}, const ManagerOptions &managerOptions = {})
        : manager(managerOptions), session(agentOptions)
    {
        // The agent has said by itself what it says after its start.
        manager.Wait("connected");
        manager.Wait("request", {{"name", "plugin-state"}});
        manager.Wait("request", {{"name", "auto-report-config"}});
        manager.Wait("answered", {{"name", "auto-report-config"}});
        Settle();
    }

    // Waits until the agent is through with all that the management process has said. A frame that has been handled
    // ends the wait for whatever answer; so what shows that it has been is a frame that is refused.
    void Settle()
    {
        manager.Command("frame report-84 hex=00 checksum=7");
        settled = agent.WaitLog("Receive  checkSum error.", settled).number + 1;
    }

    // Has the management process say something that the agent has handled at the return.
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
