// Platform.h - the test platform: its servers, its connections, and what commands do with them.
// State: one Platform object. Threads: the loop's.
#pragma once

#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "simulator/console/Journal.h"
#include "simulator/http/HttpServer.h"
#include "simulator/net/Connection.h"
#include "simulator/net/Loop.h"
#include "simulator/platform/Conversation.h"
#include "simulator/platform/PlatformOptions.h"

namespace sim
{

class Platform
{
  public:
    Platform(const PlatformOptions &options, Loop *loop, Journal *journal);
    ~Platform();
    Platform(const Platform &) = delete;
    Platform &operator=(const Platform &) = delete;

    // Opens the servers. False with the reason when one cannot listen.
    bool Start(std::string *error);

    // Sends the frame of a frame command's words `count` times to the target: the connection that logged in last, or
    // the one chosen. `together`: in one write. False with the reason.
    bool Send(const Words &words, int64_t count, bool together, std::string *error);

    // The same `count` times, `periodMs` apart, the first one now.
    bool SendEvery(int64_t periodMs, int64_t count, const Words &words, std::string *error);

    // Closes the target in one of three ways.
    enum class Cut { Drop, Reset, HalfClose };
    bool Disconnect(Cut cut, std::string *error);

    // Makes connection `id` the target of commands; 0: the one that logged in last, as at the start.
    bool Choose(unsigned id, std::string *error);

    // The target of commands, and what is known about it.
    struct TargetFacts {
        unsigned id;
        Address local; // this end of its connection
        std::string version, token;
        std::string pluginId; // that its registration was told
    };
    bool Target(TargetFacts *facts, std::string *error);

    // An address under which the target reaches the HTTP server, which is started on a free port when there is none.
    bool FilesFor(const TargetFacts &target, Address *address, std::string *error);

    Fields Status() const;
    Faults *FaultSet() { return &faults_; }
    HttpServer *Http() { return http_.get(); } // nullptr without one
    bool Busy() const;                         // something is still to be sent

  private:
    struct Server {
        Step step; // which of the two it is
        Address address;
        int fd;
    };
    struct Session {
        unsigned id;
        const Server *server;
        Address agent;
        Address local;
        FrameCutter cutter;
        Peer peer;
        std::unique_ptr<Connection> connection;
    };
    void Accept(const Server &server);
    void Received(Session *session, const uint8_t *data, size_t size);
    void FrameArrived(Session *session, const Bytes &raw);
    void Closed(Session *session, const std::string &by, const std::string &reason);
    void SendFrames(Session *session, const std::vector<OutFrame> &frames, bool together);
    void EmitSent(const Session &session, const OutFrame &frame, const Delivery &delivery);
    void BadFrame(const Session &session, const std::string &reason, const Bytes &bytes);
    bool StartHttp(std::string *error);
    Session *FindTarget(bool loggedInOnly, std::string *error);
    Address AnnouncedLogin(const Session &session) const;
    Fields SessionFields(const Session &session) const;

    PlatformOptions options_;
    Loop *loop_;
    Journal *journal_;
    Faults faults_;
    std::mt19937_64 random_;
    std::vector<std::unique_ptr<Server>> servers_;
    std::map<unsigned, std::unique_ptr<Session>> sessions_;
    Registrations registrations_;
    unsigned nextId_ = 1;
    unsigned chosen_ = 0;
    unsigned periodic_ = 0; // `every` commands under way
    std::unique_ptr<HttpServer> http_;
};

} // namespace sim
