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
        // Until that answer has been handled it would be taken for the one to the next question.
        manager.Tell("plugin-state old");
    }

    // Asks the router something through the agent.
    Event Ask(const std::string &command, double seconds = kPatience)
    {
        platform.Command(command);
        return platform.Wait("reply", {}, seconds);
    }
};
