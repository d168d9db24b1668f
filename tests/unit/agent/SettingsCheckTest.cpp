#include "platform/SettingsCheck.h"

#include <cstring>
#include <list>
#include <sys/stat.h>
#include <unistd.h>

#include "core/Config.h"
#include "os/Paths.h"
#include "tests/fakes/FakeLibraries.h"
#include "tests/unit/agent/AgentTest.h"

namespace
{

class CheckOfSettings : public AgentTest
{
  protected:
    // What is printed about a file of mode 0600 with this content, below the line with its path. Stores the result.
    std::string About(const std::string &content, mode_t mode = 0600)
    {
        const std::string path = FakeFolder() + "/checked.conf";
        WriteFile(path, content);
        chmod(path.c_str(), mode);
        const std::string said = Run({"-f", path});
        const std::string first = "   0   " + path + " \n";
        EXPECT_EQ(first, said.substr(0, first.size()));
        return said.substr(first.size());
    }

    std::string Run(std::vector<std::string> options)
    {
        ClearOptions();
        options.insert(options.begin(), {"plug", "--check"});
        static std::list<std::vector<std::string>> kept; // getopt() keeps a pointer into the last text
        kept.push_back(options);
        std::vector<char *> argv;
        for (std::string &option : kept.back()) argv.push_back(&option[0]);
        argv.push_back(nullptr);
        EXPECT_TRUE(SettingsCheckAsked(static_cast<int>(argv.size()) - 1, argv.data()));
        const StandardOutput output;
        result = SettingsCheck(static_cast<int>(argv.size()) - 1, argv.data());
        return output.SoFar();
    }

    int result = -1;
};

const std::string kHead = "[Dev]\nPIN=123456789012\n[Protool]\nKEY=0123456789abcdef\n";
const std::string kSaidHead = "   1   section \n   2   PIN ...\n   3   section \n   4   KEY ...\n";
const std::string kServers = "SERVER1=one.example\nSERVER2=192.0.2.2\n";
const std::string kSaidServers = "   5   SERVER1 one.example\n   6   SERVER2 192.0.2.2\n";
const std::string kDefaultServers =
    "   0   SERVER1 " PLUG_DEFAULT_SERVER1 "\n   0   SERVER2 " PLUG_DEFAULT_SERVER2 "\n";
const std::string kDefaultPort = "   0   PORT 6039\n";

} // namespace

TEST_F(CheckOfSettings, AWholeFileIsTakenAndItsSecretsAreNotShown)
{
    EXPECT_EQ(kSaidHead + kSaidServers + "   8   PORT 7000\n", About(kHead + kServers + "# a comment\nPORT=7000\n\n"));
    EXPECT_EQ(0, result);
}

TEST_F(CheckOfSettings, WhatIsNotThereHasItsDefaultButPinAndKeyAreMissing)
{
    EXPECT_EQ("   0 ! PIN : missing\n   0 ! KEY : missing\n" + kDefaultServers + kDefaultPort, About(""));
    EXPECT_EQ(1, result);
}

TEST_F(CheckOfSettings, UnknownKeysAndKeysOutsideTheirSectionArePassedOver)
{
    const std::string passed = " !  : unknown here, passed over\n";
    EXPECT_EQ(0u, About("PIN=1\n" + kHead).find("   1" + passed));
    EXPECT_EQ(1, result);
    EXPECT_EQ(kSaidHead + kSaidServers + "   7" + passed + kDefaultPort, About(kHead + kServers + "COLOUR=blue\n"));
    EXPECT_EQ(1, result);
}

TEST_F(CheckOfSettings, ABracketInAValueIsToldAsTheSectionThatItBegins)
{
    EXPECT_EQ("   1   section \n   2   PIN ...\n   3   section \n"
              "   4 ! section : passed over; a [ always begins one\n"
              "   5 !  : unknown here, passed over\n"
              "   0 ! KEY : missing\n" +
                  kDefaultServers + kDefaultPort,
              About("[Dev]\nPIN=12\n[Protool]\nKEY=ab[cd\nSERVER1=one.example\n"));
    EXPECT_EQ(1, result);
}

TEST_F(CheckOfSettings, ASecondSectionOfTheSameNameIsPassedOver)
{
    const std::string said = About(kHead + "[Protool]\nPORT=7000\n");
    EXPECT_TRUE(Contains(said, "   5 ! section : passed over; a [ always begins one\n"
                               "   6 !  : unknown here, passed over\n"))
        << said;
    EXPECT_TRUE(Contains(said, kDefaultPort));
}

TEST_F(CheckOfSettings, ValuesThatAreCutAreTold)
{
    const std::string name(32, 'n');
    EXPECT_EQ(kSaidHead + "   5 ! SERVER1 " + name + ": too long, and cut\n   6   SERVER2 " + name.substr(1) + "\n" +
                  kDefaultPort,
              About(kHead + "SERVER1=" + name + "\nSERVER2=" + name.substr(1) + "\n"));
    EXPECT_EQ(1, result);
    EXPECT_TRUE(Contains(About("[Dev]\nPIN=" + std::string(64, '1') + "\n"), "   2 ! PIN ...: too long, and cut\n"));
    EXPECT_TRUE(Contains(About("[Dev]\nPIN=" + std::string(63, '1') + "\n"), "   2   PIN ...\n"));
}

TEST_F(CheckOfSettings, ALineThatIsTakenForAnotherKeyOrInThePlaceOfAnotherIsTold)
{
    EXPECT_TRUE(Contains(About(kHead + "MYKEY=abc\n"), "   5 ! KEY ...: taken under a wrong name\n"));
    EXPECT_EQ(1, result);
    EXPECT_TRUE(Contains(About(kHead + "KEY = abc\n"), "   5 ! KEY ...: taken, the line before is not\n"));
    EXPECT_EQ(1, result);
}

TEST_F(CheckOfSettings, ALineWithoutAValueOrWithoutAnEqualsSignSaysWhatItDoes)
{
    EXPECT_TRUE(Contains(About(kHead + "PORT=\n"), "   5 ! PORT : no value, passed over\n"));
    EXPECT_EQ(1, result);
    const std::string said = About(kHead + "PORT\nPORT=7000\n");
    EXPECT_TRUE(Contains(said, "   5 ! PORT : no =, ends the search\n")) << said;
    EXPECT_TRUE(Contains(said, "   6 !  : unknown here, passed over\n")) << said;
    EXPECT_TRUE(Contains(said, kDefaultPort));
}

TEST_F(CheckOfSettings, APortOutsideItsRangeIsWrong)
{
    EXPECT_TRUE(Contains(About(kHead + "PORT=2047\n"), "   5 ! PORT 2047: not in 2048 to 65530\n"));
    EXPECT_EQ(1, result);
    EXPECT_TRUE(Contains(About(kHead + "PORT=2048\n"), "   5   PORT 2048\n"));
    EXPECT_EQ(0, result);
    EXPECT_TRUE(Contains(About(kHead + "PORT=65530\n"), "   5   PORT 65530\n"));
    EXPECT_TRUE(Contains(About(kHead + "PORT=65531\n"), "   5 ! PORT 65531: not in 2048 to 65530\n"));
}

TEST_F(CheckOfSettings, AFileThatOthersReadOrChangeIsTold)
{
    const std::string told = "   0 ! owner, mode : open to others\n";
    EXPECT_EQ(0u, About(kHead, 0644).find(told));
    EXPECT_EQ(1, result);
    EXPECT_EQ(0u, About(kHead, 0620).find(told));
    EXPECT_FALSE(Contains(About(kHead, 0600), told));
    EXPECT_EQ(0, result);
    if (geteuid() != 0) GTEST_SKIP() << "a file of another user needs root";
    const std::string path = FakeFolder() + "/checked.conf";
    ASSERT_EQ(0, chown(path.c_str(), 4711, 0));
    EXPECT_TRUE(Contains(Run({"-f", path}), told));
    EXPECT_EQ(1, result);
}

TEST_F(CheckOfSettings, TheFileIsTheOneThatAStartReads)
{
    WriteFile(kPathDefaultConfig, kHead);
    chmod(kPathDefaultConfig, 0600);
    const std::string first = "   0   " + std::string(kPathDefaultConfig) + " \n";
    EXPECT_EQ(0u, Run({}).find(first));
    EXPECT_EQ(0, result);
    EXPECT_EQ(0u, Run({"-f", FakeFolder() + "/missing.conf"})
                      .find("   0 ! " + std::string(kPathDefaultConfig) + " : not the file of -f\n"));
    EXPECT_EQ(1, result);
    unlink(kPathDefaultConfig);
    EXPECT_EQ("   0 ! " + std::string(kPathLocalConfig) + " : cannot be read\n", Run({}));
    EXPECT_EQ(1, result);
    EXPECT_EQ("", Run({"-f"}));
    EXPECT_EQ(1, result);
}

TEST_F(CheckOfSettings, NoNameIsLookedUp)
{
    FakeLibrariesReset();
    About(kHead + kServers);
    EXPECT_EQ(std::string::npos, Log().find("gethostbyname"));
}

TEST_F(CheckOfSettings, IsAskedForByTheFirstArgumentOnly)
{
    char plug[] = "plug", check[] = "--check", debug[] = "-d";
    char *const first[] = {plug, check, debug, nullptr};
    char *const second[] = {plug, debug, check, nullptr};
    EXPECT_TRUE(SettingsCheckAsked(3, first));
    EXPECT_FALSE(SettingsCheckAsked(3, second));
    EXPECT_FALSE(SettingsCheckAsked(1, first));
}
