// The socket of the local server: what may be at its path, and whose it is.
#include "comm/CommListener.h"

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "os/Paths.h"
#include "tests/fakes/FakeLibraries.h"
#include "tests/support/UnixSocket.h"
#include "tests/unit/agent/AgentTest.h"

namespace
{

const uid_t kStranger = 65534;

// Makes a socket of this type at the path. Returns its descriptor.
int SocketThere(int type, bool listens)
{
    const struct sockaddr_un there = UnixAddress(kPathCommServer);
    const int fd = socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
    EXPECT_EQ(0, bind(fd, reinterpret_cast<const struct sockaddr *>(&there), sizeof there));
    if (listens) {
        EXPECT_EQ(0, listen(fd, 1));
    }
    return fd;
}

bool CanConnect()
{
    const int fd = ConnectUnix(kPathCommServer);
    if (fd >= 0) close(fd);
    return fd >= 0;
}

ino_t InodeThere()
{
    struct stat status = {};
    return lstat(kPathCommServer, &status) == 0 ? status.st_ino : 0;
}

class CommListener : public AgentTest
{
  protected:
    void SetUp() override
    {
        AgentTest::SetUp();
        FakeLibrariesReset();
    }

    // Opens the listener and closes it again.
    void ExpectListens()
    {
        const int fd = CommListen();
        ASSERT_GE(fd, 0) << Log();
        EXPECT_TRUE(CanConnect());
        CommListenEnd(fd);
        EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(kPathCommServer)));
    }
};

// A process of another user that does something at the path. It lives as long as this object.
class Stranger
{
  public:
    explicit Stranger(const std::function<void()> &act)
    {
        std::filesystem::permissions(FakeFolder(), std::filesystem::perms(01777));
        int done[2];
        EXPECT_EQ(0, pipe(done));
        mChild = fork();
        if (mChild == 0) {
            const bool changed = setgid(kStranger) == 0 && setuid(kStranger) == 0;
            if (changed) act();
            (void)!write(done[1], "!", 1);
            for (;;) pause();
        }
        char byte;
        close(done[1]);
        EXPECT_EQ(1, read(done[0], &byte, 1));
        close(done[0]);
    }
    ~Stranger()
    {
        kill(mChild, SIGKILL);
        waitpid(mChild, nullptr, 0);
        std::filesystem::permissions(FakeFolder(), std::filesystem::perms(0700));
    }
    Stranger(const Stranger &) = delete;
    Stranger &operator=(const Stranger &) = delete;

  private:
    pid_t mChild;
};

} // namespace

TEST_F(CommListener, OwnerAndGroupMayUseTheSocketWhateverTheUmask)
{
    for (const mode_t mask : {0000, 0022, 0077, 0777}) {
        const mode_t before = umask(mask);
        const int fd = CommListen();
        umask(before);
        struct stat status = {};
        EXPECT_EQ(0, lstat(kPathCommServer, &status));
        EXPECT_EQ(S_IFSOCK | mode_t(0660), status.st_mode) << mask;
        CommListenEnd(fd);
    }
}

TEST_F(CommListener, ASocketLeftFromAnEarlierRunIsReplaced)
{
    close(SocketThere(SOCK_STREAM, true));
    ExpectListens();
}

TEST_F(CommListener, AFileOrALinkIsReplaced)
{
    WriteFile(kPathCommServer, "x");
    ExpectListens();
    ASSERT_EQ(0, symlink("/tmp/nowhere", kPathCommServer));
    ExpectListens();
    ASSERT_EQ(0, mkfifo(kPathCommServer, 0600));
    ExpectListens();
}

TEST_F(CommListener, ASocketThatAnotherAgentListensOnIsNotTouched)
{
    const int other = SocketThere(SOCK_STREAM, true);
    fcntl(other, F_SETFL, O_NONBLOCK);
    const ino_t inode = InodeThere();
    EXPECT_EQ(kCommListenTaken, CommListen());
    EXPECT_EQ(inode, InodeThere());
    EXPECT_EQ(-1, accept(other, nullptr, nullptr)) << "it has not even noticed";
    close(other);
    ExpectListens();
}

TEST_F(CommListener, ASocketOfAnotherTypeIsReplaced)
{
    const int other = SocketThere(SOCK_DGRAM, false);
    ExpectListens();
    close(other);
}

TEST_F(CommListener, TheSocketOfAnotherUserIsReplacedEvenIfItListens)
{
    if (geteuid() != 0) GTEST_SKIP() << "needs root";
    for (const bool listens : {true, false}) {
        const Stranger stranger([listens] { SocketThere(SOCK_STREAM, listens); });
        struct stat status = {};
        ASSERT_EQ(0, lstat(kPathCommServer, &status));
        ASSERT_EQ(kStranger, status.st_uid);
        ExpectListens();
    }
}

TEST_F(CommListener, ASocketThatListensForUsIsOursEvenIfTheFileBelongsToAnotherUser)
{
    if (geteuid() != 0) GTEST_SKIP() << "needs root";
    const int other = SocketThere(SOCK_STREAM, true);
    ASSERT_EQ(0, chown(kPathCommServer, kStranger, kStranger));
    EXPECT_EQ(kCommListenTaken, CommListen());
    close(other);
}

TEST_F(CommListener, AFolderAtThePathIsNotTouched)
{
    const std::string inside = std::string(kPathCommServer) + "/planted";
    std::filesystem::create_directories(inside);
    EXPECT_EQ(kCommListenFailed, CommListen());
    EXPECT_NE(std::string::npos, Log().find("[CommServer->CommServerProc->"));
    EXPECT_TRUE(std::filesystem::exists(inside));
}

TEST_F(CommListener, ASocketIsRemovedWhenListenFails)
{
    FakeFailListen();
    EXPECT_EQ(kCommListenFailed, CommListen());
    EXPECT_NE(std::string::npos, Log().find("]-> listen failed\n\n"));
    EXPECT_EQ(0u, InodeThere());
}

TEST_F(CommListener, AFileThatReplacedOurSocketIsNotRemoved)
{
    const int fd = CommListen();
    ASSERT_GE(fd, 0);
    std::filesystem::remove(kPathCommServer);
    const int other = SocketThere(SOCK_STREAM, true);
    const ino_t inode = InodeThere();
    CommListenEnd(fd);
    EXPECT_EQ(inode, InodeThere());
    close(other);
}
