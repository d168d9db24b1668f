// FakeView.h - a small fleet for the web server, and requests to it over real HTTP on the loopback address.
#pragma once

#include <gtest/gtest.h>
#include <mutex>

#include "gateway/web/Web.h"

struct FakeView : gateway::View {
    gateway::Health State() override;
    std::vector<gateway::OnlineRouter> Online() override;
    std::optional<gateway::OnlineRouter> Router(const std::string &serial) override;
    std::vector<gateway::Json> LastReports(const std::string &serial) override;
    gateway::Json Ask(const std::string &serial, const std::string &function, const gateway::Json &parameters) override;

    std::mutex lock; // of everything below
    gateway::Health health = {true, "2 sessions, NATS connected"};
    std::vector<gateway::OnlineRouter> online;
    std::vector<gateway::Json> reports;
    std::string asked; // the last question
    bool throws = false;
};

// A router that is online, its other texts made of its serial.
gateway::OnlineRouter OnlineNow(const std::string &serial, const std::string &version, const std::string &model);

struct Reply {
    int status = 0;
    std::string head, body;
};

// One request on a connection of its own, as the bytes stand. Status 0: the server has not answered.
Reply Send(uint16_t port, const std::string &bytes);

// `more`: header lines, each with its end.
Reply Get(uint16_t port, const std::string &path, const std::string &more = "");
Reply Post(uint16_t port, const std::string &path, const std::string &body, const std::string &more = "");
