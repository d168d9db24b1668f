// The update of the agent itself: good and bad servers, and a supervisor that starts what has been fetched.
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "tests/e2e/Diagnostics.h"
#include "tests/unit/agent/HttpServer.h"

namespace fs = std::filesystem;

namespace
{
const char kUpdate[] = "/tmp/plug_download";
const char kPart[] = "/tmp/plug_download.part";
const char kHome[] = "/tmp/home"; // of the supervised agents
const char kNothing[] = "00000000000000000000000000000000";

// What follows "datatype":3 in the platform's events.
const char kFailure[] =
    "{\"pluginID\":\"router\",\"fromVersion\":\"2.0\",\"toVersion\":\"2.1\",\"process\":0,\"result\":-1,"
    "\"resultDesc\":\"\"}";
const char kSuccess[] =
    "{\"pluginID\":\"router\",\"fromVersion\":\"2.0\",\"toVersion\":\"2.1\",\"process\":1,\"result\":0,"
    "\"resultDesc\":\"\"}";

class Update : public DiagnosticsTest
{
  protected:
    void SetUp() override
    {
        DiagnosticsTest::SetUp();
        for (const char *path : {kUpdate, kPart, kHome, "/tmp/runs"}) fs::remove_all(path);
        mkdir(kHome, 0755);
    }
    void TearDown() override { fs::remove_all(kUpdate); }
};

// Of the system's own program.
std::string Md5(const std::string &content)
{
    WriteFile("/tmp/md5-of", content);
    const std::string digest = RunShell("md5sum </tmp/md5-of").substr(0, 32);
    fs::remove("/tmp/md5-of");
    return digest;
}

HttpServer::Answer Serving(const std::string &content)
{
    return [content](HttpConnection &connection) {
        connection.Send(HeaderFor(content.size()) + content);
        connection.AwaitEnd();
    };
}

std::string UpdateCommand(uint16_t port, const std::string &path, const std::string &md5)
{
    return "plugin 2 {\"url\":\"http://127.0.0.1:" + std::to_string(port) + path +
           "\",\"fileLength\":1,\"fileMD5\":\"" + md5 + "\",\"token\":\"t\"}";
}

void Announce(Platform *platform)
{
    platform->Command("plugin 1 {\"pluginID\":\"router\",\"fromVersion\":\"2.0\",\"toVersion\":\"2.1\"}");
    platform->Wait("ack", {{"datatype", "1"}});
}

void Begin(RunningSession *session, const HttpServer &server, const std::string &md5)
{
    Announce(&session->platform);
    session->platform.Command(UpdateCommand(server.Port(), "/agent", md5));
}

// One report, status 104, and an agent as before.
void ExpectFailure(RunningSession *session)
{
    EXPECT_EQ(kFailure, session->platform.Wait("upload", {{"datatype", "3"}}).Text("text"));
    session->platform.Wait("ack", {{"datatype", "2"}});
    EXPECT_EQ("104\n", Status());
    session->ExpectAnswers();
    EXPECT_EQ(1u, session->platform.Count("upload", {{"datatype", "3"}}));
    EXPECT_FALSE(fs::exists(kPart));
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
    EXPECT_FALSE(fs::exists(kPart));
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

TEST_F(Update, OfAFileThatIsNotThereFails)
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

TEST_F(Update, OfAServerThatClosesEarlyWaitsUntilTheSessionEndsAndLeavesWhatCame)
{
    HttpServer server([](HttpConnection &connection) { connection.Send(HeaderFor(5000) + "half an agent"); });
    RunningSession session;
    Begin(&session, server, kNothing);
    session.agent.WaitLog("lens = ");
    EXPECT_FALSE(fs::exists(kUpdate));
    session.platform.Command("drop");
    session.agent.WaitLog("session ended, 13 of 5000 bytes received");
    session.platform.WaitSession(60);
    EXPECT_EQ("half an agent", ReadFile(kUpdate));
    EXPECT_FALSE(fs::exists(kPart));
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
    EXPECT_FALSE(fs::exists(kUpdate));
}

TEST_F(Update, OfAHundredMegabytesArrivesWhole)
{
    RunShell("mount -o remount,size=300m /tmp");
    PlatformOptions platformOptions;
    platformOptions.httpAt = "127.0.0.1:8199";
    RunningSession session({}, platformOptions);
    session.platform.Set("http * size=100M");
    Announce(&session.platform);
    // Made-up bytes; a first, failed update tells their digest.
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

// ---- The supervisor ----

const char kOld[] = "/tmp/home/plug";
const char kNew[] = "/tmp/home/plug.update";

// A program in place of an agent, as long as an update must be.
std::string Script(const std::string &text)
{
    return "#!/bin/sh\n" + text + "\n#" + std::string(2000, '-') + "\n";
}

void Install(const std::string &path, const std::string &content)
{
    WriteFile(path, content);
    chmod(path.c_str(), 0755);
}

class Supervisor
{
  public:
    // `options` are those of the agent, `settings` lines of its settings file.
    explicit Supervisor(const std::string &options = "", const std::string &settings = "",
                        std::map<std::string, std::string> environment = {})
    {
        WriteFile("/tmp/home/defaults",
                  std::string("PLUG=") + kOld + "\nPLUG_OPTIONS='" + options + "'\nPLUG_NEW=" + kNew +
                      "\nPAUSE=0\nLONG_PAUSE=0\nMAX_PAUSE=0\nTRIAL=2\nlog() { echo \"plug: $*\" >&2; }\n" + settings);
        ProcessOptions program;
        program.arguments = {"/bin/sh", PLUG_SUPERVISOR};
        program.environment = std::move(environment);
        program.environment["PLUG_DEFAULTS"] = "/tmp/home/defaults";
        process_ = std::make_unique<Process>(program);
        close(process_->Output());
        lines_ = std::make_unique<Lines>(process_->Errors());
    }
    void WaitLog(const std::string &text)
    {
        const auto found = lines_->Find(0, kPatience, [&](const std::string &line) { return Contains(line, text); });
        if (!found) throw Failure("the supervisor does not say: " + text);
    }
    std::string Log()
    {
        std::string log;
        for (const std::string &line : lines_->All()) log += line + "\n";
        return log;
    }
    int Stop()
    {
        process_->Signal(SIGTERM);
        const auto status = process_->WaitExit(kPatience);
        return status ? *status : -1;
    }

  private:
    std::unique_ptr<Lines> lines_;
    std::unique_ptr<Process> process_;
};

std::string Runs()
{
    return ReadFile("/tmp/runs");
}

TEST_F(Update, TheSupervisorStartsTheAgentAgainWhateverItEndsWith)
{
    Install(kOld, Script("echo run >>/tmp/runs; [ $(wc -l </tmp/runs) -lt 4 ] || exec sleep 1000; exit 255"));
    Supervisor supervisor;
    EXPECT_TRUE(WaitForFile("/tmp/runs", "run\nrun\nrun\nrun\n"));
    EXPECT_EQ(0, supervisor.Stop());
    EXPECT_TRUE(NoneRuns("sleep"));
}

TEST_F(Update, TheSupervisorsPauseGrowsWhenTheAgentEndsAtOnce)
{
    Install(kOld, Script("echo run >>/tmp/runs; exit 255"));
    Supervisor supervisor("", "PAUSE=1\nMAX_PAUSE=600\n");
    supervisor.WaitLog("starting again in 2 s");
    supervisor.WaitLog("starting again in 4 s");
    EXPECT_EQ("run\nrun\n", Runs());
    EXPECT_EQ(0, supervisor.Stop()); // in the pause, too
}

TEST_F(Update, TheSupervisorStartsAnUpdateThatIsWholeAndKeepsItWhenItLasts)
{
    Install("/tmp/home/good", Script("echo new >>/tmp/runs; sleep 3; exit 255"));
    Install(kOld,
            Script("echo old >>/tmp/runs; cp /tmp/home/good /tmp/plug_download; echo 004 >/tmp/plugstatus; exit 255"));
    Supervisor supervisor;
    EXPECT_TRUE(WaitForFile("/tmp/runs", "old\nnew\nnew\n"));
    supervisor.WaitLog("the update stays");
    EXPECT_EQ(ReadFile("/tmp/home/good"), ReadFile(kNew));
    EXPECT_FALSE(fs::exists(std::string(kNew) + ".trial"));
    EXPECT_FALSE(fs::exists(kUpdate));
    EXPECT_EQ(0, supervisor.Stop());
    EXPECT_EQ(std::string::npos, Runs().find("old", 4));
}

TEST_F(Update, TheSupervisorGoesBackToTheOldAgentWhenTheNewOneEndsAtOnce)
{
    Install(kOld, Script("echo old >>/tmp/runs; [ ! -e /tmp/home/once ] || exec sleep 1000; touch /tmp/home/once; "
                         "printf '#!/bin/sh\\necho new >>/tmp/runs; exit 1\\n' >/tmp/plug_download; "
                         "echo 004 >/tmp/plugstatus; exit 255"));
    Supervisor supervisor;
    EXPECT_TRUE(WaitForFile("/tmp/runs", "old\nnew\nold\n"));
    supervisor.WaitLog("back to the agent before it");
    EXPECT_FALSE(fs::exists(kNew));
    EXPECT_FALSE(fs::exists(std::string(kNew) + ".trial"));
    EXPECT_EQ(0, supervisor.Stop());
}

TEST_F(Update, TheSupervisorGoesBackToTheLastUpdateThatLasted)
{
    Install(kOld, Script("echo old >>/tmp/runs; exec sleep 1000"));
    Install(kNew, Script("echo first >>/tmp/runs; [ ! -e /tmp/home/once ] || exec sleep 1000; touch /tmp/home/once; "
                         "echo rubbish that no system runs >/tmp/plug_download; echo 004 >/tmp/plugstatus; exit 255"));
    Supervisor supervisor;
    EXPECT_TRUE(WaitForFile("/tmp/runs", "first\nfirst\n"));
    EXPECT_EQ("first\nfirst\n", Runs());
    EXPECT_EQ(0, supervisor.Stop());
}

TEST_F(Update, TheSupervisorStartsNoUpdateWithoutItsStageAndNoLink)
{
    Install("/tmp/home/bad", Script("echo bad >>/tmp/runs; exec sleep 1000"));
    Install(kOld, Script("echo old >>/tmp/runs; n=$(wc -l </tmp/runs); rm -f /tmp/plug_download\n"
                         "case $n in\n"
                         "1) cp /tmp/home/bad /tmp/plug_download; echo 104 >/tmp/plugstatus ;;\n"
                         "2) cp /tmp/home/bad /tmp/plug_download ;;\n" // and no stage at all
                         "3) ln -s /tmp/home/bad /tmp/plug_download; echo 004 >/tmp/plugstatus ;;\n"
                         "4) : >/tmp/plug_download; echo 004 >/tmp/plugstatus ;;\n"
                         "5) echo 004 >/tmp/plugstatus ;;\n"
                         "*) exec sleep 1000 ;;\n"
                         "esac\nexit 255"));
    Supervisor supervisor;
    EXPECT_TRUE(WaitForFile("/tmp/runs", "old\nold\nold\nold\nold\nold\n"));
    EXPECT_EQ(std::string::npos, Runs().find("bad"));
    EXPECT_EQ(0, supervisor.Stop());
}

// ---- The agent under its supervisor ----

#ifndef PLUG_SANITIZED // the preload line would have every tool of the supervisor run under it
// Settings of an agent that finds its router library and runs on a fast clock.
std::map<std::string, std::string> AgentEnvironment(double clock)
{
    return {{"LD_LIBRARY_PATH", PLUG_BUILD_FOLDER},
            {"LD_PRELOAD", PLUG_PRELOAD},
            {"FASTCLOCK_FACTOR", std::to_string(clock)},
            {"TZ", "UTC"}};
}

// The real agent under a name of ours; where its process number can be read.
const char kAgentId[] = "/tmp/home/id";
void InstallAgent()
{
    Install(kOld, std::string("#!/bin/sh\necho $$ >") + kAgentId + "\nexec " PLUG_PROGRAM " \"$@\"\n");
}

TEST_F(Update, UnderTheSupervisorTheAgentFetchedIsTheOneThatRunsNext)
{
    WriteFile(kConfigFile, ConfigText().Text());
    InstallAgent();
    const std::string content = Script("echo new >>/tmp/runs; exec sleep 1000");
    HttpServer server(Serving(content));
    Platform platform;
    Supervisor supervisor("", "", AgentEnvironment(20));
    platform.WaitSession();
    Announce(&platform);
    platform.Command(UpdateCommand(server.Port(), "/agent", Md5(content)));
    EXPECT_EQ(kSuccess, platform.Wait("upload", {{"datatype", "3"}}).Text("text"));
    EXPECT_TRUE(WaitForFile("/tmp/runs", "new\n"));
    EXPECT_EQ(content, ReadFile(std::string(kNew) + ".trial"));
    EXPECT_EQ(0, supervisor.Stop());
}

TEST_F(Update, KilledAtAnyPointTheSupervisorStartsTheOldAgentOrAWholeNewOne)
{
    WriteFile(kConfigFile, ConfigText().Text());
    InstallAgent();
    std::string content = Script("echo new >>/tmp/runs; exec sleep 1000");
    content += "#" + std::string(3000000, '-') + "\n";
    const std::string digest = Md5(content);
    const int rounds = 12, reported = 3;
    int older = 0, newer = 0;
    for (int round = 0; round < rounds; round++) {
        for (const std::string &path : {std::string(kNew) + ".trial", std::string("/tmp/runs"), std::string(kUpdate)})
            fs::remove(path);
        HttpServer server(Serving(content));
        Platform platform;
        Supervisor supervisor("", "", AgentEnvironment(20));
        platform.WaitSession();
        Announce(&platform);
        platform.Command(UpdateCommand(server.Port(), "/agent", digest));
        if (round >= rounds - reported)
            platform.Wait("upload", {{"datatype", "3"}});
        else
            std::this_thread::sleep_for(std::chrono::microseconds(round * 1500));
        kill(std::stoi(ReadFile(kAgentId)), SIGKILL);
        supervisor.WaitLog("starting again");
        const bool installed = Contains(supervisor.Log(), "update installed");
        if (installed) {
            newer++;
            EXPECT_TRUE(WaitForFile("/tmp/runs", "new\n"));
            EXPECT_EQ(content, ReadFile(std::string(kNew) + ".trial"));
        } else {
            older++;
            platform.WaitSession();
            EXPECT_EQ("", Runs());
        }
        EXPECT_EQ(0, supervisor.Stop());
    }
    printf("the old agent again: %d times, the new one: %d times\n", older, newer);
    EXPECT_GE(older, 1);
    EXPECT_GE(newer, reported);
}
#endif

TEST_F(Update, KilledAtAnyPointThereIsNoNewAgentOrAWholeOne)
{
    const std::string content = Body(3000000);
    const std::string digest = Md5(content);
    size_t absent = 0, whole = 0;
    for (int round = 0; round < 30; round++) {
        fs::remove(kUpdate);
        fs::remove(kPart);
        // Half of the rounds begin with what an earlier update has left, which must not pass for this one's.
        if (round % 2) WriteFile(kUpdate, "of an earlier update");
        HttpServer server(Serving(content));
        RunningSession session;
        Begin(&session, server, digest);
        session.agent.WaitLog("lens = ");
        // Download, digest and renaming take some 10 ms, which the rounds sweep over.
        std::this_thread::sleep_for(std::chrono::microseconds(round * 400));
        session.agent.Signal(SIGKILL);
        const int status = session.agent.WaitExit();
        EXPECT_TRUE(status == 128 + SIGKILL || status == 255) << status;
        if (fs::exists(kUpdate)) {
            whole++;
            ASSERT_EQ(content, ReadFile(kUpdate)) << "in round " << round;
        } else {
            absent++;
            ASSERT_NE("004\n", Status()) << "in round " << round;
        }
        if (Status() == "004\n") {
            ASSERT_TRUE(fs::exists(kUpdate));
        }
    }
    printf("killed before the file stood: %zu times, behind: %zu times\n", absent, whole);
    EXPECT_GT(absent, 0u);
    EXPECT_GT(whole, 0u);
}
} // namespace
