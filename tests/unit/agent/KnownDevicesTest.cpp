// The file of the known devices: what is written, and which lines are read.
#include "subdev/KnownDevices.h"

#include <cstring>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

#include "os/Paths.h"
#include "platform/Protool.h"
#include "tests/unit/agent/SubdevTest.h"

namespace
{

class KnownDevices : public AgentTest
{
  protected:
    void SetUp() override
    {
        AgentTest::SetUp();
        KnownClear();
        std::filesystem::remove_all(kPathMacConfig);
    }

    void TearDown() override
    {
        std::filesystem::remove_all(kPathMacConfig);
        AgentTest::TearDown();
    }

    static int Load(const std::string &content)
    {
        WriteFile(kPathMacConfig, content);
        KnownClear();
        return Fn39LoadMac();
    }
};

bool Has(unsigned number)
{
    return KnownHas(SubdevMac(number).data());
}

void Add(unsigned number)
{
    KnownAdd(SubdevMac(number).data());
}

std::string Line(unsigned number)
{
    char text[16];
    snprintf(text, sizeof text, "02aa0000%04x\r\n", number);
    return text;
}

} // namespace

TEST_F(KnownDevices, TheFileHasALineOfLowerCaseDigitsForEachDevice)
{
    mLogin = 1;
    Add(0xABCD);
    Add(7);
    EXPECT_EQ(0, Fn39UpdateMac());
    EXPECT_EQ("02aa0000abcd\r\n02aa00000007\r\n", ReadFile(kPathMacConfig));
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("[DEBUG] [Function39->Fn39UpdateMac->"));
    EXPECT_NE(std::string::npos, log.find("]-> UpdateMacProfile\n\n"));
}

TEST_F(KnownDevices, TheFileIsWrittenAnewAndMayBecomeEmpty)
{
    mLogin = 1;
    for (unsigned i = 1; i <= 128; i++) Add(i);
    EXPECT_EQ(0, Fn39UpdateMac());
    EXPECT_EQ(128u * 14, ReadFile(kPathMacConfig).size());
    KnownClear();
    EXPECT_EQ(0, Fn39UpdateMac());
    EXPECT_EQ("", ReadFile(kPathMacConfig));
}

TEST_F(KnownDevices, WhileNotLoggedInTheFileStaysAsItIs)
{
    WriteFile(kPathMacConfig, Line(1));
    Add(2);
    EXPECT_EQ(-2, Fn39UpdateMac());
    EXPECT_EQ(Line(1), ReadFile(kPathMacConfig));
    EXPECT_FALSE(Logged("UpdateMacProfile"));
}

TEST_F(KnownDevices, AFileThatCannotBeOpenedIsLogged)
{
    mLogin = 1;
    ASSERT_EQ(0, mkdir(kPathMacConfig, 0755));
    EXPECT_EQ(-1, Fn39UpdateMac());
    EXPECT_TRUE(Logged("file open error"));
}

TEST_F(KnownDevices, ALinkAtThePathIsNeitherReadNorWrittenThrough)
{
    const std::string precious = FakeFolder() + "/precious";
    WriteFile(precious, Line(1));
    ASSERT_EQ(0, symlink(precious.c_str(), kPathMacConfig));
    EXPECT_EQ(-1, Fn39LoadMac());
    EXPECT_FALSE(Has(1));
    mLogin = 1;
    Add(2);
    EXPECT_EQ(0, Fn39UpdateMac());
    EXPECT_EQ(Line(1), ReadFile(precious));
    EXPECT_EQ(Line(2), ReadFile(kPathMacConfig));
    unlink(precious.c_str());
}

TEST_F(KnownDevices, APipeAtThePathBlocksNobody)
{
    ASSERT_EQ(0, mkfifo(kPathMacConfig, 0644));
    EXPECT_EQ(-1, Fn39LoadMac());
    mLogin = 1;
    EXPECT_EQ(0, Fn39UpdateMac());
    EXPECT_TRUE(std::filesystem::is_regular_file(kPathMacConfig));
}

TEST_F(KnownDevices, AWrittenListIsLoadedAgain)
{
    mLogin = 1;
    for (unsigned i = 1; i <= 128; i++) Add(i);
    ASSERT_EQ(0, Fn39UpdateMac());
    KnownClear();
    EXPECT_FALSE(Has(1));
    EXPECT_EQ(0, Fn39LoadMac());
    EXPECT_EQ(128, f39Num);
    for (unsigned i = 1; i <= 128; i++) EXPECT_TRUE(Has(i)) << i;
    EXPECT_TRUE(Logged("LOAD macconfig"));
}

TEST_F(KnownDevices, WithoutAFileNothingIsKnown)
{
    EXPECT_EQ(-1, Fn39LoadMac());
    EXPECT_EQ(0, f39Num);
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("[Function39->Fn39LoadMac->"));
    EXPECT_NE(std::string::npos, log.find("]-> open MacConf file failed\n\n"));
}

TEST_F(KnownDevices, LinesMayEndWithALineFeedOnlyAndTheLastOneWithout)
{
    EXPECT_EQ(0, Load("02aa00000001\n02AA00000002\r\n02Aa00000003"));
    EXPECT_EQ(3, f39Num);
    EXPECT_TRUE(Has(1) && Has(2) && Has(3));
}

TEST_F(KnownDevices, ADamagedLineIsSkipped)
{
    const std::string lines[] = {"",
                                 "\r",
                                 "02aa0000000",
                                 "02aa000000011",
                                 "02aa00000001 ",
                                 "02aa00000001\r\r",
                                 " 02aa00000001",
                                 "02:aa:00:00:00:01",
                                 "02aa0000000g",
                                 "0x2aa0000001",
                                 "+2aa00000001",
                                 "-12aa0000001",
                                 "02aa00000001\t02aa00000002",
                                 std::string("02aa00000001\0", 13),
                                 std::string("02aa\0aa00001", 12),
                                 "\xFF\xFE\xFD",
                                 "%n%n%n%n%n%s",
                                 std::string(31, '0'),
                                 std::string(300, '0'),
                                 std::string(1000, 'a') + "02aa00000001"};
    for (const std::string &line : lines) {
        if (line.size() == 13 && line.back() == '\0') continue; // a NUL after the digits ends the line
        EXPECT_EQ(0, Load(line + "\n" + Line(7))) << line;
        EXPECT_EQ(1, f39Num) << line;
        EXPECT_TRUE(Has(7)) << line;
    }
}

TEST_F(KnownDevices, NoMoreThan128LinesAreRead)
{
    std::string content = "damaged\r\n";
    for (unsigned i = 1; i <= 200; i++) content += Line(i);
    EXPECT_EQ(0, Load(content));
    EXPECT_EQ(127, f39Num);
    EXPECT_TRUE(Has(127));
    EXPECT_FALSE(Has(128));
}

TEST_F(KnownDevices, AtMost128FullLinesOfAHugeFileAreRead)
{
    EXPECT_EQ(0, Load(std::string(4096, 'a') + "\r\n" + Line(1)));
    EXPECT_EQ(0, f39Num);
    EXPECT_EQ(0, Load(std::string(3 << 20, '\n') + Line(1)));
    EXPECT_EQ(0, f39Num);
    EXPECT_EQ(0, Load(Line(1) + std::string(3 << 20, 'a')));
    EXPECT_EQ(1, f39Num);
}

TEST_F(KnownDevices, AnEmptyFileIsAnEmptyList)
{
    EXPECT_EQ(0, Load(""));
    EXPECT_EQ(0, f39Num);
}

TEST_F(KnownDevices, A129thDeviceIsNotAdded)
{
    for (unsigned i = 1; i <= 129; i++) Add(i);
    EXPECT_EQ(128, f39Num);
    EXPECT_FALSE(Has(129));
}
