// The rate test with good and bad web servers, at the configured address and at addresses from the platform.
#include <atomic>
#include <future>

#include "tests/e2e/Diagnostics.h"
#include "tests/e2e/Listener.h"
#include "tests/support/HttpServer.h"

namespace
{
constexpr char kRequest[] = "GET /download/300.data HTTP/1.1\r\n"
                            "Host:" PLUG_RATE_TEST_SERVER "\r\n"
                            "Accept:*/*\r\n"
                            "User-Agent:Mozilla/4.0 (compatible; MSIE 5.00; Windows 98)\r\n"
                            "Connection:Keep-Alive\r\n"
                            "\r\n";

class RateTest : public DiagnosticsTest
{
  protected:
    void SetUp() override
    {
        DiagnosticsTest::SetUp();
        RunShell("ip addr replace " PLUG_RATE_TEST_SERVER "/32 dev lo");
    }
};

void Good(HttpConnection &connection, size_t length)
{
    connection.Send(HeaderFor(length) + Body(length));
    connection.AwaitEnd();
}

// Function 61, which is always answered at once and in the same way. A test that fails at once reports it before or
// behind that answer.
void Start(RunningSession *session)
{
    session->platform.Command("function 61");
    const Event reply = session->platform.WaitAlso("reply", {{"function", "61"}, {"matched", "true"}});
    EXPECT_EQ("0", reply.Text("status"));
    const std::string payload = reply.Text("payload");
    ASSERT_EQ(36u, payload.size());
    EXPECT_EQ(std::string(28, '0'), payload.substr(8)); // after tag and ID
}

// Function 87 with a test of `url`. Returns its status.
std::string Configure(RunningSession *session, const std::string &json)
{
    session->platform.Command("function 87 " + Hex16(static_cast<unsigned>(json.size())) + " text=" + json);
    return session->platform.WaitAlso("reply", {{"function", "87"}, {"matched", "true"}}).Text("status");
}

std::string Url(const std::string &url)
{
    return "{\"value_func61\":\"" + url + "\"}";
}

std::string UrlOf(const HttpServer &server, const std::string &address = "127.0.0.1")
{
    return Url("http://" + address + ":" + std::to_string(server.Port()) + "/x");
}

Event Report(RunningSession *session, double seconds = kPatience)
{
    return session->platform.Wait("reply", {{"function", "62"}}, seconds);
}

void ExpectFailure(RunningSession *session)
{
    const Event report = Report(session);
    EXPECT_EQ("00003e000100ffffffff", report.Text("payload"));
    EXPECT_EQ("62", report.Text("datatype"));
}

// ---- Good ones

TEST_F(RateTest, OfTheConfiguredAddressIsReportedWithTagZeroAndItsRate)
{
    HttpServer server([](HttpConnection &connection) { Good(connection, 1000000); }, PLUG_RATE_TEST_SERVER, 8199);
    AgentOptions options;
    options.clock = 1;
    RunningSession session(options);
    Start(&session);
    const Event report = Report(&session);
    EXPECT_EQ("62", report.Text("datatype"));
    EXPECT_EQ("0000", report.Text("tag"));
    EXPECT_EQ("0", report.Text("status"));
    EXPECT_EQ("02:1a:2b:00:00:01", report.Text("mac"));
    EXPECT_EQ(20u, report.Text("payload").size());
    // Whole seconds only; 0 counts as 1.
    const double rate = report.Number("fields.rate");
    EXPECT_TRUE(rate == 1000000 || rate == 500000 || rate == 333333) << rate;
    EXPECT_EQ(std::vector<std::string>{kRequest}, server.Requests());
}

TEST_F(RateTest, OfTheTestPlatformsOwnFileIsReportedWithItsRate)
{
    PlatformOptions platformOptions;
    platformOptions.httpAt = PLUG_RATE_TEST_SERVER ":8199";
    AgentOptions options;
    options.clock = 1;
    RunningSession session(options, platformOptions);
    session.platform.Set("http * size=3M");
    session.platform.Command("rate-test");
    EXPECT_EQ(kRequest, session.platform.Wait("http", {{"path", "/download/300.data"}}).Text("request"));
    const Event report = Report(&session);
    EXPECT_EQ("0", report.Text("status"));
    EXPECT_GE(report.Number("fields.rate"), 3145728 / 4);
    EXPECT_LE(report.Number("fields.rate"), 3145728);
    session.platform.Set("http * not-found");
    session.agent.WaitLog("route rate up ret 0");
    session.ExpectAnswers();
    session.platform.Command("rate-test");
    ExpectFailure(&session);
}

TEST_F(RateTest, TheRateIsTheBytesDividedByTheSecondsOfTheBody)
{
    std::atomic<bool> held{false};
    std::promise<void> go;
    HttpServer server([&](HttpConnection &connection) {
        const std::string body = Body(1000000);
        connection.Send(HeaderFor(body.size()) + body.substr(0, 5000));
        connection.AwaitReader();
        held = true;
        go.get_future().wait();
        connection.Send(body.substr(5000));
        connection.AwaitEnd();
    });
    RunningSession session;
    EXPECT_EQ("0", Configure(&session, UrlOf(server)));
    for (int i = 0; i < 3 || !held; i++) session.platform.Wait("heartbeat"); // more than 40 s, at most 60 and a bit
    go.set_value();
    const Event report = Report(&session);
    EXPECT_EQ("0", report.Text("status"));
    EXPECT_GE(report.Number("fields.rate"), 1000000 / 200);
    EXPECT_LE(report.Number("fields.rate"), 1000000 / 40);
}

TEST_F(RateTest, AHostBehindARouterIsMeasured)
{
    HostBehindRouter network;
    std::unique_ptr<HttpServer> server;
    network.Inside([&] {
        server = std::make_unique<HttpServer>([](HttpConnection &connection) { Good(connection, 300000); }, kFarHost);
    });
    RunningSession session;
    EXPECT_EQ("0", Configure(&session, UrlOf(*server, kFarHost)));
    const Event report = Report(&session);
    EXPECT_EQ("0", report.Text("status"));
    EXPECT_LE(report.Number("fields.rate"), 300000);
    EXPECT_GT(report.Number("fields.rate"), 300000 / 60);
}

TEST_F(RateTest, AUrlWithoutAPortGoesToPort80)
{
    HttpServer server([](HttpConnection &connection) { Good(connection, 2000); }, "127.0.0.1", 80);
    RunningSession session;
    EXPECT_EQ("0", Configure(&session, Url("http://127.0.0.1/x")));
    EXPECT_EQ("0", Report(&session).Text("status"));
    EXPECT_EQ(0u, server.Requests().at(0).find("GET /x HTTP/1.1\r\nHost:127.0.0.1\r\n"));
}

// ---- Bad servers

struct Badness {
    const char *name;
    HttpServer::Answer answer;
};

class FailedRateTest : public DiagnosticsTest, public testing::WithParamInterface<Badness>
{
};

TEST_P(FailedRateTest, IsReportedWithStatus1AndAllOnes)
{
    HttpServer server(GetParam().answer);
    RunningSession session;
    EXPECT_EQ("0", Configure(&session, UrlOf(server)));
    ExpectFailure(&session);
    EXPECT_EQ("1", std::to_string(server.Requests().size()));
    session.ExpectAnswers();
}

void SendHeader(HttpConnection &connection, const std::string &lengthLine)
{
    connection.Send(Header(lengthLine) + Body(2000));
    connection.AwaitEnd();
}

INSTANTIATE_TEST_SUITE_P(
    , FailedRateTest,
    testing::Values(
        Badness{"NotFound",
                [](HttpConnection &connection) {
                    connection.Send("HTTP/1.1 404 Not Found\r\nContent-Length: 2000\r\n\r\n" + Body(2000));
                    connection.AwaitEnd();
                }},
        Badness{"NoHeader", [](HttpConnection &) {}},
        Badness{"Reset", [](HttpConnection &connection) { connection.Reset(); }},
        Badness{"NoLength", [](HttpConnection &connection) { SendHeader(connection, "X-Length: 2000"); }},
        Badness{"Length1024", [](HttpConnection &connection) { SendHeader(connection, "Content-Length: 1024"); }},
        Badness{"NegativeLength", [](HttpConnection &connection) { SendHeader(connection, "Content-Length: -2000"); }},
        Badness{"LengthPast32Bits",
                [](HttpConnection &connection) { SendHeader(connection, "Content-Length: 4294969296"); }},
        // 64 characters from the C to the line's end.
        Badness{"LengthOf64Characters",
                [](HttpConnection &connection) {
                    SendHeader(connection, "Content-Length: " + std::string(44, '0') + "2000");
                }}),
    [](const auto &tested) { return std::string(tested.param.name); });

TEST_F(RateTest, AConfiguredAddressWithoutAServerIsAFailure)
{
    RunningSession session;
    Start(&session);
    ExpectFailure(&session);
}

TEST_F(RateTest, AHeaderThatComesByteByByteIsWaitedFor)
{
    HttpServer server([](HttpConnection &connection) {
        connection.SendByteByByte(HeaderFor(2000));
        connection.Send(Body(2000));
        connection.AwaitEnd();
    });
    RunningSession session;
    EXPECT_EQ("0", Configure(&session, UrlOf(server)));
    EXPECT_EQ("0", Report(&session).Text("status"));
}

// ---- Only one

TEST_F(RateTest, ASecondTestMeanwhileIsRefusedWithItsText)
{
    std::promise<void> go;
    HttpServer server([&](HttpConnection &connection) {
        connection.Send(HeaderFor(2000));
        go.get_future().wait();
        connection.Send(Body(2000));
        connection.AwaitEnd();
    });
    RunningSession session;
    EXPECT_EQ("0", Configure(&session, UrlOf(server)));
    EXPECT_EQ("0", Configure(&session, UrlOf(server)));
    const LogEntry first = session.agent.WaitLog("Please wait last finish.");
    EXPECT_EQ("ERR", first.level);
    Start(&session);
    session.agent.WaitLog("Please wait last finish.", first.number + 1);
    session.platform.Command("version");
    go.set_value();
    EXPECT_EQ("0", Report(&session).Text("status"));
    EXPECT_EQ(1u, server.Requests().size());
    session.ExpectAnswers();
    EXPECT_EQ(1u, session.platform.Count("reply", {{"function", "62"}}));
}

TEST_F(RateTest, RepeatedTestsAreAllReported)
{
    HttpServer server([](HttpConnection &connection) { Good(connection, 2000); });
    RunningSession session;
    size_t last = 0;
    for (int i = 0; i < 5; i++) {
        EXPECT_EQ("0", Configure(&session, UrlOf(server)));
        EXPECT_EQ("0", Report(&session).Text("status"));
        last = session.agent.WaitLog("route rate up ret 0", last).number + 1;
        session.ExpectAnswers(); // and by now the thread has ended
    }
    EXPECT_EQ(5u, server.Requests().size());
}

TEST_F(RateTest, BadConfigurationsAreAnsweredWith1AndBadUrlsAreNotReported)
{
    RunningSession session;
    EXPECT_EQ("1", Configure(&session, "{\"value_func61\""));
    session.agent.WaitLog("ERROR: config data have errors!!!");
    EXPECT_EQ("1", Configure(&session, "{\"value\":1}"));
    EXPECT_EQ("1", Configure(&session, "{\"value_func61\":\"http://127.0.0.1/" + std::string(1000, 'x') + "\"}"));
    for (const char *url :
         {"127.0.0.1/x", "http://127.0.0.1", "http://127.0.0.1:80", "http://ab/x", "http://127.0.0.1:00000080/x"})
        EXPECT_EQ("0", Configure(&session, Url(url))) << url;
    session.ExpectAnswers();
    session.platform.Wait("heartbeat");
    EXPECT_EQ(0u, session.platform.Count("reply", {{"function", "62"}}));
}

TEST_F(RateTest, AWrongPortIsReportedAsAFailedTest)
{
    RunningSession session;
    size_t last = 0;
    for (const char *url : {"http://127.0.0.1:/x", "http://127.0.0.1:0/x", "http://127.0.0.1:99999/x"}) {
        EXPECT_EQ("0", Configure(&session, Url(url))) << url;
        EXPECT_EQ("1", Report(&session).Text("status")) << url;
        last = session.agent.WaitLog("route rate up ret -1", last).number + 1;
        session.ExpectAnswers(); // and by now the thread has ended
    }
}

// ---- Ends

TEST_F(RateTest, TheThreadStaysOnAConnectionThatClosesEarlyUntilTheSessionEnds)
{
    HttpServer early([](HttpConnection &connection) {
        connection.Send(HeaderFor(200000) + Body(50000));
        connection.AwaitReader();
    });
    HttpServer good([](HttpConnection &connection) { Good(connection, 2000); });
    RunningSession session;
    EXPECT_EQ("0", Configure(&session, UrlOf(early)));
    for (int i = 0; i < 3; i++) session.platform.Wait("heartbeat");
    EXPECT_EQ(0u, session.platform.Count("reply", {{"function", "62"}}));
    EXPECT_EQ("0", Configure(&session, UrlOf(good)));
    session.agent.WaitLog("Please wait last finish.");
    session.platform.Command("drop");
    const LogEntry end = session.agent.WaitLog("session ended, 50000 of 200000 bytes received");
    session.agent.WaitLog("route rate up ret -1", end.number);
    session.platform.WaitSession();
    EXPECT_EQ("0", Configure(&session, UrlOf(good)));
    EXPECT_EQ("0", session.platform.Wait("reply", {{"function", "62"}, {"status", "0"}}).Text("status"));
    session.ExpectAnswers();
}

struct Wait {
    const char *name;
    HttpServer::Answer answer;
};

// Waits that only the end of the session or the agent ends.
class WaitingRateTest : public DiagnosticsTest, public testing::WithParamInterface<Wait>
{
};

TEST_P(WaitingRateTest, EndsWithTheSessionAndWithTheAgent)
{
    std::atomic<int> requests{0};
    HttpServer server([&](HttpConnection &connection) {
        GetParam().answer(connection);
        requests++;
        connection.AwaitEnd();
    });
    RunningSession session;
    EXPECT_EQ("0", Configure(&session, UrlOf(server)));
    while (requests < 1) session.ExpectAnswers();
    session.platform.Command("drop");
    session.agent.WaitLog("route rate up ret -1");
    session.platform.WaitSession();
    EXPECT_EQ("0", Configure(&session, UrlOf(server)));
    while (requests < 2) session.ExpectAnswers();
    session.agent.Signal(SIGTERM);
    session.agent.WaitExit(1);
}

INSTANTIATE_TEST_SUITE_P(
    , WaitingRateTest,
    testing::Values(Wait{"ForTheHeader", [](HttpConnection &) {}},
                    Wait{"ForTheRestOfTheHeader", [](HttpConnection &connection) { connection.Send("HTTP/1.1 200"); }},
                    Wait{"ForTheBody", [](HttpConnection &connection) { connection.Send(HeaderFor(2000)); }}),
    [](const auto &tested) { return std::string(tested.param.name); });

TEST_F(RateTest, AServerThatDoesNotAnswerTheAttemptToConnectIsWaitedForUntilTheSessionEnds)
{
    Listener silent("127.0.0.9", 8199, Listener::SILENT);
    RunningSession session;
    EXPECT_EQ("0", Configure(&session, Url("http://127.0.0.9:8199/x")));
    ASSERT_TRUE(WaitForUnansweredConnect(kPatience));
    session.platform.Command("drop");
    session.agent.WaitLog("route rate up ret -1");
    session.platform.WaitSession();
    session.ExpectAnswers();
}
} // namespace
