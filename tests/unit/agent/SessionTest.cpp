// Registration and login, each with a platform at the other end of a real connection. Time stands still unless a test
// moves it.
#include "platform/Session.h"

#include <cstring>

#include "core/Common.h"
#include "core/Config.h"
#include "os/OsClock.h"
#include "platform/Protool.h"
#include "platform/Settings.h"
#include "tests/unit/agent/PlatformSide.h"

// 2 bytes not used, a token of 00 to 1F, server 127.0.0.1, `port`, a plugin identifier of 32 times 0xAB.
static Bytes RegisterAckRecord(uint16_t port)
{
    Bytes record = {0, 0};
    for (uint8_t i = 0; i < 32; i++) record.push_back(i);
    return record + Hex("7F 00 00 01") + Bytes{uint8_t(port), uint8_t(port >> 8)} + Bytes(32, 0xAB);
}

class SessionTest : public AgentTest
{
  protected:
    void SetUp() override
    {
        AgentTest::SetUp();
        strcpy(g_pin_code, kTestPin);
        strcpy(gProtoolKey, kTestKey);
        regist_port = peer.Port();
        Log();
    }

    // The second for which DeleteServer() pauses, so that a last answer is sent.
    void LetTheConnectionClose()
    {
        ASSERT_TRUE(Within([] { return FakeClockNextDeadlineMs() == 1000; }));
        FakeClockAdvanceMs(1000);
    }

    // A platform that answers the registration with `body` (none when empty) behind `head`.
    int Register(const Bytes &head, const Bytes &body)
    {
        int result = 1;
        Running agent([&] { result = RegisterStart(&context, "127.0.0.1"); });
        EXPECT_TRUE(peer.Accept());
        EXPECT_FALSE(peer.ReceiveFrame().empty());
        FakeClockAwaitSleepers(1);
        EXPECT_TRUE(peer.SendFrame(11, 0, head, body, 0));
        LetTheConnectionClose();
        agent.Join();
        return result;
    }

    void PrepareLogin(uint16_t port)
    {
        mRegist = 1;
        strcpy(mLoginServer, "127.0.0.1");
        mLoginPort = port;
        for (uint8_t i = 0; i < 32; i++) mLoginTocken[i] = i;
    }

    Peer peer;
    SessionContext context = {};
};

// ---- Registration ----

TEST_F(SessionTest, RegisterRequestByteForByte)
{
    int result = 1;
    Running agent([&] { result = RegisterStart(&context, "127.0.0.1"); });
    ASSERT_TRUE(peer.Accept());
    const Bytes frame = peer.ReceiveFrame();
    // Checksum: length 40 00, head 31..32 (270), 07, "SN-0001" (18F), MAC (101): 547.
    EXPECT_EQ(Hex("CC DD 29 0F 47 40 00"
                  "00 00 00 31 32 33 34 35 36 37 38 39 30 31 32"
                  "79795a0a20491405816f1e3640394280 bf820975248f27171fbb318889fb004e"
                  "1eb52c70b78017f564050b3a845b4bc2 d30d6bf3a944c5f221f5580e87e819f8"),
              frame);
    EXPECT_EQ(Hex("00 00 07 53 4E 2D 30 30 30 31 02 11 22 33 44 55") + Bytes(32, 0),
              Decrypted(Bytes(frame.begin() + 22, frame.end())));
    SetSessionFlag(mQuitPro, 1);
    LetTheConnectionClose();
}

TEST_F(SessionTest, RegistrationEndsAtOnceWhenTheAnswerComes)
{
    int result = 1;
    Running agent([&] { result = RegisterStart(&context, "127.0.0.1"); });
    ASSERT_TRUE(peer.Accept());
    ASSERT_FALSE(peer.ReceiveFrame().empty());
    FakeClockAwaitSleepers(1);
    EXPECT_EQ("001\n", StatusFile());
    ASSERT_TRUE(peer.SendFrame(11, 0, {}, Encrypted(RegisterAckRecord(6040)), 0));
    ASSERT_TRUE(Within([] { return FakeClockNextDeadlineMs() == 1000; })); // of the closing, and no second has passed
    EXPECT_EQ(0, OsNowMs());
    FakeClockAdvanceMs(1000);
    agent.Join();
    EXPECT_EQ(0, result);
    EXPECT_EQ("002\n", StatusFile());
    EXPECT_TRUE(peer.AtEnd());
    EXPECT_STREQ("127.0.0.1", mLoginServer);
    EXPECT_EQ(6040, mLoginPort);
    for (uint8_t i = 0; i < 32; i++) EXPECT_EQ(i, mLoginTocken[i]);
    EXPECT_EQ(Bytes(32, 0xAB), Bytes(mLoginPluginId, mLoginPluginId + 32));
    EXPECT_NE(std::string::npos, Log().find("Register server1 success.\n"));
    EXPECT_EQ(0, ServerRun);
}

TEST_F(SessionTest, RegistrationGivesUpAfterTenSeconds)
{
    int result = 1;
    Running agent([&] { result = RegisterStart(&context, "127.0.0.1"); });
    ASSERT_TRUE(peer.Accept());
    ASSERT_FALSE(peer.ReceiveFrame().empty());
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(10000, FakeClockNextDeadlineMs());
    FakeClockAdvanceMs(9999);
    EXPECT_EQ(1, FakeClockNextDeadlineMs()); // still waiting
    FakeClockAdvanceMs(1);
    LetTheConnectionClose();
    agent.Join();
    EXPECT_EQ(-1, result);
    EXPECT_EQ("101\n", StatusFile());
    EXPECT_NE(std::string::npos, Log().find("Register failed.\n"));
    EXPECT_TRUE(peer.AtEnd());
}

TEST_F(SessionTest, ARegisterAckWithoutABodyIsRefusedAndRegistrationTimesOut)
{
    int result = 1;
    Running agent([&] { result = RegisterStart(&context, "127.0.0.1"); });
    ASSERT_TRUE(peer.Accept());
    ASSERT_FALSE(peer.ReceiveFrame().empty());
    ASSERT_TRUE(peer.SendFrame(2, 0, {}, {}, 0));
    ASSERT_TRUE(Within([] { return mHeartTime != 0; }));
    ASSERT_TRUE(peer.SendFrame(11, 0, {}, {}, 0));
    FakeClockAwaitSleepers(2); // main thread, and the pause before the answer
    const int waits = FakeClockWaits();
    FakeClockAdvanceMs(10);
    ASSERT_TRUE(Within([=] { return FakeClockWaits() > waits; })); // the answer has been looked at
    EXPECT_EQ(0, mRegist);
    EXPECT_EQ(0, mQuitPro);
    FakeClockAdvanceMs(9989);
    EXPECT_EQ(1, FakeClockNextDeadlineMs());
    FakeClockAdvanceMs(1);
    LetTheConnectionClose();
    agent.Join();
    EXPECT_EQ(-1, result);
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("regist ack error\n"));
    EXPECT_NE(std::string::npos, log.find("Register failed.\n"));
    EXPECT_EQ("101\n", StatusFile());
}

TEST_F(SessionTest, RegistrationIsAcceptedDespiteAnErrorCode)
{
    EXPECT_EQ(0, Register(Hex("05 01"), Encrypted(RegisterAckRecord(6040))));
    EXPECT_NE(std::string::npos, Log().find("optlen 2, error code = [261]\n"));
}

TEST_F(SessionTest, TheEndOfTheSessionEndsTheWaitForTheRegistration)
{
    // A body that begins with FF FF: the platform's own network is down.
    EXPECT_EQ(-1, Register({}, Hex("FF FF 00 00")));
    EXPECT_EQ(1000, OsNowMs());
    EXPECT_EQ("101\n", StatusFile());
    EXPECT_TRUE(peer.AtEnd());
    EXPECT_NE(std::string::npos, Log().find("net error reconnect\n"));
}

TEST_F(SessionTest, ARegistrationThatIsAnsweredFailsWhenTheSessionEnds)
{
    int result = 1;
    Running agent([&] { result = RegisterStart(&context, "127.0.0.1"); });
    ASSERT_TRUE(peer.Accept());
    ASSERT_FALSE(peer.ReceiveFrame().empty());
    FakeClockAwaitSleepers(1);
    mRegist = 1;
    SetSessionFlag(mQuitPro, 1);
    LetTheConnectionClose();
    agent.Join();
    EXPECT_EQ(-1, result);
    EXPECT_EQ("101\n", StatusFile());
}

TEST_F(SessionTest, RegistrationWithoutAListenerFailsAndDoesNotChangeTheStatus)
{
    const UnusedPort unused;
    regist_port = unused.Number();
    FakeClockAuto(true);
    EXPECT_EQ(-1, RegisterStart(&context, "127.0.0.1"));
    EXPECT_EQ(0, ServerRun); // so that the next attempt can start
    EXPECT_EQ("", StatusFile());
    EXPECT_EQ(std::string::npos, Log().find("Register failed."));
}

TEST_F(SessionTest, RegistrationClearsTheValuesOfTheLastOne)
{
    PrepareLogin(6040);
    memset(mLoginPluginId, 1, sizeof mLoginPluginId);
    mLogin = mQuitPro = 1;
    FakeClockAuto(true);
    EXPECT_EQ(-1, RegisterStart(&context, "127.0.0.9")); // nobody there
    EXPECT_STREQ("", mLoginServer);
    EXPECT_EQ(0, mLoginPort);
    EXPECT_EQ(Bytes(32, 0), Bytes(mLoginTocken, mLoginTocken + 32));
    EXPECT_EQ(Bytes(32, 0), Bytes(mLoginPluginId, mLoginPluginId + 32));
    EXPECT_EQ(0, mRegist);
    EXPECT_EQ(0, mLogin);
    EXPECT_EQ(0, mQuitPro);
}

TEST_F(SessionTest, TheMacOfTheOptionReplacesTheRouters)
{
    const Bytes option = Hex("AA BB CC DD EE FF");
    memcpy(l_mac, option.data(), 6);
    FakeClockAuto(true);
    EXPECT_EQ(-1, RegisterStart(&context, "127.0.0.9"));
    EXPECT_EQ(option, Bytes(gRoutemac, gRoutemac + 6));
    EXPECT_EQ(std::vector<std::string>({"get_router_sn"}), gSdk.calls);
    EXPECT_NE(std::string::npos, Log().find("ROUTER MAC: AA BB CC DD EE FF\n"));
}

TEST_F(SessionTest, MacAndSerialOfTheRouterAreAskedForOnce)
{
    FakeClockAuto(true);
    EXPECT_EQ(-1, RegisterStart(&context, "127.0.0.9"));
    EXPECT_EQ(Hex("02 11 22 33 44 55"), Bytes(gRoutemac, gRoutemac + 6));
    EXPECT_STREQ("SN-0001", gSN);
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("ROUTER MAC: 02 11 22 33 44 55\n"));
    EXPECT_NE(std::string::npos, log.find("SN: SN-0001 LEN: 7\n"));
    EXPECT_EQ(-1, RegisterStart(&context, "127.0.0.9"));
    EXPECT_EQ(std::vector<std::string>({"get_router_mac", "get_router_sn"}), gSdk.calls);
}

TEST_F(SessionTest, ASerialOfSixtyThreeCharactersIsAccepted)
{
    gSdk.serial = std::string(63, 'S');
    FakeClockAuto(true);
    EXPECT_EQ(-1, RegisterStart(&context, "127.0.0.9"));
    EXPECT_EQ(gSdk.serial, gSN);
    EXPECT_NE(std::string::npos, Log().find(" LEN: 63\n"));
}

TEST_F(SessionTest, ARouterWithoutASerialEndsTheProcess)
{
    gSdk.result = -1;
    EXPECT_ENDS((void)RegisterStart(&context, "127.0.0.9"), "ERROR: get sn failed!");
}

TEST_F(SessionTest, AnEmptyOrTooLongSerialEndsTheProcess)
{
    gSdk.serial = "";
    EXPECT_ENDS((void)RegisterStart(&context, "127.0.0.9"), "ERROR: SN is invalid!");
    gSdk.serial = std::string(64, 'S');
    EXPECT_ENDS((void)RegisterStart(&context, "127.0.0.9"), "ERROR: SN is invalid!");
}

TEST_F(SessionTest, AnEmptyPinEndsTheProcess)
{
    g_pin_code[0] = '\0';
    EXPECT_ENDS((void)RegisterStart(&context, "127.0.0.1"), "ERROR: PIN is empty, plese check your plug.conf!");
}

TEST_F(SessionTest, AnEmptyKeyEndsTheProcess)
{
    gProtoolKey[0] = '\0';
    EXPECT_ENDS((void)RegisterStart(&context, "127.0.0.1"), "ERROR: KEY is empty, plese check your plug.conf!");
}

TEST_F(SessionTest, AFatalErrorIsPrintedInOneLineWithoutTheLog)
{
    d_set_log_level(LOG_LEVEL_NONE);
    gProtoolKey[0] = '\0';
    EXPECT_ENDS((void)RegisterStart(&context, "127.0.0.1"),
                "^plug: ERROR: KEY is empty, plese check your plug.conf!\n$");
    g_pin_code[0] = '\0';
    EXPECT_ENDS((void)RegisterStart(&context, "127.0.0.1"),
                "^plug: ERROR: PIN is empty, plese check your plug.conf!\n$");
    gSdk.serial = "";
    EXPECT_ENDS((void)RegisterStart(&context, "127.0.0.1"), "^plug: ERROR: SN is invalid!\n$");
    gSdk.result = -1;
    EXPECT_ENDS((void)RegisterStart(&context, "127.0.0.1"), "^plug: ERROR: get sn failed!\n$");
}

// ---- Login ----

TEST_F(SessionTest, LoginRequestByteForByteAndLoginEndsAtOnceWhenAnswered)
{
    PrepareLogin(peer.Port());
    int result = 1;
    Running agent([&] { result = LoginStart(&context); });
    ASSERT_TRUE(peer.Accept());
    // Checksum: length 20 00, PIN (270), token (1F0), record (40): 4C0.
    EXPECT_EQ(Hex("CC DD 2A 2C C0 20 00"
                  "31 32 33 34 35 36 37 38 39 30 31 32"
                  "00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10 11 12 13 14 15 16 17 18 19 1A 1B 1C 1D 1E 1F"
                  "0b9b15da4b44a0f5151dcfc4c01f35d5 6c712a1d1c3734b47edb5055f069966d"),
              peer.ReceiveFrame());
    FakeClockAwaitSleepers(1);
    EXPECT_EQ(10000, FakeClockNextDeadlineMs());
    ASSERT_TRUE(peer.SendFrame(11, 0, {}, Encrypted(Hex("00 00 3C 00")), 0));
    agent.Join(); // with the clock at a standstill
    EXPECT_EQ(0, result);
    EXPECT_EQ(0, OsNowMs());
    EXPECT_EQ(60, mHeartInterval);
    EXPECT_EQ("003\n", StatusFile());
    EXPECT_EQ(1, ServerRun); // the connection stays open
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("quit regist,start login 127.0.0.1:" + std::to_string(peer.Port()) + "\n"));
    EXPECT_NE(std::string::npos, log.find("Login done\n"));
    FakeClockAuto(true);
    DeleteServer(&context);
}

TEST_F(SessionTest, LoginNeedsALoginServer)
{
    EXPECT_EQ(-1, LoginStart(&context));
    EXPECT_NE(std::string::npos, Log().find("Login Server wrong !\n"));
    EXPECT_EQ(0, ServerRun);
}

TEST_F(SessionTest, LoginWithoutAListenerFails)
{
    const UnusedPort unused;
    PrepareLogin(unused.Number());
    FakeClockAuto(true);
    EXPECT_EQ(-1, LoginStart(&context));
    EXPECT_NE(std::string::npos, Log().find("Login ServerInit error\n"));
    EXPECT_EQ(0, ServerRun);
}

TEST_F(SessionTest, LoginGivesUpAfterTenSeconds)
{
    PrepareLogin(peer.Port());
    int result = 1;
    Running agent([&] { result = LoginStart(&context); });
    ASSERT_TRUE(peer.Accept());
    ASSERT_FALSE(peer.ReceiveFrame().empty());
    FakeClockAwaitSleepers(1);
    FakeClockAdvanceMs(9999);
    EXPECT_EQ(1, FakeClockNextDeadlineMs());
    FakeClockAdvanceMs(1);
    LetTheConnectionClose();
    agent.Join();
    EXPECT_EQ(-1, result);
    EXPECT_NE(std::string::npos, Log().find("login failed !\n"));
    EXPECT_TRUE(peer.AtEnd());
}

TEST_F(SessionTest, ALoginAckWithoutABodyEndsTheSessionAtOnce)
{
    PrepareLogin(peer.Port());
    int result = 1;
    Running agent([&] { result = LoginStart(&context); });
    ASSERT_TRUE(peer.Accept());
    ASSERT_FALSE(peer.ReceiveFrame().empty());
    FakeClockAwaitSleepers(1);
    ASSERT_TRUE(peer.SendFrame(11, 0, {}, {}, 0));
    LetTheConnectionClose();
    agent.Join();
    EXPECT_EQ(-1, result);
    EXPECT_EQ(1000, OsNowMs());
    EXPECT_EQ(1, mQuitPro);
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("register ack error\n"));
    EXPECT_NE(std::string::npos, log.find("login failed !\n"));
}

TEST_F(SessionTest, ALoginThatWasAnsweredSucceedsAndTheQuitFlagIsCleared)
{
    PrepareLogin(peer.Port());
    int result = 1;
    Running agent([&] { result = LoginStart(&context); });
    ASSERT_TRUE(peer.Accept());
    ASSERT_FALSE(peer.ReceiveFrame().empty());
    FakeClockAwaitSleepers(1);
    mLogin = 1;
    SetSessionFlag(mQuitPro, 1);
    agent.Join();
    EXPECT_EQ(0, result);
    EXPECT_EQ(0, mQuitPro);
    FakeClockAuto(true);
    DeleteServer(&context);
}

// ---- Session values ----

TEST_F(SessionTest, ALinkLostRightAfterTheLoginAnswerStillEndsTheSession)
{
    // What the receive thread does, at the worst moment: after the login was seen, before the quit flag is cleared.
    SetSessionFlag(mLogin, 1);
    SetSessionFlag(mLogin, 0);
    SetSessionFlag(mQuitPro, 1);
    ClearQuitWhileLoggedIn();
    EXPECT_EQ(1, mQuitPro);

    SetSessionFlag(mLogin, 1);
    ClearQuitWhileLoggedIn();
    EXPECT_EQ(0, mQuitPro);
}

TEST_F(SessionTest, NewProtoolResetsTheSessionValues)
{
    PrepareLogin(6040);
    mHeartInterval = 20;
    mHeartTime = 5;
    beepAck = 1;
    NewProtool();
    EXPECT_EQ(50, mHeartInterval);
    EXPECT_EQ(0u, mHeartTime);
    EXPECT_EQ(0, mRegist);
    EXPECT_EQ(0, beepAck);
    EXPECT_STREQ("", mLoginServer);
    EXPECT_EQ(0, mLoginPort);
}

TEST_F(SessionTest, DeleteProtoolDestroysTheLockAndMayBeRepeated)
{
    DeleteProtool();
    EXPECT_NE(std::string::npos, Log().find("pthread_mutex_destroy::Protool\n"));
    DeleteProtool();
    NewProtool();
    EXPECT_EQ(0, pthread_mutex_trylock(&gProtoolMutex));
    pthread_mutex_unlock(&gProtoolMutex);
}
