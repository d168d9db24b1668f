#include "tests/unit/sim/SimTest.h"

#include <cstring>

class DeviceTable : public SimTest
{
};

TEST_F(DeviceTable, ADozenDevicesAreAtHome)
{
    uint16_t count = 0;
    std::vector<DevCfg> devices = Devices(&count);
    ASSERT_EQ(12, count);
    EXPECT_EQ(0, memcmp(devices[0].mac, OFFICE_PC.data(), 6));
    EXPECT_EQ(std::string("office-pc"), devices[0].name);
    EXPECT_EQ(0x0B01A8C0u, devices[0].ip); // 192.168.1.11
    EXPECT_EQ(ROUTER_LINK_WIRED, devices[0].link);
    EXPECT_EQ(1, devices[0].access);
    EXPECT_EQ(ROUTER_LINK_WIFI_5G, devices[3].link);
    EXPECT_EQ(2, devices[3].port); // the SSID
}

TEST_F(DeviceTable, ALongDeviceNameFillsTheRecordsFieldWithoutATerminator)
{
    std::vector<DevCfg> devices = Devices();
    ASSERT_EQ(12u, devices.size());
    EXPECT_EQ("laptop-of-the-li", std::string(devices[6].name, 16));
    EXPECT_EQ(0, devices[6].reserved[0]);
    char name[64] = "";
    EXPECT_EQ(0, get_dev_name(devices[6].mac, name));
    EXPECT_STREQ("laptop-of-the-living-room", name);
}

TEST_F(DeviceTable, AStrangersMacFailsEverywhereAndChangesNothing)
{
    DevCfg device;
    memset(&device, 0x5A, sizeof device);
    char name[64] = "as before";
    int64_t limit = 77;
    uint16_t mbps = 77;
    EXPECT_EQ(UNKNOWN, get_dev_cfg(&device, STRANGER.data()));
    EXPECT_EQ(0x5A, device.mac[0]);
    memcpy(device.mac, STRANGER.data(), 6);
    device.access = 1;
    EXPECT_EQ(UNKNOWN, set_dev_access_control(device));
    EXPECT_EQ(UNKNOWN, get_dev_name(STRANGER.data(), name));
    EXPECT_EQ(UNKNOWN, set_dev_name(STRANGER.data(), "x"));
    EXPECT_EQ(UNKNOWN, get_dev_us_max_bw(STRANGER.data(), &limit));
    EXPECT_EQ(UNKNOWN, get_dev_ds_max_bw(STRANGER.data(), &limit));
    EXPECT_EQ(UNKNOWN, set_dev_us_max_bw(STRANGER.data(), 1));
    EXPECT_EQ(UNKNOWN, set_dev_ds_max_bw(STRANGER.data(), 1));
    EXPECT_EQ(UNKNOWN, get_dev_speed(STRANGER.data(), 0, &mbps));
    EXPECT_EQ(0u, get_dev_us_bw(STRANGER.data()));
    EXPECT_EQ(0u, get_dev_ds_bw(STRANGER.data()));
    EXPECT_STREQ("as before", name);
    EXPECT_EQ(77, limit);
    EXPECT_EQ(77, mbps);
}

TEST_F(DeviceTable, AccessControlTakesAccessAndChangedFromTheRecord)
{
    DevCfg device = {}, back = {};
    ASSERT_EQ(0, get_dev_cfg(&device, PHONE.data()));
    device.access = 0;
    device.changed = 1;
    DevCfg sent = device;
    memset(sent.name, 'x', sizeof sent.name); // not what the call is for
    EXPECT_EQ(0, set_dev_access_control(sent));
    EXPECT_EQ(0, get_dev_cfg(&back, PHONE.data()));
    EXPECT_EQ(0, memcmp(&device, &back, sizeof back));
    device.access = 2;
    EXPECT_EQ(BAD_VALUE, set_dev_access_control(device));
}

TEST_F(DeviceTable, ADeviceNameHasUpToSixtyThreeBytes)
{
    std::string longest(63, 'n');
    char name[64];
    EXPECT_EQ(0, set_dev_name(PHONE.data(), longest.c_str()));
    EXPECT_EQ(0, get_dev_name(PHONE.data(), name));
    EXPECT_EQ(longest, name);
    EXPECT_EQ(TOO_LONG, set_dev_name(PHONE.data(), (longest + "n").c_str()));
}

TEST_F(DeviceTable, LimitsAreSetAndReadForEachDirection)
{
    int64_t limit = 77;
    EXPECT_EQ(0, get_dev_us_max_bw(PHONE.data(), &limit));
    EXPECT_EQ(0, limit);
    EXPECT_EQ(0, set_dev_us_max_bw(PHONE.data(), 5000000000));
    EXPECT_EQ(0, set_dev_ds_max_bw(PHONE.data(), 300));
    EXPECT_EQ(0, get_dev_us_max_bw(PHONE.data(), &limit));
    EXPECT_EQ(5000000000, limit);
    EXPECT_EQ(0, get_dev_ds_max_bw(PHONE.data(), &limit));
    EXPECT_EQ(300, limit);
    EXPECT_EQ(BAD_VALUE, set_dev_us_max_bw(PHONE.data(), -1));
    EXPECT_EQ(BAD_VALUE, set_dev_ds_max_bw(PHONE.data(), 1000000000000000));
}

TEST_F(DeviceTable, ACableKeepsItsSpeedAndARadioLinkLosesSome)
{
    uint16_t mbps = 0;
    for (uint16_t which = 0; which < 3; which++) {
        EXPECT_EQ(0, get_dev_speed(OFFICE_PC.data(), which, &mbps));
        EXPECT_EQ(1000, mbps);
    }
    EXPECT_EQ(0, get_dev_speed(PHONE.data(), 0, &mbps));
    EXPECT_EQ(866, mbps);
    for (uint16_t which = 1; which < 3; which++) {
        EXPECT_EQ(0, get_dev_speed(PHONE.data(), which, &mbps));
        EXPECT_GE(mbps, 866 * 60 / 100);
        EXPECT_LE(mbps, 866);
    }
    mbps = 77;
    EXPECT_EQ(UNKNOWN, get_dev_speed(PHONE.data(), 3, &mbps));
    EXPECT_EQ(77, mbps);
}

TEST_F(DeviceTable, TheBlackListIsListed)
{
    uint8_t macs[ROUTER_SDK_BLACK_LIST][6] = {};
    uint16_t count = 0;
    EXPECT_EQ(0, get_dev_black_list(macs, &count));
    ASSERT_EQ(2, count);
    EXPECT_EQ(0, memcmp(macs[1], "\x02\x1A\x2B\x00\x00\xB2", 6));
}

TEST_F(DeviceTable, MoreDevicesThanTheRoomAreCountedAndOnlyTheRoomIsFilled)
{
    std::string json = "{\"devices\": [";
    for (int i = 0; i < 512; i++) {
        char device[64];
        snprintf(device, sizeof device, "%s{\"mac\": \"02:00:00:00:%02x:%02x\"}", i ? ", " : "", i >> 8, i & 0xFF);
        json += device;
    }
    StartWith(json + "]}");
    std::vector<DevCfg> devices(ROUTER_SDK_DEVICES + 1);
    memset(static_cast<void *>(&devices[ROUTER_SDK_DEVICES]), 0x5A, sizeof(DevCfg));
    uint16_t count = 0;
    EXPECT_EQ(0, get_devs_cfg(devices.data(), &count));
    EXPECT_EQ(512, count);
    EXPECT_EQ(128, devices[128].mac[5]);
    EXPECT_EQ(0x5A, devices[129].mac[5]);
    const uint8_t last[6] = {2, 0, 0, 0, 1, 255};
    EXPECT_EQ(0, get_dev_cfg(&devices[0], last));
    EXPECT_EQ("", Complaints());
}
