#include "gateway/translate/Tables.h"

#include "gateway/translate/Parameters.h"
#include "protocol/FieldValues.h"
#include "protocol/FunctionParameters.h"

namespace gateway
{

using protocol::CommandMember;
using protocol::FieldLayout;
using protocol::MemberKind;
using protocol::Type;

static const char *TypeName(const FieldLayout &field, Wanted wanted)
{
    switch (field.type) {
    case Type::Ip: return "ip";
    case Type::Mac: return "mac";
    case Type::Opaque: return "hex";
    default: return wanted == Wanted::Document ? "json" : wanted == Wanted::Text ? "text" : "number";
    }
}

static Json ValuesJson(const protocol::ValueNames &values)
{
    Json names = Json::array();
    for (size_t i = 0; i < values.count; i++) names.push_back(values.names[i]);
    return names;
}

static Json FieldJson(const protocol::Layout &request, const FieldLayout &field, Wanted wanted)
{
    Json json = {{"name", field.name},
                 {"type", TypeName(field, wanted)},
                 {"about", field.about},
                 {"required", !protocol::MayBeLeftOut(request, field)}};
    if (*field.unit) json["unit"] = field.unit;
    if (wanted == Wanted::Number) {
        const protocol::NumberRange range = protocol::RangeOf(field.type);
        json["low"] = range.low;
        json["high"] = range.high;
    }
    if (wanted == Wanted::Name) json["values"] = ValuesJson(field.values);
    if (field.type == Type::Text || field.type == Type::Opaque) json["size"] = field.size;
    if (field.initial != protocol::kMustBeGiven) json["initial"] = field.initial;
    return json;
}

static Json MemberJson(const CommandMember &member)
{
    const bool number = member.kind == MemberKind::Number || member.kind == MemberKind::NumberText;
    const char *type = number                                                                   ? "number"
                       : member.kind == MemberKind::Ip                                          ? "ip"
                       : member.kind == MemberKind::Mac || member.kind == MemberKind::MacDigits ? "mac"
                                                                                                : "text";
    Json json = {{"name", member.parameter},
                 {"type", type},
                 {"about", member.about},
                 {"required", member.initial == protocol::kMustBeGiven}};
    if (number) {
        json["low"] = member.low;
        json["high"] = member.high;
    }
    if (member.kind == MemberKind::Choice) json["values"] = ValuesJson(member.values);
    if (member.kind == MemberKind::Text) json["size"] = member.high;
    if (member.initial != protocol::kMustBeGiven) json["initial"] = member.initial;
    return json;
}

static Json CommandJson(const protocol::PluginCommand &command)
{
    Json json = {{"name", command.name}, {"summary", command.summary}};
    json[command.function ? "number" : "command"] = command.dataType;
    if (command.function) json["answered"] = true;
    json["parameters"] = Json::array();
    for (const CommandMember *member : protocol::SettableMembers(command))
        json["parameters"].push_back(MemberJson(*member));
    return json;
}

Json FunctionsJson()
{
    Json functions = Json::array();
    for (const protocol::Function &function : protocol::kFunctions) {
        if (!function.Supported()) continue;
        Json json = {{"name", function.name},
                     {"summary", function.layout.summary},
                     {"number", function.id},
                     {"answered", function.status != STATUS_NONE},
                     {"parameters", Json::array()}};
        const auto fields = protocol::SettableFields(function.layout.request);
        const std::vector<Parameter> known = ParametersOf(function);
        for (size_t i = 0; i < fields.size(); i++)
            json["parameters"].push_back(FieldJson(function.layout.request, *fields[i], known[i].wanted));
        functions.push_back(json);
    }
    for (const protocol::PluginCommand &command : protocol::kPluginCommands)
        if (command.function) functions.push_back(CommandJson(command));
    return functions;
}

Json CommandsJson()
{
    Json commands = Json::array();
    for (const protocol::PluginCommand &command : protocol::kPluginCommands)
        if (!command.function) commands.push_back(CommandJson(command));
    return commands;
}

} // namespace gateway
