#include "gateway/bus/Stored.h"

#include <asio/post.hpp>
#include <nlohmann/json.hpp>

namespace gateway
{
namespace
{
constexpr std::chrono::milliseconds kTick{100};
constexpr int kWrongLastSequence = 10071; // somebody has written the key since: trying again changes nothing
} // namespace

Stored::Stored(Bus &bus, const StoredLimits &limits) : bus_(bus), limits_(limits), inbox_(bus.NewInbox())
{
    answers_ = bus_.Subscribe(inbox_ + ".*", "", own_, [this](const Message &answer) { Answered(answer); });
    Repeat();
    thread_ = std::thread([this] { own_.run(); });
}

Stored::~Stored()
{
    own_.stop();
    thread_.join();
}

void Stored::Publish(const std::string &subject, const std::string &data, const std::string &id,
                     asio::io_context &context, Done done)
{
    Add({subject, data, {{"Nats-Msg-Id", id}}, &context, std::move(done), {}, {}});
}

void Stored::Put(const std::string &bucket, const std::string &key, const std::string &value, asio::io_context &context,
                 Done done)
{
    Add({"$KV." + bucket + "." + key, value, {}, &context, std::move(done), {}, {}});
}

void Stored::Delete(const std::string &bucket, const std::string &key, uint64_t sequence, asio::io_context &context,
                    Done done)
{
    std::map<std::string, std::string> headers = {{"KV-Operation", "DEL"}};
    if (sequence > 0) headers["Nats-Expected-Last-Subject-Sequence"] = std::to_string(sequence);
    Add({"$KV." + bucket + "." + key, "", headers, &context, std::move(done), {}, {}});
}

void Stored::Add(Pending pending)
{
    if (++outstanding_ > limits_.outstanding) {
        outstanding_--;
        Finish(&pending, std::nullopt);
        return;
    }
    asio::post(own_, [this, pending = std::move(pending)]() mutable {
        const Clock::time_point now = Clock::now();
        pending.next = now + limits_.retry;
        pending.end = now + limits_.giveUp;
        const uint64_t number = ++last_;
        Send(number, pending);
        pending_.emplace(number, std::move(pending));
    });
}

void Stored::Send(uint64_t number, const Pending &pending)
{
    bus_.Publish(pending.subject, pending.data, inbox_ + "." + std::to_string(number), pending.headers);
}

void Stored::Answered(const Message &answer)
{
    const uint64_t number = strtoull(answer.subject.c_str() + inbox_.size() + 1, nullptr, 10);
    const auto found = pending_.find(number);
    if (found == pending_.end()) return;
    // An empty answer says that no stream listens, an error mostly that its servers elect a leader: both may pass.
    const auto json = nlohmann::json::parse(answer.data, nullptr, false);
    if (!json.is_object()) return;
    std::optional<uint64_t> sequence;
    const auto error = json.find("error");
    if (error != json.end()) {
        const auto code = error->find("err_code"); // of anything but an object: the end
        if (code == error->end() || *code != kWrongLastSequence) return;
    } else if (const auto at = json.find("seq"); at != json.end() && at->is_number_unsigned()) {
        sequence = at->get<uint64_t>();
    } else {
        return;
    }
    Finish(&found->second, sequence);
    pending_.erase(found);
    outstanding_--;
}

void Stored::Repeat()
{
    const Clock::time_point now = Clock::now();
    for (auto at = pending_.begin(); at != pending_.end();) {
        Pending &pending = at->second;
        if (now >= pending.end) {
            Finish(&pending, std::nullopt);
            at = pending_.erase(at);
            outstanding_--;
            continue;
        }
        if (now >= pending.next) {
            pending.next = now + limits_.retry;
            Send(at->first, pending);
        }
        ++at;
    }
    timer_.expires_after(kTick);
    timer_.async_wait([this](const asio::error_code &error) {
        if (!error) Repeat();
    });
}

void Stored::Finish(Pending *pending, std::optional<uint64_t> sequence)
{
    if (pending->done) asio::post(*pending->context, [done = std::move(pending->done), sequence] { done(sequence); });
}

} // namespace gateway
