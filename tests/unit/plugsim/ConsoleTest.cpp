// A whole plugsim with a script: values, programs and output.
#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <unistd.h>

#include "simulator/console/RunTool.h"
#include "simulator/platform/Commands.h"
#include "tests/support/Files.h"

using namespace sim;

namespace
{
struct WholeScript : testing::Test {
    WholeScript()
    {
        options.quiet = true;
        options.colour = "never";
        options.script = folder.Path("script");
        options.log = folder.Path("log");
        options.registrationServers = {Address()};
    }
    // Its standard output without the times, followed by the exit status.
    std::string Run(const std::string &script)
    {
        std::ofstream(options.script) << script;
        testing::internal::CaptureStdout();
        const int status = RunTool<Platform, CommandContext>(options, AddPlatformCommands, EXIT_CANNOT_LISTEN);
        std::istringstream lines(testing::internal::GetCapturedStdout());
        std::string text;
        for (std::string line; std::getline(lines, line);)
            if (line.find(" listening ") == std::string::npos && line.find(" exit ") == std::string::npos)
                text += (line.find("***") == std::string::npos ? line : line.substr(line.find("***"))) + "\n";
        return text + std::to_string(status);
    }
    TemporaryFolder folder;
    PlatformOptions options;
};
} // namespace

TEST_F(WholeScript, ShowsItsFindings)
{
    EXPECT_EQ("\n1. A step\n  agent   hello world\n  me      ok, 5\n  me      two\n  ok      done\n0",
              Run("title 1. A step\n"
                  "start agent sh -c 'echo noise; echo hello world'\n"
                  "quote agent hello 10\n"
                  "expect program agent\n"
                  "let n 2 + 3\n"
                  "check ${n} > 4\n"
                  "start lines printf '%s' 'ok, ${n}\\n\\ntwo'\n"
                  "start me printf 'ok, ${n}\\n'\n"
                  "read me ok 10\n"
                  "show me ${.text}\n"
                  "show me two\n"
                  "ok done\n"));
}

TEST_F(WholeScript, EndsAtAFailedCheck)
{
    const std::string text = Run("let n 3\ncheck ${n} > 4\nok never\n");
    EXPECT_NE(std::string::npos,
              text.find("*** failed        command check ${n} > 4 reason value is '3', expected > '4'"))
        << text;
    EXPECT_EQ(std::string::npos, text.find("never"));
    EXPECT_EQ('1', text.back());
}

TEST_F(WholeScript, EndsAtAMissingValue)
{
    const std::string text = Run("show me ${.status}\n");
    EXPECT_NE(std::string::npos, text.find("there is no value for ${.status}")) << text;
    EXPECT_EQ('1', text.back());
}

TEST_F(WholeScript, ChecksTheStatus)
{
    EXPECT_EQ('0', Run("status\nexpect faults 0\nexpect events.listening 1\n").back());
}

TEST_F(WholeScript, LogsEveryEventAsJson)
{
    Run("mark\nshow me something\n");
    std::ifstream log(folder.Path("log"));
    const std::string text((std::istreambuf_iterator<char>(log)), std::istreambuf_iterator<char>());
    for (const char *part : {"{\"event\":\"listening\"", "\"command\":\"mark\"",
                             "\"text\":\"something\",\"as\":\"show\"", "{\"event\":\"exit\""})
        EXPECT_NE(std::string::npos, text.find(part)) << part;
}
