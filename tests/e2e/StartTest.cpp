// Options, settings and what the router must tell before anything can begin.
#include <algorithm>
#include <filesystem>
#include <sys/stat.h>

#include "tests/e2e/EndToEnd.h"

namespace
{
class Start : public EndToEnd
{
};

// An agent that is to end at once: how it did.
struct Ended {
    int status;
    std::vector<std::string> entries; // "LEVEL text"
};

std::vector<std::string> Entries(Agent *agent)
{
    std::vector<std::string> entries;
    for (size_t from = 0;;) {
        try {
            const LogEntry entry = agent->WaitLog("", from, 0);
            entries.push_back(entry.level + " " + entry.text);
            from = entry.number + 1;
        } catch (const Failure &) {
            return entries;
        }
    }
}

Ended RunWith(const std::vector<std::string> &arguments)
{
    AgentOptions options;
    options.arguments = arguments;
    Agent agent(options);
    const int status = agent.WaitExit();
    return {status, Entries(&agent)};
}

typedef std::vector<std::string> Texts;

TEST_F(Start, AnOptionFWithoutAFileEndsTheAgent)
{
    const Ended ended = RunWith({"-f"});
    EXPECT_EQ(255, ended.status);
    EXPECT_EQ((Texts{"ERR Error: -f argument given but no file specified.", "ERR Error wrong param(s)."}),
              ended.entries);
}

TEST_F(Start, AMacOfAnotherLengthThan12EndsTheAgent)
{
    for (const char *mac : {"aabbccddeef", "aabbccddeeff0", "aa:bb:cc:dd:ee:ff", ""}) {
        const Ended ended = RunWith({"-m", mac});
        EXPECT_EQ(255, ended.status) << mac;
        EXPECT_EQ((Texts{"ERR Error: mac format must be \"aabbccddeeff\".", "ERR Error wrong param(s)."}),
                  ended.entries)
            << mac;
    }
}

TEST_F(Start, AnOptionMWithoutAMacEndsTheAgent)
{
    const Ended ended = RunWith({"-m"});
    EXPECT_EQ(255, ended.status);
    EXPECT_EQ((Texts{"ERR Error: mac format must be \"aabbccddeeff\".", "ERR Error wrong param(s)."}), ended.entries);
}

TEST_F(Start, AnEmptyOrTooLongPathLeavesTheDefaultFile)
{
    for (const std::string &path : {std::string(), std::string(300, 'a')}) {
        Platform platform;
        AgentOptions options;
        options.arguments = {"-d", "-f", path};
        Agent agent(options);
        EXPECT_EQ("use config file  [/tmp/plug.conf]", agent.WaitLog("use config file").text);
        platform.WaitSession();
    }
}

TEST_F(Start, AConfigurationInTmpOfAnotherUserIsIgnored)
{
    WriteFile("/tmp/stranger.conf", ConfigText().Text());
    ASSERT_EQ(0, lchown("/tmp/stranger.conf", 65534, 65534));
    AgentOptions options;
    options.config = "";
    std::filesystem::rename("/tmp/stranger.conf", kConfigFile);
    Agent agent(options);
    const LogEntry entry = agent.WaitLog("/tmp/plug.conf is passed over: ");
    EXPECT_EQ("ERR", entry.level);
    EXPECT_EQ("use config file\t[./plug.conf]", agent.WaitLog("use config file").text);
}

TEST_F(Start, AnUnknownOptionIsNamedAndIgnored)
{
    Platform platform;
    AgentOptions options;
    options.arguments = {"-x", "-d"};
    Agent agent(options);
    const LogEntry entry = agent.WaitLog("Unknown option");
    EXPECT_EQ("Unknown option: x", entry.text);
    EXPECT_EQ("ERR", entry.level);
    platform.WaitSession();
}

// What the program writes to its output and error output, and how it ends.
struct Spoken {
    int status;
    std::vector<std::string> output, errors;
};

Spoken Speak(const std::vector<std::string> &arguments)
{
    ProcessOptions program;
    program.arguments = {AgentProgram()};
    program.arguments.insert(program.arguments.end(), arguments.begin(), arguments.end());
    std::unique_ptr<Lines> output, errors; // outlive the program that writes them
    Process process(program);
    output = std::make_unique<Lines>(process.Output());
    errors = std::make_unique<Lines>(process.Errors());
    const std::optional<int> status = process.WaitExit(kPatience);
    if (!status) throw Failure("plug has not ended");
    output->WaitEnd(kPatience);
    errors->WaitEnd(kPatience);
    return {*status, output->All(), errors->All()};
}

bool AnyContains(const std::vector<std::string> &lines, const std::string &part)
{
    return std::any_of(lines.begin(), lines.end(), [&](const std::string &line) { return Contains(line, part); });
}

TEST_F(Start, HelpOrVersionAsTheOnlyArgumentIsAnsweredAndNothingStarts)
{
    for (const char *argument : {"--help", "--version"}) {
        const Spoken spoken = Speak({argument});
        EXPECT_EQ(0, spoken.status) << argument;
        EXPECT_EQ(Texts(), spoken.errors) << argument;
        ASSERT_FALSE(spoken.output.empty()) << argument;
        EXPECT_EQ("plug 2.0.0.7-20220406: ties this router to its operator's device-management platform",
                  spoken.output[0]);
        for (const char *part :
             {"  -d ", "  -f FILE ", "  -m MAC ", "/tmp/plug.conf", "./plug.conf", "/tmp/plugstatus", "/tmp/CommServer",
              "/tmp/plug_download", "/tmp/macconfig", "/tmp/tmpSubdev", "/tmp/tracerouteFile", "man 8 plug",
              "/libRouterSdk.so.1", "/libcjson.so", "OpenSSL ", "cJSON 1."})
            EXPECT_TRUE(AnyContains(spoken.output, part)) << argument << ": " << part;
        EXPECT_EQ(!PLUG_STATIC_CRYPTO, AnyContains(spoken.output, "/libcrypto.so")) << argument;
        EXPECT_EQ("", Status());
    }
}

TEST_F(Start, CheckTellsWhatOfTheConfigurationCountsAndNothingStarts)
{
    const std::string path = "/tmp/checked.conf";
    WriteFile(path, "[Dev]\nPIN=123456789012\n[Protool]\nKEY=0123456789abcdef\nSERVER1=no.such.name.example\n");
    chmod(path.c_str(), 0600);
    const Spoken well = Speak({"--check", "-f", path});
    EXPECT_EQ(0, well.status);
    EXPECT_EQ(Texts(), well.errors);
    EXPECT_EQ("   5   SERVER1 no.such.name.example", well.output.at(5));
    EXPECT_FALSE(AnyContains(well.output, "0123456789abcdef") || AnyContains(well.output, "123456789012"));
    chmod(path.c_str(), 0644);
    const Spoken open = Speak({"--check", "-f", path});
    EXPECT_EQ(1, open.status);
    EXPECT_TRUE(AnyContains(open.output, " ! "));
    EXPECT_EQ("", Status());
}

TEST_F(Start, HelpBesideAnotherArgumentAndHAreUnknownOptions)
{
    for (const Texts &arguments : {Texts{"-h", "-d"}, Texts{"--help", "-d"}, Texts{"-d", "--version"}}) {
        Platform platform;
        AgentOptions options;
        options.arguments = arguments;
        Agent agent(options);
        EXPECT_EQ(arguments[0] == "-h" ? "Unknown option: h" : "Unknown option: -",
                  agent.WaitLog("Unknown option").text);
        platform.WaitSession();
    }
}

struct Missing {
    const char *name;
    std::string config;
    const char *faults, *state;
    const char *text;
};

std::string WithoutPin()
{
    ConfigText config;
    config.pin = "";
    return config.Text();
}

std::string WithoutKey()
{
    ConfigText config;
    config.key = "";
    return config.Text();
}

class RequiredValue : public EndToEnd, public testing::WithParamInterface<Missing>
{
};

TEST_P(RequiredValue, EndsTheAgentWhenItIsMissing)
{
    Platform platform;
    AgentOptions options;
    options.config = GetParam().config;
    options.environment["ROUTER_SIM_FAULTS"] = GetParam().faults;
    std::filesystem::create_directory(kAgentFolder);
    WriteFile("/tmp/agent/household.json", GetParam().state);
    options.environment["ROUTER_SIM_STATE"] = "/tmp/agent/household.json";
    Agent agent(options);
    EXPECT_EQ(255, agent.WaitExit());
    const LogEntry entry = agent.WaitLog("ERROR: ");
    EXPECT_EQ(GetParam().text, entry.text);
    EXPECT_EQ("ERR", entry.level);
    EXPECT_EQ(0u, platform.Count("register"));
}

TEST_P(RequiredValue, IsNamedInOneLineAlsoWithoutTheLog)
{
    Platform platform;
    AgentOptions options;
    options.arguments = {};
    options.config = GetParam().config;
    options.environment["ROUTER_SIM_FAULTS"] = GetParam().faults;
    std::filesystem::create_directory(kAgentFolder);
    WriteFile("/tmp/agent/household.json", GetParam().state);
    options.environment["ROUTER_SIM_STATE"] = "/tmp/agent/household.json";
    Agent agent(options);
    EXPECT_EQ(255, agent.WaitExit());
    EXPECT_EQ(std::string("plug: ") + GetParam().text + "\n", agent.RawLog());
}

INSTANTIATE_TEST_SUITE_P(
    , RequiredValue,
    testing::Values(Missing{"Pin", WithoutPin(), "", "{}", "ERROR: PIN is empty, plese check your plug.conf!"},
                    Missing{"Key", WithoutKey(), "", "{}", "ERROR: KEY is empty, plese check your plug.conf!"},
                    Missing{"SerialThatCannotBeRead", ConfigText().Text(), "get_router_sn=1", "{}",
                            "ERROR: get sn failed!"},
                    Missing{"SerialThatIsEmpty", ConfigText().Text(), "", "{\"router\":{\"serial\":\"\"}}",
                            "ERROR: SN is invalid!"}),
    [](const auto &tested) { return std::string(tested.param.name); });

TEST_F(Start, WithoutAnySettingsRegistrationFailsTwelveTimes)
{
    AgentOptions options;
    options.config = "";
    options.clock = 200;
    Agent agent(options);
    EXPECT_EQ("use config file\t[./plug.conf]", agent.WaitLog("use config file").text);
    EXPECT_EQ("Can not fopen(\"./plug.conf\").", agent.WaitLog("Can not fopen").text);
    EXPECT_EQ(255, agent.WaitExit(30)); // looking up the default servers takes as long as the resolver likes
    EXPECT_EQ("Register retry more than 10 times, exit !!!", agent.WaitLog("Register retry").text);
    EXPECT_EQ("102\n", Status());
}

TEST_F(Start, TheFileOfTheOptionFComesBeforeTheDefaultOne)
{
    Platform platform;
    AgentOptions options;
    options.config = WithoutPin();
    WriteFile("/tmp/other.conf", ConfigText().Text());
    options.arguments = {"-d", "-f", "/tmp/other.conf"};
    Agent agent(options);
    EXPECT_EQ("use config file  [/tmp/other.conf]", agent.WaitLog("use config file").text);
    platform.WaitSession();
}

TEST_F(Start, TheFileInTheWorkingFolderComesLast)
{
    Platform platform;
    AgentOptions options;
    options.config = "";
    std::filesystem::create_directory(kAgentFolder);
    WriteFile("/tmp/agent/plug.conf", ConfigText().Text());
    Agent agent(options);
    EXPECT_EQ("use config file\t[./plug.conf]", agent.WaitLog("use config file").text);
    platform.WaitSession();
}

TEST_F(Start, APathThatIsNoReadableFileIsIgnored)
{
    WriteFile("/tmp/a-file", "");
    for (const char *path : {"/tmp", "/tmp/a-file/plug.conf", "/tmp/not-there", "/dev/zero"}) {
        Platform platform;
        AgentOptions options;
        options.arguments = {"-d", "-f", path};
        Agent agent(options);
        EXPECT_EQ("use config file  [/tmp/plug.conf]", agent.WaitLog("use config file").text) << path;
        platform.WaitSession();
    }
}

struct OddFile {
    const char *name;
    std::string content;
};

std::string Replaced(std::string text, const std::string &what, const std::string &by)
{
    for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size())
        text.replace(at, what.size(), by);
    return text;
}

class OddSettings : public EndToEnd, public testing::WithParamInterface<OddFile>
{
};

TEST_P(OddSettings, AreAccepted)
{
    Platform platform;
    AgentOptions options;
    options.config = GetParam().content;
    Agent agent(options);
    EXPECT_EQ("123456789012", platform.Wait("register").Text("head.pin"));
    platform.WaitSession();
}

std::vector<OddFile> OddFiles()
{
    const std::string plain = ConfigText().Text();
    return {
        {"ALineOf10Megabytes", std::string(10000000, 'A') + "\n" + plain},
        {"ZeroBytesBetweenTheLines", Replaced(plain, "\n", std::string("\n\0\0\0\n", 5))},
        {"NoNewlineAtTheEnd", plain.substr(0, plain.size() - 1)},
        {"CarriageReturns", Replaced(plain, "\n", "\r\n")},
        {"BlanksAroundTheValues", Replaced(Replaced(plain, "=", " =  "), "\n", " \t \n")},
        {"Comments", Replaced(plain, "\n", "\n# PIN=0 KEY=0 [Other]\n")},
        {"TheLastValueWins", Replaced(plain, "KEY=", "KEY=another\nKEY=")},
    };
}

INSTANTIATE_TEST_SUITE_P(, OddSettings, testing::ValuesIn(OddFiles()),
                         [](const auto &tested) { return std::string(tested.param.name); });

TEST_F(Start, TenMegabytesWithoutANewlineHoldNoSettings)
{
    AgentOptions options;
    std::string rubbish(10000000, '\0');
    for (size_t i = 0; i < rubbish.size(); i++) rubbish[i] = static_cast<char>("[Protool=KEY\0\xFF# "[i * 7 % 17]);
    options.config = rubbish;
    options.clock = 200;
    Agent agent(options);
    EXPECT_EQ(255, agent.WaitExit(30));
    EXPECT_EQ(1u, agent.CountLog("Register retry more than 10 times, exit !!!"));
}

TEST_F(Start, PortsOutsideTheRangeAreRefused)
{
    for (const char *port : {"2047", "65531", "", "x", "-1"}) {
        ConfigText config;
        config.port = port;
        AgentOptions options;
        options.config = config.Text();
        options.clock = 200;
        Agent agent(options);
        if (*port)
            agent.WaitLog("RegPort error.");
        else
            agent.WaitLog("PORT:\t6039"); // an empty value is none
    }
    for (const char *port : {"2048", "65530"}) {
        ConfigText config;
        config.port = port;
        AgentOptions options;
        options.config = config.Text();
        PlatformOptions platformOptions;
        platformOptions.registerAt = std::string("127.0.0.1:") + port;
        Platform platform(platformOptions);
        Agent agent(options);
        platform.WaitSession();
    }
}
} // namespace
