// FunctionList.h - every function ID with its short name and the procedure that answers it; the agent, the test
// platform and the documentation read the same list. X(id, name, handler); rows stand at their own ID.
// Slots that no platform may use have the empty name.
#pragma once

// clang-format off
#define FUNCTION_LIST(X)                                                \
    X( 0, "",                          Unsupported)                     \
    X( 1, "router-version",            RouterVersionQuery)              \
    X( 2, "identity",                  IdentityQuery)                   \
    X( 3, "wan-config",                Unsupported)                     \
    X( 4, "wan-configs",               Unsupported)                     \
    X( 5, "wan-tcp-connections",       Unsupported)                     \
    X( 6, "wan-udp-connections",       Unsupported)                     \
    X( 7, "wan-received",              Unsupported)                     \
    X( 8, "ping",                      Unsupported)                     \
    X( 9, "ping-result",               Unsupported)                     \
    X(10, "lan-config",                Unsupported)                     \
    X(11, "lan-ports",                 Unsupported)                     \
    X(12, "lan-traffic",               Unsupported)                     \
    X(13, "ssid-configs",              Unsupported)                     \
    X(14, "ssid-switch",               Unsupported)                     \
    X(15, "set-ssid-switch",           Unsupported)                     \
    X(16, "ssid-config",               Unsupported)                     \
    X(17, "set-ssid-config",           Unsupported)                     \
    X(18, "radio-switch",              Unsupported)                     \
    X(19, "set-radio-switch",          Unsupported)                     \
    X(20, "reserved-query-20",         Unsupported)                     \
    X(21, "reserved-setting-21",       Unsupported)                     \
    X(22, "led",                       Unsupported)                     \
    X(23, "set-led",                   Unsupported)                     \
    X(24, "reserved-query-24",         Unsupported)                     \
    X(25, "reserved-setting-25",       Unsupported)                     \
    X(26, "services",                  Unsupported)                     \
    X(27, "set-services",              Unsupported)                     \
    X(28, "accounts",                  Unsupported)                     \
    X(29, "set-accounts",              Unsupported)                     \
    X(30, "wps",                       Unsupported)                     \
    X(31, "set-wps",                   Unsupported)                     \
    X(32, "set-device-access",         Unsupported)                     \
    X(33, "device-bandwidth",          Unsupported)                     \
    X(34, "device-limits",             Unsupported)                     \
    X(35, "set-device-limits",         Unsupported)                     \
    X(36, "device-name",               Unsupported)                     \
    X(37, "set-device-name",           Unsupported)                     \
    X(38, "device-config",             Unsupported)                     \
    X(39, "all-devices",               Unsupported)                     \
    X(40, "no-operation-40",           Unsupported)                     \
    X(41, "device-speeds",             Unsupported)                     \
    X(42, "adjacent-wifi",             Unsupported)                     \
    X(43, "black-list",                Unsupported)                     \
    X(44, "dns",                       Unsupported)                     \
    X(45, "set-dns",                   Unsupported)                     \
    X(46, "set-router-name",           Unsupported)                     \
    X(47, "cpu-use",                   Unsupported)                     \
    X(48, "memory-use",                Unsupported)                     \
    X(49, "link-status",               Unsupported)                     \
    X(50, "set-full-load",             Unsupported)                     \
    X(51, "traceroute",                Unsupported)                     \
    X(52, "traceroute-result",         Unsupported)                     \
    X(53, "set-time",                  Unsupported)                     \
    X(54, "up-time",                   Unsupported)                     \
    X(55, "restart",                   Unsupported)                     \
    X(56, "set-redirection",           Unsupported)                     \
    X(57, "update-rom",                Unsupported)                     \
    X(58, "traffic-rates",             Unsupported)                     \
    X(59, "set-test-url",              Unsupported)                     \
    X(60, "router-pin",                Unsupported)                     \
    X(61, "rate-test",                 Unsupported)                     \
    X(62, "",                          Unsupported) /* the rate test reports under this ID by itself */ \
    X(63, "",                          Unsupported)                     \
    X(64, "report-devices",            Unsupported)                     \
    X(65, "",                          Unsupported)                     \
    X(66, "set-bandwidth",             Unsupported)                     \
    X(67, "",                          Unsupported)                     \
    X(68, "",                          Unsupported)                     \
    X(69, "set-surf-rules",            Unsupported)                     \
    X(70, "wifi-band",                 Unsupported)                     \
    X(71, "mesh-support",              Unsupported)                     \
    X(72, "set-mesh",                  Unsupported)                     \
    X(73, "mesh",                      Unsupported)                     \
    X(74, "set-mesh-roaming",          Unsupported)                     \
    X(75, "mesh-roaming",              Unsupported)                     \
    X(76, "set-roaming-threshold",     Unsupported)                     \
    X(77, "roaming-threshold",         Unsupported)                     \
    X(78, "mesh-topology",             Unsupported)                     \
    X(79, "adjacent-wifi-info",        Unsupported)                     \
    X(80, "bssid",                     Unsupported)                     \
    X(81, "no-operation-81",           Unsupported)                     \
    X(82, "set-wan-config",            Unsupported)                     \
    X(83, "one-key-optimize",          Unsupported)                     \
    X(84, "no-operation-84",           Unsupported)                     \
    X(85, "fault-diagnosis",           Unsupported)                     \
    X(86, "no-operation-86",           Unsupported)                     \
    X(87, "config-data",               Unsupported)                     \
    X(88, "set-auto-report",           Unsupported)
// clang-format on

constexpr int kFunctionCount = 89;
