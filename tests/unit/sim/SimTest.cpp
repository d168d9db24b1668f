#include "tests/unit/sim/SimTest.h"

#include "sdk/sim/Call.h"
#include <algorithm>
#include <cstdlib>
#include <filesystem>

void SimTest::SetUp()
{
    testing::internal::CaptureStderr();
    Start();
}

void SimTest::TearDown()
{
    testing::internal::GetCapturedStderr();
}

static void SetOrUnset(const char *name, const std::string &value)
{
    if (value.empty())
        unsetenv(name);
    else
        setenv(name, value.c_str(), 1);
}

void SimTest::Start(const std::string &state, const std::string &faults, const std::string &log)
{
    SetOrUnset("ROUTER_SIM_STATE", state);
    SetOrUnset("ROUTER_SIM_FAULTS", faults);
    SetOrUnset("ROUTER_SIM_LOG", log);
    TestClockReset();
    ResetSimulatedRouter();
}

void SimTest::StartWith(const std::string &json)
{
    WriteFile(StatePath(), json);
    Start(StatePath());
}

std::string SimTest::Complaints()
{
    get_router_is_plug();
    std::string text = testing::internal::GetCapturedStderr();
    testing::internal::CaptureStderr();
    return text;
}

std::vector<std::string> SimTest::Files() const
{
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(folder.Path()))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<DevCfg> Devices(uint16_t *count)
{
    std::vector<DevCfg> devices(ROUTER_SDK_DEVICES);
    uint16_t all = 0;
    EXPECT_EQ(0, get_devs_cfg(devices.data(), &all));
    if (count) *count = all;
    devices.resize(std::min<size_t>(all, devices.size()));
    return devices;
}
