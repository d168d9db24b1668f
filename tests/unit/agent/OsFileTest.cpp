#include "os/OsFile.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include "tests/support/UnixSocket.h"
#include "tests/unit/agent/AgentTest.h"

namespace
{

class OsFile : public AgentTest
{
  protected:
    const std::string mPath = FakeFolder() + "/file";
    const std::string mTarget = FakeFolder() + "/target";
};

// Files of this process cannot grow past a size while this is in scope.
class FileSizeLimit
{
  public:
    explicit FileSizeLimit(rlim_t size)
    {
        getrlimit(RLIMIT_FSIZE, &mOld);
        const struct rlimit limit = {size, mOld.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
        mHandler = signal(SIGXFSZ, SIG_IGN);
    }
    ~FileSizeLimit()
    {
        setrlimit(RLIMIT_FSIZE, &mOld);
        signal(SIGXFSZ, mHandler);
    }

  private:
    struct rlimit mOld;
    sighandler_t mHandler;
};

struct stat Status(const std::string &path)
{
    struct stat status = {};
    EXPECT_EQ(0, lstat(path.c_str(), &status)) << path;
    return status;
}

bool IsLink(const std::string &path)
{
    struct stat status;
    return lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

} // namespace

TEST_F(OsFile, OpensARegularFileForReadingCloseOnExec)
{
    WriteFile(mPath, "text");
    const int fd = OsOpenForReading(mPath.c_str(), false);
    ASSERT_GE(fd, 0);
    char text[8];
    EXPECT_EQ(4, read(fd, text, sizeof text));
    EXPECT_EQ(FD_CLOEXEC, fcntl(fd, F_GETFD) & FD_CLOEXEC);
    EXPECT_EQ(-1, write(fd, text, 1));
    close(fd);
}

TEST_F(OsFile, ALinkIsFollowedOnlyWhenAskedTo)
{
    WriteFile(mTarget, "text");
    ASSERT_EQ(0, symlink(mTarget.c_str(), mPath.c_str()));
    EXPECT_EQ(-1, OsOpenForReading(mPath.c_str(), false));
    EXPECT_EQ(ELOOP, errno);
    const int fd = OsOpenForReading(mPath.c_str(), true);
    EXPECT_GE(fd, 0);
    close(fd);
}

// Ownership is tested with the configuration file, the only one that is opened so.
TEST_F(OsFile, ATrustedFileMayHaveALongPathAndSeveralLinks)
{
    WriteFile(mTarget, "text");
    EXPECT_EQ(-1, OsOpenTrusted((FakeFolder() + std::string(5000, '/') + "target").c_str()));
    EXPECT_EQ(ENAMETOOLONG, errno);
    // A relative target that fits alone, but not behind the folder's name.
    const std::string far = "." + std::string(4080, '/') + "target";
    ASSERT_EQ(0, symlink(far.c_str(), mPath.c_str()));
    EXPECT_EQ(-1, OsOpenTrusted(mPath.c_str()));
    EXPECT_EQ(ENAMETOOLONG, errno);
    std::string last = mTarget;
    for (int links = 1; links <= 8; links++) {
        const std::string next = FakeFolder() + "/link" + std::to_string(links);
        ASSERT_EQ(0, symlink(last.c_str(), next.c_str()));
        const int fd = OsOpenTrusted(next.c_str());
        EXPECT_EQ(links < 8, fd >= 0) << links;
        if (fd >= 0)
            close(fd);
        else
            EXPECT_EQ(ELOOP, errno);
        last = next;
    }
}

TEST_F(OsFile, OnlyARegularFileIsOpenedAndNothingBlocks)
{
    EXPECT_EQ(-1, OsOpenForReading(FakeFolder().c_str(), true));
    EXPECT_EQ(EINVAL, errno);
    ASSERT_EQ(0, mkfifo(mPath.c_str(), 0644));
    EXPECT_EQ(-1, OsOpenForReading(mPath.c_str(), true));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_EQ(-1, OsOpenForReading("/dev/null", true));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_EQ(-1, OsOpenForReading((FakeFolder() + "/missing").c_str(), true));
    EXPECT_EQ(ENOENT, errno);
}

TEST_F(OsFile, ARefusedFileIsClosed)
{
    const int before = dup(0);
    close(before);
    EXPECT_EQ(-1, OsOpenForReading(FakeFolder().c_str(), true));
    const int after = dup(0);
    close(after);
    EXPECT_EQ(before, after);
}

TEST_F(OsFile, ReplaceCreatesAFileWithTheGivenModeWhateverTheUmask)
{
    for (const mode_t mask : {0u, 077u}) {
        for (const mode_t mode : {0644u, 0600u}) {
            unlink(mPath.c_str());
            const mode_t before = umask(mask);
            EXPECT_EQ(0, OsReplaceFile(mPath.c_str(), "001\n", 4, mode));
            umask(before);
            EXPECT_EQ("001\n", ReadFile(mPath));
            EXPECT_EQ(mode, Status(mPath).st_mode & 07777);
        }
    }
}

TEST_F(OsFile, ReplaceGivesAFileOfOursTheGivenMode)
{
    WriteFile(mPath, "001\n");
    ASSERT_EQ(0, chmod(mPath.c_str(), 0644));
    const struct stat before = Status(mPath);
    EXPECT_EQ(0, OsReplaceFile(mPath.c_str(), "002\n", 4, 0600));
    EXPECT_EQ(before.st_ino, Status(mPath).st_ino);
    EXPECT_EQ(0600u, Status(mPath).st_mode & 07777);
}

// Somebody may have it open for writing and go on writing.
TEST_F(OsFile, AFileOfOursThatOthersMayWriteIsMadeAnewAndNotRead)
{
    for (const mode_t mode : {0666u, 0620u, 0602u}) {
        WriteFile(mPath, "004\n");
        ASSERT_EQ(0, chmod(mPath.c_str(), mode));
        const int theirs = open(mPath.c_str(), O_WRONLY | O_CLOEXEC);
        EXPECT_EQ(-1, OsOpenOurs(mPath.c_str()));
        EXPECT_EQ(EINVAL, errno);
        EXPECT_EQ(0, OsReplaceFile(mPath.c_str(), "001\n", 4, 0644));
        EXPECT_EQ(4, pwrite(theirs, "004\n", 4, 0));
        close(theirs);
        EXPECT_EQ("001\n", ReadFile(mPath));
    }
}

TEST_F(OsFile, ReplaceLeavesNothingOfALongerContent)
{
    WriteFile(mPath, "something much longer");
    EXPECT_EQ(0, OsReplaceFile(mPath.c_str(), "103\n", 4, 0644));
    EXPECT_EQ("103\n", ReadFile(mPath));
    EXPECT_EQ(0, OsReplaceFile(mPath.c_str(), "", 0, 0644));
    EXPECT_EQ("", ReadFile(mPath));
}

TEST_F(OsFile, ReplaceKeepsTheFileItself)
{
    WriteFile(mPath, "001\n");
    struct stat before;
    struct stat after;
    ASSERT_EQ(0, stat(mPath.c_str(), &before));
    EXPECT_EQ(0, OsReplaceFile(mPath.c_str(), "002\n", 4, 0644));
    ASSERT_EQ(0, stat(mPath.c_str(), &after));
    EXPECT_EQ(before.st_ino, after.st_ino); // so it works on a full disk, too
}

TEST_F(OsFile, ReplaceRemovesAPlantedLinkAndLeavesItsTarget)
{
    WriteFile(mTarget, "precious");
    ASSERT_EQ(0, symlink(mTarget.c_str(), mPath.c_str()));
    EXPECT_EQ(0, OsReplaceFile(mPath.c_str(), "001\n", 4, 0644));
    EXPECT_FALSE(IsLink(mPath));
    EXPECT_EQ("001\n", ReadFile(mPath));
    EXPECT_EQ("precious", ReadFile(mTarget));
}

TEST_F(OsFile, ReplaceDoesNotCreateTheTargetOfADanglingLink)
{
    ASSERT_EQ(0, symlink(mTarget.c_str(), mPath.c_str()));
    EXPECT_EQ(0, OsReplaceFile(mPath.c_str(), "001\n", 4, 0644));
    EXPECT_FALSE(IsLink(mPath));
    EXPECT_NE(0, access(mTarget.c_str(), F_OK));
}

TEST_F(OsFile, ReplaceLeavesAFolderAndItsContentAlone)
{
    ASSERT_EQ(0, mkdir(mPath.c_str(), 0755));
    WriteFile(mPath + "/in-it", "somebody else's");
    EXPECT_EQ(-1, OsReplaceFile(mPath.c_str(), "001\n", 4, 0644));
    EXPECT_EQ(EISDIR, errno);
    EXPECT_EQ(-1, OsOpenForWriting(mPath.c_str()));
    EXPECT_EQ(EISDIR, errno);
    EXPECT_EQ(-1, OsOpenOurs(mPath.c_str()));
    EXPECT_EQ("somebody else's", ReadFile(mPath + "/in-it"));
    ASSERT_EQ(0, unlink((mPath + "/in-it").c_str()));
    EXPECT_EQ(-1, OsReplaceFile(mPath.c_str(), "001\n", 4, 0644)); // an empty one as well
    EXPECT_EQ(0, rmdir(mPath.c_str()));
}

TEST_F(OsFile, ReplaceRemovesAFifoWhetherSomebodyReadsOrNot)
{
    for (const bool reads : {false, true}) {
        unlink(mPath.c_str());
        ASSERT_EQ(0, mkfifo(mPath.c_str(), 0644));
        const int reader = reads ? open(mPath.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC) : -1;
        EXPECT_EQ(-1, OsOpenOurs(mPath.c_str()));
        EXPECT_EQ(0, OsReplaceFile(mPath.c_str(), "001\n", 4, 0644));
        EXPECT_EQ("001\n", ReadFile(mPath));
        char byte;
        EXPECT_EQ(reads ? 0 : -1, read(reader, &byte, 1)) << "something was written into the FIFO";
        close(reader);
    }
}

TEST_F(OsFile, ReplaceRemovesASocket)
{
    const struct sockaddr_un at = UnixAddress(mPath);
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(0, bind(listener, reinterpret_cast<const struct sockaddr *>(&at), sizeof at));
    EXPECT_EQ(0, OsReplaceFile(mPath.c_str(), "001\n", 4, 0644));
    close(listener);
    EXPECT_EQ("001\n", ReadFile(mPath));
}

TEST_F(OsFile, AFileThatHasASecondNameIsMadeAnewAndNotRead)
{
    WriteFile(mTarget, "precious");
    ASSERT_EQ(0, link(mTarget.c_str(), mPath.c_str()));
    EXPECT_EQ(-1, OsOpenOurs(mPath.c_str()));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_EQ(0, OsReplaceFile(mPath.c_str(), "001\n", 4, 0644));
    EXPECT_EQ("001\n", ReadFile(mPath));
    EXPECT_EQ("precious", ReadFile(mTarget));
}

// Otherwise our own file would be removed for nothing.
TEST_F(OsFile, ReplaceRemovesNothingWhenDescriptorsRunOut)
{
    WriteFile(mPath, "001\n");
    struct rlimit before;
    getrlimit(RLIMIT_NOFILE, &before);
    const struct rlimit none = {0, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    const int result = OsReplaceFile(mPath.c_str(), "002\n", 4, 0644);
    const int error = errno;
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(-1, result);
    EXPECT_EQ(EMFILE, error);
    EXPECT_EQ("001\n", ReadFile(mPath));
}

TEST_F(OsFile, OursIsARegularFileAndNoLinkToOne)
{
    WriteFile(mTarget, "text");
    const int fd = OsOpenOurs(mTarget.c_str());
    ASSERT_GE(fd, 0);
    EXPECT_EQ(FD_CLOEXEC, fcntl(fd, F_GETFD) & FD_CLOEXEC);
    close(fd);
    ASSERT_EQ(0, symlink(mTarget.c_str(), mPath.c_str()));
    EXPECT_EQ(-1, OsOpenOurs(mPath.c_str()));
    EXPECT_EQ(ELOOP, errno);
    EXPECT_EQ(-1, OsOpenOurs((FakeFolder() + "/missing").c_str()));
    EXPECT_EQ(ENOENT, errno);
}

TEST_F(OsFile, ReplaceInAMissingFolderCannotOpen)
{
    EXPECT_EQ(-1, OsReplaceFile((FakeFolder() + "/missing/file").c_str(), "001\n", 4, 0644));
    EXPECT_EQ(ENOENT, errno);
}

TEST_F(OsFile, ReplaceReturnsAnotherErrorForAFailedWriteThanForAFailedOpen)
{
    int result;
    int error;
    {
        FileSizeLimit limit(0);
        result = OsReplaceFile(mPath.c_str(), "001\n", 4, 0644);
        error = errno;
    }
    EXPECT_EQ(-2, result);
    EXPECT_EQ(EFBIG, error);
}

TEST_F(OsFile, ReplaceTreatsAPartialWriteAsAFailedOne)
{
    int result;
    int error;
    {
        FileSizeLimit limit(2);
        result = OsReplaceFile(mPath.c_str(), "001\n", 4, 0644);
        error = errno;
    }
    EXPECT_EQ(-2, result);
    EXPECT_EQ(ENOSPC, error);
}

static int s_pipe[2];

TEST_F(OsFile, AReadGoesOnAfterASignal)
{
    ASSERT_EQ(0, pipe(s_pipe));
    struct sigaction before, action = {}; // no SA_RESTART: a blocking read ends with EINTR
    action.sa_handler = [](int) { (void)!write(s_pipe[1], "x", 1); };
    sigaction(SIGALRM, &action, &before);
    const struct itimerval soon = {{0, 0}, {0, 1000}};
    setitimer(ITIMER_REAL, &soon, nullptr);
    char byte = 0;
    EXPECT_EQ(1, OsRead(s_pipe[0], &byte, 1));
    EXPECT_EQ('x', byte);
    sigaction(SIGALRM, &before, nullptr);
    close(s_pipe[0]);
    close(s_pipe[1]);
}

TEST_F(OsFile, ReadUpToTakesWhatComesInPiecesUntilTheEndOrTheLimit)
{
    int ends[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends)); // each read takes one piece
    for (const char *piece : {"one", "two", "three"}) EXPECT_LT(0, write(ends[1], piece, strlen(piece)));
    char text[16] = "";
    EXPECT_EQ(6u, OsReadUpTo(ends[0], text, 6));
    EXPECT_STREQ("onetwo", text);
    close(ends[1]);
    memset(text, 0, sizeof text);
    EXPECT_EQ(5u, OsReadUpTo(ends[0], text, sizeof text));
    EXPECT_STREQ("three", text);
    close(ends[0]);
    EXPECT_EQ(0u, OsReadUpTo(-1, text, sizeof text));
}

TEST_F(OsFile, OpenedForWritingAFileIsEmptyAndCloseOnExec)
{
    WriteFile(mPath, "a longer old content");
    const int fd = OsOpenForWriting(mPath.c_str());
    ASSERT_GE(fd, 0);
    EXPECT_EQ("", ReadFile(mPath));
    EXPECT_EQ(FD_CLOEXEC, fcntl(fd, F_GETFD) & FD_CLOEXEC);
    EXPECT_EQ(0, OsWriteAll(fd, "one ", 4));
    EXPECT_EQ(0, OsWriteAll(fd, "two", 3));
    close(fd);
    EXPECT_EQ("one two", ReadFile(mPath));
}

TEST_F(OsFile, OpenedForWritingAFileHasMode0600AndReadsBackWhatWasWritten)
{
    const mode_t before = umask(0);
    const int fd = OsOpenForWriting(mPath.c_str());
    umask(before);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(0600u, Status(mPath).st_mode & 07777);
    EXPECT_EQ(0, OsWriteAll(fd, "one", 3));
    char text[4] = "";
    EXPECT_EQ(3, pread(fd, text, sizeof text, 0));
    EXPECT_STREQ("one", text);
    close(fd);
}

TEST_F(OsFile, OpeningForWritingRemovesALinkAndAFifo)
{
    WriteFile(mTarget, "precious");
    ASSERT_EQ(0, symlink(mTarget.c_str(), mPath.c_str()));
    close(OsOpenForWriting(mPath.c_str()));
    EXPECT_FALSE(IsLink(mPath));
    EXPECT_EQ("precious", ReadFile(mTarget));
    unlink(mPath.c_str());
    ASSERT_EQ(0, mkfifo(mPath.c_str(), 0644));
    close(OsOpenForWriting(mPath.c_str()));
    EXPECT_TRUE(S_ISREG(Status(mPath).st_mode));
}

TEST_F(OsFile, WritingAllFailsWhenTheFileTakesLess)
{
    const int fd = OsOpenForWriting(mPath.c_str());
    int result;
    int error;
    {
        FileSizeLimit limit(2);
        result = OsWriteAll(fd, "001\n", 4);
        error = errno;
    }
    close(fd);
    EXPECT_EQ(-1, result);
    EXPECT_EQ(EFBIG, error);
    EXPECT_EQ("00", ReadFile(mPath));
}

TEST_F(OsFile, AFileOpenedForWritingIsANewOne)
{
    const std::string other = FakeFolder() + "/other";
    WriteFile(other, "somebody else's");
    ASSERT_EQ(0, link(other.c_str(), mPath.c_str()));
    const int fd = OsOpenForWriting(mPath.c_str());
    ASSERT_GE(fd, 0);
    EXPECT_EQ(0, OsWriteAll(fd, "ours", 4));
    close(fd);
    EXPECT_EQ("somebody else's", ReadFile(other));
    EXPECT_EQ("ours", ReadFile(mPath));
}

TEST_F(OsFile, RemovingAcceptsAMissingFileAndFollowsNoLink)
{
    OsRemoveFile(mPath.c_str());
    WriteFile(mTarget, "precious");
    ASSERT_EQ(0, symlink(mTarget.c_str(), mPath.c_str()));
    OsRemoveFile(mPath.c_str());
    EXPECT_FALSE(IsLink(mPath));
    EXPECT_EQ("precious", ReadFile(mTarget));
}

TEST_F(OsFile, AFileIsRemovedOnlyIfItIsStillTheSameFile)
{
    OsFileId id;
    EXPECT_FALSE(OsFileIdOf(mPath.c_str(), &id));
    WriteFile(mPath, "first");
    const int held = open(mPath.c_str(), O_RDONLY | O_CLOEXEC); // so that its number is not given away again
    ASSERT_TRUE(OsFileIdOf(mPath.c_str(), &id));
    unlink(mPath.c_str());
    OsRemoveFileIf(mPath.c_str(), id);
    WriteFile(mPath, "second");
    OsRemoveFileIf(mPath.c_str(), id);
    EXPECT_EQ("second", ReadFile(mPath));
    ASSERT_TRUE(OsFileIdOf(mPath.c_str(), &id));
    OsRemoveFileIf(mPath.c_str(), id);
    EXPECT_EQ(-1, access(mPath.c_str(), F_OK));
    close(held);
}

TEST_F(OsFile, ALinkIsIdentifiedByItselfNotByItsTarget)
{
    WriteFile(mTarget, "precious");
    OsFileId id;
    ASSERT_TRUE(OsFileIdOf(mTarget.c_str(), &id));
    ASSERT_EQ(0, symlink(mTarget.c_str(), mPath.c_str()));
    OsRemoveFileIf(mPath.c_str(), id);
    EXPECT_TRUE(IsLink(mPath));
    ASSERT_TRUE(OsFileIdOf(mPath.c_str(), &id));
    OsRemoveFileIf(mPath.c_str(), id);
    EXPECT_FALSE(IsLink(mPath));
    EXPECT_EQ("precious", ReadFile(mTarget));
}
