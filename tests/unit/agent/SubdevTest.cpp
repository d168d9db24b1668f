// The worker that scans the attached devices: what it asks, when, and what it reports.
#include "tests/unit/agent/SubdevTest.h"

#include <cstring>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

#include "core/Config.h"
#include "os/OsClock.h"
#include "os/OsWait.h"
#include "os/Paths.h"
#include "platform/Protool.h"

Bytes SubdevMac(unsigned number)
{
    return {0x02, 0xAA, 0, 0, static_cast<uint8_t>(number >> 8), static_cast<uint8_t>(number)};
}

static Bytes Address(unsigned number)
{
    return {192, 168, static_cast<uint8_t>(1 + number / 250), static_cast<uint8_t>(number % 250)};
}

static std::string Name(unsigned number)
{
    return "dev" + std::to_string(number);
}

DevCfg SubdevDevice(unsigned number)
{
    DevCfg device = {};
    const Bytes mac = SubdevMac(number);
    const Bytes ip = Address(number);
    const std::string name = Name(number);
    memcpy(device.mac, mac.data(), 6);
    memcpy(device.name, name.data(), name.size());
    memcpy(reinterpret_cast<uint8_t *>(&device) + 30, ip.data(), 4);
    device.access = 1;
    return device;
}

std::string ArpLine(unsigned number)
{
    const Bytes ip = Address(number);
    const Bytes mac = SubdevMac(number);
    char text[128];
    snprintf(text, sizeof text,
             "%d.%d.%d.%-8d 0x1         0x2         %02x:%02x:%02x:%02x:%02x:%02x     *        br0\n", ip[0], ip[1],
             ip[2], ip[3], mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
    return text;
}

Bytes SubdevBytes(unsigned number, const std::string &name, uint8_t up, uint8_t down, uint8_t online, uint8_t access)
{
    const Bytes ip = Address(number);
    Bytes field = Text(name);
    field.resize(16);
    return Bytes(ip.rbegin(), ip.rend()) + SubdevMac(number) + field + Bytes{up} + Bytes(7) + Bytes{down} + Bytes(7) +
           Bytes{online, 1, access};
}

Bytes OnlineBytes(unsigned number)
{
    return SubdevBytes(number, Name(number), 0, 0, 1);
}

Bytes OfflineBytes(unsigned number, const std::string &name)
{
    return SubdevBytes(number, name, 0, 0, 0);
}

void SubdevTest::SetUp()
{
    LinkedTest::SetUp();
    unlink(kPathSubdev);
}

void SubdevTest::TearDown()
{
    SubdevStop();
    nQuerySubdev = 0;
    std::filesystem::remove_all(kPathSubdev);
    LinkedTest::TearDown();
}

void SubdevTest::Start()
{
    ASSERT_EQ(0, StartSubdev());
    AwaitIdle();
}

void SubdevTest::Table(const std::string &lines)
{
    FakeScript script;
    script.output = lines;
    FakeCommand("cat /proc/net/arp", script);
}

void SubdevTest::AwaitIdle()
{
    ASSERT_TRUE(Within([] { return nQuerySubdev == 0; })); // a request before that would count as answered
    FakeClockAwaitWaiters(1);
    ASSERT_EQ(-1, FakeClockNextDeadlineMs());
}

void SubdevTest::AwaitPause(int64_t milliseconds)
{
    ASSERT_TRUE(Within([=] { return FakeClockNextDeadlineMs() == milliseconds; })) << FakeClockNextDeadlineMs();
}

void SubdevTest::Pass(int64_t milliseconds)
{
    ASSERT_NO_FATAL_FAILURE(AwaitPause(milliseconds));
    FakeClockAdvanceMs(milliseconds);
}

void SubdevTest::Scan(std::initializer_list<int64_t> pauses)
{
    RequestSubdev();
    for (auto pause = pauses.begin(); pause + 1 != pauses.end(); ++pause) ASSERT_NO_FATAL_FAILURE(Pass(*pause));
    AwaitPause(*(pauses.end() - 1));
}

void SubdevTest::ExpectReport(unsigned sequence, const Bytes &records)
{
    LinkedTest::ExpectReport(63, Le16(sequence) + Hex("3F 00 00 00") + Le16(records.size() / 45) + records);
}

// ---- What is reported ----

TEST_F(SubdevTest, OneDeviceIsReportedByteByByte)
{
    DevCfg device = {};
    const Bytes bytes = Hex("02 1A 2B 00 00 14  50 68 6F 6E 65 00 00 00 00 00 00 00 00 00 00 00"
                            "00 00  00 01 00 00  00 00  C0 A8 01 14"); // "Phone", internet refused, 192.168.1.20
    ASSERT_EQ(sizeof device, bytes.size());
    memcpy(&device, bytes.data(), sizeof device);
    gSdk.devices = {device};
    gSdk.numbers["get_dev_us_bw"] = 0x0102030405060708;
    gSdk.numbers["get_dev_ds_bw"] = 0x1112131415161718;
    Start();
    Scan();
    const Bytes record = Hex("14 01 A8 C0  02 1A 2B 00 00 14  50 68 6F 6E 65 00 00 00 00 00 00 00 00 00 00 00"
                             "08 07 06 05 04 03 02 01  18 17 16 15 14 13 12 11  01 01 00");
    ExpectReport(0, record);
    EXPECT_EQ(Calls({"get_devs_cfg", "get_dev_ds_bw(02:1A:2B:00:00:14)", "get_dev_us_bw(02:1A:2B:00:00:14)"}),
              gSdk.calls); // downstream first
    EXPECT_EQ(std::vector<std::string>{"cat /proc/net/arp | grep 192.168.1. | grep -v 00:00:00:00:00:00"},
              FakeCommands());
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("[DEBUG] [Subdev->StartSubdev->"));
    EXPECT_NE(std::string::npos, log.find("]-> Start Subdevice task.\n\n"));
    EXPECT_NE(std::string::npos, log.find("]-> InNetSeg=192.168.1.\n\n"));
}

TEST_F(SubdevTest, WithoutDevicesAndSegmentAnEmptyReportIsSentWithoutTheArpTable)
{
    Start();
    Scan({20, 4000});
    ExpectReport(0, {});
    EXPECT_TRUE(FakeCommands().empty());
}

TEST_F(SubdevTest, WithoutDevicesThePreviousSegmentIsUsed)
{
    gSdk.devices = {SubdevDevice(1)};
    Start();
    Scan();
    ExpectReport(0, OnlineBytes(1));
    Pass(4000);
    gSdk.devices.clear();
    Table(ArpLine(7));
    AwaitIdle();
    Scan();
    ExpectReport(1, OfflineBytes(7));
    EXPECT_EQ(FakeCommands().at(0), FakeCommands().at(1));
}

TEST_F(SubdevTest, AStartForgetsTheSegmentAndTheSequence)
{
    gSdk.devices = {SubdevDevice(1)};
    Start();
    Scan();
    ExpectReport(0, OnlineBytes(1));
    SubdevStop();
    gSdk.devices.clear();
    Start();
    Scan({20, 4000});
    ExpectReport(0, {});
}

TEST_F(SubdevTest, ADeviceWithoutANameIsCalledUnknownDevice)
{
    DevCfg device = SubdevDevice(1);
    memset(device.name, 0, sizeof device.name);
    gSdk.devices = {device};
    Start();
    Scan();
    ExpectReport(0, SubdevBytes(1, "unknown-device", 0, 0, 1));
}

TEST_F(SubdevTest, ANameIsReportedWhateverItsBytes)
{
    static const char kNames[][17] = {"0123456789ABCDEF", "\xFF\xFE%s\n\t\\\"'`$(x)", "\x01",
                                      "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98"};
    Bytes records;
    for (unsigned i = 0; i < std::size(kNames); i++) {
        DevCfg device = SubdevDevice(i + 1);
        memcpy(device.name, kNames[i], sizeof device.name);
        gSdk.devices.push_back(device);
        records = records + SubdevBytes(i + 1, kNames[i], 0, 0, 1);
    }
    Start();
    Scan();
    ExpectReport(0, records);
}

TEST_F(SubdevTest, TheSequenceCountsReportsInLittleEndian)
{
    gSdk.devices = {SubdevDevice(1)};
    Start();
    for (unsigned i = 0; i < 258; i++) {
        Scan();
        ExpectReport(i, OnlineBytes(1));
        ASSERT_FALSE(HasFailure()) << i;
        Pass(4000);
        AwaitIdle();
    }
}

TEST_F(SubdevTest, WhileNotLoggedInNothingIsSentButTheSequenceAdvances)
{
    gSdk.devices = {SubdevDevice(1)};
    Start();
    mLogin = 0;
    Scan();
    ExpectNothingSent();
    mLogin = 1;
    Pass(4000);
    AwaitIdle();
    Scan();
    ExpectReport(1, OnlineBytes(1));
}

TEST_F(SubdevTest, ADeviceWithoutFiguresHasWhatTheRouterAnswered)
{
    gSdk.devices = {SubdevDevice(1), SubdevDevice(2)};
    gSdk.numbers["get_dev_us_bw(02:AA:00:00:00:02)"] = 9;
    Start();
    Scan();
    ExpectReport(0, OnlineBytes(1) + SubdevBytes(2, "dev2", 9, 0, 1));
}

// ---- Devices of the ARP table ----

TEST_F(SubdevTest, ADeviceOnlyInTheArpTableIsReportedAsOfflineWithTheRoutersName)
{
    gSdk.devices = {SubdevDevice(1)};
    gSdk.texts["get_dev_name(02:AA:00:00:00:07)"] = "Printer in the hall";
    Table(ArpLine(7));
    Start();
    Scan();
    ExpectReport(0, OnlineBytes(1) + OfflineBytes(7, "Printer in the h"));
}

TEST_F(SubdevTest, ADeviceOfTheArpTableWhoseNameFailsOrIsEmptyIsCalledUnknownDevice)
{
    gSdk.devices = {SubdevDevice(1)};
    gSdk.careless = true;
    gSdk.texts["get_dev_name(02:AA:00:00:00:07)"] = "left behind";
    gSdk.results["get_dev_name(02:AA:00:00:00:07)"] = 1;
    Table(ArpLine(7) + ArpLine(8));
    Start();
    Scan();
    ExpectReport(0, OnlineBytes(1) + OfflineBytes(7) + OfflineBytes(8));
}

TEST_F(SubdevTest, ADeviceIsReportedOnceHoweverOftenTheTableHasIt)
{
    gSdk.devices = {SubdevDevice(1)};
    std::string upper = ArpLine(7);
    for (char &c : upper) c = static_cast<char>(toupper(c));
    upper.replace(upper.find("0X"), 2, "0x");
    Table(ArpLine(1) + ArpLine(7) + upper + ArpLine(1) + ArpLine(8));
    Start();
    Scan();
    ExpectReport(0, OnlineBytes(1) + OfflineBytes(7) + OfflineBytes(8));
}

TEST_F(SubdevTest, InvalidLinesAddNothing)
{
    gSdk.devices = {SubdevDevice(1)};
    Table("\n \nIP address HW type Flags HW address\n192.168.1.9 0x1 0x2\n192.168.1.9 0x1 0x2 02:aa:00:00:00:0\n"
          "nobody 0x1 0x2 02:aa:00:00:00:09 * br0\n192.168.1.9 0x1 0x2 02:aa:00:00:00:zz * br0\n" +
          std::string(5000, 'x') + "\n" + ArpLine(7));
    Start();
    Scan();
    ExpectReport(0, OnlineBytes(1) + OfflineBytes(7));
}

TEST_F(SubdevTest, With127DevicesThereIsRoomForOneOfTheArpTable)
{
    Bytes records;
    for (unsigned i = 1; i <= 127; i++) {
        gSdk.devices.push_back(SubdevDevice(i));
        records = records + OnlineBytes(i);
    }
    Table(ArpLine(5) + ArpLine(201) + ArpLine(202));
    Start();
    Scan({20, 20, 20, 20, 3000});
    ExpectReport(0, records + OfflineBytes(201));
    EXPECT_EQ(1 + 2 * 127u + 1, gSdk.calls.size()); // no name is asked for the second one
}

TEST_F(SubdevTest, With128DevicesThereIsNoRoomForTheArpTable)
{
    Bytes records;
    for (unsigned i = 1; i <= 128; i++) {
        gSdk.devices.push_back(SubdevDevice(i));
        records = records + OnlineBytes(i);
    }
    Table(ArpLine(201));
    Start();
    Scan({20, 20, 20, 20, 3000});
    ExpectReport(0, records);
}

TEST_F(SubdevTest, AnArpTableOfAThousandFillsTheReport)
{
    gSdk.devices = {SubdevDevice(1)};
    std::string table;
    Bytes records = OnlineBytes(1);
    for (unsigned i = 2; i <= 1000; i++) {
        table += ArpLine(i);
        if (i <= 128) records = records + OfflineBytes(i);
    }
    Table(table);
    Start();
    Scan({20, 20, 20, 20, 3000});
    ExpectReport(0, records);
}

TEST_F(SubdevTest, WithoutTheFileTheRoutersOwnDevicesAreReported)
{
    gSdk.devices = {SubdevDevice(1)};
    ASSERT_EQ(0, mkdir(kPathSubdev, 0755));
    Start();
    Scan({20, 20, 20, 4000});
    ExpectReport(0, OnlineBytes(1));
    EXPECT_TRUE(FakeCommands().empty());
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("[ERR] [Subdev->GetOffLineInfo->"));
    EXPECT_NE(std::string::npos, log.find("]-> Unable to open file " + std::string(kPathSubdev) + ".\n\n"));
}

TEST_F(SubdevTest, ACommandThatCannotBeStartedLeavesNothingOfThePreviousTable)
{
    gSdk.devices = {SubdevDevice(1)};
    WriteFile(kPathSubdev, ArpLine(7));
    FakeScript script;
    script.cannotStart = true;
    FakeCommand("cat /proc/net/arp", script);
    Start();
    Scan();
    ExpectReport(0, OnlineBytes(1));
}

TEST_F(SubdevTest, ALinkAtThePathIsNotFollowed)
{
    const std::string precious = FakeFolder() + "/precious";
    WriteFile(precious, "precious");
    ASSERT_EQ(0, symlink(precious.c_str(), kPathSubdev));
    gSdk.devices = {SubdevDevice(1)};
    Table(ArpLine(7));
    Start();
    Scan();
    ExpectReport(0, OnlineBytes(1) + OfflineBytes(7));
    EXPECT_EQ("precious", ReadFile(precious));
    unlink(precious.c_str());
}

TEST_F(SubdevTest, AFileThatReplacesOursDuringTheScanIsNeitherReadNorWritten)
{
    const std::string precious = FakeFolder() + "/precious";
    WriteFile(precious, ArpLine(8));
    gSdk.devices = {SubdevDevice(1)};
    FakeScript script;
    script.run = [&] {
        unlink(kPathSubdev);
        EXPECT_EQ(0, symlink(precious.c_str(), kPathSubdev));
    };
    script.output = ArpLine(7);
    FakeCommand("cat /proc/net/arp", script);
    Start();
    Scan();
    ExpectReport(0, OnlineBytes(1) + OfflineBytes(7));
    EXPECT_EQ(ArpLine(8), ReadFile(precious));
    unlink(precious.c_str());
}

TEST_F(SubdevTest, TheFileRemainsAfterTheScan)
{
    gSdk.devices = {SubdevDevice(1)};
    Table(ArpLine(7));
    Start();
    Scan();
    EXPECT_EQ(ArpLine(7), ReadFile(kPathSubdev));
}
