// Gateway.h - plug-gateway, run as a program, and the message system between it and a test.
#pragma once

#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "gateway/bus/Bus.h"
#include "gateway/translate/Json.h"
#include "tests/e2e/Agent.h"
#include "tests/e2e/GatewayRouter.h"
#include "tests/support/NatsServer.h"
#include "tests/unit/gateway/bus/Context.h"

// `plug-gateway` with these arguments.
ProcessOptions GatewayTool(const NatsServer &nats, const std::vector<std::string> &arguments);

// Runs `plug-gateway` with these arguments to its end. Returns its output; throws Failure unless its exit status is
// `status`.
std::string RunGatewayTool(const NatsServer &nats, const std::vector<std::string> &arguments, int status = 0);

struct GatewayOptions {
    unsigned number = 0; // differs for gateways at the same time: their ports are 6039 + 10 * number and one more
    std::vector<std::string> arguments = {};
};

class GatewayProgram
{
  public:
    // Starts it and waits until it serves.
    explicit GatewayProgram(const NatsServer &nats, const GatewayOptions &options = {});
    std::string RegisterAt() const { return "127.0.0.1:" + std::to_string(port_); }
    std::string LoginAt() const { return "127.0.0.1:" + std::to_string(port_ + 1); }
    const std::string &Id() const { return id_; }
    Process &Program() { return *process_; }
    // The first line of its log that has this text.
    std::string WaitLog(const std::string &text, double seconds = kPatience);
    // All that it has said, once it has ended.
    std::string AllLog();

  private:
    unsigned port_;
    std::string id_;
    std::unique_ptr<Lines> lines_, errors_; // outlive the program that writes them
    std::unique_ptr<Process> process_;
};

// A message system with a program that uses it: asks, and hears all that gateways say.
class GatewayTest : public testing::Test
{
  protected:
    GatewayTest();
    ~GatewayTest() override;

    void AddDevice(const RouterFacts &facts, const std::vector<std::string> &more = {});
    void AddDevices(unsigned count); // FactsOf(0) and so on

    // The answer to plug.<serial>.<what>, or {} when none comes.
    gateway::Json Ask(const std::string &serial, const std::string &what, const std::string &parameters = "");
    // The first message whose subject is this, and that has `text`. Throws Failure when none comes.
    gateway::Json WaitHeard(const std::string &subject, const std::string &text = "", double seconds = kPatience);
    size_t CountHeard(const std::string &subject, const std::string &text = "");
    // How many reports the stream has.
    int Stored();
    // What a bucket has at a key; "" for nothing.
    std::string Entry(const std::string &bucket, const std::string &key);

    NatsServer nats_;
    std::unique_ptr<gateway::Bus> bus_;
    std::unique_ptr<gateway::Subscription> all_; // without it, it hears no more

  private:
    std::mutex lock_; // guards what follows
    std::vector<gateway::Message> heard_;
    Context context_;
};
