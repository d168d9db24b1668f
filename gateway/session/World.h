// World.h - what a session asks of the gateway around it. Shard is the real one; tests have their own.
// State: none. Threads: the session's.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "gateway/directory/Device.h"
#include "gateway/translate/Report.h"
#include "gateway/web/Metrics.h"
#include "protocol/Address.h"
#include "protocol/Bytes.h"

namespace gateway
{

class Session;

struct SessionSettings {
    std::string secret; // of tokens
    std::string pluginId = "plugin-0001";
    int64_t tokenLife = 120;        // seconds between registration and login
    int interval = 60;              // seconds between heartbeats
    int halfOpenSeconds = 10;       // for a registration or login to come, and for the router to leave after one
    int questionSeconds = 20;       // for the reply to a function
    int commandSeconds = 120;       // for the answer to a plugin command, which may fetch a file
    size_t questionsWaiting = 16;   // of one router
    size_t reportsOutstanding = 32; // of one router
};

class World
{
  public:
    virtual ~World() = default;

    virtual const SessionSettings &Settings() const = 0;
    virtual Counters &Count() = 0;
    virtual int64_t WallSeconds() const = 0; // since the epoch

    virtual std::optional<Device> FindPin(const std::string &pin) = 0;
    virtual bool MayRegister(const protocol::Address &peer) = 0;
    // The login server of a router.
    virtual protocol::Address LoginServer(const std::string &serial) = 0;
    // A router has registered, which may be online already.
    virtual void Registered(const std::string &serial, const protocol::Address &peer) = 0;

    // Of logged-in sessions. After Offline the session asks nothing any more.
    virtual void Online(const Session &session) = 0;
    virtual void Offline(const Session &session, const std::string &cause) = 0;
    // Stores a report; Session::ReportStored is told when it is done.
    virtual void Store(const Session &session, uint64_t number, uint8_t msgType, Report report) = 0;
};

// Where a session's bytes go.
class Outlet
{
  public:
    virtual ~Outlet() = default;
    virtual void Send(const protocol::Bytes &bytes) = 0;
    // Ends the connection; Session::Ended follows at once.
    virtual void End(const std::string &cause) = 0;
};

} // namespace gateway
