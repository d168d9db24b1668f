#include "simulator/platform/Conversation.h"
#include "tests/support/Frames.h"

using namespace sim;

namespace
{
// One platform and what it knows; a Peer per connection.
struct Conversation : testing::Test {
    Conversation()
    {
        settings.key = kKey;
        settings.token = "tok";
        settings.pluginId = "plugin-0001";
        login.port = 6040;
    }
    // The bytes that answer the bytes, frame behind frame.
    Bytes Say(const std::string &hex, Peer *peer)
    {
        ParsedFrame frame = FromAgent(hex);
        DescribeArrival(&frame, peer, 0);
        Bytes bytes;
        for (const OutFrame &answer : Answer(frame, settings, login, peer, &registrations))
            Append(&bytes, EncodeFrame(answer, kKey));
        return bytes;
    }
    ConversationSettings settings;
    Address login;
    Registrations registrations;
    Peer first, second;
};
} // namespace

TEST_F(Conversation, AnswersARegistrationWithTokenLoginServerAndPluginIdentifier)
{
    EXPECT_EQ(Hex(kRegisterAckFrame), Say(kRegisterFrame, &first));
    EXPECT_TRUE(first.registered);
    EXPECT_EQ("SN1", first.serial);
    EXPECT_EQ("PIN4567890AB", first.pin);
}

TEST_F(Conversation, AnswersALoginWithTheIntervalAndKnowsTheRouterByItsToken)
{
    Say(kRegisterFrame, &first);
    EXPECT_EQ(Hex(kLoginAckFrame), Say(kLoginFrame, &second));
    EXPECT_TRUE(second.loggedIn);
    EXPECT_TRUE(second.tokenOk);
    EXPECT_EQ(Hex("02 11 22 33 44 55"), second.mac);
}

TEST_F(Conversation, ReportsATokenThatWasNotIssued)
{
    EXPECT_EQ(Hex(kLoginAckFrame), Say(kLoginFrame, &first));
    EXPECT_FALSE(first.tokenOk);
}

TEST_F(Conversation, IssuesANewTokenToEveryRegistrationUnlessOneIsSet)
{
    settings.token.clear();
    const Bytes one = Say(kRegisterFrame, &first);
    const Bytes two = Say(kRegisterFrame, &second);
    EXPECT_NE(one, two);
    EXPECT_EQ(2u, registrations.byToken.size());
}

TEST_F(Conversation, AcknowledgesAHeartbeatWithTheBareHeader)
{
    EXPECT_EQ(Hex("cc dd 02 00 00 00 00"), Say(kHeartbeatFrame, &first));
    settings.ackHeartbeats = false;
    EXPECT_EQ(Bytes(), Say(kHeartbeatFrame, &first));
}

TEST_F(Conversation, AcknowledgesAnUploadUnderItsOwnDataType)
{
    EXPECT_EQ(Hex(kUploadAckFrame), Say(kUploadFrame, &first));
    settings.ackUploads = false;
    EXPECT_EQ(Bytes(), Say(kUploadFrame, &first));
}

TEST_F(Conversation, LeavesRepliesAndDamagedFramesUnanswered)
{
    EXPECT_EQ(Bytes(), Say(kNotSupportedFrame, &first));
    EXPECT_EQ(Bytes(), Say(kOtherKeyFrame, &first));
    Bytes wrong = Hex(kRegisterFrame);
    wrong[4]++;
    EXPECT_EQ(Bytes(), Say(ToHex(wrong), &first));
    EXPECT_FALSE(first.registered);
}

TEST_F(Conversation, PairsAReplyWithItsRequestByTheTag)
{
    first.waiting[1] = {89, 400};
    ParsedFrame frame = FromAgent(kNotSupportedFrame);
    const Fields fields = DescribeArrival(&frame, &first, 1000);
    EXPECT_EQ("true", At(fields, "matched"));
    EXPECT_EQ("600", At(fields, "latency_ms"));
    EXPECT_TRUE(first.waiting.empty());
    EXPECT_TRUE(frame.problems.empty());

    ParsedFrame again = FromAgent(kNotSupportedFrame);
    EXPECT_EQ("false", At(DescribeArrival(&again, &first, 1000), "matched"));
}

TEST_F(Conversation, ReportsAReplyOfAnotherFunctionThanItsRequest)
{
    first.waiting[1] = {2, 0};
    ParsedFrame frame = FromAgent(kNotSupportedFrame);
    DescribeArrival(&frame, &first, 0);
    ASSERT_EQ(1u, frame.problems.size());
    EXPECT_EQ("the reply names function 89, asked was 2", frame.problems[0]);
}

TEST_F(Conversation, ReportsAMacThatIsNotTheRegisteredOne)
{
    first.mac = Hex("02 11 22 33 44 56");
    first.macSure = true;
    ParsedFrame frame = FromAgent(kNotSupportedFrame);
    DescribeArrival(&frame, &first, 0);
    ASSERT_EQ(1u, frame.problems.size());
    EXPECT_EQ("the MAC is not the registered 02:11:22:33:44:56", frame.problems[0]);
}

TEST_F(Conversation, DoesNotCheckTheMacWhenTwoRoutersHaveTheSameToken)
{
    registrations.byToken["tok"] = {"other", Hex("02 00 00 00 00 01")};
    Say(kRegisterFrame, &first);
    Say(kLoginFrame, &second);
    EXPECT_FALSE(second.macSure);
}
