// Web.h - the HTTP server of a gateway: metrics, health, the page and its data.
//
//   GET  /healthz              200 or 503 and a sentence                     open
//   GET  /metrics              figures for Prometheus, none of one router     open
//   GET  / and its files       the page, which holds no data                  open
//   GET  /api/...              data of routers                                token
//   POST /api/ask              a question                                     token and allowAsk
//
// State: the server and its threads, in Web. Threads: constructor, destructor and Port() the owner's; the view is
// called on the server's own threads.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "gateway/web/Metrics.h"
#include "gateway/web/View.h"

namespace gateway
{

struct WebOptions {
    std::string address = "127.0.0.1"; // IPv4
    uint16_t port = 9470;              // 0: any free one
    std::string token;                 // of /api; empty: /api is refused
    bool allowAsk = false;
    unsigned threads = 4; // requests at the same time; a question holds one until its reply
};

class Web
{
  public:
    // Listens and serves. Throws std::runtime_error, with the reason, if that is not possible. `view` and `counters`
    // must live longer.
    Web(const WebOptions &options, View &view, const Counters &counters);
    // Waits for the requests that are being answered.
    ~Web();
    Web(const Web &) = delete;
    Web &operator=(const Web &) = delete;

    uint16_t Port() const;

  private:
    struct Server;
    std::unique_ptr<Server> server_;
};

} // namespace gateway
