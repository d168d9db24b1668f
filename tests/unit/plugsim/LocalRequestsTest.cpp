#include "simulator/manager/LocalRequests.h"

#include <gtest/gtest.h>

#include "comm/FuncIdList.h"

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
        {FUNCID_WIFI_BAND, {1}, {5}},
        {FUNCID_MESH_SUPPORT, kMark, {1}},
        {FUNCID_MESH, kMark, {1}},
        {FUNCID_MESH_ROAMING, kMark, {1}},
        {FUNCID_THRESHOLDS, kMark, {70, 60}},
        {FUNCID_ONE_KEY_OPTIMIZE, kMark, {}},
        {FUNCID_FAULT_DIAGNOSIS, kMark, {}},
        {FUNCID_VERSION, {}, ToBytes("1.0.0-simulated")},
        {FUNCID_WAN_CONNECTIONS, {0, 0}, {0, 0, 0, 0}},
    };
    for (const auto &question : questions) {
        const LocalExchange exchange = Ask(question.id, question.payload);
        EXPECT_TRUE(exchange.problems.empty()) << question.id;
        EXPECT_TRUE(exchange.answer.wanted) << question.id;
        EXPECT_EQ(0, exchange.answer.status) << question.id;
        EXPECT_EQ(question.data, exchange.answer.data) << question.id;
    }
    EXPECT_EQ(231u, Ask(FUNCID_ADJACENT_WIFI_INFO, kMark).answer.data.size());
    EXPECT_EQ("5", Field(Ask(FUNCID_WIFI_BAND, {1}).answerFields, "band"));
}

TEST_F(LocalRequests, ChangeTheHousehold)
{
    EXPECT_EQ(0, Ask(FUNCID_SET_MESH, {0}).answer.status);
    EXPECT_EQ((Bytes{0}), Ask(FUNCID_MESH, kMark).answer.data);
    EXPECT_EQ(0, Ask(FUNCID_SET_MESH_ROAMING, {0}).answer.status);
    EXPECT_EQ((Bytes{0}), Ask(FUNCID_MESH_ROAMING, kMark).answer.data);
    EXPECT_EQ(0, Ask(FUNCID_SET_THRESHOLDS, {9, 8}).answer.status);
    EXPECT_EQ((Bytes{9, 8}), Ask(FUNCID_THRESHOLDS, kMark).answer.data);
    house.SetValue("mesh-support", {0});
    EXPECT_EQ(1, Ask(FUNCID_SET_MESH, {1}).answer.status);
    EXPECT_EQ(1, Ask(FUNCID_WIFI_BAND, {2}).answer.status); // an unknown band
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
    const LocalExchange exchange = Ask(FUNCID_SET_WAN_CONFIG, record);
    EXPECT_EQ(0, exchange.answer.status);
    EXPECT_EQ("192.0.2.77", Field(exchange.fields, "ip"));
    ASSERT_NE(nullptr, house.Find("wan", "0"));
    EXPECT_EQ("192.0.2.77", Field(ShowRecord(kWan, *house.Find("wan", "0")), "ip"));
    EXPECT_EQ("1500", Field(ShowRecord(kWan, *house.Find("wan", "0")), "mtu"));
    EXPECT_EQ(record, Ask(FUNCID_WAN_CONFIG, {}).answer.data);
}

TEST_F(LocalRequests, WithAnInvalidPayloadAreErrorsAndNotAnswered)
{
    const struct {
        uint16_t id;
        Bytes payload;
    } wrong[] = {{FUNCID_MESH, {'j'}},
                 {FUNCID_MESH, {}},
                 {FUNCID_MESH, {'i', 'i'}},
                 {FUNCID_SET_MESH, {}},
                 {FUNCID_SET_MESH, {1, 1}},
                 {FUNCID_SET_THRESHOLDS, {1}},
                 {FUNCID_SET_WAN_CONFIG, Bytes(227)},
                 {FUNCID_SET_AUTO_REPORT, ToBytes("no json")},
                 {FUNCID_PLUGIN_STATE, ToBytes("i")},
                 {FUNCID_FIRMWARE_UPDATE, Bytes(431)},
                 {FUNCID_VERSION, {1}},
                 {FUNCID_WAN_CONNECTIONS, {0}}};
    for (const auto &request : wrong) {
        const LocalExchange exchange = Ask(request.id, request.payload);
        EXPECT_EQ(1u, exchange.problems.size()) << request.id;
        EXPECT_FALSE(exchange.answer.wanted) << request.id;
    }
    EXPECT_EQ("there is no request 6", Ask(6, {}).problems.at(0));
    EXPECT_EQ("there is no request 40", Ask(FUNCID_DEVICES, {}).problems.at(0));
}

TEST_F(LocalRequests, ReturnTheStoredConfiguration)
{
    EXPECT_EQ(1, Ask(FUNCID_AUTO_REPORT_CONFIG, kMark).answer.status); // nothing yet
    const LocalExchange handed = Ask(FUNCID_SET_AUTO_REPORT, ToBytes(kConfiguration));
    EXPECT_TRUE(handed.answer.wanted);
    EXPECT_EQ(0, handed.answer.status);
    const LocalExchange told = Ask(FUNCID_AUTO_REPORT_CONFIG, kMark);
    EXPECT_EQ(0, told.answer.status);
    EXPECT_EQ("{\"referNum\":100,\"serverDiff\":-3,\"interval1\":5,\"interval2\":1440,\"interval3\":60,"
              "\"jumpTime\":\"8:00-22:00\"}",
              std::string(told.answer.data.begin(), told.answer.data.end()));
}

TEST_F(LocalRequests, ACalibrationIsNotAnsweredAndChangesTimesOnly)
{
    Ask(FUNCID_SET_AUTO_REPORT, ToBytes(kConfiguration));
    const LocalExchange calibration = Ask(
        FUNCID_SET_AUTO_REPORT, ToBytes("{\"interval1\":9,\"interval2\":9,\"interval3\":9,\"dayReportTime\":\"5.5\","
                                        "\"cycleReportStart\":\"6.25\",\"save\":0}"));
    EXPECT_FALSE(calibration.answer.wanted);
    EXPECT_EQ(5, *keeper.Plan().interval1);
    EXPECT_EQ(5.5, keeper.Plan().dayReportTime);
    EXPECT_EQ(6.25, keeper.Plan().cycleReportStart);
}

TEST_F(LocalRequests, AFirmwareUpdateIsShownAndAnsweredWithOneByte)
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
    const LocalExchange exchange = Ask(FUNCID_FIRMWARE_UPDATE, record);
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
    EXPECT_FALSE(Ask(FUNCID_FIRMWARE_UPDATE, record).answer.wanted);
}

TEST(LocalNames, AreThoseOfTheFunctionsWhereTheyExist)
{
    EXPECT_EQ("mesh", LocalName(FUNCID_MESH));
    EXPECT_EQ("devices", LocalName(FUNCID_DEVICES));
    EXPECT_EQ("firmware-update", LocalName(FUNCID_FIRMWARE_UPDATE));
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
