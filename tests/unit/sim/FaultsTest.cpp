#include "tests/unit/sim/SimTest.h"

#include "sdk/sim/Faults.h"
#include <cstring>
#include <fstream>

class FaultEntries : public SimTest
{
  protected:
    // Results of `calls` calls of get_lan_num under these faults.
    std::vector<int> Results(const std::string &faults, int calls)
    {
        Start("", faults);
        std::vector<int> results;
        uint16_t count;
        for (int i = 0; i < calls; i++) results.push_back(get_lan_num(&count));
        return results;
    }
    // The one line of complaint about a bad entry.
    std::string ComplaintAbout(const std::string &faults)
    {
        Start("", faults);
        std::string text = Complaints();
        EXPECT_EQ(1u, CountOf(text, "\n")) << faults;
        return text;
    }
};

TEST_F(FaultEntries, FailTheNamedCallAlone)
{
    Start("", "get_lan_cfg=5,get_lan_num=-1");
    LanCfg lan;
    uint16_t count;
    char name[32];
    EXPECT_EQ(5, get_lan_cfg(&lan));
    EXPECT_EQ(-1, get_lan_num(&count));
    EXPECT_EQ(0, get_name(name));
    EXPECT_EQ("", Complaints());
}

TEST_F(FaultEntries, LeaveTheCallersBuffersUntouched)
{
    Start("", "*=5");
    LanCfg lan;
    memset(&lan, 0x5A, sizeof lan);
    uint16_t count = 0x5A5A;
    EXPECT_EQ(5, get_lan_cfg(&lan));
    EXPECT_EQ(5, get_lan_num(&count));
    EXPECT_EQ(std::string(sizeof lan, 0x5A), std::string(reinterpret_cast<char *>(&lan), sizeof lan));
    EXPECT_EQ(0x5A5A, count);
}

TEST_F(FaultEntries, KeepASettingFromTakingEffect)
{
    Start(StatePath(), "set_led_switch=9:first=1");
    EXPECT_EQ(9, set_led_switch(0));
    uint8_t on = 0;
    EXPECT_EQ(0, get_led_switch(&on));
    EXPECT_EQ(1, on);
    EXPECT_TRUE(Files().empty());
}

TEST_F(FaultEntries, ReplaceTheFigureWhereThatIsTheReturnValue)
{
    Start("", "get_dev_us_bw=12,get_router_is_plug=0");
    EXPECT_EQ(12u, get_dev_us_bw(OFFICE_PC.data()));
    EXPECT_EQ(0, get_router_is_plug());
}

TEST_F(FaultEntries, ActOnTheFirstCallsOnly)
{
    EXPECT_EQ((std::vector<int>{5, 5, 0, 0}), Results("get_lan_num=5:first=2", 4));
}

TEST_F(FaultEntries, ActAfterTheFirstCalls)
{
    EXPECT_EQ((std::vector<int>{0, 0, 5, 5}), Results("get_lan_num=5:after=2", 4));
}

TEST_F(FaultEntries, ActOnEveryNthCall)
{
    EXPECT_EQ((std::vector<int>{0, 0, 5, 0, 0, 5, 0}), Results("get_lan_num=5:every=3", 7));
}

TEST_F(FaultEntries, CombineOptions)
{
    EXPECT_EQ((std::vector<int>{0, 0, 5, 0, 5, 0, 0, 0}), Results("get_lan_num=5:after=1:every=2:first=5", 8));
}

TEST_F(FaultEntries, GiveTheResultOfTheFirstThatActs)
{
    EXPECT_EQ((std::vector<int>{5, 6, 6}), Results("get_lan_num=5:first=1,*=6", 3));
}

TEST_F(FaultEntries, DelayACallThatThenSucceeds)
{
    EXPECT_EQ((std::vector<int>{0, 0}), Results("get_lan_num:delay=2000:first=1,*:delay=10", 2));
    EXPECT_EQ(2020u, TestClockDelayedMs());
}

TEST_F(FaultEntries, DelayACallThatThenFails)
{
    EXPECT_EQ((std::vector<int>{5}), Results("get_lan_num=5:delay=300", 1));
    EXPECT_EQ(300u, TestClockDelayedMs());
}

TEST_F(FaultEntries, ThatAreBadAreReportedOnceAndTheOthersHold)
{
    EXPECT_EQ((std::vector<int>{5, 5}), Results("get_lan_nun=4,get_lan_num=5", 2));
    EXPECT_EQ(
        "simulated router: ROUTER_SIM_FAULTS: \"get_lan_nun=4\" is left out: no function of the interface has this "
        "name\n",
        Complaints());
}

TEST_F(FaultEntries, AreRefusedWhenTheyAreNoEntries)
{
    for (const char *bad : {"get_lan_num",
                            "get_lan_num=",
                            "get_lan_num=x",
                            "get_lan_num=5x",
                            "get_lan_num= 5",
                            "get_lan_num=99999999999",
                            "=5",
                            " get_lan_num=5",
                            "get_lan_num =5",
                            "get_lan=5",
                            ":delay=5",
                            "get_lan_num=5:",
                            "get_lan_num=5:delay",
                            "get_lan_num=5:delay=",
                            "get_lan_num=5:delay=0",
                            "get_lan_num=5:delay=600001",
                            "get_lan_num=5:every=0",
                            "get_lan_num=5:first=-1",
                            "get_lan_num=5:last=1",
                            "get_lan_num=5:first=1:",
                            "get_lan_num:every=2",
                            "get_lan_num get_name=5",
                            "*x=5"}) {
        EXPECT_NE(std::string::npos, ComplaintAbout(bad).find(std::string("\"") + bad + "\" is left out")) << bad;
    }
    for (const char *bad : {",get_name=5", "get_name=5,", "get_name=5,,get_lan_num=6"})
        EXPECT_NE(std::string::npos, ComplaintAbout(bad).find("\"\" is left out")) << bad;
}

TEST_F(FaultEntries, ThatAreTooLongAreRefused)
{
    EXPECT_NE(std::string::npos, ComplaintAbout(std::string(5000, 'g') + "=5").find("the entry is too long"));
    EXPECT_NE(std::string::npos, ComplaintAbout(std::string(150, 'g') + "=5").find("no function"));
}

TEST_F(FaultEntries, BeyondTheSixtyFourthAreReported)
{
    std::string many = "get_name=1";
    for (int i = 1; i < 64; i++) many += ",get_name=1";
    EXPECT_EQ((std::vector<int>{0}), Results(many + ",get_lan_num=5", 1));
    EXPECT_EQ("simulated router: ROUTER_SIM_FAULTS: only the first 64 entries are used\n", Complaints());
}

TEST(FaultNames, AreAllFunctionsOfTheHeader)
{
    std::ifstream header(SDK_HEADER);
    ASSERT_TRUE(header);
    int functions = 0;
    testing::internal::CaptureStderr();
    for (std::string line; std::getline(header, line);) {
        char name[40], parenthesis;
        if (sscanf(line.c_str(), "int %39[a-z0-9_]%c", name, &parenthesis) != 2 &&
            sscanf(line.c_str(), "uint64_t %39[a-z0-9_]%c", name, &parenthesis) != 2)
            continue;
        if (parenthesis != '(') continue;
        functions++;
        LoadFaults((std::string(name) + "=5").c_str());
        EXPECT_TRUE(CountCall(name).answers) << name;
    }
    LoadFaults(nullptr);
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
    EXPECT_EQ(81, functions);
}
