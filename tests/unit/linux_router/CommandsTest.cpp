#include "sdk/linux/commands/Services.h"

#include "sdk/linux/base/Result.h"
#include "sdk/linux/commands/Process.h"
#include "tests/support/Files.h"
#include "tests/support/Texts.h"
#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <memory>
#include <sys/stat.h>

static int Execute(std::vector<const char *> arguments, const std::string &input, std::string *output,
                   int64_t limitMs = 5000)
{
    arguments.push_back(nullptr);
    char buffer[256];
    const ProcessRun run = {arguments.data(), input.data(), input.size(), buffer, sizeof buffer, limitMs, nullptr};
    const int status = RunProcess(&run);
    *output = buffer;
    return status;
}

TEST(RouterProcess, GetsItsInputAndGivesItsOutputAndStatus)
{
    std::string output;
    EXPECT_EQ(0, Execute({"cat"}, "two\nlines", &output));
    EXPECT_EQ("two\nlines", output);
    EXPECT_EQ(3, Execute({"/bin/sh", "-c", "echo wrong >&2; exit 3"}, "", &output));
    EXPECT_EQ("wrong\n", output);
}

TEST(RouterProcess, OutputBeyondTheRoomIsReadAndDropped)
{
    std::string output;
    EXPECT_EQ(0, Execute({"head", "-c", "100000", "/dev/zero"}, "", &output));
    EXPECT_EQ(0, Execute({"cat"}, std::string(100000, 'x'), &output));
    EXPECT_EQ(255u, output.size());
}

TEST(RouterProcess, ThatTakesTooLongIsKilledWithItsChildren)
{
    std::string output;
    EXPECT_EQ(-1, Execute({"/bin/sh", "-c", "sleep 60 & sleep 60"}, "", &output, 100));
    EXPECT_EQ(ETIMEDOUT, errno);
}

TEST(RouterProcess, ThatDoesNotExistIsAnError)
{
    std::string output;
    EXPECT_EQ(-1, Execute({"/nonexistent"}, "", &output));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_EQ(-1, Execute({"no-such-program"}, "", &output));
}

TEST(RouterProcess, ThatIgnoresItsInputOrIsKilledIsNoHarm)
{
    std::string output;
    EXPECT_EQ(0, Execute({"true"}, std::string(1000000, 'x'), &output));
    EXPECT_EQ(128 + SIGTERM, Execute({"/bin/sh", "-c", "kill $$"}, "", &output));
}

// ---- Configured commands ----

class RouterServices : public testing::Test
{
  protected:
    void Configure(Key key, const std::string &script)
    {
        const std::string path = folder.Path("service");
        WriteFile(path, "#!/bin/sh\n" + script);
        chmod(path.c_str(), 0755);
        ReadConfig("router.conf", "", config.get());
        snprintf(config->commands[key - KEY_LED], kMaxCommand, "%s fixed  word", path.c_str());
        config->given |= uint64_t(1) << key;
    }
    std::string Log() const { return ReadFile(folder.Path("log")); }
    std::string Noted() const
    {
        return "echo \"$#: $*\" >>" + folder.Path("log") + "; cat >>" + folder.Path("log") + "\n";
    }
    TemporaryFolder folder;
    std::unique_ptr<Config> config = std::make_unique<Config>();
};

TEST_F(RouterServices, GetsItsFixedWordsAndTwoMore)
{
    Configure(KEY_FTP, Noted() + "echo on\n");
    uint8_t on = 0;
    ASSERT_EQ(RESULT_OK, GetServiceSwitch(config.get(), KEY_FTP, &on));
    EXPECT_EQ(1, on);
    EXPECT_EQ("4: fixed word get switch\n", Log());
}

TEST_F(RouterServices, WhatThePlatformSendsComesOnStandardInputAndIsNeverRun)
{
    Configure(KEY_FTP, Noted());
    ASSERT_EQ(RESULT_OK, SetServiceText(config.get(), KEY_FTP, "password", "$(id);`id`'\"-x"));
    EXPECT_EQ("4: fixed word set password\n$(id);`id`'\"-x", Log());
    Configure(KEY_FIRMWARE, Noted());
    WriteFile(folder.Path("log"), "");
    ASSERT_EQ(RESULT_OK, RunCommand(config.get(), KEY_FIRMWARE, "--url=http://x/$(reboot)\n\033"));
    EXPECT_EQ("2: fixed word\n--url=http://x/$(reboot)\n\033", Log());
}

TEST_F(RouterServices, AnswersThatAreNoneAreErrors)
{
    uint8_t on = 7;
    testing::internal::CaptureStderr();
    Configure(KEY_LED, "echo maybe\n");
    EXPECT_EQ(RESULT_COMMAND, GetServiceSwitch(config.get(), KEY_LED, &on));
    Configure(KEY_LED, "echo on; exit 1\n");
    EXPECT_EQ(RESULT_COMMAND, GetServiceSwitch(config.get(), KEY_LED, &on));
    EXPECT_EQ(2u, CountOf(testing::internal::GetCapturedStderr(), "\n"));
    EXPECT_EQ(7, on);
}

TEST_F(RouterServices, TextsOfSixteenCharactersFillTheirFieldAndLongerOnesAreRefused)
{
    char text[kAccountText + 1] = "################";
    Configure(KEY_FTP, "echo 1234567890123456\n");
    ASSERT_EQ(RESULT_OK, GetServiceText(config.get(), KEY_FTP, "user", text));
    EXPECT_EQ("1234567890123456", std::string(text, 16));
    Configure(KEY_FTP, "echo 12345678901234567\n");
    EXPECT_EQ(RESULT_TOO_LONG, GetServiceText(config.get(), KEY_FTP, "user", text));
    EXPECT_EQ(RESULT_TOO_LONG, SetServiceText(config.get(), KEY_FTP, "user", "12345678901234567"));
    EXPECT_EQ(RESULT_BAD_VALUE, SetServiceText(config.get(), KEY_FTP, "user", "a\nb"));
    EXPECT_EQ(RESULT_BAD_VALUE, SetServiceSwitch(config.get(), KEY_FTP, 2));
}

TEST_F(RouterServices, WithoutACommandThereIsACode)
{
    uint8_t on;
    ReadConfig("router.conf", "", config.get());
    EXPECT_EQ(RESULT_NOT_CONFIGURED, GetServiceSwitch(config.get(), KEY_LED, &on));
    EXPECT_EQ(RESULT_NOT_CONFIGURED, RunCommand(config.get(), KEY_RESTART, ""));
}
