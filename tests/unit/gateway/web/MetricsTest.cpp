#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <set>

#include "gateway/translate/Json.h"
#include "gateway/web/Metrics.h"

using namespace gateway;

namespace
{
bool Has(const std::string &text, const std::string &line)
{
    return ('\n' + text).find('\n' + line + '\n') != std::string::npos;
}
} // namespace

TEST(Metrics, HaveTheValuesThatWereCounted)
{
    Counters counters;
    counters.sessions.Set(3);
    counters.loggedIn.Add();
    counters.bytesIn.Add(int64_t(1) << 40);
    counters.registrationLocked.Add(2);
    const std::string text = MetricsText(counters);
    EXPECT_TRUE(Has(text, "# TYPE plug_gateway_sessions gauge")) << text;
    EXPECT_TRUE(Has(text, "plug_gateway_sessions 3"));
    EXPECT_TRUE(Has(text, "plug_gateway_logins_total{result=\"accepted\"} 1"));
    EXPECT_TRUE(Has(text, "plug_gateway_logins_total{result=\"bad_token\"} 0"));
    EXPECT_TRUE(Has(text, "plug_gateway_registrations_total{result=\"locked\"} 2"));
    EXPECT_TRUE(Has(text, "plug_gateway_received_bytes_total 1099511627776"));
}

TEST(Metrics, HaveEachFamilyOnceWithItsHelp)
{
    const std::string text = MetricsText(Counters());
    std::set<std::string> families;
    size_t helps = 0;
    for (size_t at = text.find("# TYPE "); at != std::string::npos; at = text.find("# TYPE ", at + 1)) {
        const std::string name = text.substr(at + 7, text.find(' ', at + 7) - at - 7);
        EXPECT_TRUE(families.insert(name).second) << name << " twice";
        EXPECT_NE(std::string::npos, text.find("# HELP " + name + " ")) << name;
        EXPECT_EQ(std::string::npos, text.find("# HELP " + name + " \n")) << name;
        const std::string type = text.substr(at, text.find('\n', at) - at);
        const bool total = name.size() > 6 && name.compare(name.size() - 6, 6, "_total") == 0;
        EXPECT_EQ(total, type.find(" counter") != std::string::npos) << type;
    }
    for (size_t at = text.find("# HELP "); at != std::string::npos; at = text.find("# HELP ", at + 1)) helps++;
    EXPECT_EQ(families.size(), helps);
    EXPECT_LT(20u, families.size());
}

TEST(Metrics, HaveEachQuestionsTimeInTheBucketOfTheNextBound)
{
    Counters counters;
    for (const double seconds : {0.0, 0.0005, 0.0006, 9.5, 10.0, 10.5}) counters.questions.Observe(seconds);
    const std::string text = MetricsText(counters), name = "plug_gateway_question_seconds";
    EXPECT_TRUE(Has(text, name + "_bucket{le=\"0.0005\"} 2")) << text;
    EXPECT_TRUE(Has(text, name + "_bucket{le=\"0.001\"} 3"));
    EXPECT_TRUE(Has(text, name + "_bucket{le=\"5\"} 3"));
    EXPECT_TRUE(Has(text, name + "_bucket{le=\"10\"} 5"));
    EXPECT_TRUE(Has(text, name + "_bucket{le=\"+Inf\"} 6"));
    EXPECT_TRUE(Has(text, name + "_count 6"));
    EXPECT_TRUE(Has(text, name + "_sum 30.0011"));
}

// ---- The dashboard

TEST(Dashboard, AsksForMetricsAndLabelsThatThereAre)
{
    std::ifstream file(DASHBOARD);
    const Json dashboard = Json::parse(file, nullptr, false);
    ASSERT_TRUE(dashboard.is_object());
    const std::string text = '\n' + MetricsText(Counters());
    const std::regex metric("plug_gateway_[a-z_]+"), grouped("sum by \\(([a-z]+)\\) \\(rate\\((plug_gateway_[a-z_]+)");
    std::set<std::string> asked;
    for (const Json &panel : dashboard["panels"])
        for (const Json &target : panel["targets"]) {
            const std::string expression = target["expr"];
            std::smatch found;
            for (std::string rest = expression; std::regex_search(rest, found, metric); rest = found.suffix()) {
                asked.insert(found[0]);
                const bool there = text.find('\n' + found.str() + '{') != std::string::npos ||
                                   text.find('\n' + found.str() + ' ') != std::string::npos;
                EXPECT_TRUE(there) << found[0] << " in " << expression;
            }
            const bool groups = std::regex_search(expression, found, grouped);
            EXPECT_TRUE(!groups || text.find('\n' + found[2].str() + '{' + found[1].str() + '=') != std::string::npos)
                << expression;
        }
    EXPECT_LT(20u, asked.size());
}
