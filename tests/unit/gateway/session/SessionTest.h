// SessionTest.h - one router's conversation with the gateway, byte by byte, with a clock moved by hand.
#pragma once

#include <gtest/gtest.h>

#include "gateway/session/Session.h"
#include "tests/fleet/RouterFrames.h"

namespace gateway
{

using namespace protocol;
using std::chrono::seconds;

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

inline void FakeWorld::Online(const Session &session)
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
        GiveBytes(RouterFrame(Facts(kSerial, key), msgType, flag, head, plain));
    }
    void GiveBytes(const Bytes &bytes) { session->Received(bytes.data(), bytes.size(), now); }
    void After(int passed)
    {
        now += seconds(passed);
        session->Tick(now);
    }

    static RouterFacts Facts(const std::string &serial = kSerial, const std::string &key = kKey)
    {
        return {kPin, key, serial, Bytes(std::begin(kMac), std::end(kMac))};
    }
    void Register(const std::string &serial = kSerial, const std::string &key = kKey)
    {
        GiveBytes(RegisterFrame(Facts(serial, key)));
    }
    Bytes Token()
    {
        Mac mac;
        std::copy(std::begin(kMac), std::end(kMac), mac.begin());
        const TokenBytes token = MakeToken("secret", kPin, kSerial, mac, world.wall);
        return Bytes(token.begin(), token.end());
    }
    void Login(const Bytes &token, const std::string &key = kKey) { GiveBytes(LoginFrame(Facts(kSerial, key), token)); }
    void GoOnline()
    {
        Open(Session::Role::Login);
        Login(Token());
        ASSERT_TRUE(session->IsOnline());
        outlet.frames.clear();
    }
    void Heartbeat() { GiveBytes(HeartbeatFrame(Facts())); }
    void Upload() { GiveBytes(TextReportFrame(Facts(), "{\"MAC\":\"021A2B000001\"}")); }
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

} // namespace gateway
