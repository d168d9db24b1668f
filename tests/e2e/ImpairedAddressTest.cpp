// A platform that moves: another login server, another address and port, another address behind its name.
#include <sys/mount.h>

#include "tests/e2e/ImpairedNetwork.h"
#include "tests/e2e/Updates.h"

namespace
{
class ImpairedAddress : public ImpairedTest
{
};

TEST_F(ImpairedAddress, TheRegistrationNamesAnotherLoginServer)
{
    const double clock = 5;
    const char there[] = "127.0.0.14:6041";
    ImpairedSession session(clock);
    session.Settle();
    Relay other(there, kRealLogin, clock);
    session.platform.Set(std::string("misbehave announce@register=") + there);
    session.network.login.Refuse(true);
    session.network.login.Strike({Fault::CLOSE});
    session.ExpectRecovery(session.network.login.StruckAt(), kClosed + kAgain);
    EXPECT_EQ(1u, session.network.login.Connections());
    EXPECT_EQ(1u, other.Connections());
}

TEST_F(ImpairedAddress, ThePlatformComesBackAtOtherAddressesAndPorts)
{
    const double clock = 5;
    ImpairedSession session(clock);
    session.Settle();
    PlatformOptions moved;
    moved.registerAt = "127.0.0.5:7039";
    moved.loginAt = "127.0.0.6:7040"; // named by the registration, no relay between
    Platform there(moved);
    session.network.registration.LeadTo(moved.registerAt);
    const double begin = EpochNow();
    session.platform.End();
    const double login = there.Wait("login", {{"token_ok", "true"}}).Number("t");
    session.ExpectTime(kClosed + kAgain, (login - begin) * clock);
    there.Wait("heartbeat");
    there.Command("led");
    EXPECT_EQ("0", there.Wait("reply", {{"function", "22"}, {"matched", "true"}}).Text("status"));
    session.ExpectHoldings();
}

// What names mean, for as long as the object lives.
class Names
{
  public:
    Names()
    {
        Lead("127.0.0.1");
        if (mount(kHosts, "/etc/hosts", nullptr, MS_BIND, nullptr) != 0) throw Failure("an own /etc/hosts");
    }
    ~Names() { umount2("/etc/hosts", MNT_DETACH); }
    static void Lead(const std::string &address) { WriteFile(kHosts, address + " platform.test\n"); }

  private:
    static constexpr char kHosts[] = "/tmp/hosts";
};

// An agent looks names up once, when it starts. Twelve registrations that fail end it, and the next one looks again.
TEST_F(ImpairedAddress, TheNameOfTheRegistrationServerLeadsElsewhere)
{
    const double clock = 20;
    const double attempts = 12 * 2 * kStop; // of two servers
    const char elsewhere[] = "127.0.0.15";
    const Machine machine;
    Names names;
    Platform platform;
    std::filesystem::remove_all(kHome);
    mkdir(kHome, 0755);
    InstallAgent();
    ConfigText config;
    config.server1 = "platform.test";
    WriteFile(kConfigFile, config.Text());
    Supervisor supervisor("-d", "PLUG_LOG=none\n", AgentEnvironment(clock)); // no filter that takes time beside it
    platform.WaitSession();

    Relay moved(std::string(elsewhere) + ":6039", "127.0.0.5:6039", clock);
    names.Lead(elsewhere);
    PlatformOptions there;
    there.registerAt = "127.0.0.5:6039";
    there.loginAt = "127.0.0.5:6040";
    Platform newPlatform(there);
    const double begin = EpochNow();
    platform.End();
    const double login = newPlatform.Wait("login", {{"token_ok", "true"}}, kPatience).Number("t");
    ExpectTime(machine, clock, kClosed + attempts + kAgain, (login - begin) * clock);
    newPlatform.Wait("heartbeat");
    newPlatform.Command("led");
    EXPECT_EQ("0", newPlatform.Wait("reply", {{"function", "22"}, {"matched", "true"}}).Text("status"));
    EXPECT_EQ(1u, moved.Connections());
    EXPECT_TRUE(Contains(supervisor.Log(), "Register retry more than 10 times, exit !!!"));
    EXPECT_EQ(0, supervisor.Stop());
}
} // namespace
