#include "simulator/http/HttpRequest.h"

#include <gtest/gtest.h>

using namespace sim;

namespace
{
struct HttpRequests : testing::Test {
    void Push(const std::string &text) { reader.Push(reinterpret_cast<const uint8_t *>(text.data()), text.size()); }
    // The status that refuses a text; 0: it is a valid request; -1: it is incomplete.
    int Refusal(const std::string &text)
    {
        reader = HttpRequestReader();
        Push(text);
        return reader.Pop(&request) ? request.refusal : -1;
    }
    HttpRequestReader reader;
    HttpRequest request;
};

// What the agent sends.
constexpr char kAgentRequest[] = "GET /download/300.data HTTP/1.1\r\n"
                                 "Host:198.51.100.1\r\n"
                                 "Accept:*/*\r\n"
                                 "User-Agent:Mozilla/4.0 (compatible; MSIE 5.00; Windows 98)\r\n"
                                 "Connection:Keep-Alive\r\n"
                                 "\r\n";
} // namespace

TEST_F(HttpRequests, OfTheAgentAreUnderstood)
{
    ASSERT_EQ(0, Refusal(kAgentRequest)) << request.problem;
    EXPECT_EQ(kAgentRequest, request.text);
    EXPECT_EQ("GET", request.method);
    EXPECT_EQ("/download/300.data", request.path);
    EXPECT_EQ("198.51.100.1", request.host);
    EXPECT_TRUE(request.keepAlive);
    EXPECT_EQ(0u, reader.Left());
}

TEST_F(HttpRequests, MayArriveInPiecesOfAnySize)
{
    const std::string text = kAgentRequest;
    for (size_t i = 0; i + 1 < text.size(); i++) {
        Push(text.substr(i, 1));
        ASSERT_FALSE(reader.Pop(&request)) << i;
    }
    Push("\n");
    ASSERT_TRUE(reader.Pop(&request));
    EXPECT_EQ(0, request.refusal);
    EXPECT_EQ(text, request.text);
}

TEST_F(HttpRequests, MayFollowEachOtherDirectly)
{
    Push("GET /a HTTP/1.1\r\nHost:x\r\n\r\n\r\nGET /b HTTP/1.0\r\n\r\nGET /c");
    ASSERT_TRUE(reader.Pop(&request));
    EXPECT_EQ("/a", request.path);
    ASSERT_TRUE(reader.Pop(&request));
    EXPECT_EQ("/b", request.path);
    EXPECT_EQ("GET /b HTTP/1.0\r\n\r\n", request.text);
    EXPECT_FALSE(reader.Pop(&request));
    EXPECT_EQ("GET /c", reader.Rest());
}

TEST_F(HttpRequests, KeepTheConnectionUnlessTheySayOtherwise)
{
    const auto keeps = [&](const std::string &version, const std::string &line) {
        EXPECT_EQ(0, Refusal("GET / HTTP/" + version + "\r\nHost: x\r\n" + line + "\r\n")) << request.problem;
        return request.keepAlive;
    };
    EXPECT_TRUE(keeps("1.1", ""));
    EXPECT_FALSE(keeps("1.1", "Connection: close\r\n"));
    EXPECT_FALSE(keeps("1.0", ""));
    EXPECT_TRUE(keeps("1.0", "connection: Keep-Alive \r\n"));
    // The bytes behind such a request's lines are never read as another request.
    EXPECT_FALSE(keeps("1.1", "Content-Length: 5\r\n"));
    EXPECT_FALSE(keeps("1.1", "Transfer-Encoding: chunked\r\n"));
}

TEST_F(HttpRequests, PathsAreDecodedAndLoseTheirQuery)
{
    ASSERT_EQ(0, Refusal("GET /a%2Fb%20c?d=/%41 HTTP/1.1\r\nHost: x\r\n\r\n"));
    EXPECT_EQ("/a/b c", request.path);
    EXPECT_EQ("/a%2Fb%20c?d=/%41", request.target);
    for (const char *bad : {"/%", "/%4", "/%zz", "/a%00b"}) {
        ASSERT_EQ(0, Refusal(std::string("GET ") + bad + " HTTP/1.1\r\nHost: x\r\n\r\n"));
        EXPECT_EQ("", request.path) << bad;
    }
}

TEST_F(HttpRequests, GarbageIsRefusedWithoutWaitingForMore)
{
    EXPECT_EQ(400, Refusal(std::string("\x16\x03\x01\x02", 4)));
    EXPECT_EQ(400, Refusal(std::string(1, '\0')));
    EXPECT_EQ(400, Refusal("\n"));
    EXPECT_EQ(400, Refusal(" GET / HTTP/1.1\r\n"));
    EXPECT_EQ(0u, reader.Left()); // nothing behind it is read
}

TEST_F(HttpRequests, InvalidLinesAreRefused)
{
    const auto withLine = [](const std::string &line) { return "GET / HTTP/1.1\r\nHost: x\r\n" + line + "\r\n\r\n"; };
    for (const std::string &bad :
         {std::string("GET\r\n\r\n"), std::string("GET /\r\n\r\n"), std::string("GET / FTP/1.1\r\n\r\n"),
          std::string("GET x HTTP/1.1\r\nHost: x\r\n\r\n"), std::string("GET  HTTP/1.1\r\nHost: x\r\n\r\n"),
          std::string("GET /a b HTTP/1.1\r\nHost: x\r\n\r\n"), std::string("G(T / HTTP/1.1\r\nHost: x\r\n\r\n"),
          std::string("GET / HTTP/1.1\nHost: x\n\n"), std::string("GET / HTTP/1.1\r\nHost: x\n\r\n\r\n"),
          std::string("GET / HTTP/1.1\r\n\r\n"), std::string("GET / HTTP/1.1\r\nHost: x\r\nHost: x\r\n\r\n"),
          withLine("no colon"), withLine("a name: x"), withLine(": x"), withLine(" : x"),
          withLine(std::string("X: a\0b", 6)), withLine("X: a\rb"), withLine("X: a\x7f")}) {
        EXPECT_EQ(400, Refusal(bad)) << bad;
        EXPECT_NE("", request.problem);
        EXPECT_FALSE(request.keepAlive);
    }
    EXPECT_EQ(505, Refusal("GET / HTTP/2.0\r\nHost: x\r\n\r\n"));
    EXPECT_EQ(505, Refusal("GET / HTTP/1.10\r\nHost: x\r\n\r\n"));
}

TEST_F(HttpRequests, LongerThanTheLimitAreRefused)
{
    const std::string before = "GET / HTTP/1.1\r\nHost: x\r\nX: ";
    std::string text = before + std::string(8192 - before.size() - 4, 'x') + "\r\n\r\n";
    EXPECT_EQ(0, Refusal(text));
    text.insert(before.size(), "x");
    EXPECT_EQ(431, Refusal(text));
    EXPECT_EQ(8193u, request.text.size());
    EXPECT_EQ(-1, Refusal(std::string(8192, 'x')));
    EXPECT_TRUE(reader.Full());
    EXPECT_EQ(431, Refusal(std::string(100000, 'x')));
    EXPECT_EQ(8193u, request.text.size());
}
