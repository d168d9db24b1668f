#include "core/Config.h"

#include <cstring>
#include <unistd.h>

#include "core/Common.h"
#include "tests/unit/agent/AgentTest.h"

namespace
{

// The command line: what each option leaves behind.
class Options : public AgentTest
{
  protected:
    static int Parse(std::vector<std::string> words)
    {
        words.insert(words.begin(), "plug");
        std::vector<char *> argv;
        for (std::string &word : words) argv.push_back(&word[0]);
        argv.push_back(nullptr);
        optind = 0; // getopt() forgets the words of the last command line, which are gone
        (void)getopt(1, argv.data(), "");
        return config_line_proc(static_cast<int>(words.size()), argv.data());
    }
    static Bytes Mac() { return Bytes(l_mac, l_mac + 6); }
};

const char kMacMessage[] = "Error: mac format must be \"aabbccddeeff\".";
const char kFileMessage[] = "Error: -f argument given but no file specified.";

} // namespace

TEST_F(Options, WithoutAnyNothingIsSet)
{
    EXPECT_EQ(0, Parse({}));
    EXPECT_EQ(0, l_debug);
    EXPECT_STREQ("", l_config_file);
    EXPECT_EQ(Bytes(6, 0), Mac());
}

TEST_F(Options, AllThreeAreAcceptedInAnyOrder)
{
    EXPECT_EQ(0, Parse({"-m", "aabbccddeeff", "-d", "-f", "/etc/plug.conf"}));
    EXPECT_EQ(1, l_debug);
    EXPECT_STREQ("/etc/plug.conf", l_config_file);
    EXPECT_EQ(Hex("aabbccddeeff"), Mac());
    ClearOptions();
    EXPECT_EQ(0, Parse({"-f/tmp/x", "-m0123456789AB"}));
    EXPECT_EQ(0, l_debug);
    EXPECT_STREQ("/tmp/x", l_config_file);
    EXPECT_EQ(Hex("0123456789ab"), Mac());
    EXPECT_EQ("", Log());
}

TEST_F(Options, AFileOptionWithoutAFileIsAnError)
{
    EXPECT_EQ(-1, Parse({"-d", "-f"}));
    EXPECT_EQ(1, l_debug);
    EXPECT_TRUE(Logged(kFileMessage));
}

TEST_F(Options, APathOf255CharactersFits)
{
    EXPECT_EQ(0, Parse({"-f", std::string(255, 'x')}));
    EXPECT_EQ(std::string(255, 'x'), l_config_file);
}

TEST_F(Options, AnEmptyPathOrOneOfMoreThan255CharactersNamesNoFile)
{
    for (const std::string &path : {std::string(), std::string(256, 'x'), std::string(5000, 'x')}) {
        EXPECT_EQ(0, Parse({"-f", "/tmp/before", "-f", path, "-d"})) << path;
        EXPECT_STREQ("", l_config_file) << path; // the last -f counts, and it names none
        EXPECT_EQ(1, l_debug);
        ClearOptions();
    }
    EXPECT_EQ("", Log());
}

TEST_F(Options, AMacWithoutExactlyTwelveCharactersLogsTheFormatMessage)
{
    for (const char *text : {"aabbccddeef", "aabbccddeefff", "", "a", "aa:bb:cc:dd:ee:ff"}) {
        EXPECT_EQ(-2, Parse({"-m", text})) << text;
        EXPECT_TRUE(Logged(kMacMessage)) << text;
        EXPECT_EQ(Bytes(6, 0), Mac());
    }
}

TEST_F(Options, AMacOptionWithoutAMacLogsTheFormatMessage)
{
    EXPECT_EQ(-2, Parse({"-m"}));
    EXPECT_TRUE(Logged(kMacMessage));
}

TEST_F(Options, CharactersOfTheMacAreNotChecked)
{
    EXPECT_EQ(0, Parse({"-m", "zz1gg1AbzZ--"}));
    EXPECT_EQ(Hex("00 10 01 ab 00 00"), Mac());
    EXPECT_EQ("", Log());
}

TEST_F(Options, AnUnknownOptionIsLoggedAndParsingContinues)
{
    EXPECT_EQ(0, Parse({"-x", "-d"}));
    EXPECT_TRUE(Logged("Unknown option: x"));
    EXPECT_EQ(1, l_debug);
}

TEST_F(Options, MessagesAreLoggedAtTheFirstLogLevel)
{
    d_set_log_level(LOG_LEVEL_ERR);
    Parse({"-x"});
    EXPECT_TRUE(Logged("Unknown option: x"));
    Parse({"-f"});
    EXPECT_TRUE(Logged(kFileMessage));
    Parse({"-m", "1"});
    EXPECT_TRUE(Logged(kMacMessage));
}
