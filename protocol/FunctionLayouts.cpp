#include "protocol/FunctionLayouts.h"

#include <algorithm>
#include <iterator>

#include "protocol/RecordLayouts.h"

namespace protocol
{

namespace
{

// ---- Parameters and data of several functions

constexpr Layout kNothing = {};
constexpr FieldLayout kWanIndexFields[] = {Number(Type::U16, "wan", "", "index of the WAN")};
constexpr Layout kWanIndex = {kWanIndexFields};
constexpr FieldLayout kSwitchFields[] = {Switch("switch", "the switch")};
constexpr Layout kSwitch = {kSwitchFields};
constexpr FieldLayout kConnectionsFields[] = {Number(Type::U32, "connections", "", "tracked by the router now")};
constexpr Layout kConnections = {kConnectionsFields};
constexpr FieldLayout kUseFields[] = {Number(Type::U16, "use", "%", "0 to 100")};
constexpr Layout kUse = {kUseFields};
constexpr FieldLayout kDeviceKeyFields[] = {Mac("mac", "of the device")};
constexpr Layout kDeviceKey = {kDeviceKeyFields};
constexpr FieldLayout kDnsFields[] = {Ip("primary", "first DNS server, 0.0.0.0 for none"),
                                      Ip("secondary", "second DNS server, 0.0.0.0 for none")};
constexpr Layout kDns = {kDnsFields};
constexpr FieldLayout kResultTextFields[] = {LongText("text", "output of the command, at most 4000 bytes")};
constexpr Layout kResultText = {kResultTextFields};
constexpr FieldLayout kServicesFields[] = {Switch("ftp", "FTP server"), Switch("samba", "Samba server"),
                                           Switch("telnet", "Telnet server")};
constexpr Layout kServices = {kServicesFields};
constexpr FieldLayout kAccountsFields[] = {
    Text("ftp_user", 16, "account of the FTP server"),       Text("ftp_password", 16, "its password"),
    Text("samba_user", 16, "account of the Samba server"),   Text("samba_password", 16, "its password"),
    Text("telnet_user", 16, "account of the Telnet server"), Text("telnet_password", 16, "its password"),
};
constexpr Layout kAccounts = {kAccountsFields};
constexpr FieldLayout kReservedFields[] = {Zeros(20), Number(Type::U8, "value", "", "always 1")};
constexpr Layout kReserved = {kReservedFields};
constexpr FieldLayout kThresholdFields[] = {Number(Type::U8, "first", "", "first threshold"),
                                            Number(Type::U8, "second", "", "second threshold")};
constexpr Layout kThreshold = {kThresholdFields};
constexpr FieldLayout kJsonFields[] = {TextToEnd("json", "JSON text")};
constexpr Layout kJson = {kJsonFields};
constexpr FieldLayout kLongJsonFields[] = {LongText("json", "JSON text of 2 to 1023 bytes")};
constexpr Layout kLongJson = {kLongJsonFields};

// ---- Parameters and data of one function each

constexpr FieldLayout kVersionFields[] = {Text("version", 60, "version of the firmware"),
                                          Date("date", "build date; 14 18 06 01 is 1 June 2024")};
constexpr Layout kVersion = {kVersionFields};

constexpr FieldLayout kIdentityFields[] = {
    Mac("mac", "the router's MAC"),
    Text("serial", 64, "serial number"),
    Text("vendor", 64, "maker"),
    Text("model", 64, "model"),
    Text("cpu_model", 40, "processor"),
    Number(Type::U16, "cpu_mhz", "MHz", "its clock"),
    Number(Type::U8, "cpu_cores", "", "its cores"),
    Number(Type::U32, "memory_kb", "KiB", "main memory"),
    Text("memory_type", 16, "kind of memory"),
    Number(Type::U8, "plug", "", "1 when the router takes part in plugin management"),
    Text("name", 32, "name given by the owner"),
    Number(Type::U8, "ipv6", "", "1 when it supports IPv6"),
};
constexpr Layout kIdentity = {kIdentityFields};

constexpr FieldLayout kWansFields[] = {List("wans", kWan, ROUTER_SDK_WANS, "all WANs")};
constexpr Layout kWans = {kWansFields};
constexpr FieldLayout kReceivedFields[] = {Number(Type::U64, "received", "bytes", "since the router started")};
constexpr Layout kReceived = {kReceivedFields};

constexpr FieldLayout kPingFields[] = {
    Ip("host", "the host to ping"),
    Zeros(16),
    Number(Type::U16, "size", "bytes", "payload of each packet", 56),
    Number(Type::U16, "count", "", "number of packets, at most 50; with 0 the ping is ended after 500 s", 4),
};
constexpr Layout kPing = {kPingFields};

constexpr FieldLayout kPortsFields[] = {Number(Type::U16, "ports", "", "number of LAN ports")};
constexpr Layout kPorts = {kPortsFields};
constexpr FieldLayout kTrafficFields[] = {
    CountedList("ports", kPortCounters, ROUTER_SDK_LAN_PORTS, "traffic of each port since the router started")};
constexpr Layout kTraffic = {kTrafficFields};

constexpr FieldLayout kSsidsFields[] = {List("ssids", kSsid, ROUTER_SDK_SSIDS, "all SSIDs of all bands")};
constexpr Layout kSsids = {kSsidsFields};
constexpr FieldLayout kSsidIndexFields[] = {Number(Type::U16, "index", "", "index of the SSID")};
constexpr Layout kSsidIndex = {kSsidIndexFields};
constexpr FieldLayout kSsidSwitchFields[] = {Number(Type::U16, "index", "", "index of the SSID"),
                                             Switch("switch", "the switch")};
constexpr Layout kSsidSwitch = {kSsidSwitchFields};

constexpr FieldLayout kFlowFields[] = {Number(Type::U64, "up", "bytes/s", "what the device sends now"),
                                       Number(Type::U64, "down", "bytes/s", "what it receives now")};
constexpr Layout kFlow = {kFlowFields};
constexpr FieldLayout kLimitsFields[] = {Number(Type::I64, "up", "bytes/s", "most that it may send, 0 no limit"),
                                         Number(Type::I64, "down", "bytes/s", "most that it may receive, 0 no limit")};
constexpr Layout kLimits = {kLimitsFields};
constexpr FieldLayout kSetLimitsFields[] = {kDeviceKeyFields[0], kLimitsFields[0], kLimitsFields[1]};
constexpr Layout kSetLimits = {kSetLimitsFields};
constexpr FieldLayout kDeviceNameFields[] = {Text("name", 64, "its full name, empty for a device that is not known")};
constexpr Layout kDeviceName = {kDeviceNameFields};
constexpr FieldLayout kSetDeviceNameFields[] = {kDeviceKeyFields[0],
                                                TextToEnd("name", "its new name, at most 63 bytes")};
constexpr Layout kSetDeviceName = {kSetDeviceNameFields};
constexpr FieldLayout kDevicesFields[] = {
    CountedList("devices", kDevice, ROUTER_SDK_DEVICES - 1, "the devices that are connected")};
constexpr Layout kDevices = {kDevicesFields};
constexpr FieldLayout kSpeedsFields[] = {Number(Type::U16, "negotiated", "Mbit/s", "of the link"),
                                         Number(Type::U16, "receive", "Mbit/s", "of what it receives"),
                                         Number(Type::U16, "transmit", "Mbit/s", "of what it sends")};
constexpr Layout kSpeeds = {kSpeedsFields};
constexpr FieldLayout kNeighboursFields[] = {
    List("networks", kNeighbour, ROUTER_SDK_ADJ_WIFI, "networks of the last scan")};
constexpr Layout kNeighbours = {kNeighboursFields};
constexpr FieldLayout kBlackListFields[] = {List("macs", kMacItem, ROUTER_SDK_BLACK_LIST, "blocked devices")};
constexpr Layout kBlackList = {kBlackListFields};

constexpr FieldLayout kNameFields[] = {TextToEnd("name", "the new name, at most 31 bytes")};
constexpr Layout kName = {kNameFields};
constexpr FieldLayout kLinkStatusFields[] = {
    CountedList("lan", kLinkItem, ROUTER_SDK_LAN_PORTS, "one byte per LAN port: 1 plugged in, 0 not"),
    CountedList("wan", kLinkItem, ROUTER_SDK_LAN_PORTS, "one byte per WAN: 1 connected, 0 not"),
    Named("wifi0", kDownUp, "radio module 0, down when it is off or absent"),
    Named("wifi1", kDownUp, "radio module 1"),
    Named("wifi2", kDownUp, "radio module 2"),
    Named("wifi3", kDownUp, "radio module 3"),
};
constexpr Layout kLinkStatus = {kLinkStatusFields};
constexpr FieldLayout kFullLoadFields[] = {
    Number(Type::U16, "selector", "", "which capacity, in the router's own numbering"), Switch("switch", "the switch")};
constexpr Layout kFullLoad = {kFullLoadFields};
constexpr FieldLayout kHostFields[] = {Ip("host", "the destination")};
constexpr Layout kHost = {kHostFields};
constexpr FieldLayout kTimeFields[] = {Number(Type::U64, "time", "s", "since 1 January 1970, UTC")};
constexpr Layout kTime = {kTimeFields};
constexpr FieldLayout kUpTimeFields[] = {Number(Type::U64, "up_time", "s", "since the router started")};
constexpr Layout kUpTime = {kUpTimeFields};
constexpr FieldLayout kRedirectionFields[] = {TextToEnd("target", "target, in the router's own form")};
constexpr Layout kRedirection = {kRedirectionFields};
constexpr FieldLayout kRomFields[] = {Zeros(1),
                                      TextToEnd("source", "source of the firmware, in the router's own form")};
constexpr Layout kRom = {kRomFields};
constexpr FieldLayout kRatesFields[] = {Number(Type::U64, "down", "bytes/s", "from the internet, all devices together"),
                                        Number(Type::U64, "up", "bytes/s", "to the internet, all devices together")};
constexpr Layout kRates = {kRatesFields};
constexpr FieldLayout kUrlFields[] = {TextToEnd("url", "the page")};
constexpr Layout kUrl = {kUrlFields};
constexpr FieldLayout kPinFields[] = {Text("pin", 12, "the PIN on the label")};
constexpr Layout kPin = {kPinFields};
constexpr FieldLayout kRateTestFields[] = {Zeros(12)};
constexpr Layout kRateTest = {kRateTestFields};
constexpr FieldLayout kRateReportFields[] = {Number(Type::I32, "rate", "bytes/s", "the measured rate, -1 on failure")};
constexpr Layout kRateReport = {kRateReportFields};

constexpr FieldLayout kBandFields[] = {Number(Type::U8, "band", "", "the band")};
constexpr Layout kBand = {kBandFields};
constexpr FieldLayout kBandAnswerFields[] = {Number(Type::U8, "band", "", "the management process's answer")};
constexpr Layout kBandAnswer = {kBandAnswerFields};
constexpr FieldLayout kSupportFields[] = {Named("support", kNoYes, "whether the router supports a mesh")};
constexpr Layout kSupport = {kSupportFields};
constexpr FieldLayout kTopologyFields[] = {TextToEnd("topology", "the management process's text")};
constexpr Layout kTopology = {kTopologyFields};
constexpr FieldLayout kWifiInfoItemFields[] = {Opaque("record", 77, "in the management process's own form")};
constexpr Layout kWifiInfoItem = {kWifiInfoItemFields};
constexpr FieldLayout kWifiInfoFields[] = {
    List("networks", kWifiInfoItem, 30, "the management process's records, 77 bytes each")};
constexpr Layout kWifiInfo = {kWifiInfoFields};
constexpr FieldLayout kBssidFields[] = {TextToEnd("bssid", "the management process's text")};
constexpr Layout kBssid = {kBssidFields};

// ---- Notes: when a reply is a header alone, and the like

constexpr char kTable[] = "If the device table cannot be locked, the reply is only the 6 bytes of its header; the "
                          "status is the error number.";
constexpr char kLocal[] =
    "The agent asks the router's management process. If it refuses or does not answer, the reply is "
    "only the 6 bytes of its header, with a status other than 0.";
constexpr char kAsked[] =
    "The agent asks the router's management process; the status is its answer, 1 if there is none.";

// Meanings of status 1, where it has one of its own.
constexpr char kUnanswered[] = "the router's management process is not connected, did not answer in time, or refused";
constexpr char kStillRuns[] = "the one before still runs";

constexpr FunctionLayout kUnsupported = {};
constexpr FunctionLayout kNoOperation = {"does nothing and has no reply"};
constexpr FunctionLayout kReservedQuery = {"reserved; the answer is fixed", kNothing, kReserved};
constexpr FunctionLayout kReservedSetting = {"reserved; does nothing"};

// One row for each function, at its own number.
constexpr FunctionLayout kLayouts[] = {
    /*  0 */ kUnsupported,
    /*  1 */ {"version and build date of the router's firmware", kNothing, kVersion},
    /*  2 */
    {"identity and hardware of the router", kNothing, kIdentity,
     "The status is the result of asking for the name. Values that the router could not provide are zero."},
    /*  3 */ {"configuration of one WAN", kWanIndex, kWan},
    /*  4 */ {"configurations of all WANs", kNothing, kWans},
    /*  5 */ {"TCP connections of a WAN", kWanIndex, kConnections},
    /*  6 */ {"UDP connections of a WAN", kWanIndex, kConnections},
    /*  7 */ {"bytes that a WAN has received", kWanIndex, kReceived},
    /*  8 */
    {"start a ping", kPing, kNothing,
     "Status 0: it runs; ping-result returns its output. 1: the one before still runs.", kStillRuns},
    /*  9 */
    {"output of the last ping", kNothing, kResultText,
     "While a ping runs, or if it could not be started, the reply is only the 6 bytes of its header with "
     "status 1. The end of the session does not end the ping: the next session can get its whole output.",
     "a ping runs, or none could be started"},
    /* 10 */ {"the router's side of the LAN", kNothing, kLan},
    /* 11 */ {"number of LAN ports", kNothing, kPorts},
    /* 12 */ {"traffic of every LAN port", kNothing, kTraffic, "A port that could not be read has zeros."},
    /* 13 */ {"configurations of all SSIDs", kNothing, kSsids},
    /* 14 */ {"whether an SSID is on", kSsidIndex, kSwitch},
    /* 15 */ {"switch an SSID on or off", kSsidSwitch, kNothing},
    /* 16 */ {"configuration of one SSID", kSsidIndex, kSsid},
    /* 17 */ {"change an SSID", kSsid, kNothing, "The whole record replaces the SSID's configuration."},
    /* 18 */ {"whether the radios are on", kNothing, kSwitch},
    /* 19 */ {"switch the radios on or off", kSwitch, kNothing},
    /* 20 */ kReservedQuery,
    /* 21 */ kReservedSetting,
    /* 22 */ {"whether the lights are on", kNothing, kSwitch},
    /* 23 */ {"switch the lights on or off", kSwitch, kNothing},
    /* 24 */ kReservedQuery,
    /* 25 */ kReservedSetting,
    /* 26 */ {"which services are on", kNothing, kServices},
    /* 27 */ {"switch the services on or off", kServices, kNothing},
    /* 28 */ {"accounts of the services", kNothing, kAccounts},
    /* 29 */ {"set the accounts of the services", kAccounts, kNothing, "A field may use all its 16 characters."},
    /* 30 */ {"whether WPS is on", kNothing, kSwitch},
    /* 31 */ {"switch WPS on or off", kSwitch, kNothing},
    /* 32 */ {"allow or block a device's internet access", kDevice, kNothing, kTable},
    /* 33 */ {"what a device sends and receives", kDeviceKey, kFlow, kTable},
    /* 34 */ {"limits of a device", kDeviceKey, kLimits, kTable},
    /* 35 */ {"set the limits of a device", kSetLimits, kNothing, kTable},
    /* 36 */ {"name of a device", kDeviceKey, kDeviceName, kTable},
    /* 37 */ {"set the name of a device", kSetDeviceName, kNothing, kTable},
    /* 38 */ {"configuration of one device", kDeviceKey, kDevice, kTable},
    /* 39 */ {"all devices that are connected", kNothing, kDevices, kTable},
    /* 40 */ kNoOperation,
    /* 41 */ {"link speeds of a device", kDeviceKey, kSpeeds, kTable},
    /* 42 */ {"Wi-Fi networks of the neighbours", kNothing, kNeighbours, kTable},
    /* 43 */ {"devices on the black list", kNothing, kBlackList, kTable},
    /* 44 */ {"DNS servers of the router", kNothing, kDns},
    /* 45 */ {"set the DNS servers", kDns, kNothing},
    /* 46 */ {"set the name of the router", kName, kNothing},
    /* 47 */ {"use of the processor", kNothing, kUse},
    /* 48 */ {"use of the memory", kNothing, kUse},
    /* 49 */ {"which links are up", kNothing, kLinkStatus},
    /* 50 */ {"switch full capacity on or off", kFullLoad, kNothing},
    /* 51 */
    {"start a traceroute", kHost, kNothing,
     "Status 0: it runs, and traceroute-result ends it. 1: the one before still runs.", kStillRuns},
    /* 52 */
    {"output of the traceroute; ends it if it still runs", kNothing, kResultText,
     "If there is no output, the reply is only the 6 bytes of its header with status 1.", "there is no output to read"},
    /* 53 */ {"set the router's clock", kTime, kNothing},
    /* 54 */ {"time since the router started", kNothing, kUpTime},
    /* 55 */ {"restart the router", kNothing, kNothing},
    /* 56 */ {"set the redirection of web pages", kRedirection, kNothing},
    /* 57 */ {"install other firmware", kRom, kNothing, "Its text begins at byte 11, not 10."},
    /* 58 */ {"present traffic of the whole router", kNothing, kRates},
    /* 59 */ {"set the page with which the router tests its connection", kUrl, kNothing},
    /* 60 */ {"PIN of the router", kNothing, kPin},
    /* 61 */
    {"start a test of the download rate", kNothing, kRateTest,
     "The rate follows as a report under number 62. While a test runs, another start does nothing."},
    /* 62 */
    {"the measured download rate, which the router reports by itself", kNothing, kRateReport,
     "Sent like a reply, with MsgType 26, DataType 62 and tag 0, when a test of function 61 or 87 has ended. The "
     "status is 0, or 1 if the test failed; the rate is then all ones."},
    /* 63 */ kUnsupported,
    /* 64 */ {"report the devices now", kNothing, kNothing, "The report follows as an upload."},
    /* 65 */ kUnsupported,
    /* 66 */
    {"limit the bandwidth of devices", kJson, kNothing,
     "{\"LIST\":[{\"FLAG\":\"1\",\"MAC\":\"02:1A:2B:00:00:01\",\"UP\":\"1000\",\"DOWN\":\"2000\"}]}, all "
     "values as texts; FLAG 1 sets limits, 0 clears them."},
    /* 67 */ kUnsupported,
    /* 68 */ kUnsupported,
    /* 69 */
    {"set the times when devices have no internet access", kJson, kNothing,
     "{\"LIST\":[{\"FLAG\":\"1\",\"MAC\":\"02:1A:2B:00:00:01\",\"DAY\":\"12345\",\"START\":\"21:00\","
     "\"STOP\":\"23:30\",\"ALLOW\":\"0\"}]}, all values as texts; FLAG 1 adds a rule, 0 deletes it. Status: 0 "
     "done, 2 no JSON, 3 to 8 an item without FLAG, MAC, DAY, START, STOP, ALLOW."},
    /* 70 */ {"Wi-Fi frequency band", kBand, kBandAnswer, kLocal, kUnanswered},
    /* 71 */ {"whether the router supports a mesh", kNothing, kSupport, kLocal, kUnanswered},
    /* 72 */ {"switch the mesh on or off", kSwitch, kNothing, kAsked, kUnanswered},
    /* 73 */ {"whether the mesh is on", kNothing, kSwitch, kLocal, kUnanswered},
    /* 74 */ {"switch roaming in the mesh on or off", kSwitch, kNothing, kAsked, kUnanswered},
    /* 75 */ {"whether roaming in the mesh is on", kNothing, kSwitch, kLocal, kUnanswered},
    /* 76 */ {"set the thresholds of roaming", kThreshold, kNothing, kAsked, kUnanswered},
    /* 77 */ {"thresholds of roaming", kNothing, kThreshold, kLocal, kUnanswered},
    /* 78 */ {"topology of the mesh", kNothing, kTopology, kLocal, kUnanswered},
    /* 79 */ {"Wi-Fi networks of the neighbours, scanned anew", kNothing, kWifiInfo, kLocal, kUnanswered},
    /* 80 */ {"BSSID data of the router", kNothing, kBssid, kLocal, kUnanswered},
    /* 81 */ kNoOperation,
    /* 82 */ {"change a WAN", kWan, kNothing, kAsked, kUnanswered},
    /* 83 */ {"start the router's one-key optimisation", kNothing, kNothing, kAsked, kUnanswered},
    /* 84 */ kNoOperation,
    /* 85 */ {"start the router's diagnosis", kNothing, kNothing, kAsked, kUnanswered},
    /* 86 */ kNoOperation,
    /* 87 */
    {"configuration data; \"value_func61\" is the URL of a rate test to start", kLongJson, kNothing,
     "{\"value_func61\":\"http://host:port/path\"}. Status: 0 found, 1 no such member or no JSON. With a port "
     "outside 1 to 65535 the test fails; without \"://\", a host of 3 to 64 characters, a \"/\" behind it and a port "
     "of less than 8 characters there is no test and no report.",
     "the text is no JSON or has no value_func61"},
    /* 88 */
    {"set what the router reports by itself, and when", kLongJson, kNothing,
     "{\"timestamp\":1700000000,\"referNum\":1000,\"interval1\":60,\"interval2\":1440,\"interval3\":60,"
     "\"jumpTime\":\"1:00-6:00\"}, intervals in minutes. The agent passes it on to the router's management process; "
     "status: its answer, or 1 if the text is invalid or there is no answer.",
     "the text is wrong, or the router's management process is not connected, did not answer in time, or refused"},
};
static_assert(std::size(kLayouts) == kFunctionCount, "a row is missing");

#define FUNCTION_ROW(id, name, handler, status, length) {id, name, STATUS_##status, length, kLayouts[id]},
constexpr Function kRows[] = {FUNCTION_LIST(FUNCTION_ROW)};
#undef FUNCTION_ROW
static_assert(std::size(kRows) == kFunctionCount, "a row is missing");

// ---- Checks at compile time

constexpr bool LengthsAgree()
{
    for (const Function &row : kRows) {
        if (row.status == STATUS_UNKNOWN) continue; // no reply of its own
        const bool fixed = IsFixed(row.layout.reply);
        if (fixed != (row.length != VARIES)) return false;
        const int whole = row.status == STATUS_NONE ? 0 : static_cast<int>(kReplyHeader + FixedSize(row.layout.reply));
        if (fixed && whole != row.length) return false;
    }
    return true;
}
static_assert(LengthsAgree(), "a reply's layout has another length than its row in the list of functions");

constexpr bool OpenEndsStandLast(const Layout &layout)
{
    for (const FieldLayout &field : layout)
        if (field.size == 0 && field.type != Type::CountedList && &field + 1 != layout.end()) return false;
    return true;
}

constexpr bool CanBeGiven(const Layout &request)
{
    for (const FieldLayout &field : request)
        if (field.type == Type::Date || field.type == Type::BytesToEnd || field.type == Type::Always ||
            field.type == Type::Length || IsList(field.type))
            return false;
    return OpenEndsStandLast(request);
}

constexpr bool LayoutsAreSound()
{
    for (const FunctionLayout &row : kLayouts)
        if (!CanBeGiven(row.request) || !OpenEndsStandLast(row.reply)) return false;
    return true;
}
static_assert(LayoutsAreSound(), "a field to the end is the last one, and requests have only what words can say");

constexpr bool NumberedFromZero()
{
    for (unsigned i = 0; i < std::size(kRows); i++)
        if (kRows[i].id != i) return false;
    return true;
}
static_assert(NumberedFromZero(), "rows stand at their own number");

} // namespace

const Function (&kFunctions)[kFunctionCount] = kRows;

const Function *FindFunction(unsigned id)
{
    return id < std::size(kRows) ? &kRows[id] : nullptr;
}

const Function *FindFunction(const std::string &name)
{
    const auto row =
        std::find_if(std::begin(kRows), std::end(kRows), [&](const Function &f) { return name == f.name; });
    return name.empty() || row == std::end(kRows) ? nullptr : &*row;
}

} // namespace protocol
