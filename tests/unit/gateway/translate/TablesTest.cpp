#include "protocol/FunctionParameters.h"
#include "tests/unit/gateway/translate/Samples.h"

using namespace gateway;

// What a form needs to know of a question.
TEST(FunctionTable, SaysWhatEachParameterIs)
{
    EXPECT_EQ("{\"name\":\"ping\",\"summary\":\"start a ping\",\"number\":8,\"answered\":true,\"parameters\":["
              "{\"name\":\"host\",\"type\":\"ip\",\"about\":\"the host to ping\",\"required\":true},"
              "{\"name\":\"size\",\"type\":\"number\",\"about\":\"payload of each packet\",\"required\":false,"
              "\"unit\":\"bytes\",\"low\":0,\"high\":65535,\"initial\":56},"
              "{\"name\":\"count\",\"type\":\"number\",\"about\":\"number of packets, at most 50; with 0 the ping is "
              "ended after 500 s\",\"required\":false,\"low\":0,\"high\":65535,\"initial\":4}]}",
              JsonText(RowOf(FunctionsJson(), "ping")));
    EXPECT_EQ(Json::parse("[\"off\",\"on\"]"), RowOf(FunctionsJson(), "set-led")["parameters"][0]["values"]);
    EXPECT_EQ("json", RowOf(FunctionsJson(), "config-data")["parameters"][0]["type"]);
    EXPECT_EQ(UINT64_MAX, RowOf(FunctionsJson(), "set-time")["parameters"][0]["high"].get<uint64_t>());
    EXPECT_FALSE(RowOf(FunctionsJson(), "no-operation-40")["answered"].get<bool>());
}

TEST(FunctionTable, IsEnoughToAskEachWithWhatIsRequiredAlone)
{
    for (const Json &row : FunctionsJson()) {
        const Json given = SamplesOf(row, false);
        const bool shared = given.empty() && !row["parameters"].empty();
        EXPECT_EQ(shared && row["name"].get<std::string>().find("set-") == 0 ? "bad_parameter: nothing is given"
                                                                             : "none",
                  AskFault(row["name"], given))
            << row["name"];
    }
}

TEST(CommandTable, SaysWhatEachParameterIs)
{
    EXPECT_EQ("{\"name\":\"report-interval\",\"summary\":\"report each device that comes online, and again after some "
              "minutes\",\"command\":18,\"parameters\":[{\"name\":\"minutes\",\"type\":\"number\",\"about\":\"until a "
              "device is reported again, 1 to 19; 0: report none\",\"required\":true,\"low\":-2147483648,"
              "\"high\":2147483647}]}",
              JsonText(RowOf(CommandsJson(), "report-interval")));
    EXPECT_EQ(Json::parse("[\"del\",\"add\"]"), RowOf(CommandsJson(), "forward")["parameters"][0]["values"]);
}

TEST(Tables, HaveNoNameTwice)
{
    for (const Json &rows : {FunctionsJson(), CommandsJson()}) {
        std::vector<std::string> names;
        for (const Json &row : rows) names.push_back(row["name"]);
        std::sort(names.begin(), names.end());
        EXPECT_EQ(names.end(), std::adjacent_find(names.begin(), names.end()));
    }
}
