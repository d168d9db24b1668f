#include "gateway/web/Api.h"

#include <algorithm>
#include <cctype>
#include <openssl/crypto.h>

#include "gateway/translate/Question.h"
#include "gateway/translate/Tables.h"
#include "gateway/web/PageFiles.h"
#include "protocol/Numbers.h"

namespace gateway
{

static HttpResponse JsonResponse(int status, const Json &json)
{
    return {status, "application/json", JsonText(json)};
}

static HttpResponse FaultResponse(int status, const std::string &code, const std::string &sentence)
{
    return JsonResponse(status, FaultJson({code, sentence}));
}

static HttpResponse NoSuchThing()
{
    return FaultResponse(404, "not_found", "there is nothing here");
}

// ---- Routers

static Json RouterJson(const OnlineRouter &router)
{
    return {{"serial", TextJson(router.serial)},     {"name", TextJson(router.name)},
            {"model", TextJson(router.model)},       {"version", TextJson(router.version)},
            {"mac", TextJson(router.mac)},           {"address", TextJson(router.address)},
            {"gateway", TextJson(router.gateway)},   {"since", router.since},
            {"report", TextJson(router.lastReport)}, {"report_time", router.lastReportTime}};
}

// How many routers have each value, the most first.
static Json CountsOf(const std::vector<OnlineRouter> &routers, std::string OnlineRouter::*member)
{
    std::map<std::string, size_t> counts;
    for (const OnlineRouter &router : routers) counts[router.*member]++;
    std::vector<std::pair<std::string, size_t>> sorted(counts.begin(), counts.end());
    std::stable_sort(sorted.begin(), sorted.end(), [](const auto &a, const auto &b) { return a.second > b.second; });
    Json list = Json::array();
    for (const auto &[value, count] : sorted) list.push_back({{"value", TextJson(value)}, {"count", count}});
    return list;
}

static Json SummaryJson(View &view, const WebOptions &options)
{
    const Health health = view.State();
    const std::vector<OnlineRouter> routers = view.Online();
    return {{"good", health.good},
            {"state", TextJson(health.sentence)},
            {"allow_ask", options.allowAsk},
            {"online", routers.size()},
            {"versions", CountsOf(routers, &OnlineRouter::version)},
            {"models", CountsOf(routers, &OnlineRouter::model)},
            {"reports", CountsOf(routers, &OnlineRouter::lastReport)},
            {"gateways", CountsOf(routers, &OnlineRouter::gateway)}};
}

static std::string Lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return tolower(c); });
    return text;
}

static bool Matches(const OnlineRouter &router, const std::map<std::string, std::string> &query)
{
    const std::pair<const char *, const std::string &> exact[] = {{"version", router.version},
                                                                  {"model", router.model},
                                                                  {"report", router.lastReport},
                                                                  {"gateway", router.gateway}};
    for (const auto &[name, value] : exact) {
        const auto wanted = query.find(name);
        if (wanted != query.end() && wanted->second != value) return false;
    }
    const auto search = query.find("search");
    if (search == query.end()) return true;
    const std::string text = Lower(search->second);
    for (const std::string &value : {router.serial, router.name, router.mac, router.address})
        if (Lower(value).find(text) != std::string::npos) return true;
    return false;
}

// A number of the query; `initial` unless it is given.
static size_t QueryNumber(const HttpRequest &request, const char *name, int64_t initial, int64_t high)
{
    const auto given = request.query.find(name);
    if (given != request.query.end() && !protocol::ParseNumber(given->second, 0, high, &initial))
        throw Fault("bad_parameter", "offset is a number, limit one up to " + std::to_string(kMaxRowsShown));
    return static_cast<size_t>(initial);
}

static HttpResponse Routers(const HttpRequest &request, View &view)
{
    const size_t offset = QueryNumber(request, "offset", 0, UINT32_MAX);
    const size_t limit = QueryNumber(request, "limit", 100, kMaxRowsShown);
    std::vector<OnlineRouter> found;
    for (OnlineRouter &router : view.Online())
        if (Matches(router, request.query)) found.push_back(std::move(router));
    std::sort(found.begin(), found.end(), [](const auto &a, const auto &b) { return a.serial < b.serial; });
    Json rows = Json::array();
    for (size_t i = offset; i < found.size() && i - offset < limit; i++) rows.push_back(RouterJson(found[i]));
    return JsonResponse(200, {{"total", found.size()}, {"offset", offset}, {"routers", rows}});
}

// They become parts of subjects.
static bool IsName(const std::string &text)
{
    return !text.empty() && text.size() <= 64 && std::all_of(text.begin(), text.end(), [](unsigned char c) {
        return (c < 0x80 && isalnum(c)) || c == '-' || c == '_';
    });
}

static HttpResponse Router(const std::string &serial, View &view)
{
    std::optional<OnlineRouter> router = IsName(serial) ? view.Router(serial) : std::nullopt;
    if (!router) return FaultResponse(404, "not_found", "the directory has no such router");
    const std::vector<Json> reports = view.LastReports(serial);
    if (!reports.empty()) {
        router->lastReport = TextOf(reports[0], "report");
        router->lastReportTime = NumberOf(reports[0], "time");
    }
    Json json = RouterJson(*router);
    json["online"] = router->since > 0;
    json["reports"] = reports;
    return JsonResponse(200, json);
}

// ---- Questions

static HttpResponse Ask(const HttpRequest &request, const WebOptions &options, View &view)
{
    if (!options.allowAsk) return FaultResponse(403, "forbidden", "questions are not allowed here: --allow-ask");
    const Json json = ReadParameters(request.body());
    const std::string serial = TextOf(json, "serial"), function = TextOf(json, "function");
    if (!IsName(serial)) throw Fault("bad_parameter", "serial: the serial number of a router is needed");
    if (!IsName(function)) throw Fault("bad_parameter", "function: the name of a function is needed");
    return JsonResponse(200, view.Ask(serial, function, json.value("parameters", Json::object())));
}

// ---- Requests

static bool IsAllowed(const HttpRequest &request, const WebOptions &options)
{
    const std::string wanted = "Bearer " + options.token, &given = request.authorization;
    return given.size() == wanted.size() && CRYPTO_memcmp(given.data(), wanted.data(), wanted.size()) == 0;
}

static HttpResponse Api(const HttpRequest &request, const WebOptions &options, View &view)
try {
    if (options.token.empty())
        return FaultResponse(403, "forbidden", "this gateway has no token for its data: --web-token-file");
    if (!IsAllowed(request, options)) return FaultResponse(401, "forbidden", "the token of this gateway is needed");
    const bool ask = request.path == "/api/ask";
    if (request.method != (ask ? "POST" : "GET")) return FaultResponse(405, "bad_method", "another method is needed");
    if (ask) return Ask(request, options, view);
    if (request.path == "/api/summary") return JsonResponse(200, SummaryJson(view, options));
    if (request.path == "/api/functions") return JsonResponse(200, FunctionsJson());
    if (request.path == "/api/routers") return Routers(request, view);
    const std::string one = "/api/routers/";
    if (request.path.compare(0, one.size(), one) == 0) return Router(request.path.substr(one.size()), view);
    return NoSuchThing();
} catch (const Fault &fault) { // of what was asked
    return JsonResponse(400, FaultJson(fault));
}

HttpResponse RespondTo(const HttpRequest &request, const WebOptions &options, View &view, const Counters &counters)
{
    if (request.path.compare(0, 5, "/api/") == 0) return Api(request, options, view);
    if (request.method != "GET") return FaultResponse(405, "bad_method", "another method is needed");
    if (request.path == "/healthz") {
        const Health health = view.State();
        return {health.good ? 200 : 503, "text/plain; charset=utf-8", health.sentence + "\n"};
    }
    if (request.path == "/metrics") return {200, "text/plain; version=0.0.4; charset=utf-8", MetricsText(counters)};
    for (size_t i = 0; i < kPageFileCount; i++)
        if (request.path == kPageFiles[i].path)
            return {200, std::string(kPageFiles[i].type), std::string(kPageFiles[i].content)};
    return NoSuchThing();
}

} // namespace gateway
