#include "gateway/session/RateLimit.h"

namespace gateway
{

bool AddressLimits::Take(uint32_t address, Clock::time_point now)
{
    if (perSecond_ <= 0) return true;
    const std::lock_guard<std::mutex> hold(lock_);
    if (now - swept_ > std::chrono::seconds(2)) {
        swept_ = now;
        for (auto at = rates_.begin(); at != rates_.end();)
            at = at->second.Rested(now) ? rates_.erase(at) : std::next(at);
    }
    const auto found = rates_.find(address);
    if (found != rates_.end()) return found->second.Take(now);
    if (rates_.size() >= most_) return false;
    return rates_.emplace(address, Rate(perSecond_, now)).first->second.Take(now);
}

} // namespace gateway
