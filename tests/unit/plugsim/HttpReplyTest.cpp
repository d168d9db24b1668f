#include "simulator/http/HttpReply.h"
#include "simulator/http/HttpFaults.h"

#include <gtest/gtest.h>

using namespace sim;

namespace
{
constexpr char kHead[] = "HTTP/1.1 200 OK\r\n"
                         "Content-Type: application/octet-stream\r\n"
                         "Connection: keep-alive\r\n";

// The reply to GET /download/x, a made-up file of 5000 bytes.
struct HttpReplies : testing::Test {
    HttpReplies()
    {
        request.method = "GET";
        request.path = "/download/x";
        request.keepAlive = true;
    }
    bool Add(const std::string &line)
    {
        Words words;
        return SplitWords(line, &words, &error) && faults.Add(words, &error);
    }
    HttpReply Reply()
    {
        HttpBody body;
        body.found = found;
        body.size = found ? 5000 : 0;
        return MakeHttpReply(request, std::move(body), faults.TakeAll({request.path}));
    }
    // The reply to one request with the fault `wrong`, which happens once.
    HttpReply With(const std::string &wrong)
    {
        EXPECT_TRUE(Add("* " + wrong + " 1")) << error;
        return Reply();
    }
    HttpRequest request;
    Faults faults{kHttpFaults};
    bool found = true;
    std::string error;
};
} // namespace

TEST_F(HttpReplies, WithoutAFaultAnnounceWhatTheySend)
{
    const HttpReply reply = Reply();
    EXPECT_EQ(std::string(kHead) + "Content-Length: 5000\r\n\r\n", reply.header);
    EXPECT_EQ(5000, reply.send);
    EXPECT_EQ(HttpReply::End::Keep, reply.end);
    EXPECT_FALSE(reply.early);
    EXPECT_EQ(0, reply.lateMs);
    EXPECT_EQ(-1, reply.dripMs);
    EXPECT_EQ(0, reply.rate);
    EXPECT_TRUE(reply.faults.empty());
}

TEST_F(HttpReplies, CloseWhenTheRequestSaysSo)
{
    request.keepAlive = false;
    const HttpReply reply = Reply();
    EXPECT_EQ("HTTP/1.1 200 OK\r\n"
              "Content-Type: application/octet-stream\r\n"
              "Connection: close\r\n"
              "Content-Length: 5000\r\n\r\n",
              reply.header);
    EXPECT_EQ(HttpReply::End::Close, reply.end);
    EXPECT_FALSE(reply.early);
}

TEST_F(HttpReplies, AMissingFileIsNotFound)
{
    found = false;
    const HttpReply reply = Reply();
    EXPECT_EQ(404, reply.status);
    EXPECT_EQ("HTTP/1.1 404 Not Found\r\n"
              "Content-Type: application/octet-stream\r\n"
              "Connection: keep-alive\r\n"
              "Content-Length: 0\r\n\r\n",
              reply.header);
    EXPECT_EQ(0, reply.send);
}

TEST_F(HttpReplies, OtherMethodsAndRefusedRequestsGetAStatusAndNoFault)
{
    ASSERT_TRUE(Add("* stall"));
    request.method = "POST";
    HttpReply reply = Reply();
    EXPECT_EQ("HTTP/1.1 405 Method Not Allowed\r\n"
              "Allow: GET\r\n"
              "Content-Type: application/octet-stream\r\n"
              "Connection: close\r\n"
              "Content-Length: 0\r\n\r\n",
              reply.header);
    EXPECT_EQ(HttpReply::End::Close, reply.end);
    EXPECT_EQ(0, reply.send);
    request.refusal = 431;
    reply = Reply();
    EXPECT_EQ(431, reply.status);
    EXPECT_EQ(0u, reply.header.find("HTTP/1.1 431 Request Header Fields Too Large\r\n"));
    EXPECT_FALSE(reply.early);
}

TEST_F(HttpReplies, SizeMakesUpABodyForAnyPath)
{
    found = false;
    const HttpReply reply = With("size=3M");
    EXPECT_EQ(200, reply.status);
    EXPECT_EQ(std::string(kHead) + "Content-Length: 3145728\r\n\r\n", reply.header);
    EXPECT_EQ(3145728, reply.send);
    EXPECT_EQ(std::string(kHead) + "Content-Length: 1099511627776\r\n\r\n", With("size=1024G").header);
    EXPECT_EQ(std::string(kHead) + "Content-Length: 0\r\n\r\n", With("size=0").header);
}

TEST_F(HttpReplies, NotFoundMayHaveALengthAndABody)
{
    const HttpReply reply = With("not-found");
    EXPECT_EQ(404, reply.status);
    EXPECT_EQ("HTTP/1.1 404 Not Found\r\n"
              "Content-Type: application/octet-stream\r\n"
              "Connection: keep-alive\r\n"
              "Content-Length: 2000\r\n\r\n",
              reply.header);
    EXPECT_EQ(2000, reply.send);
}

TEST_F(HttpReplies, TimesOfLateDripAndSlow)
{
    EXPECT_EQ(1500, With("late=1.5").lateMs);
    EXPECT_EQ(10, With("drip-header").dripMs);
    EXPECT_EQ(0, With("drip-header=0").dripMs);
    EXPECT_EQ(1000, With("slow").rate);
    EXPECT_EQ(2048, With("slow=2K").rate);
    EXPECT_EQ(5000, With("slow").send);
}

TEST_F(HttpReplies, CutHeaderSendsNothingElse)
{
    HttpReply reply = With("cut-header");
    EXPECT_EQ("HTTP/1.1 200 OK\r\nCon", reply.header);
    EXPECT_EQ(0, reply.send);
    EXPECT_EQ(HttpReply::End::Close, reply.end);
    EXPECT_TRUE(reply.early);
    EXPECT_EQ("", With("cut-header=0").header);
    reply = With("cut-header=8 stall");
    EXPECT_EQ("HTTP/1.1", reply.header);
    EXPECT_EQ(HttpReply::End::Stall, reply.end);
}

TEST_F(HttpReplies, NoHeaderEndLeavesOutTheEmptyLine)
{
    const HttpReply reply = With("no-header-end");
    EXPECT_EQ(std::string(kHead) + "Content-Length: 5000\r\n", reply.header);
    EXPECT_EQ(5000, reply.send);
    EXPECT_EQ(HttpReply::End::Keep, reply.end);
}

TEST_F(HttpReplies, BareLfLeavesNoCrLfAnywhere)
{
    EXPECT_EQ("HTTP/1.1 200 OK\n"
              "Content-Type: application/octet-stream\n"
              "Connection: keep-alive\n"
              "Content-Length: 5000\n\n",
              With("bare-lf").header);
}

TEST_F(HttpReplies, HeadersAreLengthenedOnEitherSideOfTheLength)
{
    const std::string good = std::string(kHead) + "Content-Length: 5000\r\n\r\n";
    EXPECT_EQ(std::string(kHead) + "Content-Length: 5000\r\nX-Filler: xxx\r\n\r\n", With("long-header=15").header);
    EXPECT_EQ(std::string(kHead) + "X-Filler: xxx\r\nContent-Length: 5000\r\n\r\n", With("late-length=15").header);
    EXPECT_EQ(good.size() + 2000, With("long-header").header.size());
    EXPECT_EQ(good.size() + 12, With("late-length=12").header.size());
    EXPECT_EQ(std::string(kHead) + "X-Why: 404 Not Found\r\nContent-Length: 5000\r\n\r\n",
              With("'header=X-Why: 404 Not Found'").header);
}

TEST_F(HttpReplies, AnyTextMayBeTheLength)
{
    for (const char *text : {"-1", "4294967297", "99999999999999999999", "nonsense", ""}) {
        const HttpReply reply = With(std::string("length=") + text);
        EXPECT_EQ(std::string(kHead) + "Content-Length: " + text + "\r\n\r\n", reply.header);
        EXPECT_EQ(5000, reply.send);
        EXPECT_EQ(HttpReply::End::Keep, reply.end);
    }
}

TEST_F(HttpReplies, TheLengthLineMayHaveAnyLength)
{
    EXPECT_EQ(std::string(kHead) + "Content-Length: 0000000000000000000000000000000000000000000000005000\r\n\r\n",
              With("length-line=68").header);
    const size_t start = sizeof kHead - 1;
    for (const size_t size : {63u, 64u, 65u, 4000u}) {
        const std::string header = With("length-line=" + std::to_string(size)).header;
        EXPECT_EQ(start + size, header.find("\r\n", start)) << size;
    }
    EXPECT_EQ(std::string(kHead) + "Content-Length: 5000\r\n\r\n",
              With("length-line=17").header); // it cannot be shorter
}

TEST_F(HttpReplies, WithoutALengthTheBodyEndsWithTheConnection)
{
    const HttpReply reply = With("no-length");
    EXPECT_EQ("HTTP/1.1 200 OK\r\n"
              "Content-Type: application/octet-stream\r\n"
              "Connection: close\r\n\r\n",
              reply.header);
    EXPECT_EQ(5000, reply.send);
    EXPECT_EQ(HttpReply::End::Close, reply.end);
    EXPECT_FALSE(reply.early);
}

TEST_F(HttpReplies, TheAnnouncedLengthMayDifferFromTheSentOne)
{
    HttpReply reply = With("announce-more=7");
    EXPECT_EQ(std::string(kHead) + "Content-Length: 5007\r\n\r\n", reply.header);
    EXPECT_EQ(5000, reply.send);
    EXPECT_EQ(HttpReply::End::Close, reply.end);
    EXPECT_TRUE(reply.early);
    reply = With("send-more=7");
    EXPECT_EQ(std::string(kHead) + "Content-Length: 5000\r\n\r\n", reply.header);
    EXPECT_EQ(5007, reply.send);
    EXPECT_EQ(HttpReply::End::Keep, reply.end);
}

TEST_F(HttpReplies, EndEarlyInThreeWays)
{
    const struct {
        const char *wrong;
        int64_t send;
        HttpReply::End end;
        bool early;
    } kCases[] = {
        {"stall=1000", 1000, HttpReply::End::Stall, true},
        {"close=1K", 1024, HttpReply::End::Close, true},
        {"reset", 0, HttpReply::End::Reset, true},
        {"reset=5000", 5000, HttpReply::End::Reset, true},
        {"stall=5001", 5000, HttpReply::End::Keep, false}, // the body ends earlier
        {"stall=300 close=200", 200, HttpReply::End::Close, true},
        {"close=200 stall=300", 200, HttpReply::End::Close, true},
        {"announce-more stall=300", 300, HttpReply::End::Stall, true},
    };
    for (const auto &row : kCases) {
        const HttpReply reply = With(row.wrong);
        EXPECT_EQ(std::string(kHead), reply.header.substr(0, sizeof kHead - 1)) << row.wrong;
        EXPECT_EQ(row.send, reply.send) << row.wrong;
        EXPECT_EQ(row.end, reply.end) << row.wrong;
        EXPECT_EQ(row.early, reply.early) << row.wrong;
    }
}

TEST_F(HttpReplies, AFaultHappensToItsPathAsOftenAsItsCount)
{
    ASSERT_TRUE(Add("/download/y close"));
    ASSERT_TRUE(Add("/download/x size=10 late=1 2"));
    EXPECT_EQ((std::vector<std::string>{"size=10", "late=1"}), Reply().faults);
    ASSERT_TRUE(Add("* size=20 1")); // the later one holds
    EXPECT_EQ((std::vector<std::string>{"size=20", "late=1"}), Reply().faults);
    EXPECT_TRUE(Reply().faults.empty());
    ASSERT_EQ(1u, faults.Active().size());
    EXPECT_EQ("/download/y", faults.Active()[0].where);
}

TEST_F(HttpReplies, AFaultEndsWhenSwitchedOff)
{
    ASSERT_TRUE(Add("* close=5 late=1"));
    ASSERT_TRUE(Add("/a close"));
    EXPECT_EQ(2u, faults.Off("close"));
    EXPECT_EQ(0u, faults.Off("close"));
    EXPECT_EQ((std::vector<std::string>{"late=1"}), Reply().faults);
    EXPECT_EQ(1u, faults.Off(""));
    EXPECT_TRUE(Reply().faults.empty());
}

TEST_F(HttpReplies, FaultsAreAllRefusedWhenOneIsInvalid)
{
    for (const char *line : {"",
                             "*",
                             "* 3",
                             "close",
                             "x close",
                             "'' close",
                             "* nonsense",
                             "* close=-1",
                             "* close=x",
                             "* bare-lf=1",
                             "* size",
                             "* size=",
                             "* length",
                             "* late=-1",
                             "* close 0",
                             "* close 1x",
                             "* close 1 2",
                             "* close late=x",
                             "* slow=0",
                             "* size=1025G",
                             "* size=9999999999999999999G",
                             "* length-line=16",
                             "* length-line=4001",
                             "* long-header=11",
                             "* late-length=65537",
                             "* 'header=a\rb'"}) {
        EXPECT_FALSE(Add(line)) << line;
        EXPECT_NE("", error) << line;
    }
    EXPECT_FALSE(Add("* length=" + std::string(4001, '1')));
    EXPECT_TRUE(faults.Active().empty());
    for (int i = 0; i < 1000; i++) ASSERT_TRUE(Add("* close"));
    EXPECT_FALSE(Add("* close"));
}

TEST(HttpSize, HasLettersForPowersOf1024)
{
    const struct {
        const char *text;
        int64_t bytes;
    } kCases[] = {{"0", 0},           {"1500", 1500},           {"1K", 1024},        {"2m", 2097152},
                  {"1G", 1073741824}, {"1024G", 1099511627776}, {"100M", 104857600}, {"1099511627776", 1099511627776}};
    int64_t bytes;
    for (const auto &row : kCases) {
        EXPECT_TRUE(ParseSize(row.text, &bytes)) << row.text;
        EXPECT_EQ(row.bytes, bytes) << row.text;
    }
    for (const char *bad : {"", "K", "-1", "1.5M", "1KB", "1 K", "1T", "1025G", "1099511627777"})
        EXPECT_FALSE(ParseSize(bad, &bytes)) << bad;
}

TEST(HttpFaults, AreAllListedWithWhatTheyDo)
{
    const std::string list = FaultsHelp(kHttpFaults);
    for (const FaultRow &row : kHttpFaults.rows) {
        EXPECT_NE(std::string::npos, list.find(std::string("\n  ") + row.name)) << row.name;
        EXPECT_NE(std::string::npos, list.find(row.help)) << row.name;
    }
}
