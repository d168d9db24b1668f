// Another user of the router, who puts his own files in the place of the agent's in /tmp and exchanges them as fast as
// he can: nothing of his runs as root, nothing of root's is written through his, and the agent's work goes on.
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <grp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/e2e/Updates.h"

namespace fs = std::filesystem;

namespace
{
constexpr uid_t kNobody = 65534;
const char kTaken[] = "/tmp/home/taken"; // which only root can make, and only his script does
const char kHis[] = "/tmp/his";
const char kHisScript[] = "/tmp/his/script";
const char kHisStage[] = "/tmp/his/stage";
const char kPrecious[] = "/tmp/precious"; // root's

// A process of another user that does `body` until the end of its scope.
class Stranger
{
  public:
    explicit Stranger(const std::function<void()> &body)
    {
        int ready[2];
        if (pipe2(ready, O_CLOEXEC) != 0) throw Failure("pipe");
        pid_ = fork();
        if (pid_ == 0) Live(body, ready[1]);
        close(ready[1]);
        char byte;
        const bool lives = read(ready[0], &byte, 1) == 1;
        close(ready[0]);
        if (!lives) throw Failure("no process of another user: this test needs root");
    }
    ~Stranger()
    {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    Stranger(const Stranger &) = delete;
    Stranger &operator=(const Stranger &) = delete;

  private:
    // Nothing here or in a body needs memory: other threads may have held its lock when this process was made.
    [[noreturn]] static void Live(const std::function<void()> &body, int ready)
    {
        umask(0);
        if (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0) _exit(1);
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (write(ready, "!", 1) != 1) _exit(1);
        for (;;) body();
    }
    pid_t pid_;
};

// Puts his `file` in the place of `path`, each time in another way.
void Plant(const char *path, const char *file, unsigned way)
{
    unlink(path); // which succeeds when it is his
    switch (way % 5) {
    case 0: // a file of his own
        if (link(file, path) == 0) unlink(file);
        break;
    case 1: (void)!link(file, path); break;
    case 2: (void)!symlink(file, path); break;
    case 3: (void)!symlink(kPrecious, path); break;
    case 4: mkfifo(path, 0666); break;
    }
}

void MakeAnew(const char *path, const char *text, size_t size)
{
    const int fd = open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0777);
    (void)!write(fd, text, size);
    close(fd);
}

// The stage that says "verified", and a script that would show that it has been run.
void PlantUpdate()
{
    static const char script[] = "#!/bin/sh\ntouch /tmp/home/taken\nexec sleep 1000\n";
    static int stages[16]; // that he holds open, to write on when they have become the agent's
    static unsigned round;
    MakeAnew(kHisScript, script, sizeof script - 1);
    MakeAnew(kHisStage, "004\n", 4);
    Plant(kStatusFile, kHisStage, round / 7);
    Plant(kUpdate, kHisScript, round / 3);
    if (round == 0)
        for (int &stage : stages) stage = -1;
    int &stage = stages[round++ % std::size(stages)];
    close(stage);
    stage = open(kStatusFile, O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    for (const int fd : stages) (void)!pwrite(fd, "004\n", 4, 0);
    usleep(300); // a pause between two rounds, so that the agent gets the processor as well
}

class HostileUser : public UpdateTest
{
  protected:
    void SetUp() override
    {
        UpdateTest::SetUp();
        for (const char *path : {kHis, kPrecious, kTracerouteFile}) fs::remove_all(path);
        mkdir(kHis, 0777);
        chmod(kHis, 0777);
        WriteFile(kPrecious, "precious");
    }
    void TearDown() override
    {
        EXPECT_FALSE(fs::exists(kTaken)) << "a stranger's script has run as root";
        EXPECT_EQ("precious", ReadFile(kPrecious));
        for (const char *path : {kHis, kPrecious, kStatusFile, kTracerouteFile}) fs::remove_all(path);
        UpdateTest::TearDown();
    }
};

// ---- The supervisor

TEST_F(HostileUser, AStageAndAnUpdateThatHePlantsAreNotRun)
{
    // It ends without having written a stage as soon as both are there.
    Install(kOld, Script("echo old >>/tmp/runs; n=0\n"
                         "until [ -e /tmp/plugstatus ] && [ -s /tmp/plug_download ]; do\n"
                         "    [ $((n += 1)) -lt 1000 ] || break\n"
                         "done\n"
                         "exit 255"));
    Stranger stranger(PlantUpdate);
    Supervisor supervisor;
    std::string runs;
    for (int i = 0; i < 60; i++) runs += "old\n";
    EXPECT_TRUE(WaitForFile(kRuns, runs));
    EXPECT_EQ(0, supervisor.Stop());
    EXPECT_FALSE(Contains(supervisor.Log(), "update installed"));
    EXPECT_FALSE(fs::exists(kNew));
    EXPECT_FALSE(fs::exists(std::string(kNew) + ".trial"));
    EXPECT_EQ(std::string::npos, Runs().find("new"));
}

TEST_F(HostileUser, HasNoFileOfTheSupervisorInTmpToAttack)
{
    Install("/tmp/home/good", Script("echo new >>/tmp/runs; exec sleep 1000"));
    Install(kOld,
            Script("echo old >>/tmp/runs; cp /tmp/home/good /tmp/plug_download; echo 004 >/tmp/plugstatus; exit 255"));
    Supervisor supervisor;
    EXPECT_TRUE(WaitForFile(kRuns, "old\nnew\n"));
    EXPECT_EQ(0, supervisor.Stop());
    for (const auto &entry : fs::directory_iterator("/tmp"))
        EXPECT_NE(0u, entry.path().filename().string().find(".plug")) << entry.path();
}

TEST_F(HostileUser, FilesThatOthersMayWriteAreIgnored)
{
    Install("/tmp/home/bad", Script("echo bad >>/tmp/runs; exec sleep 1000"));
    Install(kOld, Script("echo old >>/tmp/runs; n=$(wc -l </tmp/runs)\n"
                         "cp /tmp/home/bad /tmp/plug_download; echo 004 >/tmp/plugstatus\n"
                         "case $n in\n"
                         "1) chmod 666 /tmp/plugstatus ;;\n"
                         "2) chmod 775 /tmp/plug_download ;;\n"
                         "3) ln /tmp/plugstatus /tmp/home/second ;;\n"
                         "4) ln -f /tmp/plug_download /tmp/home/second ;;\n"
                         "5) chown 65534 /tmp/plugstatus ;;\n"
                         "6) chown 65534 /tmp/plug_download ;;\n"
                         "7) rm /tmp/plugstatus; echo 104 >/tmp/plugstatus; exec sleep 1000 ;;\n"
                         "esac\nexit 255"));
    Supervisor supervisor;
    EXPECT_TRUE(WaitForFile(kRuns, "old\nold\nold\nold\nold\nold\nold\n"));
    EXPECT_TRUE(WaitForFile(kStatusFile, "104\n"));
    EXPECT_EQ(0, supervisor.Stop());
    EXPECT_FALSE(Contains(Runs(), "bad"));
}

// ---- The agent

#ifndef PLUG_SANITIZED // the preload line would have every tool of the supervisor run under it
TEST_F(HostileUser, CannotDelayARealUpdateNorReplaceIt)
{
    WriteFile(kConfigFile, ConfigText().Text());
    InstallAgent();
    const std::string content = Script("echo new >>/tmp/runs; exec sleep 1000");
    HttpServer server(Serving(content));
    Stranger stranger(PlantUpdate);
    Platform platform;
    Supervisor supervisor("", "", AgentEnvironment(20));
    // Each time the agent ends in the middle of its life, the supervisor looks for stage and update.
    for (int life = 0; life < 3; life++) {
        platform.WaitSession();
        EXPECT_EQ("003\n", Status());
        kill(std::stoi(ReadFile(kAgentId)), SIGKILL);
    }
    platform.WaitSession();
    Announce(&platform);
    platform.Command(UpdateCommand(server.Port(), "/agent", Md5(content)));
    EXPECT_EQ(kSuccess, platform.Wait("upload", {{"datatype", "3"}}).Text("text"));
    EXPECT_TRUE(WaitForFile(kRuns, "new\n"));
    EXPECT_EQ(content, ReadFile(std::string(kNew) + ".trial"));
    EXPECT_EQ(0, supervisor.Stop());
    EXPECT_TRUE(Contains(supervisor.Log(), "update installed"));
}
#endif

// He waits until the agent has looked at his file and then puts a link in its place, before a shell could open it.
TEST_F(HostileUser, ATracerouteFileThatHeExchangesIsNotWrittenThrough)
{
    FakeProgram traceroute("traceroute", "echo \"to $2\"");
    Stranger stranger([] {
        const char file[] = "/tmp/his/file", link[] = "/tmp/his/link";
        MakeAnew(file, "x", 1);
        unlink(link);
        (void)!symlink(kPrecious, link);
        const int fd = open(file, O_RDONLY | O_CLOEXEC);
        (void)!::link(file, kTracerouteFile);
        unlink(file);
        struct stat status;
        for (int i = 0; i < 2000 && fstat(fd, &status) == 0 && status.st_nlink == 1; i++)
            if (status.st_size == 0) (void)!rename(link, kTracerouteFile);
        close(fd);
        unlink(kTracerouteFile);
    });
    RunningSession session(WithFakes());
    for (int i = 0; i < 10; i++) {
        while (Ask(&session.platform, 51, TargetParameter("192.168.1.20")).status == 1) {
        }
        traceroute.AwaitRuns(static_cast<size_t>(i + 1));
        const FunctionReply result = Ask(&session.platform, 52);
        if (result.status == 0) {
            EXPECT_TRUE(result.text == "to 192.168.1.20\n" || result.text.empty()) << result.text;
        }
        fs::remove(kTracerouteFile);
    }
    session.ExpectAnswers();
}
} // namespace
