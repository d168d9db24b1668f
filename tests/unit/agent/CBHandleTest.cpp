// How session frames are handled: acknowledgements, forced disconnect, network failure, and unknown types.
#include "CBHandle.h"

#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <set>

#include "os/OsClock.h"
#include "platform/Protool.h"
#include "tests/fakes/FakeLibraries.h"
#include "tests/unit/agent/FeatureSpy.h"
#include "tests/unit/agent/PlatformSide.h"

class CBHandleTest : public LinkedTest
{
  protected:
    void BeforeRegistration()
    {
        mRegist = 0;
        mLogin = 0;
    }
    void BeforeLogin()
    {
        mRegist = 1;
        mLogin = 0;
    }
};

static Bytes RegisterAckRecord()
{
    return Bytes(2, 0x99) + Bytes(32, 0x11) + Hex("0A 14 1E FF  34 12") + Bytes(32, 0x22);
}

// ---- Any type ----

TEST_F(CBHandleTest, OnlyKnownTypesAreHandled)
{
    const std::set<int> ours = {2, 3, 11, 18, 20, 25, 26};
    const FeatureSpy spy;
    for (int type = 0; type < 32; type++) {
        if (ours.count(type)) continue;
        BeforeRegistration();
        CBHandle(ReceivedRecord(static_cast<uint8_t>(type), Hex("01 00"), Record(200, mac, Text("0123456789"))));
        EXPECT_EQ(0, beepAck) << type;
        EXPECT_EQ(0u, mHeartTime) << type;
        EXPECT_EQ(0, mQuitPro) << type;
        EXPECT_EQ(0, mRegist) << type;
        EXPECT_EQ(0, mLogin) << type;
    }
    EXPECT_EQ("", Log());
    EXPECT_TRUE(spy.Calls().empty());
    EXPECT_TRUE(gSdk.calls.empty());
    EXPECT_EQ("", StatusFile());
    mLogin = 1;
    ExpectNothingSent();
}

TEST_F(CBHandleTest, ABodyThatBeginsWithFfffEndsTheSessionWhateverTheType)
{
    const FeatureSpy spy;
    for (int type = 0; type < 32; type++) {
        mQuitPro = 0;
        mRegist = 0;
        CBHandle(Received(static_cast<uint8_t>(type), {}, Hex("FF FF") + Bytes(30, 0)));
        EXPECT_EQ(1, mQuitPro) << type;
        const std::string log = Log();
        EXPECT_NE(std::string::npos, log.find("net error reconnect\n")) << type;
        EXPECT_EQ(log.find("[Protool->"), log.rfind("[Protool->")) << "nothing else is done with type " << type;
        EXPECT_EQ(0u, mHeartTime);
    }
    EXPECT_TRUE(spy.Calls().empty());
    ExpectNothingSent();
}

TEST_F(CBHandleTest, AFirstWordCloseToFfffIsNoNetworkFailure)
{
    for (const char *body : {"FE FF", "FF FE", "FF", ""}) {
        CBHandle(Received(2, {}, Hex(body)));
        EXPECT_EQ(0, mQuitPro) << body;
    }
}

// ---- Heartbeat acknowledgement ----

TEST_F(CBHandleTest, HeartbeatAckStoresItsTime)
{
    FakeClockAdvanceMs(7999);
    CBHandle(Received(2, {}, {}));
    EXPECT_EQ(1, beepAck);
    EXPECT_EQ(1700000007u, mHeartTime);
    EXPECT_NE(std::string::npos, Log().find("heart beat ack\n"));
    ExpectNothingSent();
}

// ---- Forced disconnect ----

TEST_F(CBHandleTest, AForcedDisconnectEndsTheProcess)
{
    Unlink();
    EXPECT_ENDS(CBHandle(Received(3, {}, {})),
                "\\[Protool->CBHandle->[0-9]+\\]-> [^>]*force disconnect exit !!!!!.*"
                "\\[Protool->CBHandle->[0-9]+\\]-> [^>]*exit at \\[CBHandle\\] [1-9][0-9]* .\\[0m");
    EXPECT_EQ("005\n", StatusFile());
}

TEST_F(CBHandleTest, AForcedDisconnectEndsTheProcessBeforeRegistrationToo)
{
    BeforeRegistration();
    Unlink();
    EXPECT_ENDS(CBHandle(Received(3, Hex("01 00"), Bytes(16, 7))), "force disconnect exit");
}

// ---- Register acknowledgement ----

TEST_F(CBHandleTest, RegisterAckSetsTheLoginValues)
{
    BeforeRegistration();
    CBHandle(Received(11, {}, Encrypted(RegisterAckRecord())));
    EXPECT_EQ(1, mRegist);
    EXPECT_EQ(0, mLogin);
    EXPECT_STREQ("10.20.30.255", mLoginServer);
    EXPECT_EQ(0x1234, mLoginPort);
    EXPECT_EQ(Bytes(32, 0x11), Bytes(mLoginTocken, mLoginTocken + 32));
    EXPECT_EQ(Bytes(32, 0x22), Bytes(mLoginPluginId, mLoginPluginId + 32));
    EXPECT_EQ("002\n", StatusFile());
    EXPECT_EQ(std::string::npos, Log().find("error code"));
}

TEST_F(CBHandleTest, TheLongestLoginServerFits)
{
    BeforeRegistration();
    CBHandle(Received(11, {}, Encrypted(Bytes(34, 0) + Hex("FF FF FF FF FF FF") + Bytes(32, 0))));
    EXPECT_STREQ("255.255.255.255", mLoginServer);
    EXPECT_EQ(65535, mLoginPort);
}

TEST_F(CBHandleTest, AnErrorCodeInTheHeadIsLoggedAndTheAckIsStillAccepted)
{
    const struct {
        const char *head;
        const char *text;
    } cases[] = {{"07", "optlen 1, error code = [7]\n"},
                 {"00 00", "optlen 2, error code = [0]\n"},
                 {"02 01", "optlen 2, error code = [258]\n"},
                 {"03 00 FF FF", "optlen 4, error code = [3]\n"}};
    for (const auto &sample : cases) {
        BeforeRegistration();
        CBHandle(Received(11, Hex(sample.head), Encrypted(RegisterAckRecord())));
        EXPECT_NE(std::string::npos, Log().find(sample.text)) << sample.head;
        EXPECT_EQ(1, mRegist);
    }
}

TEST_F(CBHandleTest, ARegisterAckWithoutABodyIsRefusedAndNothingElseHappens)
{
    BeforeRegistration();
    CBHandle(Received(11, Hex("05 00"), {}));
    EXPECT_EQ(0, mRegist);
    EXPECT_EQ(0, mQuitPro);
    EXPECT_STREQ("", mLoginServer);
    EXPECT_EQ("", StatusFile());
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("optlen 2, error code = [5]\n"));
    EXPECT_NE(std::string::npos, log.find("regist ack error\n"));
}

TEST_F(CBHandleTest, ARegisterAckTooShortForItsFieldsIsRefused)
{
    const Bytes whole = Encrypted(RegisterAckRecord()); // 80 bytes
    ASSERT_EQ(80u, whole.size());
    for (size_t size = 0; size < 80; size++) {
        BeforeRegistration();
        CBHandle(Received(11, {}, Bytes(whole.begin(), whole.begin() + static_cast<long>(size))));
        EXPECT_EQ(0, mRegist) << size;
        EXPECT_STREQ("", mLoginServer);
        EXPECT_NE(std::string::npos, Log().find("regist ack error\n")) << size;
    }
}

TEST_F(CBHandleTest, AcknowledgementsThatCannotBeDecryptedAreRefused)
{
    const Bytes registered = Encrypted(RegisterAckRecord());
    BeforeRegistration();
    FakeRefuseCipherKey();
    CBHandle(Received(11, {}, registered));
    EXPECT_EQ(0, mRegist);
    EXPECT_STREQ("", mLoginServer);
    EXPECT_EQ(0, mQuitPro);

    const Bytes loggedIn = Encrypted(Hex("00 00 3C 00"));
    BeforeLogin();
    FakeRefuseCipherKey();
    CBHandle(Received(11, {}, loggedIn));
    EXPECT_EQ(0, mLogin);
    EXPECT_EQ(1, mQuitPro);
    EXPECT_EQ("", StatusFile());
}

// ---- Login acknowledgement ----

TEST_F(CBHandleTest, LoginAckSetsTheHeartbeatIntervalToAtLeastTwenty)
{
    const struct {
        const char *interval;
        int16_t expected;
    } cases[] = {{"05 00", 20}, {"13 00", 20}, {"14 00", 20}, {"15 00", 21},  {"3C 00", 60},
                 {"00 00", 20}, {"FF FF", 20}, {"00 80", 20}, {"2C 01", 300}, {"FF 7F", 32767}};
    for (const auto &sample : cases) {
        BeforeLogin();
        CBHandle(Received(11, {}, Encrypted(Hex("99 99") + Hex(sample.interval) + Bytes(10, 0x55))));
        EXPECT_EQ(sample.expected, mHeartInterval) << sample.interval;
        EXPECT_EQ(1, mLogin);
    }
    EXPECT_EQ("003\n", StatusFile());
    EXPECT_EQ(0, mQuitPro);
}

TEST_F(CBHandleTest, TheUserTimeoutOfTheConnectionIsThreeIntervalsOfTheLogin)
{
    FakeLibrariesReset();
    for (const auto &[interval, timeoutMs] : {std::pair{"05 00", 60000}, {"3C 00", 180000}}) {
        BeforeLogin();
        CBHandle(Received(11, {}, Encrypted(Hex("00 00") + Hex(interval))));
        EXPECT_EQ(timeoutMs, FakeSocketOption(TCP_USER_TIMEOUT, IPPROTO_TCP));
    }
}

TEST_F(CBHandleTest, ALoginAckTooShortForItsIntervalEndsTheSession)
{
    const Bytes whole = Encrypted(Hex("00 00 3C 00"));
    for (size_t size = 0; size < 16; size++) {
        BeforeLogin();
        mQuitPro = 0;
        CBHandle(Received(11, {}, Bytes(whole.begin(), whole.begin() + static_cast<long>(size))));
        EXPECT_EQ(0, mLogin) << size;
        EXPECT_EQ(1, mQuitPro) << size;
        EXPECT_NE(std::string::npos, Log().find("register ack error\n")) << size;
    }
    EXPECT_EQ(50, mHeartInterval);
    EXPECT_EQ("", StatusFile());
}

TEST_F(CBHandleTest, SessionAcksAreIgnoredOnceLoggedIn)
{
    CBHandle(Received(11, Hex("01 00"), Encrypted(Hex("00 00 3C 00"))));
    CBHandle(Received(11, {}, {}));
    EXPECT_EQ(50, mHeartInterval);
    EXPECT_EQ(0, mQuitPro);
    EXPECT_EQ("", StatusFile());
    EXPECT_EQ("", Log());
    ExpectNothingSent();
}

TEST_F(CBHandleTest, SessionAcksAreNoSignOfLife)
{
    BeforeRegistration();
    CBHandle(Received(11, {}, Encrypted(RegisterAckRecord())));
    CBHandle(Received(11, {}, Encrypted(Hex("00 00 3C 00"))));
    EXPECT_EQ(1, mLogin);
    EXPECT_EQ(0, beepAck);
    EXPECT_EQ(0u, mHeartTime);
}
