#include "gateway/bus/Watch.h"

#include <asio/executor_work_guard.hpp>
#include <asio/post.hpp>
#include <nlohmann/json.hpp>
#include <set>
#include <spdlog/spdlog.h>
#include <utility>

namespace gateway
{

static constexpr int64_t kWaitMs = 200; // how late it notices that it is to end
static constexpr int kRequestMs = 5000;
static constexpr std::chrono::seconds kHeartbeat{5}; // of a consumer that has nothing to tell

Watch::Watch(Bus &bus, const std::string &bucket, asio::io_context &context, Handler handler,
             std::chrono::seconds again)
    : bus_(bus), bucket_(bucket), context_(context), handler_(std::move(handler)), again_(again),
      thread_([this] { Run(); })
{
}

Watch::~Watch()
{
    stop_ = true;
    thread_.join();
}

void Watch::Tell(Change change)
{
    asio::post(context_, [handler = handler_, change = std::move(change)] { handler(change); });
}

void Watch::Run()
{
    while (!stop_) {
        try {
            Pass();
        } catch (const BusError &error) {
            spdlog::warn("bucket {}: {}", bucket_, error.what());
            std::this_thread::sleep_for(std::chrono::milliseconds(kWaitMs));
        }
    }
}

// The library's own watcher begins anew by itself on a thread of its own after a lost connection, and cannot be ended
// meanwhile. This one is a consumer of the bucket's stream and a subscription, and ends with the pass.
class Watch::Reader
{
  public:
    Reader(Bus &bus, const std::string &bucket) : bus_(bus)
    {
        const std::string inbox = bus.NewInbox(), stream = "KV_" + bucket;
        Check(natsConnection_SubscribeSync(&own_, bus.Connection(), inbox.c_str()), "watch " + bucket);
        natsSubscription_SetPendingLimits(own_, -1, -1); // as large as the bucket
        const nlohmann::json wanted = {{"stream_name", stream},
                                       {"config",
                                        {{"deliver_subject", inbox},
                                         {"deliver_policy", "last_per_subject"},
                                         {"filter_subject", "$KV." + bucket + ".>"},
                                         {"ack_policy", "none"},
                                         {"replay_policy", "instant"},
                                         {"max_deliver", 1},
                                         {"mem_storage", true},
                                         {"num_replicas", 1},
                                         {"idle_heartbeat", std::chrono::nanoseconds(kHeartbeat).count()}}}};
        const auto answer = bus.Request("$JS.API.CONSUMER.CREATE." + stream, wanted.dump(), kRequestMs);
        const nlohmann::json made = nlohmann::json::parse(answer.value_or(""), nullptr, false);
        if (!made.is_object() || !made.contains("num_pending")) {
            bus_.Retire(own_);
            throw BusError("no consumer" + (answer ? ": " + *answer : ""));
        }
        // Those that are on their way already are not pending any more.
        empty_ =
            made["num_pending"] == 0 && made.value(nlohmann::json::json_pointer("/delivered/consumer_seq"), 0) == 0;
    }
    ~Reader() { bus_.Retire(own_); }
    Reader(const Reader &) = delete;
    Reader &operator=(const Reader &) = delete;

    bool Empty() const { return empty_; }

    struct Entry {
        std::string key, value;
        bool there;
        uint64_t revision;
        bool last; // of those that were there
    };
    // Nothing when none comes soon. Throws BusError when one got lost, or the consumer is gone.
    std::optional<Entry> Next()
    {
        natsMsg *raw = nullptr;
        const natsStatus status = natsSubscription_NextMsg(&raw, own_, kWaitMs);
        const auto now = std::chrono::steady_clock::now();
        if (status == NATS_TIMEOUT && now < heard_ + 3 * kHeartbeat) return std::nullopt;
        Check(status, "watch");
        const NatsPointer<natsMsg, natsMsg_Destroy> message(raw);
        heard_ = now;
        jsMsgMetaData *rawMeta = nullptr;
        if (natsMsg_GetMetaData(&rawMeta, raw) != NATS_OK) return std::nullopt; // a heartbeat
        const NatsPointer<jsMsgMetaData, jsMsgMetaData_Destroy> meta(rawMeta);
        if (meta->Sequence.Consumer != ++count_) throw BusError("an entry got lost");
        const std::string subject = natsMsg_GetSubject(raw);
        const char *operation = nullptr;
        natsMsgHeader_Get(raw, "KV-Operation", &operation); // "DEL" or "PURGE"; a value has none
        return Entry{subject.substr(subject.find('.', sizeof "$KV") + 1),
                     std::string(natsMsg_GetData(raw) ? natsMsg_GetData(raw) : "", natsMsg_GetDataLength(raw)),
                     operation == nullptr, meta->Sequence.Stream, meta->NumPending == 0};
    }

  private:
    Bus &bus_;
    natsSubscription *own_ = nullptr;
    bool empty_ = false;
    uint64_t count_ = 0;
    std::chrono::steady_clock::time_point heard_ = std::chrono::steady_clock::now();
};

void Watch::Pass()
{
    const auto end = std::chrono::steady_clock::now() + again_;
    const uint64_t reconnects = bus_.Reconnects();
    Reader reader(bus_, bucket_);
    std::set<std::string> seen;
    bool complete = false;
    const auto completed = [&] {
        complete = true;
        for (auto each = known_.begin(); each != known_.end();) {
            const bool lost = seen.count(each->first) == 0;
            if (lost && each->second.there) Tell({each->first, std::nullopt, 0});
            each = lost ? known_.erase(each) : std::next(each);
        }
        seen.clear();
        if (std::exchange(first_, false)) Tell({});
    };
    if (reader.Empty()) completed();
    while (!stop_ && std::chrono::steady_clock::now() < end && bus_.Reconnects() == reconnects) {
        const std::optional<Reader::Entry> entry = reader.Next();
        if (!entry) continue;
        if (!complete) seen.insert(entry->key);
        const uint64_t before = std::exchange(known_[entry->key], {entry->revision, entry->there}).revision;
        if (before != entry->revision)
            Tell({entry->key, entry->there ? std::optional(entry->value) : std::nullopt, entry->revision});
        if (!complete && entry->last) completed();
    }
}

void ReadBucket(Bus &bus, const std::string &bucket, const Watch::Handler &handler)
{
    asio::io_context context;
    const auto work = asio::make_work_guard(context);
    bool complete = false;
    const Watch watch(bus, bucket, context, [&](const Change &change) {
        complete = complete || change.key.empty();
        if (!complete) handler(change);
    });
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!complete && std::chrono::steady_clock::now() < end) context.run_one_for(std::chrono::milliseconds(100));
    if (!complete) throw BusError("the bucket " + bucket + " cannot be read");
}

} // namespace gateway
