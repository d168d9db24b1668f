#include "tests/unit/sim/SimTest.h"

#include "sdk/sim/Call.h"
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <unistd.h>

void SimTest::SetUp()
{
    char name[] = "/tmp/simtest.XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(name));
    folder = name;
    testing::internal::CaptureStderr();
    Start();
}

void SimTest::TearDown()
{
    testing::internal::GetCapturedStderr();
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
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
    WriteText(StatePath(), json);
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
    for (const auto &entry : std::filesystem::directory_iterator(folder)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

std::string ReadText(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

void WriteText(const std::string &path, const std::string &text)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

size_t CountOf(const std::string &text, const std::string &part)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) count++;
    return count;
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
