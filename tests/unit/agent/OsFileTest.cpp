#include "os/OsFile.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

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

TEST_F(OsFile, ALinkIsFollowedOnlyOnDemand)
{
    WriteFile(mTarget, "text");
    ASSERT_EQ(0, symlink(mTarget.c_str(), mPath.c_str()));
    EXPECT_EQ(-1, OsOpenForReading(mPath.c_str(), false));
    EXPECT_EQ(ELOOP, errno);
    const int fd = OsOpenForReading(mPath.c_str(), true);
    EXPECT_GE(fd, 0);
    close(fd);
}

TEST_F(OsFile, WhatIsNoRegularFileIsNotOpenedAndNotWaitedFor)
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

TEST_F(OsFile, AFileThatIsRefusedIsClosedAgain)
{
    const int before = dup(0);
    close(before);
    EXPECT_EQ(-1, OsOpenForReading(FakeFolder().c_str(), true));
    const int after = dup(0);
    close(after);
    EXPECT_EQ(before, after);
}

TEST_F(OsFile, ReplaceCreatesAFileOfMode0644)
{
    const mode_t mask = umask(0);
    EXPECT_EQ(0, OsReplaceFile(mPath.c_str(), "001\n", 4));
    umask(mask);
    EXPECT_EQ("001\n", FileContent(mPath));
    struct stat status;
    ASSERT_EQ(0, stat(mPath.c_str(), &status));
    EXPECT_EQ(0644u, status.st_mode & 07777);
}

TEST_F(OsFile, ReplaceLeavesNothingOfALongerContent)
{
    WriteFile(mPath, "something much longer");
    EXPECT_EQ(0, OsReplaceFile(mPath.c_str(), "103\n", 4));
    EXPECT_EQ("103\n", FileContent(mPath));
    EXPECT_EQ(0, OsReplaceFile(mPath.c_str(), "", 0));
    EXPECT_EQ("", FileContent(mPath));
}

TEST_F(OsFile, ReplaceKeepsTheFileItself)
{
    WriteFile(mPath, "001\n");
    struct stat before;
    struct stat after;
    ASSERT_EQ(0, stat(mPath.c_str(), &before));
    EXPECT_EQ(0, OsReplaceFile(mPath.c_str(), "002\n", 4));
    ASSERT_EQ(0, stat(mPath.c_str(), &after));
    EXPECT_EQ(before.st_ino, after.st_ino); // so it works on a full disk, too
}

TEST_F(OsFile, ReplaceRemovesAPlantedLinkAndLeavesItsTarget)
{
    WriteFile(mTarget, "precious");
    ASSERT_EQ(0, symlink(mTarget.c_str(), mPath.c_str()));
    EXPECT_EQ(0, OsReplaceFile(mPath.c_str(), "001\n", 4));
    EXPECT_FALSE(IsLink(mPath));
    EXPECT_EQ("001\n", FileContent(mPath));
    EXPECT_EQ("precious", FileContent(mTarget));
}

TEST_F(OsFile, ReplaceDoesNotCreateTheTargetOfADanglingLink)
{
    ASSERT_EQ(0, symlink(mTarget.c_str(), mPath.c_str()));
    EXPECT_EQ(0, OsReplaceFile(mPath.c_str(), "001\n", 4));
    EXPECT_FALSE(IsLink(mPath));
    EXPECT_NE(0, access(mTarget.c_str(), F_OK));
}

TEST_F(OsFile, ReplaceLeavesADirectoryOrAFifoAlone)
{
    ASSERT_EQ(0, mkdir(mPath.c_str(), 0755));
    EXPECT_EQ(-1, OsReplaceFile(mPath.c_str(), "001\n", 4));
    EXPECT_EQ(0, rmdir(mPath.c_str()));
    ASSERT_EQ(0, mkfifo(mPath.c_str(), 0644));
    EXPECT_EQ(-1, OsReplaceFile(mPath.c_str(), "001\n", 4)); // nobody reads: opening would block
    EXPECT_EQ(ENXIO, errno);
    const int reader = open(mPath.c_str(), O_RDONLY | O_NONBLOCK);
    EXPECT_EQ(-1, OsReplaceFile(mPath.c_str(), "001\n", 4));
    EXPECT_EQ(EINVAL, errno);
    char byte;
    EXPECT_EQ(0, read(reader, &byte, 1)) << "something was written into the FIFO";
    close(reader);
}

TEST_F(OsFile, ReplaceInAFolderThatIsNotThereCannotOpen)
{
    EXPECT_EQ(-1, OsReplaceFile((FakeFolder() + "/missing/file").c_str(), "001\n", 4));
    EXPECT_EQ(ENOENT, errno);
}

TEST_F(OsFile, ReplaceTellsAFailedWriteFromAFailedOpen)
{
    int result;
    int error;
    {
        FileSizeLimit limit(0);
        result = OsReplaceFile(mPath.c_str(), "001\n", 4);
        error = errno;
    }
    EXPECT_EQ(-2, result);
    EXPECT_EQ(EFBIG, error);
}

TEST_F(OsFile, ReplaceTakesAPartialWriteForAFailedOne)
{
    int result;
    int error;
    {
        FileSizeLimit limit(2);
        result = OsReplaceFile(mPath.c_str(), "001\n", 4);
        error = errno;
    }
    EXPECT_EQ(-2, result);
    EXPECT_EQ(ENOSPC, error);
}

TEST_F(OsFile, OpenedForWritingAFileIsEmptyAndCloseOnExec)
{
    WriteFile(mPath, "a longer old content");
    const int fd = OsOpenForWriting(mPath.c_str());
    ASSERT_GE(fd, 0);
    EXPECT_EQ("", FileContent(mPath));
    EXPECT_EQ(FD_CLOEXEC, fcntl(fd, F_GETFD) & FD_CLOEXEC);
    EXPECT_EQ(0, OsWriteAll(fd, "one ", 4));
    EXPECT_EQ(0, OsWriteAll(fd, "two", 3));
    close(fd);
    EXPECT_EQ("one two", FileContent(mPath));
}

TEST_F(OsFile, OpeningForWritingRemovesALinkAndRefusesAllElse)
{
    WriteFile(mTarget, "precious");
    ASSERT_EQ(0, symlink(mTarget.c_str(), mPath.c_str()));
    close(OsOpenForWriting(mPath.c_str()));
    EXPECT_FALSE(IsLink(mPath));
    EXPECT_EQ("precious", FileContent(mTarget));
    unlink(mPath.c_str());
    ASSERT_EQ(0, mkfifo(mPath.c_str(), 0644));
    EXPECT_EQ(-1, OsOpenForWriting(mPath.c_str()));
    EXPECT_EQ(-1, OsOpenForWriting(FakeFolder().c_str()));
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
    EXPECT_EQ("00", FileContent(mPath));
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
    EXPECT_EQ("somebody else's", FileContent(other));
    EXPECT_EQ("ours", FileContent(mPath));
}

TEST_F(OsFile, PutInPlaceReplacesAFileOrALinkByTheWholeFile)
{
    const std::string part = FakeFolder() + "/part";
    WriteFile(part, "new");
    WriteFile(mPath, "old");
    EXPECT_EQ(0, OsPutInPlace(part.c_str(), mPath.c_str()));
    EXPECT_EQ("new", FileContent(mPath));
    EXPECT_NE(0, access(part.c_str(), F_OK));
    unlink(mPath.c_str());
    WriteFile(mTarget, "precious");
    ASSERT_EQ(0, symlink(mTarget.c_str(), mPath.c_str()));
    WriteFile(part, "newer");
    EXPECT_EQ(0, OsPutInPlace(part.c_str(), mPath.c_str()));
    EXPECT_FALSE(IsLink(mPath));
    EXPECT_EQ("newer", FileContent(mPath));
    EXPECT_EQ("precious", FileContent(mTarget));
}

TEST_F(OsFile, PutInPlaceTakesNothingButAFile)
{
    const std::string part = FakeFolder() + "/part";
    errno = 0;
    EXPECT_EQ(-1, OsPutInPlace(part.c_str(), mPath.c_str()));
    EXPECT_EQ(ENOENT, errno);
    ASSERT_EQ(0, symlink(mTarget.c_str(), part.c_str()));
    EXPECT_EQ(-1, OsPutInPlace(part.c_str(), mPath.c_str()));
    unlink(part.c_str());
    ASSERT_EQ(0, mkfifo(part.c_str(), 0600));
    EXPECT_EQ(-1, OsPutInPlace(part.c_str(), mPath.c_str()));
    unlink(part.c_str());
    WriteFile(part, "new");
    ASSERT_EQ(0, mkdir(mPath.c_str(), 0700));
    EXPECT_EQ(-1, OsPutInPlace(part.c_str(), mPath.c_str()));
    EXPECT_EQ("new", FileContent(part));
    rmdir(mPath.c_str());
}

TEST_F(OsFile, RemovingMayFindNothingAndFollowsNoLink)
{
    OsRemoveFile(mPath.c_str());
    WriteFile(mTarget, "precious");
    ASSERT_EQ(0, symlink(mTarget.c_str(), mPath.c_str()));
    OsRemoveFile(mPath.c_str());
    EXPECT_FALSE(IsLink(mPath));
    EXPECT_EQ("precious", FileContent(mTarget));
}
