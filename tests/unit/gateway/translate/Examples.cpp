#include "tests/unit/gateway/translate/Examples.h"

#include <algorithm>

namespace gateway
{

using protocol::Bytes;
using protocol::FieldLayout;
using protocol::Layout;
using protocol::Type;

static Json ExampleValue(const Json &parameter)
{
    const std::string type = parameter["type"], name = parameter["name"];
    if (parameter.contains("values")) return parameter["values"].back();
    if (parameter.contains("initial")) return parameter["initial"];
    if (type == "number") return std::max<int64_t>(1, parameter["low"].get<int64_t>());
    if (type == "ip") return "192.168.1.20";
    if (type == "mac") return "02:1a:2b:00:00:14";
    if (type == "hex") return std::string(2 * parameter["size"].get<size_t>(), '0');
    if (type == "json") return Json::object();
    if (name == "url" || name == "source") return "http://192.0.2.1/file";
    if (name == "days") return "12345";
    if (name == "start") return "21:00";
    if (name == "stop") return "23:30";
    if (name == "from_version") return "2.0.0.7";
    if (name == "to_version") return "2.0.0.8";
    return "text";
}

Json ExampleParameters(const Json &row)
{
    Json parameters = Json::object();
    for (const Json &parameter : row["parameters"])
        parameters[parameter["name"].get<std::string>()] = ExampleValue(parameter);
    return parameters;
}

// ---- Bytes

static void PutNumber(uint64_t value, size_t size, Bytes *out)
{
    for (size_t i = 0; i < size; i++) out->push_back(static_cast<uint8_t>(i < 8 ? value >> (8 * i) : 0));
}

static Bytes RecordBytes(const Layout &layout);

static Bytes FieldBytes(const FieldLayout &field, size_t position)
{
    const std::string text = field.name;
    Bytes bytes;
    switch (field.type) {
    case Type::Ip: return {20, 1, 168, 192};
    case Type::Mac: return {0x02, 0x1a, 0x2b, 0, 0, 0x14};
    case Type::Date: return {20, 23, 11, 14};
    case Type::Text:
        bytes = protocol::ToBytes(text);
        bytes.resize(field.size);
        return bytes;
    case Type::Zeros:
    case Type::Opaque: return Bytes(field.size);
    case Type::Always: PutNumber(field.most, field.size, &bytes); return bytes;
    case Type::TextToEnd: return protocol::ToBytes(text == "json" ? "{\"a\":1}" : text);
    case Type::BytesToEnd: return {1, 2, 3};
    case Type::LongText:
        PutNumber(text.size(), 2, &bytes);
        protocol::Append(&bytes, protocol::ToBytes(text));
        return bytes;
    case Type::CountedList: PutNumber(1, 2, &bytes); [[fallthrough]];
    case Type::List: protocol::Append(&bytes, RecordBytes(field.record)); return bytes;
    case Type::Length: return Bytes(2); // once the rest is known
    default: PutNumber(field.values.count > 0 ? 1 : position + 1, field.size, &bytes); return bytes;
    }
}

static Bytes RecordBytes(const Layout &layout)
{
    Bytes bytes;
    size_t length = SIZE_MAX, position = 0;
    for (const FieldLayout &field : layout) {
        if (field.type == Type::Length) length = bytes.size();
        // The one number whose values a report bounds further.
        protocol::Append(&bytes, FieldBytes(field, std::string(field.name) == "type" ? 0 : position++));
    }
    if (length != SIZE_MAX) bytes[length] = static_cast<uint8_t>(bytes.size() - length - 2);
    return bytes;
}

Bytes ExampleReply(const protocol::Function &function)
{
    Bytes payload;
    PutNumber(1, 2, &payload);
    PutNumber(function.id, 2, &payload);
    PutNumber(0, 2, &payload);
    protocol::Append(&payload, RecordBytes(function.layout.reply));
    return payload;
}

Bytes ExampleReport(const protocol::Upload &upload)
{
    if (!upload.json) return RecordBytes(upload.layout);
    Json json = Json::object();
    for (const FieldLayout &member : upload.layout) {
        const std::string name = member.name;
        if (member.type != Type::TextToEnd)
            json[name] = name == "result" ? 0 : 1;
        else
            json[name] = name == "MAC"        ? "021A2B000014"
                         : name == "configed" ? "yes"
                         : name == "pluginID" ? "plugin-0001"
                                              : "2.0.0.7";
    }
    // Firmware has texts for its results, an update of the agent none.
    if (json.contains("resultDesc")) json["resultDesc"] = json.contains("process") ? "" : "success";
    return protocol::ToBytes(json.dump());
}

} // namespace gateway
