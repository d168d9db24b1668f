#include "sdk/linux/settings/State.h"

#include "sdk/linux/base/Files.h"
#include "tests/support/Files.h"
#include "tests/support/Texts.h"
#include <cerrno>
#include <csignal>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <sys/resource.h>
#include <sys/stat.h>

static const uint8_t kPhone[6] = {2, 0, 0, 0, 0, 1};
static const uint8_t kTablet[6] = {2, 0, 0, 0, 0, 2};

class RouterState : public testing::Test
{
  protected:
    TemporaryFolder folder;
    std::string path = folder.Path("router.state");
    std::unique_ptr<State> state = std::make_unique<State>();

    void Fill()
    {
        *state = {};
        memcpy(state->routerMac, kPhone, 6);
        strcpy(state->name, "home \"1\"\n");
        state->fullLoad[3] = 1;
        DeviceSettings *phone = MakeSettings(state.get(), kPhone);
        phone->refused = 1;
        strcpy(phone->name, "Ann's \033[31m phone; rm -rf /");
        MakeSettings(state.get(), kTablet)->maxDown = 50000;
        SsidSettings *ssid = MakeSsidSettings(state.get(), "wlan0");
        ssid->hasRecord = ssid->hasSwitch = ssid->on = 1;
        strcpy(ssid->ssid, "net=work %");
        strcpy(ssid->key, "pass word#1");
    }

    // Loads anew. The complaints are kept.
    StateLoad Load()
    {
        *state = {};
        testing::internal::CaptureStderr();
        const StateLoad result = LoadState(path.c_str(), state.get());
        complaints = testing::internal::GetCapturedStderr();
        return result;
    }

    std::string complaints;
};

TEST_F(RouterState, ComesBackAsItWasSaved)
{
    Fill();
    ASSERT_TRUE(SaveState(path.c_str(), state.get()));
    ASSERT_EQ(STATE_LOADED, Load());
    EXPECT_EQ("", complaints);
    EXPECT_STREQ("home \"1\"\n", state->name);
    EXPECT_EQ(1, state->fullLoad[3]);
    ASSERT_EQ(2, state->deviceCount);
    EXPECT_EQ(1, FindSettings(state.get(), kPhone)->refused);
    EXPECT_STREQ("Ann's \033[31m phone; rm -rf /", FindSettings(state.get(), kPhone)->name);
    EXPECT_EQ(50000, FindSettings(state.get(), kTablet)->maxDown);
    EXPECT_STREQ("net=work %", state->ssids[0].ssid);
    EXPECT_STREQ("pass word#1", state->ssids[0].key);
}

TEST_F(RouterState, IsForItsOwnerAlone)
{
    ASSERT_TRUE(SaveState(path.c_str(), state.get()));
    struct stat status;
    ASSERT_EQ(0, stat(path.c_str(), &status));
    EXPECT_EQ(0600u, status.st_mode & 0777);
}

TEST_F(RouterState, NothingAtAllIsNoMistake)
{
    EXPECT_EQ(STATE_NONE, Load());
    EXPECT_EQ("", complaints);
}

TEST_F(RouterState, AFileCutAtAnyByteIsNeverTakenAndTheOneBeforeIsUsed)
{
    Fill();
    ASSERT_TRUE(SaveState(path.c_str(), state.get()));
    state->devices[0].refused = 0;
    ASSERT_TRUE(SaveState(path.c_str(), state.get()));
    const std::string whole = ReadFile(path);
    ASSERT_GT(whole.size(), 100u);
    for (size_t length = 0; length < whole.size(); length++) {
        WriteFile(path, whole.substr(0, length));
        ASSERT_EQ(STATE_LAST, Load()) << length;
        ASSERT_EQ(1, state->devices[0].refused) << length; // as it was before the last change
        ASSERT_EQ(1u, CountOf(complaints, "\n")) << complaints;
    }
}

TEST_F(RouterState, AChangedByteAnywhereIsNoticed)
{
    Fill();
    ASSERT_TRUE(SaveState(path.c_str(), state.get()));
    const std::string whole = ReadFile(path);
    for (size_t i = 0; i < whole.size(); i++) {
        std::string changed = whole;
        changed[i] = char(changed[i] ^ 1);
        EXPECT_FALSE(ReadState(changed.c_str(), state.get())) << i;
        EXPECT_EQ(0, state->deviceCount);
    }
}

TEST_F(RouterState, AForeignFileIsSetAsideAndTheRouterStartsWithoutSettings)
{
    for (const std::string &foreign :
         {std::string("hello\n"), std::string(300000, 'x'), std::string("plug-router-state 2\nend 00000000\n"),
          std::string("plug-router-state 1\ndevice $(reboot)\nend 00000000\n"), std::string(100, '\0')}) {
        WriteFile(path, foreign);
        EXPECT_EQ(STATE_FAILED, Load());
        EXPECT_EQ(1u, CountOf(complaints, "\n")) << complaints;
        EXPECT_EQ(foreign, ReadFile(path + ".bad"));
        EXPECT_EQ(0, state->deviceCount);
    }
}

TEST_F(RouterState, AMissingFileIsReplacedByTheOneBefore)
{
    Fill();
    ASSERT_TRUE(SaveState(path.c_str(), state.get()));
    ASSERT_TRUE(SaveState(path.c_str(), state.get()));
    ASSERT_EQ(0, remove(path.c_str()));
    EXPECT_EQ(STATE_LAST, Load());
    EXPECT_EQ(2, state->deviceCount);
}

TEST_F(RouterState, AFullDiskKeepsTheFileThatIsThere)
{
    Fill();
    ASSERT_TRUE(SaveState(path.c_str(), state.get()));
    const std::string before = ReadFile(path);
    // A file of this process may not grow beyond a few bytes, as on a full disk.
    rlimit limit;
    ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &limit));
    const rlimit small = {16, limit.rlim_max};
    signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &small));
    state->devices[0].refused = 0;
    const bool saved = SaveState(path.c_str(), state.get());
    const int error = errno;
    setrlimit(RLIMIT_FSIZE, &limit);
    signal(SIGXFSZ, SIG_DFL);
    EXPECT_FALSE(saved);
    EXPECT_EQ(EFBIG, error);
    EXPECT_EQ(before, ReadFile(path));
    EXPECT_EQ(STATE_LOADED, Load());
    EXPECT_EQ(1, state->devices[0].refused);
    struct stat status;
    EXPECT_NE(0, stat((path + ".new").c_str(), &status));
}

TEST_F(RouterState, AFolderThatIsNotThereIsAnError)
{
    EXPECT_FALSE(SaveState((folder.Path() + "/no/router.state").c_str(), state.get()));
    EXPECT_EQ(ENOENT, errno);
}

TEST_F(RouterState, TheFolderOfItsFileIsMadeAtTheStart)
{
    const std::string fresh = folder.Path("new");
    MakeFolderOf((fresh + "/router.state").c_str());
    EXPECT_TRUE(SaveState((fresh + "/router.state").c_str(), state.get()));
    MakeFolderOf((fresh + "/router.state").c_str()); // it is there already
    EXPECT_EQ(STATE_LOADED, LoadState((fresh + "/router.state").c_str(), state.get()));
    MakeFolderOf(folder.Path("a/b/router.state").c_str()); // one folder, not any number
    EXPECT_FALSE(SaveState(folder.Path("a/b/router.state").c_str(), state.get()));
}

TEST_F(RouterState, TheLongestSettingsFit)
{
    memset(state->httpTestUrl, '"', kMaxUrl - 1);
    for (uint16_t i = 0; i < kMaxSettings; i++) {
        const uint8_t mac[6] = {2, 0, 0, 0, uint8_t(i >> 8), uint8_t(i)};
        DeviceSettings *device = MakeSettings(state.get(), mac);
        ASSERT_TRUE(device);
        device->refused = 1;
        device->maxUp = device->maxDown = INT64_MAX;
        memset(device->name, '\n', sizeof device->name - 1);
    }
    static const uint8_t oneMore[6] = {2, 9, 9, 9, 9, 9};
    EXPECT_EQ(nullptr, MakeSettings(state.get(), oneMore));
    ASSERT_TRUE(SaveState(path.c_str(), state.get()));
    ASSERT_EQ(STATE_LOADED, Load());
    EXPECT_EQ(kMaxSettings, state->deviceCount);
    EXPECT_EQ(63u, strlen(state->devices[511].name));
}

TEST_F(RouterState, APlaceWithoutSettingsIsGivenToAnotherDevice)
{
    for (uint16_t i = 0; i < kMaxSettings; i++) {
        const uint8_t mac[6] = {2, 0, 0, 0, uint8_t(i >> 8), uint8_t(i)};
        MakeSettings(state.get(), mac)->refused = i != 7;
    }
    static const uint8_t oneMore[6] = {2, 9, 9, 9, 9, 9};
    EXPECT_EQ(&state->devices[7], MakeSettings(state.get(), oneMore));
}
