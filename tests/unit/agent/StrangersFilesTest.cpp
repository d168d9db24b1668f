// Files that another user of the router has put in the place of the agent's files in /tmp, where everybody may make
// files but remove only their own. The tests act as that other user, and so need root.
#include <array>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "core/PlugStatus.h"
#include "functions/Traceroute.h"
#include "http/Download.h"
#include "os/Paths.h"
#include "platform/Protool.h"
#include "subdev/KnownDevices.h"
#include "tests/fakes/FakeLibraries.h"
#include "tests/support/HttpServer.h"
#include "tests/unit/agent/SubdevTest.h"

namespace
{

const uid_t kStranger = 65534;
const std::string kPrecious = FakeFolder() + "/precious"; // ours
const std::string kAbsent = FakeFolder() + "/absent";     // where a link leads to
const std::string kHis = FakeFolder() + "/his";           // a stranger's

// One of the agent's files.
struct File {
    const char *name;
    const char *path;
    mode_t mode;
    std::string content; // when it has been written
};

const char kHops[] = " 1  192.168.1.1  0.4 ms\n";
const std::string kUpdate(2000, 'u');

const std::array<File, 5> &Files()
{
    static const std::array<File, 5> files = {{{"plugstatus", kPathPlugStatus, 0644, "003\n"},
                                               {"macconfig", kPathMacConfig, 0600, "02aa00000001\r\n"},
                                               {"tmpSubdev", kPathSubdev, 0600, ArpLine(7)},
                                               {"tracerouteFile", kPathTraceroute, 0600, kHops},
                                               {"plug_download", kPathPlugDownload, 0600, kUpdate}}};
    return files;
}

// What may stand in its place.
enum Plant { LINK, LINK_TO_NOWHERE, HARD_LINK, HARD_LINK_TO_OURS, FIFO, FILE_OF_HIS, FOLDER };
const char *const kPlantNames[] = {"Link", "LinkToNowhere", "HardLink", "HardLinkToOurs", "Fifo", "File", "Folder"};

bool PlantNow(Plant plant, const char *path)
{
    switch (plant) {
    case LINK: return symlink(kPrecious.c_str(), path) == 0;
    case LINK_TO_NOWHERE: return symlink(kAbsent.c_str(), path) == 0;
    case HARD_LINK:
    case HARD_LINK_TO_OURS: return link((plant == HARD_LINK ? kHis : kPrecious).c_str(), path) == 0;
    case FIFO: return mkfifo(path, 0666) == 0;
    case FILE_OF_HIS: return rename(kHis.c_str(), path) == 0;
    case FOLDER: break;
    }
    if (mkdir(path, 0777) != 0) return false;
    const int folder = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    return renameat(AT_FDCWD, kHis.c_str(), folder, "his") == 0;
}

// A file of his own, which everybody may write.
bool MakeHis(const std::string &text)
{
    const int fd = open(kHis.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    return write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()) && close(fd) == 0;
}

// Runs `body` in a process of another user. It must not allocate: another thread may hold the heap's lock at the fork.
void AsStranger(const std::function<bool()> &body)
{
    const pid_t child = fork();
    if (child == 0) {
        umask(0);
        if (setgroups(0, nullptr) != 0 || setgid(kStranger) != 0 || setuid(kStranger) != 0) _exit(2);
        _exit(body() ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status));
    ASSERT_NE(2, WEXITSTATUS(status)) << "this test needs root";
    ASSERT_EQ(0, WEXITSTATUS(status)) << "the stranger could not do what he is to do";
}

class StrangersFile : public SubdevTest
{
  protected:
    void SetUp() override
    {
        SubdevTest::SetUp();
        FakeLibrariesReset();
        ASSERT_EQ(0, chmod(FakeFolder().c_str(), 01777));
        WriteFile(kPrecious, "precious");
    }
    void TearDown() override
    {
        StopTraceroute();
        chmod(FakeFolder().c_str(), 0700);
        for (const std::string &path : {kPrecious, kAbsent, kHis}) std::filesystem::remove(path);
        for (const File &file : Files()) std::filesystem::remove_all(file.path);
        SubdevTest::TearDown();
    }

    // The stranger's own file says `text`.
    static void PutThere(Plant plant, const char *path, const std::string &text = "004\n")
    {
        // To ours he can make a hard link where the kernel does not forbid it.
        AsStranger([&] { return MakeHis(text) && (plant == HARD_LINK_TO_OURS || PlantNow(plant, path)); });
        if (plant == HARD_LINK_TO_OURS) {
            ASSERT_TRUE(PlantNow(plant, path));
        }
    }

    // Has the agent write the file. Returns whether it says that it has.
    bool Write(const std::string &name)
    {
        if (name == "plugstatus") return LogPlugStatus(PLUG_LOGGED_IN) == 0;
        if (name == "macconfig") return WriteKnown() == 0;
        if (name == "tmpSubdev") return WriteArpTable();
        if (name == "tracerouteFile") return WriteTraceroute();
        HttpServer server([](HttpConnection &connection) {
            connection.Send(HeaderFor(kUpdate.size()) + kUpdate);
            connection.AwaitEnd();
        });
        return DownLoadFIle("127.0.0.1", server.Port(), "/agent", kPathPlugDownload) == 0;
    }

  private:
    int WriteKnown()
    {
        mLogin = 1;
        KnownClear();
        KnownAdd(SubdevMac(1).data());
        return Fn39UpdateMac();
    }
    bool WriteArpTable()
    {
        gSdk.devices = {SubdevDevice(1)};
        Table(ArpLine(7));
        Start();
        RequestSubdev();
        for (int i = 0; i < 3; i++) Pass(20);
        // Then it reads the table and makes another short pause, or it is through and rests.
        EXPECT_TRUE(Within([] { return FakeClockNextDeadlineMs() == 20 || FakeClockNextDeadlineMs() == 4000; }));
        return FakeClockNextDeadlineMs() == 20;
    }
    bool WriteTraceroute()
    {
        FakeScript script;
        script.output = kHops;
        FakeCommand("traceroute ", script);
        const uint8_t target[64] = {20, 1, 168, 192};
        WireReader parameters = WireRead(target, sizeof target);
        EXPECT_EQ(0, TracerouteStart(&parameters, nullptr));
        EXPECT_TRUE(Within([] { return gTraceThreadState == 0; }));
        return !FakeCommands().empty();
    }
};

class StrangersFileInPlaceOf : public StrangersFile, public testing::WithParamInterface<std::tuple<size_t, Plant>>
{
  protected:
    const File &mFile = Files()[std::get<0>(GetParam())];
    const Plant mPlant = std::get<1>(GetParam());
};

std::string NameOf(const testing::TestParamInfo<std::tuple<size_t, Plant>> &tested)
{
    return std::string(Files()[std::get<0>(tested.param)].name) + "_" + kPlantNames[std::get<1>(tested.param)];
}

} // namespace

TEST_P(StrangersFileInPlaceOf, IsReplacedWithoutBeingWrittenOrFollowed)
{
    ASSERT_NO_FATAL_FAILURE(PutThere(mPlant, mFile.path));
    EXPECT_TRUE(Write(mFile.name));
    struct stat status;
    ASSERT_EQ(0, lstat(mFile.path, &status));
    EXPECT_TRUE(S_ISREG(status.st_mode));
    EXPECT_EQ(mFile.mode, status.st_mode & 07777);
    EXPECT_EQ(geteuid(), status.st_uid);
    EXPECT_EQ(1u, status.st_nlink);
    EXPECT_EQ(mFile.content, ReadFile(mFile.path));
    EXPECT_EQ("precious", ReadFile(kPrecious));
    EXPECT_FALSE(std::filesystem::exists(kAbsent));
    if (mPlant != FILE_OF_HIS) {
        EXPECT_EQ("004\n", ReadFile(kHis));
    }
}

INSTANTIATE_TEST_SUITE_P(, StrangersFileInPlaceOf,
                         testing::Combine(testing::Range<size_t>(0, Files().size()),
                                          testing::Values(LINK, LINK_TO_NOWHERE, HARD_LINK, HARD_LINK_TO_OURS, FIFO,
                                                          FILE_OF_HIS)),
                         NameOf);

typedef StrangersFileInPlaceOf StrangersFolderInPlaceOf;

TEST_P(StrangersFolderInPlaceOf, StaysWithItsContentAndTheWriteFailsWithALogLine)
{
    ASSERT_NO_FATAL_FAILURE(PutThere(mPlant, mFile.path));
    Log();
    EXPECT_FALSE(Write(mFile.name));
    EXPECT_NE(std::string::npos, Log().find("[ERR] "));
    EXPECT_EQ("004\n", ReadFile(std::string(mFile.path) + "/his"));
}

INSTANTIATE_TEST_SUITE_P(, StrangersFolderInPlaceOf,
                         testing::Combine(testing::Range<size_t>(0, Files().size()), testing::Values(FOLDER)), NameOf);

// He has it open, and goes on writing.
TEST_F(StrangersFile, AStrangerWhoGoesOnWritingDoesNotReachTheAgentsFile)
{
    for (const File &file : Files()) {
        ASSERT_NO_FATAL_FAILURE(PutThere(FILE_OF_HIS, file.path));
        std::ofstream his(file.path, std::ios::in | std::ios::out);
        EXPECT_TRUE(Write(file.name)) << file.name;
        his << "planted" << std::flush;
        EXPECT_EQ(file.content, ReadFile(file.path)) << file.name;
        SubdevStop();
    }
}

TEST_F(StrangersFile, OfKnownDevicesIsNotLoaded)
{
    for (const Plant plant : {LINK, HARD_LINK, HARD_LINK_TO_OURS, FIFO, FILE_OF_HIS, FOLDER}) {
        WriteFile(kPrecious, "02aa00000009\r\n");
        ASSERT_NO_FATAL_FAILURE(PutThere(plant, kPathMacConfig, "02aa00000009\r\n"));
        KnownClear();
        EXPECT_EQ(-1, Fn39LoadMac()) << kPlantNames[plant];
        EXPECT_FALSE(KnownHas(SubdevMac(9).data())) << kPlantNames[plant];
        std::filesystem::remove_all(kPathMacConfig);
        std::filesystem::remove(kHis);
    }
}

TEST_F(StrangersFile, IsNotReadAsATraceroutesResult)
{
    for (const Plant plant : {LINK, HARD_LINK, HARD_LINK_TO_OURS, FIFO, FILE_OF_HIS, FOLDER}) {
        ASSERT_NO_FATAL_FAILURE(PutThere(plant, kPathTraceroute, kHops));
        uint8_t room[5000];
        WireReader none = WireRead(nullptr, 0);
        WireWriter reply = WireWrite(room, sizeof room);
        EXPECT_EQ(1, TracerouteResult(&none, &reply)) << kPlantNames[plant];
        EXPECT_EQ(0u, reply.used) << kPlantNames[plant];
        std::filesystem::remove_all(kPathTraceroute);
        std::filesystem::remove(kHis);
    }
}
