// The update of the agent itself: its file, the status, and what is reported.
#include "plugin/PlugUpdate.h"

#include <cjson/cJSON.h>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/PlugStatus.h"
#include "http/HttpSocket.h"
#include "os/Paths.h"
#include "plugin/ParseJson.h"
#include "plugin/PlugParameters.h"
#include "tests/data/HostileTexts.h"
#include "tests/support/HttpServer.h"
#include "tests/unit/agent/PlatformSide.h"

namespace
{
const char kReportHead[] = "{\"pluginID\":\"p1\",\"fromVersion\":\"1.0\",\"toVersion\":\"2.0\",";
const char kFailed[] = "\"process\":0,\"result\":-1,\"resultDesc\":\"\"}";
const char kDone[] = "\"process\":1,\"result\":0,\"resultDesc\":\"\"}";

const char kBody[] = "0123456789abcde\n"; // 128 of these are the file
const size_t kBodyTimes = 128;
const char kBodyMd5[] = "2d1f9b2508e8d62abdc54a65c55aa513"; // of `md5sum`

std::string NewAgent()
{
    std::string text;
    for (size_t i = 0; i < kBodyTimes; i++) text += kBody;
    return text;
}

HttpServer::Answer Serving(const std::string &body)
{
    return [body](HttpConnection &connection) { connection.Send(HeaderFor(body.size()) + body); };
}

class PlugUpdateTest : public LinkedTest
{
  protected:
    void SetUp() override
    {
        LinkedTest::SetUp();
        strcpy(mPluginID, "p1");
        strcpy(mFromVersion, "1.0");
        strcpy(mToVersion, "2.0");
        mFileMD5[0] = '\0';
        mProcess = 0;
        FakeScript remove;
        remove.run = [] { unlink(kPathPlugDownload); };
        FakeCommand(std::string("rm -f ") + kPathPlugDownload, remove);
    }

    static std::string Command(uint16_t port, const std::string &md5)
    {
        return "{\"url\":\"http://127.0.0.1:" + std::to_string(port) +
               "/new/plug\",\"fileLength\":2048,\"fileMD5\":\"" + md5 + "\",\"token\":\"t\"}";
    }

    // Expects one reported failure and status 104; the agent goes on.
    void ExpectFailure()
    {
        ExpectPlainReport(3, std::string(kReportHead) + kFailed);
        ExpectNothingSent();
        EXPECT_EQ("104\n", StatusFile());
    }

    void ExpectFailureOf(HttpServer::Answer answer, const std::string &md5 = kBodyMd5)
    {
        HttpServer server(std::move(answer));
        EXPECT_EQ(0, ParserPlugData(2, Command(server.Port(), md5).c_str()));
        ExpectFailure();
    }

    // What the main thread does at the end of a session, without the session.
    static void EndSession()
    {
        SessionContext none = {};
        FakeClockAuto(true);
        DeleteServer(&none);
        FakeClockAuto(false);
    }

    static std::string Update() { return ReadFile(kPathPlugDownload); }
    static bool Exists(const char *path) { return access(path, F_OK) == 0; }
};
} // namespace

// ---- Digest ----

TEST_F(PlugUpdateTest, DigestsAreThoseOfTheStandard)
{
    const struct {
        const char *text;
        const char *digest;
    } kDigests[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
    };
    const std::string path = FakeFolder() + "/file";
    for (const auto &known : kDigests) {
        WriteFile(path, known.text);
        char digest[kMd5TextSize];
        memset(digest, 'x', sizeof digest);
        EXPECT_EQ(0, Compute_file_md5(path.c_str(), digest));
        EXPECT_STREQ(known.digest, digest);
    }
}

TEST_F(PlugUpdateTest, AFileOfWholeBlocksHasTheRightDigest)
{
    // Of `head -c N /dev/zero | md5sum`.
    const struct {
        size_t size;
        const char *digest;
    } kZeros[] = {
        {1024, "0f343b0931126a20f133d67c2b018a3b"},    {1023, "ee4325c998d610499ef9749837313581"},
        {16384, "ce338fe6899778aacfc28414f2d9498b"},   {16385, "ea397d37692726de5df28ccf8e156770"},
        {1048576, "b6d81b360a5672d80c27430f39153e2c"},
    };
    const std::string path = FakeFolder() + "/file";
    for (const auto &zeros : kZeros) {
        WriteFile(path, std::string(zeros.size, '\0'));
        char digest[kMd5TextSize];
        EXPECT_EQ(0, Compute_file_md5(path.c_str(), digest));
        EXPECT_STREQ(zeros.digest, digest) << zeros.size;
    }
}

TEST_F(PlugUpdateTest, AFileThatCannotBeReadDoesNotChangeTheDigest)
{
    const std::string fifo = FakeFolder() + "/fifo";
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
    for (const std::string &path : {FakeFolder() + "/none", FakeFolder(), fifo}) {
        char digest[kMd5TextSize] = "untouched";
        EXPECT_EQ(-1, Compute_file_md5(path.c_str(), digest)) << path;
        EXPECT_STREQ("untouched", digest);
        EXPECT_TRUE(Logged("fopen"));
    }
}

// A process's own memory is a regular file, and nothing can be read at its beginning.
TEST_F(PlugUpdateTest, AReadThatFailsDoesNotChangeTheDigest)
{
    char digest[kMd5TextSize] = "untouched";
    EXPECT_EQ(-1, Compute_file_md5("/proc/self/mem", digest));
    EXPECT_STREQ("untouched", digest);
    EXPECT_TRUE(Logged("fread"));
}

// ---- Removing ----

TEST_F(PlugUpdateTest, TheFileIsRemovedByAShellCommand)
{
    FakeScript script;
    script.status = 3;
    FakeCommand("rm", script);
    EXPECT_EQ(3, DeleteDownloadFile());
    EXPECT_EQ(std::vector<std::string>{"rm -f " + std::string(kPathPlugDownload)}, FakeCommands());
    EXPECT_TRUE(Logged("DeleteDownloadFile"));
}

// ---- Failures ----

TEST_F(PlugUpdateTest, AnIncompleteCommandFailsWithoutADownload)
{
    for (const char *text :
         {"", "{}", "{\"url\":\"http://127.0.0.1/x\"}", "{\"url\":\"127.0.0.1\",\"fileLength\":1}"}) {
        EXPECT_EQ(0, ParserPlugData(2, text)) << text;
        ExpectFailure();
        EXPECT_EQ(std::string::npos, Log().find("plug update url"));
    }
    EXPECT_EQ(0, ParserPlugData(2, nullptr));
    ExpectFailure();
    EXPECT_FALSE(Exists(kPathPlugDownload));
}

TEST_F(PlugUpdateTest, AServerThatDoesNotAnswerIsAFailure)
{
    const UnusedPort nobody;
    EXPECT_EQ(0, ParserPlugData(2, Command(nobody.Number(), kBodyMd5).c_str()));
    ExpectFailure();
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("]-> md5: down :" + std::string(kBodyMd5) + "\n"));
    EXPECT_NE(std::string::npos, log.find("]-> plug update url :/new/plug\n"));
    EXPECT_EQ(std::string::npos, log.find("1-----------"));
}

TEST_F(PlugUpdateTest, AnAnswerOf404IsAFailure)
{
    ExpectFailureOf([](HttpConnection &connection) {
        connection.Send("HTTP/1.1 404 Not Found\r\nContent-Length: 2048\r\n\r\n" + NewAgent());
    });
    EXPECT_EQ("", Update());
}

TEST_F(PlugUpdateTest, AnEmptyFileIsAFailure)
{
    ExpectFailureOf(Serving(""), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ("", Update());
}

TEST_F(PlugUpdateTest, AnInvalidPortOrHostIsAFailure)
{
    for (const char *place :
         {"", ":80", "127.0.0.1:0", "127.0.0.1:65536", "127.0.0.1:-1", "127.0.0.1:x", "no.such.host"}) {
        const std::string text = std::string("{\"url\":\"http://") + place + "/x\",\"fileLength\":1,\"fileMD5\":\"" +
                                 kBodyMd5 + "\",\"token\":\"\"}";
        EXPECT_EQ(0, ParserPlugData(2, text.c_str()));
        ExpectFailure();
    }
}

TEST_F(PlugUpdateTest, HostileUrlsFailAndReachNoShell)
{
    for (const HostileText &hostile : HostileTexts()) {
        if (hostile.text.size() > 200) continue;
        const std::string text = "{\"url\":" + JsonString("http://127.0.0.1:1/" + hostile.text) +
                                 ",\"fileLength\":1,\"fileMD5\":" + JsonString(hostile.text) + ",\"token\":\"\"}";
        EXPECT_EQ(0, ParserPlugData(2, text.c_str()));
        ExpectPlainReport(3, std::string(kReportHead) + kFailed);
    }
    EXPECT_TRUE(FakeCommands().empty());
}

TEST_F(PlugUpdateTest, AWrongDigestIsAFailureAndRemovesTheFile)
{
    WriteFile(kPathPlugDownload, "of an earlier update");
    ExpectFailureOf(Serving(NewAgent()), "00000000000000000000000000000000");
    EXPECT_FALSE(Exists(kPathPlugDownload));
    EXPECT_EQ(std::vector<std::string>{"rm -f " + std::string(kPathPlugDownload)}, FakeCommands());
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("]-> 1-----------md5: down :00000000000000000000000000000000\n"));
    EXPECT_NE(std::string::npos,
              log.find("]-> md5: self:" + std::string(kBodyMd5) + "===down :00000000000000000000000000000000\n"));
}

TEST_F(PlugUpdateTest, ADigestInCapitalsNeverMatches)
{
    std::string capitals = kBodyMd5;
    for (char &digit : capitals) digit = static_cast<char>(toupper(digit));
    ExpectFailureOf(Serving(NewAgent()), capitals);
    EXPECT_FALSE(Exists(kPathPlugDownload));
}

TEST_F(PlugUpdateTest, AnEmptyOrPartialDigestNeverMatches)
{
    for (const std::string &md5 : {std::string(), std::string(kBodyMd5, 31), kBodyMd5 + std::string("0")}) {
        ExpectFailureOf(Serving(NewAgent()), md5);
        EXPECT_FALSE(Exists(kPathPlugDownload));
    }
}

TEST_F(PlugUpdateTest, AFailedDownloadLeavesThePartialFile)
{
    WriteFile(kPathPlugDownload, "of an earlier update, which is longer than what comes of this one");
    Running end([] {
        FakeClockAwaitSleepers(1); // on the rest
        EndSession();
    });
    HttpServer server([](HttpConnection &connection) { connection.Send(HeaderFor(2048) + "half an agent"); });
    EXPECT_EQ(0, ParserPlugData(2, Command(server.Port(), kBodyMd5).c_str()));
    end.Join();
    EXPECT_EQ("half an agent", Update());
    EXPECT_EQ("104\n", StatusFile());
    EXPECT_TRUE(FakeCommands().empty());
}

TEST_F(PlugUpdateTest, TheFileHasItsNameFromTheStartAndOnlyTheStatusSaysThatItIsComplete)
{
    WriteFile(kPathPlugDownload, "of an earlier update");
    ExpectFailureOf(
        [](HttpConnection &connection) {
            const std::string body = NewAgent();
            connection.Send(HeaderFor(body.size()) + body.substr(0, 2000));
            EXPECT_TRUE(Within([&] { return Update() == body.substr(0, 2000); }));
            EXPECT_NE("004\n", StatusFile());
            connection.Send(body.substr(2000));
        },
        "00000000000000000000000000000000");
}

TEST_F(PlugUpdateTest, AFileThatSomebodyElseHasPlantedIsNotWritten)
{
    const std::string precious = FakeFolder() + "/precious";
    WriteFile(precious, "precious");
    for (auto plant : {link, symlink}) {
        ASSERT_EQ(0, plant(precious.c_str(), kPathPlugDownload));
        ExpectFailureOf(Serving(NewAgent()), "00000000000000000000000000000000");
        EXPECT_EQ("precious", ReadFile(precious));
        EXPECT_FALSE(Exists(kPathPlugDownload));
    }
}

TEST_F(PlugUpdateTest, AFolderAtTheFilesPathIsAFailureBeforeAnyRequest)
{
    ASSERT_EQ(0, mkdir(kPathPlugDownload, 0700));
    HttpServer server(Serving(NewAgent()));
    EXPECT_EQ(0, ParserPlugData(2, Command(server.Port(), kBodyMd5).c_str()));
    ExpectFailure();
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("]-> download filename: " + std::string(kPathPlugDownload) + "\n"));
    EXPECT_NE(std::string::npos, log.find("]-> can't open local file\n"));
    EXPECT_TRUE(server.Requests().empty());
    EXPECT_EQ(0, mProcess);
    rmdir(kPathPlugDownload);
}

TEST_F(PlugUpdateTest, AFileThatDoesNotFitOnTheDiskIsRemoved)
{
    struct rlimit before;
    ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &before));
    const auto handler = signal(SIGXFSZ, SIG_IGN);
    const struct rlimit small = {65536, before.rlim_max};
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &small));
    ExpectFailureOf(Serving(std::string(200000, 'x')));
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, handler);
    EXPECT_FALSE(Exists(kPathPlugDownload));
    EXPECT_EQ(1u, FakeCommands().size());
}

TEST_F(PlugUpdateTest, ASecondDownloadAtTheSameTimeIsAFailure)
{
    WriteFile(kPathPlugDownload, "of an earlier update");
    ASSERT_TRUE(HttpClaim(HTTP_ENDS_WITH_SESSION));
    EXPECT_EQ(0, ParserPlugData(2, Command(1, kBodyMd5).c_str()));
    HttpRelease();
    ExpectFailure();
    EXPECT_EQ("of an earlier update", Update());
    EXPECT_TRUE(FakeCommands().empty());
}

// A file that has no digest is treated like one with a wrong digest.
TEST_F(PlugUpdateTest, AFileThatIsGoneBeforeItsDigestIsTakenIsAFailure)
{
    const auto removing = [](HttpConnection &connection) {
        const std::string body = NewAgent();
        connection.Send(HeaderFor(body.size()) + body.substr(0, 1000));
        EXPECT_TRUE(Within([] { return Update().size() == 1000; }));
        EXPECT_EQ(0, unlink(kPathPlugDownload));
        connection.Send(body.substr(1000));
    };
    ExpectFailureOf(removing);
    EXPECT_TRUE(Logged("md5: self:===down :" + std::string(kBodyMd5)));
    EXPECT_EQ(1u, FakeCommands().size());
    unlink(kPathPlugStatus);

    HttpServer server(removing);
    EXPECT_EQ(0xFFFFFFFFu, DownLoadProc(kBodyMd5, "127.0.0.1", server.Port(), "/x"));
    EXPECT_EQ("", StatusFile());
    ExpectNothingSent();
}

TEST_F(PlugUpdateTest, WithoutMemoryForItsReportAFailureStillWritesItsStatus)
{
    cJSON_Hooks hooks = {[](size_t) -> void * { return nullptr; }, free};
    cJSON_InitHooks(&hooks);
    EXPECT_EQ(0, PlugUpdate(false));
    cJSON_InitHooks(nullptr);
    ExpectNothingSent();
    EXPECT_EQ("104\n", StatusFile());
}

TEST_F(PlugUpdateTest, AnUpdateThatIsReceivingContinuesAfterItsSessionAndEndsWithItsStatus)
{
    HttpServer server([](HttpConnection &connection) {
        const std::string body = NewAgent();
        connection.Send(HeaderFor(body.size()) + body.substr(0, 1000));
        connection.AwaitReader();
        EndSession();
        connection.Send(body.substr(1000));
    });
    EXPECT_EQ(0, ParserPlugData(2, Command(server.Port(), "00000000000000000000000000000000").c_str()));
    EXPECT_NE(std::string::npos, Log().find("]-> md5: self:" + std::string(kBodyMd5) + "===down :"));
    EXPECT_EQ("104\n", StatusFile());
}

TEST_F(PlugUpdateTest, TheReportOfAFailureHasTheAnnouncedTexts)
{
    ASSERT_EQ(0, ParserPlugData(1, "{\"pluginID\":\"a\\\"b\\\\c\",\"fromVersion\":\"\",\"toVersion\":\"\\n\"}"));
    EXPECT_EQ(0, ParserPlugData(2, ""));
    ExpectPlainReport(3, std::string("{\"pluginID\":\"a\\\"b\\\\c\",\"fromVersion\":\"\",\"toVersion\":\"\\n\",") +
                             kFailed);
    const std::string worst(127, '\x01');
    strcpy(mPluginID, worst.c_str());
    strcpy(mToVersion, worst.c_str());
    EXPECT_EQ(0, ParserPlugData(2, ""));
    std::string escaped;
    for (int i = 0; i < 127; i++) escaped += "\\u0001";
    ExpectPlainReport(3, "{\"pluginID\":\"" + escaped + "\",\"fromVersion\":\"\",\"toVersion\":\"" + escaped + "\"," +
                             kFailed);
}

// ---- Success ----

TEST_F(PlugUpdateTest, AVerifiedUpdateIsReportedOnceAndEndsTheProcessWith255)
{
    HttpServer server(Serving(NewAgent()));
    const std::string command = Command(server.Port(), kBodyMd5);
    FakeClockAuto(true); // in the other process, so that the 3 s pass
    EXPECT_ENDS(ParserPlugData(2, command.c_str()), "exit at \\[ParserPlugData\\] [1-9][0-9]*");
    FakeClockAuto(false);
    ExpectPlainReport(3, std::string(kReportHead) + kDone);
    ExpectNothingSent();
    EXPECT_EQ("004\n", StatusFile());
    EXPECT_EQ(NewAgent(), Update());
    struct stat status;
    ASSERT_EQ(0, lstat(kPathPlugDownload, &status));
    EXPECT_TRUE(S_ISREG(status.st_mode));
    EXPECT_EQ(0u, status.st_mode & (S_IWGRP | S_IWOTH));
    EXPECT_EQ(1u, status.st_nlink);
    EXPECT_EQ(0, mProcess); // here
    const std::string request = server.Requests()[0];
    EXPECT_EQ("GET /new/plug HTTP/1.1\r\n", request.substr(0, request.find('\n') + 1));
}

// The main thread writes 103 when the connection is lost while the report is sent; a supervisor would then not start
// the new agent.
TEST_F(PlugUpdateTest, TheUpdateStatusReplacesThatOfALinkLostMeanwhile)
{
    HttpServer server(Serving(NewAgent()));
    const std::string command = Command(server.Port(), kBodyMd5);
    FakeClockAuto(true);
    FakeClockBeforeJump([] { LogPlugStatus(PLUG_LINK_LOST); });
    EXPECT_ENDS(ParserPlugData(2, command.c_str()), "exit at \\[ParserPlugData\\]");
    FakeClockAuto(false);
    EXPECT_EQ("004\n", StatusFile());
}

// ---- By itself ----

TEST_F(PlugUpdateTest, DownLoadProcKeepsAMatchingFileAndWritesTheStatus)
{
    HttpServer server(Serving(NewAgent()));
    EXPECT_EQ(0u, DownLoadProc(kBodyMd5, "127.0.0.1", server.Port(), "/x"));
    EXPECT_EQ("004\n", StatusFile());
    EXPECT_EQ(NewAgent(), Update());
    const std::string log = Log();
    const std::string line = "]-> md5: self:" + std::string(kBodyMd5) + "===down :" + kBodyMd5 + "\n";
    ASSERT_NE(std::string::npos, log.find(line));
    EXPECT_NE(std::string::npos, log.find("->DownLoadProc->"));
    ExpectNothingSent();
}

TEST_F(PlugUpdateTest, DownLoadProcRemovesAFileOfAnotherDigestAndStillReturnsZero)
{
    HttpServer server(Serving(NewAgent()));
    EXPECT_EQ(0u, DownLoadProc("00", "127.0.0.1", server.Port(), "/x"));
    EXPECT_EQ("", StatusFile());
    EXPECT_FALSE(Exists(kPathPlugDownload));
    EXPECT_EQ(1u, FakeCommands().size());
    ExpectNothingSent();
}

TEST_F(PlugUpdateTest, DownLoadProcReturnsTheErrorOfTheDownload)
{
    const UnusedPort nobody;
    EXPECT_EQ(0xFFFFFFFFu, DownLoadProc("00", "127.0.0.1", nobody.Number(), "/x"));
    EXPECT_EQ("", StatusFile());
    ExpectNothingSent();
}
