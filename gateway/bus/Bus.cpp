#include "gateway/bus/Bus.h"

#include <asio/post.hpp>
#include <chrono>
#include <cstring>
#include <spdlog/spdlog.h>
#include <thread>

namespace gateway
{

void Check(int status, const std::string &what)
{
    if (status == NATS_OK) return;
    std::string text = what + ": " + natsStatus_GetText(static_cast<natsStatus>(status));
    natsStatus last = NATS_OK;
    const char *const detail = nats_GetLastError(&last); // "(file.c:733): SSL handshake error: ..."
    const char *const begin = detail && last == status ? strstr(detail, "): ") : nullptr;
    if (begin && text.find(begin + 3) == std::string::npos) text += std::string(": ") + (begin + 3);
    throw BusError(text);
}

namespace
{
constexpr int64_t kConnectMs = 5000, kReconnectWaitMs = 250, kReconnectJitterMs = 250, kWriteDeadlineMs = 2000;
constexpr std::chrono::seconds kHandOver{5}; // it takes microseconds
constexpr int kReconnectBuffer = 8 * 1024 * 1024;
constexpr std::chrono::seconds kPatience{20};

// Shared with the library, and with what is on its way to the handler when a subscription ends.
struct Target {
    asio::io_context *context;
    MessageHandler handler;
    std::promise<void> ended{}; // when the library's thread calls back no more
};
using TargetHandle = std::shared_ptr<Target>;

void Deliver(natsConnection *, natsSubscription *, natsMsg *raw, void *closure)
{
    const NatsPointer<natsMsg, natsMsg_Destroy> message(raw);
    const TargetHandle target = *static_cast<TargetHandle *>(closure);
    const auto text = [](const char *value) { return std::string(value ? value : ""); };
    Message copy = {text(natsMsg_GetSubject(raw)), text(natsMsg_GetReply(raw)),
                    std::string(natsMsg_GetData(raw) ? natsMsg_GetData(raw) : "", natsMsg_GetDataLength(raw))};
    asio::post(*target->context, [target, copy = std::move(copy)]() mutable { target->handler(std::move(copy)); });
}

// An address without name and password.
std::string Shown(const std::string &server)
{
    const size_t at = server.rfind('@'), scheme = server.find("://");
    if (at == std::string::npos) return server;
    return (scheme < at ? server.substr(0, scheme + 3) : "") + server.substr(at + 1);
}

using Options = NatsPointer<natsOptions, natsOptions_Destroy>;

Options MakeOptions(const BusOptions &options)
{
    natsOptions *raw = nullptr;
    Check(natsOptions_Create(&raw), "options");
    Options made(raw);
    std::vector<const char *> servers;
    for (const std::string &server : options.servers) servers.push_back(server.c_str());
    Check(natsOptions_SetServers(raw, servers.data(), static_cast<int>(servers.size())), "addresses of the servers");
    natsOptions_SetName(raw, options.name.c_str());
    natsOptions_SetTimeout(raw, kConnectMs);
    natsOptions_SetMaxReconnect(raw, -1);
    natsOptions_SetReconnectWait(raw, kReconnectWaitMs);
    natsOptions_SetReconnectJitter(raw, kReconnectJitterMs, kReconnectJitterMs);
    natsOptions_SetReconnectBufSize(raw, kReconnectBuffer);
    natsOptions_SetWriteDeadline(raw, kWriteDeadlineMs);
    natsOptions_SetSendAsap(raw, true); // a question waits for nothing else
    if (options.tls || !options.ca.empty() || !options.certificate.empty())
        Check(natsOptions_SetSecure(raw, true), "TLS");
    if (!options.ca.empty()) Check(natsOptions_LoadCATrustedCertificates(raw, options.ca.c_str()), options.ca);
    if (!options.certificate.empty())
        Check(natsOptions_LoadCertificatesChain(raw, options.certificate.c_str(), options.key.c_str()),
              options.certificate);
    if (!options.credentials.empty())
        Check(natsOptions_SetUserCredentialsFromFiles(raw, options.credentials.c_str(), nullptr), options.credentials);
    return made;
}

// Servers that elect their leaders just now refuse at first.
void Patiently(const std::string &what, const std::function<natsStatus()> &attempt)
{
    const auto limit = std::chrono::steady_clock::now() + kPatience;
    for (;;) {
        const natsStatus status = attempt();
        if (status == NATS_OK) return;
        if (std::chrono::steady_clock::now() > limit) Check(status, what);
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
}
} // namespace

Subscription::Subscription(Bus &bus, const std::string &subject, const std::string &queue, asio::io_context &context,
                           MessageHandler handler)
    : bus_(bus)
{
    auto *closure = new TargetHandle(std::make_shared<Target>(Target{&context, std::move(handler)}));
    ended_ = (*closure)->ended.get_future();
    natsConnection *const connection = bus.Connection();
    const natsStatus status =
        queue.empty()
            ? natsConnection_Subscribe(&own_, connection, subject.c_str(), Deliver, closure)
            : natsConnection_QueueSubscribe(&own_, connection, subject.c_str(), queue.c_str(), Deliver, closure);
    if (status != NATS_OK) delete closure;
    Check(status, "subscribe to " + subject);
    natsSubscription_SetOnCompleteCB(
        own_,
        [](void *end) {
            const std::unique_ptr<TargetHandle> target(static_cast<TargetHandle *>(end));
            (*target)->ended.set_value();
        },
        closure);
}

Subscription::~Subscription()
{
    bus_.Retire(own_);
    // The library's thread may still hand a message over, to a context that its owner is about to destroy.
    ended_.wait_for(kHandOver);
}

void Bus::Retire(natsSubscription *subscription)
{
    natsSubscription_Unsubscribe(subscription);
    const auto now = std::chrono::steady_clock::now();
    const std::lock_guard<std::mutex> hold(lock_);
    while (!retired_.empty() && retired_.front().first + kHandOver < now) retired_.pop_front();
    retired_.emplace_back(now, subscription);
}

Bus::Bus(const BusOptions &options) : replicas_(options.replicas)
{
    const Options made = MakeOptions(options);
    natsOptions_SetDisconnectedCB(
        made.get(),
        [](natsConnection *connection, void *) {
            if (!natsConnection_IsClosed(connection)) spdlog::warn("NATS: connection lost");
        },
        nullptr);
    natsOptions_SetReconnectedCB(
        made.get(),
        [](natsConnection *, void *bus) {
            static_cast<Bus *>(bus)->reconnects_++;
            spdlog::info("NATS: connected again");
        },
        this);
    natsConnection *connection = nullptr;
    Check(natsConnection_Connect(&connection, made.get()), "connect to " + Shown(options.servers.at(0)));
    connection_.reset(connection);
    jsCtx *jetStream = nullptr;
    Check(natsConnection_JetStream(&jetStream, connection, nullptr), "JetStream");
    jetStream_.reset(jetStream);
}

Bus::~Bus()
{
    jetStream_.reset();
    // The library's threads have to be done with this object.
    natsConnection_Close(connection_.get());
}

bool Bus::Publish(const std::string &subject, const std::string &data, const std::string &reply,
                  const std::map<std::string, std::string> &headers)
{
    natsMsg *raw = nullptr;
    if (natsMsg_Create(&raw, subject.c_str(), reply.empty() ? nullptr : reply.c_str(), data.data(),
                       static_cast<int>(data.size())) != NATS_OK)
        return false;
    const NatsPointer<natsMsg, natsMsg_Destroy> message(raw);
    for (const auto &[name, value] : headers) natsMsgHeader_Set(raw, name.c_str(), value.c_str());
    return natsConnection_PublishMsg(connection_.get(), raw) == NATS_OK;
}

std::optional<std::string> Bus::Request(const std::string &subject, const std::string &data, int milliseconds)
{
    natsMsg *raw = nullptr;
    if (natsConnection_Request(&raw, connection_.get(), subject.c_str(), data.data(), static_cast<int>(data.size()),
                               milliseconds) != NATS_OK)
        return std::nullopt;
    const NatsPointer<natsMsg, natsMsg_Destroy> message(raw);
    return std::string(natsMsg_GetData(raw), natsMsg_GetDataLength(raw));
}

std::string Bus::NewInbox() const
{
    natsInbox *inbox = nullptr;
    Check(natsInbox_Create(&inbox), "inbox");
    const std::string text = inbox;
    natsInbox_Destroy(inbox);
    return text;
}

void Bus::EnsureStream(const std::string &name, const std::string &subjects, int64_t maxAgeSeconds)
{
    const char *list[] = {subjects.c_str()};
    jsStreamConfig config;
    jsStreamConfig_Init(&config);
    config.Name = name.c_str();
    config.Subjects = list;
    config.SubjectsLen = 1;
    config.Storage = js_FileStorage;
    config.Replicas = replicas_;
    config.MaxAge = maxAgeSeconds * 1000000000;
    config.AllowDirect = true;
    Patiently("stream " + name, [&] {
        if (js_GetStreamInfo(nullptr, jetStream_.get(), name.c_str(), nullptr, nullptr) == NATS_OK) return NATS_OK;
        return js_AddStream(nullptr, jetStream_.get(), &config, nullptr, nullptr);
    });
}

void Bus::EnsureBucket(const std::string &name, int64_t expirySeconds)
{
    kvConfig config;
    kvConfig_Init(&config);
    config.Bucket = name.c_str();
    config.History = 1;
    config.Replicas = replicas_;
    config.TTL = expirySeconds * 1000000000;
    Patiently("bucket " + name, [&] {
        kvStore *store = nullptr;
        natsStatus status = js_KeyValue(&store, jetStream_.get(), name.c_str());
        if (status != NATS_OK) status = js_CreateKeyValue(&store, jetStream_.get(), &config);
        kvStore_Destroy(store);
        return status;
    });
}

} // namespace gateway
