#include "gateway/Gateway.h"

#include <algorithm>
#include <random>
#include <spdlog/spdlog.h>
#include <stdexcept>
#include <tuple>

namespace gateway
{
namespace
{
constexpr char kReportStream[] = "PLUG_REPORTS";
constexpr std::chrono::seconds kPatience{30}, kLastWords{5}, kLongestAsking{3}, kAnswersAge{5};
constexpr std::chrono::milliseconds kLook{100};

std::string RandomHex(size_t bytes)
{
    std::random_device random;
    protocol::Bytes digits(bytes);
    for (uint8_t &digit : digits) digit = static_cast<uint8_t>(random());
    return protocol::ToHex(digits);
}

// A token of subjects, and never the same twice: what one process has numbered, no other one numbers.
std::string NewId(const std::string &name)
{
    std::string id;
    for (const char c : name) id += isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_' ? c : '-';
    return id + "-" + RandomHex(4);
}

StoredLimits LimitsOf(const RunOptions &options)
{
    return {options.maxOutstanding, StoredLimits().retry, std::chrono::seconds(options.storeSeconds)};
}

SessionSettings SettingsOf(const RunOptions &options)
{
    SessionSettings settings = options.session;
    if (!options.secretFile.empty()) {
        settings.secret = FirstLine(options.secretFile);
    } else {
        settings.secret = RandomHex(32);
        spdlog::warn("without --secret-file, no other gateway knows the tokens of this one");
    }
    return settings;
}

protocol::Address Parsed(const std::string &text)
{
    protocol::Address address;
    if (!protocol::ParseAddress(text, &address)) throw std::runtime_error(text + " is no IPv4 address:port");
    return address;
}
} // namespace

Gateway::Gateway(const RunOptions &options, const BusOptions &bus)
    : options_(options), id_(NewId(options.name)), bus_(bus), registrations_(options.registrationsPerSecond),
      stored_(bus_, LimitsOf(options)),
      presence_(id_, stored_, context_, [](const Here &here) { here.shard->Close(here.session, "replaced"); }),
      services_{id_,       SettingsOf(options), options.maxConnections, count_, bus_, stored_, directory_,
                presence_, instances_,          registrations_}
{
    for (const char *bucket : {kDevicesBucket, kSessionsBucket}) bus_.EnsureBucket(bucket, 0);
    bus_.EnsureBucket(kGatewaysBucket, kDeadAfter.count());
    bus_.EnsureStream(kReportStream, "plug.*.report.>", int64_t{86400} * options.reportDays);
    Listen();
    Beat();
    ReadBuckets();
    dispatcher_.emplace(context_, services_, options.allRate);
    if (options.webAt != "none") {
        WebOptions web = options.web;
        const protocol::Address at = Parsed(options.webAt);
        web.address = options.webAt.substr(0, options.webAt.find(':'));
        if (web.address.empty()) web.address = "127.0.0.1";
        web.port = at.port;
        if (!options.webTokenFile.empty()) web.token = FirstLine(options.webTokenFile);
        web_.emplace(web, *this, count_);
    }
    AwaitSignal();
    for (const auto &shard : shards_) shard->Start();
    count_.started.Set(time(nullptr));
    spdlog::info("ready: gateway={} register={} login={} web={} devices={} threads={}", id_, options.registerAt,
                 login_ ? AddressText(*login_) : "none", web_ ? std::to_string(web_->Port()) : "none",
                 directory_.Size(), shards_.size());
}

Gateway::~Gateway()
{
    web_.reset();
    dispatcher_->Stop(); // it still answers what the end of the sessions leaves open
    watches_.clear();
    for (const auto &shard : shards_) shard->Stop();
    // What they have said last is still on its way.
    const auto end = Clock::now() + kLastWords;
    while (stored_.Outstanding() > 0 && Clock::now() < end && bus_.Connected()) {
        context_.restart();
        context_.run_one_for(kLook);
    }
}

void Gateway::Listen()
{
    const unsigned processors = std::max(1u, std::thread::hardware_concurrency());
    for (unsigned i = 0; i < (options_.threads ? options_.threads : processors); i++)
        shards_.push_back(std::make_unique<Shard>(services_));
    const auto listen = [this](Session::Role role, const protocol::Address &address) {
        // Several of this process share a port; it must not be another one's.
        asio::error_code taken;
        asio::ip::tcp::acceptor probe(context_, asio::ip::tcp::v4());
        probe.set_option(asio::ip::tcp::acceptor::reuse_address(true));
        probe.bind(ToEndpoint(address), taken);
        if (taken) throw std::runtime_error("cannot listen at " + AddressText(address) + ": " + taken.message());
        probe.close();
        for (const auto &shard : shards_) shard->Listen(role, address);
    };
    if (options_.registerAt != "none") listen(Session::Role::Registration, Parsed(options_.registerAt));
    if (options_.loginAt == "none") return;
    const protocol::Address at = Parsed(options_.loginAt);
    login_ = options_.announce.empty() ? at : Parsed(options_.announce);
    if (ToEndpoint(*login_).address().is_unspecified())
        throw std::runtime_error("--login " + options_.loginAt +
                                 " listens everywhere: --announce has to say where routers reach it");
    listen(Session::Role::Login, at);
}

void Gateway::ReadBuckets()
{
    size_t complete = 0;
    const auto watch = [&](const char *bucket, std::function<void(const Change &)> take) {
        watches_.push_back(std::make_unique<Watch>(bus_, bucket, context_, [&complete, take](const Change &change) {
            if (change.key.empty())
                complete++; // only before the end of this procedure
            else
                take(change);
        }));
    };
    watch(kDevicesBucket, [this](const Change &change) {
        const std::optional<Device> before = directory_.FindPin(change.key);
        directory_.Take(change);
        count_.devices.Set(static_cast<int64_t>(directory_.Size()));
        const std::string barred = before ? WhyBarred(directory_.FindSerial(before->serial), before->key) : "";
        const std::optional<Here> here = barred.empty() ? std::nullopt : presence_.FindHere(before->serial);
        if (here) here->shard->Close(here->session, barred);
    });
    watch(kGatewaysBucket, [this](const Change &change) { instances_.Take(change, Clock::now()); });
    watch(kSessionsBucket, [this](const Change &change) { presence_.Take(change); });
    const auto end = Clock::now() + kPatience;
    while (complete < watches_.size() || !instances_.Alive(id_, Clock::now())) {
        if (Clock::now() > end) throw std::runtime_error("the buckets of NATS cannot be read or written");
        context_.run_one_for(kLook);
    }
}

void Gateway::Beat()
{
    stored_.Put(kGatewaysBucket, id_, InstanceText(login_), context_, {});
    // Once it runs, a gateway knows of itself without NATS: its routers still have somewhere to log in.
    if (count_.started.Get()) instances_.Take({id_, InstanceText(login_)}, Clock::now());
    presence_.Repeat();
    count_.gateways.Set(static_cast<int64_t>(instances_.All(Clock::now()).size()));
    count_.busConnected.Set(bus_.Connected());
    count_.busReconnects.Set(static_cast<int64_t>(bus_.Reconnects()));
    beat_.expires_after(kBeat);
    beat_.async_wait([this](const asio::error_code &error) {
        if (!error && !count_.draining.Get()) Beat();
    });
}

void Gateway::Run()
{
    context_.restart();
    context_.run();
    spdlog::info("end: gateway={} sessions={}", id_, count_.sessions.Get());
}

// ---- The end

void Gateway::AwaitSignal()
{
    signals_.async_wait([this](const asio::error_code &error, int) {
        if (error) return;
        if (count_.draining.Get()) return context_.stop();
        const std::chrono::seconds time(options_.drainSeconds);
        spdlog::info("drain: gateway={} sessions={} seconds={}", id_, count_.sessions.Get(), time.count());
        count_.draining.Set(1);
        stored_.Delete(kGatewaysBucket, id_, 0, context_, {}); // no router is sent here any more
        for (const auto &shard : shards_) shard->Drain(time);
        drainEnd_ = Clock::now() + time + kLastWords;
        AwaitSignal();
        AwaitDrain();
    });
}

void Gateway::AwaitDrain()
{
    if (count_.sessions.Get() == 0 || Clock::now() > drainEnd_) return context_.stop();
    drain_.expires_after(kLook);
    drain_.async_wait([this](const asio::error_code &error) {
        if (!error) AwaitDrain();
    });
}

// ---- What the web server asks

Health Gateway::State()
{
    if (count_.draining.Get()) return {false, "the end is ordered"};
    if (!bus_.Connected()) return {false, "NATS is not connected"};
    return {true, std::to_string(count_.sessions.Get()) + " sessions, NATS connected"};
}

// What only the gateway of a router's session knows: asked for when somebody looks, and not all the time. Who looks while
// somebody asks takes what is known.
void Gateway::AskOthers()
{
    constexpr int kMs = 1000;
    const std::unique_lock<std::mutex> hold(asking_, std::try_to_lock);
    const auto start = Clock::now();
    if (!hold || start < askAgain_) return;
    for (const std::string &other : instances_.All(start)) {
        size_t size = kReportsOnAPage;
        for (std::string after; other != id_ && size == kReportsOnAPage && Clock::now() < start + kLongestAsking;) {
            const Json page = Request("plug_gateway." + other + ".reports", {{"after", after}}, kMs);
            presence_.Learn(other, page);
            size = page.size();
            if (size > 0) after = std::prev(page.end()).key();
        }
    }
    askAgain_ = Clock::now() + kAnswersAge;
}

OnlineRouter Gateway::Describe(const std::string &serial, const Elsewhere &seen) const
{
    const Device device = directory_.FindSerial(serial).value_or(Device());
    const auto [report, time] = presence_.LastReport(serial);
    return {serial,       device.name,  device.model, seen.version, seen.mac,
            seen.address, seen.gateway, seen.since,   report,       time};
}

std::vector<OnlineRouter> Gateway::Online()
{
    AskOthers();
    std::vector<OnlineRouter> routers;
    for (const auto &[serial, seen] : presence_.All())
        if (instances_.Alive(seen.gateway, Clock::now())) routers.push_back(Describe(serial, seen));
    return routers;
}

std::optional<OnlineRouter> Gateway::Router(const std::string &serial)
{
    if (!directory_.FindSerial(serial)) return std::nullopt;
    const auto seen = presence_.Find(serial);
    const bool online = seen && instances_.Alive(seen->gateway, Clock::now());
    return Describe(serial, online ? *seen : Elsewhere());
}

Json Gateway::Request(const std::string &subject, const Json &data, int milliseconds)
{
    return ReadObject(bus_.Request(subject, JsonText(data), milliseconds).value_or(""));
}

std::vector<Json> Gateway::LastReports(const std::string &serial)
{
    constexpr int kMs = 2000;
    const std::string api = "$JS.API.", stream = kReportStream;
    if (!directory_.FindSerial(serial)) return {}; // it becomes a part of a subject
    const Json info =
        Request(api + "STREAM.INFO." + stream, {{"subjects_filter", "plug." + serial + ".report.>"}}, kMs);
    const Json subjects = info.value(Json::json_pointer("/state/subjects"), Json::object());
    std::vector<Json> reports;
    for (const auto &subject : subjects.items()) {
        // The message itself, without the base64 that the other way has.
        const Json report = Request(api + "DIRECT.GET." + stream, {{"last_by_subj", subject.key()}}, kMs);
        if (!report.empty()) reports.push_back(report);
    }
    std::sort(reports.begin(), reports.end(),
              [](const Json &one, const Json &other) { return NumberOf(one, "time") > NumberOf(other, "time"); });
    return reports;
}

Json Gateway::Ask(const std::string &serial, const std::string &function, const Json &parameters)
{
    const int ms = 1000 * (options_.session.questionSeconds + 5);
    const Json answer = Request("plug." + serial + ".ask." + function, parameters, ms);
    return answer.empty() ? FaultJson({"no_answer", "no gateway has answered in time"}) : answer;
}

} // namespace gateway
