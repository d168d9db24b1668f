#include "gateway/session/Instances.h"

#include "gateway/session/Rendezvous.h"
#include "gateway/translate/Json.h"

namespace gateway
{

std::string InstanceText(const std::optional<protocol::Address> &login)
{
    return JsonText({{"login", login ? AddressText(*login) : ""}});
}

void Instances::Take(const Change &change, Clock::time_point now)
{
    if (change.key.empty()) return;
    const std::lock_guard<std::mutex> hold(lock_);
    const Json entry = ReadObject(change.value.value_or(""));
    if (!change.value)
        instances_.erase(change.key);
    else if (!entry.empty())
        instances_[change.key] = {TextOf(entry, "login"), now};
}

bool Instances::Alive(const std::string &id, Clock::time_point now) const
{
    const std::lock_guard<std::mutex> hold(lock_);
    const auto found = instances_.find(id);
    return found != instances_.end() && now - found->second.heard < kDeadAfter;
}

std::vector<std::string> Instances::All(Clock::time_point now) const
{
    const std::lock_guard<std::mutex> hold(lock_);
    std::vector<std::string> ids;
    for (const auto &[id, instance] : instances_)
        if (now - instance.heard < kDeadAfter) ids.push_back(id);
    return ids;
}

std::optional<protocol::Address> Instances::LoginServer(const std::string &serial, Clock::time_point now) const
{
    // By the address, not the id: one that starts again gets its routers back.
    std::vector<std::string> places;
    {
        const std::lock_guard<std::mutex> hold(lock_);
        for (const auto &[id, instance] : instances_)
            if (!instance.login.empty() && now - instance.heard < kDeadAfter) places.push_back(instance.login);
    }
    protocol::Address address;
    if (places.empty() || !protocol::ParseAddress(places[Choose(places, serial)], &address)) return std::nullopt;
    return address;
}

} // namespace gateway
