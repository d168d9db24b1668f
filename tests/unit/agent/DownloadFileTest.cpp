// The results of the downloads: the file, and the rate.
#include <csignal>
#include <filesystem>
#include <sys/resource.h>

#include "http/HttpSocket.h"
#include "tests/support/Processes.h"
#include "tests/unit/agent/DownloadTest.h"
#include "tests/unit/agent/PlatformSide.h"

// ---- The file ----

TEST_F(DownloadTest, ReplacesWhatTheFileHeld)
{
    WriteFile(mFile, std::string(9000, 'x'));
    HttpServer server([](HttpConnection &connection) { connection.Send(HeaderFor(1500) + Body(1500)); });
    EXPECT_EQ(0, ToFile(server));
    EXPECT_EQ(Body(1500), ReadFile(mFile));
}

TEST_F(DownloadTest, FailsWhenTheFileCannotBeOpened)
{
    HttpServer server([](HttpConnection &connection) { connection.Send(HeaderFor(1500) + Body(1500)); });
    const std::string path = FakeFolder() + "/missing/file";
    EXPECT_EQ(-1, DownLoadFIle("127.0.0.1", server.Port(), "/file", path.c_str()));
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("]-> download filename: " + path + "\n"));
    EXPECT_NE(std::string::npos, log.find("]-> can't open local file\n"));
    EXPECT_EQ(0u, server.Requests().size());
}

TEST_F(DownloadTest, DoesNotFollowALinkInTheFilesPlace)
{
    const std::string precious = FakeFolder() + "/precious";
    WriteFile(precious, "precious");
    std::filesystem::create_symlink(precious, mFile);
    HttpServer server([](HttpConnection &connection) { connection.Send(HeaderFor(1500) + Body(1500)); });
    EXPECT_EQ(0, ToFile(server));
    EXPECT_EQ("precious", ReadFile(precious));
    EXPECT_EQ(Body(1500), ReadFile(mFile));
}

// The caller sees it by the digest and removes the file.
TEST_F(DownloadTest, AFileThatCannotHoldTheWholeBodyStaysShort)
{
    HttpServer server([](HttpConnection &connection) { connection.Send(HeaderFor(20000) + Body(20000)); });
    struct rlimit before;
    ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &before));
    const auto handler = signal(SIGXFSZ, SIG_IGN);
    const struct rlimit small = {4096, before.rlim_max};
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &small));
    const int result = ToFile(server);
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, handler);
    EXPECT_EQ(0, result);
    EXPECT_EQ(Body(4096), ReadFile(mFile));
    EXPECT_NE(std::string::npos, Log().find("]-> can't write local file: "));
    EXPECT_EQ(0, m_s);
}

TEST_F(DownloadTest, ContinuesAfterTheSessionAsLongAsBytesCome)
{
    const std::string body = Body(5000);
    HttpServer server([&](HttpConnection &connection) {
        connection.Send(HeaderFor(body.size()));
        for (size_t sent = 0; sent < body.size(); sent += 1000) {
            connection.AwaitReader();
            EndSession(); // a second, and another one every time
            FakeClockAdvanceMs(8000);
            connection.Send(body.substr(sent, 1000));
        }
    });
    EXPECT_EQ(0, ToFile(server));
    EXPECT_EQ(body, ReadFile(mFile));
}

// ---- The rate ----

// Fetches `length` bytes, with `milliseconds` between the first and the last of them.
static void FetchDuring(int64_t milliseconds, size_t length)
{
    HttpServer server([=](HttpConnection &connection) {
        connection.Send(HeaderFor(length) + Body(1024));
        connection.AwaitReader(); // it has looked at the clock before the body
        FakeClockAdvanceMs(milliseconds);
        connection.Send(std::string(length - 1024, 'x'));
    });
    EXPECT_EQ(0, DownTestRateFIle("127.0.0.1", server.Port(), "/file", nullptr));
}

TEST_F(DownloadTest, TheRateIsBytesDividedByWholeSeconds)
{
    FetchDuring(3999, 100000); // from second 0 to second 3
    EXPECT_EQ(33333, gDownRate);
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("]-> --------------subtime 3,lens = 100000\n"));
    EXPECT_NE(std::string::npos, log.find("]-> --------------rate 33333\n"));
}

TEST_F(DownloadTest, ADownloadWithinOneSecondCountsAsOneSecond)
{
    FetchDuring(999, 50000);
    EXPECT_EQ(50000, gDownRate);
}

TEST_F(DownloadTest, ARateOfLessThanOneByteASecondIsZero)
{
    FetchDuring(3600 * 1000, 2048);
    EXPECT_EQ(0, gDownRate);
}

TEST_F(DownloadTest, TheDateDoesNotChangeTheRate)
{
    HttpServer server([](HttpConnection &connection) {
        connection.Send(HeaderFor(2048) + Body(1024));
        connection.AwaitReader();
        FakeClockSetWallTime(kFakeEpoch - 86400);
        connection.Send(Body(1024));
    });
    EXPECT_EQ(0, DownTestRateFIle("127.0.0.1", server.Port(), "/file", nullptr));
    EXPECT_EQ(2048, gDownRate);
}

TEST_F(DownloadTest, TheRateIsUnknownWhileATestRuns)
{
    HttpServer server([](HttpConnection &connection) {
        EXPECT_EQ(-1, gDownRate);
        connection.Send(HeaderFor(1500) + Body(1500));
    });
    EXPECT_EQ(0, DownTestRateFIle("127.0.0.1", server.Port(), "/file", nullptr));
    EXPECT_EQ(1500, gDownRate);
}

TEST_F(DownloadTest, AThousandDownloadsLeaveNoDescriptorOpen)
{
    HttpServer server([](HttpConnection &connection) { connection.Send(HeaderFor(1500) + Body(1500)); });
    const UnusedPort nobody;
    ASSERT_EQ(0, ToFile(server));
    server.Requests(); // the server's own descriptors do not count any more
    const size_t before = DescriptorsOf();
    for (int i = 0; i < 500; i++) {
        EXPECT_EQ(-1, ToFile(nobody.Number()));
        EXPECT_EQ(-1, DownTestRateFIle("127.0.0.1", nobody.Number(), "/file", nullptr));
    }
    EXPECT_EQ(before, DescriptorsOf());
}
