// The local server's socket: who may use it, what may be at its path, and what remains at the end.
#include <csignal>
#include <cstring>
#include <filesystem>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/e2e/LocalSession.h"
#include "tests/support/UnixSocket.h"

namespace
{

class LocalSocket : public EndToEnd
{
};

// Makes a listening socket. Returns its descriptor, or -1.
int ListenAt(const char *path)
{
    const struct sockaddr_un here = UnixAddress(path);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(fd, reinterpret_cast<const struct sockaddr *>(&here), sizeof here) == 0 && listen(fd, 3) == 0) return fd;
    close(fd);
    return -1;
}

// A process of another user that listens on the agent's socket.
class StrangersListener
{
  public:
    StrangersListener()
    {
        int told[2];
        if (pipe(told) != 0) throw Failure("no pipe");
        child_ = fork();
        if (child_ == 0) {
            const bool listens = setgid(65534) == 0 && setuid(65534) == 0 && ListenAt(kSocket) >= 0;
            (void)!write(told[1], listens ? "y" : "n", 1);
            for (;;) pause();
        }
        close(told[1]);
        char byte = 'n';
        (void)!read(told[0], &byte, 1);
        close(told[0]);
        listens_ = byte == 'y';
    }
    ~StrangersListener()
    {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
    StrangersListener(const StrangersListener &) = delete;
    StrangersListener &operator=(const StrangersListener &) = delete;
    bool Listens() const { return listens_; }

  private:
    pid_t child_;
    bool listens_;
};

TEST_F(LocalSocket, IsForOwnerAndGroupWhateverTheUmask)
{
    for (const mode_t mask : {0000, 0077}) {
        const mode_t before = umask(mask);
        RunningSession session;
        umask(before);
        Manager manager;
        manager.Wait("connected");
        struct stat status = {};
        ASSERT_EQ(0, lstat(kSocket, &status));
        EXPECT_EQ(S_IFSOCK | mode_t(0660), status.st_mode) << mask;
    }
}

TEST_F(LocalSocket, AnAgentThatFindsAnotherOneEndsAndTheOtherDoesNotNotice)
{
    RunningSession session;
    for (int i = 0; i < 2; i++) {
        Agent second;
        EXPECT_EQ(255, second.WaitExit());
        EXPECT_EQ(1u, second.CountLog("another agent has the socket"));
    }
    AgentOptions silent;
    silent.arguments = {};
    Agent third(silent);
    EXPECT_EQ(255, third.WaitExit());
    EXPECT_EQ("plug: another agent has the socket\n", third.RawLog());
    EXPECT_EQ(0u, session.agent.CountLog("create a instance...")) << "it is no peer";
    Manager manager;
    manager.Wait("connected");
    session.platform.Command("mesh");
    EXPECT_EQ("on", session.platform.Wait("reply").Text("fields.switch"));
}

TEST_F(LocalSocket, OfAKilledAgentIsReplaced)
{
    {
        RunningSession session;
        session.agent.Signal(SIGKILL);
        session.agent.WaitExit();
        EXPECT_TRUE(std::filesystem::is_socket(kSocket));
    }
    const LocalSession local;
}

TEST_F(LocalSocket, OfAnotherUserIsReplaced)
{
    if (geteuid() != 0) GTEST_SKIP() << "needs root";
    std::filesystem::permissions("/tmp", std::filesystem::perms(01777));
    const StrangersListener stranger;
    if (!stranger.Listens()) GTEST_SKIP() << "there is only one user here";
    struct stat status = {};
    ASSERT_EQ(0, lstat(kSocket, &status));
    ASSERT_EQ(65534u, status.st_uid);
    RunningSession session;
    Manager manager;
    manager.Wait("request", {{"name", "plugin-state"}});
    ASSERT_EQ(0, lstat(kSocket, &status));
    EXPECT_EQ(geteuid(), status.st_uid);
}

TEST_F(LocalSocket, IsMadeOnceAFolderAtThePathIsGone)
{
    std::filesystem::create_directories(std::string(kSocket) + "/planted");
    RunningSession session;
    const LogEntry first = session.agent.WaitLog("bind failed");
    const LogEntry second = session.agent.WaitLog("bind failed", first.number + 1);
    EXPECT_GE(second.time - first.time, 4); // whole seconds: five may show as four
    EXPECT_LE(second.time - first.time, 15);
    std::filesystem::remove_all(kSocket);
    Manager manager;
    manager.Wait("connected");
    session.ExpectAnswers();
}

TEST_F(LocalSocket, IsRemovedAtTheEndButNotAFileThatReplacedIt)
{
    for (const int signal : {SIGTERM, SIGINT}) {
        RunningSession session;
        Manager manager;
        manager.Wait("connected");
        session.agent.Signal(signal);
        EXPECT_EQ(0, session.agent.WaitExit());
        EXPECT_FALSE(std::filesystem::exists(kSocket));
    }
    RunningSession session;
    Manager manager;
    manager.Wait("connected");
    const int other = ListenAt("/tmp/agent/socket");
    ASSERT_GE(other, 0);
    std::filesystem::rename("/tmp/agent/socket", kSocket);
    session.agent.Signal(SIGTERM);
    EXPECT_EQ(0, session.agent.WaitExit());
    EXPECT_TRUE(std::filesystem::is_socket(kSocket));
    close(other);
}

} // namespace
