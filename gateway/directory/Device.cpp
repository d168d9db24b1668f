#include "gateway/directory/Device.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "gateway/directory/Csv.h"
#include "platform/SessionFrames.h"

namespace gateway
{

static const char *const kColumns[] = {"pin", "key", "serial", "name", "notes", "locked"};
static constexpr size_t kNeeded = 3; // of them

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

std::string DeviceText(const Device &device)
{
    const nlohmann::ordered_json json = {{"key", device.key},
                                         {"serial", device.serial},
                                         {"name", device.name},
                                         {"notes", device.notes},
                                         {"locked", device.locked}};
    return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::optional<Device> ReadDevice(const std::string &pin, const std::string &text)
{
    const auto json = nlohmann::json::parse(text, nullptr, false);
    if (!json.is_object()) return std::nullopt;
    const auto member = [&](const char *name) {
        const auto found = json.find(name);
        return found != json.end() && found->is_string() ? found->get<std::string>() : std::string();
    };
    Device device = {pin, member("key"), member("serial"), member("name"), member("notes"), false};
    const auto locked = json.find("locked");
    device.locked = locked != json.end() && *locked != false; // what is not understood lets nobody in
    if (!DeviceProblem(device).empty()) return std::nullopt;
    return device;
}

std::vector<Device> ReadDevices(const std::string &csv)
{
    const std::vector<CsvRow> rows = ReadCsv(csv);
    if (rows.empty()) throw std::runtime_error("the file is empty");
    std::map<std::string, size_t> columns;
    for (size_t i = 0; i < rows[0].fields.size(); i++) {
        const std::string &name = rows[0].fields[i];
        if (std::find(std::begin(kColumns), std::end(kColumns), name) == std::end(kColumns))
            throw std::runtime_error("line 1: there is no column \"" + name + "\"");
        columns[name] = i;
    }
    for (size_t i = 0; i < kNeeded; i++)
        if (columns.count(kColumns[i]) == 0)
            throw std::runtime_error(std::string("line 1: the column \"") + kColumns[i] + "\" is missing");

    std::vector<Device> devices;
    std::map<std::string, size_t> pins, serials; // on which line
    for (size_t i = 1; i < rows.size(); i++) {
        const CsvRow &row = rows[i];
        const auto bad = [&](const std::string &what) {
            throw std::runtime_error("line " + std::to_string(row.line) + ": " + what);
        };
        if (row.fields.size() != rows[0].fields.size())
            bad(std::to_string(row.fields.size()) + " fields instead of " + std::to_string(rows[0].fields.size()));
        const auto field = [&](const char *name) {
            const auto column = columns.find(name);
            return column == columns.end() ? std::string() : row.fields[column->second];
        };
        const std::string locked = field("locked");
        if (!locked.empty() && locked != "yes" && locked != "no") bad("locked is yes or no");
        Device device = {PinKey(field("pin")), field("key"),   field("serial"),
                         field("name"),        field("notes"), locked == "yes"};
        const std::string problem = DeviceProblem(device);
        if (!problem.empty()) bad(problem);
        const auto [pin, newPin] = pins.emplace(device.pin, row.line);
        if (!newPin) bad("the PIN stands on line " + std::to_string(pin->second) + ", too");
        const auto [serial, newSerial] = serials.emplace(device.serial, row.line);
        if (!newSerial) bad("the serial number stands on line " + std::to_string(serial->second) + ", too");
        devices.push_back(std::move(device));
    }
    return devices;
}

std::string DevicesText(const std::vector<Device> &devices)
{
    std::string text = CsvLine({std::begin(kColumns), std::end(kColumns)});
    for (const Device &device : devices)
        text +=
            CsvLine({device.pin, device.key, device.serial, device.name, device.notes, device.locked ? "yes" : "no"});
    return text;
}

} // namespace gateway
