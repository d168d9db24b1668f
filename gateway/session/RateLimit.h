// RateLimit.h - how often something may happen: in all, or for each of many addresses.
// State: one account for each address that was busy lately, bounded. Threads: AddressLimits any, Rate one.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <unordered_map>

namespace gateway
{

using Clock = std::chrono::steady_clock;

// So many in a second on average, and so many at once after a rest.
class Rate
{
  public:
    Rate(double perSecond, Clock::time_point now) : perSecond_(perSecond), left_(perSecond), last_(now) {}

    // Whether one more is within the rate; then it counts.
    bool Take(Clock::time_point now)
    {
        const double seconds = std::chrono::duration<double>(now - last_).count();
        const double most = perSecond_ < 1 ? 1 : perSecond_;
        left_ = left_ + seconds * perSecond_ > most ? most : left_ + seconds * perSecond_;
        last_ = now;
        if (left_ < 1) return false;
        left_ -= 1;
        return true;
    }
    bool Rested(Clock::time_point now) const { return now - last_ > std::chrono::seconds(2); }

  private:
    double perSecond_;
    double left_;
    Clock::time_point last_;
};

class AddressLimits
{
  public:
    // `perSecond` 0: no limit. Above `most` busy addresses, new ones are refused.
    explicit AddressLimits(double perSecond, size_t most = 100000) : perSecond_(perSecond), most_(most) {}

    bool Take(uint32_t address, Clock::time_point now);

  private:
    const double perSecond_;
    const size_t most_;
    std::mutex lock_; // guards what follows
    std::unordered_map<uint32_t, Rate> rates_;
    Clock::time_point swept_{};
};

} // namespace gateway
