#include "sdk/linux/leases/Leases.h"

#include "tests/support/Files.h"
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

static std::vector<Lease> Read(const std::string &text)
{
    std::vector<Lease> leases(kMaxLeases);
    leases.resize(ReadLeases(text.c_str(), leases.data()));
    return leases;
}

TEST(RouterLeases, OneLineIsOneLease)
{
    const std::vector<Lease> leases = Read("1772366400 02:00:00:00:00:01 192.168.7.11 phone 01:02:00:00:00:00:01\n"
                                           "0 02:00:00:00:00:02 192.168.7.12 * *\n");
    ASSERT_EQ(2u, leases.size());
    EXPECT_EQ(1772366400, leases[0].expires);
    EXPECT_EQ(0x0B07A8C0u, leases[0].ip);
    EXPECT_STREQ("phone", leases[0].name);
    EXPECT_EQ(0, leases[1].expires);
    EXPECT_STREQ("", leases[1].name);
}

TEST(RouterLeases, HostileNamesBecomeHarmless)
{
    const std::vector<Lease> leases =
        Read("1 02:00:00:00:00:01 10.0.0.1 \"a'b`c$(reboot);\033[31m\\x *\n"
             "1 02:00:00:00:00:02 10.0.0.2 " +
             std::string(300, 'n') + " *\n1 02:00:00:00:00:03 10.0.0.3 caf\xC3\xA9|<&> *\n");
    ASSERT_EQ(3u, leases.size());
    EXPECT_STREQ("_a_b_c__reboot___[31m_x", leases[0].name);
    EXPECT_EQ(std::string(63, 'n'), leases[1].name);
    EXPECT_STREQ("caf______", leases[2].name);
}

TEST(RouterLeases, LinesThatAreNoneAreLeftOut)
{
    EXPECT_EQ(0u, Read("duid 00:01:00:01:2c:aa\n1 06-02:00:00:00:00:01 10.0.0.1 x *\n1 02:00:00:00:00:01 fd00::1 x *\n"
                       "x 02:00:00:00:00:01 10.0.0.1 x *\n1 01:00:5e:00:00:01 10.0.0.1 x *\n\n1\n1 02:00:00:00:00:01\n")
                      .size());
}

TEST(RouterLeases, AFileCutAtAnyByteGivesNothingThatWasNotThere)
{
    const std::string whole = "1772366400 02:00:00:00:00:01 192.168.7.11 phone 01\n";
    for (size_t length = 0; length < whole.size(); length++)
        for (const Lease &lease : Read(whole.substr(0, length))) {
            EXPECT_EQ(1, lease.mac[5]);
            EXPECT_EQ(0u, std::string("phone").find(lease.name));
        }
}

TEST(RouterLeases, MoreThanTheRoomIsLeftOut)
{
    std::string text;
    for (int i = 0; i < 600; i++) {
        char line[80];
        snprintf(line, sizeof line, "1 02:00:00:00:%02x:%02x 10.0.%d.%d h *\n", i >> 8, i & 255, i >> 8, i & 255);
        text += line;
    }
    EXPECT_EQ(kMaxLeases, Read(text).size());
}

TEST(RouterLeases, AFileIsReadAgainOnlyWhenItHasChanged)
{
    TemporaryFolder folder;
    const std::string path = folder.Path("leases");
    size_t count = 0;
    WriteFile(path, "100 02:00:00:00:00:01 10.0.0.1 old *\n100 02:00:00:00:00:01 10.0.0.9 new *\n");
    EXPECT_TRUE(LoadLeases(path.c_str()));
    EXPECT_FALSE(LoadLeases(path.c_str()));
    const Lease *leases = Leases(&count);
    ASSERT_EQ(2u, count);
    EXPECT_STREQ("new", leases[1].name);
    ASSERT_EQ(0, remove(path.c_str()));
    EXPECT_TRUE(LoadLeases(path.c_str()));
    Leases(&count);
    EXPECT_EQ(0u, count);
}
