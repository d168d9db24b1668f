// plug-sdk-check against three libraries: the simulated router, the template, and one that is broken in many ways. The one
// for Linux machines needs a machine that is a router: tests/lab/SdkCheckTest.cpp and WifiTest.cpp.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <set>
#include <sys/wait.h>

#include "sdk/check/Contract.h"
#include "sdk/check/Getters.h"
#include "sdk/check/Setters.h"
#include "tests/support/Files.h"

namespace
{

struct Report {
    int status = -1;
    std::string output; // both outputs

    // The line that begins with `name`; "" when there is none.
    std::string Row(const std::string &name) const
    {
        const size_t begin = output.find("\n" + name + " ");
        return begin == std::string::npos ? "" : output.substr(begin + 1, output.find('\n', begin + 1) - begin - 1);
    }
    bool Says(const std::string &name, const std::string &text) const
    {
        return Row(name).find(text) != std::string::npos;
    }
};

Report Check(const std::string &arguments)
{
    Report run;
    FILE *const pipe = popen((std::string(SDK_CHECK_PROGRAM " ") + arguments + " 2>&1").c_str(), "r");
    if (!pipe) return run;
    std::array<char, 4096> bytes;
    size_t count;
    while ((count = fread(bytes.data(), 1, bytes.size(), pipe)) > 0) run.output.append(bytes.data(), count);
    const int status = pclose(pipe);
    if (WIFEXITED(status)) run.status = WEXITSTATUS(status);
    return run;
}

} // namespace

TEST(SdkCheck, HasARowForEveryFunctionOfTheContractAndForNoOther)
{
    std::multiset<std::string> rows(check::NeverCalled().begin(), check::NeverCalled().end());
    for (const check::Getter &getter : check::Getters()) rows.insert(getter.name);
    for (const check::Setter &setter : check::Setters()) rows.insert(setter.name);
    const std::multiset<std::string> contract(check::ContractNames().begin(), check::ContractNames().end());
    EXPECT_EQ(contract, rows);
    EXPECT_LT(80u, contract.size());
}

TEST(SdkCheck, FindsNothingWrongWithTheSimulatedRouter)
{
    const Report run = Check(SIM_LIBRARY);
    EXPECT_EQ(0, run.status) << run.output;
    EXPECT_NE(std::string::npos, run.output.find("55 answered, 0 answered a code, 26 not called, 0 WRONG"))
        << run.output;
    EXPECT_TRUE(run.Says("set_name", "only with --write")) << run.output;
}

TEST(SdkCheck, PutsBackWhatEverySetterHasChanged)
{
    TemporaryFolder folder;
    const std::string state = folder.Path("state.json");
    ASSERT_EQ(0, setenv("ROUTER_SIM_STATE", state.c_str(), 1));
    ASSERT_EQ(0, setenv("ROUTER_SIM_LOG", folder.Path("calls.log").c_str(), 1));
    WriteFile(state, ReadFile(SIM_EXAMPLE));
    EXPECT_EQ(0, Check("--write " SIM_LIBRARY).status); // it writes the file anew, in its own form
    const std::string before = ReadFile(state);
    const Report run = Check("--write " SIM_LIBRARY);
    EXPECT_EQ(0, run.status) << run.output;
    EXPECT_EQ(before, ReadFile(state));
    EXPECT_NE(std::string::npos, run.output.find("75 answered, 0 answered a code, 6 not called, 0 WRONG"))
        << run.output;
    const std::string calls = ReadFile(folder.Path("calls.log"));
    for (const check::Setter &setter : check::Setters())
        EXPECT_NE(std::string::npos, calls.find(std::string(setter.name) + "(")) << setter.name;
    for (const std::string &name : check::NeverCalled()) EXPECT_EQ(std::string::npos, calls.find(name + "(")) << name;
    unsetenv("ROUTER_SIM_STATE");
    unsetenv("ROUTER_SIM_LOG");
}

TEST(SdkCheck, SaysWhatTheTemplateStillNeeds)
{
    const Report run = Check("--write " TEMPLATE_LIBRARY);
    EXPECT_EQ(1, run.status) << run.output;
    for (const char *needed : {"get_router_mac", "get_router_sn"})
        EXPECT_TRUE(run.Says(needed, "the agent cannot register without it")) << run.output;
    EXPECT_NE(std::string::npos, run.output.find(" 2 WRONG\n")) << run.output;
    EXPECT_TRUE(run.Says("set_name", "not called: get_name answers 1, so nothing could be put back")) << run.output;
}

#ifdef BROKEN_LIBRARY
TEST(SdkCheck, NamesEveryFaultOfABrokenLibraryByItsFunction)
{
    const Report run = Check("--write --limit 0.5 " BROKEN_LIBRARY);
    EXPECT_EQ(1, run.status) << run.output;
    const struct {
        const char *name, *text;
    } faults[] = {
        {"get_router_mac", "WRONG: the library does not have it"},
        {"get_router_sn", "WRONG: writes outside its buffer of 64 bytes"},
        {"get_router_vender", "WRONG: the text is not terminated within its 64 bytes"},
        {"get_router_pin", "WRONG: the text is not filled with zeros behind it"},
        {"get_cpu_cfg", "7"},
        {"get_cpu_cfg", "WRONG: fails and changes its buffer of 43 bytes all the same"},
        {"get_mem_cfg", "WRONG: ended the process"},
        {"get_cpu_use", "WRONG: the percentage is 101, more than 100"},
        {"get_wan_tcp_con_num", "WRONG: answers 0 for a number that there is not"},
        {"get_wans_cfg", "WRONG: the count is 9, more than 8"},
        {"get_lan_cfg", "WRONG: crashed in get_lan_cfg (SIGABRT)"},
        {"get_led_switch", "WRONG: does not return: get_led_switch"},
        {"set_wps_switch", "WRONG: answers 0, and get_wps_switch does not have what was set"},
        {"set_ftp_switch", "WRONG: crashed in set_ftp_switch (SIGABRT); what was set before has been put back"},
        {"set_ftp_user", "WRONG: crashed in set_ftp_user (SIGSEGV)"},
    };
    for (const auto &fault : faults) EXPECT_TRUE(run.Says(fault.name, fault.text)) << fault.name << "\n" << run.output;
}

TEST(SdkCheck, HoldsNothingAgainstASetterThatRefusesAndChangesNothing)
{
    const Report run = Check("--write --limit 0.5 " BROKEN_LIBRARY);
    EXPECT_TRUE(run.Says("get_dns", "0")) << run.output;
    EXPECT_TRUE(run.Says("set_dns", "1")) << run.output;
    EXPECT_FALSE(run.Says("set_dns", "WRONG")) << run.output;
}

TEST(SdkCheck, FindsAFunctionThatIsNotForSeveralThreads)
{
    const Report run = Check(RACE_LIBRARY);
    EXPECT_EQ(1, run.status) << run.output;
    EXPECT_TRUE(run.Says("get_name", "0")) << run.output; // one thread is well
    EXPECT_EQ(std::string::npos, run.Row("get_name").find("WRONG")) << run.output;
    EXPECT_TRUE(run.Says("all getters, 8 threads", "WRONG: crashed in get_name (SIGABRT)")) << run.output;
}
#endif

TEST(SdkCheck, RefusesWhatIsNoLibrary)
{
    TemporaryFolder folder;
    const Report missing = Check(folder.Path("nothing.so"));
    EXPECT_EQ(2, missing.status);
    EXPECT_NE(std::string::npos, missing.output.find("cannot open shared object file")) << missing.output;
    WriteFile(folder.Path("text.so"), "no library\n");
    EXPECT_EQ(2, Check(folder.Path("text.so")).status);
    EXPECT_EQ(2, Check("").status);
    EXPECT_EQ(2, Check("--threads 0 " SIM_LIBRARY).status);
    const Report help = Check("--help");
    EXPECT_EQ(0, help.status);
    EXPECT_NE(std::string::npos, help.output.find("Exit status: 0 nothing is wrong")) << help.output;
}
