// MACs as text: what is printed, and what each reader makes of a text.
#include "core/MacText.h"

#include <gtest/gtest.h>
#include <string>

#include "tests/fakes/CallText.h"

namespace
{

const uint8_t kMac[kMacSize] = {0x02, 0x1A, 0xBF, 0x00, 0x9E, 0xFF};

std::string Printed(char separator, MacCase digits)
{
    char text[kMacTextSize];
    memset(text, '#', sizeof text);
    EXPECT_EQ(text, MacToText(kMac, separator, digits, text));
    return text;
}

// What MacScan() makes of `text`, from a MAC without zeros.
std::string Scanned(const char *text, char separator)
{
    uint8_t mac[kMacSize] = {0x77, 0x77, 0x77, 0x77, 0x77, 0x77};
    MacScan(text, separator, mac);
    return Shown(ShownMac{mac});
}

} // namespace

TEST(MacText, PrintsEitherCaseWithAnySeparatorOrNone)
{
    EXPECT_EQ("02:1A:BF:00:9E:FF", Printed(':', MAC_UPPER_CASE));
    EXPECT_EQ("02:1a:bf:00:9e:ff", Printed(':', MAC_LOWER_CASE));
    EXPECT_EQ("02 1A BF 00 9E FF", Printed(' ', MAC_UPPER_CASE));
    EXPECT_EQ("021ABF009EFF", Printed(0, MAC_UPPER_CASE));
    EXPECT_EQ("021abf009eff", Printed(0, MAC_LOWER_CASE));
}

TEST(MacText, ReadsTwoDigitsOfEitherCaseAByte)
{
    static const struct {
        const char *text;
        char separator;
    } kRows[] = {{"021ABF009EFF", 0},        {"021abf009eff", 0},          {"021aBf009EfF+1", 0},
                 {"02:1A:BF:00:9E:FF", ':'}, {"02:1a:bf:00:9e:ff\n", ':'}, {"02-1a-bf-00-9e-ffff", '-'}};
    for (const auto &row : kRows) {
        uint8_t mac[kMacSize] = {};
        ASSERT_TRUE(MacFromText(row.text, row.separator, mac)) << row.text;
        EXPECT_EQ("02:1A:BF:00:9E:FF", Shown(ShownMac{mac})) << row.text;
    }
}

TEST(MacText, AnotherTextIsRefusedAndLeavesTheMacAlone)
{
    static const struct {
        const char *text;
        char separator;
    } kRows[] = {{"", 0},
                 {"0", 0},
                 {"021abf009ef", 0},
                 {"021abf009efg", 0},
                 {" 021abf009eff", 0},
                 {"02:1a:bf:00:9e:ff", 0},
                 {"", ':'},
                 {"02", ':'},
                 {"02:", ':'},
                 {"2:1a:bf:00:9e:ff", ':'},
                 {"02:1a:bf:00:9e:f", ':'},
                 {"02-1a-bf-00-9e-ff", ':'},
                 {"021abf009eff", ':'}};
    for (const auto &row : kRows) {
        uint8_t mac[kMacSize] = {1, 2, 3, 4, 5, 6};
        EXPECT_FALSE(MacFromText(row.text, row.separator, mac)) << row.text;
        EXPECT_EQ("01:02:03:04:05:06", Shown(ShownMac{mac})) << row.text;
    }
}

TEST(MacText, AScanReachesAsFarAsTheTextCanBeRead)
{
    EXPECT_EQ("02:1A:BF:00:9E:FF", Scanned("02:1a:bF:00:9e:ff:55", ':'));
    EXPECT_EQ("02:01:0B:00:00:00", Scanned(" 2:1:b;00:9e:ff", ':')); // one digit is enough, another separator ends it
    EXPECT_EQ("02:34:00:00:00:00", Scanned("02:1234", ':'));         // of a larger number the low byte
    EXPECT_EQ("00:00:00:00:00:00", Scanned("no MAC", ':'));
    EXPECT_EQ("02:1A:BF:00:9E:FF", Scanned("021abF009eff55", 0));
    EXPECT_EQ("02:1A:0B:00:00:00", Scanned("021ab", 0));
    EXPECT_EQ("02:00:00:00:00:00", Scanned("02:1a:bf:00:9e:ff", 0));
    EXPECT_EQ("00:00:00:00:00:00", Scanned("no MAC", 0));
}

TEST(MacText, AScanFailsOnNothingButAnEmptyOrBlankText)
{
    uint8_t mac[kMacSize];
    for (const char separator : {':', '\0'}) {
        EXPECT_FALSE(MacScan("", separator, mac));
        EXPECT_FALSE(MacScan(" \t\n", separator, mac));
        EXPECT_TRUE(MacScan("no MAC", separator, mac));
        EXPECT_TRUE(MacScan("02", separator, mac));
    }
}

TEST(MacText, AnyTwelveCharactersAreRead)
{
    uint8_t mac[kMacSize] = {0x77, 0x77, 0x77, 0x77, 0x77, 0x77};
    MacFromAnyText("021aBfzzAzzA", mac);
    EXPECT_EQ("02:1A:BF:77:A0:7F", Shown(ShownMac{mac}));
}
