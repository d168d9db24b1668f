// GatewayRouter.h - a router made of nothing but frames: as many as wanted in one process, and each can misbehave.
//
// State: one connection. Threads: one, and one more between Serve() and the end.
#pragma once

#include <array>
#include <atomic>
#include <optional>
#include <string>
#include <thread>

#include "protocol/Address.h"
#include "protocol/FrameCodec.h"

struct RouterFacts {
    std::string pin = "123456789012", key = "0123456789abcdef", serial = "SIM0000000001";
    protocol::Bytes mac = {2, 0x1a, 0x2b, 0, 0, 1};
    protocol::Address from = {}; // its own address, with any port
};

// The facts of router number `i`, which differ from those of every other one.
RouterFacts FactsOf(unsigned i);

class GatewayRouter
{
  public:
    explicit GatewayRouter(const RouterFacts &facts = {}) : facts_(facts) {}
    ~GatewayRouter();
    // What its next login tells.
    void SetVersion(const std::array<uint8_t, 4> &version) { version_ = version; }

    // Each of these is false when the gateway refuses, or does not answer within some seconds.
    bool Register(const std::string &address = "127.0.0.1:6039");
    bool Login(); // where the registration has told, or at Where()
    bool Login(const std::string &address);
    bool Heartbeat();

    // Answers functions with status 0 and no data, and plugin commands with 0, on a thread of its own. Counts
    // acknowledgements of reports.
    void Serve();
    unsigned Acknowledged() const { return acknowledged_; }
    unsigned Asked() const { return asked_; }

    // Answers one frame as Serve() does.
    void Answer(const protocol::ParsedFrame &frame);
    // Answers a function with status 0 and this data.
    void Reply(const protocol::ParsedFrame &question, const protocol::Bytes &data);

    void SendReport(const std::string &text, uint8_t dataType = 13); // MsgType 17
    void SendBytes(const protocol::Bytes &bytes);
    // The next frame; nothing when none comes within `seconds`, or the gateway has closed.
    std::optional<protocol::ParsedFrame> Read(double seconds = 5);
    // Whether the gateway closes the connection within `seconds`; what comes before is lost.
    bool IsClosed(double seconds = 10);
    void Close();

    const protocol::Address &LoginServer() const { return login_; }

  private:
    bool Connect(const protocol::Address &address);
    void Send(uint8_t msgType, uint8_t flag, const protocol::Bytes &head, const protocol::Bytes &plain);

    const RouterFacts facts_;
    std::array<uint8_t, 4> version_ = {2, 0, 0, 7};
    int fd_ = -1;
    protocol::Address login_;
    protocol::Bytes token_;
    protocol::FrameCutter cutter_;
    std::atomic<unsigned> acknowledged_{0}, asked_{0};
    std::thread server_;
};
