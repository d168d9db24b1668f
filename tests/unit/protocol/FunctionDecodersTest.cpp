#include "protocol/FunctionDecoders.h"
#include "tests/support/Frames.h"

using namespace protocol;

namespace
{
using Problems = std::vector<std::string>;

// A reply that has no fault.
Fields Reply(unsigned id, const Bytes &data, int status = 0)
{
    Problems problems;
    const Fields fields = DecodeReply(id, status, data, &problems);
    EXPECT_EQ(Problems(), problems) << "function " << id;
    return fields;
}

// A reply that has one: no fields.
std::string Fault(unsigned id, const Bytes &data, int status = 0)
{
    Problems problems;
    EXPECT_TRUE(DecodeReply(id, status, data, &problems).empty()) << "function " << id;
    EXPECT_EQ(1u, problems.size()) << "function " << id;
    return problems.empty() ? "" : problems[0];
}

Bytes Padded(const std::string &text, size_t size)
{
    Bytes bytes = ToBytes(text);
    bytes.resize(size);
    return bytes;
}

Bytes Times(size_t count, const Bytes &bytes)
{
    Bytes all;
    for (size_t i = 0; i < count; i++) Append(&all, bytes);
    return all;
}

Bytes WanRecord()
{
    Bytes wan = Hex("01 00 02 64 00 d4 05");       // index 1, PPPoE, VLAN 100, MTU 1492
    Append(&wan, Padded("Internet", 64));          // 7
    Append(&wan, Padded("user@example", 64));      // 71
    Append(&wan, Padded("secret", 64));            // 135
    Append(&wan, Hex("02 1a 2b 00 00 02"));        // 199
    Append(&wan, Hex("05 71 00 cb  00 ff ff ff")); // 205: 203.0.113.5, 255.255.255.0
    Append(&wan, Hex("01 71 00 cb"));              // 213
    Append(&wan, Hex("01 01 01 01  08 08 08 08")); // 217
    Append(&wan, Hex("03 00  01"));                // 225, 227
    EXPECT_EQ(228u, wan.size());
    return wan;
}

Bytes SsidRecord()
{
    Bytes ssid = Hex("00 00");
    Append(&ssid, Padded("Home", 33));
    Append(&ssid, Padded("pass phrase", 65));
    Append(&ssid, Hex("01 00  01 02 03 04  04 00  50 00  24 00")); // 100 to 111
    Append(&ssid, Hex("01 02 a8 c0  00 ff ff ff"));
    EXPECT_EQ(120u, ssid.size());
    return ssid;
}

Bytes DeviceRecord()
{
    return Hex("02 1a 2b 00 00 10  6c6170746f7000000000000000000000  00 00  00 02 01 00  01 00  0a 01 a8 c0");
}

Bytes NeighbourRecord()
{
    Bytes neighbour = Hex("02 00 5e 00 00 07");
    Append(&neighbour, Padded("Next door", 33));
    Append(&neighbour, Padded("WPA2-PSK", 21));
    Append(&neighbour, Hex("b9 ff ff ff  80 ca 24 00  06 00  14 00  23 00")); // -71 dBm, 2411136 kHz, 6, 20 MHz, 35 %
    EXPECT_EQ(74u, neighbour.size());
    return neighbour;
}
} // namespace

TEST(FunctionDecoders, ReadsTheRouterVersion)
{
    Bytes data = Padded("V1.2.3", 60);
    Append(&data, {20, 23, 11, 5});
    const Fields fields = Reply(1, data);
    EXPECT_EQ("V1.2.3", At(fields, "version"));
    EXPECT_EQ("2023-11-05", At(fields, "date"));
}

TEST(FunctionDecoders, ReadsEveryFieldOfTheIdentity)
{
    Bytes data = Hex("02 11 22 33 44 55");      // reply bytes 6 to 11
    Append(&data, Padded("SN0001", 64));        // 12
    Append(&data, Padded("Example", 64));       // 76
    Append(&data, Padded("R-100", 64));         // 140
    Append(&data, Padded("24K", 40));           // 204
    Append(&data, Hex("70 03 04"));             // 244: 880 MHz, 4 cores
    Append(&data, Hex("00 00 02 00"));          // 247: 131072 KiB
    Append(&data, Padded("DDR2", 16));          // 251
    Append(&data, Hex("01"));                   // 267
    Append(&data, Padded("Home \xc3\xa9", 32)); // 268
    Append(&data, Hex("00"));                   // 300
    ASSERT_EQ(301u - 6, data.size());
    const Fields fields = Reply(2, data);
    EXPECT_EQ("02:11:22:33:44:55", At(fields, "mac"));
    EXPECT_EQ("SN0001", At(fields, "serial"));
    EXPECT_EQ("Example", At(fields, "vendor"));
    EXPECT_EQ("R-100", At(fields, "model"));
    EXPECT_EQ("24K", At(fields, "cpu_model"));
    EXPECT_EQ("880", At(fields, "cpu_mhz"));
    EXPECT_EQ("4", At(fields, "cpu_cores"));
    EXPECT_EQ("131072", At(fields, "memory_kb"));
    EXPECT_EQ("DDR2", At(fields, "memory_type"));
    EXPECT_EQ("1", At(fields, "plug"));
    EXPECT_EQ("Home \xc3\xa9", At(fields, "name"));
    EXPECT_EQ("0", At(fields, "ipv6"));
    EXPECT_EQ("KiB", FindField(fields, "memory_kb")->unit);
}

TEST(FunctionDecoders, ReadsAWanRecord)
{
    const Fields fields = Reply(3, WanRecord());
    const std::vector<std::pair<std::string, std::string>> kExpected = {{"index", "1"},
                                                                        {"mode", "pppoe"},
                                                                        {"vlan", "100"},
                                                                        {"mtu", "1492"},
                                                                        {"name", "Internet"},
                                                                        {"user", "user@example"},
                                                                        {"password", "secret"},
                                                                        {"mac", "02:1a:2b:00:00:02"},
                                                                        {"ip", "203.0.113.5"},
                                                                        {"netmask", "255.255.255.0"},
                                                                        {"gateway", "203.0.113.1"},
                                                                        {"dns1", "1.1.1.1"},
                                                                        {"dns2", "8.8.8.8"},
                                                                        {"services", "3"},
                                                                        {"connected", "yes"}};
    ASSERT_EQ(kExpected.size(), fields.size());
    for (const auto &expected : kExpected) EXPECT_EQ(expected.second, At(fields, expected.first)) << expected.first;
}

TEST(FunctionDecoders, ReadsAnSsidRecord)
{
    const Fields fields = Reply(16, SsidRecord());
    const std::vector<std::pair<std::string, std::string>> kExpected = {
        {"index", "0"},    {"ssid", "Home"},         {"key", "pass phrase"},      {"enabled", "on"},
        {"hidden", "no"},  {"reserved", "01020304"}, {"security", "4"},           {"bandwidth", "80"},
        {"channel", "36"}, {"ip", "192.168.2.1"},    {"netmask", "255.255.255.0"}};
    ASSERT_EQ(kExpected.size(), fields.size());
    for (const auto &expected : kExpected) EXPECT_EQ(expected.second, At(fields, expected.first)) << expected.first;
}

TEST(FunctionDecoders, ReadsADeviceRecord)
{
    const Fields fields = Reply(38, DeviceRecord());
    const std::vector<std::pair<std::string, std::string>> kExpected = {
        {"mac", "02:1a:2b:00:00:10"}, {"name", "laptop"},    {"reserved", "0000"}, {"changed", "0"},
        {"link", "wifi-5g"},          {"access", "allowed"}, {"reserved2", "00"},  {"port", "1"},
        {"ip", "192.168.1.10"}};
    ASSERT_EQ(kExpected.size(), fields.size());
    for (const auto &expected : kExpected) EXPECT_EQ(expected.second, At(fields, expected.first)) << expected.first;
}

TEST(FunctionDecoders, ReadsTheLanRecord)
{
    const Fields fields = Reply(10, Hex("02 1a 2b 00 00 01  01 01 a8 c0  00 ff ff ff"));
    EXPECT_EQ("02:1a:2b:00:00:01", At(fields, "mac"));
    EXPECT_EQ("192.168.1.1", At(fields, "ip"));
    EXPECT_EQ("255.255.255.0", At(fields, "netmask"));
}

TEST(FunctionDecoders, ReadsListsThatExtendToTheEnd)
{
    EXPECT_EQ(0u, FindField(Reply(42, {}), "networks")->children.size());
    const Fields one = Reply(42, NeighbourRecord());
    EXPECT_EQ("02:00:5e:00:00:07", At(one, "networks.0.bssid"));
    EXPECT_EQ("Next door", At(one, "networks.0.ssid"));
    EXPECT_EQ("WPA2-PSK", At(one, "networks.0.security"));
    EXPECT_EQ("-71", At(one, "networks.0.rssi"));
    EXPECT_EQ("2411136", At(one, "networks.0.frequency"));
    EXPECT_EQ("6", At(one, "networks.0.channel"));
    EXPECT_EQ("20", At(one, "networks.0.bandwidth"));
    EXPECT_EQ("35", At(one, "networks.0.load"));
    EXPECT_EQ(30u, FindField(Reply(42, Times(30, NeighbourRecord())), "networks")->children.size());
    EXPECT_EQ("networks: 31 records, and 30 are the most", Fault(42, Times(31, NeighbourRecord())));
    EXPECT_EQ("networks: 75 bytes are no whole number of records of 74", Fault(42, Padded("", 75)));
}

TEST(FunctionDecoders, KnowsTheMostRecordsOfEveryList)
{
    EXPECT_EQ("pppoe", At(Reply(4, Times(8, WanRecord())), "wans.7.mode"));
    EXPECT_EQ("wans: 9 records, and 8 are the most", Fault(4, Times(9, WanRecord())));
    EXPECT_EQ("Home", At(Reply(13, Times(16, SsidRecord())), "ssids.15.ssid"));
    EXPECT_EQ("ssids: 17 records, and 16 are the most", Fault(13, Times(17, SsidRecord())));
    Bytes devices = Hex("80 00"), tooMany = Hex("81 00"), ports = Hex("10 00");
    Append(&devices, Times(128, DeviceRecord()));
    Append(&tooMany, Times(129, DeviceRecord()));
    Append(&ports, Bytes(16 * 16));
    EXPECT_EQ("laptop", At(Reply(39, devices), "devices.127.name"));
    EXPECT_EQ("devices: 129 records, and 128 are the most", Fault(39, tooMany));
    EXPECT_EQ("0", At(Reply(12, ports), "ports.15.down"));
}

TEST(FunctionDecoders, ReadsListsWithACountInFront)
{
    EXPECT_EQ(0u, FindField(Reply(12, Hex("00 00")), "ports")->children.size());
    const Fields two = Reply(12, Hex("02 00  0100000000000000 0200000000000000  ff00000000000080 0000000000000000"));
    EXPECT_EQ("1", At(two, "ports.0.up"));
    EXPECT_EQ("2", At(two, "ports.0.down"));
    EXPECT_EQ("9223372036854776063", At(two, "ports.1.up"));
    EXPECT_EQ("bytes", FindField(two, "ports.1.up")->unit);
    EXPECT_EQ("ports: 2 records of 16 bytes are announced, and 16 bytes follow", Fault(12, Padded("\x02", 18)));
    EXPECT_EQ("3 bytes too many at the end of the data", Fault(12, Hex("00 00 01 02 03")));
    EXPECT_EQ("ports: the data ends before it does", Fault(12, Hex("01")));
}

TEST(FunctionDecoders, ReadsRecordsOfOneFieldAsPlainValues)
{
    const Fields fields = Reply(43, Hex("02 1a 2b 00 00 01  02 1a 2b 00 00 02"));
    EXPECT_EQ("02:1a:2b:00:00:02", At(fields, "macs.1"));
    EXPECT_EQ("macs: 101 records, and 100 are the most", Fault(43, Bytes(606)));
}

TEST(FunctionDecoders, ReadsTheLinkStatusWithItsTwoLists)
{
    const Fields fields = Reply(49, Hex("04 00  01 00 01 02  01 00  01  01 00 01 00"));
    EXPECT_EQ("up", At(fields, "lan.0"));
    EXPECT_EQ("down", At(fields, "lan.1"));
    EXPECT_EQ("2", At(fields, "lan.3"));
    EXPECT_EQ("up", At(fields, "wan.0"));
    EXPECT_EQ("(none)", At(fields, "wan.1"));
    EXPECT_EQ("down", At(fields, "wifi1"));
    EXPECT_EQ("up", At(fields, "wifi2"));
    EXPECT_EQ("wifi3: the data ends before it does", Fault(49, Hex("00 00 00 00 01 01 01")));
}

TEST(FunctionDecoders, ReadsFiguresAndTextsOfEveryShape)
{
    EXPECT_EQ("on", At(Reply(22, Hex("01")), "switch"));
    EXPECT_EQ("37", At(Reply(47, Hex("25 00")), "use"));
    EXPECT_EQ("%", FindField(Reply(48, Hex("25 00")), "use")->unit);
    EXPECT_EQ("1000", At(Reply(5, Hex("e8 03 00 00")), "connections"));
    EXPECT_EQ("4294967296", At(Reply(7, Hex("00 00 00 00 01 00 00 00")), "received"));
    EXPECT_EQ("-1", At(Reply(34, Hex("ffffffffffffffff 0000000000000000")), "up"));
    EXPECT_EQ("1.1.1.1", At(Reply(44, Hex("01 01 01 01 08 08 08 08")), "primary"));
    EXPECT_EQ("on", At(Reply(26, Hex("00 01 00")), "samba"));
    EXPECT_EQ("laptop", At(Reply(36, Padded("laptop", 64)), "name"));
    EXPECT_EQ("123456789012", At(Reply(60, ToBytes("123456789012")), "pin"));
    EXPECT_EQ("a\nb", At(Reply(9, Hex("03 00 61 0a 62")), "text"));
    EXPECT_EQ("", At(Reply(52, Hex("00 00")), "text"));
    Bytes longest = Hex("a0 0f");
    Append(&longest, Bytes(4000, 'x'));
    EXPECT_EQ(std::string(4000, 'x'), At(Reply(9, longest), "text"));
    EXPECT_EQ("{}", At(Reply(78, ToBytes("{}")), "topology"));
    EXPECT_EQ("ab", At(Reply(80, Hex("61 62")), "bssid"));
    EXPECT_EQ("60", At(Reply(77, Hex("3c 46")), "first"));
    EXPECT_EQ("1", At(Reply(20, Hex("0000000000000000000000000000000000000000 01")), "value"));
    EXPECT_TRUE(Reply(61, Bytes(12)).empty());
    EXPECT_TRUE(Reply(23, {}).empty());
}

TEST(FunctionDecoders, ReadsTheRateReport)
{
    EXPECT_EQ("1250000", At(Reply(62, Hex("d0 12 13 00")), "rate"));
    EXPECT_EQ("-1", At(Reply(62, Hex("ff ff ff ff"), 1), "rate"));
    EXPECT_EQ("bytes/s", FindField(Reply(62, Bytes(4)), "rate")->unit);
    EXPECT_EQ("3 bytes of data instead of 4", Fault(62, Bytes(3)));
}

TEST(FunctionDecoders, ReportsDataOfTheWrongLength)
{
    EXPECT_EQ("294 bytes of data instead of 295", Fault(2, Bytes(294)));
    EXPECT_EQ("296 bytes of data instead of 295", Fault(2, Bytes(296)));
    EXPECT_EQ("1 bytes of data instead of 0", Fault(23, Bytes(1)));
    EXPECT_EQ("0 bytes of data instead of 228", Fault(3, {}));
    EXPECT_EQ("text: the data ends before it does", Fault(9, Hex("05 00 61")));
    EXPECT_EQ("1 bytes too many at the end of the data", Fault(9, Hex("01 00 61 62")));
}

TEST(FunctionDecoders, ReportsBytesThatMustBeZero)
{
    EXPECT_EQ("bytes that must be zero are not", Fault(61, Hex("000000000000000000000001")));
}

TEST(FunctionDecoders, AcceptsAFailureWithoutData)
{
    EXPECT_TRUE(Reply(3, {}, -1).empty());
    EXPECT_TRUE(Reply(9, {}, 1).empty());
    EXPECT_TRUE(Reply(39, {}, 35).empty());
    EXPECT_TRUE(Reply(11, {}, 7).empty()); // an agent without this function
    EXPECT_EQ("0", At(Reply(3, Bytes(228), -3), "index"));
    EXPECT_EQ("227 bytes of data instead of 228", Fault(3, Bytes(227), -3));
}

TEST(FunctionDecoders, ReportsAStatusWhereItIsAlwaysZero)
{
    EXPECT_EQ("status -1 from a function that always answers 0", Fault(27, {}, -1));
    Problems problems;
    EXPECT_EQ("5", At(DecodeReply(11, 2, Hex("05 00"), &problems), "ports"));
    EXPECT_EQ((Problems{"status 2 from a function that always answers 0"}), problems);
}

TEST(FunctionDecoders, ReportsAReplyOfAFunctionThatHasNone)
{
    for (unsigned id : {40u, 81u, 84u, 86u}) EXPECT_EQ("this function has no reply", Fault(id, {})) << id;
}

TEST(FunctionDecoders, IgnoresFunctionsThatDoNotExist)
{
    for (unsigned id : {0u, 63u, 65u, 67u, 68u, 89u, 65535u}) {
        EXPECT_TRUE(Reply(id, Hex("01 02 03")).empty());
        EXPECT_TRUE(Reply(id, {}, 7).empty());
    }
    EXPECT_TRUE(Reply(62, {}, 7).empty());
}

TEST(FunctionDecoders, ReadsTheParametersOfACompleteRequest)
{
    const Fields ping = DecodeRequest(8, Hex("14 01 a8 c0 00000000000000000000000000000000 38 00 04 00"));
    EXPECT_EQ("192.168.1.20", At(ping, "host"));
    EXPECT_EQ("56", At(ping, "size"));
    EXPECT_EQ("4", At(ping, "count"));
    EXPECT_TRUE(DecodeRequest(8, Hex("14 01 a8 c0")).empty());
    EXPECT_TRUE(DecodeRequest(3, Hex("00 00 00")).empty());
    EXPECT_TRUE(DecodeRequest(89, Hex("00")).empty());
    EXPECT_EQ("{}", At(DecodeRequest(87, Hex("02 00 7b 7d")), "json"));
}

TEST(FunctionDecoders, AcceptsAFixedReplyAtItsLengthOnly)
{
    for (const Function &function : kFunctions) {
        if (!function.Supported() || function.length <= 0) continue;
        const size_t data = static_cast<size_t>(function.length) - kReplyHeader;
        Reply(function.id, Bytes(data));
        if (data > 0) {
            EXPECT_NE("", Fault(function.id, Bytes(data - 1)));
        }
        EXPECT_NE("", Fault(function.id, Bytes(data + 1)));
    }
}
