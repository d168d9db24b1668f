// The device table of a real router: who is there, by name, link and address, and for how long.
#include <gtest/gtest.h>

#include "tests/lab/Lab.h"

namespace
{
constexpr double kComesWithin = 10; // seconds after the cable is in
constexpr double kGoesWithin = 90;  // seconds after it is out

// Waits until a device is there with its name and address.
double AwaitWhole(LabSession *session, const std::string &mac, const std::string &name, double begin)
{
    for (;;) {
        const auto devices = session->Devices();
        const auto found = devices.find(mac);
        if (found != devices.end() && found->second.name == name && found->second.ip != "0.0.0.0") break;
        if (Now() - begin > kComesWithin) throw Failure(mac + " is not there, or without its name " + name);
    }
    return Now() - begin;
}

TEST(DeviceTable, AClientIsThereByNameLinkPortAndAddressWithinTenSecondsOfPluggingIn)
{
    Lab lab;
    LabSession session(lab);
    EXPECT_EQ(0u, session.Devices().size()); // neither the router itself nor the switch is a device

    double begin = Now();
    lab.Join(1, "laptop");
    EXPECT_LE(AwaitWhole(&session, kMac1, "laptop", begin), kComesWithin);
    begin = Now();
    lab.Join(3, "television");
    EXPECT_LE(AwaitWhole(&session, kMac3, "television", begin), kComesWithin);

    const auto devices = session.Devices();
    ASSERT_EQ(2u, devices.size());
    for (const auto &device : devices) {
        const int client = device.first == kMac1 ? 1 : 3;
        EXPECT_EQ("wired", device.second.link);
        EXPECT_EQ("allowed", device.second.access);
        EXPECT_EQ(lab.AddressOf(client, 4), device.second.ip);
        EXPECT_EQ(client - 1, device.second.port);
    }
    // The ports' carrier, too.
    const Event status = session.AskWell("link-status");
    EXPECT_EQ("up", status.Text("fields.lan.0")) << status.Line();
    EXPECT_EQ("down", status.Text("fields.lan.1"));
    EXPECT_EQ("up", status.Text("fields.lan.2"));
    EXPECT_EQ("up", status.Text("fields.wan.0"));
}

TEST(DeviceTable, AClientIsForgottenWithinNinetySecondsOfUnpluggingEvenBehindASwitchAndComesBack)
{
    Lab lab;
    lab.Join(1, "laptop");
    lab.Join(2, "printer");
    lab.Join(3, "television");
    LabSession session(lab); // it finds all of them there
    for (const char *mac : {kMac1, kMac2, kMac3}) EXPECT_GE(session.AwaitDevice(mac, true, kComesWithin), 0) << mac;

    lab.Leave(1); // its port loses carrier
    lab.Leave(3); // the switch's does not
    const double one = session.AwaitDevice(kMac1, false, kGoesWithin);
    const double three = session.AwaitDevice(kMac3, false, kGoesWithin);
    EXPECT_GE(one, 0);
    EXPECT_LE(one, kComesWithin); // no carrier: nobody to wait for
    EXPECT_GE(three, 0);
    printf("forgotten after %.1f s, and %.1f s behind the switch\n", one, three);
    // The printer has sent nothing by itself meanwhile; it is there as long as it answers.
    EXPECT_EQ(1u, session.Devices().count(kMac2));

    const double begin = Now();
    lab.Join(3, "television");
    EXPECT_LE(AwaitWhole(&session, kMac3, "television", begin), kComesWithin);
}

TEST(DeviceTable, AClientThatMovesToAnotherPortIsThereOnceAtItsNewPort)
{
    Lab lab;
    lab.Join(1, "laptop");
    LabSession session(lab);
    EXPECT_GE(session.AwaitDevice(kMac1, true, kComesWithin), 0);
    // The cable goes to another socket of the router: the same client at another bridge port.
    lab.Shell("router",
              "ip link set lan1 nomaster down; ip link set lan2 nomaster;"
              "ip link set lan1 name old; ip link set lan2 name spare; ip link set old name lan2 master br-lan up");
    const double begin = Now();
    lab.Shell("client1", "ping -c1 -W2 192.168.50.1");
    for (;;) {
        const auto devices = session.Devices();
        if (devices.count(kMac1) && devices.at(kMac1).port == 0 && devices.size() == 1) break;
        ASSERT_LE(Now() - begin, kComesWithin);
    }
}

TEST(DeviceTable, ANameThatThePlatformHasSetGoesBeforeTheOwnOneAndSurvivesARestart)
{
    Lab lab;
    lab.Join(1, "laptop");
    LabSession session(lab);
    AwaitWhole(&session, kMac1, "laptop", Now());
    session.AskWell(std::string("set-device-name ") + kMac1 + " Anna & Bob; $(id)");
    EXPECT_EQ("Anna & Bob; $(id", session.Devices()[kMac1].name); // 16 bytes of it
    session.RestartAgent(9);
    EXPECT_GE(session.AwaitDevice(kMac1, true, kComesWithin), 0);
    EXPECT_EQ("Anna & Bob; $(id)", session.AskWell(std::string("device-name ") + kMac1).Text("fields.name"));
}
} // namespace
