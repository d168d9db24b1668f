#include "simulator/FunctionNames.h"

#include <iterator>

#include "simulator/Words.h"

namespace sim
{

namespace
{
struct FunctionNameRow {
    unsigned id;
    const char *name; // nullptr: no such function
};

constexpr FunctionNameRow kFunctions[] = {
    {0, nullptr},
    {1, "router-version"},
    {2, "identity"},
    {3, "wan-config"},
    {4, "wan-configs"},
    {5, "wan-tcp-connections"},
    {6, "wan-udp-connections"},
    {7, "wan-received-bytes"},
    {8, "ping-start"},
    {9, "ping-result"},
    {10, "lan-config"},
    {11, "lan-port-count"},
    {12, "lan-port-traffic"},
    {13, "ssid-configs"},
    {14, "ssid-switch"},
    {15, "set-ssid-switch"},
    {16, "ssid-config"},
    {17, "set-ssid-config"},
    {18, "wifi-radio-switch"},
    {19, "set-wifi-radio-switch"},
    {20, "reserved-query-20"},
    {21, "reserved-setting-21"},
    {22, "led-switch"},
    {23, "set-led-switch"},
    {24, "reserved-query-24"},
    {25, "reserved-setting-25"},
    {26, "service-switches"},
    {27, "set-service-switches"},
    {28, "service-accounts"},
    {29, "set-service-accounts"},
    {30, "wps-switch"},
    {31, "set-wps-switch"},
    {32, "device-access"},
    {33, "device-bandwidth"},
    {34, "device-limits"},
    {35, "set-device-limits"},
    {36, "device-name"},
    {37, "set-device-name"},
    {38, "device-config"},
    {39, "devices"},
    {40, "no-operation-40"},
    {41, "device-speeds"},
    {42, "adjacent-wifi"},
    {43, "black-list"},
    {44, "dns"},
    {45, "set-dns"},
    {46, "set-router-name"},
    {47, "cpu-use"},
    {48, "memory-use"},
    {49, "link-status"},
    {50, "full-load-switch"},
    {51, "traceroute-start"},
    {52, "traceroute-result"},
    {53, "set-system-time"},
    {54, "up-time"},
    {55, "restart"},
    {56, "set-redirection"},
    {57, "firmware-update"},
    {58, "traffic-rates"},
    {59, "set-http-test-url"},
    {60, "router-pin"},
    {61, "rate-test-start"},
    {62, nullptr},
    {63, nullptr},
    {64, "request-device-list"},
    {65, nullptr},
    {66, "bandwidth-rules"},
    {67, nullptr},
    {68, nullptr},
    {69, "surf-rules"},
    {70, "wifi-band"},
    {71, "mesh-support"},
    {72, "set-mesh-switch"},
    {73, "mesh-switch"},
    {74, "set-roaming-switch"},
    {75, "roaming-switch"},
    {76, "set-roaming-threshold"},
    {77, "roaming-threshold"},
    {78, "mesh-topology"},
    {79, "adjacent-wifi-info"},
    {80, "bssid"},
    {81, "no-operation-81"},
    {82, "set-wan-config"},
    {83, "one-key-optimise"},
    {84, "no-operation-84"},
    {85, "fault-diagnosis"},
    {86, "no-operation-86"},
    {87, "config-data"},
    {88, "set-auto-report"},
};

constexpr bool NumberedFromZero()
{
    for (unsigned i = 0; i < std::size(kFunctions); i++)
        if (kFunctions[i].id != i) return false;
    return true;
}
static_assert(std::size(kFunctions) == kFunctionCount, "a row is missing");
static_assert(NumberedFromZero(), "rows stand at their own number");
} // namespace

std::string FunctionName(unsigned id)
{
    return id < kFunctionCount && kFunctions[id].name ? kFunctions[id].name : "";
}

bool ParseFunction(const std::string &text, uint16_t *id)
{
    for (const FunctionNameRow &row : kFunctions) {
        if (row.name && text == row.name) {
            *id = static_cast<uint16_t>(row.id);
            return true;
        }
    }
    int64_t number;
    if (!ParseNumber(text, 0, 65535, &number)) return false;
    *id = static_cast<uint16_t>(number);
    return true;
}

std::vector<std::string> FunctionNameList()
{
    std::vector<std::string> names;
    for (const FunctionNameRow &row : kFunctions)
        if (row.name) names.push_back(row.name);
    return names;
}

} // namespace sim
