#include "sdk/linux/host/Host.h"

#include "sdk/linux/base/Result.h"
#include "sdk/linux/base/Texts.h"
#include "sdk/linux/cache/BlackList.h"
#include <cstring>
#include <gtest/gtest.h>
#include <memory>

TEST(RouterHost, FirmwareTextsThatSayNothingAreNotTaken)
{
    for (const char *text :
         {"To Be Filled By O.E.M.", "Default string", "None", "0", "000000", "", "Not Specified", "-"})
        EXPECT_FALSE(IsMeaningful(text)) << text;
    for (const char *text : {"PF2ABC", "0012", "Example GmbH"}) EXPECT_TRUE(IsMeaningful(text)) << text;
}

TEST(RouterHost, ValuesStandBehindTheirNameAtTheStartOfALine)
{
    char value[8];
    EXPECT_TRUE(FindValue("XNAME=1\nNAME=\"two\"\n", "NAME", '=', value, sizeof value));
    EXPECT_STREQ("two", value);
    EXPECT_TRUE(FindValue("model name\t: a very long one\n", "model name", ':', value, sizeof value));
    EXPECT_STREQ("a very ", value);
    EXPECT_FALSE(FindValue("NAME=\nNAMES=1", "NAME", '=', value, sizeof value));
}

TEST(RouterHost, UseOfTheProcessorIsWhatWasNotIdleBetweenTwoReadings)
{
    CpuTimes before, after;
    ASSERT_TRUE(ReadCpuTimes("cpu  100 0 100 800 0 0 0 0 0 0\n", &before));
    ASSERT_TRUE(ReadCpuTimes("cpu  150 0 125 1000 25 0 0 0 0 0\n", &after));
    EXPECT_EQ(25, CpuUse(before, after)); // 75 of 300
    EXPECT_EQ(0, CpuUse(after, before));  // the figures of some machines run backwards
    EXPECT_FALSE(ReadCpuTimes("intr 1", &before));
}

TEST(RouterHost, TheConfigurationGoesBeforeTheMachine)
{
    const std::unique_ptr<Config> config = std::make_unique<Config>();
    ReadConfig("router.conf", "[router]\nserial = S1\nmaker = M\nmodel = T\nversion = V 2\nversion_date = 2024-06-01\n",
               config.get());
    char serial[64], maker[64], model[64];
    RouterVersion version;
    ASSERT_EQ(RESULT_OK, HostSerial(config.get(), serial));
    ASSERT_EQ(RESULT_OK, HostMaker(config.get(), maker));
    ASSERT_EQ(RESULT_OK, HostModel(config.get(), model));
    ASSERT_EQ(RESULT_OK, HostVersion(config.get(), &version));
    EXPECT_STREQ("S1", serial);
    EXPECT_STREQ("M", maker);
    EXPECT_STREQ("T", model);
    EXPECT_STREQ("V 2", version.text);
    const int8_t date[4] = {20, 24, 6, 1};
    EXPECT_EQ(0, memcmp(date, version.date, 4));
}

TEST(RouterTexts, WordsHoldAnyText)
{
    const char text[] = "a b=%\n\"\xFF";
    char word[64], back[64];
    ASSERT_TRUE(WriteWord(text, word, sizeof word));
    EXPECT_STREQ("a%20b%3D%25%0A%22%FF", word);
    ASSERT_TRUE(ReadWord(word, back, sizeof back));
    EXPECT_STREQ(text, back);
    EXPECT_FALSE(WriteWord(text, word, 20));
    EXPECT_FALSE(ReadWord("%0", back, sizeof back));
    EXPECT_FALSE(ReadWord("%00", back, sizeof back));
    EXPECT_FALSE(ReadWord("12345678", back, 8));
}

TEST(RouterTexts, NamesOfInterfacesNeverNeedQuotes)
{
    for (const char *name : {"eth0", "br-lan", "eth0.7", "veth1@x", "a"}) EXPECT_TRUE(IsInterfaceName(name)) << name;
    for (const char *name : {"", ".", "..", "-x", "a b", "a\"", "a;b", "abcdefghijklmnop", "a\n", "a/b", "a*"})
        EXPECT_FALSE(IsInterfaceName(name)) << name;
}

TEST(RouterBlackList, OneMacOnEachLineAndTheRestIsCounted)
{
    uint8_t macs[ROUTER_SDK_BLACK_LIST][6];
    size_t bad = 0;
    EXPECT_EQ(2, ReadBlackList(
                     "# guests\n02:00:00:00:00:01 # old phone\n\n 02-00-00-00-00-02\r\nnonsense\n01:00:5e:00:00:01\n",
                     macs, &bad));
    EXPECT_EQ(2, macs[1][5]);
    EXPECT_EQ(2u, bad);
    std::string many;
    for (int i = 0; i < 101; i++) many += "02:00:00:00:00:01\n";
    EXPECT_EQ(100, ReadBlackList(many.c_str(), macs, &bad));
    EXPECT_EQ(1u, bad);
}
