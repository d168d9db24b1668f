#include "tests/unit/sim/SimTest.h"

#include <cstring>

class SdkFunctions : public SimTest
{
  protected:
    void SetUp() override
    {
        SimTest::SetUp();
        StartWith("{}"); // so that settings have somewhere to go
    }
};

// A buffer that shows what was written to it.
template <size_t N>
struct Buffer {
    char bytes[N + 1];
    Buffer() { memset(bytes, '#', sizeof bytes); }
    std::string All() const { return std::string(bytes, N + 1); }
};

static std::string Padded(const char *text, size_t size)
{
    std::string all(size, '\0');
    all.replace(0, strlen(text), text);
    return all + "#"; // the byte behind the buffer
}

// ----------------------------------------------------------------------------------------------------- texts, switches

TEST_F(SdkFunctions, TextsFillTheirBufferWithZerosAndNoMore)
{
    Buffer<64> serial, vendor, model;
    Buffer<32> name;
    Buffer<12> pin;
    EXPECT_EQ(0, get_router_sn(serial.bytes));
    EXPECT_EQ(0, get_router_vender(vendor.bytes));
    EXPECT_EQ(0, get_router_model(model.bytes));
    EXPECT_EQ(0, get_name(name.bytes));
    EXPECT_EQ(0, get_router_pin(pin.bytes));
    EXPECT_EQ(Padded("SIM0000000001", 64), serial.All());
    EXPECT_EQ(Padded("Example", 64), vendor.All());
    EXPECT_EQ(Padded("Simulated Router", 64), model.All());
    EXPECT_EQ(Padded("household", 32), name.All());
    EXPECT_EQ(Padded("12345670", 12), pin.All());
}

TEST_F(SdkFunctions, APinOfTwelveCharactersHasNoTerminator)
{
    StartWith(R"({"router": {"pin": "123456789012"}})");
    Buffer<12> pin;
    EXPECT_EQ(0, get_router_pin(pin.bytes));
    EXPECT_EQ("123456789012#", pin.All());
}

struct AccountText {
    const char *name;
    int (*get)(char[16]);
    int (*set)(const char *);
    const char *before;
};

TEST_F(SdkFunctions, AccountsTakeUpToSixteenCharacters)
{
    const AccountText texts[] = {
        {"ftp user", get_ftp_user, set_ftp_user, "ftp"},
        {"ftp password", get_ftp_password, set_ftp_password, "ftp-secret"},
        {"samba user", get_samba_user, set_samba_user, "samba"},
        {"samba password", get_samba_password, set_samba_password, "samba-secret"},
        {"telnet user", get_telnet_user, set_telnet_user, "admin"},
        {"telnet password", get_telnet_password, set_telnet_password, "telnet-secret"},
    };
    for (const AccountText &text : texts) {
        SCOPED_TRACE(text.name);
        Buffer<16> before, full, refused, empty;
        EXPECT_EQ(0, text.get(before.bytes));
        EXPECT_EQ(Padded(text.before, 16), before.All());
        EXPECT_EQ(0, text.set("0123456789abcdef"));
        EXPECT_EQ(0, text.get(full.bytes));
        EXPECT_EQ("0123456789abcdef#", full.All());
        EXPECT_EQ(TOO_LONG, text.set("0123456789abcdefg"));
        EXPECT_EQ(0, text.get(refused.bytes));
        EXPECT_EQ("0123456789abcdef#", refused.All());
        EXPECT_EQ(0, text.set(""));
        EXPECT_EQ(0, text.get(empty.bytes));
        EXPECT_EQ(Padded("", 16), empty.All());
    }
}

struct Switch {
    const char *name;
    int (*get)(uint8_t *);
    int (*set)(uint8_t);
    uint8_t before;
};

TEST_F(SdkFunctions, SwitchesTurnOneThingOnAndOff)
{
    const Switch switches[] = {
        {"led", get_led_switch, set_led_switch, 1},
        {"wps", get_wps_switch, set_wps_switch, 0},
        {"ftp", get_ftp_switch, set_ftp_switch, 0},
        {"samba", get_sambaenable_switch, set_sambaenable_switch, 1},
        {"telnet", get_telnetenable_switch, set_telnetenable_switch, 0},
        {"radio", get_wifi_radio_switch, set_wifi_radio_switch, 1},
    };
    for (const Switch &one : switches) {
        SCOPED_TRACE(one.name);
        uint8_t on = 9;
        EXPECT_EQ(0, one.get(&on));
        EXPECT_EQ(one.before, on);
        EXPECT_EQ(0, one.set(!one.before));
        for (const Switch &other : switches) { // those before this one are turned over as well
            EXPECT_EQ(0, other.get(&on));
            EXPECT_EQ(&other <= &one ? !other.before : other.before, on) << other.name;
        }
        EXPECT_EQ(BAD_VALUE, one.set(2));
        EXPECT_EQ(0, one.get(&on));
        EXPECT_EQ(!one.before, on);
    }
}

TEST_F(SdkFunctions, FlagsAreTheReturnValue)
{
    EXPECT_EQ(1, get_router_is_plug());
    EXPECT_EQ(1, get_router_support_ipv6());
    StartWith(R"({"router": {"is_plug": false, "ipv6": false}})");
    EXPECT_EQ(0, get_router_is_plug());
    EXPECT_EQ(0, get_router_support_ipv6());
}

// -------------------------------------------------------------------------------------------------- the router,
// settings

TEST_F(SdkFunctions, RecordsDescribeTheRouter)
{
    uint8_t mac[6] = {};
    RouterVersion version = {};
    CpuCfg cpu = {};
    MemCfg memory = {};
    EXPECT_EQ(0, get_router_mac(mac));
    EXPECT_EQ(0, memcmp(mac, "\x02\x1A\x2B\x00\x00\x01", 6));
    EXPECT_EQ(0, get_router_version(&version));
    EXPECT_STREQ("1.0.0-simulated", version.text);
    EXPECT_EQ(0, memcmp(version.date, "\x14\x18\x06\x01", 4)); // 20, 24, 6, 1
    EXPECT_EQ(0, get_cpu_cfg(&cpu));
    EXPECT_EQ(880, cpu.mhz);
    EXPECT_EQ(2, cpu.cores);
    EXPECT_EQ(0, get_mem_cfg(&memory));
    EXPECT_EQ(131072u, memory.kilobytes);
    EXPECT_STREQ("DDR3", memory.type);
}

TEST_F(SdkFunctions, TheNameHasOneToThirtyOneBytes)
{
    char name[32] = "";
    EXPECT_EQ(0, set_name("0123456789012345678901234567890"));
    EXPECT_EQ(0, get_name(name));
    EXPECT_STREQ("0123456789012345678901234567890", name);
    EXPECT_EQ(TOO_LONG, set_name("01234567890123456789012345678901"));
    EXPECT_EQ(BAD_VALUE, set_name(""));
    EXPECT_EQ(0, get_name(name));
    EXPECT_STREQ("0123456789012345678901234567890", name);
}

TEST_F(SdkFunctions, TextsForTheMakerAreKept)
{
    EXPECT_EQ(0, set_redirection("to=192.0.2.1"));
    EXPECT_EQ(0, update_rom_version("http://192.0.2.1/rom"));
    EXPECT_EQ(0, set_http_test_url("http://192.0.2.1/"));
    std::string state = ReadFile(StatePath());
    EXPECT_NE(std::string::npos, state.find("\"to=192.0.2.1\""));
    EXPECT_NE(std::string::npos, state.find("\"http://192.0.2.1/rom\""));
    EXPECT_NE(std::string::npos, state.find("\"http://192.0.2.1/\""));
    std::string longest(1023, 'x');
    EXPECT_EQ(0, set_redirection(longest.c_str()));
    longest += "x";
    EXPECT_EQ(TOO_LONG, set_redirection(longest.c_str()));
    EXPECT_EQ(TOO_LONG, update_rom_version(longest.c_str()));
    EXPECT_EQ(TOO_LONG, set_http_test_url(longest.c_str()));
}

TEST_F(SdkFunctions, FullLoadHasSixteenSelectors)
{
    EXPECT_EQ(0, set_full_load_enable(15, 1));
    EXPECT_EQ(UNKNOWN, set_full_load_enable(16, 1));
    EXPECT_EQ(BAD_VALUE, set_full_load_enable(0, 2));
}

TEST_F(SdkFunctions, SyncTimeKeepsTheDifferenceToTheHostsClock)
{
    EXPECT_EQ(0, sync_time(1772366400 + 90)); // the test clock stands at 1772366400.25
    EXPECT_NE(std::string::npos, ReadFile(StatePath()).find("\"clock_offset\":\t90"));
    EXPECT_EQ(BAD_VALUE, sync_time(253402300800)); // the year 10000
}

// ----------------------------------------------------------------------------------------------------------------- WAN

TEST_F(SdkFunctions, TheWanIsFoundByItsIndexAndInTheList)
{
    uint16_t count = 0;
    EXPECT_EQ(0, get_wan_num(&count));
    EXPECT_EQ(1, count);
    WanCfg wan = {}, wans[ROUTER_SDK_WANS] = {};
    EXPECT_EQ(0, get_wan_cfg(0, &wan));
    EXPECT_EQ(0, wan.index);
    EXPECT_EQ(ROUTER_WAN_PPPOE, wan.mode);
    EXPECT_EQ(41, wan.vlan);
    EXPECT_STREQ("INTERNET", wan.name);
    EXPECT_EQ(0x146433C6u, wan.ip); // 198.51.100.20 in network order
    EXPECT_EQ(1, wan.connected);
    EXPECT_EQ(0, get_wans_cfg(wans, &count));
    EXPECT_EQ(1, count);
    EXPECT_EQ(0, memcmp(&wan, wans, sizeof wan));
    uint8_t status[16] = {};
    EXPECT_EQ(0, get_wan_con_status(status));
    EXPECT_EQ(1, status[0]);
}

TEST_F(SdkFunctions, AnUnknownWanFailsAndChangesNothing)
{
    WanCfg wan;
    memset(&wan, 0x5A, sizeof wan);
    uint32_t number = 77;
    uint64_t bytes = 77;
    EXPECT_EQ(UNKNOWN, get_wan_cfg(1, &wan));
    EXPECT_EQ(UNKNOWN, get_wan_tcp_con_num(1, &number));
    EXPECT_EQ(UNKNOWN, get_wan_udp_con_num(65535, &number));
    EXPECT_EQ(UNKNOWN, get_wan_receive_bytes(8, &bytes));
    EXPECT_EQ(0x5A5A, wan.index);
    EXPECT_EQ(77u, number);
    EXPECT_EQ(77u, bytes);
}

TEST_F(SdkFunctions, DnsIsSetAndRead)
{
    uint32_t primary = 0, secondary = 0;
    EXPECT_EQ(0, get_dns(&primary, &secondary));
    EXPECT_EQ(0x356433C6u, primary);   // 198.51.100.53
    EXPECT_EQ(0x357100CBu, secondary); // 203.0.113.53
    EXPECT_EQ(0, set_dns(0x01010101, 0));
    EXPECT_EQ(0, get_dns(&primary, &secondary));
    EXPECT_EQ(0x01010101u, primary);
    EXPECT_EQ(0u, secondary);
}

// ----------------------------------------------------------------------------------------------------------------- LAN

TEST_F(SdkFunctions, TheLanHasItsAddressesAndPorts)
{
    LanCfg lan = {};
    uint16_t count = 0;
    uint8_t status[16];
    memset(status, 9, sizeof status);
    EXPECT_EQ(0, get_lan_cfg(&lan));
    EXPECT_EQ(0x0101A8C0u, lan.ip); // 192.168.1.1
    EXPECT_EQ(0x00FFFFFFu, lan.netmask);
    EXPECT_EQ(0, get_lan_num(&count));
    EXPECT_EQ(4, count);
    EXPECT_EQ(0, get_lan_con_status(status));
    const uint8_t expected[6] = {1, 1, 1, 0, 9, 9}; // three devices have a cable, four ports are written
    EXPECT_EQ(0, memcmp(expected, status, sizeof expected));
}

TEST_F(SdkFunctions, AnUnknownLanPortFailsAndChangesNothing)
{
    uint64_t bytes = 77;
    EXPECT_EQ(0, get_lan_port_up_flow(3, &bytes));
    EXPECT_EQ(0u, bytes);
    bytes = 77;
    EXPECT_EQ(UNKNOWN, get_lan_port_up_flow(4, &bytes));
    EXPECT_EQ(UNKNOWN, get_lan_port_down_flow(4, &bytes));
    EXPECT_EQ(77u, bytes);
}

// --------------------------------------------------------------------------------------------------------------- Wi-Fi

TEST_F(SdkFunctions, FourSsidsOnTwoBands)
{
    SsidCfg ssids[ROUTER_SDK_SSIDS] = {}, one = {};
    uint16_t count = 0;
    EXPECT_EQ(0, get_wlans_cfg(ssids, &count));
    ASSERT_EQ(4, count);
    EXPECT_STREQ("Household", ssids[0].ssid);
    EXPECT_EQ(6, ssids[0].channel);
    EXPECT_EQ(44, ssids[2].channel);
    EXPECT_EQ(0x0102A8C0u, ssids[1].ip); // 192.168.2.1
    EXPECT_EQ(0, get_ssid_cfg(3, &one));
    EXPECT_EQ(0, memcmp(&one, &ssids[3], sizeof one));
    EXPECT_EQ(UNKNOWN, get_ssid_cfg(4, &one));
}

TEST_F(SdkFunctions, AnSsidTakesTheWholeRecord)
{
    SsidCfg ssid = {}, back = {};
    ssid.index = 3;
    strcpy(ssid.ssid, "thirty-two-bytes-are-the-longest");
    strcpy(ssid.key, "12345678");
    ssid.enabled = 1;
    ssid.hidden = 1;
    ssid.reserved[2] = 0xEE;
    ssid.security = 5;
    ssid.bandwidth = 160;
    ssid.channel = 100;
    EXPECT_EQ(0, set_ssid_cfg(&ssid));
    EXPECT_EQ(0, get_ssid_cfg(3, &back));
    EXPECT_EQ(0, memcmp(&ssid, &back, sizeof ssid));
}

TEST_F(SdkFunctions, AnSsidRecordThatNoRouterWouldTakeIsRefused)
{
    SsidCfg good = {}, now = {};
    ASSERT_EQ(0, get_ssid_cfg(0, &good));
    struct {
        const char *what;
        int result;
        void (*spoil)(SsidCfg *);
    } const cases[] = {
        {"unknown index", UNKNOWN, [](SsidCfg *s) { s->index = 4; }},
        {"no name", BAD_VALUE, [](SsidCfg *s) { s->ssid[0] = 0; }},
        {"name without an end", TOO_LONG, [](SsidCfg *s) { memset(s->ssid, 'x', sizeof s->ssid); }},
        {"key without an end", TOO_LONG, [](SsidCfg *s) { memset(s->key, 'x', sizeof s->key); }},
        {"short key", BAD_VALUE, [](SsidCfg *s) { strcpy(s->key, "1234567"); }},
        {"switch", BAD_VALUE, [](SsidCfg *s) { s->enabled = 2; }},
        {"hidden", BAD_VALUE, [](SsidCfg *s) { s->hidden = 2; }},
        {"channel", BAD_VALUE, [](SsidCfg *s) { s->channel = 197; }},
        {"bandwidth", BAD_VALUE, [](SsidCfg *s) { s->bandwidth = 321; }},
    };
    for (const auto &one : cases) {
        SsidCfg bad = good;
        one.spoil(&bad);
        EXPECT_EQ(one.result, set_ssid_cfg(&bad)) << one.what;
    }
    ASSERT_EQ(0, get_ssid_cfg(0, &now));
    EXPECT_EQ(0, memcmp(&good, &now, sizeof good));
}

TEST_F(SdkFunctions, TheSsidSwitchIsTheRecordsEnabled)
{
    uint8_t on = 9;
    SsidCfg ssid = {};
    EXPECT_EQ(0, get_ssid_switch(3, &on));
    EXPECT_EQ(0, on);
    EXPECT_EQ(0, set_ssid_switch(3, 1));
    EXPECT_EQ(0, get_ssid_cfg(3, &ssid));
    EXPECT_EQ(1, ssid.enabled);
    EXPECT_EQ(UNKNOWN, get_ssid_switch(4, &on));
    EXPECT_EQ(UNKNOWN, set_ssid_switch(4, 1));
    EXPECT_EQ(BAD_VALUE, set_ssid_switch(3, 2));
}

TEST_F(SdkFunctions, FourRadioModulesFollowTheRadioSwitch)
{
    uint8_t status[5] = {9, 9, 9, 9, 9};
    for (uint16_t module = 0; module < 4; module++) EXPECT_EQ(0, get_wifi_module_status(module, &status[module]));
    EXPECT_EQ(UNKNOWN, get_wifi_module_status(4, &status[4]));
    EXPECT_EQ(0, memcmp(status, "\1\1\0\0\x9", 5));
    EXPECT_EQ(0, set_wifi_radio_switch(0));
    EXPECT_EQ(0, get_wifi_module_status(0, &status[0]));
    EXPECT_EQ(0, status[0]);
}

TEST_F(SdkFunctions, NeighboursAreListed)
{
    AdjWifi seen[ROUTER_SDK_ADJ_WIFI] = {};
    uint16_t count = 0;
    EXPECT_EQ(0, get_adj_wifi_devs(seen, &count));
    ASSERT_EQ(5, count);
    EXPECT_STREQ("Next door", seen[0].ssid);
    EXPECT_EQ(-61, seen[0].rssi);
    EXPECT_EQ(2412000u, seen[0].frequency);
    EXPECT_EQ(100, seen[4].channel);
}
