// The update of the agent itself: good and bad servers.
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <thread>
#include <unistd.h>

#include "tests/e2e/Updates.h"

namespace fs = std::filesystem;

namespace
{
const char kNothing[] = "00000000000000000000000000000000";

// The text after "datatype":3 in the platform's events.
const char kFailure[] =
    "{\"pluginID\":\"router\",\"fromVersion\":\"2.0\",\"toVersion\":\"2.1\",\"process\":0,\"result\":-1,"
    "\"resultDesc\":\"\"}";

using Update = UpdateTest;

void Begin(RunningSession *session, const HttpServer &server, const std::string &md5)
{
    Announce(&session->platform);
    session->platform.Command(UpdateCommand(server.Port(), "/agent", md5));
}

// One report, status 104, and the agent goes on.
void ExpectFailure(RunningSession *session)
{
    EXPECT_EQ(kFailure, session->platform.Wait("upload", {{"datatype", "3"}}).Text("text"));
    session->platform.Wait("ack", {{"datatype", "2"}});
    EXPECT_EQ("104\n", Status());
    session->ExpectAnswers();
    EXPECT_EQ(1u, session->platform.Count("upload", {{"datatype", "3"}}));
}

std::string Capitals(std::string text)
{
    for (char &c : text) c = static_cast<char>(toupper(c));
    return text;
}

// ---- One update ----

TEST_F(Update, WithTheRightDigestIsReportedOnceAndEndsTheAgentWith255AfterThreeSeconds)
{
    const std::string content = Body(200000);
    HttpServer server(Serving(content));
    AgentOptions options;
    options.clock = 1;
    RunningSession session(options);
    Begin(&session, server, Md5(content));
    EXPECT_EQ(kSuccess, session.platform.Wait("upload", {{"datatype", "3"}}).Text("text"));
    const auto reported = std::chrono::steady_clock::now();
    EXPECT_EQ("004\n", Status());
    EXPECT_EQ(255, session.agent.WaitExit());
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - reported;
    EXPECT_GT(took.count(), 2.5);
    EXPECT_LT(took.count(), 6);
    EXPECT_EQ("004\n", Status());
    EXPECT_EQ(content, ReadFile(kUpdate));
    EXPECT_EQ(1u, session.platform.Count("upload", {{"datatype", "3"}}));
    EXPECT_EQ(1u, session.agent.CountLog("exit at [ParserPlugData] "));
}

TEST_F(Update, WithAWrongDigestFailsAndRemovesTheFile)
{
    WriteFile(kUpdate, "of an earlier update");
    HttpServer server(Serving(Body(5000)));
    RunningSession session;
    Begin(&session, server, kNothing);
    ExpectFailure(&session);
    EXPECT_FALSE(fs::exists(kUpdate));
    EXPECT_EQ(1u, session.agent.CountLog("DeleteDownloadFile"));
}

TEST_F(Update, WithADigestInCapitalsFails)
{
    const std::string content = Body(5000);
    HttpServer server(Serving(content));
    RunningSession session;
    Begin(&session, server, Capitals(Md5(content)));
    ExpectFailure(&session);
    EXPECT_FALSE(fs::exists(kUpdate));
}

TEST_F(Update, WithoutADigestFailsWithoutADownload)
{
    HttpServer server(Serving(Body(5000)));
    RunningSession session;
    Announce(&session.platform);
    session.platform.Command("plugin 2 {\"url\":\"http://127.0.0.1:" + std::to_string(server.Port()) +
                             "/agent\",\"fileLength\":1,\"token\":\"t\"}");
    ExpectFailure(&session);
    EXPECT_TRUE(server.Requests().empty());
}

TEST_F(Update, OfAFileThatDoesNotExistFails)
{
    PlatformOptions platformOptions;
    platformOptions.httpAt = "127.0.0.1:8199";
    RunningSession session({}, platformOptions);
    Announce(&session.platform);
    session.platform.Command(UpdateCommand(8199, "/no/such/file", kNothing));
    ExpectFailure(&session);
    EXPECT_EQ("", ReadFile(kUpdate));
}

TEST_F(Update, OfAnEmptyFileFails)
{
    HttpServer server(Serving(""));
    RunningSession session;
    Begin(&session, server, "d41d8cd98f00b204e9800998ecf8427e");
    ExpectFailure(&session);
}

TEST_F(Update, OfAServerThatClosesEarlyWaitsUntilTheSessionEndsAndKeepsTheReceivedBytes)
{
    HttpServer server([](HttpConnection &connection) { connection.Send(HeaderFor(5000) + "half an agent"); });
    RunningSession session;
    Begin(&session, server, kNothing);
    session.agent.WaitLog("lens = ");
    session.platform.Command("drop");
    session.agent.WaitLog("session ended, 13 of 5000 bytes received");
    session.platform.WaitSession(60);
    EXPECT_EQ("half an agent", ReadFile(kUpdate));
    session.ExpectAnswers();
}

TEST_F(Update, ThatHangsEndsWithinASecondOfSigterm)
{
    HttpServer server([](HttpConnection &connection) {
        connection.Send(HeaderFor(500000) + Body(100000));
        connection.AwaitEnd();
    });
    AgentOptions options;
    options.clock = 1;
    RunningSession session(options);
    Begin(&session, server, kNothing);
    session.agent.WaitLog("lens = ");
    session.agent.Signal(SIGTERM);
    EXPECT_EQ(0, session.agent.WaitExit(1));
    EXPECT_NE("004\n", Status());
}

// ---- What it does not touch, and what it leaves ----

TEST_F(Update, ThatIsRefusedTouchesNothing)
{
    WriteFile(kUpdate, "of an earlier update");
    HttpServer server([](HttpConnection &connection) { connection.AwaitEnd(); });
    RunningSession session;
    const std::string json = "{\"value_func61\":\"http://127.0.0.1:" + std::to_string(server.Port()) + "/rate\"}";
    session.platform.Command("function 87 " + Hex16(static_cast<unsigned>(json.size())) + " text=" + json);
    session.agent.WaitLog("serverName: 127.0.0.1");
    Begin(&session, server, kNothing);
    session.agent.WaitLog("another download is in progress");
    ExpectFailure(&session);
    EXPECT_EQ("of an earlier update", ReadFile(kUpdate));
}

TEST_F(Update, WithAFolderInPlaceOfTheFileFailsBeforeTheServerIsAsked)
{
    mkdir(kUpdate, 0755);
    HttpServer server(Serving(Body(5000)));
    RunningSession session;
    Begin(&session, server, kNothing);
    ExpectFailure(&session);
    session.agent.WaitLog("download filename: /tmp/plug_download");
    session.agent.WaitLog("can't open local file");
    EXPECT_TRUE(server.Requests().empty());
}

// The file system of /tmp.
struct statvfs Room()
{
    struct statvfs room = {};
    if (statvfs("/tmp", &room) != 0) throw Failure("statvfs");
    return room;
}

TEST_F(Update, WithAFullInodeTableFailsBeforeTheServerIsAsked)
{
    HttpServer server(Serving(Body(5000)));
    RunningSession session;
    const struct statvfs before = Room();
    RunShell("mount -o remount,nr_inodes=" + std::to_string(before.f_files - before.f_ffree) + " /tmp");
    Begin(&session, server, kNothing);
    ExpectFailure(&session);
    RunShell("mount -o remount,nr_inodes=" + std::to_string(before.f_files) + " /tmp");
    session.agent.WaitLog("download filename: /tmp/plug_download");
    session.agent.WaitLog("can't open local file");
    EXPECT_TRUE(server.Requests().empty());
}

TEST_F(Update, ThatDoesNotFitOnTheDiskFailsAndFreesItsSpace)
{
    const std::string content = Body(1000000);
    const std::string digest = Md5(content);
    HttpServer server(Serving(content));
    RunningSession session;
    const off_t left = 256 << 10;
    const int filler = open("/tmp/filler", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const struct statvfs empty = Room();
    ASSERT_EQ(0, posix_fallocate(filler, 0, static_cast<off_t>(empty.f_bavail * empty.f_bsize) - left));
    const auto before = Room().f_bavail;
    Begin(&session, server, digest);
    ExpectFailure(&session);
    EXPECT_FALSE(fs::exists(kUpdate));
    EXPECT_LE(before, Room().f_bavail + 16); // the router library's log of its calls grows a little
    session.agent.WaitLog("can't write local file: No space left on device");
    EXPECT_EQ(1u, session.agent.CountLog("DeleteDownloadFile"));
    close(filler);
    fs::remove("/tmp/filler");
    session.platform.Command(UpdateCommand(server.Port(), "/agent", digest));
    EXPECT_EQ(255, session.agent.WaitExit());
    EXPECT_EQ(content, ReadFile(kUpdate));
}

// ---- Slow updates, and the loss of the session ----

const int kSlowBytes = 300000;

// 300 kB at 3 kB a second of the agent's time.
class SlowUpdate : public Update, public testing::WithParamInterface<int>
{
  protected:
    static AgentOptions FastAgent()
    {
        AgentOptions options;
        options.clock = 50;
        return options;
    }
    static PlatformOptions WithHttp(int interval)
    {
        PlatformOptions options;
        options.interval = interval;
        options.httpAt = "127.0.0.1:8199";
        return options;
    }
    // Random bytes of the test platform; a first, failed update logs their digest. The next one is slow.
    void BeginSlow(RunningSession *session)
    {
        session->platform.Set("http * size=" + std::to_string(kSlowBytes));
        Announce(&session->platform);
        session->platform.Command(UpdateCommand(8199, "/download/agent", kNothing));
        session->platform.Wait("upload", {{"datatype", "3"}});
        const LogEntry entry = session->agent.WaitLog("md5: self:");
        session->platform.Set("http * slow=" + std::to_string(3000 * static_cast<int>(FastAgent().clock)));
        session->platform.Command(UpdateCommand(8199, "/download/agent", entry.text.substr(10, 32)));
        begin_ = session->agent.WaitLog("lens = ", entry.number);
    }
    // In the agent's time, from the header to the digest.
    void ExpectSlowSuccess(RunningSession *session)
    {
        const LogEntry end = session->agent.WaitLog("md5: self:", begin_.number, 40);
        EXPECT_GE(end.time - begin_.time, 90);
        EXPECT_EQ(255, session->agent.WaitExit());
        EXPECT_EQ("004\n", Status());
        EXPECT_EQ(static_cast<size_t>(kSlowBytes), fs::file_size(kUpdate));
        EXPECT_EQ(1u, session->agent.CountLog("exit at [ParserPlugData] "));
        EXPECT_EQ(0u, session->agent.CountLog("session ended, "));
    }

  private:
    LogEntry begin_;
};

TEST_P(SlowUpdate, EndsWithItsReportItsStatusAndTheEndOfTheAgent)
{
    RunningSession session(FastAgent(), WithHttp(GetParam()));
    BeginSlow(&session);
    ExpectSlowSuccess(&session);
    EXPECT_EQ(kSuccess, session.platform.Wait("upload", {{"datatype", "3"}}).Text("text"));
}

TEST_P(SlowUpdate, EndsWithItsStatusAndTheEndOfTheAgentWhenTheLinkIsLostMeanwhile)
{
    RunningSession session(FastAgent(), WithHttp(GetParam()));
    BeginSlow(&session);
    session.platform.Command("drop");
    ExpectSlowSuccess(&session);
    EXPECT_FALSE(session.platform.Happened("upload", {{"datatype", "3"}}));
    const LogEntry lost = session.agent.WaitLog("Close link.");
    const LogEntry exit = session.agent.WaitLog("exit at [ParserPlugData] ");
    EXPECT_LT(lost.time, exit.time - 30); // in the middle of the download
}

INSTANTIATE_TEST_SUITE_P(, SlowUpdate, testing::Values(20, 60),
                         [](const auto &tested) { return "Interval" + std::to_string(tested.param); });

TEST_F(Update, OfAServerThatFallsSilentEndsTenSecondsLaterWhenTheLinkIsLost)
{
    HttpServer server([](HttpConnection &connection) {
        connection.Send(HeaderFor(500000) + Body(100000));
        connection.AwaitEnd();
    });
    RunningSession session;
    Begin(&session, server, kNothing);
    const LogEntry begin = session.agent.WaitLog("lens = ");
    session.platform.Command("drop");
    const LogEntry end = session.agent.WaitLog("session ended, 100000 of 500000 bytes received");
    EXPECT_GE(end.time - begin.time, 9);
    EXPECT_LE(end.time - begin.time, 20);
    session.platform.WaitSession();
    EXPECT_EQ(Body(100000), ReadFile(kUpdate));
    session.ExpectAnswers();
}

TEST_F(Update, OfAHundredMegabytesArrivesWhole)
{
    RunShell("mount -o remount,size=300m /tmp");
    PlatformOptions platformOptions;
    platformOptions.httpAt = "127.0.0.1:8199";
    RunningSession session({}, platformOptions);
    session.platform.Set("http * size=100M");
    Announce(&session.platform);
    // Random bytes; a first, failed update logs their digest.
    session.platform.Command(UpdateCommand(8199, "/download/agent", kNothing));
    session.platform.Wait("upload", {{"datatype", "3"}}, 60);
    const std::string line = session.agent.WaitLog("md5: self:").text;
    const std::string digest = line.substr(10, 32);
    session.platform.Command(UpdateCommand(8199, "/download/agent", digest));
    EXPECT_EQ(kSuccess, session.platform.Wait("upload", {{"datatype", "3"}}, 60).Text("text"));
    EXPECT_EQ(255, session.agent.WaitExit());
    EXPECT_EQ(100u << 20, fs::file_size(kUpdate));
    EXPECT_EQ(digest, RunShell("md5sum </tmp/plug_download").substr(0, 32));
    fs::remove(kUpdate);
    RunShell("mount -o remount,size=32m /tmp");
}

// ---- Killed at any point ----

TEST_F(Update, KilledAtAnyPointTheStatusIsThatOfAnUpdateOnlyIfTheFileIsComplete)
{
    const std::string content = Body(3000000);
    const std::string digest = Md5(content);
    size_t coming = 0, whole = 0;
    std::chrono::steady_clock::duration took{}; // by a round that is not killed, from the header to the status
    for (int round = -1; round < 30; round++) {
        fs::remove(kUpdate);
        // Half of the rounds begin with the file of an earlier download, which must not be mistaken for this one.
        if (round % 2) WriteFile(kUpdate, "of an earlier update");
        HttpServer server(Serving(content));
        RunningSession session;
        Begin(&session, server, digest);
        session.agent.WaitLog("lens = ");
        const auto begin = std::chrono::steady_clock::now();
        if (round < 0) {
            WaitStatus("004\n");
            took = std::chrono::steady_clock::now() - begin;
            continue;
        }
        std::this_thread::sleep_for(took * round / 20); // from its start to half its length after its end
        session.agent.Signal(SIGKILL);
        const int status = session.agent.WaitExit();
        EXPECT_TRUE(status == 128 + SIGKILL || status == 255) << status;
        if (Status() != "004\n") {
            coming++;
            continue;
        }
        whole++;
        ASSERT_EQ(content, ReadFile(kUpdate)) << "in round " << round;
    }
    printf("killed while the file came: %zu times, behind: %zu times\n", coming, whole);
    EXPECT_GT(coming, 0u);
    EXPECT_GT(whole, 0u);
}
} // namespace
