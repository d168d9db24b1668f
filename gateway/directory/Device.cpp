#include "gateway/directory/Device.h"

#include <algorithm>
#include <map>
#include <stdexcept>

#include "gateway/directory/Csv.h"
#include "gateway/translate/Json.h"
#include "platform/SessionFrames.h"

namespace gateway
{

std::string PinKey(const std::string &pin)
{
    return pin.substr(0, kPinHeadSize);
}

std::string PinForLog(const std::string &pin)
{
    return pin.substr(0, 4) + "...";
}

static bool IsToken(const std::string &text, size_t most)
{
    return !text.empty() && text.size() <= most && std::all_of(text.begin(), text.end(), [](unsigned char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' || c == '_';
    });
}

std::string DeviceProblem(const Device &device)
{
    if (!IsToken(device.pin, kPinHeadSize)) return "a PIN has 1 to 12 letters, digits, - and _";
    if (device.key.empty()) return "the key is missing";
    if (!IsToken(device.serial, kMaxSerial)) return "a serial number has 1 to 63 letters, digits, - and _";
    if (device.serial == "all") return "the serial number \"all\" means all devices";
    return "";
}

std::string WhyBarred(const std::optional<Device> &device, const std::string &key)
{
    if (!device) return "removed";
    if (device->locked) return "locked";
    return device->key == key ? "" : "new_key";
}

// In the order of a CSV file's columns.
static Json MembersOf(const Device &device)
{
    return {{"pin", device.pin},     {"key", device.key},     {"serial", device.serial}, {"name", device.name},
            {"notes", device.notes}, {"model", device.model}, {"locked", device.locked}};
}

static Device FromMembers(const Json &members)
{
    const auto text = [&](const char *name) { return TextOf(members, name); };
    const bool locked = members.value("locked", Json(false)) != false; // what is not understood lets nobody in
    return {text("pin"), text("key"), text("serial"), text("name"), text("notes"), text("model"), locked};
}

std::string DeviceText(const Device &device)
{
    Json members = MembersOf(device);
    members.erase("pin");
    return JsonText(members);
}

std::optional<Device> ReadDevice(const std::string &pin, const std::string &text)
{
    Json members = ReadObject(text);
    members["pin"] = pin;
    const Device device = FromMembers(members);
    return DeviceProblem(device).empty() ? std::optional<Device>(device) : std::nullopt;
}

std::vector<Device> ReadDevices(const std::string &csv)
{
    const std::vector<CsvRow> rows = ReadCsv(csv);
    if (rows.empty()) throw std::runtime_error("the file is empty");
    const std::vector<std::string> &columns = rows[0].fields;
    const Json known = MembersOf({});
    for (const std::string &name : columns)
        if (!known.contains(name)) throw std::runtime_error("line 1: there is no column \"" + name + "\"");
    for (const std::string name : {"pin", "key", "serial"})
        if (std::find(columns.begin(), columns.end(), name) == columns.end())
            throw std::runtime_error("line 1: the column \"" + name + "\" is missing");

    std::vector<Device> devices;
    std::map<std::string, size_t> pins, serials; // on which line
    for (size_t i = 1; i < rows.size(); i++) {
        const auto &[line, fields] = rows[i];
        const auto need = [at = line](bool good, const std::string &problem) {
            if (!good) throw std::runtime_error("line " + std::to_string(at) + ": " + problem);
        };
        need(fields.size() == columns.size(),
             std::to_string(fields.size()) + " fields instead of " + std::to_string(columns.size()));
        Json members;
        for (size_t column = 0; column < columns.size(); column++) members[columns[column]] = fields[column];
        members["pin"] = PinKey(TextOf(members, "pin"));
        const std::string locked = TextOf(members, "locked");
        need(locked.empty() || locked == "yes" || locked == "no", "locked is yes or no");
        members["locked"] = locked == "yes";
        const Device device = FromMembers(members);
        const std::string problem = DeviceProblem(device);
        need(problem.empty(), problem);
        const auto [pin, newPin] = pins.emplace(device.pin, line);
        need(newPin, "the PIN stands on line " + std::to_string(pin->second) + ", too");
        const auto [serial, newSerial] = serials.emplace(device.serial, line);
        need(newSerial, "the serial number stands on line " + std::to_string(serial->second) + ", too");
        devices.push_back(device);
    }
    return devices;
}

std::string DevicesText(const std::vector<Device> &devices)
{
    std::vector<std::string> columns;
    const Json members = MembersOf({});
    for (const auto &member : members.items()) columns.push_back(member.key());
    std::string text = CsvLine(columns);
    for (const Device &device : devices)
        text += CsvLine({device.pin, device.key, device.serial, device.name, device.notes, device.model,
                         device.locked ? "yes" : "no"});
    return text;
}

} // namespace gateway
