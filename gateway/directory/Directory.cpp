#include "gateway/directory/Directory.h"

#include <spdlog/spdlog.h>

namespace gateway
{

std::optional<Device> Directory::FindPin(const std::string &pin) const
{
    const std::shared_lock hold(lock_);
    const auto found = byPin_.find(pin);
    if (found == byPin_.end()) return std::nullopt;
    return found->second;
}

std::optional<Device> Directory::FindSerial(const std::string &serial) const
{
    const std::shared_lock hold(lock_);
    const auto found = pinBySerial_.find(serial);
    if (found == pinBySerial_.end()) return std::nullopt;
    return byPin_.at(found->second);
}

std::vector<Device> Directory::All() const
{
    const std::shared_lock hold(lock_);
    std::vector<Device> devices;
    for (const auto &entry : byPin_) devices.push_back(entry.second);
    return devices;
}

size_t Directory::Size() const
{
    const std::shared_lock hold(lock_);
    return byPin_.size();
}

void Directory::Take(const Change &change)
{
    if (change.key.empty()) return;
    std::optional<Device> device;
    if (change.value) {
        device = ReadDevice(change.key, *change.value);
        if (!device) spdlog::warn("directory: the entry of PIN {} is no device", PinForLog(change.key));
    }
    const std::unique_lock hold(lock_);
    const auto old = byPin_.find(change.key);
    if (old != byPin_.end()) {
        const auto serial = pinBySerial_.find(old->second.serial);
        if (serial != pinBySerial_.end() && serial->second == change.key) pinBySerial_.erase(serial);
        byPin_.erase(old);
    }
    if (!device) return;
    pinBySerial_[device->serial] = device->pin;
    byPin_[device->pin] = std::move(*device);
}

} // namespace gateway
