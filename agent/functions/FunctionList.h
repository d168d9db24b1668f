// FunctionList.h - every function of the platform: its ID, its short name, its handler, and the form of its reply. The
// agent, the test platform and the documents use the same list.
//
//   X(id, name, handler, status, length); a row's position is its ID; slots that no platform may use have no name (62
//   is the ID under which the rate test reports by itself).
//
//   status    how the handler's result is encoded in reply bytes 4-5. The rows differ on purpose: platforms rely on it.
//     UNKNOWN   no such function: answered like an ID beyond the list
//     NONE      does nothing and has no reply
//     ZERO      always 0, whatever the router answered
//     HOST      its low 16 bits in the router's own byte order, little-endian
//     PROTOCOL  through swapInt16
//   length    bytes of the whole reply, with the 6 bytes of tag, ID and status; VARIES: it depends on counts. If
//             the local peer or the device table fails, the reply has only those 6 bytes.
#pragma once

// clang-format off
#define FUNCTION_LIST(X)                                                                                              \
    X( 0, "",                      Unsupported,                                   UNKNOWN,        0)                  \
    X( 1, "router-version",        RouterVersionQuery,                            HOST,          70)                  \
    X( 2, "identity",              IdentityQuery,                                 HOST,         301)                  \
    X( 3, "wan-config",            WanConfigQuery,                                HOST,         234)                  \
    X( 4, "wan-configs",           WanConfigsQuery,                               HOST,      VARIES)                  \
    X( 5, "wan-tcp-connections",   IndexedCountQuery<get_wan_tcp_con_num>,        HOST,          10)                  \
    X( 6, "wan-udp-connections",   IndexedCountQuery<get_wan_udp_con_num>,        HOST,          10)                  \
    X( 7, "wan-received",          IndexedCounterQuery<get_wan_receive_bytes>,    HOST,          14)                  \
    X( 8, "ping",                  PingStart,                                     HOST,           6)                  \
    X( 9, "ping-result",           PingResult,                                    PROTOCOL,  VARIES)                  \
    X(10, "lan-config",            LanConfigQuery,                                HOST,          20)                  \
    X(11, "lan-ports",             ShortFigureQuery<get_lan_num>,                 ZERO,           8)                  \
    X(12, "lan-traffic",           LanTrafficQuery,                               HOST,      VARIES)                  \
    X(13, "ssid-configs",          SsidConfigsQuery,                              HOST,      VARIES)                  \
    X(14, "ssid-switch",           SsidSwitchQuery,                               HOST,           7)                  \
    X(15, "set-ssid-switch",       SsidSwitchSetting,                             HOST,           6)                  \
    X(16, "ssid-config",           SsidConfigQuery,                               HOST,         126)                  \
    X(17, "set-ssid-config",       SsidConfigSetting,                             HOST,           6)                  \
    X(18, "radio-switch",          SwitchQuery<get_wifi_radio_switch>,            HOST,           7)                  \
    X(19, "set-radio-switch",      SwitchSetting<set_wifi_radio_switch>,          HOST,           6)                  \
    X(20, "reserved-query-20",     ReservedQuery,                                 ZERO,          27)                  \
    X(21, "reserved-setting-21",   Nothing,                                       ZERO,           6)                  \
    X(22, "led",                   SwitchQuery<get_led_switch>,                   HOST,           7)                  \
    X(23, "set-led",               SwitchSetting<set_led_switch>,                 HOST,           6)                  \
    X(24, "reserved-query-24",     ReservedQuery,                                 ZERO,          27)                  \
    X(25, "reserved-setting-25",   Nothing,                                       ZERO,           6)                  \
    X(26, "services",              ServicesQuery,                                 HOST,           9)                  \
    X(27, "set-services",          ServicesSetting,                               ZERO,           6)                  \
    X(28, "accounts",              AccountsQuery,                                 HOST,         102)                  \
    X(29, "set-accounts",          AccountsSetting,                               ZERO,           6)                  \
    X(30, "wps",                   SwitchQuery<get_wps_switch>,                   HOST,           7)                  \
    X(31, "set-wps",               SwitchSetting<set_wps_switch>,                 HOST,           6)                  \
    X(32, "set-device-access",     DeviceAccessSetting,                           HOST,           6)                  \
    X(33, "device-bandwidth",      DeviceBandwidthQuery,                          HOST,          22)                  \
    X(34, "device-limits",         DeviceLimitsQuery,                             HOST,          22)                  \
    X(35, "set-device-limits",     DeviceLimitsSetting,                           HOST,           6)                  \
    X(36, "device-name",           DeviceNameQuery,                               HOST,          70)                  \
    X(37, "set-device-name",       DeviceNameSetting,                             HOST,           6)                  \
    X(38, "device-config",         DeviceConfigQuery,                             HOST,          40)                  \
    X(39, "all-devices",           DevicesQuery,                                  HOST,      VARIES)                  \
    X(40, "no-operation-40",       Nothing,                                       NONE,           0)                  \
    X(41, "device-speeds",         DeviceSpeedsQuery,                             HOST,          12)                  \
    X(42, "adjacent-wifi",         AdjacentWifiQuery,                             HOST,      VARIES)                  \
    X(43, "black-list",            BlackListQuery,                                HOST,      VARIES)                  \
    X(44, "dns",                   DnsQuery,                                      HOST,          14)                  \
    X(45, "set-dns",               DnsSetting,                                    HOST,           6)                  \
    X(46, "set-router-name",       TextSetting<set_name>,                         HOST,           6)                  \
    X(47, "cpu-use",               ShortFigureQuery<get_cpu_use>,                 ZERO,           8)                  \
    X(48, "memory-use",            ShortFigureQuery<get_mem_use>,                 ZERO,           8)                  \
    X(49, "link-status",           LinkStatusQuery,                               HOST,      VARIES)                  \
    X(50, "set-full-load",         FullLoadSetting,                               HOST,           6)                  \
    X(51, "traceroute",            TracerouteStart,                               HOST,           6)                  \
    X(52, "traceroute-result",     TracerouteResult,                              PROTOCOL,  VARIES)                  \
    X(53, "set-time",              TimeSetting,                                   HOST,           6)                  \
    X(54, "up-time",               UpTimeQuery,                                   HOST,          14)                  \
    X(55, "restart",               Restart,                                       ZERO,           6)                  \
    X(56, "set-redirection",       TextSetting<set_redirection>,                  HOST,           6)                  \
    X(57, "update-rom",            RomUpdate,                                     HOST,           6)                  \
    X(58, "traffic-rates",         TrafficRatesQuery,                             HOST,          22)                  \
    X(59, "set-test-url",          TextSetting<set_http_test_url>,                HOST,           6)                  \
    X(60, "router-pin",            RouterPinQuery,                                HOST,          18)                  \
    X(61, "rate-test",             RateTestStart,                                 ZERO,          18)                  \
    X(62, "",                      Unsupported,                                   UNKNOWN,        0)                  \
    X(63, "",                      Unsupported,                                   UNKNOWN,        0)                  \
    X(64, "report-devices",        DeviceReportRequest,                           ZERO,           6)                  \
    X(65, "",                      Unsupported,                                   UNKNOWN,        0)                  \
    X(66, "set-bandwidth",         BandwidthRules,                                ZERO,           6)                  \
    X(67, "",                      Unsupported,                                   UNKNOWN,        0)                  \
    X(68, "",                      Unsupported,                                   UNKNOWN,        0)                  \
    X(69, "set-surf-rules",        SurfRules,                                     HOST,           6)                  \
    X(70, "wifi-band",             WifiBandQuery,                                 PROTOCOL,       7)                  \
    X(71, "mesh-support",          MeshSupportQuery,                              PROTOCOL,       7)                  \
    X(72, "set-mesh",              MeshSwitchSetting,                             PROTOCOL,       6)                  \
    X(73, "mesh",                  MeshSwitchQuery,                               PROTOCOL,       7)                  \
    X(74, "set-mesh-roaming",      MeshRoamingSetting,                            PROTOCOL,       6)                  \
    X(75, "mesh-roaming",          MeshRoamingQuery,                              PROTOCOL,       7)                  \
    X(76, "set-roaming-threshold", RoamingThresholdSetting,                       PROTOCOL,       6)                  \
    X(77, "roaming-threshold",     RoamingThresholdQuery,                         PROTOCOL,       8)                  \
    X(78, "mesh-topology",         MeshTopologyQuery,                             PROTOCOL,  VARIES)                  \
    X(79, "adjacent-wifi-info",    AdjacentWifiInfoQuery,                         PROTOCOL,  VARIES)                  \
    X(80, "bssid",                 BssidQuery,                                    PROTOCOL,  VARIES)                  \
    X(81, "no-operation-81",       Nothing,                                       NONE,           0)                  \
    X(82, "set-wan-config",        WanConfigSetting,                              PROTOCOL,       6)                  \
    X(83, "one-key-optimize",      OneKeyOptimize,                                PROTOCOL,       6)                  \
    X(84, "no-operation-84",       Nothing,                                       NONE,           0)                  \
    X(85, "fault-diagnosis",       FaultDiagnosis,                                PROTOCOL,       6)                  \
    X(86, "no-operation-86",       Nothing,                                       NONE,           0)                  \
    X(87, "config-data",           ConfigData,                                    PROTOCOL,       6)                  \
    X(88, "set-auto-report",       AutoReportSetting,                             PROTOCOL,       6)
// clang-format on

enum FunctionStatus { STATUS_UNKNOWN, STATUS_NONE, STATUS_ZERO, STATUS_HOST, STATUS_PROTOCOL };

enum { VARIES = -1 }; // as a length
constexpr int kFunctionCount = 89;
