#include "simulator/manager/LocalRequests.h"

#include <gtest/gtest.h>

using namespace sim;

namespace
{

struct LocalRequests : testing::Test {
    Household house;
    AutoReportKeeper keeper;

    LocalExchange Ask(uint16_t id, const Bytes &payload) { return AnswerRequest({id, 1, payload}, {&house, &keeper}); }
    static std::string Field(const Fields &fields, const std::string &path)
    {
        const protocol::Field *field = FindField(fields, path);
        return field ? field->value : "nothing at " + path;
    }
};

const Bytes kMark = {'i'};
const char kConfiguration[] = "{\"timestamp\":1700000000,\"referNum\":100,\"interval1\":5,\"interval2\":1440,"
                              "\"interval3\":60,\"jumpTime\":\"8:00-22:00\",\"serverDiff\":-3,"
                              "\"dayReportTime\":\"1700038880.250000\",\"cycleReportStart\":\"1700000120.500000\","
                              "\"save\":1}";

} // namespace

TEST_F(LocalRequests, AreAnsweredWithTheBytesOfTheHousehold)
{
    const struct {
        uint16_t id;
        Bytes payload, data;
    } questions[] = {
        {70, {1}, {5}},
        {71, kMark, {1}},
        {73, kMark, {1}},
        {75, kMark, {1}},
        {77, kMark, {70, 60}},
        {83, kMark, {}},
        {85, kMark, {}},
        {1, {}, ToBytes("1.0.0-simulated")},
        {5, {0, 0}, {0, 0, 0, 0}},
    };
    for (const auto &question : questions) {
        const LocalExchange exchange = Ask(question.id, question.payload);
        EXPECT_TRUE(exchange.problems.empty()) << question.id;
        EXPECT_TRUE(exchange.answer.wanted) << question.id;
        EXPECT_EQ(0, exchange.answer.status) << question.id;
        EXPECT_EQ(question.data, exchange.answer.data) << question.id;
    }
    EXPECT_EQ(231u, Ask(79, kMark).answer.data.size());
    EXPECT_EQ("5", Field(Ask(70, {1}).answerFields, "band"));
}

TEST_F(LocalRequests, ChangeTheHousehold)
{
    EXPECT_EQ(0, Ask(72, {0}).answer.status);
    EXPECT_EQ((Bytes{0}), Ask(73, kMark).answer.data);
    EXPECT_EQ(0, Ask(74, {0}).answer.status);
    EXPECT_EQ((Bytes{0}), Ask(75, kMark).answer.data);
    EXPECT_EQ(0, Ask(76, {9, 8}).answer.status);
    EXPECT_EQ((Bytes{9, 8}), Ask(77, kMark).answer.data);
    house.SetValue("mesh-support", {0});
    EXPECT_EQ(1, Ask(72, {1}).answer.status);
    EXPECT_EQ(1, Ask(70, {2}).answer.status); // a band that there is not
}

TEST_F(LocalRequests, TakeAWanWithItsAddressesInNetworkOrder)
{
    Bytes record(228);
    record[5] = 0xDC;
    record[6] = 0x05; // 1500
    record[205] = 192;
    record[206] = 0;
    record[207] = 2;
    record[208] = 77;
    const LocalExchange exchange = Ask(82, record);
    EXPECT_EQ(0, exchange.answer.status);
    EXPECT_EQ("192.0.2.77", Field(exchange.fields, "ip"));
    ASSERT_NE(nullptr, house.Find("wan", "0"));
    EXPECT_EQ("192.0.2.77", Field(ShowRecord(kWan, *house.Find("wan", "0")), "ip"));
    EXPECT_EQ("1500", Field(ShowRecord(kWan, *house.Find("wan", "0")), "mtu"));
    EXPECT_EQ(record, Ask(3, {}).answer.data);
}

TEST_F(LocalRequests, WithAnotherPayloadThanTheyHaveAreFaultsAndNotAnswered)
{
    const struct {
        uint16_t id;
        Bytes payload;
    } wrong[] = {{73, {'j'}},         {73, {}},          {73, {'i', 'i'}}, {72, {}},
                 {72, {1, 1}},        {76, {1}},         {82, Bytes(227)}, {88, ToBytes("no json")},
                 {998, ToBytes("i")}, {999, Bytes(431)}, {1, {1}},         {5, {0}}};
    for (const auto &request : wrong) {
        const LocalExchange exchange = Ask(request.id, request.payload);
        EXPECT_EQ(1u, exchange.problems.size()) << request.id;
        EXPECT_FALSE(exchange.answer.wanted) << request.id;
    }
    EXPECT_EQ("there is no request 6", Ask(6, {}).problems.at(0));
    EXPECT_EQ("there is no request 40", Ask(40, {}).problems.at(0));
}

TEST_F(LocalRequests, TellTheConfigurationThatWasHandedOver)
{
    EXPECT_EQ(1, Ask(997, kMark).answer.status); // nothing yet
    const LocalExchange handed = Ask(88, ToBytes(kConfiguration));
    EXPECT_TRUE(handed.answer.wanted);
    EXPECT_EQ(0, handed.answer.status);
    const LocalExchange told = Ask(997, kMark);
    EXPECT_EQ(0, told.answer.status);
    EXPECT_EQ("{\"referNum\":100,\"serverDiff\":-3,\"interval1\":5,\"interval2\":1440,\"interval3\":60,"
              "\"jumpTime\":\"8:00-22:00\"}",
              std::string(told.answer.data.begin(), told.answer.data.end()));
}

TEST_F(LocalRequests, ACalibrationIsNotAnsweredAndChangesTimesOnly)
{
    Ask(88, ToBytes(kConfiguration));
    const LocalExchange calibration =
        Ask(88, ToBytes("{\"interval1\":9,\"interval2\":9,\"interval3\":9,\"dayReportTime\":\"5.5\","
                        "\"cycleReportStart\":\"6.25\",\"save\":0}"));
    EXPECT_FALSE(calibration.answer.wanted);
    EXPECT_EQ(5, *keeper.Plan().interval1);
    EXPECT_EQ(5.5, keeper.Plan().dayReportTime);
    EXPECT_EQ(6.25, keeper.Plan().cycleReportStart);
}

TEST_F(LocalRequests, AFirmwareHandOverIsShownAndAnsweredWithOneByte)
{
    Bytes record(432);
    const auto put = [&](size_t at, const std::string &text) {
        std::copy(text.begin(), text.end(), record.begin() + static_cast<std::ptrdiff_t>(at));
    };
    put(0, "1.0");
    put(64, "2.0");
    put(128, "http://host/file");
    put(384, std::string("\x40\xE2\x01\x00\x01\x00\x00\x00", 8)); // 123456, method 1
    put(392, "0123456789abcdef0123456789abcdef");
    house.SetValue("firmware-result", {7});
    const LocalExchange exchange = Ask(999, record);
    EXPECT_EQ("1.0", Field(exchange.fields, "from_version"));
    EXPECT_EQ("2.0", Field(exchange.fields, "to_version"));
    EXPECT_EQ("http://host/file", Field(exchange.fields, "url"));
    EXPECT_EQ("123456", Field(exchange.fields, "file_length"));
    EXPECT_EQ("1", Field(exchange.fields, "check_method"));
    EXPECT_EQ("0123456789abcdef0123456789abcdef", Field(exchange.fields, "checksum"));
    EXPECT_TRUE(exchange.answer.wanted);
    EXPECT_EQ(7, exchange.answer.status);
    EXPECT_TRUE(exchange.answer.data.empty());
    house.SetValue("firmware-result", {255});
    EXPECT_FALSE(Ask(999, record).answer.wanted);
}

TEST(LocalNames, AreThoseOfTheFunctionsWhereThereAreSome)
{
    EXPECT_EQ("mesh", LocalName(73));
    EXPECT_EQ("devices", LocalName(40));
    EXPECT_EQ("firmware-update", LocalName(999));
    EXPECT_EQ("", LocalName(6));
    uint16_t id = 0;
    for (const std::string &name : LocalNames()) {
        EXPECT_TRUE(LocalNumber(name, &id)) << name;
        EXPECT_EQ(name, LocalName(id));
    }
    EXPECT_TRUE(LocalNumber("65535", &id));
    EXPECT_FALSE(LocalNumber("65536", &id));
    EXPECT_FALSE(LocalNumber("mash", &id));
}
