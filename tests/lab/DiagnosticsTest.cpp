// Port forwardings and diagnostics through a real router.
#include <gtest/gtest.h>

#include "tests/lab/Flow.h"

namespace
{
FlowOptions Inward(const Lab &)
{
    FlowOptions flow;
    flow.from = "internet";
    flow.to = "client1";
    flow.address = kRouterWan4;
    flow.port = 8080;
    flow.listenPort = 80;
    flow.up = flow.down = "100000";
    return flow;
}

TEST(PortForward, ReachesAClientsServerAndNoLongerAfterItsRemoval)
{
    Lab lab;
    lab.Join(1, "server");
    LabSession session(lab);
    const std::string forwarding = std::string(kRouterWan4) + " 8080 " + lab.AddressOf(1, 4) + " 80";
    EXPECT_FALSE(Connects(Inward(lab)));

    session.Platform().Command("forward add " + forwarding);
    EXPECT_EQ("0", session.Platform().Wait("ack", {{"datatype", "9"}}).Text("json.result"));
    {
        Flow flow(Inward(lab));
        EXPECT_GE(flow.AwaitArrival(UP, 5), 0);
        EXPECT_GE(flow.AwaitArrival(DOWN, 5), 0);
    }
    session.Platform().Command("forward del " + forwarding);
    EXPECT_EQ("0", session.Platform().Wait("ack", {{"datatype", "9"}}).Text("json.result"));
    EXPECT_FALSE(Connects(Inward(lab)));
}

class Diagnostics : public testing::Test
{
  protected:
    // The text of a diagnostic when it is over; 1 means that it still runs.
    std::string Result(const std::string &command)
    {
        for (const double limit = Now() + 60; Now() < limit;) {
            const Event reply = session_.Ask(command);
            if (reply.Text("status") == "0") return reply.Text("fields.text");
        }
        throw Failure(command + " does not end");
    }
    Lab lab_;
    LabSession session_{lab_};
};

TEST_F(Diagnostics, APingReachesAHostBeyondTheProvider)
{
    session_.AskWell(std::string("ping ") + kInternet4 + " 56 3");
    const std::string text = Result("ping-result");
    EXPECT_TRUE(Contains(text, "3 packets transmitted, 3 received")) << text;
}

TEST_F(Diagnostics, ATracerouteShowsTheProviderThenTheHost)
{
    session_.AskWell(std::string("traceroute ") + kInternet4);
    usleep(1500000); // asking for the result would end one that still runs
    const std::string text = session_.Ask("traceroute-result").Text("fields.text");
    const size_t provider = text.find(kProvider4), host = text.rfind(kInternet4);
    EXPECT_NE(std::string::npos, provider) << text;
    EXPECT_NE(std::string::npos, host) << text;
    EXPECT_LT(provider, host) << text;
}

TEST_F(Diagnostics, ARateTestDownloadsOverTheWanAndReportsWhatAWatchSays)
{
    const double received = session_.AskWell("wan-received 0").Number("fields.received");
    session_.Platform().Command("rate-test");
    session_.Platform().Wait("reply", {{"function", "61"}, {"status", "0"}});
    const Event done = session_.Platform().Wait("http-done", {}, 60);
    EXPECT_EQ("complete", done.Text("end"));
    const Event rate = session_.Platform().Wait("reply", {{"function", "62"}}, 60);
    EXPECT_GT(rate.Number("fields.rate"), 0);
    EXPECT_LE(rate.Number("fields.rate"), done.Number("bytes") + 1); // whole seconds, at least one
    const double after = session_.AskWell("wan-received 0").Number("fields.received");
    EXPECT_GE(after - received, done.Number("bytes")) << "it came over the WAN";
}
} // namespace
