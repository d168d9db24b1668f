#include <set>

#include "protocol/FunctionParameters.h"
#include "simulator/console/ParameterCompletions.h"
#include "tests/support/Frames.h"

using namespace sim;

namespace
{
Words Split(const std::string &line)
{
    Words words;
    std::string error;
    EXPECT_TRUE(SplitWords(line, &words, &error)) << error;
    return words;
}

// The parameters of a whole line, function name first.
bool Make(const std::string &line, Bytes *parameters, std::string *error)
{
    const Words words = Split(line);
    const Function *function = FindFunction(words[0]);
    if (!function) {
        *error = "no function";
        return false;
    }
    return MakeParameters(*function, Words(words.begin() + 1, words.end()), parameters, error);
}

Bytes Made(const std::string &line)
{
    Bytes parameters;
    std::string error;
    EXPECT_TRUE(Make(line, &parameters, &error)) << line << ": " << error;
    return parameters;
}

std::string ErrorOf(const std::string &line)
{
    Bytes parameters;
    std::string error;
    EXPECT_FALSE(Make(line, &parameters, &error)) << line;
    return error;
}

std::string ZeroDigits(size_t count)
{
    return std::string(2 * count, '0');
}

// "ab" and zero bytes up to `size` together, as hexadecimal digits.
std::string Padded(const std::string &text, size_t size)
{
    return ToHex(ToBytes(text)) + ZeroDigits(size - text.size());
}

struct Request {
    const char *line;
    std::string parameters;
};

// Every function that has parameters; the others are listed by the test itself.
const Request kRequests[] = {
    {"wan-config 1", "01 00"},
    {"wan-tcp-connections 0", "00 00"},
    {"wan-udp-connections 7", "07 00"},
    {"wan-received 0x102", "02 01"},
    {"ping 192.168.1.20", "14 01 a8 c0" + ZeroDigits(16) + "38 00 04 00"},
    {"ssid-switch 3", "03 00"},
    {"set-ssid-switch 3 on", "03 00 01"},
    {"ssid-config 2", "02 00"},
    {"set-ssid-config index=1 ssid=Home key=secret enabled=on channel=6 security=4 bandwidth=40 hidden=yes "
     "ip=192.168.2.1 netmask=255.255.255.0",
     "01 00" + Padded("Home", 33) + Padded("secret", 65) + "01 01 00000000 04 00 28 00 06 00" +
         "01 02 a8 c0 00 ff ff ff"},
    {"set-radio-switch off", "00"},
    {"set-led on", "01"},
    {"set-services on off on", "01 00 01"},
    {"set-accounts f fp s sp t tp",
     Padded("f", 16) + Padded("fp", 16) + Padded("s", 16) + Padded("sp", 16) + Padded("t", 16) + Padded("tp", 16)},
    {"set-wps 1", "01"},
    {"set-device-access 02:1A:2B:00:00:10 access=refused",
     "02 1a 2b 00 00 10" + ZeroDigits(16) + "0000 00 00 00 00 0000 00000000"},
    {"set-device-access mac=021a2b000010 name=laptop reserved=0102 changed=1 link=wifi-5g access=allowed reserved2=03 "
     "port=4 ip=192.168.1.10",
     "02 1a 2b 00 00 10" + Padded("laptop", 16) + "01 02 01 02 01 03 04 00 0a 01 a8 c0"},
    {"device-bandwidth 02:1A:2B:00:00:10", "02 1a 2b 00 00 10"},
    {"device-limits 02:1A:2B:00:00:10", "02 1a 2b 00 00 10"},
    {"set-device-limits 02:1A:2B:00:00:01 1000000 -1", "02 1a 2b 00 00 01 40420f0000000000 ffffffffffffffff"},
    {"device-name 02:1A:2B:00:00:10", "02 1a 2b 00 00 10"},
    {"set-device-name 02:1A:2B:00:00:10 Some name", "02 1a 2b 00 00 10 536f6d65206e616d65"},
    {"device-config 02:1A:2B:00:00:10", "02 1a 2b 00 00 10"},
    {"device-speeds 02:1A:2B:00:00:10", "02 1a 2b 00 00 10"},
    {"set-dns 1.1.1.1 8.8.4.4", "01 01 01 01 04 04 08 08"},
    {"set-router-name Our home", "4f757220686f6d65"},
    {"set-full-load 258 on", "02 01 01"},
    {"traceroute 10.20.30.40", "28 1e 14 0a"},
    {"set-time 1700000000", "00 f1 53 65 00 00 00 00"},
    {"set-redirection a=b c", "613d622063"},
    {"update-rom x", "00 78"},
    {"set-test-url http://h/?url=1", "687474703a2f2f682f3f75726c3d31"},
    {"set-bandwidth {\"LIST\": []}", "7b224c495354223a205b5d7d"},
    {"set-surf-rules {}", "7b7d"},
    {"wifi-band 5", "05"},
    {"set-mesh on", "01"},
    {"set-mesh-roaming off", "00"},
    {"set-roaming-threshold 60 70", "3c 46"},
    {"set-wan-config index=1 mode=pppoe vlan=100 mtu=1492 name=Internet user=u password=p mac=02:1A:2B:00:00:02 "
     "ip=203.0.113.5 netmask=255.255.255.0 gateway=203.0.113.1 dns1=1.1.1.1 dns2=8.8.8.8 services=3 connected=yes",
     "01 00 02 64 00 d4 05" + Padded("Internet", 64) + Padded("u", 64) + Padded("p", 64) + "02 1a 2b 00 00 02" +
         "05 71 00 cb 00 ff ff ff 01 71 00 cb 01 01 01 01 08 08 08 08 03 00 01"},
    {"config-data {\"value_func61\": \"http://h/\"}",
     "1d00 7b2276616c75655f66756e633631223a2022687474703a2f2f682f227d"},
    {"set-auto-report {}", "02 00 7b 7d"},
};
} // namespace

TEST(FunctionParameters, AreMadeFromWordsForEveryFunction)
{
    std::set<std::string> seen;
    for (const Request &request : kRequests) {
        EXPECT_EQ(ToHex(Hex(request.parameters)), ToHex(Made(request.line))) << request.line;
        seen.insert(Split(request.line)[0]);
    }
    for (const Function &function : kFunctions) {
        if (!function.Supported() || seen.count(function.name)) continue;
        EXPECT_EQ(0u, function.layout.request.count) << function.name << " has parameters and no row here";
        EXPECT_EQ(Bytes(), Made(function.name)) << function.name;
    }
}

TEST(FunctionParameters, MayHaveInitialValues)
{
    EXPECT_EQ(Hex("01 00 00 7f" + ZeroDigits(16) + "e8 03 04 00"), Made("ping 127.0.0.1 1000"));
    EXPECT_EQ(Hex("01 00 00 7f" + ZeroDigits(16) + "e8 03 0a 00"), Made("ping 127.0.0.1 1000 10"));
    EXPECT_EQ(Hex("01 00 00 7f" + ZeroDigits(16) + "38 00 0a 00"), Made("ping count=10 host=127.0.0.1"));
}

TEST(FunctionParameters, OfARecordDefaultToZero)
{
    EXPECT_EQ(Hex("03 00" + Padded("A", 33) + ZeroDigits(85)), Made("set-ssid-config 3 A"));
    EXPECT_EQ(Hex(ZeroDigits(110) + "0b 00" + ZeroDigits(8)), Made("set-ssid-config channel=11"));
    EXPECT_EQ(Hex("02 00" + ZeroDigits(226)), Made("set-wan-config index=2"));
}

TEST(FunctionParameters, StandInTheOrderOfTheFieldsOrBehindTheirNames)
{
    EXPECT_EQ(Made("set-device-limits 02:1A:2B:00:00:01 1 2"), Made("set-device-limits down=2 mac=021A2B000001 up=1"));
    EXPECT_EQ(Made("set-device-limits 02:1A:2B:00:00:01 1 2"), Made("set-device-limits 021a2b000001 down=2 up=1"));
    EXPECT_EQ(Hex(Padded("ftp_user=x", 16) + ZeroDigits(80)),
              Made("set-accounts ftp_user=ftp_user=x ftp_password= samba_user= samba_password= telnet_user= "
                   "telnet_password="));
}

TEST(FunctionParameters, ATextToTheEndTakesTheRestOfTheLine)
{
    EXPECT_EQ(ToBytes("a b c"), Made("set-router-name a b  c"));
    EXPECT_EQ(ToBytes("a  b"), Made("set-router-name 'a  b'"));
    EXPECT_EQ(ToBytes("My name"), Made("set-router-name name=My name"));
    EXPECT_EQ(ToBytes("x=1 name=2"), Made("set-router-name x=1 name=2"));
    EXPECT_EQ(Bytes(), Made("set-router-name ''"));
    EXPECT_EQ(Made("set-device-name 02:1A:2B:00:00:10 Some name"),
              Made("set-device-name mac=02:1A:2B:00:00:10 Some name"));
    EXPECT_EQ(ToBytes("{\"a\": \"b  #c\"}"), Made("set-surf-rules {\"a\": \"b  #c\"}"));
}

TEST(FunctionParameters, AreRefusedWithAReasonThatNamesThem)
{
    const std::vector<std::pair<std::string, std::string>> kErrors = {
        {"wan-config", "wan is missing; use: wan-config WAN"},
        {"wan-config x", "wan: 'x' is not a number from 0 to 65535"},
        {"wan-config 65536", "wan: '65536' is not a number from 0 to 65535"},
        {"wan-config 1 2", "'2' is one word too many; use: wan-config WAN"},
        {"wan-config index=1", "there is no parameter 'index'; use: wan-config WAN"},
        {"restart now", "'now' is one word too many; use: restart"},
        {"set-led", "switch is missing; use: set-led SWITCH"},
        {"set-led maybe", "switch: 'maybe' is neither one of off, on, nor a number from 0 to 255"},
        {"set-dns 1.1.1.1", "secondary is missing; use: set-dns PRIMARY SECONDARY"},
        {"set-dns 1.1.1.1 x", "secondary: 'x' is not an IPv4 address such as 192.168.1.20"},
        {"ping", "host is missing; use: ping HOST [size] [count]"},
        {"ping 1.1.1.1 1 2 3", "'3' is one word too many; use: ping HOST [size] [count]"},
        {"set-device-limits 02:1A 1 2", "mac: '02:1A' is not a MAC such as 02:1A:2B:00:00:01"},
        {"set-device-limits up=1 up=2", "up is given twice; use: set-device-limits MAC UP DOWN"},
        {"set-device-limits up=1 5", "'5' stands behind a NAME=VALUE; use: set-device-limits MAC UP DOWN"},
        {"set-device-name 02:1A:2B:00:00:10", "name is missing; use: set-device-name MAC NAME"},
        {"set-wan-config index=1 mode=token",
         "mode: 'token' is neither one of dhcp, static, pppoe, bridge, nor a number from "
         "0 to 255"},
        {"config-data", "json is missing; use: config-data JSON"},
    };
    for (const auto &row : kErrors) EXPECT_EQ(row.second, ErrorOf(row.first)) << row.first;
    EXPECT_EQ(0u, ErrorOf("set-ssid-config").find("nothing is given; use: set-ssid-config [index] [ssid] [key]"));
    EXPECT_EQ(0u, ErrorOf("set-ssid-config sid=Home").find("there is no parameter 'sid'; use: "));
    EXPECT_EQ("ssid: 34 bytes, and there is room for 33", ErrorOf("set-ssid-config 0 " + std::string(34, 'a')));
}

static bool Offers(const std::string &name, const Words &words, const std::string &completion)
{
    const std::vector<std::string> found = ParameterCompletions(*FindFunction(name), words);
    return std::find(found.begin(), found.end(), completion) != found.end();
}

TEST(FunctionParameters, AreCompletedByNameAndByTheNamesOfTheirValues)
{
    EXPECT_TRUE(Offers("set-led", {}, "on"));
    EXPECT_TRUE(Offers("set-led", {}, "switch=off"));
    EXPECT_FALSE(Offers("set-led", {"on"}, "on"));
    EXPECT_TRUE(Offers("set-ssid-switch", {}, "index="));
    EXPECT_FALSE(Offers("set-ssid-switch", {}, "on"));
    EXPECT_TRUE(Offers("set-ssid-switch", {"3"}, "on"));
    EXPECT_TRUE(Offers("set-wan-config", {"index=1"}, "mode=pppoe"));
    EXPECT_FALSE(Offers("set-wan-config", {"mode=dhcp"}, "mode=pppoe"));
    EXPECT_TRUE(ParameterCompletions(*FindFunction("restart"), {}).empty());
    EXPECT_TRUE(ParameterCompletions(*FindFunction("set-led"), {"on", "off"}).empty());
}
