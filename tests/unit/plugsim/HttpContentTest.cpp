#include "simulator/http/HttpContent.h"

#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/Files.h"

using namespace sim;

namespace
{
// /tmp/XXXXXX/secret beside /tmp/XXXXXX/root/{file, sub/file, download/real, pipe, links}
struct HttpFolder : testing::Test {
    void SetUp() override
    {
        top = folder.Path();
        root = top + "/root";
        for (const char *name : {"/root", "/root/sub", "/root/download"})
            ASSERT_EQ(0, mkdir((top + name).c_str(), 0700));
        Write("/secret", "secret");
        Write("/root/file", "four");
        Write("/root/sub/file", "sub");
        Write("/root/download/real", "real file");
        ASSERT_EQ(0, mkfifo((root + "/pipe").c_str(), 0600));
        ASSERT_EQ(0, symlink("../secret", (root + "/link").c_str()));
        ASSERT_EQ(0, symlink("..", (root + "/sub/up").c_str()));
        ASSERT_EQ(0, symlink("/etc", (root + "/etc").c_str()));
        ASSERT_TRUE(content.Open(root, 1000, &error)) << error;
    }
    void Write(const std::string &name, const std::string &text) { WriteFile(top + name, text); }
    TemporaryFolder folder;
    std::string top, root, error;
    HttpContent content;
};
} // namespace

TEST_F(HttpFolder, FilesAreFoundWithTheirSize)
{
    const HttpBody file = content.Find("/file"), below = content.Find("/sub/file");
    EXPECT_TRUE(file.found);
    EXPECT_EQ(4, file.size);
    char text[8] = {};
    EXPECT_EQ(3, pread(below.file, text, sizeof text, 0));
    EXPECT_STREQ("sub", text);
}

TEST_F(HttpFolder, NoPathLeadsOutOfIt)
{
    for (const char *path : {"/../secret", "/sub/../../secret", "/sub/../file", "/./file", "/link", "/etc/passwd",
                             "/sub/up/file", "/sub/up/../secret", "//file", "/sub//file", "/..", "/../", "secret", "",
                             "/", "/download/../file", "/download/../../secret"}) {
        const HttpBody body = content.Find(path);
        EXPECT_FALSE(body.found) << path;
        EXPECT_EQ(-1, body.file) << path;
    }
}

TEST_F(HttpFolder, FoldersAndPipesAreNotFound)
{
    for (const char *path : {"/sub", "/sub/", "/pipe", "/file/x"}) EXPECT_FALSE(content.Find(path).found) << path;
}

TEST_F(HttpFolder, AnOpenFileOnOfferComesBeforeEverythingElse)
{
    const int secret = open((top + "/secret").c_str(), O_RDONLY), again = open((root + "/file").c_str(), O_RDONLY);
    for (const char *path : {"/update/new", "/file"}) {
        EXPECT_FALSE(content.Offers(path));
        ASSERT_TRUE(content.Offer(path, secret, &error)) << error;
        EXPECT_TRUE(content.Offers(path));
        EXPECT_EQ(6, content.Find(path).size) << path;
    }
    ASSERT_TRUE(content.Offer("/update/new", again, &error)) << error; // instead of the one before
    close(secret);
    close(again);
    const HttpBody body = content.Find("/update/new");
    char text[8] = {};
    EXPECT_EQ(4, pread(body.file, text, sizeof text, 0));
    EXPECT_STREQ("four", text);
    EXPECT_FALSE(content.Find("/update/other").found);
}

TEST_F(HttpFolder, OnlyRegularFilesAreOffered)
{
    const int itself = open(root.c_str(), O_RDONLY);
    EXPECT_FALSE(content.Offer("/update/new", itself, &error));
    EXPECT_EQ("no regular file", error);
    close(itself);
    EXPECT_FALSE(content.Offer("/update/new", -1, &error));
    EXPECT_FALSE(content.Offers("/update/new"));
}

TEST_F(HttpFolder, BelowDownloadEverythingElseIsMadeUp)
{
    const HttpBody real = content.Find("/download/real"), made = content.Find("/download/any/thing");
    EXPECT_EQ(9, real.size);
    EXPECT_GE(real.file, 0);
    EXPECT_TRUE(made.found);
    EXPECT_EQ(1000, made.size);
    EXPECT_EQ(-1, made.file);
    for (const char *path : {"/download", "/download/", "/downloads/x", "/x/download/y"})
        EXPECT_FALSE(content.Find(path).found) << path;
}

TEST(HttpContent, WithoutAFolderThereAreNoRealFiles)
{
    HttpContent content;
    std::string error;
    ASSERT_TRUE(content.Open("", 5, &error));
    EXPECT_FALSE(content.Find("/etc/passwd").found);
    EXPECT_EQ(5, content.Find("/download/etc/passwd").size);
    EXPECT_FALSE(HttpContent().Open("/nowhere/at/all", 5, &error));
    EXPECT_NE("", error);
}

TEST(HttpContent, MadeUpBytesAreLinesWithTheirPosition)
{
    const MadeUpBytes first = MadeUpAt(0);
    EXPECT_EQ(262144, first.size);
    EXPECT_EQ("000000 hijklmnopqrstuvwxyzabcdefghijklmnopqrstuvwxyzabcdefghijk\n", std::string(first.data, 64));
    EXPECT_EQ("000064 ", std::string(MadeUpAt(64).data, 7));
    EXPECT_EQ(first.data + 5, MadeUpAt(262144LL * 5000 + 5).data); // beyond 32 bits
    EXPECT_EQ(1, MadeUpAt(262143).size);
    EXPECT_EQ(std::string::npos, std::string(first.data, 262144).find('\r'));
}
