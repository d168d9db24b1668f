// FuncIdList.h - every FuncID of the local socket: its number, what the agent sends under it and what the agent does
// with the peer's frames. The agent, `plugsim manager` and the documentation read the same list.
//
//   X(number, constant, name, text, request, arrival), in ascending order of the numbers. A number without a row has
//   no meaning.
//
//   name      what `plugsim manager` calls it. A request for a function has the function's number and name.
//   text      how the agent logs its request and a LOGGED answer; empty where it does neither.
//   request   what the agent sends.
//     NEVER       nothing: the peer sends it by itself
//     EMPTY       no payload
//     MARK        the one byte 'i'
//     WAN_INDEX   two bytes: the index of a WAN
//     PARAMETERS  the function's parameters; addresses in network order
//     JSON        a JSON text
//     STATE       a JSON text with the plugin's state, which is not answered
//     HAND_OVER   432 bytes: the firmware update that the peer is to make
//   arrival   what the agent does with a valid frame of the peer.
//     LOGGED        logs it
//     ANSWER        keeps it for the requester (CommAnswer.h)
//     CONFIG        keeps the auto-report configuration (AutoReport.h)
//     DEVICES       hands it to the handler of devices (CommHandle.h)
//     WAN_REPORT    sends it to the platform, its addresses in network order (CommReports.h)
//     JSON_REPORT   sends it to the platform as it is
//     TYPED_REPORT  sends it to the platform unless it comes too soon
//     QUESTION      answers the payload 'i' with the plugin's state
//     RESULT        tells the platform how the firmware update ended
//
// State: none. Threads: any.
#pragma once

#include <cstdint>

// clang-format off
#define FUNCID_LIST(X)                                                                                                 \
    X(  1, FUNCID_VERSION,            "get-version",           "comm_get_version",           EMPTY,      LOGGED)       \
    X(  2, FUNCID_BASE_INFO,          "get-base-info",         "comm_get_base_info",         EMPTY,      LOGGED)       \
    X(  3, FUNCID_WAN_CONFIG,         "get-wan-config",        "comm_get_wan_cfg",           EMPTY,      LOGGED)       \
    X(  4, FUNCID_WAN_CONFIGS,        "get-wan-configs",       "comm_get_wans_cfg",          EMPTY,      LOGGED)       \
    X(  5, FUNCID_WAN_CONNECTIONS,    "get-wan-connections",   "comm_get_wan_tcp_con_num",   WAN_INDEX,  LOGGED)       \
    X( 40, FUNCID_DEVICES,            "devices",               "",                           NEVER,      DEVICES)      \
    X( 70, FUNCID_WIFI_BAND,          "wifi-band",             "get freqband",               PARAMETERS, ANSWER)       \
    X( 71, FUNCID_MESH_SUPPORT,       "mesh-support",          "get mesh support",           MARK,       ANSWER)       \
    X( 72, FUNCID_SET_MESH,           "set-mesh",              "set mesh switch",            PARAMETERS, ANSWER)       \
    X( 73, FUNCID_MESH,               "mesh",                  "get mesh switch",            MARK,       ANSWER)       \
    X( 74, FUNCID_SET_MESH_ROAMING,   "set-mesh-roaming",      "set mesh roaming switch",    PARAMETERS, ANSWER)       \
    X( 75, FUNCID_MESH_ROAMING,       "mesh-roaming",          "get mesh roaming switch",    MARK,       ANSWER)       \
    X( 76, FUNCID_SET_THRESHOLDS,     "set-roaming-threshold", "set mesh roaming threshold", PARAMETERS, ANSWER)       \
    X( 77, FUNCID_THRESHOLDS,         "roaming-threshold",     "get mesh roaming threshold", MARK,       ANSWER)       \
    X( 78, FUNCID_MESH_TOPOLOGY,      "mesh-topology",         "get mesh topology",          MARK,       ANSWER)       \
    X( 79, FUNCID_ADJACENT_WIFI_INFO, "adjacent-wifi-info",    "get adj wifi info",          MARK,       ANSWER)       \
    X( 80, FUNCID_BSSID,              "bssid",                 "get bssid",                  MARK,       ANSWER)       \
    X( 81, FUNCID_WAN_REPORT,         "wan-report",            "",                           NEVER,      WAN_REPORT)   \
    X( 82, FUNCID_SET_WAN_CONFIG,     "set-wan-config",        "set wan configure",          PARAMETERS, ANSWER)       \
    X( 83, FUNCID_ONE_KEY_OPTIMIZE,   "one-key-optimize",      "trigger one key optimize",   MARK,       ANSWER)       \
    X( 84, FUNCID_REPORT_84,          "report-84",             "",                           NEVER,      JSON_REPORT)  \
    X( 85, FUNCID_FAULT_DIAGNOSIS,    "fault-diagnosis",       "trigger fault diagnosis",    MARK,       ANSWER)       \
    X( 86, FUNCID_REPORT_86,          "report-86",             "",                           NEVER,      JSON_REPORT)  \
    X( 88, FUNCID_SET_AUTO_REPORT,    "set-auto-report",       "set auto report",            JSON,       ANSWER)       \
    X( 89, FUNCID_TYPED_REPORT,       "typed-report",          "",                           NEVER,      TYPED_REPORT) \
    X(997, FUNCID_AUTO_REPORT_CONFIG, "auto-report-config",    "get autoreport conf",        MARK,       CONFIG)       \
    X(998, FUNCID_PLUGIN_STATE,       "plugin-state",          "send plugin state",          STATE,      QUESTION)     \
    X(999, FUNCID_FIRMWARE_UPDATE,    "firmware-update",       "Firmware update",            HAND_OVER,  RESULT)
// clang-format on

enum FuncId : uint16_t {
#define FUNCID_NUMBER(number, constant, name, text, request, arrival) constant = (number),
    FUNCID_LIST(FUNCID_NUMBER)
#undef FUNCID_NUMBER
};

enum FuncIdRequest : uint8_t {
    REQUEST_NEVER,
    REQUEST_EMPTY,
    REQUEST_MARK,
    REQUEST_WAN_INDEX,
    REQUEST_PARAMETERS,
    REQUEST_JSON,
    REQUEST_STATE,
    REQUEST_HAND_OVER,
};

enum FuncIdArrival : uint8_t {
    ARRIVAL_LOGGED,
    ARRIVAL_ANSWER,
    ARRIVAL_CONFIG,
    ARRIVAL_DEVICES,
    ARRIVAL_WAN_REPORT,
    ARRIVAL_JSON_REPORT,
    ARRIVAL_TYPED_REPORT,
    ARRIVAL_QUESTION,
    ARRIVAL_RESULT,
};

// A row as the agent needs it.
struct FuncIdRow {
    uint16_t id;
    FuncIdRequest request;
    FuncIdArrival arrival;
    const char *text;
};

// Returns the row of `id`, or nullptr when that number has no meaning.
[[nodiscard]] const FuncIdRow *FuncIdFind(uint32_t id);
