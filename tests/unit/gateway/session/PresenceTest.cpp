// What gateways know of the routers online at each other.
#include <gtest/gtest.h>

#include "gateway/session/Presence.h"
#include "tests/support/NatsServer.h"
#include "tests/unit/gateway/bus/Context.h"

using namespace gateway;

namespace
{
struct PresenceTest : testing::Test {
    NatsServer server;
    Bus bus{Options()};
    Context context;
    Stored stored{bus, {}};
    Presence presence{"here", stored, context.io, [](const Here &) {}};

    BusOptions Options()
    {
        BusOptions options;
        options.servers = {server.Url()};
        return options;
    }
    void Online(const std::string &serial) { presence.Online(serial, {nullptr, 7}, {"here", "", "", "", 0, 0, {}}); }
    void OnlineThere(const std::string &serial) { presence.Take({serial, R"({"gateway":"there"})", 1}); }
    std::string LastReport(const std::string &serial)
    {
        const auto [report, time] = presence.LastReport(serial);
        return report + " " + std::to_string(time);
    }
};

TEST_F(PresenceTest, TheLastReportsHereAreTakenPageByPage)
{
    for (const std::string serial : {"R3", "R1", "R4", "R2"}) {
        Online(serial);
        if (serial != "R2") presence.Reported(serial, "device-list", serial[1]);
    }
    presence.Reported("R1", "rate-result", 100);
    presence.Reported("R9", "device-list", 100); // not here
    EXPECT_EQ(R"({"R1":["rate-result",100],"R3":["device-list",51]})", JsonText(presence.LastReports("", 2)));
    EXPECT_EQ(R"({"R4":["device-list",52]})", JsonText(presence.LastReports("R3", 2)));
    EXPECT_EQ("{}", JsonText(presence.LastReports("R4", 2)));
    presence.Offline("R1", 7);
    EXPECT_EQ(R"({"R3":["device-list",51]})", JsonText(presence.LastReports("", 1)));
}

TEST_F(PresenceTest, TheLastReportOfARouterElsewhereIsWhatItsGatewaySays)
{
    OnlineThere("R1");
    EXPECT_EQ(" 0", LastReport("R1"));
    presence.Learn("there", {{"R1", {"device-list", 100}}, {"R2", {"device-list", 100}}});
    EXPECT_EQ("device-list 100", LastReport("R1"));
    EXPECT_EQ(" 0", LastReport("R2")); // not online
    presence.Learn("another", {{"R1", {"rate-result", 200}}});
    EXPECT_EQ("device-list 100", LastReport("R1"));
    Online("R1"); // it has moved
    EXPECT_EQ(" 0", LastReport("R1"));
}

TEST_F(PresenceTest, NonsenseOfAnotherGatewayIsNoReport)
{
    OnlineThere("R1");
    for (const char *text : {"1", "[]", "[1,2]", "[\"a\"]", "{\"a\":1}", "[\"a\",\"b\"]", "null"})
        presence.Learn("there", {{"R1", Json::parse(text)}});
    EXPECT_EQ(" 0", LastReport("R1"));
}
} // namespace
