// Directory.h - the devices that may register: a copy in memory of the bucket plug_devices.
// State: the copy. Threads: any; changes come on the io_context given.
#pragma once

#include <asio/io_context.hpp>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "gateway/bus/Watch.h"
#include "gateway/directory/Device.h"

namespace gateway
{

constexpr char kDevicesBucket[] = "plug_devices"; // PIN -> device

class Directory
{
  public:
    std::optional<Device> FindPin(const std::string &pin) const;
    std::optional<Device> FindSerial(const std::string &serial) const;
    std::vector<Device> All() const;
    size_t Size() const;

    // Takes one change of the bucket over. An entry that is no device is left out, with a line in the log.
    void Take(const Change &change);

  private:
    mutable std::shared_mutex lock_; // guards what follows
    std::unordered_map<std::string, Device> byPin_;
    std::unordered_map<std::string, std::string> pinBySerial_;
};

} // namespace gateway
