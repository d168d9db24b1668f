#include "gateway/session/Shard.h"

#include <asio/post.hpp>
#include <spdlog/spdlog.h>
#include <stdexcept>

namespace gateway
{

using asio::ip::tcp;
using ReusePort = asio::detail::socket_option::boolean<SOL_SOCKET, SO_REUSEPORT>;

static constexpr int kSystemBuffer = 32 * 1024;
static constexpr std::chrono::milliseconds kTick{250}, kAcceptPause{100};

protocol::Address ToAddress(const tcp::endpoint &endpoint)
{
    protocol::Address address;
    if (endpoint.address().is_v4()) {
        const auto bytes = endpoint.address().to_v4().to_bytes();
        std::copy(bytes.begin(), bytes.end(), address.octets);
    }
    address.port = endpoint.port();
    return address;
}

tcp::endpoint ToEndpoint(const protocol::Address &address)
{
    asio::ip::address_v4::bytes_type bytes;
    std::copy_n(address.octets, bytes.size(), bytes.begin());
    return {asio::ip::address_v4(bytes), address.port};
}

Shard::Shard(Services &services) : services_(services) {}

Shard::~Shard()
{
    Stop();
}

void Shard::Listen(Session::Role role, const protocol::Address &address)
{
    auto server = std::make_unique<Server>(Server{role, tcp::acceptor(context_)});
    try {
        server->acceptor.open(tcp::v4());
        server->acceptor.set_option(tcp::acceptor::reuse_address(true));
        server->acceptor.set_option(ReusePort(true));
        // Connections inherit these: what the system keeps for one that does not read, or is not read, is bounded, too.
        server->acceptor.set_option(asio::socket_base::send_buffer_size(kSystemBuffer));
        server->acceptor.set_option(asio::socket_base::receive_buffer_size(kSystemBuffer));
        server->acceptor.bind(ToEndpoint(address));
        server->acceptor.listen();
    } catch (const std::system_error &error) {
        throw std::runtime_error("cannot listen at " + AddressText(address) + ": " + error.code().message());
    }
    servers_.push_back(std::move(server));
}

void Shard::Start()
{
    for (const auto &server : servers_) Accept(*server);
    Tick();
    thread_ = std::thread([this] { context_.run(); });
}

void Shard::Stop()
{
    if (!thread_.joinable()) return;
    asio::post(context_, [this] {
        while (!connections_.empty()) {
            const auto connection = connections_.begin()->second;
            connection->End("drain");
        }
        context_.stop();
    });
    thread_.join();
}

void Shard::Accept(Server &server)
{
    server.acceptor.async_accept([this, &server](const asio::error_code &error, tcp::socket socket) {
        if (!server.acceptor.is_open()) return;
        if (error) { // no more descriptors, for instance: it does not help to try again at once
            auto pause = std::make_shared<asio::steady_timer>(context_, kAcceptPause);
            pause->async_wait([this, &server, pause](const asio::error_code &stopped) {
                if (!stopped && server.acceptor.is_open()) Accept(server);
            });
            return;
        }
        asio::error_code gone;
        const protocol::Address peer = ToAddress(socket.remote_endpoint(gone));
        if (!gone && services_.connections < static_cast<int64_t>(services_.maxConnections)) {
            services_.count.connections.Add();
            services_.connections++;
            const uint64_t id = ++services_.lastSession;
            const auto connection = std::make_shared<Connection>(*this, std::move(socket), server.role, id, peer);
            connections_[id] = connection;
            connection->Start();
        }
        Accept(server);
    });
}

void Shard::Forget(uint64_t session)
{
    if (connections_.erase(session) > 0) services_.connections--;
}

void Shard::Tick()
{
    const Clock::time_point now = Clock::now();
    std::vector<std::shared_ptr<Connection>> all;
    all.reserve(connections_.size());
    for (const auto &entry : connections_) all.push_back(entry.second); // the map changes when one ends
    for (const auto &connection : all) connection->Conversation().Tick(now);
    tick_.expires_after(kTick);
    tick_.async_wait([this](const asio::error_code &error) {
        if (!error) Tick();
    });
}

void Shard::Ask(uint64_t session, Asked asked)
{
    asio::post(context_, [this, session, asked = std::move(asked)]() mutable {
        const auto found = connections_.find(session);
        if (found != connections_.end() && found->second->Conversation().IsOnline()) {
            found->second->Conversation().Ask(std::move(asked), Clock::now());
            return;
        }
        services_.count.askedOffline.Add();
        asked.answer(FaultJson({"offline", "the router is not online"}));
    });
}

void Shard::Close(uint64_t session, const std::string &cause)
{
    asio::post(context_, [this, session, cause] {
        const auto found = connections_.find(session);
        if (found == connections_.end()) return;
        const auto connection = found->second;
        connection->End(cause);
    });
}

void Shard::Drain(std::chrono::milliseconds time)
{
    asio::post(context_, [this, time] {
        for (const auto &server : servers_) {
            asio::error_code error;
            server->acceptor.close(error);
        }
        std::uniform_int_distribution<int64_t> when(0, time.count());
        for (const auto &entry : connections_)
            entry.second->Conversation().DrainAt(Clock::now() + std::chrono::milliseconds(when(random_)));
    });
}

// ---- What sessions ask

bool Shard::MayRegister(const protocol::Address &peer)
{
    return services_.registrations.Take(ToEndpoint(peer).address().to_v4().to_uint(), Clock::now());
}

protocol::Address Shard::LoginServer(const std::string &serial)
{
    return services_.instances.LoginServer(serial, Clock::now()).value_or(protocol::Address());
}

void Shard::Registered(const std::string &serial, const protocol::Address &peer)
{
    const std::optional<Elsewhere> known = services_.presence.Find(serial);
    if (!known) return;
    const std::string address = AddressText(peer);
    const auto host = [](const std::string &text) { return text.substr(0, text.find(':')); };
    if (host(known->address) == host(address)) return;
    services_.count.registeredAgain.Add();
    spdlog::warn("registered elsewhere: serial={} address={} online_from={}", serial, address, known->address);
    Tell(serial, {{"event", "registered-elsewhere"}, {"address", address}, {"online", known->address}});
}

void Shard::Tell(const std::string &serial, const Json &event)
{
    Json json = {{"serial", serial}};
    json.update(event);
    json.update({{"gateway", services_.gateway}, {"time", WallSeconds()}});
    services_.bus.Publish("plug." + serial + ".session", JsonText(json));
}

void Shard::Tell(const Session &session, const char *event, const std::string &cause)
{
    const std::string address = AddressText(session.Peer());
    spdlog::info("{}: serial={} address={} version={} cause={}", event, session.Serial(), address, session.Version(),
                 cause.empty() ? "-" : cause);
    Json json = {{"event", event}};
    if (!cause.empty()) json["cause"] = cause;
    json.update({{"version", session.Version()}, {"address", address}, {"mac", session.MacText()}});
    Tell(session.Serial(), json);
}

void Shard::Online(const Session &session)
{
    Tell(session, "online", "");
    services_.presence.Online(
        session.Serial(), {this, session.Id()},
        {services_.gateway, session.MacText(), session.Version(), AddressText(session.Peer()), session.Since()});
}

void Shard::Offline(const Session &session, const std::string &cause)
{
    Tell(session, "offline", cause);
    services_.presence.Offline(session.Serial(), session.Id());
}

void Shard::Store(const Session &session, uint64_t number, uint8_t msgType, Report report)
{
    Json json = {{"serial", session.Serial()},
                 {"mac", session.MacText()},
                 {"time", WallSeconds()},
                 {"gateway", services_.gateway}};
    json.update(report.document);
    services_.count.reportsOutstanding.Add();
    services_.presence.Reported(session.Serial(), report.name, WallSeconds());
    const uint64_t id = session.Id();
    // The same for every try, and no other report's.
    const std::string name = services_.gateway + "-" + std::to_string(id) + "-" + std::to_string(number);
    services_.stored.Publish("plug." + session.Serial() + ".report." + report.name, JsonText(json), name, context_,
                             [this, id, msgType](std::optional<uint64_t> sequence) {
                                 Counters &count = services_.count;
                                 count.reportsOutstanding.Add(-1);
                                 (sequence ? count.reportsStored : count.reportsFailed).Add();
                                 const auto found = connections_.find(id);
                                 if (found == connections_.end()) return;
                                 const auto connection = found->second;
                                 connection->Conversation().ReportStored(msgType, sequence.has_value());
                             });
}

} // namespace gateway
