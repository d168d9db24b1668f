#include "tests/unit/agent/SurfTest.h"

#include <algorithm>
#include <cstring>

#include "os/OsMemory.h"

static const time_t kMonday = 1704067200; // 1 January 2024, 00:00:00 UTC

SurfRule *NewRule(int startHour, int startMinute, int stopHour, int stopMinute)
{
    SurfRule *rule = static_cast<SurfRule *>(OsAllocate(sizeof(SurfRule)));
    *rule = {startHour, startMinute, stopHour, stopMinute};
    return rule;
}

std::string Ranges(const RuleNode *list)
{
    std::string text;
    for (; list; list = list->next) {
        const SurfRule &rule = *list->rule;
        if (!text.empty()) text += ' ';
        text += std::to_string(rule.startHour) + ':' + std::to_string(rule.startMinute) + '-' +
                std::to_string(rule.stopHour) + ':' + std::to_string(rule.stopMinute);
    }
    return text;
}

static DevCfg *Find(const uint8_t *mac)
{
    for (DevCfg &device : gSdk.devices)
        if (memcmp(device.mac, mac, 6) == 0) return &device;
    return nullptr;
}

// The bytes in the parentheses of a noted call, a MAC or a record.
static Bytes ArgumentOf(const std::string &call, const std::string &name)
{
    std::string digits;
    for (const char c : call.substr(name.size()))
        if (isxdigit(static_cast<unsigned char>(c))) digits += c;
    return Hex(digits);
}

// Runs inside every call of the router, after the call has been noted.
static void KeepHousehold(const std::string &name)
{
    const std::string &call = gSdk.calls.back();
    const Bytes argument = ArgumentOf(call, name);
    if (name == "get_dev_cfg") {
        const DevCfg *device = Find(argument.data());
        gSdk.results[name] = device ? 0 : 1;
        if (device) gSdk.device = *device;
    } else if (name == "set_dev_access_control") {
        DevCfg *device = Find(argument.data());
        if (device) memcpy(device, argument.data(), sizeof *device);
    }
}

void SurfTest::SetUp()
{
    AgentTest::SetUp();
    mAllocations = FakeAllocationsAlive();
    hash_table_init();
    gSdk.onCall = KeepHousehold;
    Log();
}

void SurfTest::TearDown()
{
    hash_table_destroy();
    EXPECT_EQ(mAllocations, FakeAllocationsAlive());
    AgentTest::TearDown();
}

void SurfTest::AddDevice(const std::string &mac, uint8_t access)
{
    DevCfg device = {};
    memcpy(device.mac, Hex(mac).data(), 6);
    device.access = access;
    gSdk.devices.push_back(device);
}

uint8_t SurfTest::Access(const std::string &mac)
{
    const DevCfg *device = Find(Hex(mac).data());
    EXPECT_NE(nullptr, device) << mac;
    return device ? device->access : 255;
}

void SurfTest::SetTime(int days, int hours, int minutes, int seconds)
{
    FakeClockSetWallTime(kMonday + days * 86400 + hours * 3600 + minutes * 60 + seconds);
}

size_t SurfTest::Writes()
{
    size_t count = 0;
    for (const std::string &call : gSdk.calls) count += call.compare(0, 22, "set_dev_access_control") == 0;
    gSdk.calls.clear();
    return count;
}
