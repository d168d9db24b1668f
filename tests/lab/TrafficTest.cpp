// What the router says about traffic, against what was sent: rates of devices and of the whole, counters of ports and WAN.
#include <gtest/gtest.h>

#include "tests/lab/Flow.h"

namespace
{
constexpr double kShare = 0.02;
constexpr double kDatagram = 1000; // payload
constexpr double kIpHeaders4 = 28; // IPv4 and UDP
constexpr double kIpHeaders6 = 48; // IPv6 and UDP
constexpr double kEthernet = 14;   // what the kernel counts of a frame

class Traffic : public testing::Test
{
  protected:
    void SetUp() override
    {
        lab_.Join(1, "laptop");
        lab_.Join(2, "printer");
        session_ = std::make_unique<LabSession>(lab_);
        for (const char *mac : {kMac1, kMac2}) ASSERT_GE(session_->AwaitDevice(mac, true, 10), 0);
    }
    // A device's rates, averaged over the `looks` next samples of the router.
    std::pair<double, double> DeviceRates(const std::string &mac, int looks)
    {
        double up = 0, down = 0, last = -1;
        int seen = 0;
        for (const double limit = Now() + 40; seen < looks;) {
            if (Now() > limit) throw Failure("the rates do not change");
            const Event reply = session_->AskWell("device-bandwidth " + mac);
            const double rate = reply.Number("fields.up") * 1e6 + reply.Number("fields.down");
            if (rate == last) continue; // the same sample still; two are never alike to the byte
            if (last >= 0) {            // the first may be of the time before
                up += reply.Number("fields.up");
                down += reply.Number("fields.down");
                seen++;
            }
            last = rate;
        }
        return {up / looks, down / looks};
    }
    double PortCounter(int port, const std::string &name)
    {
        return session_->AskWell("lan-traffic").Number("fields.ports." + std::to_string(port) + "." + name);
    }

    Lab lab_;
    std::unique_ptr<LabSession> session_;
};

FlowOptions Datagrams(int family, const char *up, const char *down)
{
    FlowOptions flow;
    flow.protocol = "udp";
    flow.address = family == 4 ? kInternet4 : kInternet6;
    flow.up = up;
    flow.down = down;
    return flow;
}

TEST_F(Traffic, ADevicesRatesAgreeWithWhatWasSentAsIpPackets)
{
    for (const int family : {4, 6}) {
        SCOPED_TRACE("IPv" + std::to_string(family));
        Flow flow(Datagrams(family, "100000", "400000"));
        const double headers = family == 4 ? kIpHeaders4 : kIpHeaders6;
        DeviceRates(kMac1, 1); // somebody asks: it measures more often from now on
        const Sample begin = flow.Fresh();
        const auto rates = DeviceRates(kMac1, 4);
        const Sample end = flow.Fresh();
        ASSERT_EQ(0, end.upMissing + end.downMissing);
        const double seconds = end.time - begin.time, share = (kDatagram + headers) / kDatagram;
        const double up = (end.up - begin.up) / seconds * share, down = (end.down - begin.down) / seconds * share;
        printf("up %.0f, sent %.0f (%+.2f %%); down %.0f, sent %.0f (%+.2f %%)\n", rates.first, up,
               (rates.first / up - 1) * 100, rates.second, down, (rates.second / down - 1) * 100);
        EXPECT_NEAR(up, rates.first, up * kShare);
        EXPECT_NEAR(down, rates.second, down * kShare);
    }
    // The whole router's, of two devices at once.
    FlowOptions second = Datagrams(4, "50000", "100000");
    second.from = "client2";
    second.port = 5001;
    Flow one(Datagrams(4, "100000", "400000")), two(second);
    DeviceRates(kMac1, 3);
    const Event total = session_->AskWell("traffic-rates");
    const double share = (kDatagram + kIpHeaders4) / kDatagram;
    EXPECT_NEAR(150000 * share, total.Number("fields.up"), 150000 * share * kShare);
    EXPECT_NEAR(500000 * share, total.Number("fields.down"), 500000 * share * kShare);
}

TEST_F(Traffic, TrafficWithinTheHouseholdIsNoTrafficOfTheInternet)
{
    FlowOptions home = Datagrams(4, "200000", "200000");
    home.to = "client2";
    home.address = lab_.AddressOf(2, 4);
    Flow flow(home);
    for (const double end = Now() + 5; Now() < end;) {
        const Event reply = session_->AskWell(std::string("device-bandwidth ") + kMac1);
        EXPECT_LT(reply.Number("fields.up"), 2000);
        EXPECT_LT(reply.Number("fields.down"), 2000);
        flow.Fresh();
    }
}

TEST_F(Traffic, PortAndWanCountersAgreeWithTheFramesOfWhatWasSent)
{
    const double upBefore = PortCounter(0, "up"), downBefore = PortCounter(0, "down");
    const double wanBefore = session_->AskWell("wan-received 0").Number("fields.received");
    FlowOptions options = Datagrams(4, "500000", "1000000");
    options.seconds = 4;
    Flow flow(options);
    ASSERT_GE(flow.AwaitSilence(DOWN, 0.5, 10), 0);
    const Sample end = flow.Fresh();
    ASSERT_EQ(0, end.upMissing + end.downMissing);
    const double share = (kDatagram + kIpHeaders4 + kEthernet) / kDatagram;
    const double up = end.up * share, down = end.down * share;
    const double upCounted = PortCounter(0, "up") - upBefore, downCounted = PortCounter(0, "down") - downBefore;
    const double wanCounted = session_->AskWell("wan-received 0").Number("fields.received") - wanBefore;
    printf("port up %+.2f %%, down %+.2f %%, WAN %+.2f %%\n", (upCounted / up - 1) * 100,
           (downCounted / down - 1) * 100, (wanCounted / down - 1) * 100);
    EXPECT_NEAR(up, upCounted, up * kShare);
    EXPECT_NEAR(down, downCounted, down * kShare);
    EXPECT_NEAR(down, wanCounted, down * kShare);
}
} // namespace
