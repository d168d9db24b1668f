#include "core/PlugStatus.h"

#include <filesystem>

#include "os/Paths.h"
#include "tests/unit/agent/AgentTest.h"
#include "tests/unit/agent/PlatformSide.h"

typedef AgentTest PlugStatusTest;

TEST_F(PlugStatusTest, EveryCodeIsWrittenAsThreeDigitsAndANewline)
{
    const struct {
        int code;
        const char *content;
    } cases[] = {{PLUG_CONNECTING, "001\n"},     {PLUG_REGISTERED, "002\n"}, {PLUG_LOGGED_IN, "003\n"},
                 {PLUG_UPDATE_FETCHED, "004\n"}, {PLUG_FORCED_OFF, "005\n"}, {PLUG_REGISTER_FAILED, "101\n"},
                 {PLUG_START_FAILED, "102\n"},   {PLUG_LINK_LOST, "103\n"},  {PLUG_UPDATE_REPORTED, "104\n"}};
    for (const auto &sample : cases) {
        EXPECT_EQ(0, LogPlugStatus(sample.code));
        EXPECT_EQ(sample.content, StatusFile());
    }
}

TEST_F(PlugStatusTest, ACodeOfFourDigitsLosesItsNewline)
{
    EXPECT_EQ(0, LogPlugStatus(1234));
    EXPECT_EQ("1234", StatusFile());
}

TEST_F(PlugStatusTest, ReplacesLongerContent)
{
    WriteFile(kPathPlugStatus, "something longer\nand another line\n");
    EXPECT_EQ(0, LogPlugStatus(2));
    EXPECT_EQ("002\n", StatusFile());
}

TEST_F(PlugStatusTest, ReturnsMinusOneWhenTheFileCannotBeOpened)
{
    std::filesystem::create_directory(kPathPlugStatus);
    Log();
    EXPECT_EQ(-1, LogPlugStatus(1));
    EXPECT_NE(std::string::npos, Log().find("Can not open"));
}

TEST_F(PlugStatusTest, APlantedLinkIsNotFollowed)
{
    const std::string target = FakeFolder() + "/precious";
    WriteFile(target, "untouched");
    std::filesystem::create_symlink(target, kPathPlugStatus);
    EXPECT_EQ(0, LogPlugStatus(103));
    EXPECT_EQ("untouched", ReadFile(target));
    EXPECT_EQ("103\n", StatusFile());
    EXPECT_FALSE(std::filesystem::is_symlink(kPathPlugStatus));
}

TEST_F(PlugStatusTest, NothingIsWrittenAfterTheLastCode)
{
    // In a process of its own: after the last code no other test could write one.
    EXPECT_ENDS(
        {
            LogPlugStatus(PLUG_UPDATE_FETCHED);
            LogPlugStatus(PLUG_LINK_LOST);
            EXPECT_EQ(0, LogLastPlugStatus(PLUG_UPDATE_FETCHED));
            EXPECT_EQ(0, LogPlugStatus(PLUG_LINK_LOST));
            exit(255);
        },
        "");
    EXPECT_EQ("004\n", StatusFile());
}
