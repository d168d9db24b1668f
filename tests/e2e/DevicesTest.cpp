// The reports of attached devices: all of them when the platform asks, and each one that shows up.
#include <csignal>

#include "tests/e2e/Diagnostics.h"
#include "tests/e2e/LocalSession.h"
#include "tests/e2e/NetNamespace.h"

namespace
{
const char kDump[] = "/tmp/tmpSubdev";
const char kKnown[] = "/tmp/macconfig";
const char kHousehold[] = "/tmp/agent/household.json";

class Devices : public EndToEnd
{
  protected:
    void SetUp() override
    {
        EndToEnd::SetUp();
        for (const char *path : {kDump, kKnown}) std::filesystem::remove_all(path);
    }
};

// A device without traffic, with more members if `more` says so.
std::string Device(const std::string &mac, const std::string &name, const std::string &ip, const std::string &more = "")
{
    return "{\"mac\":\"" + mac + "\",\"name\":\"" + name + "\",\"ip\":\"" + ip +
           "\",\"typical_up\":0,\"typical_down\":0" + more + "}";
}

AgentOptions At(double clock, const std::string &devices, const std::string &timetable = "")
{
    std::filesystem::create_directory(kAgentFolder);
    WriteFile(kHousehold, "{\"devices\":[" + devices + "],\"timetable\":[" + timetable + "]}");
    AgentOptions options;
    options.clock = clock;
    options.environment["ROUTER_SIM_STATE"] = kHousehold;
    return options;
}

std::string Digits(const std::string &bytes, size_t size)
{
    std::string digits;
    char byte[3];
    for (size_t i = 0; i < size; i++) {
        snprintf(byte, sizeof byte, "%02x", i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0u);
        digits += byte;
    }
    return digits;
}

// A record of the report: the fields before the name, the name, and the three flags.
std::string RecordOf(const std::string &addressAndMac, const std::string &name, const std::string &flags)
{
    return addressAndMac + Digits(name, 16) + std::string(32, '0') + flags;
}

// Function 64 and its answer; the report's payload.
std::string AskForReport(Platform *platform)
{
    platform->Command("report-devices");
    platform->Wait("reply", {{"function", "64"}, {"status", "0"}});
    return platform->Wait("upload", {{"datatype", "63"}}).Text("payload");
}

// A network on whose devices the kernel's table of neighbours has entries.
class Lan
{
  public:
    Lan()
    {
        RunShell("ip link add lan0 type veth peer name lan1 && ip addr add 192.168.1.254/24 dev lan0 && "
                 "ip addr add 10.9.9.1/24 dev lan0 && ip link set lan0 up && ip link set lan1 up");
    }
    ~Lan() { RunShell("ip link del lan0"); }
    static void Neighbour(const std::string &ip, const std::string &mac)
    {
        RunShell("ip neigh replace " + ip + (mac.empty() ? "" : " lladdr " + mac) + " dev lan0 nud permanent");
    }
};
} // namespace

// ---- The report that the platform asks for

TEST_F(Devices, AreReportedWithThoseThatOnlyTheTableOfNeighboursHas)
{
    Lan lan;
    Lan::Neighbour("192.168.1.20", "02:1a:2b:00:00:14"); // on the router's list
    Lan::Neighbour("192.168.1.200", "02:1a:2b:00:00:c8");
    Lan::Neighbour("192.168.1.201", "02:1a:2b:00:00:c9"); // away, but the router knows its name
    Lan::Neighbour("192.168.1.202", "00:00:00:00:00:00");
    Lan::Neighbour("10.9.9.9", "02:1a:2b:00:09:09"); // no device of this network
    RunningSession session(
        At(1, Device("02:1a:2b:00:00:14", "phone", "192.168.1.20", ",\"access\":false") + "," +
                  Device("02:1a:2b:00:00:15", "", "192.168.1.21") + "," +
                  Device("02:1a:2b:00:00:c9", "printer in the hall", "192.168.1.201", ",\"online\":false")));
    const std::string report = AskForReport(&session.platform);
    const std::string online = RecordOf("1401a8c0021a2b000014", "phone", "010100") +
                               RecordOf("1501a8c0021a2b000015", "unknown-device", "010101");
    const std::string unknown = RecordOf("c801a8c0021a2b0000c8", "unknown-device", "000101");
    const std::string named = RecordOf("c901a8c0021a2b0000c9", "printer in the h", "000101");
    const std::string header = "00003f0000000400";
    ASSERT_EQ(2 * (8 + 4 * 45), report.size()) << report << "\n" << ReadFile(kDump);
    // The kernel has no order.
    EXPECT_TRUE(report == header + online + unknown + named || report == header + online + named + unknown) << report;
    EXPECT_TRUE(Contains(ReadFile(kDump), "192.168.1.200 ")) << ReadFile(kDump);
    session.ExpectAnswers();
}

// Keeps the agent talking until its own clock, which its log shows, has come to `time`.
void AwaitAgentTime(RunningSession *session, int64_t time)
{
    size_t from = 0;
    EXPECT_TRUE(Within(kPatience, [&] {
        session->ExpectAnswers();
        const LogEntry entry = session->agent.WaitLog("ParserProtoolData funcid 1", from);
        from = entry.number + 1;
        return entry.time >= time;
    }));
}

TEST_F(Devices, ReportsAreNumberedAndRequestsInTheRestBehindOneAreAbsorbed)
{
    RunningSession session(At(2, Device("02:1a:2b:00:00:14", "phone", "192.168.1.20")));
    const std::string record = RecordOf("1401a8c0021a2b000014", "phone", "010101");
    EXPECT_EQ("00003f0000000100" + record, AskForReport(&session.platform));
    session.platform.Command("report-devices"); // four seconds of rest, two on the test's clock
    session.platform.Wait("reply", {{"function", "64"}});
    const LogEntry first = session.agent.WaitLog("ParserProtoolData funcid 64");
    const LogEntry second = session.agent.WaitLog("ParserProtoolData funcid 64", first.number + 1);
    AwaitAgentTime(&session, second.time + 6); // both times are cut to whole seconds
    EXPECT_EQ("01003f0000000100" + record, AskForReport(&session.platform));
    EXPECT_EQ(2u, session.platform.Count("upload", {{"datatype", "63"}}));
}

TEST_F(Devices, OfAnEmptyRouterTheReportIsEmpty)
{
    RunningSession session(At(1, ""));
    EXPECT_EQ("00003f0000000000", AskForReport(&session.platform));
    EXPECT_FALSE(std::filesystem::exists(kDump));
}

std::string Many(int count)
{
    std::string devices;
    for (int i = 1; i <= count; i++) {
        const std::string mac = "02:1a:2b:00:01:" + Digits(std::string(1, static_cast<char>(i)), 1);
        devices += (i > 1 ? "," : "") + Device(mac, "device " + std::to_string(i), "192.168.1." + std::to_string(i));
    }
    return devices;
}

TEST_F(Devices, AreReportedUpTo128)
{
    Lan lan;
    Lan::Neighbour("192.168.1.200", "02:1a:2b:00:00:c8");
    RunningSession session(At(1, Many(128)));
    const std::string report = AskForReport(&session.platform);
    ASSERT_EQ(2u * (8 + 128 * 45), report.size());
    EXPECT_EQ("00003f0000008000" + RecordOf("0101a8c0021a2b000101", "device 1", "010101"), report.substr(0, 16 + 90));
    EXPECT_EQ(RecordOf("8001a8c0021a2b000180", "device 128", "010101"), report.substr(report.size() - 90));
}

TEST_F(Devices, MoreThan128AreNotReported)
{
    RunningSession session(At(1, Many(129)));
    session.platform.Command("report-devices");
    const LogEntry first = session.agent.WaitLog("DeviceNum too large.");
    session.agent.WaitLog("DeviceNum too large.", first.number + 1); // it goes on trying
    EXPECT_EQ(0u, session.platform.Count("upload", {{"datatype", "63"}}));
    session.ExpectAnswers();
}

TEST_F(Devices, ALinkInThePlaceOfTheDumpIsNotFollowed)
{
    const char precious[] = "/tmp/precious";
    WriteFile(precious, "precious");
    std::filesystem::create_symlink(precious, kDump);
    RunningSession session(At(1, Device("02:1a:2b:00:00:14", "phone", "192.168.1.20")));
    AskForReport(&session.platform);
    EXPECT_EQ("precious", ReadFile(precious));
    EXPECT_FALSE(std::filesystem::is_symlink(kDump));
}

TEST_F(Devices, TheEndOfTheAgentEndsAScanInTheMiddleOfItsCommand)
{
    FakeProgram cat("cat", "@wait");
    AgentOptions options = At(1, Device("02:1a:2b:00:00:14", "phone", "192.168.1.20"));
    options.environment["PATH"] = WithFakes().environment["PATH"];
    RunningSession session(options);
    session.platform.Command("report-devices");
    cat.AwaitRuns(1);
    EXPECT_EQ("</proc/net/arp>\n", cat.Runs());
    session.agent.Signal(SIGTERM);
    EXPECT_EQ(0, session.agent.WaitExit(1));
    EXPECT_TRUE(NoneRuns("cat", 1));
    EXPECT_TRUE(NoneRuns("grep", 1));
}

// ---- Those that show up

std::string OnlineReport(const std::string &mac, const std::string &name)
{
    return "0000280000000100" + mac + Digits(name, 16) + std::string(32, '0') + "01";
}

TEST_F(Devices, ThatShowUpAreReportedOnceAndKnownFromThenOnAcrossARestart)
{
    const std::string phone = Device("02:1a:2b:00:00:14", "phone", "192.168.1.20");
    const std::string guest = Device("02:1a:2b:00:00:99", "guest", "192.168.1.50");
    const std::string late = Device("02:1a:2b:00:00:9a", "late", "192.168.1.51");
    const double factor = 60;
    Platform platform;
    {
        Agent agent(At(factor, phone, "{\"at\":90,\"join\":" + guest + "}"));
        platform.WaitSession();
        EXPECT_EQ(OnlineReport("021a2b000014", "phone"), platform.Wait("upload", {{"datatype", "40"}}).Text("payload"));
        const LogEntry first = agent.WaitLog("Func39 query...");
        EXPECT_EQ(OnlineReport("021a2b000099", "guest"), platform.Wait("upload", {{"datatype", "40"}}).Text("payload"));
        const LogEntry second = agent.WaitLog("Func39 query...", first.number + 1);
        EXPECT_GE(second.time - first.time, 59);
        EXPECT_LE(second.time - first.time, 75); // a machine that is busy

        agent.WaitLog("UpdateMacProfile");
        EXPECT_TRUE(WaitForFile(kKnown, "021a2b000014\r\n021a2b000099\r\n"));
        EXPECT_EQ(28u, ReadFile(kKnown).size());
        agent.Signal(SIGTERM);
        agent.WaitExit();
    }
    Agent agent(At(factor, phone + "," + guest + "," + late));
    EXPECT_EQ(OnlineReport("021a2b00009a", "late"), platform.Wait("upload", {{"datatype", "40"}}).Text("payload"));
    const LogEntry query = agent.WaitLog("Func39 query...");
    agent.WaitLog("Func39 query...", query.number + 1);
    EXPECT_EQ(3u, platform.Count("upload", {{"datatype", "40"}}));
}

TEST_F(Devices, AreNotReportedAgainWhenTheFileIsDamagedInOtherLines)
{
    WriteFile(kKnown, std::string("\xFF\xFE\0rubbish\r\n021a2b0000\r\n", 24) + std::string(1000, '0') +
                          "\r\n021a2b000014\r\n021a2b00009900\r\n");
    RunningSession session(At(60, Device("02:1a:2b:00:00:14", "phone", "192.168.1.20") + "," +
                                      Device("02:1a:2b:00:00:99", "guest", "192.168.1.50")));
    EXPECT_EQ(OnlineReport("021a2b000099", "guest"),
              session.platform.Wait("upload", {{"datatype", "40"}}).Text("payload"));
    const LogEntry query = session.agent.WaitLog("Func39 query...");
    session.agent.WaitLog("Func39 query...", query.number + 1);
    EXPECT_EQ(1u, session.platform.Count("upload", {{"datatype", "40"}}));
}

TEST_F(Devices, AreLeftToALocalPeerOnceOneHasCome)
{
    RunningSession session(At(60, Device("02:1a:2b:00:00:14", "phone", "192.168.1.20"),
                              "{\"at\":200,\"join\":" + Device("02:1a:2b:00:00:99", "guest", "192.168.1.50") + "}"));
    session.platform.Wait("upload", {{"datatype", "40"}}); // of the query after a minute
    const double begin = session.platform.Wait("heartbeat").Number("head.time");
    BarePeer peer;
    const LogEntry handOver = session.agent.WaitLog("Use function 40");
    EXPECT_EQ("Fn39ReportProc", handOver.function);
    const size_t queries = session.agent.CountLog("Func39 query...");
    // The guest has joined by then, and a query would have found him: there is one a minute.
    while (session.platform.Wait("heartbeat").Number("head.time") < begin + 220) {
    }
    EXPECT_EQ(queries, session.agent.CountLog("Func39 query..."));
    EXPECT_EQ(1u, session.platform.Count("upload", {{"datatype", "40"}}));
    session.ExpectAnswers();
}
