// HttpServer.h - files over HTTP, for the agent's rate test and its downloads: real ones and made-up ones of any
// length.
//
// State: one HttpServer object. Threads: the loop's.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "simulator/console/Journal.h"
#include "simulator/console/Words.h"
#include "simulator/http/HttpConnection.h"
#include "simulator/http/HttpContent.h"
#include "simulator/net/Loop.h"

namespace sim
{

struct HttpSettings {
    Address address;
    int64_t size = 100 << 20; // of made-up files
    std::string root;         // folder of real files; empty: none
    std::vector<std::string> faults;
    int64_t idleMs = 60000; // in which a connection has to send a request
};

class HttpServer
{
  public:
    // `nextId` numbers connections.
    HttpServer(const HttpSettings &settings, Loop *loop, Journal *journal, std::function<unsigned()> nextId);
    ~HttpServer();
    HttpServer(const HttpServer &) = delete;
    HttpServer &operator=(const HttpServer &) = delete;

    // Opens folder and port. False with the reason.
    bool Start(std::string *error);

    // Serves an open file under `path` (see HttpContent); its downloads have an "http-progress" every second. False
    // with the reason.
    bool Offer(const std::string &path, int file, std::string *error) { return content_.Offer(path, file, error); }

    const Address &At() const { return settings_.address; } // the real one after Start()
    Faults *FaultSet() { return &faults_; }
    Fields Status() const;

  private:
    struct Session {
        unsigned id;
        Address agent;
        std::string path; // of the latest request
        int status;       // that it was answered with
        int64_t size;     // of that answer's body
        int64_t told;     // bytes of it in the last progress event
        std::unique_ptr<HttpConnection> connection;
    };
    void WatchListener();
    void Accept();
    HttpReply Answer(Session *session, const HttpRequest &request);
    void Stalled(const Session &session, int64_t sent);
    void Done(const Session &session, int64_t sent, int64_t ms, const std::string &end);
    void Progress();
    void Sweep();

    HttpSettings settings_;
    Loop *loop_;
    Journal *journal_;
    std::function<unsigned()> nextId_;
    HttpContent content_;
    Faults faults_;
    int listener_ = -1;
    uint64_t sweep_ = 0;    // the timer that removes closed connections
    uint64_t progress_ = 0; // the timer of the next progress
    std::map<unsigned, std::unique_ptr<Session>> sessions_;
};

} // namespace sim
