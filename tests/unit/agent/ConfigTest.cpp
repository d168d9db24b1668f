#include "core/Config.h"

#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "core/Common.h"
#include "os/Paths.h"
#include "tests/unit/agent/AgentTest.h"

namespace
{

// The configuration file: what is taken for a value.
class Config : public AgentTest
{
  protected:
    // The value of "KEY" in section "Protool" of a file with this content, "default" when there is none.
    static std::string Key(const std::string &content, size_t capacity = 64)
    {
        WriteFile(kPathDefaultConfig, content);
        NewProgramProfile(kPathDefaultConfig);
        std::string value(capacity, '#');
        EXPECT_EQ(0, getKeyValueStr("Protool", "KEY", "default", &value[0], capacity));
        return value.c_str();
    }
    static std::string InFolder(const char *name) { return FakeFolder() + "/" + name; }
};

const std::string kSection = "[Protool]\n";

} // namespace

// ---- Choice of the file ----

TEST_F(Config, TheFileOfTheOptionIsUsedWhenItCanBeRead)
{
    const std::string path = InFolder("own.conf");
    WriteFile(path, kSection + "KEY=own\n");
    WriteFile(kPathDefaultConfig, kSection + "KEY=default\n");
    strcpy(l_config_file, path.c_str());
    NewProgramProfile(kPathDefaultConfig);
    EXPECT_TRUE(Logged("use config file  [" + path + "]"));
    char value[16];
    EXPECT_EQ(0, getKeyValueStr("Protool", "KEY", "", value, sizeof value));
    EXPECT_STREQ("own", value);
}

TEST_F(Config, TheDefaultPathIsUsedWhenTheFileOfTheOptionCannotBeRead)
{
    WriteFile(kPathDefaultConfig, kSection + "KEY=default\n");
    strcpy(l_config_file, InFolder("missing.conf").c_str());
    NewProgramProfile(kPathDefaultConfig);
    EXPECT_TRUE(Logged(std::string("use config file  [") + kPathDefaultConfig + "]"));
    char value[16];
    EXPECT_EQ(0, getKeyValueStr("Protool", "KEY", "", value, sizeof value));
    EXPECT_STREQ("default", value);
}

TEST_F(Config, TheLocalFileIsTheLastResortAndIsNotChecked)
{
    NewProgramProfile(kPathDefaultConfig);
    EXPECT_TRUE(Logged(std::string("use config file\t[") + kPathLocalConfig + "]"));
    WriteFile(kPathLocalConfig, kSection + "KEY=local\n"); // comes later
    char value[16];
    EXPECT_EQ(0, getKeyValueStr("Protool", "KEY", "", value, sizeof value));
    EXPECT_STREQ("local", value);
}

TEST_F(Config, OnlyARegularFileCanBeRead)
{
    ASSERT_EQ(0, mkdir(kPathDefaultConfig, 0755));
    const std::string fifo = InFolder("fifo");
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0644));
    strcpy(l_config_file, fifo.c_str());
    NewProgramProfile(kPathDefaultConfig); // does not hang on the FIFO either
    EXPECT_TRUE(Logged(std::string("use config file\t[") + kPathLocalConfig + "]"));
}

TEST_F(Config, AnEmptyOrOverlongPathOfTheOptionIsSkipped)
{
    WriteFile(kPathDefaultConfig, kSection + "KEY=default\n");
    // A file with the name that a cut would leave exists.
    std::string path = InFolder("long");
    path += std::string(255 - path.size(), 'x');
    WriteFile(path, kSection + "KEY=cut\n");
    for (const std::string &given : {std::string(), path + "x"}) {
        std::string words[] = {"plug", "-f", given};
        char *argv[] = {&words[0][0], &words[1][0], &words[2][0], nullptr};
        ASSERT_EQ(0, config_line_proc(3, argv));
        NewProgramProfile(kPathDefaultConfig);
        EXPECT_TRUE(Logged(std::string("use config file  [") + kPathDefaultConfig + "]")) << given;
    }
}

// ---- Whose file it is ----
//
// Anybody may have planted something in /tmp: a file there counts when it belongs to root or to us.

class DefaultConfig : public Config
{
  protected:
    void SetUp() override
    {
        Config::SetUp();
        if (geteuid() != 0) GTEST_SKIP() << "only root can make files of somebody else";
        WriteFile(mFile, kSection + "KEY=there\n");
    }
    static void GiveToAStranger(const std::string &path) { ASSERT_EQ(0, lchown(path.c_str(), kStranger, kStranger)); }
    // What the default path gives; "passed over" when the local file is chosen in its place, with an error line.
    std::string Choice()
    {
        WriteFile(kPathLocalConfig, kSection + "KEY=local\n");
        Log();
        NewProgramProfile(kPathDefaultConfig);
        const std::string log = Log();
        char value[16];
        EXPECT_EQ(0, getKeyValueStr("Protool", "KEY", "", value, sizeof value));
        const bool told = log.find("[ERR] [Common->NewProgramProfile->") != std::string::npos &&
                          log.find(std::string(kPathDefaultConfig) + " is passed over: ") != std::string::npos;
        return strcmp(value, "local") != 0 ? value : told ? "passed over" : "passed over without a word";
    }
    const std::string mFile = InFolder("there.conf");
    static constexpr uid_t kStranger = 65534;
};

TEST_F(DefaultConfig, AFileOfOursIsUsed)
{
    ASSERT_EQ(0, rename(mFile.c_str(), kPathDefaultConfig));
    EXPECT_EQ("there", Choice());
}

TEST_F(DefaultConfig, AFileOfAStrangerIsSkipped)
{
    ASSERT_EQ(0, rename(mFile.c_str(), kPathDefaultConfig));
    GiveToAStranger(kPathDefaultConfig);
    EXPECT_EQ("passed over", Choice());
}

TEST_F(DefaultConfig, ALinkOfOursToAFileOfOursIsFollowed)
{
    ASSERT_EQ(0, symlink(mFile.c_str(), kPathDefaultConfig));
    EXPECT_EQ("there", Choice());
    ASSERT_EQ(0, unlink(kPathDefaultConfig));
    ASSERT_EQ(0, symlink("there.conf", kPathDefaultConfig)); // from the folder of the link
    EXPECT_EQ("there", Choice());
}

TEST_F(DefaultConfig, ALinkOfAStrangerToAFileOfOursIsSkipped)
{
    ASSERT_EQ(0, symlink(mFile.c_str(), kPathDefaultConfig));
    GiveToAStranger(kPathDefaultConfig);
    EXPECT_EQ("passed over", Choice());
}

TEST_F(DefaultConfig, ALinkOfOursToAFileOfAStrangerIsSkipped)
{
    ASSERT_EQ(0, symlink(mFile.c_str(), kPathDefaultConfig));
    GiveToAStranger(mFile);
    EXPECT_EQ("passed over", Choice());
}

TEST_F(DefaultConfig, EveryLinkOfAChainMustBeOurs)
{
    const std::string middle = InFolder("middle");
    ASSERT_EQ(0, symlink(mFile.c_str(), middle.c_str()));
    ASSERT_EQ(0, symlink(middle.c_str(), kPathDefaultConfig));
    EXPECT_EQ("there", Choice());
    GiveToAStranger(middle);
    EXPECT_EQ("passed over", Choice());
}

TEST_F(DefaultConfig, LinksInACircleAreSkipped)
{
    ASSERT_EQ(0, symlink(kPathDefaultConfig, kPathDefaultConfig));
    EXPECT_EQ("passed over", Choice());
}

TEST_F(DefaultConfig, AFolderOrFifoIsSkipped)
{
    ASSERT_EQ(0, mkdir(kPathDefaultConfig, 0755));
    EXPECT_EQ("passed over", Choice());
    ASSERT_EQ(0, rmdir(kPathDefaultConfig));
    ASSERT_EQ(0, mkfifo(kPathDefaultConfig, 0644));
    EXPECT_EQ("passed over", Choice());
}

TEST_F(DefaultConfig, AMissingFileIsSkippedWithoutALogLine)
{
    EXPECT_EQ("passed over without a word", Choice());
    ASSERT_EQ(0, symlink(InFolder("missing").c_str(), kPathDefaultConfig));
    EXPECT_EQ("passed over without a word", Choice());
}

TEST_F(DefaultConfig, AFileThatAStrangerPutsThereLaterIsNotRead)
{
    ASSERT_EQ(0, rename(mFile.c_str(), kPathDefaultConfig));
    ASSERT_EQ("there", Choice());
    WriteFile(mFile, kSection + "KEY=planted\n");
    const auto value = [] {
        char text[16];
        EXPECT_EQ(-1, getKeyValueStr("Protool", "KEY", "safe", text, sizeof text));
        return std::string(text);
    };
    ASSERT_EQ(0, unlink(kPathDefaultConfig));
    ASSERT_EQ(0, symlink(mFile.c_str(), kPathDefaultConfig));
    GiveToAStranger(kPathDefaultConfig);
    EXPECT_EQ("safe", value());
    GiveToAStranger(mFile);
    ASSERT_EQ(0, rename(mFile.c_str(), kPathDefaultConfig));
    EXPECT_EQ("safe", value());
    EXPECT_TRUE(Logged(std::string("Can not fopen(\"") + kPathDefaultConfig + "\")."));
}

TEST_F(DefaultConfig, AFileGivenWithTheOptionMayBeAnybodys)
{
    GiveToAStranger(mFile);
    strcpy(l_config_file, mFile.c_str());
    EXPECT_EQ("there", Choice());
}

TEST_F(Config, ALinkGivenWithTheOptionIsFollowed)
{
    WriteFile(InFolder("real"), kSection + "KEY=linked\n");
    const std::string link = InFolder("link.conf");
    ASSERT_EQ(0, symlink(InFolder("real").c_str(), link.c_str()));
    strcpy(l_config_file, link.c_str());
    NewProgramProfile(kPathDefaultConfig);
    char value[16];
    EXPECT_EQ(0, getKeyValueStr("Protool", "KEY", "", value, sizeof value));
    EXPECT_STREQ("linked", value);
}

// ---- Values ----

TEST_F(Config, AFileThatCannotBeOpenedReturnsTheDefaultAndMinusOne)
{
    NewProgramProfile(kPathDefaultConfig);
    Log();
    char value[4] = "###";
    EXPECT_EQ(-1, getKeyValueStr("Protool", "KEY", "12345", value, sizeof value));
    EXPECT_STREQ("123", value);
    EXPECT_TRUE(Logged(std::string("Can not fopen(\"") + kPathLocalConfig + "\")."));
}

TEST_F(Config, AFileThatCannotBeOpenedIsLoggedTwiceWithoutADefault)
{
    NewProgramProfile(kPathDefaultConfig);
    Log();
    char value[4] = "###";
    EXPECT_EQ(-1, getKeyValueStr("Protool", "KEY", nullptr, value, sizeof value));
    EXPECT_STREQ("", value);
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find(std::string("]-> Can not fopen(\"") + kPathLocalConfig + "\").\n\n"));
    EXPECT_NE(std::string::npos, log.find("]-> Not find Key=\"KEY\" and no default_str to use.\n\n"));
}

TEST_F(Config, NothingIsReadBeforeAFileHasBeenChosenOrAfterItWasForgotten)
{
    char value[8];
    EXPECT_EQ(-1, getKeyValueStr("Protool", "KEY", "x", value, sizeof value));
    Key(kSection + "KEY=v\n");
    DeleteProgramProfile();
    EXPECT_EQ(-1, getKeyValueStr("Protool", "KEY", "x", value, sizeof value));
    EXPECT_STREQ("x", value);
}

TEST_F(Config, AMissingKeyReturnsTheDefaultAndZero)
{
    EXPECT_EQ("default", Key(kSection + "OTHER=1\n"));
    EXPECT_EQ("default", Key(""));
    EXPECT_EQ("def", Key("", 4));
    EXPECT_EQ("", Key("", 1));
}

TEST_F(Config, AMissingKeyWithoutADefaultIsLoggedAndReturnsMinusOne)
{
    Key(kSection);
    Log();
    char value[8] = "#";
    EXPECT_EQ(-1, getKeyValueStr("Protool", "KEY", nullptr, value, sizeof value));
    EXPECT_STREQ("", value);
    EXPECT_TRUE(Logged("Not find Key=\"KEY\" and no default_str to use."));
}

TEST_F(Config, KeysOutsideTheirSectionAreIgnored)
{
    EXPECT_EQ("default", Key("KEY=early\n"));
    EXPECT_EQ("default", Key("KEY=early\n[Protool]\n"));
    EXPECT_EQ("default", Key("[Dev]\nKEY=other\n"));
    EXPECT_EQ("mine", Key("KEY=early\n[Dev]\nKEY=other\n[Protool]\nKEY=mine\n"));
}

TEST_F(Config, TheNextSectionLineEndsTheSearch)
{
    EXPECT_EQ("mine", Key("[Protool]\nKEY=mine\n[Dev]\nKEY=other\n"));
    EXPECT_EQ("default", Key("[Protool]\n[Protool]\nKEY=late\n"));
    EXPECT_EQ("default", Key("[Protool]\nOTHER=[x]\nKEY=late\n")); // any line with a bracket
}

TEST_F(Config, TheSectionNameIsMatchedAsSubstring)
{
    EXPECT_EQ("v", Key("  [MyProtool2] \nKEY=v\n"));
    EXPECT_EQ("v", Key("\t# x\n[ Protool\nKEY=v\n"));
    EXPECT_EQ("default", Key("[protool]\nKEY=v\n"));
}

TEST_F(Config, TheKeyIsMatchedAsSubstringAnywhereInTheLine)
{
    EXPECT_EQ("abc", Key(kSection + "MYKEY=abc\n"));
    EXPECT_EQ("abc", Key(kSection + "KEYS =abc\n"));
    EXPECT_EQ("the KEY", Key(kSection + "OTHER=the KEY\n"));
    EXPECT_EQ("default", Key(kSection + "key=abc\n"));
}

TEST_F(Config, BlanksAroundTheValueAreCut)
{
    EXPECT_EQ("abc", Key(kSection + "KEY=   abc \t \r\n"));
    EXPECT_EQ("a b\tc", Key(kSection + " \t KEY = a b\tc\t\n"));
    EXPECT_EQ("\tabc", Key(kSection + "KEY= \tabc\n")); // in front, blanks only
}

TEST_F(Config, TheValueBeginsAfterTheFirstEqualsSign)
{
    EXPECT_EQ("a=b==", Key(kSection + "KEY=a=b==\n"));
    EXPECT_EQ("=", Key(kSection + "KEY==\n"));
}

TEST_F(Config, ALineWithTheKeyButWithoutEqualsSignEndsTheSearch)
{
    EXPECT_EQ("default", Key(kSection + "KEY\nKEY=late\n"));
    EXPECT_EQ("first", Key(kSection + "KEY=first\nKEY abc\nKEY=late\n"));
    EXPECT_EQ("v", Key(kSection + "OTHER\nKEY=v\n")); // but not one of another key
}

TEST_F(Config, TheLastMatchingLineWins)
{
    EXPECT_EQ("second", Key(kSection + "KEY=first\nKEY=second\n"));
    EXPECT_EQ("2", Key(kSection + "KEY=longer\nKEY=2\n"));
}

TEST_F(Config, AnEmptyValueIsIgnored)
{
    EXPECT_EQ("default", Key(kSection + "KEY=\n"));
    EXPECT_EQ("first", Key(kSection + "KEY=first\nKEY=\nKEY=  \t\r\n"));
}

TEST_F(Config, LinesThatBeginWithANumberSignAreComments)
{
    EXPECT_EQ("default", Key(kSection + "#KEY=v\n \t # KEY=v\n"));
    EXPECT_EQ("v", Key("#[Dev]\n[Protool]\n#[Dev]\nKEY=v\n#KEY\n"));
    EXPECT_EQ("v#w", Key(kSection + "KEY=v#w\n")); // only at the beginning
}

TEST_F(Config, TheValueAndItsTerminatorAreCutToTheRoom)
{
    const std::string text31(31, 'k');
    EXPECT_EQ(text31, Key(kSection + "KEY=" + text31 + "\n", 32));
    EXPECT_EQ(text31, Key(kSection + "KEY=" + text31 + "X\n", 32));
    EXPECT_EQ("", Key(kSection + "KEY=v\n", 1));
}

TEST_F(Config, TheLastLineNeedsNoNewline)
{
    EXPECT_EQ("v", Key(kSection + "KEY=v"));
    EXPECT_EQ("default", Key("[Protool]"));
}

TEST_F(Config, LongLinesAreReadInPiecesOf511Characters)
{
    const std::string blanks(511 - 4, ' ');
    EXPECT_EQ("default", Key(kSection + "KEY=" + blanks + "v\n", 600)); // the value begins in the second piece
    EXPECT_EQ("v", Key(kSection + "KEY=" + std::string(511 - 5, ' ') + "v\n", 600));
    EXPECT_EQ(std::string(507, 'v'), Key(kSection + "KEY=" + std::string(507, 'v') + "\n", 600));
    EXPECT_EQ(std::string(507, 'v'), Key(kSection + "KEY=" + std::string(600, 'v') + "\n", 600));
    EXPECT_EQ("tail", Key(kSection + "#" + std::string(510, 'c') + "KEY=tail\n")); // the second piece is a line
}

TEST_F(Config, ALineEndsAtANulAndTheNextIsStillRead)
{
    EXPECT_EQ("v", Key(kSection + "KEY=v" + std::string("\0w", 2) + "\nOTHER=1\n"));
    EXPECT_EQ("v", Key(kSection + std::string("\0KEY=hidden\n", 12) + "KEY=v\n"));
    EXPECT_EQ("default", Key(std::string(4096, '\0')));
}

TEST_F(Config, ALargeFileIsReadToItsEnd)
{
    std::string content = kSection;
    while (content.size() < 10 * 1024 * 1024) content += "OTHER=" + std::string(1000, 'x') + "\n";
    EXPECT_EQ("last", Key(content + "KEY=last\n"));
    EXPECT_EQ("default", Key(std::string(10 * 1024 * 1024, 'K'))); // one line without an end
}
