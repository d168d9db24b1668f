// GatewayRouter.h - a router made of nothing but frames: as many as wanted in one process, and each can misbehave.
//
// State: one connection. Threads: one, and one more between Serve() and the end.
#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <thread>

#include "tests/fleet/RouterFrames.h"

class GatewayRouter
{
  public:
    explicit GatewayRouter(const RouterFacts &facts = {}) : facts_(facts) {}
    ~GatewayRouter();
    // What its next login tells.
    void SetVersion(const RouterVersion &version) { version_ = version; }

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

    const protocol::Address &LoginServer() const { return registration_.login; }

  private:
    bool Connect(const protocol::Address &address);

    const RouterFacts facts_;
    RouterVersion version_ = kRouterVersion;
    int fd_ = -1;
    Registration registration_;
    protocol::FrameCutter cutter_;
    std::atomic<unsigned> acknowledged_{0}, asked_{0};
    std::thread server_;
};
