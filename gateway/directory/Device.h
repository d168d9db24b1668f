// Device.h - one device of the directory, and its forms: JSON in the bucket, a row of a CSV file.
// State: none. Threads: any.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace gateway
{

struct Device {
    std::string pin;    // as much as travels: at most 12 characters
    std::string key;    // of which the first 16 characters encrypt
    std::string serial; // a token of its subjects
    std::string name, notes;
    std::string model;   // of the router: it tells that only when it is asked
    bool locked = false; // refused until it is unlocked
};

// The part of a PIN that travels.
std::string PinKey(const std::string &pin);

// What may be written in a log.
std::string PinForLog(const std::string &pin);

// The reason why a device cannot be in the directory; empty if it can. PIN and serial are names in the message system, so
// they have letters, digits, `-` and `_` only.
std::string DeviceProblem(const Device &device);

// Why a device may have no session (any more) with this key, which is the cause of its end: "removed", "locked",
// "new_key". Empty while it may.
std::string WhyBarred(const std::optional<Device> &device, const std::string &key);

// The entry of a bucket; the PIN is its key.
std::string DeviceText(const Device &device);
std::optional<Device> ReadDevice(const std::string &pin, const std::string &text);

// CSV as RFC 4180 has it. The first line names the columns, in any order: pin, key, serial, and if wanted name, notes,
// model, locked (yes or no). Throws std::runtime_error that names the line.
std::vector<Device> ReadDevices(const std::string &csv);
std::string DevicesText(const std::vector<Device> &devices);

} // namespace gateway
