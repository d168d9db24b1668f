// Api.h - from one HTTP request to its response, without sockets.
// State: none. Threads: any, several at once; the view may block.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "gateway/web/Metrics.h"
#include "gateway/web/View.h"
#include "gateway/web/Web.h"

namespace gateway
{

constexpr size_t kMaxRowsShown = 500; // of the list of routers in one response

struct HttpRequest {
    std::string method;
    std::string path; // decoded, without the query
    std::map<std::string, std::string> query;
    std::string authorization;         // of the header of this name
    std::function<std::string()> body; // at most kMaxJsonBytes + 1 of it
};

struct HttpResponse {
    int status = 200;
    std::string type;
    std::string body;
};

HttpResponse RespondTo(const HttpRequest &request, const WebOptions &options, View &view, const Counters &counters);

} // namespace gateway
