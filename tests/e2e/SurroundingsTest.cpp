// What the agent has around it: signals, descriptors, files of others in /tmp, a full disk, libraries.
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <regex>
#include <set>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "tests/e2e/EndToEnd.h"
#include "tests/e2e/Listener.h"

namespace
{
class Signals : public EndToEnd, public testing::WithParamInterface<int>
{
  protected:
    // In real time: the second within which a signal ends the agent is one of the router's supervisor.
    static AgentOptions RealTime()
    {
        AgentOptions options;
        options.clock = 1;
        return options;
    }
    static void ExpectEndWithinASecond(Agent *agent)
    {
        const auto begin = std::chrono::steady_clock::now();
        agent->Signal(GetParam());
        EXPECT_EQ(0, agent->WaitExit());
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    }
};

TEST_P(Signals, EndTheAgentWhileItRegisters)
{
    PlatformOptions silent;
    silent.faults = {"silent@register"};
    Platform platform(silent);
    Agent agent(RealTime());
    platform.Wait("register");
    ExpectEndWithinASecond(&agent);
}

TEST_P(Signals, EndTheAgentWhileItIsLoggedIn)
{
    RunningSession session(RealTime());
    ExpectEndWithinASecond(&session.agent);
    session.platform.Wait("disconnected", {{"server", "login"}, {"by", "agent"}});
}

TEST_P(Signals, EndTheAgentWhileItConnectsToASilentHost)
{
    Listener silent("127.0.0.1", 6039, Listener::SILENT);
    Agent agent(RealTime());
    ASSERT_TRUE(WaitForUnansweredConnect(kPatience));
    ExpectEndWithinASecond(&agent);
}

INSTANTIATE_TEST_SUITE_P(, Signals, testing::Values(SIGTERM, SIGINT),
                         [](const auto &tested) { return tested.param == SIGTERM ? "SIGTERM" : "SIGINT"; });

class Surroundings : public EndToEnd
{
};

TEST_F(Surroundings, ALostErrorOutputDoesNotEndTheAgent)
{
    Platform platform;
    ProcessOptions options;
    WriteFile(kConfigFile, ConfigText().Text());
    options.arguments = {AgentProgram(), "-d"};
    options.environment = AgentClock(20);
    Process agent(options);
    close(agent.Output());
    close(agent.Errors()); // every line that it logs brings SIGPIPE
    platform.WaitSession();
    agent.Signal(SIGPIPE);
    platform.Command("version");
    platform.Wait("reply", {{"function", "1"}, {"status", "0"}});
    EXPECT_TRUE(agent.Runs());
}

TEST_F(Surroundings, WithoutAnInputNoSocketGetsTheNumberThatMeansClosed)
{
    AgentOptions options;
    options.closeInput = true;
    RunningSession session(options);
    session.ExpectAnswers();
    session.platform.Command("drop");
    session.platform.WaitSession();
    session.ExpectAnswers();
}

TEST_F(Surroundings, EveryDescriptorIsClosedOnExec)
{
    RunningSession session;
    int inspected = 0;
    const std::string folder = "/proc/" + std::to_string(session.agent.Id());
    for (const auto &entry : std::filesystem::directory_iterator(folder + "/fd")) {
        const std::string number = entry.path().filename();
        if (std::stoi(number) <= STDERR_FILENO) continue;
        const std::string info = ReadFile(folder + "/fdinfo/" + number);
        std::smatch flags;
        if (info.empty()) continue; // closed meanwhile
        ASSERT_TRUE(std::regex_search(info, flags, std::regex("flags:\\s*([0-7]+)")));
        std::error_code ignored;
        EXPECT_TRUE(std::stoi(flags[1], nullptr, 8) & O_CLOEXEC)
            << number << " is " << std::filesystem::read_symlink(entry.path(), ignored);
        inspected++;
    }
    EXPECT_GT(inspected, 0); // the connection at least
}

TEST_F(Surroundings, ALinkInTheStatusFilesPlaceIsReplacedAndItsTargetUntouched)
{
    std::filesystem::create_directory(kAgentFolder);
    WriteFile("/tmp/agent/victim", "precious\n");
    std::filesystem::create_symlink("/tmp/agent/victim", kStatusFile);
    RunningSession session;
    EXPECT_EQ("precious\n", ReadFile("/tmp/agent/victim"));
    EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(kStatusFile)));
    EXPECT_EQ("003\n", Status());
}

TEST_F(Surroundings, AFifoInTheStatusFilesPlaceBlocksNobody)
{
    ASSERT_EQ(0, mkfifo(kStatusFile, 0600));
    RunningSession session;
    session.ExpectAnswers();
}

TEST_F(Surroundings, AFullDiskDisturbsNoSession)
{
    std::filesystem::create_directory(kAgentFolder);
    WriteFile(kConfigFile, ConfigText().Text());
    struct statvfs disk;
    ASSERT_EQ(0, statvfs("/tmp", &disk));
    const int filler = open("/tmp/filler", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(filler, 0);
    // Unlinked, so that it is gone with its descriptor however the test ends.
    unlink("/tmp/filler");
    ASSERT_EQ(0, posix_fallocate(filler, 0, static_cast<off_t>(disk.f_bavail * disk.f_bsize)));
    EXPECT_THROW(WriteFile("/tmp/probe", "x"), std::runtime_error);
    std::filesystem::remove("/tmp/probe");
    {
        AgentOptions options;
        options.config = ""; // it is there
        options.environment["ROUTER_SIM_LOG"] = "";
        RunningSession session(options);
        session.ExpectAnswers();
        EXPECT_EQ("Can not write /tmp/plugstatus: No space left on device",
                  session.agent.WaitLog("Can not write").text);
        session.platform.Command("drop");
        session.platform.WaitSession();
        session.ExpectAnswers();
    }
    close(filler);
}

TEST_F(Surroundings, ALogLineHasStampLevelColouredOriginAndText)
{
    AgentOptions options;
    ConfigText config;
    config.pin = "";
    options.config = config.Text();
    Platform platform;
    Agent agent(options);
    EXPECT_EQ(255, agent.WaitExit());
    const std::string log = agent.RawLog();
    const std::string stamp = R"((^|\n)20\d\d-\d{1,2}-\d{1,2} \d\d:\d\d:\d\d )";
    const std::string end = "\033\\[0m\n\n";
    // Errors: red origin, yellow text.
    EXPECT_TRUE(std::regex_search(
        log, std::regex(stamp +
                        "\\[ERR\\]\033\\[1;31m \\[Protool->RegistSendMsg->\\d+\\]-> \033\\[0m\033\\[1;33m"
                        "ERROR: PIN is empty, plese check your plug.conf!" +
                        end)))
        << log;
    // Information: both green.
    EXPECT_TRUE(
        std::regex_search(log, std::regex(stamp +
                                          "\\[INFO\\]\033\\[1;32m \\[Plug->main->\\d+\\]-> \033\\[0m\033\\[1;32m"
                                          ">>>>>>>>>>>>>>>>> Plugin Version = 2.0.0.7-20220406" +
                                          end)))
        << log;
    // Debugging: both yellow.
    EXPECT_TRUE(
        std::regex_search(log, std::regex(stamp +
                                          "\\[DEBUG\\]\033\\[1;33m \\[Plug->main->\\d+\\]-> \033\\[0m\033\\[1;33m"
                                          "Log system \\[debug\\] working." +
                                          end)))
        << log;
}

TEST_F(Surroundings, WithoutTheOptionDNothingIsLogged)
{
    AgentOptions options;
    options.arguments = {};
    RunningSession session(options);
    session.ExpectAnswers();
    session.platform.Command("network-failure");
    session.platform.WaitSession();
    session.platform.Command("disconnect");
    EXPECT_EQ(255, session.agent.WaitExit());
    EXPECT_EQ("", session.agent.RawLog());
}

TEST_F(Surroundings, AnotherRouterLibraryCanTakeTheSimulatedOnesPlace)
{
    Platform platform;
    AgentOptions options;
    options.environment["LD_LIBRARY_PATH"] = STUB_ROUTER_FOLDER;
    Agent agent(options);
    const Event registration = platform.Wait("register");
    EXPECT_EQ("ANOTHER-ROUTER", registration.Text("fields.serial"));
    EXPECT_EQ("0a:0b:0c:0d:0e:0f", registration.Text("fields.mac"));
    platform.WaitSession();
    platform.Command("version");
    EXPECT_EQ("5", platform.Wait("reply", {{"function", "1"}}).Text("status"));
}

std::string DynamicSection()
{
    ProcessOptions options;
    options.arguments = {READELF_PROGRAM, "-d", "-W", PLUG_PROGRAM};
    options.environment["LC_ALL"] = "C";
    Process readelf(options);
    close(readelf.Errors());
    Lines lines(readelf.Output());
    if (readelf.WaitExit(kPatience) != 0) throw Failure("readelf fails");
    lines.WaitEnd(kPatience);
    std::string section;
    for (const std::string &line : lines.All()) section += line + "\n";
    return section;
}

#ifndef PLUG_SANITIZED
TEST_F(Surroundings, TheAgentNeedsNoLibraryButTheRoutersCjsonTheCLibraryAndASharedLibcrypto)
{
    const std::string section = DynamicSection();
    std::set<std::string> needed;
    const std::regex pattern("\\(NEEDED\\) +Shared library: \\[([^\\]]*?)\\.so[^\\]]*\\]");
    for (std::sregex_iterator at(section.begin(), section.end(), pattern), end; at != end; ++at)
        needed.insert((*at)[1]);
    std::set<std::string> wanted = {"libRouterSdk", "libc", "libcjson"};
    if (!PLUG_STATIC_CRYPTO) wanted.insert("libcrypto");
    EXPECT_EQ(wanted, needed);
}
#endif

TEST_F(Surroundings, TheAgentFindsItsRouterLibraryByRunpath)
{
    const std::string section = DynamicSection();
    EXPECT_TRUE(Contains(section, "(RUNPATH)")) << section;
    EXPECT_FALSE(Contains(section, "(RPATH)")) << section;
}
} // namespace
