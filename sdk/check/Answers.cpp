#include "sdk/check/Answers.h"

#include <algorithm>
#include <cstring>

#include "sdk/RouterSdk.h"

namespace check
{

static void CheckText(const std::string &name, const char *text, size_t size, Findings *findings)
{
    if (!memchr(text, '\0', size))
        findings->Wrong(name + " is not terminated within its " + std::to_string(size) + " bytes");
}

static void CheckPadded(const std::string &name, const char *text, size_t size, Findings *findings)
{
    const char *const end = text + size;
    const char *const zero = std::find(text, end, '\0');
    if (std::any_of(zero, end, [](char c) { return c != '\0'; }))
        findings->Wrong(name + " is not filled with zeros behind its text");
}

static void CheckMost(const std::string &name, unsigned value, unsigned most, Findings *findings)
{
    if (value > most) findings->Wrong(name + " is " + std::to_string(value) + ", more than " + std::to_string(most));
}

static uint16_t Word(const Guarded &buffer)
{
    uint16_t word;
    memcpy(&word, buffer.Data(), sizeof word);
    return word;
}

template <typename Record>
static Record At(const Guarded &buffer, size_t index = 0)
{
    Record record;
    memcpy(&record, buffer.Data() + index * sizeof record, sizeof record);
    return record;
}

// ---- Texts and numbers

static const char *Chars(const Guarded &buffer)
{
    return reinterpret_cast<const char *>(buffer.Data());
}

AnswerCheck IsText()
{
    return [](const Buffers &b, Findings *findings) { CheckText("the text", Chars(b[0]), b[0].Size(), findings); };
}

AnswerCheck IsPaddedText()
{
    return [](const Buffers &b, Findings *findings) { CheckPadded("the text", Chars(b[0]), b[0].Size(), findings); };
}

AnswerCheck IsFlag()
{
    return [](const Buffers &b, Findings *findings) { CheckMost("the flag", b[0].Data()[0], 1, findings); };
}

AnswerCheck IsPercent()
{
    return [](const Buffers &b, Findings *findings) { CheckMost("the percentage", Word(b[0]), 100, findings); };
}

AnswerCheck IsCount(unsigned most)
{
    return [most](const Buffers &b, Findings *findings) { CheckMost("the count", Word(b[0]), most, findings); };
}

// ---- Records

typedef void (*RecordCheck)(const Guarded &buffer, size_t index, Findings *findings);

static void CheckWan(const Guarded &buffer, size_t index, Findings *findings)
{
    const WanCfg wan = At<WanCfg>(buffer, index);
    CheckText("name of the WAN", wan.name, sizeof wan.name, findings);
    CheckText("user of the WAN", wan.user, sizeof wan.user, findings);
    CheckText("password of the WAN", wan.password, sizeof wan.password, findings);
    CheckMost("mode of the WAN", wan.mode, ROUTER_WAN_BRIDGE, findings);
    CheckMost("connected of the WAN", wan.connected, 1, findings);
}

static void CheckSsid(const Guarded &buffer, size_t index, Findings *findings)
{
    const SsidCfg ssid = At<SsidCfg>(buffer, index);
    CheckText("ssid of the SSID", ssid.ssid, sizeof ssid.ssid, findings);
    CheckText("key of the SSID", ssid.key, sizeof ssid.key, findings);
    CheckMost("enabled of the SSID", ssid.enabled, 1, findings);
    CheckMost("hidden of the SSID", ssid.hidden, 1, findings);
}

static void CheckDevice(const Guarded &buffer, size_t index, Findings *findings)
{
    const DevCfg device = At<DevCfg>(buffer, index);
    CheckPadded("name of the device", device.name, sizeof device.name, findings);
    CheckMost("link of the device", device.link, ROUTER_LINK_WIFI_5G, findings);
    CheckMost("access of the device", device.access, 1, findings);
}

static void CheckNeighbour(const Guarded &buffer, size_t index, Findings *findings)
{
    const AdjWifi wifi = At<AdjWifi>(buffer, index);
    CheckText("ssid of the neighbour", wifi.ssid, sizeof wifi.ssid, findings);
    CheckText("security of the neighbour", wifi.security, sizeof wifi.security, findings);
    CheckMost("load of the neighbour", wifi.load, 100, findings);
}

static AnswerCheck One(RecordCheck check)
{
    return [check](const Buffers &b, Findings *findings) { check(b[0], 0, findings); };
}

// `open` lists may count more than they have room for.
static AnswerCheck List(size_t size, bool open, RecordCheck check)
{
    return [=](const Buffers &b, Findings *findings) {
        const size_t room = b[0].Size() / size;
        const size_t count = Word(b[1]);
        if (!open) CheckMost("the count", static_cast<unsigned>(count), static_cast<unsigned>(room), findings);
        for (size_t i = 0; check && i < std::min(count, room); i++) check(b[0], i, findings);
    };
}

AnswerCheck IsVersion()
{
    return [](const Buffers &b, Findings *findings) {
        const RouterVersion version = At<RouterVersion>(b[0]);
        CheckText("text of the version", version.text, sizeof version.text, findings);
        for (const int8_t part : version.date)
            if (part < 0 || part > 99) findings->Wrong("date of the version: a part is not in 0 to 99");
    };
}

AnswerCheck IsCpu()
{
    return [](const Buffers &b, Findings *findings) {
        const CpuCfg cpu = At<CpuCfg>(b[0]);
        CheckText("model of the processor", cpu.model, sizeof cpu.model, findings);
    };
}

AnswerCheck IsMemory()
{
    return [](const Buffers &b, Findings *findings) {
        const MemCfg memory = At<MemCfg>(b[0]);
        CheckText("type of the memory", memory.type, sizeof memory.type, findings);
    };
}

AnswerCheck IsWan()
{
    return One(CheckWan);
}

AnswerCheck AreWans()
{
    return List(sizeof(WanCfg), false, CheckWan);
}

AnswerCheck IsSsid()
{
    return One(CheckSsid);
}

AnswerCheck AreSsids()
{
    return List(sizeof(SsidCfg), false, CheckSsid);
}

AnswerCheck IsDevice()
{
    return One(CheckDevice);
}

AnswerCheck AreDevices()
{
    return List(sizeof(DevCfg), true, CheckDevice);
}

AnswerCheck AreNeighbours()
{
    return List(sizeof(AdjWifi), false, CheckNeighbour);
}

AnswerCheck AreMacs()
{
    return List(6, false, nullptr);
}

} // namespace check
