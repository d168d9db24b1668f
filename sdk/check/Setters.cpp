#include "sdk/check/Setters.h"

#include <algorithm>
#include <cstring>

#include "sdk/RouterSdk.h"
#include "sdk/check/Guarded.h"
#include "sdk/check/Library.h"

namespace check
{

// ---- Values

static Value FromText(const std::string &text)
{
    return Value(text.begin(), text.end());
}

// A text that ends where memory ends.
static AtTheEdge Terminated(const Value &value)
{
    Value text = value;
    text.push_back(0);
    return AtTheEdge(text.data(), text.size());
}

static const char *Chars(const AtTheEdge &text)
{
    return reinterpret_cast<const char *>(text.Data());
}

// Calls `ask` with a buffer of `size` bytes. Returns its result, and stores the buffer.
template <typename Ask>
static int Read(size_t size, Value *value, Ask ask)
{
    Guarded buffer(size);
    const int result = ask(buffer.Data());
    value->assign(buffer.Data(), buffer.Data() + size);
    return result;
}

static void CutText(Value *value)
{
    value->erase(std::find(value->begin(), value->end(), 0), value->end());
}

template <typename Number>
static Number As(const Value &value)
{
    Number number;
    memcpy(&number, value.data(), sizeof number);
    return number;
}

static Value Flipped(const Value &value)
{
    Value other = value;
    other[0] ^= 1;
    return other;
}

static Value OtherText(const Value &value)
{
    const Value check = FromText("sdk-check");
    return value == check ? FromText("sdk-check-2") : check;
}

// ---- What there is

static bool FirstDevice(DevCfg *device)
{
    Guarded records(sizeof(DevCfg) * ROUTER_SDK_DEVICES), count(sizeof(uint16_t));
    if (!FindProcedure("get_devs_cfg") || SDK_CALL(get_devs_cfg, reinterpret_cast<DevCfg *>(records.Data()),
                                                   reinterpret_cast<uint16_t *>(count.Data())) != 0)
        return false;
    memcpy(device, records.Data(), sizeof *device);
    return count.Data()[0] != 0 || count.Data()[1] != 0;
}

static bool FirstSsid(SsidCfg *ssid)
{
    Guarded records(sizeof(SsidCfg) * ROUTER_SDK_SSIDS), count(sizeof(uint16_t));
    if (!FindProcedure("get_wlans_cfg") || SDK_CALL(get_wlans_cfg, reinterpret_cast<SsidCfg *>(records.Data()),
                                                    reinterpret_cast<uint16_t *>(count.Data())) != 0)
        return false;
    memcpy(ssid, records.Data(), sizeof *ssid);
    return count.Data()[0] != 0;
}

// ---- Rows

#define SWITCH(which)                                                                                                  \
    Setter                                                                                                             \
    {                                                                                                                  \
        "set_" #which "_switch", "get_" #which "_switch",                                                              \
            [](Value *v) { return Read(1, v, [](uint8_t *on) { return SDK_CALL(get_##which##_switch, on); }); },       \
            [](const Value &v) { return SDK_CALL(set_##which##_switch, v[0]); }, Flipped, {},                          \
        {                                                                                                              \
        }                                                                                                              \
    }

#define ACCOUNT(which)                                                                                                 \
    Setter                                                                                                             \
    {                                                                                                                  \
        "set_" #which, "get_" #which,                                                                                  \
            [](Value *v) {                                                                                             \
                const int result =                                                                                     \
                    Read(16, v, [](uint8_t *t) { return SDK_CALL(get_##which, reinterpret_cast<char *>(t)); });        \
                CutText(v);                                                                                            \
                return result;                                                                                         \
            },                                                                                                         \
            [](const Value &v) {                                                                                       \
                const AtTheEdge text = Terminated(v);                                                                  \
                return SDK_CALL(set_##which, Chars(text));                                                             \
            },                                                                                                         \
            OtherText, {Value(17, 'x')},                                                                               \
        {                                                                                                              \
            Value(16, 'x'), Value()                                                                                    \
        }                                                                                                              \
    }

#define LIMIT(which)                                                                                                   \
    Setter                                                                                                             \
    {                                                                                                                  \
        "set_dev_" #which "_max_bw", "get_dev_" #which "_max_bw",                                                      \
            [](Value *v) {                                                                                             \
                DevCfg device;                                                                                         \
                if (!FirstDevice(&device)) return kNothing;                                                            \
                return Read(8, v, [&](uint8_t *limit) {                                                                \
                    return SDK_CALL(get_dev_##which##_max_bw, device.mac, reinterpret_cast<int64_t *>(limit));         \
                });                                                                                                    \
            },                                                                                                         \
            [](const Value &v) {                                                                                       \
                DevCfg device;                                                                                         \
                if (!FirstDevice(&device)) return kNothing;                                                            \
                return SDK_CALL(set_dev_##which##_max_bw, device.mac, As<int64_t>(v));                                 \
            },                                                                                                         \
            [](const Value &v) { return v == Value(8, 0) ? Value{0, 0, 16, 0, 0, 0, 0, 0} : Value(8, 0); }, {},        \
        {                                                                                                              \
        }                                                                                                              \
    }

static Setter Name()
{
    return {"set_name",
            "get_name",
            [](Value *v) {
                const int result =
                    Read(32, v, [](uint8_t *name) { return SDK_CALL(get_name, reinterpret_cast<char *>(name)); });
                CutText(v);
                return result;
            },
            [](const Value &v) {
                const AtTheEdge text = Terminated(v);
                return SDK_CALL(set_name, Chars(text));
            },
            OtherText,
            {Value(32, 'x')},
            {Value(31, 'x'), Value()}};
}

static Setter Dns()
{
    return {
        "set_dns",
        "get_dns",
        [](Value *v) {
            return Read(8, v, [](uint8_t *both) {
                uint32_t *const servers = reinterpret_cast<uint32_t *>(both);
                return SDK_CALL(get_dns, servers, servers + 1);
            });
        },
        [](const Value &v) { return SDK_CALL(set_dns, As<uint32_t>(v), As<uint32_t>(Value(v.begin() + 4, v.end()))); },
        [](const Value &) {
            return Value{192, 0, 2, 53, 198, 51, 100, 53}; // addresses of examples
        },
        {},
        {}};
}

static Setter SsidSwitch()
{
    return {"set_ssid_switch",
            "get_ssid_switch",
            [](Value *v) {
                SsidCfg ssid;
                if (!FirstSsid(&ssid)) return kNothing;
                return Read(1, v, [&](uint8_t *on) { return SDK_CALL(get_ssid_switch, ssid.index, on); });
            },
            [](const Value &v) {
                SsidCfg ssid;
                return FirstSsid(&ssid) ? SDK_CALL(set_ssid_switch, ssid.index, v[0]) : kNothing;
            },
            Flipped,
            {},
            {}};
}

static Setter Ssid()
{
    Value unterminated(sizeof(SsidCfg), 0);
    std::fill(unterminated.begin() + 2, unterminated.end(), 'x'); // of SSID 0
    return {"set_ssid_cfg",
            "get_ssid_cfg",
            [](Value *v) {
                SsidCfg ssid;
                if (!FirstSsid(&ssid)) return kNothing;
                return Read(sizeof ssid, v, [&](uint8_t *record) {
                    return SDK_CALL(get_ssid_cfg, ssid.index, reinterpret_cast<SsidCfg *>(record));
                });
            },
            [](const Value &v) {
                const AtTheEdge record(v.data(), v.size());
                return SDK_CALL(set_ssid_cfg, reinterpret_cast<const SsidCfg *>(record.Data()));
            },
            [](const Value &v) {
                Value other = v;
                other[offsetof(SsidCfg, hidden)] ^= 1;
                return other;
            },
            {},
            {unterminated}};
}

static Setter Access()
{
    return {"set_dev_access_control",
            "get_dev_cfg",
            [](Value *v) {
                DevCfg device;
                if (!FirstDevice(&device)) return kNothing;
                const int result = Read(sizeof device, v, [&](uint8_t *record) {
                    return SDK_CALL(get_dev_cfg, reinterpret_cast<DevCfg *>(record), device.mac);
                });
                if (result == 0) (*v)[offsetof(DevCfg, changed)] = 0; // the agent's own
                return result;
            },
            [](const Value &v) { return SDK_CALL(set_dev_access_control, As<DevCfg>(v)); },
            [](const Value &v) {
                Value other = v;
                other[offsetof(DevCfg, access)] ^= 1;
                return other;
            },
            {},
            {}};
}

static Setter DeviceName()
{
    return {"set_dev_name",
            "get_dev_name",
            [](Value *v) {
                DevCfg device;
                if (!FirstDevice(&device)) return kNothing;
                const int result = Read(64, v, [&](uint8_t *name) {
                    return SDK_CALL(get_dev_name, device.mac, reinterpret_cast<char *>(name));
                });
                CutText(v);
                return result;
            },
            [](const Value &v) {
                DevCfg device;
                const AtTheEdge text = Terminated(v);
                return FirstDevice(&device) ? SDK_CALL(set_dev_name, device.mac, Chars(text)) : kNothing;
            },
            OtherText,
            {Value(64, 'x')},
            {Value(63, 'x')}};
}

const std::vector<Setter> &Setters()
{
    static const std::vector<Setter> setters = {
        Name(),
        Dns(),
        Ssid(),
        SsidSwitch(),
        SWITCH(wifi_radio),
        SWITCH(wps),
        SWITCH(led),
        SWITCH(ftp),
        SWITCH(sambaenable),
        SWITCH(telnetenable),
        ACCOUNT(ftp_user),
        ACCOUNT(ftp_password),
        ACCOUNT(samba_user),
        ACCOUNT(samba_password),
        ACCOUNT(telnet_user),
        ACCOUNT(telnet_password),
        Access(),
        DeviceName(),
        LIMIT(us),
        LIMIT(ds),
    };
    return setters;
}

const std::vector<std::string> &NeverCalled()
{
    static const std::vector<std::string> names = {"sync_time",          "restart",         "set_full_load_enable",
                                                   "update_rom_version", "set_redirection", "set_http_test_url"};
    return names;
}

// ---- Trying

static std::string ToHex(const Value &value)
{
    std::string text;
    for (const uint8_t byte : value) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

static Value FromHex(const std::string &text)
{
    Value value;
    for (size_t i = 0; i + 1 < text.size(); i += 2)
        value.push_back(static_cast<uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
    return value;
}

// Returns whether the router has `value` now.
static bool Has(const Setter &setter, const Value &value)
{
    Value now;
    return setter.get(&now) == 0 && now == value;
}

void PutBack(const Setter &setter, const std::string &kept, Findings *findings)
{
    const Value value = FromHex(kept);
    // A setter that refuses everything has changed nothing that would have to be put back.
    const bool changed = !Has(setter, value);
    if ((setter.set(value) != 0 && changed) || !Has(setter, value))
        findings->Wrong("what was set before could not be put back");
}

static void TryValues(const Setter &setter, const Value &before, Findings *findings)
{
    const Value other = setter.another(before);
    const int result = setter.set(other);
    findings->Answer(std::to_string(result));
    if (result == 0 && !Has(setter, other))
        findings->Wrong(std::string("answers 0, and ") + setter.getter + " does not have what was set");
    if (result != 0 && !Has(setter, before))
        findings->Wrong(std::string("fails, and ") + setter.getter + " has something else all the same");
    for (const Value &value : setter.refused)
        if (setter.set(value) == 0) findings->Wrong("takes a text of " + std::to_string(value.size()) + " characters");
    for (const Value &value : setter.survived) static_cast<void>(setter.set(value));
}

void CheckSetter(const Setter &setter, Findings *findings)
{
    Value before;
    const int result = setter.get(&before);
    if (result != 0) {
        findings->Answer("-");
        findings->Note(result == kNothing ? "not called: there is nothing to try it on"
                                          : std::string("not called: ") + setter.getter + " answers " +
                                                std::to_string(result) + ", so nothing could be put back");
        return;
    }
    findings->Keep(ToHex(before));
    TryValues(setter, before, findings);
    PutBack(setter, ToHex(before), findings);
}

} // namespace check
