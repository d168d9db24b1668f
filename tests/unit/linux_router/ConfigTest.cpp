#include "sdk/linux/settings/Config.h"

#include "sdk/linux/base/Result.h"
#include "tests/support/Files.h"
#include "tests/support/Texts.h"
#include <gtest/gtest.h>
#include <memory>

struct Read {
    std::unique_ptr<Config> config = std::make_unique<Config>();
    std::string complaints;
};

static Read ReadText(const std::string &text)
{
    Read read;
    testing::internal::CaptureStderr();
    ReadConfig("router.conf", text.c_str(), read.config.get());
    read.complaints = testing::internal::GetCapturedStderr();
    return read;
}

TEST(RouterConfig, AnEmptyFileLeavesTheDefaultsAndNothingToComplainAbout)
{
    const Read read = ReadText("");
    EXPECT_EQ("", read.complaints);
    EXPECT_TRUE(read.config->managed);
    EXPECT_TRUE(read.config->forwarding);
    EXPECT_FALSE(read.config->setClock);
    EXPECT_FALSE(read.config->masquerade);
    EXPECT_STREQ("", read.config->lan);
    EXPECT_STREQ("/var/lib/misc/dnsmasq.leases", read.config->leases);
    EXPECT_EQ(RESULT_NOT_CONFIGURED, NeedKey(read.config.get(), KEY_RESTART));
    EXPECT_EQ(RESULT_OK, KeyIsRight(read.config.get(), KEY_LAN));
}

TEST(RouterConfig, EveryKindOfValueIsRead)
{
    const Read read =
        ReadText("[router]\nserial = SN 1\nmac = 02:00:00:00:00:01\nmanaged = no\nversion_date = 2024-06-01\n"
                 "[wan]\ninterfaces = eth0 ppp0\nmode = pppoe\nservices = 7\n"
                 "[lan]\ninterface = br-lan\nports = lan1, lan2\n"
                 "[wifi]\nhostapd = /run/hostapd/wlan0\n"
                 "[commands]\nrestart = /sbin/reboot -d 1\ntimeout = 3\n");
    EXPECT_EQ("", read.complaints);
    const Config &config = *read.config;
    EXPECT_STREQ("SN 1", config.serial);
    EXPECT_FALSE(config.managed);
    EXPECT_STREQ("eth0", config.wans[0]);
    EXPECT_STREQ("ppp0", config.wans[1]);
    EXPECT_STREQ("", config.wans[2]);
    EXPECT_EQ(ROUTER_WAN_PPPOE, config.wanMode);
    EXPECT_EQ(7, config.wanServices);
    EXPECT_STREQ("lan2", config.ports[1]);
    EXPECT_STREQ("/run/hostapd/wlan0", config.hostapd[0]);
    EXPECT_STREQ("/sbin/reboot -d 1", CommandOf(&config, KEY_RESTART));
    EXPECT_EQ(3, config.timeoutSeconds);
    EXPECT_EQ(RESULT_OK, NeedKey(&config, KEY_RESTART));
}

class WrongValue : public testing::TestWithParam<const char *>
{
};

TEST_P(WrongValue, IsOneLineThatNamesItAndHurtsNothingElse)
{
    const std::string text = GetParam();
    const Read read = ReadText("[router]\nserial = SN1\n" + text + "\n[commands]\nrestart = /sbin/reboot\n");
    EXPECT_EQ(1u, CountOf(read.complaints, "\n")) << read.complaints;
    EXPECT_TRUE(Contains(read.complaints, "linux router: router.conf")) << read.complaints;
    EXPECT_STREQ("SN1", read.config->serial);
    EXPECT_EQ(RESULT_OK, NeedKey(read.config.get(), KEY_RESTART));
}

INSTANTIATE_TEST_SUITE_P(RouterConfig, WrongValue,
                         testing::Values("[router]\nmac = 02:00:00:00:00", "[router]\nmac = 01:00:5e:00:00:01",
                                         "[router]\npin = 1234567890123", "[router]\nmanaged = maybe",
                                         "[router]\nversion_date = 2024-13-01", "[router]\nstate = router.state",
                                         "[router]\nunknown = 1", "[nowhere]\nserial = 2", "[wan]\nmode = fast",
                                         "[wan]\nservices = 65536", "[wan]\nservices = 1x", "[lan]\ninterface = br lan",
                                         "[lan]\ninterface = \"br\"", "[lan]\ninterface = abcdefghijklmnop",
                                         "[wifi]\nhostapd = wlan0", "[commands]\nled = led on",
                                         "[commands]\ntimeout = 0", "[commands]\ntimeout = 61", "nothing at all"));

TEST(RouterConfig, TheFunctionThatNeedsAWrongKeyIsToldSo)
{
    const Read read = ReadText("[commands]\nrestart = reboot\n[lan]\ninterface = br;lan\n");
    EXPECT_EQ(RESULT_BAD_KEY, NeedKey(read.config.get(), KEY_RESTART));
    EXPECT_EQ(RESULT_BAD_KEY, KeyIsRight(read.config.get(), KEY_LAN));
    EXPECT_STREQ("", read.config->lan);
}

TEST(RouterConfig, AKeyThatIsThereTwiceIsWrong)
{
    const Read read = ReadText("[router]\nserial = 1\nserial = 2\n");
    EXPECT_TRUE(Contains(read.complaints, "twice"));
    EXPECT_EQ(RESULT_BAD_KEY, NeedKey(read.config.get(), KEY_SERIAL));
}

TEST(RouterConfig, APasswordIsNeverShown)
{
    const Read read = ReadText("[wan]\npassword = " + std::string(64, 'x') + "\n");
    EXPECT_FALSE(Contains(read.complaints, "xxx")) << read.complaints;
    EXPECT_TRUE(Contains(read.complaints, "password"));
}

TEST(RouterConfig, ALineThatIsTooLongSpoilsTheFileInOneLine)
{
    const Read read = ReadText("[router]\nserial = " + std::string(300, 'x') + "\n");
    EXPECT_EQ(1u, CountOf(read.complaints, "\n")) << read.complaints;
    EXPECT_EQ(RESULT_BAD_KEY, NeedKey(read.config.get(), KEY_SERIAL));
    EXPECT_EQ(RESULT_BAD_KEY, KeyIsRight(read.config.get(), KEY_STATE));
}

TEST(RouterConfig, AThousandMistakesAreFewLines)
{
    std::string text = "[router]\n";
    for (int i = 0; i < 1000; i++) text += "key" + std::to_string(i) + " = 1\n";
    const Read read = ReadText(text);
    EXPECT_EQ(21u, CountOf(read.complaints, "\n"));
    EXPECT_TRUE(Contains(read.complaints, "980 mistakes more"));
}

TEST(RouterConfig, EscapeSequencesDoNotReachTheTerminal)
{
    const Read read = ReadText("[router]\nmac = \033[31mred\n");
    EXPECT_FALSE(Contains(read.complaints, "\033")) << read.complaints;
}

TEST(RouterConfig, AFileCutAtAnyByteIsReadWithoutHarm)
{
    const std::string whole =
        "[router]\nserial = SN1\nmac = 02:00:00:00:00:01\n[lan]\ninterface = br-lan\nports = lan1 lan2\n"
        "[commands]\nrestart = /sbin/reboot\n";
    for (size_t length = 0; length <= whole.size(); length++) {
        const Read read = ReadText(whole.substr(0, length));
        EXPECT_EQ(0u, read.config->given & read.config->wrong) << length;
        EXPECT_EQ(0u,
                  whole.substr(0, length).find("[router]") == 0 ? std::string("SN1").find(read.config->serial) : 0u);
        if (length > whole.find("mac") + 5 && length < whole.find("[lan]") - 1) {
            EXPECT_NE(RESULT_OK, NeedKey(read.config.get(), KEY_MAC)) << length; // most of a MAC is none
        }
    }
}

TEST(RouterConfig, AFileWithZeroBytesOrAFolderIsNotUsed)
{
    TemporaryFolder folder;
    WriteFile(folder.Path("zeros"), std::string("[router]\nserial = 1\n\0pin = 2\n", 29));
    Config config;
    for (const std::string &path : {folder.Path("zeros"), folder.Path()}) {
        testing::internal::CaptureStderr();
        LoadConfig(path.c_str(), &config);
        EXPECT_TRUE(Contains(testing::internal::GetCapturedStderr(), "not used")) << path;
        EXPECT_STREQ("", config.serial);
        EXPECT_EQ(RESULT_BAD_KEY, KeyIsRight(&config, KEY_STATE)); // nobody knows where the settings are
    }
    testing::internal::CaptureStderr();
    LoadConfig(folder.Path("missing").c_str(), &config);
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
}
