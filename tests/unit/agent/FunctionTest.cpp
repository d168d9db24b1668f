#include "tests/unit/agent/FunctionTest.h"

#include <cstring>

#include "functions/ProtoolSdk.h"

void PrintTo(const SharedRow &row, std::ostream *out)
{
    *out << row.call;
}

std::string NameOfRow(const testing::TestParamInfo<SharedRow> &info)
{
    return info.param.call;
}

Bytes FunctionRequest(uint16_t id, const Bytes &parameters)
{
    return Bytes{0xA5, 0x5A, static_cast<uint8_t>(id), static_cast<uint8_t>(id >> 8)} + Hex("E1 E2 E3 E4 E5 E6") +
           parameters;
}

Bytes FunctionTest::Reply(uint16_t id, const Bytes &parameters, int expectedResult)
{
    Bytes request = FunctionRequest(id, parameters);
    EXPECT_LT(request.size(), kFunctionRequestSize);
    request.resize(kFunctionRequestSize);
    Bytes reply(kFunctionReplySize);
    int length = -1;
    EXPECT_EQ(expectedResult, ParserProtoolData(request.data(), reply.data(), &length)) << id;
    EXPECT_GE(length, 0) << id;
    EXPECT_LE(length, 8192) << id;
    if (length < 0 || length > 8192) return {};
    reply.resize(static_cast<size_t>(length));
    return reply;
}

void FunctionTest::Fail(int result, bool careless)
{
    gSdk.result = result;
    gSdk.careless = careless;
}

Bytes Head(uint16_t id, const std::string &status)
{
    return Bytes{0xA5, 0x5A, static_cast<uint8_t>(id), static_cast<uint8_t>(id >> 8)} + Hex(status);
}

Bytes Field(const std::string &text, size_t size)
{
    Bytes field = Text(text);
    field.resize(size);
    return field;
}

uint32_t Ip(uint8_t a, uint8_t b, uint8_t c, uint8_t d)
{
    const uint8_t octets[4] = {a, b, c, d};
    uint32_t ip;
    memcpy(&ip, octets, sizeof ip);
    return ip;
}

WanCfg SampleWan()
{
    WanCfg wan = {};
    wan.index = 0x0102;
    wan.mode = ROUTER_WAN_PPPOE;
    wan.vlan = 0x0FA0;
    wan.mtu = 1492;
    strcpy(wan.name, "Internet");
    strcpy(wan.user, "home@isp");
    memset(wan.password, 'p', sizeof wan.password); // fills its field
    memcpy(wan.mac, Hex("02 AA BB CC DD EE").data(), 6);
    wan.ip = Ip(100, 64, 3, 9);
    wan.netmask = Ip(255, 255, 252, 0);
    wan.gateway = Ip(100, 64, 0, 1);
    wan.dns1 = Ip(9, 8, 7, 6);
    wan.dns2 = Ip(1, 2, 3, 4);
    wan.services = 0x8001;
    wan.connected = 1;
    return wan;
}

Bytes SampleWanOnTheWire()
{
    return Hex("02 01  02  A0 0F  D4 05") + Field("Internet", 64) + Field("home@isp", 64) + Bytes(64, 'p') + // 0-198
           Hex("02 AA BB CC DD EE  09 03 40 64  00 FC FF FF  01 00 40 64") +                                 // 199-216
           Hex("06 07 08 09  04 03 02 01  01 80  01");                                                       // 217-227
}

SsidCfg SampleSsid()
{
    SsidCfg ssid = {};
    ssid.index = 0x0201;
    strcpy(ssid.ssid, "Home");
    strcpy(ssid.key, "secret key");
    ssid.enabled = 1;
    ssid.hidden = 2;
    memcpy(ssid.reserved, "\x11\x12\x13\x14", 4);
    ssid.security = 0x0304;
    ssid.bandwidth = 80;
    ssid.channel = 149;
    ssid.ip = Ip(192, 168, 7, 1);
    ssid.netmask = Ip(255, 255, 255, 0);
    return ssid;
}

Bytes SampleSsidOnTheWire()
{
    return Hex("01 02") + Field("Home", 33) + Field("secret key", 65) + Hex("01 02 11 12 13 14") + // 0-105
           Hex("04 03  50 00  95 00  01 07 A8 C0  00 FF FF FF");                                   // 106-119
}

DevCfg SampleDevice()
{
    DevCfg device = {};
    memcpy(device.mac, Hex("02 1A 2B 00 00 01").data(), 6);
    memcpy(device.name, "A-name-of-16-byt", 16); // fills its field
    memcpy(device.reserved, "\x21\x22", 2);
    device.changed = 7;
    device.link = ROUTER_LINK_WIFI_5G;
    device.access = 1;
    device.reserved2 = 0x23;
    device.port = 0x0403;
    device.ip = Ip(192, 168, 1, 20);
    return device;
}

Bytes SampleDeviceOnTheWire()
{
    return Hex("02 1A 2B 00 00 01") + Text("A-name-of-16-byt") + Hex("21 22  07 02 01  23  03 04  14 01 A8 C0");
}

AdjWifi SampleNeighbour()
{
    AdjWifi neighbour = {};
    memcpy(neighbour.bssid, Hex("06 05 04 03 02 01").data(), 6);
    memset(neighbour.ssid, 'n', sizeof neighbour.ssid); // fills its field
    strcpy(neighbour.security, "WPA2-PSK");
    neighbour.rssi = -67;
    neighbour.frequency = 5745000;
    neighbour.channel = 149;
    neighbour.bandwidth = 80;
    neighbour.load = 0x0102;
    return neighbour;
}

Bytes SampleNeighbourOnTheWire()
{
    return Hex("06 05 04 03 02 01") + Bytes(33, 'n') + Field("WPA2-PSK", 21) + // 0-59
           Hex("BD FF FF FF  68 A9 57 00  95 00  50 00  02 01");               // 60-73
}
