// The functions in a network namespace of their own, where they may set rules. Skipped (exit status 77) where such a
// namespace cannot be made.
#include "sdk/RouterSdk.h"

#include "sdk/linux/base/Result.h"
#include "sdk/linux/cache/Cache.h"
#include "tests/support/Files.h"
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <sched.h>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

static const uint8_t kPhone[6] = {2, 0, 0, 0, 0, 1};
static const uint8_t kStranger[6] = {2, 0, 0, 0, 0, 9};

// Every code that is not listed in docs/linux-router.md would be a surprise for the platform.
static bool IsListed(int result)
{
    return result >= RESULT_OK && result <= RESULT_FULL;
}

TEST(RouterFunctions, AllAnswerOnAMachineWithoutLanOrWifi)
{
    char text[64];
    uint8_t bytes[64];
    uint16_t count;
    uint32_t number;
    uint64_t big;
    std::set<int> results = {get_router_mac(bytes),
                             get_router_sn(text),
                             get_router_pin(text),
                             get_router_vender(text),
                             get_router_model(text),
                             get_name(text),
                             get_wan_num(&count),
                             get_wan_tcp_con_num(0, &number),
                             get_wan_udp_con_num(0, &number),
                             get_wan_receive_bytes(0, &big),
                             get_wan_con_status(bytes),
                             get_lan_num(&count),
                             get_lan_con_status(bytes),
                             get_lan_port_up_flow(0, &big),
                             get_lan_port_down_flow(0, &big),
                             get_ssid_switch(0, bytes),
                             set_ssid_switch(0, 1),
                             get_wifi_radio_switch(bytes),
                             set_wifi_radio_switch(1),
                             get_wps_switch(bytes),
                             set_wps_switch(1),
                             get_led_switch(bytes),
                             set_led_switch(1),
                             get_ftp_switch(bytes),
                             get_sambaenable_switch(bytes),
                             get_telnetenable_switch(bytes),
                             get_ftp_user(text),
                             set_telnet_password("x"),
                             set_dns(1, 2),
                             set_full_load_enable(0, 1),
                             update_rom_version("x"),
                             set_redirection("x"),
                             set_http_test_url("x"),
                             restart(),
                             sync_time(0),
                             get_flows_down_rate(&big),
                             get_flows_up_rate(&big),
                             get_duration_time(&big),
                             get_cpu_use(&count),
                             get_mem_use(&count)};
    for (const int result : results) EXPECT_TRUE(IsListed(result)) << result;
    EXPECT_EQ(RESULT_NOT_CONFIGURED, restart());
    EXPECT_EQ(RESULT_NOT_CONFIGURED,
              sync_time(0)); // the clock belongs to the machine, unless the operator says otherwise
    EXPECT_EQ(RESULT_WIFI, get_ssid_switch(0, bytes));
    EXPECT_EQ(RESULT_OK, get_router_sn(text));
    EXPECT_STREQ("SN1", text);
}

TEST(RouterFunctions, AFailedQueryLeavesTheBuffersAlone)
{
    WanCfg wan;
    LanCfg lan;
    DevCfg device;
    SsidCfg ssid;
    for (void *buffer : {static_cast<void *>(&wan), static_cast<void *>(&lan), static_cast<void *>(&device),
                         static_cast<void *>(&ssid)})
        memset(buffer, '#',
               buffer == &lan      ? sizeof lan
               : buffer == &device ? sizeof device
               : buffer == &ssid   ? sizeof ssid
                                   : sizeof wan);
    EXPECT_EQ(RESULT_UNKNOWN, get_wan_cfg(0, &wan));
    EXPECT_EQ(RESULT_NO_FIGURE, get_lan_cfg(&lan));
    EXPECT_EQ(RESULT_UNKNOWN, get_dev_cfg(&device, kStranger));
    EXPECT_EQ(RESULT_UNKNOWN, get_ssid_cfg(3, &ssid));
    const auto untouched = [](const void *buffer, size_t size) {
        return std::string(static_cast<const char *>(buffer), size) == std::string(size, '#');
    };
    EXPECT_TRUE(untouched(&wan, sizeof wan) && untouched(&lan, sizeof lan) && untouched(&device, sizeof device) &&
                untouched(&ssid, sizeof ssid));
}

TEST(RouterFunctions, SettingsOfADeviceAreKeptAndToldBack)
{
    DevCfg device = {};
    memcpy(device.mac, kPhone, 6);
    EXPECT_EQ(RESULT_OK, set_dev_access_control(device));
    EXPECT_EQ(RESULT_OK, set_dev_us_max_bw(kPhone, 50000));
    EXPECT_EQ(RESULT_OK, set_dev_name(kPhone, "phone"));
    int64_t limit = 0;
    EXPECT_EQ(RESULT_OK, get_dev_us_max_bw(kPhone, &limit));
    EXPECT_EQ(50000, limit);
    ASSERT_EQ(RESULT_OK, get_dev_cfg(&device, kPhone));
    EXPECT_EQ(0, device.access);
    EXPECT_STREQ("phone", device.name);
    uint16_t count = 7;
    EXPECT_EQ(RESULT_OK, get_devs_cfg(&device, &count));
    EXPECT_EQ(0, count); // known, but not there
    EXPECT_NE(std::string::npos, ReadFile(getenv("TEST_STATE")).find("refused=1 up=50000 down=0 name=phone"));
}

TEST(RouterFunctions, ValuesThatNoRouterWouldTakeAreRefused)
{
    DevCfg device = {};
    memcpy(device.mac, kPhone, 6);
    device.access = 2;
    EXPECT_EQ(RESULT_BAD_VALUE, set_dev_access_control(device));
    memset(device.mac, 0xFF, 6);
    device.access = 0;
    EXPECT_EQ(RESULT_BAD_VALUE, set_dev_access_control(device)); // everybody at once is no device
    EXPECT_EQ(RESULT_BAD_VALUE, set_dev_us_max_bw(kPhone, -1));
    EXPECT_EQ(RESULT_UNKNOWN, set_dev_name(kStranger, "x"));
    EXPECT_EQ(RESULT_TOO_LONG, set_dev_name(kPhone, std::string(64, 'x').c_str()));
    EXPECT_EQ(RESULT_TOO_LONG, set_name(std::string(32, 'x').c_str()));
    uint16_t mbps;
    EXPECT_EQ(RESULT_BAD_VALUE, get_dev_speed(kPhone, 3, &mbps));
    EXPECT_EQ(RESULT_UNKNOWN, get_wifi_module_status(4, device.mac));
}

// The agent calls them with a lock of its own held. The cache thread holds its lock while it works through much news.
TEST(RouterFunctions, ThoseAboutDevicesDoNotWaitForTheTablesOfTheKernelsNews)
{
    DevCfg devices[ROUTER_SDK_DEVICES];
    uint8_t macs[ROUTER_SDK_BLACK_LIST][6];
    char name[64];
    int64_t limit;
    uint16_t count, mbps;
    EXPECT_EQ(RESULT_OK, get_devs_cfg(devices, &count)); // the library has started
    Lock lock(CacheLock());
    EXPECT_EQ(RESULT_OK, get_devs_cfg(devices, &count));
    EXPECT_EQ(RESULT_OK, get_dev_cfg(devices, kPhone));
    EXPECT_EQ(RESULT_OK, get_dev_name(kPhone, name));
    EXPECT_EQ(RESULT_OK, get_dev_us_max_bw(kPhone, &limit));
    EXPECT_EQ(RESULT_OK, get_dev_ds_max_bw(kPhone, &limit));
    EXPECT_EQ(RESULT_UNKNOWN, get_dev_speed(kPhone, 0, &mbps)); // it is not there
    EXPECT_EQ(RESULT_OK, get_dev_black_list(macs, &count));
    EXPECT_EQ(0u, get_dev_us_bw(kPhone));
    EXPECT_EQ(0u, get_dev_ds_bw(kPhone));
    EXPECT_EQ(RESULT_OK, set_dev_name(kPhone, "handset"));
}

TEST(RouterFunctions, WhatCannotBeKeptIsNotChanged)
{
    ASSERT_EQ(0, rename(getenv("TEST_FOLDER"), (std::string(getenv("TEST_FOLDER")) + ".gone").c_str()));
    testing::internal::CaptureStderr();
    EXPECT_EQ(RESULT_NOT_SAVED, set_dev_ds_max_bw(kPhone, 70000));
    EXPECT_NE(std::string::npos, testing::internal::GetCapturedStderr().find("not written"));
    ASSERT_EQ(0, rename((std::string(getenv("TEST_FOLDER")) + ".gone").c_str(), getenv("TEST_FOLDER")));
    int64_t limit = 1;
    EXPECT_EQ(RESULT_OK, get_dev_ds_max_bw(kPhone, &limit));
    EXPECT_EQ(0, limit);
}

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (unshare(getuid() == 0 ? CLONE_NEWNET : CLONE_NEWUSER | CLONE_NEWNET) != 0) {
        perror("skipped: no network namespace");
        return 77;
    }
    TemporaryFolder folder;
    const std::string kept = folder.Path("kept"), state = kept + "/router.state", config = folder.Path("router.conf");
    if (mkdir(kept.c_str(), 0700) != 0) return 1;
    WriteFile(config, "[router]\nserial = SN1\nstate = " + state +
                          "\n[wifi]\nhostapd = /nonexistent/wlan0\n[lan]\nleases = /nonexistent\n");
    setenv("PLUG_ROUTER_CONF", config.c_str(), 1);
    setenv("TEST_FOLDER", kept.c_str(), 1);
    setenv("TEST_STATE", state.c_str(), 1);
    return RUN_ALL_TESTS();
}
