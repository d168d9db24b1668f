#include "gateway/question/Questions.h"

#include <algorithm>

namespace gateway
{

static constexpr size_t kMostOwed = 16;

bool Questions::Add(Asked asked, size_t most)
{
    if (queue_.size() >= most) return false;
    queue_.push_back(std::move(asked));
    return true;
}

const Asked *Questions::Next(Clock::time_point now)
{
    if (underWay_ || queue_.empty()) return nullptr;
    Asked &first = queue_.front();
    tag_ = static_cast<uint16_t>(tag_ % 0xffff + 1); // not 0, with which routers report
    first.tag = tag_;
    first.limitEnd = now + first.limit;
    underWay_ = true;
    return &first;
}

std::optional<Asked> Questions::TakeFirst()
{
    Asked first = std::move(queue_.front());
    queue_.erase(queue_.begin());
    if (queue_.empty()) queue_ = std::vector<Asked>(); // gives its memory back, which {} would keep
    underWay_ = false;
    return first;
}

std::optional<Asked> Questions::Replied(uint16_t tag, uint16_t function)
{
    if (!underWay_ || queue_.front().plugin || queue_.front().tag != tag ||
        queue_.front().question.function != function)
        return std::nullopt;
    owed_ = {}; // a router answers in order
    return TakeFirst();
}

std::optional<Asked> Questions::Answered(uint8_t dataType)
{
    const auto owed = std::find(owed_.begin(), owed_.end(), dataType);
    if (owed != owed_.end()) {
        owed_.erase(owed);
        return std::nullopt;
    }
    if (!underWay_ || !queue_.front().plugin || queue_.front().command.dataType != dataType) return std::nullopt;
    return TakeFirst();
}

std::optional<Asked> Questions::Sent()
{
    if (!underWay_ || queue_.front().plugin || queue_.front().question.answered) return std::nullopt;
    return TakeFirst();
}

std::optional<Asked> Questions::Expired(Clock::time_point now)
{
    if (!underWay_ || now < queue_.front().limitEnd) return std::nullopt;
    if (queue_.front().plugin && owed_.size() < kMostOwed) owed_.push_back(queue_.front().command.dataType);
    return TakeFirst();
}

std::vector<Asked> Questions::Close()
{
    underWay_ = false;
    return std::move(queue_);
}

} // namespace gateway
