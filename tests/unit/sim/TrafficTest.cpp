#include "tests/unit/sim/SimTest.h"

#include <cstring>

class MovingFigures : public SimTest
{
  protected:
    static uint64_t WanReceived()
    {
        uint64_t bytes = 0;
        EXPECT_EQ(0, get_wan_receive_bytes(0, &bytes));
        return bytes;
    }
    static uint64_t Port(uint16_t port, bool up)
    {
        uint64_t bytes = 0;
        EXPECT_EQ(0, (up ? get_lan_port_up_flow : get_lan_port_down_flow)(port, &bytes));
        return bytes;
    }
    static uint64_t Uptime()
    {
        uint64_t seconds = 0;
        EXPECT_EQ(0, get_duration_time(&seconds));
        return seconds;
    }
    static uint32_t Tcp()
    {
        uint32_t count = 0;
        EXPECT_EQ(0, get_wan_tcp_con_num(0, &count));
        return count;
    }
    static uint32_t Udp()
    {
        uint32_t count = 0;
        EXPECT_EQ(0, get_wan_udp_con_num(0, &count));
        return count;
    }
    static void SetAccess(const Mac &mac, uint8_t access)
    {
        DevCfg device = {};
        EXPECT_EQ(0, get_dev_cfg(&device, mac.data()));
        device.access = access;
        EXPECT_EQ(0, set_dev_access_control(device));
    }
    static size_t AtHome() { return Devices().size(); }
};

TEST_F(MovingFigures, CountersGrowByTheRateTimesTheTime)
{
    uint64_t rate = get_dev_ds_bw(OFFICE_PC.data());
    EXPECT_GT(rate, 45000u - 1); // a tenth of the typical 450000
    EXPECT_LT(rate, 900000u);
    EXPECT_EQ(0u, Port(0, false));
    TestClockAdvanceMs(1500); // the rate holds for four seconds
    EXPECT_EQ(rate * 3 / 2, Port(0, false));
}

TEST_F(MovingFigures, TwoReadsAtOneTimeAreEqual)
{
    TestClockAdvanceMs(123456);
    EXPECT_EQ(WanReceived(), WanReceived());
    EXPECT_EQ(get_dev_us_bw(PHONE.data()), get_dev_us_bw(PHONE.data()));
    EXPECT_EQ(Tcp(), Tcp());
}

TEST_F(MovingFigures, CountersDoNotDependOnHowOftenTheyAreRead)
{
    for (int i = 0; i < 1000; i++) {
        TestClockAdvanceMs(777);
        WanReceived();
    }
    uint64_t oftenRead = WanReceived(), oftenPort = Port(2, true);
    Start();
    TestClockAdvanceMs(777000);
    EXPECT_EQ(oftenRead, WanReceived());
    EXPECT_EQ(oftenPort, Port(2, true));
}

TEST_F(MovingFigures, CountersNeverRunBack)
{
    uint64_t before = WanReceived();
    for (int i = 0; i < 200; i++) {
        TestClockAdvanceMs(i * 37 % 9000 + 1);
        uint64_t now = WanReceived();
        EXPECT_GT(now, before);
        before = now;
    }
}

TEST_F(MovingFigures, RatesVary)
{
    uint64_t first = get_dev_ds_bw(OFFICE_PC.data()), different = 0;
    for (int i = 0; i < 20; i++) {
        TestClockAdvanceMs(4000);
        different += get_dev_ds_bw(OFFICE_PC.data()) != first;
    }
    EXPECT_GE(different, 15u);
}

TEST_F(MovingFigures, TheWanReceivesWhatAllDevicesReceive)
{
    uint64_t all = 0, down = 0, up = 0, upAll = 0;
    for (const DevCfg &device : Devices()) {
        all += get_dev_ds_bw(device.mac);
        upAll += get_dev_us_bw(device.mac);
    }
    EXPECT_EQ(0, get_flows_down_rate(&down));
    EXPECT_EQ(0, get_flows_up_rate(&up));
    EXPECT_EQ(all, down);
    EXPECT_EQ(upAll, up);
    TestClockAdvanceMs(2000);
    EXPECT_EQ(all * 2, WanReceived());
}

TEST_F(MovingFigures, ARefusedDeviceHasNoTrafficUntilItIsAllowedAgain)
{
    TestClockAdvanceMs(10000);
    SetAccess(OFFICE_PC, 0);
    uint64_t before = Port(0, false);
    TestClockAdvanceMs(10000);
    EXPECT_EQ(0u, get_dev_ds_bw(OFFICE_PC.data()));
    EXPECT_EQ(0u, get_dev_us_bw(OFFICE_PC.data()));
    EXPECT_EQ(before, Port(0, false));
    SetAccess(OFFICE_PC, 1);
    EXPECT_EQ(before, Port(0, false)); // nothing is made up for
    TestClockAdvanceMs(1000);
    EXPECT_GT(Port(0, false), before);
}

TEST_F(MovingFigures, LimitsCapTheRateFromTheMomentTheyAreSet)
{
    EXPECT_EQ(0, set_dev_ds_max_bw(TELEVISION.data(), 1000));
    EXPECT_EQ(0, set_dev_us_max_bw(TELEVISION.data(), 10));
    EXPECT_EQ(1000u, get_dev_ds_bw(TELEVISION.data()));
    EXPECT_EQ(10u, get_dev_us_bw(TELEVISION.data()));
    TestClockAdvanceMs(100000);
    EXPECT_EQ(100000u, Port(1, false));
    EXPECT_EQ(1000u, Port(1, true));
    EXPECT_EQ(0, set_dev_ds_max_bw(TELEVISION.data(), 0));
    EXPECT_GT(get_dev_ds_bw(TELEVISION.data()), 1000u);
}

TEST_F(MovingFigures, NoDeviceIsFasterThanItsLink)
{
    StartWith(R"({"devices": [{"mac": "02:00:00:00:00:01", "speed": 10, "typical_down": 4000000000}]})");
    const uint8_t mac[6] = {2, 0, 0, 0, 0, 1};
    EXPECT_EQ(1250000u, get_dev_ds_bw(mac));
}

TEST_F(MovingFigures, WithoutTheRadiosTheWifiDevicesAreAway)
{
    EXPECT_EQ(0, set_wifi_radio_switch(0));
    EXPECT_EQ(3u, AtHome());
    EXPECT_EQ(0u, get_dev_ds_bw(PHONE.data()));
    DevCfg device;
    EXPECT_EQ(0, get_dev_cfg(&device, PHONE.data())); // known all the same
    EXPECT_EQ(0, set_wifi_radio_switch(1));
    EXPECT_EQ(12u, AtHome());
}

TEST_F(MovingFigures, WithoutAConnectedWanThereIsNoTraffic)
{
    StartWith(R"({"wans": [{"connected": false}]})");
    TestClockAdvanceMs(60000);
    EXPECT_EQ(0u, get_dev_ds_bw(OFFICE_PC.data()));
    EXPECT_EQ(0u, WanReceived());
    EXPECT_EQ(0u, Tcp());
}

TEST_F(MovingFigures, OfTwoWansTheFirstConnectedOneCarriesEverything)
{
    StartWith(R"({"wans": [{"connected": false}, {"connected": true}]})");
    TestClockAdvanceMs(60000);
    uint64_t bytes = 0;
    EXPECT_EQ(0u, WanReceived());
    EXPECT_EQ(0, get_wan_receive_bytes(1, &bytes));
    EXPECT_GT(bytes, 0u);
    uint8_t status[16];
    EXPECT_EQ(0, get_wan_con_status(status));
    EXPECT_EQ(0, status[0]);
    EXPECT_EQ(1, status[1]);
}

TEST_F(MovingFigures, UptimeRunsFromWhatTheStateFileSays)
{
    StartWith(R"({"router": {"uptime": 86400}})");
    EXPECT_EQ(86400u, Uptime());
    TestClockAdvanceMs(61999);
    EXPECT_EQ(86461u, Uptime());
}

TEST_F(MovingFigures, RestartBeginsUptimeConnectionsAndCountersAgain)
{
    TestClockAdvanceMs(600000);
    EXPECT_GT(Tcp(), 0u);
    EXPECT_GT(Udp(), 0u);
    EXPECT_EQ(0, restart());
    EXPECT_EQ(0u, Uptime());
    EXPECT_EQ(0u, Tcp());
    EXPECT_EQ(0u, Udp());
    EXPECT_EQ(0u, WanReceived());
    TestClockAdvanceMs(30000);
    uint32_t half = Tcp();
    EXPECT_GT(half, 0u);
    EXPECT_EQ(30u, Uptime());
    EXPECT_GT(WanReceived(), 0u);
}

TEST_F(MovingFigures, ConnectionCountsVaryOnceTheyHaveBuiltUp)
{
    StartWith(R"({"router": {"uptime": 60}})");
    uint32_t first = Tcp(), different = 0;
    EXPECT_GE(first, 12u * 4);
    EXPECT_LT(first, 12u * 28);
    for (int i = 0; i < 10; i++) {
        TestClockAdvanceMs(4000);
        different += Tcp() != first;
    }
    EXPECT_GE(different, 5u);
}

TEST_F(MovingFigures, AClockThatRunsBackChangesNothing)
{
    TestClockAdvanceMs(10000);
    uint64_t before = WanReceived();
    TestClockAdvanceMs(-5000);
    EXPECT_EQ(before, WanReceived());
    EXPECT_EQ(10u, Uptime());
}

TEST_F(MovingFigures, AClockThatJumpsYearsIsCaughtUpWithAtOnce)
{
    StartWith(R"({"timetable": [{"at": 1, "every": 1, "leave": "02:1a:2b:00:00:11"}]})");
    TestClockAdvanceMs(int64_t(2) * 365 * 86400 * 1000);
    EXPECT_GT(WanReceived(), 0u);
    EXPECT_EQ(63072000u, Uptime());
}

// ----------------------------------------------------------------------------------------------------------- timetable

TEST_F(MovingFigures, DevicesComeAndGoByTheTimetable)
{
    StartWith(R"({"devices": [], "timetable": [
        {"at": 30, "join": {"mac": "02:00:00:00:00:01", "name": "guest", "ip": "192.168.1.50", "link": "wifi_5g"}},
        {"at": 60.5, "leave": "02:00:00:00:00:01"}]})");
    EXPECT_EQ(0u, AtHome());
    TestClockAdvanceMs(29999);
    EXPECT_EQ(0u, AtHome());
    TestClockAdvanceMs(1);
    std::vector<DevCfg> devices = Devices();
    ASSERT_EQ(1u, devices.size());
    EXPECT_STREQ("guest", devices[0].name);
    EXPECT_EQ(0x3201A8C0u, devices[0].ip); // 192.168.1.50
    EXPECT_EQ(ROUTER_LINK_WIFI_5G, devices[0].link);
    TestClockAdvanceMs(30499);
    EXPECT_EQ(1u, AtHome());
    TestClockAdvanceMs(1);
    EXPECT_EQ(0u, AtHome());
    EXPECT_EQ("", Complaints());
}

TEST_F(MovingFigures, TimetableEntriesRepeat)
{
    StartWith(R"({"timetable": [{"at": 10, "every": 20, "leave": "02:1a:2b:00:00:11"},
                                {"at": 20, "every": 20, "join": {"mac": "02:1a:2b:00:00:11"}}]})");
    for (int round = 0; round < 3; round++) {
        EXPECT_EQ(12u, AtHome());
        TestClockAdvanceMs(10000);
        EXPECT_EQ(11u, AtHome());
        TestClockAdvanceMs(10000);
    }
    TestClockAdvanceMs(30000);
    EXPECT_EQ(11u, AtHome());
}

TEST_F(MovingFigures, ADeviceCountsOnlyWhileItIsThere)
{
    StartWith(R"({"timetable": [{"at": 2, "leave": "02:1a:2b:00:00:11"}]})");
    uint64_t rate = get_dev_ds_bw(OFFICE_PC.data());
    TestClockAdvanceMs(3600000); // both times lie in one step of the clock
    EXPECT_EQ(rate * 2, Port(0, false));
}

TEST_F(MovingFigures, ADeviceThatComesBackHasKeptItsSettings)
{
    StartWith(R"({"timetable": [{"at": 1, "leave": "02:1a:2b:00:00:11"},
                                {"at": 2, "join": {"mac": "02:1a:2b:00:00:11", "name": "other"}}]})");
    TestClockAdvanceMs(1000);
    EXPECT_EQ(11u, AtHome());
    EXPECT_EQ(0, set_dev_name(OFFICE_PC.data(), "renamed while away"));
    TestClockAdvanceMs(1000);
    char name[64];
    EXPECT_EQ(0, get_dev_name(OFFICE_PC.data(), name));
    EXPECT_STREQ("renamed while away", name);
    EXPECT_EQ(12u, AtHome());
}

TEST_F(MovingFigures, BadTimetableEntriesAreReportedAndLeftOut)
{
    StartWith(R"({"timetable": [5, {"at": 1}, {"at": "1", "leave": "02:1a:2b:00:00:11"},
        {"at": -1, "leave": "02:1a:2b:00:00:11"}, {"at": 1, "every": 0.5, "leave": "02:1a:2b:00:00:11"},
        {"at": 1, "leave": "02:ff:ff:ff:ff:ff"}, {"at": 1, "leave": 7}, {"at": 1, "join": {}},
        {"at": 1, "join": {"mac": "02:1a:2b:00:00:11"}, "leave": "02:1a:2b:00:00:11"},
        {"at": 1, "leave": "02:1a:2b:00:00:12"}]})");
    std::string complaints = Complaints();
    for (int i = 0; i < 9; i++)
        EXPECT_NE(std::string::npos, complaints.find("\"timetable[" + std::to_string(i) + "]\"")) << i;
    EXPECT_EQ(std::string::npos, complaints.find("\"timetable[9]\""));
    TestClockAdvanceMs(2000);
    EXPECT_EQ(11u, AtHome());
}
