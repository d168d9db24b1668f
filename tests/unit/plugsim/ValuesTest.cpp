#include "simulator/console/Values.h"

#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>

using namespace sim;

namespace
{
Event Reply()
{
    Field devices = {"devices", Field::Kind::List, "", "", {}};
    devices.children = {ObjectField("", {TextField("name", "laptop")}),
                        ObjectField("", {TextField("name", "printer")})};
    return {"reply",
            {NumberField("status", 7),
             ObjectField("fields", {devices, TextField("topology", "{\"nodes\":[{\"name\":\"garden\"}]}")})},
            1000.25};
}

struct ScriptValues : testing::Test {
    // The word with its values; "!" and the reason if a value is missing.
    std::string Expanded(const std::string &word)
    {
        const Event reply = Reply();
        Words words = {word};
        std::string error;
        return values.Expand(&reply, &words, &error) ? words[0] : "!" + error;
    }
    Values values;
};

std::string Calculated(const Words &words)
{
    std::string value, error;
    return Calculate(words, &value, &error) ? value : "!" + error;
}
} // namespace

TEST_F(ScriptValues, HasTheValuesThatItKeeps)
{
    values.Set("mac", "02:00:00:00:00:01");
    values.Set("n", "5");
    EXPECT_EQ("mac=02:00:00:00:00:01, 5.", Expanded("mac=${mac}, ${n}."));
    values.Set("n", "6");
    EXPECT_EQ("{\"clients\":6}", Expanded("{\"clients\":${n}}"));
}

TEST_F(ScriptValues, HasTheValuesOfTheEnvironmentUnlessSet)
{
    setenv("PLUGSIM_TEST_VALUE", "from outside", 1);
    EXPECT_EQ("from outside", Expanded("${PLUGSIM_TEST_VALUE}"));
    values.Set("PLUGSIM_TEST_VALUE", "own");
    EXPECT_EQ("own", Expanded("${PLUGSIM_TEST_VALUE}"));
}

TEST_F(ScriptValues, HasTheValuesOfTheEventThatWasTaken)
{
    EXPECT_EQ("7", Expanded("${.status}"));
    EXPECT_EQ("printer", Expanded("${.fields.devices.1.name}"));
    EXPECT_EQ("2", Expanded("${.fields.devices.#}"));
    EXPECT_EQ("garden", Expanded("${.fields.topology.nodes.0.name}"));
    EXPECT_EQ("1000.25", Expanded("${.t}"));
}

TEST_F(ScriptValues, FormatsItsValues)
{
    values.Set("n", "12.345");
    EXPECT_EQ("12.345  |", Expanded("${n:8}|"));
    EXPECT_EQ("12.3", Expanded("${n:.1}"));
    EXPECT_EQ(".34", Expanded("${n:2+3}"));
    EXPECT_EQ("", Expanded("${n:9+3}"));
    EXPECT_EQ("12    |", Expanded("${n:0+2:6}|"));
}

TEST_F(ScriptValues, NamesTheMissingValue)
{
    EXPECT_EQ("!there is no value for ${no_such_value}", Expanded("x${no_such_value}"));
    for (const char *word : {"${}", "${", "${.fields}x${.nothing}", "${.fields.devices}", "${.status.#}",
                             "${.status:x}", "${.fields.topology.x}", "${.fields.topology:.1}"})
        EXPECT_EQ('!', Expanded(word)[0]) << word;
    Words words = {"${.status}"};
    std::string error;
    EXPECT_FALSE(values.Expand(nullptr, &words, &error)); // nothing has been waited for yet
}

TEST_F(ScriptValues, DoesNotExpandItsResultAgain)
{
    values.Set("text", "${IFS} $x");
    EXPECT_EQ("${IFS} $x", Expanded("${text}"));
    EXPECT_EQ("$5 $ }", Expanded("$5 $ }"));
}

TEST(ScriptSum, GoesFromLeftToRight)
{
    EXPECT_EQ("20", Calculated({"2", "+", "3", "*", "4"}));
    EXPECT_EQ("0.333", Calculated({"1", "/", "3"}));
    EXPECT_EQ("1795290968.779", Calculated({"1795290969.779", "-", "1"}));
    EXPECT_EQ("0", Calculated({"1", "-", "1"}));
    EXPECT_EQ("!use: NUMBER [+|-|*|/ NUMBER]...", Calculated({"1", "+"}));
    EXPECT_EQ("!use: NUMBER [+|-|*|/ NUMBER]...", Calculated({"1", "+", "two"}));
    EXPECT_EQ("!use: NUMBER [+|-|*|/ NUMBER]...", Calculated({"1", "+", "2", "x", "3"}));
}

TEST(ScriptSum, WithoutAnOperatorIsAText)
{
    EXPECT_EQ("a b", Calculated({"a", "b"}));
    EXPECT_EQ("2", Calculated({"2"}));
    EXPECT_EQ("", Calculated({}));
}

TEST(ScriptSum, IsADateInLocalTime)
{
    setenv("TZ", "<east>-2", 1);
    tzset();
    EXPECT_EQ("02:00 4", Calculated({"date", "%H:%M %u", "0"}));
    unsetenv("TZ");
    tzset();
}
