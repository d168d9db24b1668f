// Commands to the agent itself, by their data type.
#include "plugin/ParseJson.h"

#include "core/Common.h"
#include "tests/unit/agent/LinkTest.h"

namespace
{
const char kForwarding[] = "{\"FLAG\":\"0\",\"PRE_IP\":\"192.168.1.1\",\"PRE_PORT\":\"8080\",\"POST_IP\":\"192.168.2."
                           "50\",\"POST_PORT\":\"80\"}";

class ParserPlugDataTest : public LinkTest
{
  protected:
    void TearDown() override
    {
        FakeCommandEnd();
        LinkTest::TearDown();
    }
};
} // namespace

TEST_F(ParserPlugDataTest, DataType9SetsARoute)
{
    EXPECT_EQ(0, ParserPlugData(9, kForwarding));
    EXPECT_EQ((std::vector<std::string>{"iptables -t nat -D PREROUTING -d 192.168.1.1 -p tcp -m tcp --dport 8080 -j "
                                        "DNAT --to-destination 192.168.2.50:80",
                                        "iptables -t nat -D POSTROUTING -d 192.168.2.50 -p tcp -m tcp --dport 80 -j "
                                        "SNAT --to-source 192.168.1.1:8080"}),
              FakeCommands());
}

TEST_F(ParserPlugDataTest, ARouteIsLoggedBeforeItIsSet)
{
    ParserPlugData(9, kForwarding);
    const std::string log = Log();
    const size_t name = log.find("[DEBUG] [ParseJson->ParserPlugData->");
    ASSERT_NE(std::string::npos, name) << log;
    EXPECT_EQ("]-> datatype_route_set\n", log.substr(log.find("]-> ", name), 23));
    EXPECT_LT(name, log.find("route_cmd1"));
}

TEST_F(ParserPlugDataTest, TheResultOfARouteIsReturned)
{
    EXPECT_EQ(-1, ParserPlugData(9, nullptr));
    EXPECT_EQ(-2, ParserPlugData(9, "FLAG"));
    EXPECT_EQ(-3, ParserPlugData(9, "{}"));
    EXPECT_EQ(-9, ParserPlugData(9, "{\"FLAG\":\"1\",\"PRE_IP\":\"$(id)\",\"PRE_PORT\":\"1\",\"POST_IP\":\"2\","
                                    "\"POST_PORT\":\"3\"}"));
    EXPECT_TRUE(FakeCommands().empty());
}

TEST_F(ParserPlugDataTest, EveryOtherDataTypeIsIgnored)
{
    for (int type = 0; type < 256; type++) {
        if ((type >= 1 && type <= 9 && type != 3 && type != 8) || type == 15 || type == 16 || type == 18) continue;
        EXPECT_EQ(0, ParserPlugData(static_cast<uint8_t>(type), kForwarding)) << type;
    }
    EXPECT_TRUE(FakeCommands().empty());
    EXPECT_EQ("", Log());
}
