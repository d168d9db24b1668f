#include <future>
#include <thread>

#include "tests/unit/gateway/web/FakeView.h"

using namespace gateway;

namespace
{
const char kBearer[] = "Authorization: Bearer secret\r\n";

struct WebServer : testing::Test {
    WebServer()
    {
        options.port = 0;
        options.token = "secret";
        view.online = {OnlineNow("r2", "2.0.0.7", "AX1"), OnlineNow("r1", "2.0.0.7", "AX2"),
                       OnlineNow("r3", "2.0.0.8", "AX1")};
    }
    uint16_t Port()
    {
        if (!web) web = std::make_unique<Web>(options, view, counters);
        return web->Port();
    }
    Json Data(const std::string &path, int status = 200)
    {
        const Reply reply = Get(Port(), path, kBearer);
        EXPECT_EQ(status, reply.status) << path << reply.body;
        const Json json = Json::parse(reply.body, nullptr, false);
        EXPECT_FALSE(json.is_discarded()) << reply.body;
        return json;
    }
    // The sentence of a refusal.
    std::string Refusal(const Reply &reply, int status)
    {
        EXPECT_EQ(status, reply.status);
        const Json json = Json::parse(reply.body, nullptr, false);
        return json.is_object() && json["ok"] == false ? json["error"]["sentence"].get<std::string>() : reply.body;
    }
    WebOptions options;
    FakeView view;
    Counters counters;
    std::unique_ptr<Web> web;
};

std::string Serials(const Json &found)
{
    std::string text = std::to_string(found["total"].get<int>()) + ':';
    for (const Json &router : found["routers"]) text += ' ' + router["serial"].get<std::string>();
    return text;
}
} // namespace

// ---- What is open

TEST_F(WebServer, SaysWhetherTheGatewayIsWell)
{
    Reply reply = Get(Port(), "/healthz");
    EXPECT_EQ(200, reply.status);
    EXPECT_EQ("2 sessions, NATS connected\n", reply.body);
    view.health = {false, "no NATS"};
    reply = Get(Port(), "/healthz");
    EXPECT_EQ(503, reply.status);
    EXPECT_EQ("no NATS\n", reply.body);
}

TEST_F(WebServer, HasMetricsWithoutNamingARouter)
{
    counters.sessions.Set(3);
    const Reply reply = Get(Port(), "/metrics");
    EXPECT_EQ(200, reply.status);
    EXPECT_NE(std::string::npos, reply.head.find("text/plain; version=0.0.4"));
    EXPECT_NE(std::string::npos, reply.body.find("\nplug_gateway_sessions 3\n"));
    EXPECT_EQ(std::string::npos, reply.body.find("r1"));
}

TEST_F(WebServer, HasThePageWithoutData)
{
    for (const auto &[path, type] :
         {std::pair{"/", "text/html"}, {"/gateway.js", "text/javascript"}, {"/gateway.css", "text/css"}}) {
        const Reply reply = Get(Port(), path);
        EXPECT_EQ(200, reply.status) << path;
        EXPECT_NE(std::string::npos, reply.head.find(std::string("Content-Type: ") + type + "; charset=utf-8")) << path;
        EXPECT_LT(500u, reply.body.size()) << path;
        EXPECT_NE(std::string::npos, reply.head.find("Content-Length: " + std::to_string(reply.body.size())));
    }
}

TEST_F(WebServer, LetsNoPageOfOthersUseIt)
{
    for (const char *path : {"/", "/api/summary", "/nothing"}) {
        const Reply reply = Get(Port(), path);
        EXPECT_NE(std::string::npos, reply.head.find("Content-Security-Policy: default-src 'self'; frame-ancestors"));
        EXPECT_NE(std::string::npos, reply.head.find("X-Content-Type-Options: nosniff"));
        EXPECT_EQ(std::string::npos, reply.head.find("Access-Control-Allow"));
    }
}

// ---- The token

TEST_F(WebServer, RefusesDataWithoutItsToken)
{
    for (const char *path : {"/api/summary", "/api/routers", "/api/routers/r1", "/api/functions", "/api/ask", "/api/"})
        for (const std::string header :
             {"", "Authorization: Bearer secreT\r\n", "Authorization: Bearer secret1\r\n", "Authorization: Bearer \r\n",
              "Authorization: Basic secret\r\n", "Cookie: token=secret\r\n"})
            EXPECT_EQ("the token of this gateway is needed", Refusal(Get(Port(), path, header), 401)) << path << header;
    EXPECT_EQ(3, Data("/api/summary")["online"]);
}

TEST_F(WebServer, WithoutATokenRefusesDataToEverybody)
{
    options.token = "";
    for (const char *header : {"", "Authorization: Bearer \r\n", "Authorization: Bearer secret\r\n"})
        EXPECT_EQ("this gateway has no token for its data: --web-token-file",
                  Refusal(Get(Port(), "/api/summary", header), 403));
    EXPECT_EQ(200, Get(Port(), "/healthz").status);
    EXPECT_EQ(200, Get(Port(), "/metrics").status);
}

TEST_F(WebServer, IsOnTheLoopbackAddressUnlessToldOtherwise)
{
    EXPECT_EQ("127.0.0.1", WebOptions().address);
    EXPECT_FALSE(WebOptions().allowAsk);
    options.address = "127.0.0.2";
    EXPECT_EQ(0, Get(Port(), "/healthz").status); // asked at 127.0.0.1
}

// ---- Data

TEST_F(WebServer, CountsTheFleetByVersionModelAndReport)
{
    view.online[2].lastReport = "";
    EXPECT_EQ("{\"good\":true,\"state\":\"2 sessions, NATS connected\",\"allow_ask\":false,\"online\":3,"
              "\"versions\":[{\"value\":\"2.0.0.7\",\"count\":2},{\"value\":\"2.0.0.8\",\"count\":1}],"
              "\"models\":[{\"value\":\"AX1\",\"count\":2},{\"value\":\"AX2\",\"count\":1}],"
              "\"reports\":[{\"value\":\"device-list\",\"count\":2},{\"value\":\"\",\"count\":1}],"
              "\"gateways\":[{\"value\":\"gw-1\",\"count\":3}]}",
              JsonText(Data("/api/summary")));
}

TEST_F(WebServer, ListsRoutersByTheirSerial)
{
    EXPECT_EQ("3: r1 r2 r3", Serials(Data("/api/routers")));
    EXPECT_EQ("3: r2", Serials(Data("/api/routers?offset=1&limit=1")));
    EXPECT_EQ("3:", Serials(Data("/api/routers?offset=3")));
    EXPECT_EQ("3:", Serials(Data("/api/routers?limit=0")));
    EXPECT_EQ("{\"serial\":\"r1\",\"name\":\"name of r1\",\"model\":\"AX2\",\"version\":\"2.0.0.7\",\"mac\":"
              "\"02:11:22:33:44:55\",\"address\":\"192.0.2.1:4000\",\"gateway\":\"gw-1\",\"since\":1700000000,"
              "\"report\":\"device-list\",\"report_time\":1700000100}",
              JsonText(Data("/api/routers?limit=1")["routers"][0]));
}

TEST_F(WebServer, FindsRoutersByWhatIsKnownOfThem)
{
    EXPECT_EQ("2: r1 r2", Serials(Data("/api/routers?version=2.0.0.7")));
    EXPECT_EQ("1: r2", Serials(Data("/api/routers?version=2.0.0.7&model=AX1")));
    EXPECT_EQ("1: r3", Serials(Data("/api/routers?search=NAME+OF%20R3")));
    EXPECT_EQ("3: r1 r2 r3", Serials(Data("/api/routers?search=02:11")));
    EXPECT_EQ("3: r1 r2 r3", Serials(Data("/api/routers?search=")));
    EXPECT_EQ("0:", Serials(Data("/api/routers?model=")));
    EXPECT_EQ("0:", Serials(Data("/api/routers?search=%ff%zz")));
}

TEST_F(WebServer, ShowsAtMostFiveHundredRoutersAtOnce)
{
    view.online.clear();
    for (int i = 0; i < 1200; i++) view.online.push_back(OnlineNow("r" + std::to_string(10000 + i), "1", ""));
    EXPECT_EQ(100u, Data("/api/routers")["routers"].size());
    EXPECT_EQ(500u, Data("/api/routers?limit=500")["routers"].size());
    EXPECT_EQ("r11199", Data("/api/routers?offset=1199")["routers"][0]["serial"]);
    for (const char *query : {"limit=501", "limit=-1", "limit=x", "offset=99999999999999999999", "offset="})
        EXPECT_EQ("offset is a number, limit one up to 500",
                  Refusal(Get(Port(), std::string("/api/routers?") + query, kBearer), 400))
            << query;
}

TEST_F(WebServer, ShowsOneRouterWithItsReports)
{
    view.reports = {{{"report", "device-list"}, {"time", 1700000200}, {"fields", {{"devices", Json::array()}}}},
                    {{"report", "rate-result"}, {"time", 1700000150}}};
    Json router = Data("/api/routers/r1");
    EXPECT_EQ("r1", router["serial"]);
    EXPECT_TRUE(router["online"].get<bool>());
    EXPECT_EQ("device-list", router["reports"][0]["report"]);
    EXPECT_EQ(2u, router["reports"].size());
    // The newest one of the stream, which nobody else may have heard of.
    for (const char *serial : {"r1", "asleep"}) {
        router = Data("/api/routers/" + std::string(serial));
        EXPECT_EQ("device-list", router["report"]) << serial;
        EXPECT_EQ(1700000200, router["report_time"]) << serial;
    }
    EXPECT_FALSE(Data("/api/routers/asleep")["online"].get<bool>());
    for (const std::string &serial :
         {std::string("nobody"), std::string("a.b"), std::string("%3e"), std::string(65, 'r')})
        EXPECT_EQ("the directory has no such router", Refusal(Get(Port(), "/api/routers/" + serial, kBearer), 404))
            << serial;
}

TEST_F(WebServer, ShowsNamesThatAreNotUtf8)
{
    view.online[0].name = "caf\xE9 \"<b>\"";
    EXPECT_EQ("caf\xC3\xA9 \"<b>\"", Data("/api/routers/r2")["name"]);
}

TEST_F(WebServer, HasTheTableOfFunctions)
{
    EXPECT_EQ("router-version", Data("/api/functions")[0]["name"]);
}

// ---- Questions

TEST_F(WebServer, PutsQuestionsOnlyWhenTheyAreAllowed)
{
    const std::string question = "{\"serial\":\"r1\",\"function\":\"ping\",\"parameters\":{\"host\":\"1.1.1.1\"}}";
    EXPECT_EQ("questions are not allowed here: --allow-ask", Refusal(Post(Port(), "/api/ask", question, kBearer), 403));
    EXPECT_EQ("", view.asked);
    web.reset();
    options.allowAsk = true;
    EXPECT_EQ(401, Post(Port(), "/api/ask", question).status);
    EXPECT_EQ("", view.asked);
    EXPECT_EQ("{\"ok\":true,\"function\":\"ping\",\"status\":0,\"fields\":{\"down\":18446744073709551615},\"ms\":3}",
              Post(Port(), "/api/ask", question, kBearer).body);
    EXPECT_EQ("r1 ping {\"host\":\"1.1.1.1\"}", view.asked);
    EXPECT_TRUE(Data("/api/summary")["allow_ask"].get<bool>());
}

TEST_F(WebServer, RefusesQuestionsThatAreNone)
{
    options.allowAsk = true;
    const auto refusal = [&](const std::string &body) { return Refusal(Post(Port(), "/api/ask", body, kBearer), 400); };
    EXPECT_EQ("serial: the serial number of a router is needed", refusal(""));
    EXPECT_EQ("serial: the serial number of a router is needed", refusal("{\"serial\":1,\"function\":\"ping\"}"));
    EXPECT_EQ("serial: the serial number of a router is needed", refusal("{\"serial\":\"r.*\",\"function\":\"ping\"}"));
    EXPECT_EQ("function: the name of a function is needed", refusal("{\"serial\":\"r1\"}"));
    EXPECT_EQ("the text is no JSON object", refusal("[]"));
    EXPECT_EQ("the text is no JSON", refusal("{"));
    EXPECT_EQ("the text has 65537 bytes, and 65536 are the most", refusal(std::string(1000000, ' ')));
    EXPECT_EQ("", view.asked);
    EXPECT_EQ(200, Post(Port(), "/api/ask", "{\"serial\":\"r1\",\"function\":\"identity\"}", kBearer).status);
    EXPECT_EQ("r1 identity {}", view.asked);
    EXPECT_EQ("another method is needed", Refusal(Get(Port(), "/api/ask", kBearer), 405));
}

// ---- Hostile clients

TEST_F(WebServer, HasNothingElse)
{
    for (const char *path : {"/index.html", "/../etc/passwd", "/%2e%2e/%2e%2e/etc/passwd", "/gateway.js/", "/api",
                             "/api/routers/..%2f..%2fetc/passwd"})
        EXPECT_LE(400, Get(Port(), path).status) << path;
    EXPECT_EQ(404, Get(Port(), "/api/nothing", kBearer).status);
    for (const char *method : {"POST", "PUT", "DELETE", "OPTIONS", "PROPFIND"})
        for (const char *path : {"/", "/healthz", "/metrics", "/api/summary"})
            EXPECT_LE(
                400,
                Send(Port(), std::string(method) + ' ' + path + " HTTP/1.1\r\nHost: a\r\n" + kBearer + "\r\n").status)
                << method << path;
}

TEST_F(WebServer, OutlivesRequestsThatAreNone)
{
    for (const std::string &bytes : {std::string("GET"), std::string("\r\n\r\n"), std::string(1000, '\0') + "\r\n\r\n",
                                     "GET /" + std::string(100000, 'a') + " HTTP/1.1\r\n\r\n",
                                     "GET / HTTP/1.1\r\nA: " + std::string(100000, 'a') + "\r\n\r\n",
                                     std::string("GET / HTTP/9.9\r\n\r\n"), std::string("\x16\x03\x01\x02\r\n\r\n")})
        EXPECT_NE(200, Send(Port(), bytes + (bytes == "GET" ? "\r\n\r\n" : "")).status) << bytes.substr(0, 40);
    EXPECT_EQ(200, Get(Port(), "/healthz").status);
}

TEST_F(WebServer, AnswersAfterSomethingWentWrong)
{
    view.throws = true;
    EXPECT_EQ(500, Get(Port(), "/healthz").status);
    EXPECT_EQ(500, Get(Port(), "/api/summary", kBearer).status);
    view.throws = false;
    EXPECT_EQ(200, Get(Port(), "/healthz").status);
}

TEST_F(WebServer, AnswersSeveralAtOnce)
{
    Port();
    std::vector<std::future<int>> replies;
    for (int i = 0; i < 40; i++)
        replies.push_back(std::async(std::launch::async, [this] { return Get(web->Port(), "/metrics").status; }));
    for (std::future<int> &reply : replies) EXPECT_EQ(200, reply.get());
}

TEST_F(WebServer, ThatCannotListenSaysWhere)
{
    WebOptions second = options;
    second.port = Port();
    try {
        const Web other(second, view, counters);
        ADD_FAILURE() << "two servers at one port";
    } catch (const std::runtime_error &error) {
        EXPECT_EQ(0u, std::string(error.what()).find("cannot serve HTTP at 127.0.0.1:" + std::to_string(second.port)))
            << error.what();
    }
    second.address = "no address";
    EXPECT_THROW(Web(second, view, counters), std::runtime_error);
}
