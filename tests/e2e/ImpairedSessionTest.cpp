// What becomes of a session on a bad network: how it is found out, and when there is a new one.
#include "tests/e2e/ImpairedNetwork.h"
#include "tests/e2e/Listener.h"

namespace
{
constexpr double kShort = 5;  // clocks: for waits of some seconds,
constexpr double kLong = 20;  // and of some minutes
constexpr double kSystem = 1; // until the system repeats an attempt to connect for the first time

struct Scenario {
    const char *name;
    Relay Network::*relay;
    Trouble trouble;
    double documented;
};

// ---- Connections that fail at their beginning

// The lengths at which a frame is cut lie in its middle: a registration's answer has 103 bytes, a login's 23.
const Scenario kBeginnings[] = {
    {"TheRegistrationIsCutAtOnce", &Network::registration, {Fault::CLOSE}, kClosed + kAgain},
    {"TheRegistrationIsResetAtOnce", &Network::registration, {Fault::RESET}, kClosed + kAgain},
    {"TheRegistrationIsCutInTheMiddleOfTheRequest",
     &Network::registration,
     {Fault::CLOSE, Way::TO_SERVER, 30},
     kClosed + kAgain},
    {"TheRegistrationIsCutInTheMiddleOfTheAnswer",
     &Network::registration,
     {Fault::CLOSE, Way::TO_CLIENT, 40},
     kClosed + kAgain},
    {"TheRegistrationIsResetInTheMiddleOfTheAnswer",
     &Network::registration,
     {Fault::RESET, Way::TO_CLIENT, 40},
     kClosed + kAgain},
    {"TheRequestOfTheRegistrationIsLostInItsMiddle",
     &Network::registration,
     {Fault::SILENCE, Way::TO_SERVER, 30},
     kUnanswered + kAgain},
    {"TheAnswerOfTheRegistrationIsLost",
     &Network::registration,
     {Fault::SILENCE, Way::TO_CLIENT},
     kUnanswered + kAgain},
    {"TheAnswerOfTheRegistrationIsLostInItsMiddle",
     &Network::registration,
     {Fault::SILENCE, Way::TO_CLIENT, 40},
     kUnanswered + kAgain},
    {"TheLoginIsCutAtOnce", &Network::login, {Fault::CLOSE}, kClosed + kAgain},
    {"TheLoginIsResetAtOnce", &Network::login, {Fault::RESET}, kClosed + kAgain},
    {"TheLoginIsCutInTheMiddleOfTheRequest", &Network::login, {Fault::CLOSE, Way::TO_SERVER, 30}, kClosed + kAgain},
    {"TheLoginIsCutInTheMiddleOfTheAnswer", &Network::login, {Fault::CLOSE, Way::TO_CLIENT, 10}, kClosed + kAgain},
    {"TheRequestOfTheLoginIsLostInItsMiddle",
     &Network::login,
     {Fault::SILENCE, Way::TO_SERVER, 30},
     kUnanswered + kAgain},
    {"TheAnswerOfTheLoginIsLostInItsMiddle",
     &Network::login,
     {Fault::SILENCE, Way::TO_CLIENT, 10},
     kUnanswered + kAgain},
};

class ImpairedBeginning : public ImpairedTest, public testing::WithParamInterface<Scenario>
{
};

TEST_P(ImpairedBeginning, IsFollowedByASessionAfterItsPauses)
{
    const Scenario &scenario = GetParam();
    const Holdings good = OnAGoodNetwork();
    ImpairedSession session(kShort, [&](Network *network) { (network->*scenario.relay).StrikeNext(scenario.trouble); });
    session.SettleAs(good);
    Relay &relay = session.network.*scenario.relay;
    ASSERT_TRUE(Within(kPatience, [&] { return relay.StruckAt() > 0; }));
    const bool asked = scenario.trouble.way == Way::TO_CLIENT && scenario.trouble.after > 0;
    if (asked && scenario.relay == &Network::login) session.platform.Wait("login"); // whose answer is lost
    session.ExpectRecovery(relay.StruckAt(), scenario.documented);
    EXPECT_EQ(2u, relay.Connections());
}

INSTANTIATE_TEST_SUITE_P(, ImpairedBeginning, testing::ValuesIn(kBeginnings),
                         [](const auto &tested) { return std::string(tested.param.name); });

// ---- Sessions that fail

struct Loss {
    Scenario scenario;
    double clock;
};

// The command that is under way has 39 bytes, its answer more.
const Loss kLosses[] = {
    {{"TheSessionIsCut", &Network::login, {Fault::CLOSE}, kClosed + kAgain}, kShort},
    {{"TheSessionIsReset", &Network::login, {Fault::RESET}, kClosed + kAgain}, kShort},
    {{"TheSessionIsCutInTheMiddleOfACommand", &Network::login, {Fault::CLOSE, Way::TO_CLIENT, 20}, kClosed + kAgain},
     kShort},
    {{"TheSessionIsResetInTheMiddleOfACommand", &Network::login, {Fault::RESET, Way::TO_CLIENT, 20}, kClosed + kAgain},
     kShort},
    {{"TheSessionIsCutInTheMiddleOfAReply", &Network::login, {Fault::CLOSE, Way::TO_SERVER, 20}, kClosed + kAgain},
     kShort},
    {{"TheSessionFallsSilentInTheMiddleOfACommand",
      &Network::login,
      {Fault::SILENCE, Way::TO_CLIENT, 20},
      kSilent + kAgain},
     kLong},
    {{"TheSessionFallsSilentInTheMiddleOfAReply",
      &Network::login,
      {Fault::SILENCE, Way::TO_SERVER, 20},
      kSilent + kAgain},
     kLong},
    {{"OnlyWhatThePlatformSendsIsLost", &Network::login, {Fault::SILENCE, Way::TO_CLIENT}, kSilent + kAgain}, kLong},
    {{"OnlyWhatTheAgentSendsIsLost", &Network::login, {Fault::SILENCE, Way::TO_SERVER}, kSilent + kAgain}, kLong},
};

class ImpairedLoss : public ImpairedTest, public testing::WithParamInterface<Loss>
{
};

TEST_P(ImpairedLoss, IsFollowedByASessionAfterItsPauses)
{
    const Scenario &scenario = GetParam().scenario;
    ImpairedSession session(GetParam().clock);
    session.Settle();
    const size_t before = CallsOf("get_led_switch");
    Relay &relay = session.network.*scenario.relay;
    relay.Strike(scenario.trouble);
    if (scenario.trouble.after > 0) session.platform.Command("led");
    ASSERT_TRUE(Within(kPatience, [&] { return relay.StruckAt() > 0; }));
    session.ExpectRecovery(relay.StruckAt(), scenario.documented);
    // The command that was cut, or its reply, comes to nothing; nobody repeats it.
    const bool done = scenario.trouble.after > 0 && scenario.trouble.way == Way::TO_SERVER;
    EXPECT_EQ(before + (done ? 2 : 1), CallsOf("get_led_switch"));
    EXPECT_EQ(2u, session.platform.Count("reply", {{"function", "22"}, {"matched", "true"}}));
    EXPECT_EQ(2u, session.platform.Count("login"));
}

INSTANTIATE_TEST_SUITE_P(, ImpairedLoss, testing::ValuesIn(kLosses),
                         [](const auto &tested) { return std::string(tested.param.scenario.name); });

// ---- Networks that are gone for a while

class ImpairedNetwork : public ImpairedTest
{
};

TEST_F(ImpairedNetwork, TheNetworkIsGone)
{
    ImpairedSession session(kLong);
    session.Settle();
    session.network.login.Vanish();
    session.network.registration.Vanish();
    const double begin = session.network.login.StruckAt();
    const LogEntry left = session.agent.WaitLog("Ready to Register ...");
    // Attempts to connect are repeated by the system after 1 s and more of its own time, not of the agent's.
    session.network.registration.Return();
    session.network.login.Return();
    session.platform.Mark();
    const double back = EpochNow();
    session.ExpectTime(kSilent, (back - begin) * session.clock);
    session.platform.WaitSession();
    session.ExpectAnswers();
    session.ExpectHoldings();
    EXPECT_EQ(left.number, session.agent.WaitLog("Ready to Register ...").number);
}

TEST_F(ImpairedNetwork, AnOutageShorterThanThreeHeartbeatsCostsNothing)
{
    ImpairedSession session(kLong);
    session.Settle();
    session.network.login.Vanish();
    const double begin = session.network.login.StruckAt();
    session.platform.Command("led"); // waits on its way
    const size_t passed = session.network.login.Passed(Way::TO_CLIENT);
    EXPECT_FALSE(Within(10 / kLong, [&] { return session.network.login.Passed(Way::TO_CLIENT) > passed; }));
    session.network.login.Return();
    const Event reply = session.platform.Wait("reply", {{"function", "22"}, {"matched", "true"}});
    session.ExpectTime(10, (reply.Number("t") - begin) * session.clock);
    session.ExpectAnswers();
    session.ExpectHoldings();
    EXPECT_EQ(1u, session.platform.Count("login"));
    EXPECT_EQ(3u, CallsOf("get_led_switch"));
}

TEST_F(ImpairedNetwork, AttemptsToConnectAreRefusedForAWhile)
{
    const Holdings good = OnAGoodNetwork();
    ImpairedSession session(kShort, [](Network *network) { network->registration.Refuse(true); });
    session.SettleAs(good);
    LogEntry failure = session.agent.WaitLog("RegisterStart error.");
    for (int i = 0; i < 3; i++) failure = session.agent.WaitLog("RegisterStart error.", failure.number + 1);
    const double begin = EpochNow();
    session.network.registration.Refuse(false);
    session.ExpectRecovery(begin, kStop + kAgain);
}

TEST_F(ImpairedNetwork, AttemptsToConnectAreNotAnswered)
{
    const Holdings good = OnAGoodNetwork();
    ImpairedSession session(1, [](Network *network) { network->registration.Vanish(); });
    session.SettleAs(good);
    ASSERT_TRUE(WaitForUnansweredConnect(kPatience));
    const double begin = EpochNow();
    session.network.registration.Return();
    session.ExpectRecovery(begin, kSystem + kAgain);
}

TEST_F(ImpairedNetwork, TheLoginServerRefusesForAWhile)
{
    const Holdings good = OnAGoodNetwork();
    ImpairedSession session(kShort, [](Network *network) { network->login.Refuse(true); });
    session.SettleAs(good);
    LogEntry failure = session.agent.WaitLog("LoginStart error.");
    for (int i = 0; i < 3; i++) failure = session.agent.WaitLog("LoginStart error.", failure.number + 1);
    const double begin = EpochNow();
    session.network.login.Refuse(false);
    session.ExpectRecovery(begin, kStop + kAgain + kAgain); // the registration that was under way, and another one
}

TEST_F(ImpairedNetwork, AnswersThatComeTooLateAreNoAnswersToTheNextAttempt)
{
    const double late = kAnswer + 2;
    const Holdings good = OnAGoodNetwork();
    ImpairedSession session(kShort, [&](Network *network) { network->registration.Delay(late / 2); });
    session.SettleAs(good);
    session.agent.WaitLog("Register failed.");
    const double begin = EpochNow();
    session.network.registration.Delay(0);
    session.ExpectRecovery(begin, kStop + kUnanswered + kAgain); // the next attempt may have left already
    EXPECT_LE(session.network.registration.Connections(), 3u);
}

// ---- Whatever happens, over and over

TEST_F(ImpairedNetwork, ThirtySessionsThatFailInSixWaysLeaveNothingBehind)
{
    ImpairedSession session(100);
    session.Settle();
    const Trouble troubles[] = {
        {Fault::CLOSE},
        {Fault::RESET},
        {Fault::CLOSE, Way::TO_CLIENT, 20},
        {Fault::RESET, Way::TO_CLIENT, 20},
        {Fault::CLOSE, Way::TO_SERVER, 20},
        {Fault::RESET, Way::TO_SERVER, 20},
    };
    const auto round = [&] {
        for (const Trouble &trouble : troubles) {
            session.network.login.Strike(trouble);
            if (trouble.after > 0) session.platform.Command("led");
            session.platform.WaitSession();
            session.ExpectAnswers();
        }
    };
    for (int i = 0; i < 2; i++) round(); // what is touched for the first time stays
    const long memory = DirtyKbOf(session.agent.Id());
    for (int i = 0; i < 3; i++) round();
    session.ExpectHoldings();
    // A sanitizer keeps what has been freed.
    if (!AgentIsSanitized()) {
        EXPECT_LE(DirtyKbOf(session.agent.Id()), memory + 24);
    }
}
} // namespace
