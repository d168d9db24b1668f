#include "sdk/sim/Faults.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "sdk/sim/Complain.h"

static const int kMaxEntries = 64;
static const size_t kNameSize = 32; // of a function, with its terminator
static const size_t kMaxEntryLength = 200;
static const uint32_t kMaxDelayMs = 600000;
static const int64_t kMaxCalls = 1000000000;

struct Entry {
    char name[kNameSize];
    bool answers;
    int64_t result;
    uint32_t delayMs;
    uint32_t first; // 0: not given, as for the next two
    uint32_t after;
    uint32_t every;
    uint32_t calls; // seen so far
};

// All that this module remembers; LoadFaults() resets it.
static struct {
    Entry entries[kMaxEntries];
    int count;
} s_faults;

// One text instead of a table of pointers: it needs no relocation, so it stays shared between processes.
static const char kFunctions[] =
    " get_router_mac get_router_sn get_router_pin get_router_version get_router_vender get_router_model get_cpu_cfg"
    " get_mem_cfg get_name set_name get_router_is_plug get_router_support_ipv6 get_cpu_use get_mem_use"
    " get_duration_time get_flows_down_rate get_flows_up_rate sync_time restart set_full_load_enable"
    " update_rom_version set_redirection set_http_test_url get_wan_num get_wan_cfg get_wans_cfg get_wan_tcp_con_num"
    " get_wan_udp_con_num get_wan_receive_bytes get_wan_con_status get_dns set_dns get_lan_cfg get_lan_num"
    " get_lan_con_status get_lan_port_up_flow get_lan_port_down_flow get_wlans_cfg get_ssid_cfg set_ssid_cfg"
    " get_ssid_switch set_ssid_switch get_wifi_radio_switch set_wifi_radio_switch get_wifi_module_status"
    " get_wps_switch set_wps_switch get_adj_wifi_devs get_led_switch set_led_switch get_ftp_switch set_ftp_switch"
    " get_sambaenable_switch set_sambaenable_switch get_telnetenable_switch set_telnetenable_switch get_ftp_user"
    " set_ftp_user get_ftp_password set_ftp_password get_samba_user set_samba_user get_samba_password"
    " set_samba_password get_telnet_user set_telnet_user get_telnet_password set_telnet_password get_devs_cfg"
    " get_dev_cfg set_dev_access_control get_dev_name set_dev_name get_dev_us_bw get_dev_ds_bw get_dev_us_max_bw"
    " set_dev_us_max_bw get_dev_ds_max_bw set_dev_ds_max_bw get_dev_speed get_dev_black_list ";

static bool IsFunction(const char *name)
{
    char word[kNameSize + 2] = " ";
    strcat(word, name);
    strcat(word, " ");
    return name[0] && !strchr(name, ' ') && strstr(kFunctions, word);
}

// A whole decimal number within bounds; nothing may stand around it.
static bool ReadNumber(const char *text, int64_t min, int64_t max, int64_t *number)
{
    if (!text[0] || !strchr("-0123456789", text[0])) return false;
    char *end;
    errno = 0;
    const long long value = strtoll(text, &end, 10);
    if (errno || *end || end == text || value < min || value > max) return false;
    *number = value;
    return true;
}

// Returns what is wrong with the option, or null.
static const char *ReadOption(char *option, Entry *entry)
{
    static const char kProblem[] = "an option is delay=, first=, after= or every= and a number from 1";
    char *value = strchr(option, '=');
    int64_t number;
    if (!value) return kProblem;
    *value++ = 0;
    const bool isDelay = strcmp(option, "delay") == 0;
    if (!ReadNumber(value, 1, isDelay ? int64_t(kMaxDelayMs) : kMaxCalls, &number)) return kProblem;
    if (isDelay)
        entry->delayMs = uint32_t(number);
    else if (strcmp(option, "first") == 0)
        entry->first = uint32_t(number);
    else if (strcmp(option, "after") == 0)
        entry->after = uint32_t(number);
    else if (strcmp(option, "every") == 0)
        entry->every = uint32_t(number);
    else
        return kProblem;
    return nullptr;
}

// Takes the entry apart in place. Returns what is wrong with it, or null.
static const char *ReadEntry(char *text, Entry *entry)
{
    memset(entry, 0, sizeof *entry);
    char *option = strchr(text, ':');
    if (option) *option++ = 0;
    char *result = strchr(text, '=');
    if (result) {
        *result++ = 0;
        if (!ReadNumber(result, INT32_MIN, INT32_MAX, &entry->result)) return "the result is not a number of 32 bits";
        entry->answers = true;
    }
    if (strlen(text) >= kNameSize || (strcmp(text, "*") != 0 && !IsFunction(text)))
        return "no function of the interface has this name";
    strcpy(entry->name, text);
    while (option) {
        char *next = strchr(option, ':');
        if (next) *next++ = 0;
        const char *problem = ReadOption(option, entry);
        if (problem) return problem;
        option = next;
    }
    return entry->answers || entry->delayMs ? nullptr : "neither a result nor a delay is given";
}

void LoadFaults(const char *text)
{
    memset(&s_faults, 0, sizeof s_faults);
    if (!text || !text[0]) return;
    for (const char *next = text; next;) {
        const char *start = next;
        const char *comma = strchr(start, ',');
        size_t length = comma ? size_t(comma - start) : strlen(start);
        next = comma ? comma + 1 : nullptr;

        const char *problem;
        if (s_faults.count == kMaxEntries) {
            Complain("ROUTER_SIM_FAULTS: only the first %d entries are used", kMaxEntries);
            return;
        }
        if (length > kMaxEntryLength) {
            length = 40; // enough to find it by
            problem = "the entry is too long";
        } else {
            char copy[kMaxEntryLength + 1];
            memcpy(copy, start, length);
            copy[length] = 0;
            problem = ReadEntry(copy, &s_faults.entries[s_faults.count]);
        }
        if (problem)
            Complain("ROUTER_SIM_FAULTS: \"%.*s\" is left out: %s", int(length), start, problem);
        else
            s_faults.count++;
    }
}

static bool Acts(const Entry *entry)
{
    if (entry->first && entry->calls > entry->first) return false;
    if (entry->calls <= entry->after) return false;
    return !entry->every || (entry->calls - entry->after) % entry->every == 0;
}

Fault CountCall(const char *function)
{
    Fault fault = {};
    for (int i = 0; i < s_faults.count; i++) {
        Entry *entry = &s_faults.entries[i];
        if (strcmp(entry->name, "*") != 0 && strcmp(entry->name, function) != 0) continue;
        if (entry->calls < UINT32_MAX) entry->calls++;
        if (!Acts(entry)) continue;
        fault.delayMs += entry->delayMs;
        if (fault.delayMs > kMaxDelayMs) fault.delayMs = kMaxDelayMs;
        if (!entry->answers || fault.answers) continue;
        fault.answers = true;
        fault.result = entry->result;
    }
    return fault;
}
