// Both downloads against a real server on the loopback device.
#include "tests/unit/agent/DownloadTest.h"

#include <arpa/inet.h>
#include <atomic>
#include <fstream>
#include <sys/socket.h>
#include <unistd.h>

#include "http/HttpSocket.h"
#include "tests/unit/agent/PlatformSide.h"

namespace
{

// What holds for both: `Fetch` is the download into a file or the timed one.
class BothDownloads : public DownloadTest, public testing::WithParamInterface<bool>
{
  protected:
    bool Timed() const { return GetParam(); }
    int Fetch(uint16_t port, const char *host = "127.0.0.1")
    {
        return Timed() ? DownTestRateFIle(host, port, "/file", "ignored")
                       : DownLoadFIle(host, port, "/file", mFile.c_str());
    }
    int Fetch(const HttpServer &server) { return Fetch(server.Port()); }

    // Fetches what `answer` sends, and expects a failure with this log line.
    void ExpectFailure(const std::string &text, const HttpServer::Answer &answer)
    {
        HttpServer server(answer);
        EXPECT_EQ(-1, Fetch(server));
        EXPECT_TRUE(Logged(text)) << text;
        ExpectFailed();
    }

    // A download into a file lets go when the teardown finds that the server has been silent for ten seconds.
    void BeSilentIfToFile()
    {
        if (Timed()) return;
        FakeClockAdvanceMs(20000);
        EndSession();
    }

    void ExpectFailed()
    {
        EXPECT_EQ(0, m_s);
        EXPECT_EQ(Timed() ? -1 : 0, gDownRate);
        EXPECT_EQ("", ReadFile(mFile));
    }

    // Fetches a body of `length` bytes after a header and expects all of it.
    void ExpectSuccess(const std::string &header, size_t length)
    {
        HttpServer server([&](HttpConnection &connection) { connection.Send(header + Body(length)); });
        EXPECT_EQ(0, Fetch(server)) << header;
        EXPECT_EQ(0, m_s);
        if (Timed())
            EXPECT_EQ(static_cast<int>(length), gDownRate);
        else
            EXPECT_EQ(Body(length), ReadFile(mFile));
    }
};

std::string NameOf(const testing::TestParamInfo<bool> &info)
{
    return info.param ? "Timed" : "ToFile";
}

// A port that answers no connection request at all: its queue is full.
class DeafPort
{
  public:
    DeafPort() : mListener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        struct sockaddr_in here = {};
        here.sin_family = AF_INET;
        here.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof here;
        EXPECT_EQ(0, bind(mListener, reinterpret_cast<struct sockaddr *>(&here), size));
        EXPECT_EQ(0, listen(mListener, 0));
        getsockname(mListener, reinterpret_cast<struct sockaddr *>(&here), &size);
        mPort = ntohs(here.sin_port);
        for (int &filler : mFillers) {
            filler = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
            connect(filler, reinterpret_cast<struct sockaddr *>(&here), size);
        }
    }
    ~DeafPort()
    {
        for (int filler : mFillers) close(filler);
        close(mListener);
    }
    uint16_t Number() const { return mPort; }

    // Connections to it that have not been accepted, the fillers' included.
    int Asking() const
    {
        int count = 0;
        std::ifstream table("/proc/net/tcp");
        std::string line;
        while (std::getline(table, line)) {
            unsigned remote, state;
            if (sscanf(line.c_str(), " %*d: %*x:%*x %*x:%x %x", &remote, &state) != 2) continue;
            if (remote == mPort && state == 2) count++;
        }
        return count;
    }

  private:
    int mListener;
    int mFillers[3];
    uint16_t mPort = 0;
};

// A port at which connections are made, and nothing comes.
class MutePort
{
  public:
    MutePort() : mListener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        struct sockaddr_in here = {};
        here.sin_family = AF_INET;
        here.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof here;
        EXPECT_EQ(0, bind(mListener, reinterpret_cast<struct sockaddr *>(&here), size));
        EXPECT_EQ(0, listen(mListener, 1));
        getsockname(mListener, reinterpret_cast<struct sockaddr *>(&here), &size);
        mPort = ntohs(here.sin_port);
    }
    ~MutePort() { close(mListener); }
    uint16_t Number() const { return mPort; }

  private:
    int mListener;
    uint16_t mPort = 0;
};

} // namespace

INSTANTIATE_TEST_SUITE_P(, BothDownloads, testing::Bool(), NameOf);

// ---- What succeeds ----

TEST_P(BothDownloads, SendTheRequestByteForByte)
{
    HttpServer server([](HttpConnection &connection) { connection.Send(HeaderFor(1025) + Body(1025)); });
    EXPECT_EQ(0, Fetch(server));
    EXPECT_EQ(std::vector<std::string>{"GET /file HTTP/1.1\r\n"
                                       "Host:127.0.0.1\r\n"
                                       "Accept:*/*\r\n"
                                       "User-Agent:Mozilla/4.0 (compatible; MSIE 5.00; Windows 98)\r\n"
                                       "Connection:Keep-Alive\r\n"
                                       "\r\n"},
              server.Requests());
}

TEST_P(BothDownloads, AcceptABodyOf1025BytesAndMore)
{
    for (size_t length : {1025u, 1026u, 2048u, 32768u, 32769u, 65536u, 300000u, 5000001u})
        ExpectSuccess(HeaderFor(length), length);
}

TEST_P(BothDownloads, AcceptAHeaderThatComesByteByByte)
{
    HttpServer server([](HttpConnection &connection) {
        connection.SendByteByByte(HeaderFor(1500));
        connection.Send(Body(1500));
    });
    EXPECT_EQ(0, Fetch(server));
}

TEST_P(BothDownloads, LookTheHostUp)
{
    FakeHost("files.example.net", "www.example.net", {"127.0.0.1", "192.0.2.1"});
    HttpServer server([](HttpConnection &connection) { connection.Send(HeaderFor(1500) + Body(1500)); });
    EXPECT_EQ(0, Fetch(server.Port(), "files.example.net"));
    EXPECT_EQ(1, FakeLookUps());
}

TEST_P(BothDownloads, ReadTheLengthAsANumberWithBlanksAndSign)
{
    for (const char *line : {"Content-Length:1500", "Content-Length:  \t 1500", "Content-Length: +1500",
                             "Content-Length: 01500", "Content-Length: 1500 bytes"})
        ExpectSuccess(Header(line), 1500);
}

TEST_P(BothDownloads, AcceptALengthLineOf63Characters)
{
    ExpectSuccess(Header("Content-Length:" + std::string(44, ' ') + "1500"), 1500);
}

TEST_P(BothDownloads, TreatWhatFollows1024BytesOfAnEndlessHeaderAsTheBody)
{
    std::string header = "HTTP/1.1 200 OK\r\nContent-Length: 1100\r\nX-Fill: ";
    header += std::string(1024 - header.size(), 'f');
    ExpectSuccess(header, 1100);
}

TEST_P(BothDownloads, StopAtTheAnnouncedLengthAlthoughMoreCame)
{
    HttpServer server([](HttpConnection &connection) {
        connection.Send(HeaderFor(40000) + Body(100000));
        connection.AwaitEnd();
    });
    EXPECT_EQ(0, Fetch(server));
    if (Timed()) {
        EXPECT_GE(gDownRate, 40000);
        EXPECT_LT(gDownRate, 40000 + 1024);
        return;
    }
    const std::string content = ReadFile(mFile);
    EXPECT_GE(content.size(), 40000u);
    EXPECT_LT(content.size(), 40000u + 1024);
    EXPECT_EQ(Body(content.size()), content);
}

// ---- What fails ----

TEST_P(BothDownloads, FailWhenTheBodyHas1024BytesOrLess)
{
    for (size_t length : {0u, 1u, 1023u, 1024u})
        ExpectFailure("lens = " + std::to_string(length),
                      [=](HttpConnection &connection) { connection.Send(HeaderFor(length) + Body(length)); });
}

TEST_P(BothDownloads, FailWhenTheLengthLineHas64Characters)
{
    ExpectFailure("lengthlen 64", [](HttpConnection &connection) {
        connection.Send(Header("Content-Length:" + std::string(45, ' ') + "1500") + Body(1500));
    });
}

TEST_P(BothDownloads, FailWhenTheLengthIsNegativeOrPast31Bits)
{
    for (const char *length :
         {"-1", "-5000", "2147483648", "4294968896", "18446744073709553216", "99999999999999999999999999", "many", ""})
        ExpectFailure("lens = -1", [=](HttpConnection &connection) {
            connection.Send(Header(std::string("Content-Length: ") + length) + Body(1600));
        });
}

TEST_P(BothDownloads, FailWhen404IsAnywhereInTheHeader)
{
    const char *text = Timed() ? "404 Not Found" : "found";
    ExpectFailure(text, [](HttpConnection &connection) {
        connection.Send("HTTP/1.1 404 Not Found\r\nContent-Length: 1500\r\n\r\n" + Body(1500));
    });
    ExpectFailure(text, [](HttpConnection &connection) {
        connection.Send(Header("Content-Length: 1500\r\nX-Note: 404 Not Found") + Body(1500));
    });
}

TEST_P(BothDownloads, FailWithoutALengthLine)
{
    ExpectFailure("Can't find Content-Length",
                  [](HttpConnection &connection) { connection.Send(Header("content-length: 1500") + Body(1500)); });
}

TEST_P(BothDownloads, FailWhenTheLengthLineDoesNotEnd)
{
    ExpectFailure("Can't find newline and return characters.",
                  [](HttpConnection &connection) { connection.Send("HTTP/1.1 200 OK\nContent-Length: 1500"); });
    ExpectFailure("Can't find newline and return characters.", [](HttpConnection &connection) {
        connection.Send("HTTP/1.1 200 OK\nContent-Length: 1500" + std::string(1024, '\n') + Body(1500));
    });
}

TEST_P(BothDownloads, FailWithoutAHeader)
{
    ExpectFailure("head error", [](HttpConnection &) {});
    ExpectFailure("head error", [](HttpConnection &connection) { connection.Reset(); });
}

TEST_P(BothDownloads, FailWhenNobodyListens)
{
    const UnusedPort port;
    EXPECT_EQ(-1, Fetch(port.Number()));
    EXPECT_TRUE(Logged("head error"));
    ExpectFailed();
}

TEST_P(BothDownloads, FailWithoutAnAddressOrAPort)
{
    FakeHostWithIpv6Only("six.example.net");
    FakeHost("none.example.net", "none.example.net", {});
    for (const char *host : {"unknown.example.net", "six.example.net", "none.example.net"}) {
        EXPECT_EQ(-1, Fetch(80, host));
        EXPECT_TRUE(Logged("head error"));
        ExpectFailed();
    }
    EXPECT_EQ(-1, Fetch(0));
    EXPECT_TRUE(Logged("head error"));
}

TEST_P(BothDownloads, FailWithoutASocket)
{
    HttpServer server([](HttpConnection &connection) { connection.Send(HeaderFor(1500) + Body(1500)); });
    FakeFailSocket();
    EXPECT_EQ(-1, Fetch(server));
    EXPECT_TRUE(Logged("head error"));
    ExpectFailed();
    EXPECT_EQ(0, Fetch(server)); // and work again
}

TEST_P(BothDownloads, FailWhenTheRequestDoesNotFit)
{
    const std::string path = "/" + std::string(1024, 'p');
    HttpServer server([](HttpConnection &) {});
    if (Timed()) {
        EXPECT_EQ(-1, DownTestRateFIle("127.0.0.1", server.Port(), path.c_str(), nullptr));
        EXPECT_TRUE(Logged("req error."));
    } else {
        EXPECT_EQ(-1, DownLoadFIle("127.0.0.1", server.Port(), path.c_str(), mFile.c_str()));
        EXPECT_TRUE(Logged("req is error."));
    }
    ExpectFailed();
}

TEST_P(BothDownloads, RefuseASecondCallerWhileOneRuns)
{
    HttpServer server([&](HttpConnection &connection) {
        // The first caller waits for this answer.
        WriteFile(mFile, "good");
        EXPECT_EQ(-1, Fetch(9));
        EXPECT_EQ("good", ReadFile(mFile));
        EXPECT_TRUE(Logged("another download is in progress"));
        connection.Send(HeaderFor(1500) + Body(1500));
    });
    EXPECT_EQ(0, DownTestRateFIle("127.0.0.1", server.Port(), "/file", nullptr));
    EXPECT_EQ(1500, gDownRate);
    EXPECT_EQ(1u, server.Requests().size());
}

// ---- The end of the session ----

TEST_P(BothDownloads, WaitAfterAnEarlyCloseUntilTheSessionEnds)
{
    HttpServer server([](HttpConnection &connection) { connection.Send(HeaderFor(5000) + Body(2000)); });
    int result = 0;
    Running download([&] { result = Fetch(server); });
    for (int second = 0; second < 5; second++) {
        FakeClockAwaitSleepers(1);
        EXPECT_EQ(1000, FakeClockNextDeadlineMs());
        FakeClockAdvanceMs(1000);
    }
    FakeClockAwaitSleepers(1); // and so on, for good
    EndSession();
    download.Join();
    EXPECT_EQ(-1, result);
    EXPECT_EQ(0, m_s);
    EXPECT_EQ(Timed() ? -1 : 0, gDownRate);
}

TEST_P(BothDownloads, WaitUntilTheSessionEndsWhenTheConnectionBreaks)
{
    HttpServer server([](HttpConnection &connection) {
        connection.Send(HeaderFor(5000) + Body(2000));
        connection.AwaitReader();
        connection.Reset();
    });
    int result = 0;
    Running download([&] { result = Fetch(server); });
    FakeClockAwaitSleepers(1);
    EndSession();
    download.Join();
    EXPECT_EQ(-1, result);
}

TEST_P(BothDownloads, LetGoOfASilentServerWhenTheSessionEnds)
{
    for (const std::string &before :
         {std::string(), std::string("HTTP/1.1 200 OK\r\n"), HeaderFor(5000) + Body(2000)}) {
        ServerRun = 1;
        HttpServer server([&](HttpConnection &connection) {
            connection.Send(before);
            connection.AwaitReader();
            EndSession();
            BeSilentIfToFile();
            connection.AwaitEnd();
        });
        EXPECT_EQ(-1, Fetch(server)) << before;
        EXPECT_EQ(0, m_s);
    }
}

// A server that has received no request does not answer.
TEST_P(BothDownloads, FailAtOnceWhenTheRequestCannotBeSent)
{
    const MutePort port;
    int result = 0;
    std::atomic<bool> ended{false};
    FakeSendTakes({0});
    Running download([&] {
        result = Fetch(port.Number());
        ended = true;
    });
    EXPECT_TRUE(Within([&] { return ended.load(); }));
    if (!ended) {
        EndSession();
        BeSilentIfToFile();
    }
    download.Join();
    EXPECT_EQ(-1, result);
    EXPECT_TRUE(Logged("head error"));
    ExpectFailed();
}

TEST_P(BothDownloads, LetGoOfAServerThatDoesNotAcceptWhenTheSessionEnds)
{
    const DeafPort port;
    int result = 0;
    // Of the three fillers and us, as many cannot connect.
    int before = 0;
    ASSERT_TRUE(Within([&] { return (before = port.Asking()) > 0; }));
    Running download([&] { result = Fetch(port.Number()); });
    EXPECT_TRUE(Within([&] { return port.Asking() == before + 1; }));
    EndSession();
    BeSilentIfToFile();
    download.Join();
    EXPECT_EQ(-1, result);
    EXPECT_TRUE(Logged("head error"));
}

TEST_P(BothDownloads, DoNotBeginWhileTheSessionEnds)
{
    HttpServer server([](HttpConnection &connection) { connection.Send(HeaderFor(1500) + Body(1500)); });
    EndSession();
    EXPECT_EQ(-1, Fetch(server));
    EXPECT_TRUE(Logged("head error"));
    EXPECT_EQ(0u, server.Requests().size());
}

TEST_P(BothDownloads, WorkAgainInTheNextSession)
{
    EndSession();
    ServerRun = 1;
    ExpectSuccess(HeaderFor(1500), 1500);
}
