#include "http/HttpSocket.h"

#include <cstring>
#include <sys/socket.h>
#include <sys/time.h>

#include "Plug.h"
#include "platform/TcpServer.h"
#include "tests/support/HttpServer.h"
#include "tests/unit/agent/AgentTest.h"
#include "tests/unit/agent/PlatformSide.h"

namespace
{

// The instance is claimed for the whole test.
class HttpSocketTest : public AgentTest
{
  protected:
    void SetUp() override
    {
        AgentTest::SetUp();
        ServerRun = 1;
        ASSERT_TRUE(HttpClaim(HTTP_ENDS_WITH_SESSION));
        NewCHttpSocket();
    }
    void TearDown() override
    {
        HttpRelease();
        AgentTest::TearDown();
    }

    void Connect(const HttpServer &server)
    {
        ASSERT_TRUE(CreateHttpSocket());
        ASSERT_EQ(1, ConnectHttp("127.0.0.1", server.Port()));
    }

    // Ends the session as the main thread does, with the call that it repeats every second while it waits. One second
    // passes.
    static void EndSession()
    {
        SessionContext context = {};
        FakeClockAuto(true);
        DeleteServer(&context);
        FakeClockAuto(false);
    }

    // Releases the instance and claims it again with `end`.
    static void ClaimAgain(HttpEnd end)
    {
        HttpRelease();
        ASSERT_TRUE(HttpClaim(end));
    }

    // Sends a request and reads the response header.
    void Ask(HttpServer *server)
    {
        Connect(*server);
        size_t length;
        ASSERT_NE(nullptr, FormatRequestHeader("host", "/", &length, nullptr, nullptr));
        ASSERT_EQ(1, SendRequest(nullptr, 0));
    }
};

const char kRequest[] = "GET /a/b?c=d HTTP/1.1\r\n"
                        "Host:files.example.net\r\n"
                        "Accept:*/*\r\n"
                        "User-Agent:Mozilla/4.0 (compatible; MSIE 5.00; Windows 98)\r\n"
                        "Connection:Keep-Alive\r\n"
                        "\r\n";

} // namespace

// ---- The request ----

TEST_F(HttpSocketTest, RequestHasFiveLinesAndAnEmptyOne)
{
    size_t length = 0;
    const char *request = FormatRequestHeader("files.example.net", "/a/b?c=d", &length, nullptr, nullptr);
    EXPECT_EQ(m_requestheader, request);
    EXPECT_STREQ(kRequest, request);
    EXPECT_EQ(sizeof kRequest - 1, length);
}

TEST_F(HttpSocketTest, RefererAndCookieHaveTheirOwnLines)
{
    size_t length = 0;
    const char *request = FormatRequestHeader("h", "/p", &length, "id=7", "http://r/");
    EXPECT_STREQ("GET /p HTTP/1.1\r\n"
                 "Host:h\r\n"
                 "Referer:http://r/\r\n"
                 "Accept:*/*\r\n"
                 "User-Agent:Mozilla/4.0 (compatible; MSIE 5.00; Windows 98)\r\n"
                 "Connection:Keep-Alive\r\n"
                 "Set Cookie:0id=7\r\n"
                 "\r\n",
                 request);
    EXPECT_EQ(strlen(request), length);
}

TEST_F(HttpSocketTest, RequestFitsUpTo1023Bytes)
{
    size_t length = 0;
    const size_t others = sizeof kRequest - 1 - strlen("/a/b?c=d");
    const std::string longest = "/" + std::string(1023 - others - 1, 'p');
    ASSERT_NE(nullptr, FormatRequestHeader("files.example.net", longest.c_str(), &length, nullptr, nullptr));
    EXPECT_EQ(1023u, length);
    EXPECT_EQ(nullptr, FormatRequestHeader("files.example.net", (longest + "p").c_str(), &length, nullptr, nullptr));
    EXPECT_EQ(0u, length);
    EXPECT_STREQ("", m_requestheader);
}

TEST_F(HttpSocketTest, RequestRefusesATextThatWouldBeginANewLine)
{
    size_t length = 0;
    EXPECT_EQ(nullptr, FormatRequestHeader("h", "/p HTTP/1.1\r\nX: y", &length, nullptr, nullptr));
    EXPECT_EQ(nullptr, FormatRequestHeader("h\n", "/p", &length, nullptr, nullptr));
    EXPECT_EQ(nullptr, FormatRequestHeader("h", "/p", &length, "a\rb", nullptr));
    EXPECT_EQ(nullptr, FormatRequestHeader("h", "/p", &length, nullptr, "a\nb"));
    EXPECT_EQ(nullptr, FormatRequestHeader(nullptr, "/p", &length, nullptr, nullptr));
    EXPECT_EQ(nullptr, FormatRequestHeader("h", nullptr, &length, nullptr, nullptr));
}

TEST_F(HttpSocketTest, RequestTextIsCopiedOutUpToALength)
{
    size_t length;
    ASSERT_NE(nullptr, FormatRequestHeader("files.example.net", "/a/b?c=d", &length, nullptr, nullptr));
    char room[2048];
    memset(room, '#', sizeof room);
    EXPECT_EQ(5u, GetRequestHeader(room, 5));
    EXPECT_EQ("GET /#", std::string(room, 6));
    EXPECT_EQ(length, GetRequestHeader(room, sizeof room));
    EXPECT_EQ(kRequest, std::string(room, length));
    EXPECT_EQ('#', room[length]);
}

// ---- Connecting ----

TEST_F(HttpSocketTest, ConnectsToTheFirstAddressOfTheHost)
{
    HttpServer server([](HttpConnection &) {});
    ASSERT_TRUE(CreateHttpSocket());
    EXPECT_EQ(1, ConnectHttp("localhost", server.Port()));
    EXPECT_EQ(1, m_bConnected);
    EXPECT_EQ(server.Port(), m_port);
    EXPECT_STREQ("127.0.0.1", m_ipaddr);
    EXPECT_NE(nullptr, m_phostent);
    EXPECT_EQ(1, CloseSocket());
}

TEST_F(HttpSocketTest, DoesNotConnectWithoutAHost)
{
    ASSERT_TRUE(CreateHttpSocket());
    EXPECT_EQ(0, ConnectHttp(nullptr, 80));
    EXPECT_GT(m_s, 0);
}

TEST_F(HttpSocketTest, ASecondConnectClosesTheSocket)
{
    HttpServer server([](HttpConnection &) {});
    Connect(server);
    EXPECT_EQ(0, ConnectHttp("127.0.0.1", server.Port()));
    EXPECT_EQ(0, m_bConnected);
    EXPECT_EQ(0, m_s);
}

TEST_F(HttpSocketTest, AFailedConnectLeavesTheSocketOpen)
{
    const UnusedPort port;
    ASSERT_TRUE(CreateHttpSocket());
    EXPECT_EQ(0, ConnectHttp("127.0.0.1", port.Number()));
    EXPECT_EQ(0, m_bConnected);
    EXPECT_GT(m_s, 0);
    EXPECT_EQ(port.Number(), m_port);
}

// The kernel has no route for a stream to everybody, and says so without sending anything.
TEST_F(HttpSocketTest, AConnectThatFailsAtOnceLeavesTheSocketOpen)
{
    ASSERT_TRUE(CreateHttpSocket());
    EXPECT_EQ(0, ConnectHttp("255.255.255.255", 80));
    EXPECT_EQ(0, m_bConnected);
    EXPECT_GT(m_s, 0);
}

TEST_F(HttpSocketTest, WithoutASocketNothingIsConnected)
{
    HttpServer server([](HttpConnection &) {});
    EXPECT_EQ(0, ConnectHttp("127.0.0.1", server.Port()));
    EXPECT_EQ(0, m_bConnected);
    EXPECT_TRUE(server.Requests().empty());
}

TEST_F(HttpSocketTest, PortsOutside1To65535AreRefused)
{
    ASSERT_TRUE(CreateHttpSocket());
    for (int port : {0, -1, 65536, 65536 + 80}) EXPECT_EQ(0, ConnectHttp("127.0.0.1", port));
}

TEST_F(HttpSocketTest, ClosingWithoutASocketIsNoFailure)
{
    EXPECT_EQ(1, CloseSocket());
    ASSERT_TRUE(CreateHttpSocket());
    EXPECT_EQ(1, CloseSocket());
    EXPECT_EQ(0, m_s);
    EXPECT_EQ(1, CloseSocket());
}

TEST_F(HttpSocketTest, NewCHttpSocketResetsEverything)
{
    HttpServer server([](HttpConnection &connection) { connection.Send(HeaderFor(7)); });
    Ask(&server);
    NewCHttpSocket();
    EXPECT_EQ(0, m_s);
    EXPECT_EQ(0, m_bConnected);
    EXPECT_EQ(0, m_bResponsed);
    EXPECT_EQ(-1, m_nResponseHeaderSize);
    EXPECT_EQ(0, m_nCurIndex);
    EXPECT_EQ(nullptr, m_phostent);
    EXPECT_STREQ("", m_ipaddr);
    EXPECT_STREQ("", m_requestheader);
    EXPECT_STREQ("", m_ResponseHeader);
}

// ---- The response ----

TEST_F(HttpSocketTest, SendingReadsTheHeaderAndNoByteOfTheBody)
{
    const std::string header = HeaderFor(7);
    HttpServer server([&](HttpConnection &connection) { connection.Send(header + "content"); });
    Ask(&server);
    EXPECT_EQ(1, m_bResponsed);
    int size = 0;
    EXPECT_EQ(m_ResponseHeader, GetResponseHeader(&size));
    EXPECT_EQ(header, std::string(m_ResponseHeader, static_cast<size_t>(size)));
    char body[16];
    EXPECT_EQ(3, ReceiveHttp(body, 3));
    EXPECT_EQ(4, ReceiveHttp(body + 3, sizeof body - 3));
    EXPECT_EQ("content", std::string(body, 7));
    EXPECT_EQ(m_ResponseHeader, GetResponseHeader(&size)); // the stored one
    EXPECT_EQ(header.size(), static_cast<size_t>(size));
    EXPECT_EQ(0, ReceiveHttp(body, sizeof body)); // the end
    EXPECT_EQ(0, m_s);
    EXPECT_EQ(0, m_bConnected);
    EXPECT_EQ(-1, ReceiveHttp(body, sizeof body));
}

TEST_F(HttpSocketTest, AnEndlessHeaderIsCutAt1024Bytes)
{
    HttpServer server([](HttpConnection &connection) { connection.Send(std::string(1024, 'a') + "rest"); });
    Ask(&server);
    EXPECT_EQ(1024, m_nResponseHeaderSize);
    char body[16];
    EXPECT_EQ(4, ReceiveHttp(body, sizeof body));
    EXPECT_EQ("rest", std::string(body, 4));
}

TEST_F(HttpSocketTest, AHeaderThatBreaksOffIsReturnedAsFarAsItCame)
{
    HttpServer server([](HttpConnection &connection) { connection.Send("HTTP/1.1 2"); });
    Ask(&server);
    EXPECT_EQ(10, m_nResponseHeaderSize);
    EXPECT_STREQ("HTTP/1.1 2", m_ResponseHeader);
}

TEST_F(HttpSocketTest, SendsTheGivenTextInPlaceOfTheRequest)
{
    HttpServer server([](HttpConnection &connection) { connection.Send("ok\r\n\r\n"); });
    Connect(server);
    EXPECT_EQ(1, SendRequest("PING /\r\n\r\nand more", 10));
    EXPECT_STREQ("ok\r\n\r\n", m_ResponseHeader);
    CloseSocket();
    EXPECT_EQ(std::vector<std::string>{"PING /\r\n\r\n"}, server.Requests());
}

TEST_F(HttpSocketTest, SendsNothingWithoutASocket)
{
    EXPECT_EQ(0, SendRequest("x", 1));
    EXPECT_EQ(0, m_bResponsed);
}

TEST_F(HttpSocketTest, SendsAndReceivesOnlyWhenConnected)
{
    char byte;
    EXPECT_EQ(-1, SendWhenConnected("x", 1));
    EXPECT_EQ(-1, ReceiveWhenConnected(&byte, 1));
    HttpServer server([](HttpConnection &connection) { connection.Send("!"); });
    Connect(server);
    EXPECT_EQ(4, SendWhenConnected("\r\n\r\n", 4));
    EXPECT_EQ(1, ReceiveWhenConnected(&byte, 1));
    EXPECT_EQ('!', byte);
}

TEST_F(HttpSocketTest, HeaderLinesAreReadOneByOne)
{
    HttpServer server([](HttpConnection &connection) { connection.Send("HTTP/1.1 200 OK\r\nA: 1\r\n\r\n"); });
    char line[8];
    EXPECT_EQ(-1, GetResponseLine(line, sizeof line));
    Ask(&server);
    EXPECT_EQ(-1, GetResponseLine(line, 0)); // takes nothing
    for (int round = 0; round < 2; round++) {
        EXPECT_EQ(7, GetResponseLine(line, sizeof line)); // cut to its room
        EXPECT_STREQ("HTTP/1.", line);
        EXPECT_EQ(6, GetResponseLine(line, sizeof line));
        EXPECT_STREQ("A: 1\r\n", line);
        EXPECT_EQ(2, GetResponseLine(line, sizeof line));
        EXPECT_STREQ("\r\n", line);
        EXPECT_EQ(-1, GetResponseLine(line, sizeof line)); // and begins again
        EXPECT_EQ(0, m_nCurIndex);
    }
}

TEST_F(HttpSocketTest, StatusCodeIsReadFromBehindTheVersion)
{
    EXPECT_EQ(-1, GetServerState());
    HttpServer server([](HttpConnection &connection) { connection.Send("HTTP/1.1 503 Busy\r\n\r\n"); });
    Ask(&server);
    EXPECT_EQ(503, GetServerState());
}

TEST_F(HttpSocketTest, StatusCodeOfAHeaderTooShortForOneIsZero)
{
    HttpServer server([](HttpConnection &connection) { connection.Send("HTTP/1.1 5"); });
    Ask(&server);
    EXPECT_EQ(0, GetServerState());
}

TEST_F(HttpSocketTest, TimeoutIsSetForSendingOrForReceiving)
{
    EXPECT_EQ(0, SetTimeout(100, 1)); // no socket
    ASSERT_TRUE(CreateHttpSocket());
    EXPECT_EQ(1, SetTimeout(1500, 1));
    EXPECT_EQ(1, SetTimeout(2000, 0));
    EXPECT_EQ(0, SetTimeout(-1, 0));
    struct timeval limit = {};
    socklen_t size = sizeof limit;
    ASSERT_EQ(0, getsockopt(m_s, SOL_SOCKET, SO_SNDTIMEO, &limit, &size));
    EXPECT_EQ(1, limit.tv_sec);
    EXPECT_NEAR(500000, limit.tv_usec, 10000); // the kernel counts in ticks
    ASSERT_EQ(0, getsockopt(m_s, SOL_SOCKET, SO_RCVTIMEO, &limit, &size));
    EXPECT_EQ(2, limit.tv_sec);
}

// ---- Ownership ----

TEST_F(HttpSocketTest, BelongsToOneCallerAtATime)
{
    EXPECT_FALSE(HttpClaim(HTTP_ENDS_WITH_SESSION));
    HttpRelease();
    EXPECT_TRUE(HttpClaim(HTTP_ENDS_WITH_SESSION));
}

TEST_F(HttpSocketTest, ALetGoEndsThisTransferOnly)
{
    HttpLetGo();
    EXPECT_TRUE(HttpPause(1000)); // although the clock stands still
    EXPECT_FALSE(CreateHttpSocket());
    HttpRelease();
    ASSERT_TRUE(HttpClaim(HTTP_ENDS_WITH_SESSION));
    EXPECT_TRUE(CreateHttpSocket());
}

TEST_F(HttpSocketTest, ATransferThatLetsGoDoesNotConnectAnyMore)
{
    HttpServer server([](HttpConnection &) {});
    ASSERT_TRUE(CreateHttpSocket());
    HttpLetGo();
    EXPECT_EQ(0, ConnectHttp("127.0.0.1", server.Port()));
    EXPECT_EQ(0, m_bConnected);
    EXPECT_TRUE(server.Requests().empty());
}

TEST_F(HttpSocketTest, WithoutASessionToFollowATransferLetsGoAtOnce)
{
    HttpFollow(nullptr);
    ClaimAgain(HTTP_OUTLASTS_SESSION);
    EXPECT_TRUE(HttpPause(1000)); // although the clock stands still
    EXPECT_FALSE(CreateHttpSocket());
    PlugConnectModules();
    ClaimAgain(HTTP_OUTLASTS_SESSION);
    EXPECT_TRUE(CreateHttpSocket());
}

// ---- The end of the session ----

TEST_F(HttpSocketTest, TheEndOfTheSessionEndsATransferAtOnce)
{
    HttpServer server([&](HttpConnection &connection) {
        connection.Send(HeaderFor(7));
        connection.AwaitEnd();
    });
    Ask(&server);
    EndSession();
    char byte;
    EXPECT_EQ(0, ReceiveHttp(&byte, 1));
    EXPECT_TRUE(HttpPause(1000)); // although the clock stands still
}

TEST_F(HttpSocketTest, ATransferThatOutlastsTheSessionGoesOnUntilTheServerHasBeenSilentForTenSeconds)
{
    ClaimAgain(HTTP_OUTLASTS_SESSION);
    HttpServer server([&](HttpConnection &connection) {
        connection.Send(HeaderFor(7) + "1");
        connection.AwaitEnd();
    });
    Ask(&server);
    FakeClockAdvanceMs(9999);
    EndSession();
    char byte;
    EXPECT_EQ(1, ReceiveHttp(&byte, 1)); // at 10,999 ms
    FakeClockAdvanceMs(9999);
    EndSession(); // at 20,998 ms
    EXPECT_FALSE(HttpPause(0));
    EndSession(); // at 21,998 ms
    EXPECT_EQ(0, ReceiveHttp(&byte, 1));
    EXPECT_TRUE(HttpPause(1000));
}

TEST_F(HttpSocketTest, TheSilenceOfAServerBeginsAtTheConnect)
{
    ClaimAgain(HTTP_OUTLASTS_SESSION);
    FakeClockAdvanceMs(20000); // as a look-up may take
    HttpServer server([&](HttpConnection &connection) { connection.Send(HeaderFor(7)); });
    Connect(server);
    EndSession();
    size_t length;
    ASSERT_NE(nullptr, FormatRequestHeader("host", "/", &length, nullptr, nullptr));
    EXPECT_EQ(1, SendRequest(nullptr, 0));
    EXPECT_EQ(HeaderFor(7), m_ResponseHeader);
}

TEST_F(HttpSocketTest, AConnectionThatIsClosedIsNotWaitedForAfterTheSession)
{
    ClaimAgain(HTTP_OUTLASTS_SESSION);
    HttpServer server([](HttpConnection &connection) { connection.Send(HeaderFor(7)); });
    Ask(&server);
    char byte;
    EXPECT_EQ(0, ReceiveHttp(&byte, 1));
    EndSession();
    EXPECT_TRUE(HttpPause(1000));
}
