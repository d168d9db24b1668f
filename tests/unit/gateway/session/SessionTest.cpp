// One router's conversation, byte by byte, with a clock moved by hand.
#include <gtest/gtest.h>

#include "gateway/session/Session.h"

using namespace gateway;
using namespace protocol;
using std::chrono::seconds;

namespace
{
constexpr char kKey[] = "0123456789abcdef", kPin[] = "123456789012", kSerial[] = "R1";
constexpr uint8_t kMac[] = {2, 0x1a, 0x2b, 0, 0, 1};

struct FakeWorld : World {
    SessionSettings settings;
    Counters counters;
    int64_t wall = 1700000000;
    std::optional<Device> device = Device{kPin, kKey, kSerial, "", "", "", false};
    bool mayRegister = true;
    std::vector<std::string> told; // "online", "offline router", ...
    struct Stored {
        uint64_t number;
        uint8_t msgType;
        Report report;
    };
    std::vector<Stored> stored;
    std::function<void()> duringLogin = [] {};
    struct FakeOutlet *outlet = nullptr;
    size_t sentBeforeOnline = 0;

    FakeWorld() { settings.secret = "secret"; }
    const SessionSettings &Settings() const override { return settings; }
    Counters &Count() override { return counters; }
    int64_t WallSeconds() const override { return wall; }
    std::optional<Device> FindPin(const std::string &pin) override
    {
        return device && device->pin == pin ? device : std::nullopt;
    }
    bool MayRegister(const Address &) override { return mayRegister; }
    Address LoginServer(const std::string &) override
    {
        Address address;
        ParseAddress("10.1.2.3:6040", &address);
        return address;
    }
    void Registered(const std::string &serial, const Address &) override { told.push_back("registered " + serial); }
    void Online(const Session &session) override;
    void Offline(const Session &, const std::string &cause) override { told.push_back("offline " + cause); }
    void Store(const Session &, uint64_t number, uint8_t msgType, Report report) override
    {
        stored.push_back({number, msgType, std::move(report)});
    }
};

struct FakeOutlet : Outlet {
    std::vector<ParsedFrame> frames;
    std::string ended;
    Session *session = nullptr;
    FrameCutter cutter;

    void Send(const Bytes &bytes) override
    {
        cutter.Push(bytes.data(), bytes.size());
        Bytes raw;
        std::string problem;
        while (cutter.Pop(&raw, &problem)) frames.push_back(ParseFrame(raw, kKey, false));
        EXPECT_EQ("", problem);
    }
    void End(const std::string &cause) override
    {
        if (!ended.empty()) return;
        ended = cause;
        session->Ended(cause);
    }
    ParsedFrame Last() const { return frames.empty() ? ParsedFrame() : frames.back(); }
};

void FakeWorld::Online(const Session &session)
{
    told.push_back("online " + session.Serial());
    sentBeforeOnline = outlet->frames.size();
    duringLogin();
}

struct SessionTest : testing::Test {
    FakeWorld world;
    FakeOutlet outlet;
    Clock::time_point now{seconds(1000)};
    std::unique_ptr<Session> session;
    std::vector<Json> answers;

    Session &Open(Session::Role role)
    {
        outlet = FakeOutlet();
        session = std::make_unique<Session>(world, outlet, role, 7, Address(), now);
        outlet.session = session.get();
        world.outlet = &outlet;
        return *session;
    }
    void Give(uint8_t msgType, uint8_t flag, const Bytes &head, const Bytes &plain, const std::string &key = kKey)
    {
        OutFrame frame;
        frame.msgType = msgType;
        frame.flag = flag;
        frame.head = head;
        frame.hasPlain = !plain.empty();
        frame.plain = plain;
        GiveBytes(EncodeFrame(frame, key));
    }
    void GiveBytes(const Bytes &bytes) { session->Received(bytes.data(), bytes.size(), now); }
    void After(int passed)
    {
        now += seconds(passed);
        session->Tick(now);
    }

    void Register(const std::string &serial = kSerial, const std::string &key = kKey)
    {
        RegisterRequest request = {};
        PinField(kPin, request.pin);
        request.serial = serial.data();
        request.serialLen = serial.size();
        request.mac = kMac;
        Bytes head(kRegisterHeadSize), record(kMaxRegisterRecord);
        RegisterHeadWrite(request, head.data(), head.size());
        record.resize(RegisterRecordWrite(request, record.data(), record.size()));
        Give(MSG_REGISTER, FLAG_UP, head, record, key);
    }
    Bytes Token()
    {
        Mac mac;
        std::copy(std::begin(kMac), std::end(kMac), mac.begin());
        const TokenBytes token = MakeToken("secret", kPin, kSerial, mac, world.wall);
        return Bytes(token.begin(), token.end());
    }
    void Login(const Bytes &token, const std::string &key = kKey)
    {
        LoginRequest request = {};
        PinField(kPin, request.pin);
        std::copy(token.begin(), token.end(), request.token);
        const uint8_t version[] = {2, 0, 0, 7};
        std::copy(std::begin(version), std::end(version), request.version);
        Bytes head(kLoginHeadSize), record(kLoginRecordSize);
        LoginHeadWrite(request, head.data(), head.size());
        LoginRecordWrite(request, record.data(), record.size());
        Give(MSG_LOGIN, FLAG_UP, head, record, key);
    }
    void GoOnline()
    {
        Open(Session::Role::Login);
        Login(Token());
        ASSERT_TRUE(session->IsOnline());
        outlet.frames.clear();
    }
    void Heartbeat() { Give(MSG_HEARTBEAT, FLAG_UP, {0, 0, 0, 0}, {}); }
    void Upload() { Give(MSG_UP, FLAG_UP, {}, InnerRecordBytes(13, {}, ToBytes("{\"MAC\":\"021A2B000001\"}"))); }
    void Ask(uint16_t function)
    {
        Asked asked;
        asked.question.function = function;
        asked.answer = [this](const Json &json) { answers.push_back(json); };
        asked.arrived = now;
        session->Ask(asked, now);
    }
    void Command(uint8_t dataType)
    {
        Asked asked;
        asked.plugin = true;
        asked.command = {dataType, "{}"};
        asked.name = "online";
        asked.answer = [this](const Json &json) { answers.push_back(json); };
        asked.arrived = now;
        session->Ask(asked, now);
    }
    // The router's reply to the last request sent to it: status 0, no data.
    void Reply(uint16_t function, int tagChange = 0)
    {
        const Bytes asked = outlet.Last().payload;
        ASSERT_GE(asked.size(), 10u);
        const Bytes payload = {
            static_cast<uint8_t>(asked[0] + tagChange), asked[1], static_cast<uint8_t>(function), 0, 0, 0};
        Give(MSG_ACK_MAC, FLAG_ACK, {0, 0},
             InnerRecordBytes(static_cast<uint8_t>(function), Bytes(std::begin(kMac), std::end(kMac)), payload));
    }
    std::string ErrorOf(size_t i) { return answers.at(i)["error"]["code"].get<std::string>(); }
};

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
TEST_F(SessionTest, ADeviceThatIsLockedOrRemovedDuringItsLoginIsNotOnline)
{
    world.duringLogin = [this] { world.device->locked = true; };
    Open(Session::Role::Login);
    Login(Token());
    EXPECT_EQ("locked", outlet.ended);
    EXPECT_TRUE(outlet.frames.empty());
    world.device->locked = false;
    world.duringLogin = [this] { world.device.reset(); };
    Open(Session::Role::Login);
    Login(Token());
    EXPECT_EQ("removed", outlet.ended);
    EXPECT_EQ((std::vector<std::string>{"online R1", "offline locked", "online R1", "offline removed"}), world.told);
    EXPECT_EQ(1, world.counters.endedLocked.Get());
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

TEST_F(SessionTest, HeartbeatsKeepASessionAndSilenceForThreeIntervalsEndsIt)
{
    GoOnline();
    for (int i = 0; i < 5; i++) {
        After(179);
        ASSERT_EQ("", outlet.ended);
        Heartbeat();
    }
    EXPECT_EQ(5u, outlet.frames.size());
    After(180);
    EXPECT_EQ("silent", outlet.ended);
    EXPECT_EQ("offline silent", world.told.back());
    EXPECT_EQ(1, world.counters.endedSilent.Get());
    EXPECT_EQ(0, world.counters.sessions.Get());
}

TEST_F(SessionTest, ADamagedFrameIsDroppedAndCounted)
{
    GoOnline();
    Give(MSG_UP, FLAG_UP, {}, InnerRecordBytes(13, {}, ToBytes("{}")), "another key");
    EXPECT_EQ(1, world.counters.framesBad.Get());
    EXPECT_TRUE(world.stored.empty());
    EXPECT_EQ("", outlet.ended);
}

TEST_F(SessionTest, AReportIsAcknowledgedOnceItIsStored)
{
    GoOnline();
    Upload();
    ASSERT_EQ(1u, world.stored.size());
    EXPECT_EQ("rules-request", world.stored[0].report.name);
    EXPECT_TRUE(outlet.frames.empty());
    session->ReportStored(MSG_UP, true);
    ASSERT_EQ(1u, outlet.frames.size());
    EXPECT_EQ(MSG_ACK, outlet.Last().header.msgType);
    EXPECT_EQ(0, outlet.Last().header.bodyLen);
    session->ReportStored(MSG_UP_MAC, true);
    EXPECT_EQ(MSG_ACK_MAC, outlet.Last().header.msgType);
}

TEST_F(SessionTest, AReportThatIsNotStoredIsNotAcknowledged)
{
    GoOnline();
    Upload();
    session->ReportStored(MSG_UP, false);
    EXPECT_TRUE(outlet.frames.empty());
}

TEST_F(SessionTest, ReportsAreNumberedAndBounded)
{
    world.settings.reportsOutstanding = 2;
    GoOnline();
    for (int i = 0; i < 3; i++) Upload();
    ASSERT_EQ(2u, world.stored.size());
    EXPECT_EQ(1u, world.stored[0].number);
    EXPECT_EQ(2u, world.stored[1].number);
    EXPECT_EQ(1, world.counters.reportsRefused.Get());
    session->ReportStored(MSG_UP, true);
    Upload();
    ASSERT_EQ(3u, world.stored.size());
    EXPECT_EQ(3u, world.stored[2].number);
}

TEST_F(SessionTest, AQuestionIsAnsweredByItsReply)
{
    GoOnline();
    Ask(15);
    ASSERT_EQ(1u, outlet.frames.size());
    EXPECT_EQ(MSG_FUNCTION_COMMAND, outlet.Last().header.msgType);
    EXPECT_EQ(Bytes(std::begin(kMac), std::end(kMac)), outlet.Last().mac);
    now += std::chrono::milliseconds(12);
    Reply(15);
    ASSERT_EQ(1u, answers.size());
    EXPECT_TRUE(answers[0]["ok"].get<bool>());
    EXPECT_EQ("set-ssid-switch", answers[0]["function"]);
    EXPECT_EQ(0, answers[0]["status"]);
    EXPECT_EQ(12.0, answers[0]["ms"].get<double>());
    EXPECT_EQ(0, world.counters.questionsWaiting.Get());
}

TEST_F(SessionTest, AReplyWithAnotherTagIsNobodys)
{
    GoOnline();
    Ask(15);
    Reply(15, 1);
    EXPECT_TRUE(answers.empty());
    EXPECT_EQ(1, world.counters.repliesUnmatched.Get());
}

TEST_F(SessionTest, QuestionsArePutOneAfterAnother)
{
    GoOnline();
    Ask(15);
    Ask(19);
    EXPECT_EQ(1u, outlet.frames.size());
    Reply(15);
    EXPECT_EQ(2u, outlet.frames.size());
    Reply(19);
    ASSERT_EQ(2u, answers.size());
    EXPECT_EQ("set-radio-switch", answers[1]["function"]);
}

TEST_F(SessionTest, AQuestionWithoutAReplyIsGivenUpAndTheNextIsPut)
{
    GoOnline();
    Ask(15);
    Ask(19);
    After(20);
    ASSERT_EQ(1u, answers.size());
    EXPECT_EQ("no_answer", ErrorOf(0));
    EXPECT_EQ(2u, outlet.frames.size());
}

TEST_F(SessionTest, TooManyQuestionsAreRefusedAtOnce)
{
    world.settings.questionsWaiting = 2;
    GoOnline();
    for (int i = 0; i < 3; i++) Ask(15);
    ASSERT_EQ(1u, answers.size());
    EXPECT_EQ("busy", ErrorOf(0));
}

TEST_F(SessionTest, TheEndOfTheSessionAnswersAllQuestions)
{
    GoOnline();
    Ask(15);
    Ask(19);
    outlet.End("router");
    ASSERT_EQ(2u, answers.size());
    EXPECT_EQ("offline", ErrorOf(0));
    EXPECT_EQ("offline", ErrorOf(1));
    EXPECT_EQ(0, world.counters.questionsWaiting.Get());
}

TEST_F(SessionTest, ACommandIsAnsweredWithItsResult)
{
    GoOnline();
    Command(4);
    EXPECT_EQ(MSG_PLUG_COMMAND, outlet.Last().header.msgType);
    EXPECT_EQ(4, outlet.Last().dataType);
    Give(MSG_ACK, FLAG_ACK, {0xff, 0xff}, InnerRecordBytes(4, {}, ToBytes("{\"result\":-1}")));
    ASSERT_EQ(1u, answers.size());
    EXPECT_EQ(-1, answers[0]["result"].get<int>());
}

TEST_F(SessionTest, TheResultOfARateTestIsAReport)
{
    GoOnline();
    Give(MSG_ACK_MAC, FLAG_ACK, {0, 0},
         InnerRecordBytes(62, Bytes(std::begin(kMac), std::end(kMac)), {0, 0, 62, 0, 0, 0, 1, 0, 0, 0}));
    ASSERT_EQ(1u, world.stored.size());
    session->ReportStored(MSG_ACK_MAC, true);
    EXPECT_TRUE(outlet.frames.empty()); // a reply is not acknowledged
}

TEST_F(SessionTest, ADrainEndsItAtItsTime)
{
    GoOnline();
    session->DrainAt(now + seconds(5));
    After(4);
    EXPECT_EQ("", outlet.ended);
    After(1);
    EXPECT_EQ("drain", outlet.ended);
    EXPECT_EQ(1, world.counters.endedDrain.Get());
}

TEST_F(SessionTest, ASecondLoginOnTheSameConnectionEndsIt)
{
    GoOnline();
    Login(Token());
    EXPECT_EQ("bad_frame", outlet.ended);
}

TEST_F(SessionTest, AfterTheEndNothingIsHeard)
{
    GoOnline();
    outlet.End("replaced");
    Upload();
    After(1000);
    EXPECT_TRUE(world.stored.empty());
    EXPECT_EQ(std::vector<std::string>({"online R1", "offline replaced"}), world.told);
}
} // namespace
