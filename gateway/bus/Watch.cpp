#include "gateway/bus/Watch.h"

#include <asio/executor_work_guard.hpp>
#include <asio/post.hpp>
#include <spdlog/spdlog.h>

namespace gateway
{

static constexpr int64_t kWaitMs = 200; // how late it notices that it is to end

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

void Watch::Pass()
{
    kvStore *store = nullptr;
    Check(js_KeyValue(&store, bus_.JetStream(), bucket_.c_str()), "open");
    const NatsPointer<kvStore, kvStore_Destroy> storeOwner(store);
    kvWatcher *watcher = nullptr;
    Check(kvStore_WatchAll(&watcher, store, nullptr), "watch");
    const NatsPointer<kvWatcher, kvWatcher_Destroy> watcherOwner(watcher);

    const auto end = std::chrono::steady_clock::now() + again_;
    const uint64_t reconnects = bus_.Reconnects();
    std::map<std::string, uint64_t> seen;
    bool complete = false;
    while (!stop_ && std::chrono::steady_clock::now() < end && bus_.Reconnects() == reconnects) {
        kvEntry *entry = nullptr;
        const natsStatus status = kvWatcher_Next(&entry, watcher, kWaitMs);
        if (status == NATS_TIMEOUT) continue;
        Check(status, "watch");
        if (!entry) { // all that was there has come
            complete = true;
            for (const auto &[key, revision] : known_)
                if (seen.count(key) == 0) Tell({key, std::nullopt, 0});
            known_.swap(seen);
            if (first_) Tell({});
            first_ = false;
            continue;
        }
        const NatsPointer<kvEntry, kvEntry_Destroy> entryOwner(entry);
        const std::string key = kvEntry_Key(entry);
        const bool there = kvEntry_Operation(entry) == kvOp_Put;
        Change change = {key, std::nullopt, kvEntry_Revision(entry)};
        const auto told = known_.find(key);
        const bool news = there ? told == known_.end() || told->second != change.revision : told != known_.end();
        std::map<std::string, uint64_t> &keys = complete ? known_ : seen;
        if (there)
            keys[key] = change.revision;
        else
            keys.erase(key);
        if (!news) continue;
        if (there) {
            const char *value = static_cast<const char *>(kvEntry_Value(entry));
            change.value.emplace(value ? value : "", static_cast<size_t>(kvEntry_ValueLen(entry)));
        }
        Tell(std::move(change));
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
