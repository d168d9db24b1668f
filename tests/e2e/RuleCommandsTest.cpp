// Port forwardings and limits as a platform sets them, from the words of a command to the packet filter's program and
// to the router.
#include <cstdio>

#include "tests/data/HostileTexts.h"
#include "tests/e2e/Diagnostics.h"

namespace
{
const char kPhone[] = "02:1a:2b:00:00:14";
const size_t kLongestText = 1200; // fits into one frame with the other members

class RuleCommands : public DiagnosticsTest
{
  protected:
    // Sends a forwarding; the agent's answer must have this result and this meaning.
    static std::string Forward(RunningSession &session, const std::string &command, int result)
    {
        session.platform.Command(command);
        const Event answer = session.platform.Wait("ack", {{"datatype", "9"}});
        EXPECT_EQ("{\"result\":" + std::to_string(result) + "}", answer.Text("text")) << command;
        EXPECT_EQ(std::to_string(result & 0xFFFF), answer.Text("head.ack")) << command;
        return answer.Has("meaning") ? answer.Text("meaning") : "";
    }

    static std::string Limit(RunningSession &session, const std::string &command)
    {
        session.platform.Command(command);
        return session.platform.Wait("reply", {{"function", "66"}, {"status", "0"}, {"matched", "true"}})
            .Text("meaning");
    }

    static void ExpectLimits(RunningSession &session, const std::string &up, const std::string &down)
    {
        session.platform.Command(std::string("device-limits ") + kPhone);
        const Event reply = session.platform.Wait("reply", {{"function", "34"}});
        EXPECT_EQ(up, reply.Text("fields.up"));
        EXPECT_EQ(down, reply.Text("fields.down"));
    }
};

// The frame of a forwarding with any bytes as its text: zeros, DataType 9, length, text.
std::string RawForward(const std::string &text)
{
    std::string hex = "frame plugin-command plain=000009";
    char digits[3];
    const auto add = [&](size_t byte) {
        snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(byte & 0xFF));
        hex += digits;
    };
    add(text.size());
    add(text.size() >> 8);
    for (const char byte : text) add(static_cast<unsigned char>(byte));
    return hex;
}

const char *const kMembers[] = {"PRE_IP", "PRE_PORT", "POST_IP", "POST_PORT"};

// A forwarding in which one member has another value.
std::string WithValue(size_t member, const std::string &value)
{
    std::string values[] = {"\"192.168.1.1\"", "\"8080\"", "\"192.168.2.50\"", "\"80\""};
    values[member] = value;
    std::string text = "{\"FLAG\":\"1\"";
    for (size_t i = 0; i < 4; i++) text += std::string(",\"") + kMembers[i] + "\":" + values[i];
    return text + "}";
}

// ---- Forwarding

TEST_F(RuleCommands, AForwardingRunsThePacketFilterForEveryRule)
{
    const FakeProgram iptables("iptables");
    RunningSession session(WithFakes());
    const std::string deletes = "<-t><nat><-D><PREROUTING><-d><192.168.1.1><-p><tcp><-m><tcp><--dport><8080>"
                                "<-j><DNAT><--to-destination><192.168.2.50:80>\n"
                                "<-t><nat><-D><POSTROUTING><-d><192.168.2.50><-p><tcp><-m><tcp><--dport><80>"
                                "<-j><SNAT><--to-source><192.168.1.1:8080>\n";
    const std::string appends = "<-t><nat><-A><PREROUTING><-d><192.168.1.1><-p><tcp><-m><tcp><--dport><8080>"
                                "<-j><DNAT><--to-destination><192.168.2.50:80>\n"
                                "<-t><nat><-A><POSTROUTING><-d><192.168.2.50><-p><tcp><-m><tcp><--dport><80>"
                                "<-j><SNAT><--to-source><192.168.1.1:8080>\n";
    EXPECT_EQ("the commands were run; what the packet filter said to them is not known",
              Forward(session, "forward add 192.168.1.1 8080 192.168.2.50 80", 0));
    EXPECT_EQ(deletes + appends, iptables.Runs());
    Forward(session, "forward del 192.168.1.1 8080 192.168.2.50 80", 0);
    EXPECT_EQ(deletes + appends + deletes, iptables.Runs());
    EXPECT_EQ("datatype_route_set", session.agent.WaitLog("datatype_route_set").text);
}

TEST_F(RuleCommands, ARefusalOfThePacketFilterIsIgnored)
{
    const FakeProgram iptables("iptables", "exit 2");
    RunningSession session(WithFakes());
    Forward(session, "forward add 192.168.1.1 8080 192.168.2.50 80", 0);
    iptables.AwaitRuns(4);
}

TEST_F(RuleCommands, AnIncompleteForwardingHasItsOwnResultAndRunsNothing)
{
    const FakeProgram iptables("iptables");
    RunningSession session(WithFakes());
    const struct {
        int result;
        const char *text;
        const char *meaning;
    } kCases[] = {
        {-2, "FLAG=1", "the text is no JSON"},
        {-3, "{\"PRE_IP\":\"1\",\"PRE_PORT\":\"2\",\"POST_IP\":\"3\",\"POST_PORT\":\"4\"}", "FLAG is missing"},
        {-4, "{\"FLAG\":\"1\",\"PRE_PORT\":\"2\",\"POST_IP\":\"3\",\"POST_PORT\":\"4\"}", "PRE_IP is missing"},
        {-5, "{\"FLAG\":\"1\",\"PRE_IP\":\"1\",\"POST_IP\":\"3\",\"POST_PORT\":\"4\"}", "PRE_PORT is missing"},
        {-6, "{\"FLAG\":\"1\",\"PRE_IP\":\"1\",\"PRE_PORT\":\"2\",\"POST_PORT\":\"4\"}", "POST_IP is missing"},
        {-7, "{\"FLAG\":\"1\",\"PRE_IP\":\"1\",\"PRE_PORT\":\"2\",\"POST_IP\":\"3\"}", "POST_PORT is missing"},
        {-8, "{\"FLAG\":\"x\",\"PRE_IP\":\"1\",\"PRE_PORT\":\"2\",\"POST_IP\":\"3\",\"POST_PORT\":\"4\"}",
         "FLAG begins with neither 1 nor 0"},
    };
    for (const auto &row : kCases)
        EXPECT_EQ(row.meaning, Forward(session, std::string("plugin route-set ") + row.text, row.result));
    EXPECT_EQ("", iptables.Runs());
}

TEST_F(RuleCommands, HostileTextsInAForwardingRunNothing)
{
    const FakeProgram iptables("iptables");
    RunningSession session(WithFakes());
    WriteFile("/tmp/x", "untouched\n"); // a file that some of the texts would change
    std::vector<std::string> values = HostileValues();
    for (const HostileText &hostile : HostileTexts())
        if (hostile.text.size() < kLongestText / 2) values.push_back(JsonString(hostile.text));
    ASSERT_GE(values.size(), 300u);
    for (const std::string &value : values)
        for (size_t member = 0; member < 4; member++) {
            const std::string text = WithValue(member, value);
            ASSERT_LE(text.size(), kLongestText);
            EXPECT_EQ("an address or a port is too long or no plain word; nothing was run",
                      Forward(session, RawForward(text), -9))
                << text;
        }
    EXPECT_EQ("", iptables.Runs());
    EXPECT_EQ("untouched\n", ReadFile("/tmp/x"));
    // The check can fail: the same frame with a good text runs commands.
    Forward(session, RawForward(WithValue(0, "\"192.168.1.1\"")), 0);
    iptables.AwaitRuns(4);
}

// ---- Limits

TEST_F(RuleCommands, LimitsReachTheRouter)
{
    RunningSession session;
    EXPECT_EQ("the agent is through with the text; how that went is in its log alone",
              Limit(session, std::string("limit ") + kPhone + " 1000 2000"));
    ExpectLimits(session, "1000", "2000");
    Limit(session, std::string("limit ") + kPhone + " off");
    ExpectLimits(session, "0", "0");
    const std::string calls = ReadFile(kCallLog);
    EXPECT_TRUE(Contains(calls, " set_dev_us_max_bw(mac=02:1a:2b:00:00:14, limit=1000) = 0\n")) << calls;
    EXPECT_TRUE(Contains(calls, " set_dev_ds_max_bw(mac=02:1a:2b:00:00:14, limit=2000) = 0\n")) << calls;
    EXPECT_TRUE(Contains(calls, " set_dev_us_max_bw(mac=02:1a:2b:00:00:14, limit=0) = 0\n")) << calls;
    EXPECT_TRUE(Contains(calls, " set_dev_ds_max_bw(mac=02:1a:2b:00:00:14, limit=0) = 0\n")) << calls;
}

TEST_F(RuleCommands, NegativeLimitsArePassedOnUnchanged)
{
    RunningSession session;
    Limit(session, std::string("limit ") + kPhone + " 2048 -1");
    const std::string calls = ReadFile(kCallLog);
    EXPECT_TRUE(Contains(calls, " set_dev_us_max_bw(mac=02:1a:2b:00:00:14, limit=2048) = ")) << calls;
    EXPECT_TRUE(Contains(calls, " set_dev_ds_max_bw(mac=02:1a:2b:00:00:14, limit=-1) = ")) << calls;
}

TEST_F(RuleCommands, AnIncompleteItemEndsTheListAndTheStatusIsStill0)
{
    RunningSession session;
    Limit(session, "set-bandwidth {\"LIST\":[{\"FLAG\":\"1\",\"MAC\":\"02:1A:2B:00:00:14\",\"UP\":\"10\","
                   "\"DOWN\":\"20\"},{\"FLAG\":\"1\",\"MAC\":\"02:1A:2B:00:00:14\",\"UP\":\"30\"}]}");
    ExpectLimits(session, "10", "20");
}
} // namespace
