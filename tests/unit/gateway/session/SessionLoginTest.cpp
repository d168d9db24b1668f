// Until a router is logged in: registration, login, and whoever is no router.
#include "tests/unit/gateway/session/SessionTest.h"

using namespace gateway;
using namespace protocol;

TEST_F(SessionTest, ARegistrationIsToldTokenLoginServerAndPluginId)
{
    Open(Session::Role::Registration);
    Register();
    ASSERT_EQ(1u, outlet.frames.size());
    const ParsedFrame answer = outlet.Last();
    EXPECT_EQ(MSG_SESSION_ACK, answer.header.msgType);
    RegisterAck ack;
    ASSERT_TRUE(RegisterAckRead(answer.plain.data(), answer.plain.size(), &ack));
    EXPECT_EQ(Token(), Bytes(ack.token, ack.token + sizeof ack.token));
    EXPECT_EQ(10, ack.server[0]);
    EXPECT_EQ(3, ack.server[3]);
    EXPECT_EQ(6040, ack.port);
    EXPECT_EQ("plugin-0001", FieldText(Bytes(ack.pluginId, ack.pluginId + sizeof ack.pluginId)));
    EXPECT_EQ(1, world.counters.registered.Get());
    EXPECT_EQ(0, world.counters.halfOpen.Get());
}

TEST_F(SessionTest, EveryRefusedRegistrationGetsTheSameBytes)
{
    std::vector<Bytes> refusals;
    const auto refused = [&] {
        ASSERT_EQ(1u, outlet.frames.size());
        EXPECT_EQ(0, outlet.Last().header.bodyLen);
        EXPECT_EQ("", outlet.ended); // routers wait before they try again
        refusals.push_back(outlet.Last().raw);
    };
    Open(Session::Role::Registration);
    Register("R2");
    refused();
    Open(Session::Role::Registration);
    Register(kSerial, "another key");
    refused();
    world.device->locked = true;
    Open(Session::Role::Registration);
    Register();
    refused();
    world.device.reset();
    Open(Session::Role::Registration);
    Register();
    refused();
    for (const Bytes &refusal : refusals) EXPECT_EQ(refusals[0], refusal);
    EXPECT_EQ(1, world.counters.registrationSerial.Get());
    EXPECT_EQ(1, world.counters.registrationBad.Get());
    EXPECT_EQ(1, world.counters.registrationLocked.Get());
    EXPECT_EQ(1, world.counters.registrationUnknown.Get());
    EXPECT_TRUE(world.told.empty());
}

TEST_F(SessionTest, ARegistrationAboveTheRateEndsItsConnection)
{
    world.mayRegister = false;
    Open(Session::Role::Registration);
    Register();
    EXPECT_TRUE(outlet.frames.empty());
    EXPECT_EQ("refused", outlet.ended);
}

TEST_F(SessionTest, AConnectionWithoutALoginEndsInTime)
{
    Open(Session::Role::Login);
    EXPECT_EQ(1, world.counters.halfOpen.Get());
    After(9);
    EXPECT_EQ("", outlet.ended);
    GiveBytes({0xcc, 0xdd, 10}); // the beginning of one
    After(1);
    EXPECT_EQ("timeout", outlet.ended);
    EXPECT_EQ(1, world.counters.loginTimeout.Get());
    EXPECT_EQ(0, world.counters.halfOpen.Get());
}

TEST_F(SessionTest, AfterTheRegistrationTheConnectionEndsInTime)
{
    Open(Session::Role::Registration);
    After(9);
    Register();
    After(9);
    EXPECT_EQ("", outlet.ended);
    After(1);
    EXPECT_EQ("done", outlet.ended);
}

TEST_F(SessionTest, ALoginWithItsTokenIsOnline)
{
    GoOnline();
    EXPECT_EQ(std::vector<std::string>{"online R1"}, world.told);
    EXPECT_EQ("2.0.0.7", session->Version());
    EXPECT_EQ(1, world.counters.sessions.Get());
    EXPECT_EQ("02:1a:2b:00:00:01", session->MacText());
}

TEST_F(SessionTest, TheSessionIsKnownBeforeTheRouterHearsThatItIsLoggedIn)
{
    Open(Session::Role::Login);
    Login(Token());
    EXPECT_EQ(0u, world.sentBeforeOnline);
    EXPECT_EQ(1u, outlet.frames.size());
}

// Until it is known to be online, whoever changes the directory does not find it.
TEST_F(SessionTest, ADeviceThatIsLockedRemovedOrGivenAKeyDuringItsLoginIsNotOnline)
{
    world.duringLogin = [this] { world.device->locked = true; };
    Open(Session::Role::Login);
    Login(Token());
    EXPECT_EQ("locked", outlet.ended);
    EXPECT_TRUE(outlet.frames.empty());
    world.device->locked = false;
    const Device before = *world.device;
    world.duringLogin = [this] { world.device->key = "another key"; };
    Open(Session::Role::Login);
    Login(Token());
    EXPECT_EQ("new_key", outlet.ended);
    world.device = before;
    world.duringLogin = [this] { world.device.reset(); };
    Open(Session::Role::Login);
    Login(Token());
    EXPECT_EQ("removed", outlet.ended);
    EXPECT_EQ((std::vector<std::string>{"online R1", "offline locked", "online R1", "offline new_key", "online R1",
                                        "offline removed"}),
              world.told);
    EXPECT_EQ(1, world.counters.endedLocked.Get());
    EXPECT_EQ(1, world.counters.endedNewKey.Get());
    EXPECT_EQ(1, world.counters.endedRemoved.Get());
    EXPECT_EQ(0, world.counters.sessions.Get());
}

TEST_F(SessionTest, ALoginIsRefusedWithoutARightTokenOrKey)
{
    Open(Session::Role::Login);
    Login(Bytes(32, 'x'));
    EXPECT_EQ("refused", outlet.ended);
    EXPECT_EQ(0, outlet.Last().header.bodyLen);
    const Bytes token = Token();
    world.wall += world.settings.tokenLife + 1;
    Open(Session::Role::Login);
    Login(token);
    EXPECT_EQ("refused", outlet.ended);
    EXPECT_EQ(2, world.counters.loginToken.Get());
    Open(Session::Role::Login);
    Login(Token(), "another key");
    EXPECT_EQ("refused", outlet.ended);
    EXPECT_EQ(1, world.counters.loginBad.Get());
    world.device->locked = true;
    Open(Session::Role::Login);
    Login(Token());
    EXPECT_EQ("refused", outlet.ended);
    EXPECT_TRUE(world.told.empty());
}

TEST_F(SessionTest, EachServerTakesItsOwnRequestOnly)
{
    Open(Session::Role::Registration);
    Login(Token());
    EXPECT_EQ("bad_frame", outlet.ended);
    Open(Session::Role::Login);
    Register();
    EXPECT_EQ("bad_frame", outlet.ended);
    Open(Session::Role::Login);
    Heartbeat();
    EXPECT_EQ("bad_frame", outlet.ended);
}

TEST_F(SessionTest, BytesThatAreNoFrameEndTheConnection)
{
    Open(Session::Role::Login);
    GiveBytes(ToBytes("GET / HTTP/1.1\r\n\r\n"));
    EXPECT_EQ("bad_frame", outlet.ended);
    GoOnline();
    GiveBytes({0xcc, 0xdd, 0x31, 0xff, 0, 0xff, 0xff}); // a frame longer than any
    EXPECT_EQ("bad_frame", outlet.ended);
    EXPECT_EQ("offline bad_frame", world.told.back());
}

TEST_F(SessionTest, FramesMayArriveInSinglesBytes)
{
    Open(Session::Role::Login);
    world.wall += 0;
    OutFrame heartbeat;
    heartbeat.msgType = MSG_HEARTBEAT;
    heartbeat.flag = FLAG_UP;
    heartbeat.head = {0, 0, 0, 0};
    Login(Token());
    outlet.frames.clear();
    for (const uint8_t byte : EncodeFrame(heartbeat, kKey)) GiveBytes({byte});
    ASSERT_EQ(1u, outlet.frames.size());
    EXPECT_EQ(MSG_HEARTBEAT_ACK, outlet.Last().header.msgType);
}
