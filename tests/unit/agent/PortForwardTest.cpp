#include "rules/PortForward.h"

#include <algorithm>
#include <map>
#include <set>

#include "core/Common.h"
#include "tests/data/HostileTexts.h"
#include "tests/unit/agent/LinkTest.h"
#include "tests/unit/agent/PlatformSide.h"

namespace
{

typedef std::vector<std::string> Texts;
typedef std::map<std::string, std::string> Document; // names to values in JSON

const Texts kNames = {"FLAG", "PRE_IP", "PRE_PORT", "POST_IP", "POST_PORT"};
const Texts kWords = {"PRE_IP", "PRE_PORT", "POST_IP", "POST_PORT"};

const Texts kDeletes = {"iptables -t nat -D PREROUTING -d 192.168.1.1 -p tcp -m tcp --dport 8080 -j DNAT "
                        "--to-destination 192.168.2.50:80",
                        "iptables -t nat -D POSTROUTING -d 192.168.2.50 -p tcp -m tcp --dport 80 -j SNAT "
                        "--to-source 192.168.1.1:8080"};
const Texts kAddition = {kDeletes[0], kDeletes[1],
                         "iptables -t nat -A PREROUTING -d 192.168.1.1 -p tcp -m tcp --dport 8080 -j DNAT "
                         "--to-destination 192.168.2.50:80",
                         "iptables -t nat -A POSTROUTING -d 192.168.2.50 -p tcp -m tcp --dport 80 -j SNAT "
                         "--to-source 192.168.1.1:8080"};

Document Forwarding(const std::string &flag)
{
    return {{"FLAG", JsonString(flag)},
            {"PRE_IP", "\"192.168.1.1\""},
            {"PRE_PORT", "\"8080\""},
            {"POST_IP", "\"192.168.2.50\""},
            {"POST_PORT", "\"80\""}};
}

Document With(Document document, const std::string &name, const std::string &value)
{
    document[name] = value;
    return document;
}

Document Without(Document document, std::initializer_list<const char *> names)
{
    for (const char *name : names) document.erase(name);
    return document;
}

std::string Text(const Document &document)
{
    std::string text;
    for (const auto &member : document) text += (text.empty() ? "{\"" : ",\"") + member.first + "\":" + member.second;
    return text.empty() ? "{}" : text + "}";
}

int Parse(const Document &document)
{
    return ParseRouteParam(Text(document).c_str());
}

// With a failure that names the value.
void ExpectRefused(int code, const std::string &name, const std::string &value)
{
    EXPECT_EQ(code, Parse(With(Forwarding("1"), name, value))) << name << " " << value;
}

class PortForward : public LinkTest
{
  protected:
    void SetUp() override
    {
        LinkTest::SetUp();
        EXPECT_EQ(PORT_FORWARD_NO_JSON, ParseRouteParam("")); // forgets the parameters of other tests
        Log();
    }
    void TearDown() override
    {
        FakeCommandEnd();
        LinkTest::TearDown();
    }
    // What the main thread does at the end of a session, and then every second while it waits. A second passes.
    static void EndSession()
    {
        SessionContext none = {};
        FakeClockAuto(true);
        DeleteServer(&none);
        FakeClockAuto(false);
    }
    // A command that runs until it is ended.
    static FakeScript Endless()
    {
        FakeScript script;
        script.lasts = true;
        return script;
    }
    // Waits until so many commands have been started and the last one runs.
    static void AwaitCommands(size_t count)
    {
        ASSERT_TRUE(Within([=] { return FakeCommands().size() == count && FakeCommandsRunning() == 1; }));
    }
    // The messages logged since the last call, without stamp and origin.
    Texts Messages()
    {
        const std::string log = Log();
        Texts messages;
        for (size_t at = 0; (at = log.find("]-> ", at)) != std::string::npos;) {
            at += 4;
            const size_t end = std::min(log.find("\n2023-", at), log.size());
            messages.push_back(log.substr(at, end - at));
        }
        return messages;
    }
};

} // namespace

// ---- Commands ----

TEST_F(PortForward, AnAdditionDeletesThenAppendsAlwaysPreroutingFirst)
{
    EXPECT_EQ(0, Parse(Forwarding("1")));
    EXPECT_EQ(kAddition, FakeCommands());
}

TEST_F(PortForward, ADeletionRunsTheTwoDeletes)
{
    EXPECT_EQ(0, Parse(Forwarding("0")));
    EXPECT_EQ(kDeletes, FakeCommands());
}

TEST_F(PortForward, OneCommandRunsAtATime)
{
    Parse(Forwarding("1"));
    EXPECT_EQ(1, FakeCommandsAtOnce());
    EXPECT_EQ(0, FakeCommandsRunning());
}

TEST_F(PortForward, OnlyTheFirstCharacterOfTheFlagCounts)
{
    for (const std::string flag : {"10", "1x", "1;id", "1\n"}) {
        FakeOsReset();
        EXPECT_EQ(0, Parse(Forwarding(flag))) << flag;
        EXPECT_EQ(kAddition, FakeCommands()) << flag;
    }
    for (const std::string flag : {"01", "0 ", "0$(id)"}) {
        FakeOsReset();
        EXPECT_EQ(0, Parse(Forwarding(flag))) << flag;
        EXPECT_EQ(kDeletes, FakeCommands()) << flag;
    }
    FakeOsReset();
    EXPECT_EQ(0, Parse(Forwarding(std::string(10000, '1'))));
    EXPECT_EQ(kAddition, FakeCommands());
}

TEST_F(PortForward, TheExitStatusesAreIgnored)
{
    FakeScript script;
    script.status = 1;
    FakeCommand("iptables", script);
    EXPECT_EQ(0, Parse(Forwarding("1")));
    EXPECT_EQ(kAddition, FakeCommands());
}

TEST_F(PortForward, ACommandThatCannotBeStartedDoesNotStopTheOthers)
{
    FakeScript script;
    script.cannotStart = true;
    FakeCommand("iptables", script);
    EXPECT_EQ(0, Parse(Forwarding("1")));
    EXPECT_EQ(kAddition, FakeCommands());
}

TEST_F(PortForward, TheLongestTextsPassWhole)
{
    const std::string pre(31, 'a'), post(31, '9');
    Document document = With(With(Forwarding("1"), "PRE_IP", JsonString(pre)), "POST_IP", JsonString(post));
    document = With(With(document, "PRE_PORT", "\"http-x1\""), "POST_PORT", "\"1234567\"");
    EXPECT_EQ(0, Parse(document));
    EXPECT_EQ(Texts({"iptables -t nat -D PREROUTING -d " + pre +
                         " -p tcp -m tcp --dport http-x1 -j DNAT --to-destination " + post + ":1234567",
                     "iptables -t nat -D POSTROUTING -d " + post +
                         " -p tcp -m tcp --dport 1234567 -j SNAT --to-source " + pre + ":http-x1",
                     "iptables -t nat -A PREROUTING -d " + pre +
                         " -p tcp -m tcp --dport http-x1 -j DNAT --to-destination " + post + ":1234567",
                     "iptables -t nat -A POSTROUTING -d " + post +
                         " -p tcp -m tcp --dport 1234567 -j SNAT --to-source " + pre + ":http-x1"}),
              FakeCommands());
}

TEST_F(PortForward, EveryAllowedCharacterPasses)
{
    const std::string plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.:/_-";
    for (const std::string &name : kWords)
        for (const char character : plain) {
            const std::string value = JsonString(std::string("1") + character);
            EXPECT_EQ(0, Parse(With(Forwarding("0"), name, value))) << name << " " << value;
        }
    EXPECT_EQ(4 * plain.size() * 2, FakeCommands().size());
}

// ---- Results ----

TEST_F(PortForward, AMissingTextReturnsMinus1)
{
    EXPECT_EQ(-1, ParseRouteParam(nullptr));
    EXPECT_EQ(Texts(), FakeCommands());
}

TEST_F(PortForward, InvalidJsonReturnsMinus2)
{
    const std::string whole = Text(Forwarding("1"));
    for (size_t length = 0; length < whole.size(); length++)
        EXPECT_EQ(-2, ParseRouteParam(whole.substr(0, length).c_str())) << length;
    for (const char *text : {"", " ", "FLAG=1", "{FLAG:1}", "{'FLAG':'1'}", "\xFF", "<FLAG>1</FLAG>"})
        EXPECT_EQ(-2, ParseRouteParam(text)) << text;
    EXPECT_EQ(-2, ParseRouteParam(std::string(100000, '[').c_str()));
    EXPECT_EQ(Texts(), FakeCommands());
}

TEST_F(PortForward, EachMissingMemberHasItsResult)
{
    EXPECT_EQ(-3, Parse(Without(Forwarding("1"), {"FLAG"})));
    EXPECT_EQ(-4, Parse(Without(Forwarding("1"), {"PRE_IP"})));
    EXPECT_EQ(-5, Parse(Without(Forwarding("1"), {"PRE_PORT"})));
    EXPECT_EQ(-6, Parse(Without(Forwarding("1"), {"POST_IP"})));
    EXPECT_EQ(-7, Parse(Without(Forwarding("1"), {"POST_PORT"})));
    EXPECT_EQ(Texts(), FakeCommands());
}

TEST_F(PortForward, TheFirstMissingMemberDecides)
{
    EXPECT_EQ(-3, Parse({}));
    EXPECT_EQ(-4, Parse(Without(Forwarding("x"), {"PRE_IP", "POST_PORT"})));
    EXPECT_EQ(-6, Parse(Without(Forwarding("1"), {"POST_PORT", "POST_IP"})));
    EXPECT_EQ(Texts(), FakeCommands());
}

TEST_F(PortForward, ADocumentThatIsNoObjectLacksTheFlag)
{
    for (const char *text : {"[]", "[\"FLAG\"]", "\"FLAG\"", "1", "null", "true", "[{\"FLAG\":\"1\"}]"})
        EXPECT_EQ(-3, ParseRouteParam(text)) << text;
    EXPECT_EQ(Texts(), FakeCommands());
}

TEST_F(PortForward, AFlagThatBeginsWithNeither1Nor0ReturnsMinus8)
{
    for (const std::string flag : {"x", "", " 1", "2", "-1", "true", "+1", "\xEF\xBC\x91"})
        ExpectRefused(-8, "FLAG", JsonString(flag));
    EXPECT_EQ(Texts(), FakeCommands());
}

TEST_F(PortForward, OneCharacterTooManyReturnsMinus9)
{
    for (const std::string name : {"PRE_IP", "POST_IP"}) ExpectRefused(-9, name, JsonString(std::string(32, '1')));
    for (const std::string name : {"PRE_PORT", "POST_PORT"}) ExpectRefused(-9, name, JsonString(std::string(8, '1')));
    EXPECT_EQ(Texts(), FakeCommands());
}

TEST_F(PortForward, TheOtherResultsComeBeforeMinus9)
{
    const Document hostile = With(Forwarding("1"), "PRE_IP", "\";id\"");
    EXPECT_EQ(-7, Parse(Without(hostile, {"POST_PORT"})));
    EXPECT_EQ(-8, Parse(With(hostile, "FLAG", "\"x\"")));
    EXPECT_EQ(-9, Parse(hostile));
    EXPECT_EQ(Texts(), FakeCommands());
}

// ---- Hostile texts ----

TEST(HostileTextsTest, AreManyAndAllDifferent)
{
    std::set<std::string> texts;
    for (const HostileText &hostile : HostileTexts()) EXPECT_TRUE(texts.insert(hostile.text).second) << hostile.text;
    EXPECT_GE(texts.size(), 200u);
}

TEST_F(PortForward, AHostileTextInAnyFieldIsRefusedAndNothingIsRun)
{
    for (const HostileText &hostile : HostileTexts())
        for (const std::string &name : kWords) ExpectRefused(-9, name, JsonString(hostile.text));
    EXPECT_EQ(Texts(), FakeCommands());
}

TEST_F(PortForward, AHostileTextIsAlsoRefusedForADeletion)
{
    for (const HostileText &hostile : HostileTexts())
        for (const std::string &name : kWords)
            EXPECT_EQ(-9, Parse(With(Forwarding("0"), name, JsonString(hostile.text)))) << hostile.text;
    EXPECT_EQ(Texts(), FakeCommands());
}

TEST_F(PortForward, AHostileFlagIsJudgedByItsFirstCharacterAndIsNeverPartOfACommand)
{
    for (const HostileText &hostile : HostileTexts()) {
        FakeOsReset();
        const int result = Parse(Forwarding(hostile.text));
        const char first = hostile.text.empty() ? '\0' : hostile.text[0];
        EXPECT_EQ(first == '1' || first == '0' ? 0 : -8, result) << hostile.text;
        EXPECT_EQ(first == '1' ? kAddition : first == '0' ? kDeletes : Texts(), FakeCommands()) << hostile.text;
    }
}

TEST_F(PortForward, AValueThatIsNoTextIsRefusedAndNothingIsRun)
{
    for (const std::string &value : HostileValues()) {
        ExpectRefused(-8, "FLAG", value);
        for (const std::string &name : kWords) ExpectRefused(-9, name, value);
    }
    EXPECT_EQ(Texts(), FakeCommands());
}

TEST_F(PortForward, EveryByteThatIsNotAllowedIsRefusedAtAnyPosition)
{
    const std::string plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.:/_-";
    for (int code = 1; code < 256; code++) {
        const std::string byte(1, static_cast<char>(code));
        if (plain.find(byte) != std::string::npos) continue;
        for (const std::string &text : {byte, byte + "80", "8" + byte + "0", "80" + byte})
            for (const std::string &name : kWords) ExpectRefused(-9, name, JsonString(text));
    }
    EXPECT_EQ(Texts(), FakeCommands());
}

TEST_F(PortForward, AnUnescapedLineFeedIsRefusedLikeAnEscapedOne)
{
    for (const std::string &name : kWords) {
        ExpectRefused(-9, name, "\"80\nid\"");
        ExpectRefused(-9, name, "\"80\\nid\"");
        ExpectRefused(-9, name, "\"80\\u000aid\"");
        ExpectRefused(-9, name, "\"80\\u003bid\"");
        ExpectRefused(-9, name, "\"\\u0000\"");
    }
    EXPECT_EQ(Texts(), FakeCommands());
}

// ---- What is remembered ----

TEST_F(PortForward, BothProceduresActOnTheLastCommand)
{
    Parse(Forwarding("0"));
    FakeOsReset();
    EXPECT_EQ(0, AddRoute());
    EXPECT_EQ(kAddition, FakeCommands());
    FakeOsReset();
    EXPECT_EQ(0, DeleteRoute());
    EXPECT_EQ(kDeletes, FakeCommands());
}

TEST_F(PortForward, EveryCommandForgetsTheLastOneEvenIfItFails)
{
    for (const std::string &text :
         {std::string("no JSON"), std::string("{}"), Text(With(Forwarding("1"), "POST_PORT", "\";id\"")),
          Text(Without(Forwarding("1"), {"POST_PORT"}))}) {
        Parse(Forwarding("1"));
        FakeOsReset();
        EXPECT_NE(0, ParseRouteParam(text.c_str()));
        EXPECT_EQ(0, AddRoute());
        EXPECT_EQ(0, DeleteRoute());
        EXPECT_EQ(Texts(), FakeCommands()) << text;
    }
}

TEST_F(PortForward, AMissingTextForgetsNothing)
{
    Parse(Forwarding("0"));
    FakeOsReset();
    EXPECT_EQ(-1, ParseRouteParam(nullptr));
    EXPECT_EQ(0, DeleteRoute());
    EXPECT_EQ(kDeletes, FakeCommands());
}

// ---- The end of the session ----

TEST_F(PortForward, TheSequenceRunsToItsEndEvenIfTheSessionEnds)
{
    ServerRun = 1;
    FakeCommand("iptables", Endless());
    int result = -1;
    Running command([&] { result = Parse(Forwarding("1")); });
    AwaitCommands(1);
    EndSession();
    for (size_t number = 1; number <= kAddition.size(); number++) {
        AwaitCommands(number);
        FakeCommandEnd();
    }
    command.Join();
    EXPECT_EQ(0, result);
    EXPECT_EQ(kAddition, FakeCommands());
}

TEST_F(PortForward, ACommandThatStillRunsTenSecondsAfterTheTeardownBeganIsEndedAndTheNextOneRuns)
{
    ServerRun = 1;
    FakeCommand("iptables", Endless());
    Running command([&] { Parse(Forwarding("1")); });
    for (size_t number = 1; number <= kAddition.size(); number++) {
        AwaitCommands(number);
        EndSession(); // as the teardown says every second; one passes
        FakeClockAdvanceMs(8999);
        EndSession(); // after 9999 ms
        EXPECT_EQ(1, FakeCommandsRunning());
        EXPECT_EQ(number, FakeCommands().size());
        EndSession();
    }
    command.Join();
    EXPECT_EQ(kAddition, FakeCommands());
}

TEST_F(PortForward, WithinASessionACommandHasNoTimeLimit)
{
    ServerRun = 1;
    FakeCommand("iptables", Endless());
    Running command([&] { Parse(Forwarding("0")); });
    AwaitCommands(1);
    FakeClockAdvanceMs(3600 * 1000);
    EXPECT_EQ(1, FakeCommandsRunning());
    EXPECT_EQ(1u, FakeCommands().size());
    for (size_t number = 1; number <= kDeletes.size(); number++) {
        AwaitCommands(number);
        FakeCommandEnd();
    }
}

TEST_F(PortForward, TheNextSessionsCommandRunsAgain)
{
    Parse(Forwarding("1")); // names what the end of a session stops
    Connect();
    Stop();
    FakeOsReset();
    EXPECT_EQ(0, Parse(Forwarding("1")));
    EXPECT_EQ(kAddition, FakeCommands());
}

// ---- Log ----

TEST_F(PortForward, AnAdditionLogsTheTextEachParameterAndTheCommands)
{
    const std::string text = Text(Forwarding("1"));
    EXPECT_EQ(PORT_FORWARD_DONE, ParseRouteParam(text.c_str()));
    EXPECT_EQ(Texts({"pMsg: \n" + text + "\n\n\n", " FLAG = [1]\n\n\n", " PRE_IP = [192.168.1.1]\n\n\n",
                     " PRE_PORT = [8080]\n\n\n", " POST_IP = [192.168.2.50]\n\n\n", " POST_PORT = [80]\n\n\n",
                     " route_cmd1: \n" + kAddition[0] + "\n\n\n", " route_cmd2: \n" + kAddition[1] + "\n\n\n",
                     " route_cmd1: \n" + kAddition[2] + "\n\n\n", " route_cmd2: \n" + kAddition[3] + "\n\n\n\n"}),
              Messages());
}

TEST_F(PortForward, TheTextIsInformationTheRestIsForDebugging)
{
    d_set_log_level(LOG_LEVEL_INFO);
    Parse(Forwarding("0"));
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("[INFO] [RouteFunc->"));
    EXPECT_NE(std::string::npos, log.find("pMsg: \n"));
    EXPECT_EQ(std::string::npos, log.find("FLAG = ["));
    EXPECT_EQ(std::string::npos, log.find("route_cmd"));
}

TEST_F(PortForward, EveryFailureIsLoggedWithProcedureLineAndResult)
{
    const std::string hostile = Text(With(Forwarding("1"), "PRE_IP", "\"a b\""));
    const std::string badFlag = Text(Forwarding("x"));
    const std::map<int, const char *> failures = {
        {-1, nullptr}, {-2, "no JSON"}, {-3, "{}"}, {-8, badFlag.c_str()}, {-9, hostile.c_str()}};
    for (const auto &failure : failures) {
        EXPECT_EQ(failure.first, ParseRouteParam(failure.second));
        const std::string last = Messages().back();
        int line = 0, code = 0;
        EXPECT_EQ(2, sscanf(last.c_str(), " ParseRouteParam %d : error = [%d]", &line, &code)) << last;
        EXPECT_EQ(" ParseRouteParam " + std::to_string(line) + " : error = [" + std::to_string(failure.first) +
                      "]\n\n\n\n\n",
                  last);
        EXPECT_GT(line, 0);
        EXPECT_EQ(failure.first, code);
    }
}

TEST_F(PortForward, ParametersAfterAMissingOneAreNotRead)
{
    Parse(Without(Forwarding("1"), {"PRE_PORT"}));
    const Texts messages = Messages();
    ASSERT_EQ(4u, messages.size());
    EXPECT_EQ(" FLAG = [1]\n\n\n", messages[1]);
    EXPECT_EQ(" PRE_IP = [192.168.1.1]\n\n\n", messages[2]);
}
