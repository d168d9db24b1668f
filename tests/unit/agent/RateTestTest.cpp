#include "functions/RateTest.h"

#include <cstring>
#include <unistd.h>

#include "http/Download.h"
#include "http/HttpSocket.h"
#include "platform/Protool.h"
#include "tests/fakes/FakeLibraries.h"
#include "tests/support/HttpServer.h"
#include "tests/unit/agent/DiagnosticsTest.h"

namespace
{

// A logged-in session whose platform waits for the record.
class RateTestTest : public LinkedTest
{
  protected:
    void SetUp() override
    {
        LinkedTest::SetUp();
        FakeLibrariesReset();
        FakeClockAuto(true);
    }
    void TearDown() override
    {
        FakeClockAuto(true);
        StopDiagnostics();
        LinkedTest::TearDown();
    }

    static int Configure(const std::string &text)
    {
        return ParseConfigData(text.c_str(), static_cast<int>(text.size()));
    }
    static int ConfigureUrl(const std::string &url) { return Configure("{\"value_func61\":\"" + url + "\"}"); }
    static std::string UrlOf(const HttpServer &server, const std::string &path = "/x")
    {
        return "http://127.0.0.1:" + std::to_string(server.Port()) + path;
    }

    static bool AwaitEnd()
    {
        return Within([] { return gRateThreadState == 0; });
    }

    // The record of a test with this rate, and of one that failed.
    void ExpectRecord(const std::string &rate) { ExpectAck(26, 0, 62, Hex("00 00  3E 00  00 00" + rate)); }
    void ExpectFailureRecord() { ExpectAck(26, 0, 62, Hex("00 00  3E 00  01 00  FF FF FF FF")); }

    void ExpectNoTest(const std::string &url)
    {
        EXPECT_EQ(0, ConfigureUrl(url)) << url;
        EXPECT_TRUE(AwaitEnd());
        EXPECT_EQ(0, FakeLookUps()) << url;
        ExpectNothingSent();
    }
};

HttpServer::Answer Serving(size_t length)
{
    return [=](HttpConnection &connection) { connection.Send(HeaderFor(length) + Body(length)); };
}

// The parts of a URL as one text, or "refused".
std::string Split(const std::string &url)
{
    RateTarget target;
    if (!SplitRateUrl(url.c_str(), &target)) return "refused";
    return std::string(target.host) + " " + std::to_string(target.port) + " " + target.path;
}

} // namespace

// ---- The URL ----

class RateUrl : public AgentTest
{
};

TEST_F(RateUrl, IsSplitIntoHostPortAndPath)
{
    EXPECT_EQ("files.example.net 8080 /a/b.data", Split("http://files.example.net:8080/a/b.data"));
    EXPECT_EQ("192.0.2.7 80 /", Split("http://192.0.2.7/"));
    EXPECT_EQ("abc 80 /x", Split("://abc/x"));
    EXPECT_EQ("abc 80 /x", Split("whatever comes before://abc/x"));
    EXPECT_EQ("abc 1 /x://y", Split("s://abc:1/x://y"));
}

TEST_F(RateUrl, LogsItsParts)
{
    Split("http://files.example.net:8080/a");
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("]-> port length: 4\n"));
    EXPECT_NE(std::string::npos, log.find("]-> server len  17\n"));
    EXPECT_NE(std::string::npos, log.find("]-> serverName: files.example.net, port: 8080, url: /a\n"));
}

TEST_F(RateUrl, NeedsASchemeMark)
{
    for (const char *url : {"", "abc/x", "http:/abc/x", "http//abc/x", "abc:80/x"}) EXPECT_EQ("refused", Split(url));
}

TEST_F(RateUrl, NeedsASlashAfterTheHost)
{
    for (const char *url : {"http://abcdef", "http://abcdef:80", "http://abcdef?x", "http://"})
        EXPECT_EQ("refused", Split(url));
}

TEST_F(RateUrl, HasAHostOf3To64Characters)
{
    for (size_t length : {0u, 1u, 2u, 65u, 200u}) {
        const std::string host(length, 'h');
        EXPECT_EQ("refused", Split("http://" + host + "/x"));
        EXPECT_EQ("refused", Split("http://" + host + ":80/x"));
    }
    for (size_t length : {3u, 7u, 63u, 64u}) {
        const std::string host(length, 'h');
        EXPECT_EQ(host + " 80 /x", Split("http://" + host + "/x"));
        EXPECT_EQ(host + " 81 /x", Split("http://" + host + ":81/x"));
    }
}

TEST_F(RateUrl, HasAPortOfAtMost7Characters)
{
    EXPECT_EQ("abc 65535 /x", Split("http://abc:65535/x"));
    EXPECT_EQ("abc 80 /x", Split("http://abc:0000080/x"));
    for (const char *port : {"00000080", "4294967376", "port-number"})
        EXPECT_EQ("refused", Split(std::string("http://abc:") + port + "/x")) << port;
}

TEST_F(RateUrl, HasPortZeroIfItsPortIsNoNumberBetween1And65535)
{
    for (const char *port : {"", "0", "0000000", "65536", "9999999", "80a", "-80", "+80", " 80", "80:90"})
        EXPECT_EQ("abc 0 /x", Split(std::string("http://abc:") + port + "/x")) << port;
}

TEST_F(RateUrl, AColonAfterTheFirstSlashBelongsToThePath)
{
    EXPECT_EQ("abc 80 /x:99/y", Split("http://abc/x:99/y"));
    EXPECT_EQ("abc 80 /:", Split("http://abc/:"));
}

TEST_F(RateUrl, HasAPathUpToTheEndOfAnyText)
{
    const std::string path = "/" + std::string(1012, 'p');
    EXPECT_EQ("abc 80 " + path, Split("http://abc" + path));
    EXPECT_EQ("abc 80 /" + std::string(1022, 'p'), Split("http://abc/" + std::string(1022, 'p')));
    EXPECT_EQ("refused", Split("http://abc/" + std::string(1023, 'p')));
}

// ---- Function 61 ----

TEST_F(RateTestTest, Function61MeasuresTheBuiltInServer)
{
    // An address of our own, because the port is fixed and tests run side by side.
    const std::string own = "127." + std::to_string(1 + getpid() / 65536 % 200) + "." +
                            std::to_string(getpid() / 256 % 256) + "." + std::to_string(getpid() % 256);
    FakeHost(PLUG_RATE_TEST_SERVER, "rate", {own});
    HttpServer server(Serving(70000), own, 8199);
    EXPECT_EQ((Answer{0, Bytes(12)}), Call(RateTestStart));
    EXPECT_EQ(1, rateRes);
    ExpectRecord("70 11 01 00"); // 70000
    EXPECT_TRUE(AwaitEnd());
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("]-> route rate --------------- 70000\n"));
    EXPECT_NE(std::string::npos, log.find("]-> route rate up ret 0\n"));
    const std::string request = server.Requests().at(0);
    EXPECT_EQ("GET /download/300.data HTTP/1.1\r\nHost:" PLUG_RATE_TEST_SERVER "\r\n",
              request.substr(0, request.find("Accept")));
}

TEST_F(RateTestTest, Function61DuringATestAnswersTheSameAndStartsNothing)
{
    HttpServer server([&](HttpConnection &connection) {
        EXPECT_EQ((Answer{0, Bytes(12)}), Call(RateTestStart));
        connection.Send(HeaderFor(2000) + Body(2000));
    });
    EXPECT_EQ(0, ConfigureUrl(UrlOf(server)));
    ExpectRecord("D0 07 00 00");
    EXPECT_TRUE(AwaitEnd());
    ExpectNothingSent();
    EXPECT_EQ(1u, server.Requests().size());
}

TEST_F(RateTestTest, AThreadThatCannotBeStartedIsOnlyLogged)
{
    FakeFailThreadStart(1, EAGAIN);
    EXPECT_EQ((Answer{0, Bytes(12)}), Call(RateTestStart));
    EXPECT_TRUE(Logged("Create RateTestThread Failed."));
    EXPECT_EQ(0, gRateThreadState);
    EXPECT_EQ(0, rateRes);
    FakeFailThreadStart(1, EAGAIN);
    EXPECT_EQ(0, ConfigureUrl("http://127.0.0.1:9/x"));
    EXPECT_TRUE(Logged("Create RateTestThread Failed."));
    EXPECT_EQ(0, gRateThreadState);
    ExpectNothingSent();
}

// ---- Function 87 ----

TEST_F(RateTestTest, Function87MeasuresTheUrlOfItsText)
{
    HttpServer server(Serving(1025));
    EXPECT_EQ(0, Configure("{ \"other\": 7, \"value_func61\": \"" + UrlOf(server, "/a/b?c=d") + "\" }"));
    ExpectRecord("01 04 00 00");
    EXPECT_TRUE(AwaitEnd());
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("]-> ConfigData: { \"other\": 7,"));
    EXPECT_NE(std::string::npos, log.find("]-> func61 address: " + UrlOf(server, "/a/b?c=d") + "\n"));
    const std::string request = server.Requests().at(0);
    EXPECT_EQ("GET /a/b?c=d HTTP/1.1\r\nHost:127.0.0.1\r\n", request.substr(0, request.find("Accept")));
}

TEST_F(RateTestTest, AHostOfSevenCharactersWithoutAPortIsTestedAtPort80)
{
    FakeHost("example", "example", {}); // so that nothing is connected to
    EXPECT_EQ(0, ConfigureUrl("http://example/x"));
    ExpectFailureRecord();
    EXPECT_TRUE(AwaitEnd());
    EXPECT_EQ(80, m_port);
    EXPECT_EQ(0u, std::string(m_requestheader).find("GET /x HTTP/1.1\r\nHost:example\r\n"));
}

TEST_F(RateTestTest, AnAnswerOf404IsReportedAsAFailure)
{
    HttpServer server([](HttpConnection &connection) {
        connection.Send("HTTP/1.1 404 Not Found\r\nContent-Length: 5000\r\n\r\n" + Body(5000));
    });
    EXPECT_EQ(0, ConfigureUrl(UrlOf(server)));
    ExpectFailureRecord();
    EXPECT_TRUE(AwaitEnd());
    EXPECT_EQ(-1, gDownRate);
    EXPECT_TRUE(Logged("route rate up ret -1"));
}

TEST_F(RateTestTest, ATooShortBodyAndASilentPortAreReportedAsFailures)
{
    HttpServer server(Serving(1024));
    EXPECT_EQ(0, ConfigureUrl(UrlOf(server)));
    ExpectFailureRecord();
    EXPECT_TRUE(AwaitEnd());
    const UnusedPort port;
    EXPECT_EQ(0, ConfigureUrl("http://127.0.0.1:" + std::to_string(port.Number()) + "/x"));
    ExpectFailureRecord();
}

TEST_F(RateTestTest, ARateOfZeroIsNoFailure)
{
    HttpServer server([](HttpConnection &connection) {
        connection.Send(HeaderFor(2048) + Body(1024));
        connection.AwaitReader();
        FakeClockAdvanceMs(3600 * 1000);
        connection.Send(Body(1024));
    });
    EXPECT_EQ(0, ConfigureUrl(UrlOf(server)));
    ExpectRecord("00 00 00 00");
}

TEST_F(RateTestTest, AMalformedUrlEndsWithoutAReport)
{
    for (const char *url :
         {"", "abc", "http://ab/x", "http://ab:/x", "http://abcdef", "http://abcdef:80", "http://abc:00000080/x"})
        ExpectNoTest(url);
    ExpectNoTest("http://" + std::string(65, 'h') + "/x");
    ExpectNoTest("http://" + std::string(65, 'h') + ":0/x");
}

TEST_F(RateTestTest, AWrongPortIsAFailedTest)
{
    for (const char *port : {"", "0", "65536", "80000", "9999999", "80a", "-80", "80:90"}) {
        gDownRate = 5;
        EXPECT_EQ(0, ConfigureUrl(std::string("http://127.0.0.1:") + port + "/x"));
        ExpectFailureRecord();
        EXPECT_TRUE(AwaitEnd()) << port;
        EXPECT_EQ(-1, gDownRate) << port;
        EXPECT_TRUE(Logged("route rate up ret -1")) << port;
    }
    ExpectNothingSent();
}

TEST_F(RateTestTest, TextsWithoutAConfigurationAreRefused)
{
    EXPECT_EQ(1, ParseConfigData(nullptr, 10));
    EXPECT_EQ(1, ParseConfigData("{}", 0));
    EXPECT_EQ(1, ParseConfigData("{}", 1));
    EXPECT_EQ(1, ParseConfigData("{}", -1));
    for (const char *text :
         {"{}", "[]", "no json", "{\"value_func61\"", "{\"other\":\"http://abc/x\"}", "\"text\"",
          "{\"value_func61\":7}", "{\"value_func61\":null}", "{\"value_func61\":[\"http://abc/x\"]}"})
        EXPECT_EQ(1, Configure(text)) << text;
    EXPECT_EQ(0, rateRes);
    EXPECT_EQ(0, FakeLookUps());
    ExpectNothingSent();
}

TEST_F(RateTestTest, ATextHasAtMost1023Bytes)
{
    const std::string before = "{\"value_func61\":\"http://";
    const std::string text = before + std::string(1023 - before.size() - 2, 'h') + "\"}";
    EXPECT_EQ(1023u, text.size());
    EXPECT_EQ(0, Configure(text));
    EXPECT_EQ(1, Configure(text + " "));
}

TEST_F(RateTestTest, ATextEndsAtItsLength)
{
    const std::string text = "{\"value_func61\":\"http://ab\"}rubbish that is not part of it";
    EXPECT_EQ(0, ParseConfigData(text.c_str(), 28));
    EXPECT_EQ(1, ParseConfigData(text.c_str(), 27));
}

TEST_F(RateTestTest, ATextThatNestsTooDeepIsRefused)
{
    const auto nested = [](size_t depth) {
        return "{\"value_func61\":\"http://ab\",\"x\":" + std::string(depth, '[') + std::string(depth, ']') + "}";
    };
    EXPECT_EQ(0, Configure(nested(31)));
    EXPECT_EQ(1, Configure(nested(32)));
    EXPECT_EQ(1, Configure(std::string(1023, '[')));
    EXPECT_EQ(1, Configure(std::string(1023, '{')));
}

// ---- States ----

TEST_F(RateTestTest, ASecondFunction87DuringATestLogsAndAnswersZero)
{
    HttpServer server([&](HttpConnection &connection) {
        EXPECT_EQ(1, gRateThreadState);
        EXPECT_EQ(0, ConfigureUrl("http://127.0.0.1:9/other"));
        EXPECT_TRUE(Logged("Please wait last finish."));
        connection.Send(HeaderFor(2000) + Body(2000));
    });
    EXPECT_EQ(0, ConfigureUrl(UrlOf(server)));
    ExpectRecord("D0 07 00 00");
    EXPECT_TRUE(AwaitEnd());
    ExpectNothingSent();
}

TEST_F(RateTestTest, TheNextStartJoinsTheLastThreadAndPausesTwentyMilliseconds)
{
    EXPECT_EQ(0, ConfigureUrl("http://ab/x"));
    EXPECT_TRUE(AwaitEnd());
    EXPECT_EQ(1, rateRes);
    FakeClockAuto(false);
    Running next([] { EXPECT_EQ(0, ConfigureUrl("http://ab/x")); });
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(0, rateRes);
    EXPECT_EQ(20, FakeClockNextDeadlineMs());
    FakeClockAdvanceMs(20);
    next.Join();
    EXPECT_EQ(1, rateRes);
}

TEST_F(RateTestTest, AThousandStartsLeaveNothingBehind)
{
    mLogin = 0; // no thousand records
    const UnusedPort port;
    const std::string url = "http://127.0.0.1:" + std::to_string(port.Number()) + "/x";
    EXPECT_EQ(0, ConfigureUrl(url));
    EXPECT_TRUE(AwaitEnd());
    StopDiagnostics();
    const Belongings before;
    FakeHost(PLUG_RATE_TEST_SERVER, "rate", {});
    for (int i = 0; i < 1000; i++) {
        if (i % 2 == 0)
            EXPECT_EQ(0, ConfigureUrl(url));
        else
            Call(RateTestStart);
        EXPECT_TRUE(AwaitEnd());
    }
    StopDiagnostics();
    EXPECT_TRUE(before.Unchanged());
}

TEST_F(RateTestTest, ATestThatWaitsForItsServerEndsWithTheSession)
{
    HttpServer server([&](HttpConnection &connection) {
        connection.Send(HeaderFor(5000) + Body(1000));
        connection.AwaitReader();
        Unlink();
        connection.AwaitEnd();
    });
    EXPECT_EQ(0, ConfigureUrl(UrlOf(server)));
    EXPECT_TRUE(AwaitEnd());
    EXPECT_EQ(-1, gDownRate);
}

TEST_F(RateTestTest, StoppingTheDiagnosticsAbortsATest)
{
    HttpServer server([&](HttpConnection &connection) {
        connection.Send(HeaderFor(5000) + Body(1000));
        connection.AwaitEnd();
    });
    EXPECT_EQ(0, ConfigureUrl(UrlOf(server)));
    StopDiagnostics();
    EXPECT_EQ(0, gRateThreadState);
    EXPECT_EQ(0, rateRes);
    ExpectFailureRecord();
}
