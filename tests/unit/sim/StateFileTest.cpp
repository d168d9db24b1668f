#include "tests/unit/sim/SimTest.h"

#include <cjson/cJSON.h>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

class StateFile : public SimTest
{
  protected:
    using Document = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;
    Document Saved() const { return Document(cJSON_Parse(ReadFile(StatePath()).c_str()), cJSON_Delete); }
    // Member of an object of the saved document, or null.
    static const cJSON *Member(const Document &document, const char *object, const char *member)
    {
        return cJSON_GetObjectItem(cJSON_GetObjectItem(document.get(), object), member);
    }
    // Starts with this text and expects one line of complaint that has all of `parts`, and the default name.
    void ExpectRefused(const std::string &json, std::initializer_list<const char *> parts)
    {
        StartWith(json);
        std::string complaints = Complaints();
        EXPECT_EQ(1u, CountOf(complaints, "\n")) << json.substr(0, 100) << "\n" << complaints;
        for (const char *part : parts) EXPECT_NE(std::string::npos, complaints.find(part)) << complaints;
        char name[32] = "";
        EXPECT_EQ(0, get_name(name));
        EXPECT_STREQ("household", name);
    }
};

TEST_F(StateFile, ReplacesMembersAndTheOthersKeepTheirDefault)
{
    StartWith(R"({"router": {"name": "other", "version_date": "2023-11-05", "mac": "0A:0b:0C:0d:0E:0f"},
                  "memory": {"kilobytes": 4294967295}, "dns": {"primary": "192.0.2.9"}})");
    char name[32], serial[64];
    RouterVersion version;
    MemCfg memory;
    uint8_t mac[6];
    uint32_t primary, secondary;
    EXPECT_EQ(0, get_name(name));
    EXPECT_EQ(0, get_router_sn(serial));
    EXPECT_EQ(0, get_router_version(&version));
    EXPECT_EQ(0, get_mem_cfg(&memory));
    EXPECT_EQ(0, get_router_mac(mac));
    EXPECT_EQ(0, get_dns(&primary, &secondary));
    EXPECT_STREQ("other", name);
    EXPECT_STREQ("SIM0000000001", serial);
    EXPECT_EQ(0, memcmp(version.date, "\x14\x17\x0B\x05", 4)); // 20, 23, 11, 5
    EXPECT_STREQ("1.0.0-simulated", version.text);
    EXPECT_EQ(4294967295u, memory.kilobytes);
    EXPECT_STREQ("DDR3", memory.type);
    EXPECT_EQ(0, memcmp(mac, "\x0A\x0B\x0C\x0D\x0E\x0F", 6));
    EXPECT_EQ(0x090200C0u, primary);
    EXPECT_EQ(0x357100CBu, secondary);
    EXPECT_EQ("", Complaints());
}

TEST_F(StateFile, AListReplacesTheWholeList)
{
    StartWith(R"({"wans": [{"mode": "static", "name": "A"}, {"mode": "bridge"}],
                  "ssids": [{"ssid": "only"}], "neighbours": [{"bssid": "02:00:00:00:00:09", "rssi": -90}],
                  "black_list": ["02:00:00:00:00:08"], "devices": [{"mac": "02:00:00:00:00:07", "link": "wifi_2g"}],
                  "wifi": {"modules": [false, false, true]}})");
    WanCfg wans[ROUTER_SDK_WANS];
    SsidCfg ssids[ROUTER_SDK_SSIDS];
    AdjWifi seen[ROUTER_SDK_ADJ_WIFI];
    uint8_t black[ROUTER_SDK_BLACK_LIST][6], module;
    uint16_t count;
    EXPECT_EQ(0, get_wans_cfg(wans, &count));
    ASSERT_EQ(2, count);
    EXPECT_EQ(ROUTER_WAN_STATIC, wans[0].mode);
    EXPECT_STREQ("A", wans[0].name);
    EXPECT_EQ(ROUTER_WAN_BRIDGE, wans[1].mode);
    EXPECT_EQ(1, wans[1].index);
    EXPECT_EQ(1500, wans[1].mtu);
    EXPECT_EQ(0, get_wlans_cfg(ssids, &count));
    ASSERT_EQ(1, count);
    EXPECT_STREQ("only", ssids[0].ssid);
    EXPECT_EQ(0, get_adj_wifi_devs(seen, &count));
    ASSERT_EQ(1, count);
    EXPECT_EQ(-90, seen[0].rssi);
    EXPECT_EQ(0, get_dev_black_list(black, &count));
    ASSERT_EQ(1, count);
    EXPECT_EQ(8, black[0][5]);
    ASSERT_EQ(1u, Devices().size());
    EXPECT_EQ(ROUTER_LINK_WIFI_2G, Devices()[0].link);
    EXPECT_EQ(0, get_wifi_module_status(0, &module));
    EXPECT_EQ(0, module);
    EXPECT_EQ(0, get_wifi_module_status(2, &module));
    EXPECT_EQ(1, module);
    EXPECT_EQ("", Complaints());
}

TEST_F(StateFile, IsWrittenByASettingAndByNothingElse)
{
    Start(StatePath());
    char name[32];
    EXPECT_EQ(0, get_name(name));
    EXPECT_EQ(0, restart());
    EXPECT_EQ(UNKNOWN, set_ssid_switch(99, 1));
    EXPECT_TRUE(Files().empty());
    EXPECT_EQ(0, set_led_switch(0));
    EXPECT_EQ(std::vector<std::string>{"state.json"}, Files()); // the file it was written through is gone
    Document saved = Saved();
    EXPECT_STREQ("household", Member(saved, "router", "name")->valuestring);
    EXPECT_TRUE(cJSON_IsFalse(Member(saved, "router", "led")));
    EXPECT_EQ(12, cJSON_GetArraySize(cJSON_GetObjectItem(saved.get(), "devices")));
    struct stat about = {};
    ASSERT_EQ(0, stat(StatePath().c_str(), &about));
    EXPECT_EQ(0600u, about.st_mode & 0777u); // there are passwords in it
}

TEST_F(StateFile, EverySettingComesBackAfterALoad)
{
    Start(StatePath());
    SsidCfg ssid = {};
    DevCfg device = {};
    EXPECT_EQ(0, set_name("kept"));
    EXPECT_EQ(0, set_dns(0x01020304, 0x05060708));
    EXPECT_EQ(0, get_ssid_cfg(2, &ssid));
    memset(ssid.ssid, 0, sizeof ssid.ssid);
    strcpy(ssid.ssid, "new ssid");
    ssid.hidden = 1;
    EXPECT_EQ(0, set_ssid_cfg(&ssid));
    EXPECT_EQ(0, set_wps_switch(1));
    EXPECT_EQ(0, set_ftp_switch(1));
    EXPECT_EQ(0, set_telnet_password("0123456789abcdef"));
    EXPECT_EQ(0, get_dev_cfg(&device, PHONE.data()));
    device.access = 0;
    EXPECT_EQ(0, set_dev_access_control(device));
    EXPECT_EQ(0, set_dev_name(PHONE.data(), "quote \" backslash \\ \xC3\xA4"));
    EXPECT_EQ(0, set_dev_us_max_bw(PHONE.data(), 999999999999999)); // the largest there is
    EXPECT_EQ(0, set_dev_ds_max_bw(PHONE.data(), 999999999999998));

    Start(StatePath());
    char name[64], password[17] = "";
    uint32_t primary, secondary;
    uint8_t on;
    int64_t up, down;
    SsidCfg ssidBack = {};
    EXPECT_EQ(0, get_name(name));
    EXPECT_STREQ("kept", name);
    EXPECT_EQ(0, get_dns(&primary, &secondary));
    EXPECT_EQ(0x01020304u, primary);
    EXPECT_EQ(0x05060708u, secondary);
    EXPECT_EQ(0, get_ssid_cfg(2, &ssidBack));
    EXPECT_EQ(0, memcmp(&ssid, &ssidBack, sizeof ssid));
    EXPECT_EQ(0, get_wps_switch(&on));
    EXPECT_EQ(1, on);
    EXPECT_EQ(0, get_ftp_switch(&on));
    EXPECT_EQ(1, on);
    EXPECT_EQ(0, get_telnet_password(password));
    EXPECT_STREQ("0123456789abcdef", password);
    EXPECT_EQ(0, get_dev_cfg(&device, PHONE.data()));
    EXPECT_EQ(0, device.access);
    EXPECT_EQ(0, get_dev_name(PHONE.data(), name));
    EXPECT_STREQ("quote \" backslash \\ \xC3\xA4", name);
    EXPECT_EQ(0, get_dev_us_max_bw(PHONE.data(), &up));
    EXPECT_EQ(0, get_dev_ds_max_bw(PHONE.data(), &down));
    EXPECT_EQ(999999999999999, up);
    EXPECT_EQ(999999999999998, down);
    EXPECT_EQ("", Complaints());
}

TEST_F(StateFile, KeepsMembersItDoesNotKnow)
{
    StartWith(R"({"note": ["mine", 7], "router": {"colour": "black"},
                  "devices": [{"mac": "02:00:00:00:00:01", "owner": "Anna"}, "odd", {"mac": "02:00:00:00:00:02"}],
                  "ssids": [{"ssid": "a", "room": "attic"}], "timetable": [{"at": 5, "leave": "02:00:00:00:00:01"}]})");
    EXPECT_EQ(0, set_name("other"));
    Document saved = Saved();
    EXPECT_EQ(2, cJSON_GetArraySize(cJSON_GetObjectItem(saved.get(), "note")));
    EXPECT_STREQ("black", Member(saved, "router", "colour")->valuestring);
    EXPECT_STREQ("other", Member(saved, "router", "name")->valuestring);
    const cJSON *devices = cJSON_GetObjectItem(saved.get(), "devices");
    ASSERT_EQ(3, cJSON_GetArraySize(devices));
    EXPECT_STREQ("Anna", cJSON_GetObjectItem(cJSON_GetArrayItem(devices, 0), "owner")->valuestring);
    EXPECT_STREQ("odd", cJSON_GetArrayItem(devices, 1)->valuestring);
    EXPECT_NE(nullptr, cJSON_GetObjectItem(cJSON_GetArrayItem(devices, 2), "typical_down"));
    const cJSON *ssid = cJSON_GetArrayItem(cJSON_GetObjectItem(saved.get(), "ssids"), 0);
    EXPECT_STREQ("attic", cJSON_GetObjectItem(ssid, "room")->valuestring);
    EXPECT_EQ(1, cJSON_GetArraySize(cJSON_GetObjectItem(saved.get(), "timetable")));
}

TEST_F(StateFile, WhoCameByTheTimetableIsSavedAsAwayAtTheStart)
{
    const char *json =
        R"({"devices": [], "timetable": [{"at": 5, "join": {"mac": "02:00:00:00:00:01", "name": "a"}}]})";
    const uint8_t mac[6] = {2, 0, 0, 0, 0, 1};
    StartWith(json);
    TestClockAdvanceMs(5000);
    ASSERT_EQ(1u, Devices().size());
    EXPECT_EQ(0, set_dev_name(mac, "b"));
    Start(StatePath());
    EXPECT_EQ(0u, Devices().size());
    TestClockAdvanceMs(5000);
    ASSERT_EQ(1u, Devices().size());
    EXPECT_STREQ("b", Devices()[0].name);
}

TEST_F(StateFile, IsReplacedAsAWhole)
{
    StartWith("{}");
    struct stat before = {}, after = {};
    ASSERT_EQ(0, stat(StatePath().c_str(), &before));
    int open = ::open(StatePath().c_str(), O_RDONLY | O_CLOEXEC); // keeps the old file's number from being used again
    EXPECT_EQ(0, set_led_switch(0));
    ASSERT_EQ(0, stat(StatePath().c_str(), &after));
    EXPECT_NE(before.st_ino, after.st_ino);
    char text[8] = "";
    EXPECT_EQ(2, read(open, text, sizeof text)); // a reader of the old one still sees all of it
    EXPECT_STREQ("{}", text);
    close(open);
}

TEST_F(StateFile, ANameThatWasPlantedForTheSecondFileIsNotFollowed)
{
    WriteFile(Path("precious"), "precious");
    StartWith("{}");
    std::string beside = StatePath() + "." + std::to_string(getpid()) + ".tmp";
    ASSERT_EQ(0, symlink(Path("precious").c_str(), beside.c_str()));
    EXPECT_EQ(0, set_led_switch(0));
    EXPECT_EQ("precious", ReadFile(Path("precious")));
    EXPECT_EQ((std::vector<std::string>{"precious", "state.json"}), Files());
    EXPECT_NE(nullptr, Member(Saved(), "router", "led"));
}

TEST_F(StateFile, InAFolderThatIsNotThereIsReportedOnceAndTheSettingHolds)
{
    Start(Path("no/such/state.json"));
    uint8_t on = 9;
    EXPECT_EQ(0, set_led_switch(0));
    EXPECT_EQ(0, set_led_switch(0));
    EXPECT_EQ(0, get_led_switch(&on));
    EXPECT_EQ(0, on);
    EXPECT_EQ(1u, CountOf(Complaints(), "cannot be written"));
}

// -------------------------------------------------------------------------------------------------------- bad
// documents

TEST_F(StateFile, ThatIsNoJsonObjectIsReportedAndLeftAlone)
{
    for (const char *bad : {"", " ", "{", "{\"router\": {\"name\": \"x\"}", "{} x", "nonsense", "[]", "5", "\"text\"",
                            "{\"router\": {\"name\": \"x\",}}", "\xFF\xFE\x00\x01"}) {
        ExpectRefused(bad, {"state.json\" is not "});
        EXPECT_EQ(0, set_led_switch(0));
        EXPECT_EQ(bad, ReadFile(StatePath()));
        EXPECT_EQ("", Complaints()); // said once
    }
    std::string withNul = std::string("{}") + '\0' + "{\"router\": {\"name\": \"x\"}}";
    ExpectRefused(withNul, {"state.json\" is not JSON"});
}

TEST_F(StateFile, NamesTheLineOfASyntaxError)
{
    ExpectRefused("{\n  \"router\": {\n    \"name\" \"x\"\n  }\n}\n", {"is not JSON, see line 3"});
}

TEST_F(StateFile, NestedTooDeepIsRefused)
{
    ExpectRefused("{\"a\": " + std::string(100000, '['), {"is not JSON"});
}

TEST_F(StateFile, LargerThanOneMebibyteIsRefusedAndLeftAlone)
{
    std::string huge = "{\"router\": {\"name\": \"x\"}}" + std::string(1024 * 1024, ' ');
    ExpectRefused(huge, {"is larger than 1 MiB"});
    EXPECT_EQ(0, set_led_switch(0));
    EXPECT_EQ(huge.size(), ReadFile(StatePath()).size());
}

TEST_F(StateFile, ThatIsNoFileIsRefused)
{
    ASSERT_EQ(0, mkdir(StatePath().c_str(), 0700));
    Start(StatePath());
    EXPECT_NE(std::string::npos, Complaints().find("is not a file"));
    Start(Path("pipe"));
    ASSERT_EQ(0, mkfifo(Path("pipe").c_str(), 0600));
    EXPECT_NE(std::string::npos, Complaints().find("is not a file")); // and does not wait for a writer
    WriteFile(Path("target"), "{}");
    ASSERT_EQ(0, symlink(Path("target").c_str(), Path("link").c_str()));
    Start(Path("link"));
    EXPECT_NE(std::string::npos, Complaints().find("is a symbolic link"));
    Start(std::string(2000, 'x'));
    EXPECT_NE(std::string::npos, Complaints().find("the path is too long"));
}

TEST_F(StateFile, BadMembersAreNamedAndKeepTheirDefault)
{
    struct {
        const char *json;
        const char *member;
    } const cases[] = {
        {R"({"router": 5})", "\"router\" is not an object"},
        {R"({"router": null})", "\"router\" is not an object"},
        {R"({"router": {"name": 5}})", "\"router.name\" is not a text of at most 31 bytes"},
        {R"({"router": {"name": "12345678901234567890123456789012"}})", "\"router.name\" is not a text of at most 31"},
        {R"({"router": {"pin": "1234567890123"}})", "\"router.pin\" is not a text of at most 12"},
        {R"({"router": {"mac": "02:00:00:00:00"}})", "\"router.mac\" is not a MAC"},
        {R"({"router": {"mac": "02:00:00:00:00:0g"}})", "\"router.mac\" is not a MAC"},
        {R"({"router": {"mac": "02-00-00-00-00-00"}})", "\"router.mac\" is not a MAC"},
        {R"({"router": {"is_plug": 1}})", "\"router.is_plug\" is not true or false"},
        {R"({"router": {"version_date": "2024-13-01"}})", "\"router.version_date\" is not a date"},
        {R"({"router": {"version_date": "2024-6-1"}})", "\"router.version_date\" is not a date"},
        {R"({"router": {"version_date": 20240601}})", "\"router.version_date\" is not a date"},
        {R"({"router": {"full_load": [1]}})", "\"router.full_load\" is not a list of at most 16"},
        {R"({"cpu": {"mhz": 65536}})", "\"cpu.mhz\" is not a whole number from 0 to 65535"},
        {R"({"cpu": {"mhz": -1}})", "\"cpu.mhz\" is not a whole number from 0 to 65535"},
        {R"({"cpu": {"mhz": 1.5}})", "\"cpu.mhz\" is not a whole number from 0 to 65535"},
        {R"({"cpu": {"mhz": 1e999}})", "\"cpu.mhz\" is not a whole number from 0 to 65535"},
        {R"({"cpu": {"mhz": "880"}})", "\"cpu.mhz\" is not a whole number from 0 to 65535"},
        {R"({"memory": {"kilobytes": 4294967296}})", "\"memory.kilobytes\" is not a whole number"},
        {R"({"lan": {"ip": "192.168.1.256"}})", "\"lan.ip\" is not an IPv4 address"},
        {R"({"lan": {"ports": 17}})", "\"lan.ports\" is not a whole number from 0 to 16"},
        {R"({"wifi": {"modules": [true, true, true, true, true]}})", "\"wifi.modules\" is not a list of at most 4"},
        {R"({"services": {"ftp_user": "12345678901234567"}})", "\"services.ftp_user\" is not a text of at most 16"},
        {R"({"wans": {}})", "\"wans\" is not a list"},
        {R"({"wans": [{}, {"mode": "modem"}]})", "\"wans[1].mode\" is not one of the words dhcp static pppoe bridge"},
        {R"({"wans": [{}, {"mode": "dhc"}]})", "\"wans[1].mode\" is not one of the words"},
        {R"({"wans": [{}, {"mode": ""}]})", "\"wans[1].mode\" is not one of the words"},
        {R"({"wans": [7]})", "\"wans[0]\" is not an object"},
        {R"({"ssids": [{"channel": 197}]})", "\"ssids[0].channel\" is not a whole number from 0 to 196"},
        {R"({"devices": [{"name": "x"}]})", "\"devices[0]\" has no \"mac\""},
        {R"({"devices": [7]})", "\"devices[0]\" has no \"mac\""},
        {R"({"devices": [{"mac": "02:00:00:00:00:01"}, {"mac": "02:00:00:00:00:01"}]})",
         "\"devices[1]\" has the MAC of"},
        {R"({"devices": [{"mac": "02:00:00:00:00:01", "max_up": -1}]})", "\"devices[0].max_up\" is not a whole number"},
        {R"({"neighbours": [{"rssi": -201}]})", "\"neighbours[0].rssi\" is not a whole number from -200 to 100"},
        {R"({"black_list": ["x"]})", "\"black_list[0]\" is not a MAC"},
        {R"({"timetable": {}})", "\"timetable\" is not a list"},
        {R"({"wans": [{},{},{},{},{},{},{},{},{}]})", "\"wans\" has 9 elements; only the first 8 are used"},
    };
    for (const auto &one : cases) ExpectRefused(one.json, {"simulated router: ROUTER_SIM_STATE: ", one.member});
}

TEST_F(StateFile, ABadMemberDoesNotSpoilItsNeighbours)
{
    StartWith(R"({"cpu": {"mhz": "fast", "cores": 4}})");
    CpuCfg cpu;
    EXPECT_EQ(0, get_cpu_cfg(&cpu));
    EXPECT_EQ(880, cpu.mhz);
    EXPECT_EQ(4, cpu.cores);
}

TEST_F(StateFile, FullOfBadMembersDoesNotFloodTheTerminal)
{
    std::string json = "{\"devices\": [0";
    for (int i = 1; i < 600; i++) json += ",0";
    StartWith(json + "]}");
    EXPECT_EQ(21u, CountOf(Complaints(), "\n"));
}

// -------------------------------------------------------------------------------------------------------- the example

TEST_F(StateFile, TheExampleIsTheDefaultHouseholdWithATimetable)
{
    Start(StatePath());
    EXPECT_EQ(0, set_led_switch(1)); // as it is: the file has the default household
    Document household = Saved();
    Document example(cJSON_Parse(ReadFile(SIM_EXAMPLE).c_str()), cJSON_Delete);
    ASSERT_NE(nullptr, example);
    EXPECT_NE(nullptr, cJSON_GetObjectItem(example.get(), "timetable"));
    cJSON_DeleteItemFromObject(example.get(), "timetable");
    EXPECT_TRUE(cJSON_Compare(household.get(), example.get(), 1));

    StartWith(ReadFile(SIM_EXAMPLE));
    EXPECT_EQ(12u, Devices().size());
    TestClockAdvanceMs(60000);
    EXPECT_EQ(11u, Devices().size());
    TestClockAdvanceMs(60000);
    EXPECT_EQ(12u, Devices().size());
    EXPECT_EQ("", Complaints());
}
