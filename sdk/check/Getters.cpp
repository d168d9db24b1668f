#include "sdk/check/Getters.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>

#include "sdk/RouterSdk.h"
#include "sdk/check/Answers.h"
#include "sdk/check/Library.h"

namespace check
{

static const uint16_t kNoIndex = 60000;                                   // of nothing
static const uint8_t kNoDevice[6] = {0x02, 0x00, 0x5e, 0x00, 0x53, 0xfe}; // a MAC that nobody has
static const size_t kMaxSubjects = 8;                                     // that are asked about
static const size_t kStatusRoom = 16;

// ---- The table

template <typename Type>
static Type *As(Buffers &buffers, size_t index)
{
    return reinterpret_cast<Type *>(buffers[index].Data());
}

// Rows by what they are called with: nothing, a number, a MAC; with one buffer or a list and its count.
#define PLAIN(name, type, check)                                                                                       \
    {                                                                                                                  \
#name, Subject::Router, false, false,                                                                          \
            {sizeof(type) }, [](Buffers & b, const Argument &) { return SDK_CALL(name, As<type>(b, 0)); }, check,      \
                                                                                                        false          \
    }
#define CHARS(name, size, needed, check)                                                                               \
    {                                                                                                                  \
#name, Subject::Router, false, needed,                                                                         \
            {size }, [](Buffers & b, const Argument &) { return SDK_CALL(name, As<char>(b, 0)); }, check, false        \
    }
#define STATUSES(name)                                                                                                 \
    {                                                                                                                  \
#name, Subject::Router, false, false,                                                                          \
            {kStatusRoom }, [](Buffers & b, const Argument &) { return SDK_CALL(name, As<uint8_t>(b, 0)); }, nullptr,  \
                                                                                                          false        \
    }
#define LIST(name, type, room, check)                                                                                  \
    {                                                                                                                  \
#name, Subject::Router, false, false,                                                                          \
            {sizeof(type) * (room), sizeof(uint16_t) },                                                                \
             [](Buffers & b, const Argument &) { return SDK_CALL(name, As<type>(b, 0), As<uint16_t>(b, 1)); }, check,  \
                                                                                                            false      \
    }
#define NUMBERED(name, subject, type, check)                                                                           \
    {                                                                                                                  \
#name, Subject::subject, true, false,                                                                          \
            {sizeof(type) },                                                                                           \
             [](Buffers & b, const Argument &a) { return SDK_CALL(name, a.number, As<type>(b, 0)); }, check, false     \
    }
#define LIMIT(name)                                                                                                    \
    {                                                                                                                  \
#name, Subject::Device, false, false,                                                                          \
            {sizeof(int64_t) },                                                                                        \
             [](Buffers & b, const Argument &a) { return SDK_CALL(name, a.mac, As<int64_t>(b, 0)); }, nullptr, false   \
    }
#define FLAG(name)                                                                                                     \
    {                                                                                                                  \
#name, Subject::Router, false, false, {}, [](Buffers &, const Argument &) { return SDK_CALL(name); }, nullptr, \
                                                                                                           true        \
    }
#define FIGURE(name)                                                                                                   \
    {                                                                                                                  \
#name, Subject::Device, false, false,                                                                          \
            {}, [](Buffers &, const Argument &a) { return SDK_CALL(name, a.mac) != 0 ? 1 : 0; }, nullptr, true         \
    }

const std::vector<Getter> &Getters()
{
    // clang-format off
    static const std::vector<Getter> getters = {
        {"get_router_mac", Subject::Router, false, true, {6},
         [](Buffers &b, const Argument &) { return SDK_CALL(get_router_mac, As<uint8_t>(b, 0)); }, nullptr, false},
        CHARS(get_router_sn, 64, true, IsText()),
        CHARS(get_router_pin, 12, false, IsPaddedText()),
        PLAIN(get_router_version, RouterVersion, IsVersion()),
        CHARS(get_router_vender, 64, false, IsText()),
        CHARS(get_router_model, 64, false, IsText()),
        PLAIN(get_cpu_cfg, CpuCfg, IsCpu()),
        PLAIN(get_mem_cfg, MemCfg, IsMemory()),
        CHARS(get_name, 32, false, IsText()),
        FLAG(get_router_is_plug),
        FLAG(get_router_support_ipv6),
        PLAIN(get_cpu_use, uint16_t, IsPercent()),
        PLAIN(get_mem_use, uint16_t, IsPercent()),
        PLAIN(get_duration_time, uint64_t, nullptr),
        PLAIN(get_flows_down_rate, uint64_t, nullptr),
        PLAIN(get_flows_up_rate, uint64_t, nullptr),
        PLAIN(get_wan_num, uint16_t, IsCount(ROUTER_SDK_WANS)),
        NUMBERED(get_wan_cfg, Wan, WanCfg, IsWan()),
        LIST(get_wans_cfg, WanCfg, ROUTER_SDK_WANS, AreWans()),
        NUMBERED(get_wan_tcp_con_num, Wan, uint32_t, nullptr),
        NUMBERED(get_wan_udp_con_num, Wan, uint32_t, nullptr),
        NUMBERED(get_wan_receive_bytes, Wan, uint64_t, nullptr),
        STATUSES(get_wan_con_status),
        {"get_dns", Subject::Router, false, false, {sizeof(uint32_t), sizeof(uint32_t)},
         [](Buffers &b, const Argument &) { return SDK_CALL(get_dns, As<uint32_t>(b, 0), As<uint32_t>(b, 1)); },
         nullptr, false},
        PLAIN(get_lan_cfg, LanCfg, nullptr),
        PLAIN(get_lan_num, uint16_t, IsCount(ROUTER_SDK_LAN_PORTS)),
        STATUSES(get_lan_con_status),
        NUMBERED(get_lan_port_up_flow, LanPort, uint64_t, nullptr),
        NUMBERED(get_lan_port_down_flow, LanPort, uint64_t, nullptr),
        LIST(get_wlans_cfg, SsidCfg, ROUTER_SDK_SSIDS, AreSsids()),
        NUMBERED(get_ssid_cfg, Ssid, SsidCfg, IsSsid()),
        NUMBERED(get_ssid_switch, Ssid, uint8_t, IsFlag()),
        PLAIN(get_wifi_radio_switch, uint8_t, IsFlag()),
        NUMBERED(get_wifi_module_status, WifiModule, uint8_t, IsFlag()),
        PLAIN(get_wps_switch, uint8_t, IsFlag()),
        LIST(get_adj_wifi_devs, AdjWifi, ROUTER_SDK_ADJ_WIFI, AreNeighbours()),
        PLAIN(get_led_switch, uint8_t, IsFlag()),
        PLAIN(get_ftp_switch, uint8_t, IsFlag()),
        PLAIN(get_sambaenable_switch, uint8_t, IsFlag()),
        PLAIN(get_telnetenable_switch, uint8_t, IsFlag()),
        CHARS(get_ftp_user, 16, false, IsPaddedText()),
        CHARS(get_ftp_password, 16, false, IsPaddedText()),
        CHARS(get_samba_user, 16, false, IsPaddedText()),
        CHARS(get_samba_password, 16, false, IsPaddedText()),
        CHARS(get_telnet_user, 16, false, IsPaddedText()),
        CHARS(get_telnet_password, 16, false, IsPaddedText()),
        LIST(get_devs_cfg, DevCfg, ROUTER_SDK_DEVICES, AreDevices()),
        {"get_dev_cfg", Subject::Device, true, false, {sizeof(DevCfg)},
         [](Buffers &b, const Argument &a) { return SDK_CALL(get_dev_cfg, As<DevCfg>(b, 0), a.mac); }, IsDevice(),
         false},
        {"get_dev_name", Subject::Device, true, false, {64},
         [](Buffers &b, const Argument &a) { return SDK_CALL(get_dev_name, a.mac, As<char>(b, 0)); }, IsText(), false},
        FIGURE(get_dev_us_bw),
        FIGURE(get_dev_ds_bw),
        LIMIT(get_dev_us_max_bw),
        LIMIT(get_dev_ds_max_bw),
        {"get_dev_speed", Subject::DeviceSpeed, true, false, {sizeof(uint16_t)},
         [](Buffers &b, const Argument &a) { return SDK_CALL(get_dev_speed, a.mac, a.number, As<uint16_t>(b, 0)); },
         nullptr, false},
        {"get_dev_black_list", Subject::Router, false, false, {6 * ROUTER_SDK_BLACK_LIST, sizeof(uint16_t)},
         [](Buffers &b, const Argument &) {
             return SDK_CALL(get_dev_black_list, As<uint8_t[6]>(b, 0), As<uint16_t>(b, 1));
         },
         AreMacs(), false},
    };
    // clang-format on
    return getters;
}

bool OnDeviceTable(const std::string &name)
{
    return name.find("_dev_") != std::string::npos || name.find("_devs_") != std::string::npos;
}

// ---- What there is to ask about

static std::vector<Argument> Numbers(size_t count)
{
    std::vector<Argument> arguments;
    for (size_t i = 0; i < std::min(count, kMaxSubjects); i++) arguments.push_back({static_cast<uint16_t>(i), {}});
    return arguments;
}

static size_t CountOf(int (*ask)(uint16_t *count))
{
    Guarded count(sizeof(uint16_t));
    uint16_t value = 0;
    if (ask(reinterpret_cast<uint16_t *>(count.Data())) == 0) memcpy(&value, count.Data(), sizeof value);
    return value;
}

static size_t Counted(const Guarded &count, size_t room)
{
    uint16_t value;
    memcpy(&value, count.Data(), sizeof value);
    return std::min({static_cast<size_t>(value), room, kMaxSubjects});
}

static std::vector<Argument> Ssids()
{
    Guarded records(sizeof(SsidCfg) * ROUTER_SDK_SSIDS), count(sizeof(uint16_t));
    std::vector<Argument> arguments;
    if (!FindProcedure("get_wlans_cfg") || SDK_CALL(get_wlans_cfg, reinterpret_cast<SsidCfg *>(records.Data()),
                                                    reinterpret_cast<uint16_t *>(count.Data())) != 0)
        return arguments;
    for (size_t i = 0; i < Counted(count, ROUTER_SDK_SSIDS); i++) {
        SsidCfg ssid;
        memcpy(&ssid, records.Data() + i * sizeof ssid, sizeof ssid);
        arguments.push_back({ssid.index, {}});
    }
    return arguments;
}

static std::vector<Argument> Devices()
{
    Guarded records(sizeof(DevCfg) * ROUTER_SDK_DEVICES), count(sizeof(uint16_t));
    std::vector<Argument> arguments;
    if (!FindProcedure("get_devs_cfg") || SDK_CALL(get_devs_cfg, reinterpret_cast<DevCfg *>(records.Data()),
                                                   reinterpret_cast<uint16_t *>(count.Data())) != 0)
        return arguments;
    for (size_t i = 0; i < Counted(count, ROUTER_SDK_DEVICES); i++) {
        Argument argument = {};
        memcpy(argument.mac, records.Data() + i * sizeof(DevCfg), sizeof argument.mac);
        arguments.push_back(argument);
    }
    return arguments;
}

static std::vector<Argument> Speeds()
{
    std::vector<Argument> arguments;
    for (Argument argument : Devices())
        for (argument.number = 0; argument.number <= 2; argument.number++) arguments.push_back(argument);
    return arguments;
}

static std::vector<Argument> Existing(Subject subject)
{
    switch (subject) {
    case Subject::Router: return {Argument()};
    case Subject::Wan:
        return Numbers(FindProcedure("get_wan_num") ? CountOf([](uint16_t *n) { return SDK_CALL(get_wan_num, n); })
                                                    : 0);
    case Subject::LanPort:
        return Numbers(FindProcedure("get_lan_num") ? CountOf([](uint16_t *n) { return SDK_CALL(get_lan_num, n); })
                                                    : 0);
    case Subject::Ssid: return Ssids();
    case Subject::WifiModule: return Numbers(ROUTER_SDK_WIFI_MODULES);
    case Subject::Device: return Devices();
    case Subject::DeviceSpeed: return Speeds();
    }
    return {};
}

static Argument Missing(Subject subject)
{
    Argument argument = {kNoIndex, {}};
    if (subject == Subject::Device) memcpy(argument.mac, kNoDevice, sizeof kNoDevice);
    return argument;
}

// ---- Calls

static std::string SizeText(const Guarded &buffer)
{
    return std::to_string(buffer.Size()) + " bytes";
}

// Calls it with buffers that are filled with `fill`, as the agent does with 0. Returns its answer.
static int Ask(const Getter &getter, const Argument &argument, uint8_t fill, Findings *findings)
{
    Buffers buffers;
    for (const size_t size : getter.sizes) {
        buffers.emplace_back(size);
        buffers.back().Fill(fill);
    }
    const int result = getter.call(buffers, argument);
    for (const Guarded &buffer : buffers) {
        if (!buffer.Intact()) findings->Wrong("writes outside its buffer of " + SizeText(buffer));
        if (result != 0 && !getter.figure && !buffer.Untouched())
            findings->Wrong("fails and changes its buffer of " + SizeText(buffer) + " all the same");
    }
    if (result == 0 && getter.check) getter.check(buffers, findings);
    return result;
}

static const uint8_t kFills[] = {0x00, 0x5c}; // the second shows a missing terminator

void CheckGetter(const Getter &getter, Findings *findings)
{
    const std::vector<Argument> subjects = Existing(getter.subject);
    bool first = true;
    for (const Argument &subject : subjects)
        for (const uint8_t fill : kFills) {
            const int result = Ask(getter, subject, fill, findings);
            if (first) findings->Answer((getter.figure ? "=" : "") + std::to_string(result));
            if (getter.figure && getter.sizes.empty() && getter.subject == Subject::Router && result != 0 &&
                result != 1)
                findings->Wrong("returns " + std::to_string(result) + " as a flag");
            if (getter.needed && result != 0) findings->Wrong("fails, and the agent cannot register without it");
            first = false;
        }
    if (subjects.empty()) findings->Note("nothing is there to be asked about");
    if (getter.figure && getter.subject == Subject::Device && Ask(getter, Missing(getter.subject), 0, findings) != 0)
        findings->Wrong("returns a figure for a device that there is not");
    if (!getter.refusesUnknown) return;
    for (const uint8_t fill : kFills)
        if (Ask(getter, Missing(getter.subject), fill, findings) == 0)
            findings->Wrong(getter.subject == Subject::Device ? "answers 0 for a device that there is not"
                                                              : "answers 0 for a number that there is not");
}

void CheckThreads(int threads, int rounds, Findings *findings)
{
    struct Work {
        const Getter *getter;
        std::vector<Argument> subjects;
    };
    std::vector<Work> work;
    for (const Getter &getter : Getters())
        if (FindProcedure(getter.name)) work.push_back({&getter, Existing(getter.subject)});
    std::mutex deviceTable;
    std::vector<std::thread> running;
    for (int i = 0; i < threads; i++)
        running.emplace_back([&] {
            for (int round = 0; round < rounds; round++)
                for (const Work &item : work)
                    for (const Argument &subject : item.subjects) {
                        std::unique_lock<std::mutex> lock(deviceTable, std::defer_lock);
                        if (OnDeviceTable(item.getter->name)) lock.lock();
                        Findings named = findings->Of(item.getter->name);
                        Ask(*item.getter, subject, kFills[1], &named);
                    }
        });
    for (std::thread &thread : running) thread.join();
}

} // namespace check
