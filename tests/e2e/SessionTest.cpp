// A session in which nothing goes wrong, and the commands it answers.
#include "tests/e2e/EndToEnd.h"

namespace
{
class Session : public EndToEnd
{
};
class Commands : public EndToEnd
{
};

TEST_F(Session, RegistersWithPinSerialAndMacThenLogsInWithTheTokenItWasGiven)
{
    Platform platform;
    Agent agent;
    const Event registration = platform.Wait("register", {{"checksum_ok", "true"}});
    EXPECT_EQ("123456789012", registration.Text("head.pin"));
    EXPECT_EQ("SIM0000000001", registration.Text("fields.serial"));
    EXPECT_EQ("02:1a:2b:00:00:01", registration.Text("fields.mac"));
    platform.Wait("disconnected", {{"server", "register"}, {"by", "agent"}});
    const Event login = platform.Wait("login", {{"checksum_ok", "true"}, {"token_ok", "true"}});
    EXPECT_EQ("123456789012", login.Text("head.pin"));
    EXPECT_EQ("2.0.0.7", login.Text("fields.version"));
    platform.Wait("heartbeat");
    EXPECT_EQ(0u, platform.Count("bad-frame"));
    EXPECT_EQ(0u, platform.Count("bad-checksum"));
}

TEST_F(Session, TheOptionMGivesTheMac)
{
    Platform platform;
    AgentOptions options;
    options.arguments = {"-d", "-m", "0a1B2c3D4e5F"};
    Agent agent(options);
    EXPECT_EQ("0a:1b:2c:3d:4e:5f", platform.Wait("register").Text("fields.mac"));
    EXPECT_EQ("0A1B2C3D4E5F", platform.Wait("upload", {{"datatype", "13"}}).Text("json.MAC"));
}

TEST_F(Session, AsksForTheRulesOfItsMacRightAfterTheLogin)
{
    Platform platform;
    Agent agent;
    platform.Wait("login");
    const Event request = platform.Wait("upload", {{"datatype", "13"}});
    EXPECT_EQ("17", request.Text("msgtype"));
    EXPECT_EQ("1", request.Text("flag"));
    EXPECT_EQ("{\n\t\"MAC\":\t\"021A2B000001\"\n}", request.Text("text"));
    platform.Wait("heartbeat");
}

TEST_F(Session, AcknowledgedHeartbeatsKeepItAliveForMinutes)
{
    AgentOptions options;
    options.clock = 100;
    RunningSession session(options);
    double last = 0;
    for (int i = 0; i < 12; i++) { // four minutes: more than three intervals
        const double time = session.platform.Wait("heartbeat").Number("head.time");
        if (i > 0) {
            EXPECT_NEAR(20, time - last, 3);
        }
        last = time;
    }
    EXPECT_EQ(0u, session.platform.Count("disconnected", {{"server", "login"}}));
    EXPECT_EQ(0u, session.agent.CountLog("heart beep error"));
    EXPECT_LT(10u, session.agent.CountLog("heart beat ack"));
}

TEST_F(Session, TheStatusFileGoesFrom001Over002To003)
{
    PlatformOptions platformOptions;
    platformOptions.faults = {"late@register=0.3 1", "late@login=0.3 1"};
    Platform platform(platformOptions);
    Agent agent;
    WaitStatus("001\n");
    platform.Wait("register");
    EXPECT_EQ("001\n", Status());
    WaitStatus("002\n");
    platform.Wait("login");
    EXPECT_EQ("002\n", Status());
    WaitStatus("003\n");
    platform.Wait("heartbeat");
    EXPECT_EQ("003\n", Status());
}

TEST_F(Session, EachPeriodicDutyIsDoneOncePerProcess)
{
    AgentOptions options;
    options.clock = 200;
    RunningSession session(options); // the duty comes after 200 s
    session.agent.WaitLog("Send calibration info.");
    session.platform.Command("drop");
    session.platform.WaitSession();
    const double begin = session.platform.Wait("heartbeat").Number("head.time");
    while (session.platform.Wait("heartbeat").Number("head.time") < begin + 240) {
    }
    EXPECT_EQ(1u, session.agent.CountLog("Send calibration info."));
}

struct Interval {
    const char *name;
    int told, used;
};

class HeartbeatInterval : public EndToEnd, public testing::WithParamInterface<Interval>
{
};

TEST_P(HeartbeatInterval, IsTheOneOfTheLoginButAtLeast20Seconds)
{
    PlatformOptions platformOptions;
    platformOptions.faults = {"interval@login=" + std::to_string(GetParam().told)};
    AgentOptions options;
    options.clock = 50;
    RunningSession session(options, platformOptions);
    const double first = session.platform.Wait("heartbeat").Number("head.time");
    const double second = session.platform.Wait("heartbeat").Number("head.time");
    EXPECT_NEAR(GetParam().used, second - first, 4);
}

INSTANTIATE_TEST_SUITE_P(, HeartbeatInterval,
                         testing::Values(Interval{"Told5", 5, 20}, Interval{"ToldMinus7", -7, 20},
                                         Interval{"Told20", 20, 20}, Interval{"Told60", 60, 60}),
                         [](const auto &tested) { return std::string(tested.param.name); });

TEST_F(Commands, Function1IsAnsweredWithTheRoutersFirmware)
{
    RunningSession session;
    session.platform.Command("version");
    const Event reply = session.platform.Wait("reply", {{"function", "1"}});
    EXPECT_EQ("26", reply.Text("msgtype"));
    EXPECT_EQ("0", reply.Text("flag"));
    EXPECT_EQ("0", reply.Text("head.ack"));
    EXPECT_EQ("1", reply.Text("datatype"));
    EXPECT_EQ("02:1a:2b:00:00:01", reply.Text("mac"));
    EXPECT_EQ("true", reply.Text("matched"));
    EXPECT_EQ("0", reply.Text("status"));
    EXPECT_EQ("1.0.0-simulated", reply.Text("fields.version"));
    EXPECT_EQ("2024-06-01", reply.Text("fields.date"));
}

TEST_F(Commands, Function2IsAnsweredWithTheRoutersIdentity)
{
    RunningSession session;
    session.platform.Command("identity");
    const Event reply = session.platform.Wait("reply", {{"function", "2"}, {"status", "0"}, {"matched", "true"}});
    EXPECT_EQ("02:1a:2b:00:00:01", reply.Text("fields.mac"));
    EXPECT_EQ("SIM0000000001", reply.Text("fields.serial"));
    EXPECT_EQ("Example", reply.Text("fields.vendor"));
    EXPECT_EQ("Simulated Router", reply.Text("fields.model"));
    EXPECT_EQ("Simulated CPU", reply.Text("fields.cpu_model"));
    EXPECT_EQ("880", reply.Text("fields.cpu_mhz"));
    EXPECT_EQ("2", reply.Text("fields.cpu_cores"));
    EXPECT_EQ("131072", reply.Text("fields.memory_kb"));
    EXPECT_EQ("DDR3", reply.Text("fields.memory_type"));
    EXPECT_EQ("household", reply.Text("fields.name"));
    EXPECT_EQ("1", reply.Text("fields.plug"));
    EXPECT_EQ("1", reply.Text("fields.ipv6"));
    EXPECT_EQ(0u, session.platform.Count("bad-frame"));
}

TEST_F(Commands, AFailureOfTheRouterTravelsAsTheStatusOfTheReply)
{
    AgentOptions options;
    options.environment["ROUTER_SIM_FAULTS"] = "get_router_version=-3";
    RunningSession session(options);
    session.platform.Command("version");
    EXPECT_EQ("-3", session.platform.Wait("reply", {{"function", "1"}}).Text("status"));
}

TEST_F(Commands, AnUnknownFunctionIsAnsweredWithStatus7AndThenParserError)
{
    RunningSession session;
    session.platform.Command("function 1023");
    const Event reply = session.platform.Wait("reply", {{"matched", "true"}});
    EXPECT_EQ("7", reply.Text("status"));
    EXPECT_EQ("0", reply.Text("head.ack"));
    EXPECT_EQ("6", std::to_string(reply.Text("payload").size() / 2)); // tag, ID and status
    const Event error = session.platform.Wait("reply");
    EXPECT_EQ("parser error", error.Text("text"));
    EXPECT_EQ("65535", error.Text("head.ack"));
    session.ExpectAnswers();
}

TEST_F(Commands, Functions0And40000AreAnsweredWithNothingButParserError)
{
    RunningSession session;
    for (const char *command : {"function 0", "function 40000"}) {
        session.platform.Command(command);
        const Event error = session.platform.Wait("reply");
        EXPECT_EQ("parser error", error.Text("text")) << command;
        EXPECT_EQ("65535", error.Text("head.ack")) << command;
        session.platform.Command("version");
        EXPECT_EQ("1", session.platform.Wait("reply").Text("function")) << command; // nothing in between
    }
}

TEST_F(Commands, APayloadOf9BytesIsAnsweredWithLengthError)
{
    RunningSession session;
    session.platform.Command("record 010001000000000000 datatype=77");
    const Event error = session.platform.Wait("reply");
    EXPECT_EQ("length error", error.Text("text"));
    EXPECT_EQ("0", error.Text("head.ack"));
    EXPECT_EQ("77", error.Text("datatype"));
    EXPECT_EQ("26", error.Text("msgtype"));
    session.platform.Command("record 01000100000000000000");
    EXPECT_EQ("0", session.platform.Wait("reply", {{"function", "1"}}).Text("status")); // one byte more is enough
}

TEST_F(Commands, APluginCommandIsAcknowledgedWithItsResult)
{
    RunningSession session;
    session.platform.Command("plugin 250 {}"); // of no meaning to anybody
    const Event acknowledgement = session.platform.Wait("ack", {{"datatype", "250"}});
    EXPECT_EQ("25", acknowledgement.Text("msgtype"));
    EXPECT_EQ("0", acknowledgement.Text("flag"));
    EXPECT_EQ("{\"result\":0}", acknowledgement.Text("text"));
    EXPECT_EQ("0", acknowledgement.Text("head.ack"));
}
} // namespace
