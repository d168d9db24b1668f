#include "simulator/manager/Household.h"

#include <gtest/gtest.h>

using namespace sim;

namespace
{

struct TheHousehold : testing::Test {
    Household house;
    std::string error;

    bool Set(const Words &words) { return house.Set(words, &error); }
    bool Edit(const std::string &list, const Words &words) { return house.Edit(list, words, &error); }
    std::string Shown(const std::string &name, const std::string &path)
    {
        Fields fields;
        EXPECT_TRUE(house.Show(name, &fields));
        const Field *field = FindField(fields, path);
        return field ? field->value : "nothing at " + path;
    }
};

} // namespace

TEST_F(TheHousehold, BeginsWithAMeshOfThreeNodes)
{
    EXPECT_EQ(3u, house.Records("node").size());
    EXPECT_EQ(3u, house.Records("neighbour").size());
    EXPECT_EQ(3u, house.Records("device").size());
    EXPECT_EQ(1u, house.Records("wan").size());
    for (const Bytes &record : house.Records("wan")) EXPECT_EQ(228u, record.size());
    EXPECT_EQ((Bytes{1}), house.Value("mesh"));
    EXPECT_EQ((Bytes{70, 60}), house.Value("thresholds"));
    EXPECT_EQ("satellite", Shown("", "node.2.role"));
}

TEST_F(TheHousehold, ReadsSettingsFromWords)
{
    EXPECT_TRUE(Set({"mesh", "off"}));
    EXPECT_EQ((Bytes{0}), house.Value("mesh"));
    EXPECT_TRUE(Set({"thresholds", "255", "0"}));
    EXPECT_EQ((Bytes{255, 0}), house.Value("thresholds"));
    EXPECT_TRUE(Set({"bssid", "two", "words"}));
    EXPECT_EQ("two words", Shown("bssid", "bssid"));
    EXPECT_TRUE(Set({"bssid"}));
    EXPECT_TRUE(house.Value("bssid").empty());
}

TEST_F(TheHousehold, RefusesUnknownSettingsAndInvalidValues)
{
    EXPECT_FALSE(Set({}));
    EXPECT_FALSE(Set({"mash", "on"}));
    EXPECT_EQ("there is no setting 'mash'", error);
    for (const Words &words : {Words{"mesh"}, Words{"mesh", "maybe"}, Words{"mesh", "256"}, Words{"mesh", "on", "on"},
                               Words{"thresholds", "1"}, Words{"firmware-result", "-1"}}) {
        EXPECT_FALSE(Set(words)) << words[0];
        EXPECT_FALSE(error.empty());
    }
    EXPECT_EQ((Bytes{1}), house.Value("mesh"));
}

TEST_F(TheHousehold, FindsRecordsByTheirFirstField)
{
    EXPECT_TRUE(Edit("device", {"add", "02:00:00:00:00:01", "lamp"}));
    EXPECT_FALSE(Edit("device", {"add", "020000000001"}));
    EXPECT_EQ("there is a device 02:00:00:00:00:01 already", error);
    EXPECT_TRUE(Edit("device", {"change", "020000000001", "name=light", "online=yes"}));
    EXPECT_EQ("light", Shown("device", "device.3.name"));
    EXPECT_EQ("yes", Shown("device", "device.3.online"));
    EXPECT_TRUE(Edit("device", {"remove", "02:00:00:00:00:01"}));
    EXPECT_EQ(3u, house.Records("device").size());
    EXPECT_TRUE(Edit("device", {"clear"}));
    EXPECT_TRUE(house.Records("device").empty());
}

TEST_F(TheHousehold, ChangesNothingWhenAWordIsInvalid)
{
    EXPECT_FALSE(Edit("device", {"change", "02:1a:2b:00:00:11", "name=other", "colour=red"}));
    EXPECT_EQ("'colour=red' is no FIELD=VALUE of a device", error);
    EXPECT_EQ("office-pc", Shown("device", "device.0.name"));
    for (const Words &words : {Words{}, Words{"add"}, Words{"add", "no-mac"}, Words{"change"}, Words{"remove"},
                               Words{"remove", "02:00:00:00:00:01"}, Words{"clear", "all"}, Words{"paint"}})
        EXPECT_FALSE(Edit("device", words));
    EXPECT_EQ(3u, house.Records("device").size());
}

TEST_F(TheHousehold, HasRoomForAsManyNeighboursAsAScanReturns)
{
    EXPECT_TRUE(Edit("neighbour", {"clear"}));
    for (int i = 0; i < 30; i++)
        EXPECT_TRUE(Edit("neighbour", {"add", "0200000000" + std::string(i < 10 ? "0" : "") + std::to_string(i)}));
    EXPECT_FALSE(Edit("neighbour", {"add", "02:00:00:00:00:ff"}));
    EXPECT_EQ("there is room for 30", error);
    EXPECT_EQ(30u * 77, house.Scan().size());
}

TEST_F(TheHousehold, AnswersAScanWithRecordsOf77Bytes)
{
    EXPECT_TRUE(Edit("neighbour", {"clear"}));
    EXPECT_TRUE(Edit("neighbour", {"add", "02:00:00:00:00:01", "ab", "WPA2", "rssi=-2", "frequency=2412000",
                                   "channel=1", "bandwidth=20", "load=99"}));
    Bytes record = {2, 0, 0, 0, 0, 1, 'a', 'b'};
    record.resize(39);
    Append(&record, ToBytes("WPA2"));
    record.resize(60);
    Append(&record, {0xFE, 0xFF, 0xFF, 0xFF, 0xE0, 0xCD, 0x24, 0, 1, 0, 20, 0, 99, 0});
    Append(&record, {0, 0, 0});
    EXPECT_EQ(record, house.Scan());
}

TEST_F(TheHousehold, MakesTheTopologyFromItsNodesUnlessATextIsSet)
{
    EXPECT_TRUE(Edit("node", {"clear"}));
    EXPECT_EQ("{\"nodes\":[]}", house.Topology());
    EXPECT_TRUE(Edit("node", {"add", "02:00:00:00:00:01", "hall", "role=satellite", "rssi=-40"}));
    EXPECT_EQ("{\"nodes\":[{\"mac\":\"02:00:00:00:00:01\",\"name\":\"hall\",\"role\":\"satellite\","
              "\"parent\":\"00:00:00:00:00:00\",\"link\":\"wired\",\"rssi\":-40}]}",
              house.Topology());
    EXPECT_TRUE(Set({"topology", "a", "tree"}));
    EXPECT_EQ("a tree", house.Topology());
}

TEST(LocalRecords, SwapOnlyTheAddressesOfAWan)
{
    Bytes record(228);
    for (size_t i = 0; i < record.size(); i++) record[i] = static_cast<uint8_t>(i);
    Bytes turned = record;
    for (const size_t at : {205u, 209u, 213u, 217u, 221u})
        for (size_t i = 0; i < 4; i++) turned[at + i] = record[at + 3 - i];
    EXPECT_EQ(turned, WithAddressesTurned(kWan, record));
}
