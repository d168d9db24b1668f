#include "gateway/translate/Question.h"

#include <algorithm>

#include "gateway/translate/Parameters.h"
#include "platform/Frame.h"
#include "protocol/Decoder.h"
#include "protocol/FunctionNames.h"
#include "protocol/FunctionParameters.h"

namespace gateway
{

using protocol::Bytes;
using protocol::Function;

static Question WithinAFrame(Question question)
{
    const size_t most = MostPayload(kMaxInnerHead + protocol::kRequestHeader);
    if (question.parameters.size() > most)
        throw BadParameter(protocol::FunctionName(question.function) + ": the parameters have " +
                           std::to_string(question.parameters.size()) + " bytes, and a router takes " +
                           std::to_string(most) + " at most");
    return question;
}

// The words at their fields. Throws a Fault if a word is none of the names of its field's values.
static protocol::AssignedValues Assign(const Function &function, const Json &given)
{
    const std::vector<Parameter> known = ParametersOf(function);
    const Words words = WordsOf(function.name, known, given);
    const auto fields = protocol::SettableFields(function.layout.request);
    protocol::AssignedValues values;
    for (size_t i = 0; i < fields.size(); i++) {
        if (!words[i]) continue;
        const char *const *names = fields[i]->values.names;
        const char *const *end = names + fields[i]->values.count;
        // A number in a text is no name.
        if (known[i].wanted == Wanted::Name && given[known[i].name].is_string() &&
            std::find(names, end, *words[i]) == end) {
            std::string list;
            for (const char *const *name = names; name != end; name++)
                list += (list.empty() ? "" : ", ") + std::string(*name);
            throw BadParameter(known[i].name + ": '" + *words[i] + "' is none of " + list);
        }
        values[fields[i]] = *words[i];
    }
    return values;
}

Question MakeQuestion(const std::string &name, const Json &parameters)
{
    // A function with a text that the parameters are typed members of.
    const protocol::PluginCommand *typed = protocol::FindPluginCommand(name);
    if (typed && typed->function)
        return WithinAFrame({typed->function, protocol::ToBytes(CommandText(*typed, parameters)), true});
    uint16_t id = 0;
    const Function *function = protocol::ParseFunction(name, &id) ? protocol::FindFunction(id) : nullptr;
    if (!function || !function->Supported())
        throw Fault("unknown_function", "there is no function '" + protocol::Visible(name.substr(0, 64)) + "'");
    const protocol::AssignedValues given = Assign(*function, parameters);
    Question question = {id, {}, function->status != STATUS_NONE};
    std::string error;
    if (!protocol::EncodeParameters(*function, given, &question.parameters, &error)) throw BadParameter(error);
    const std::string missing = protocol::WhatIsMissing(*function, given);
    if (!missing.empty()) throw BadParameter(missing);
    return WithinAFrame(question);
}

// The members that begin each good answer.
static Json Good(uint16_t function)
{
    return {{"ok", true}, {"function", protocol::FunctionName(function)}, {"number", function}};
}

Json AnswerJson(uint16_t function, const Bytes &payload)
{
    std::vector<std::string> problems;
    const protocol::Fields described = protocol::DescribeReply(payload, &problems);
    const protocol::Field *status = protocol::FindField(described, "status");
    if (!status) {
        const protocol::Field *text = protocol::FindField(described, "text");
        return FaultJson({"refused", text ? "the router could not read the request: " + text->value
                                          : "the router's reply is cut off"});
    }
    const protocol::Field *number = protocol::FindField(described, "function");
    if (number->value != std::to_string(function)) problems.push_back("the reply names function " + number->value);
    Json answer = Good(function);
    answer["status"] = std::stoi(status->value);
    for (const char *name : {"meaning", "verdict"})
        if (const protocol::Field *meaning = protocol::FindField(described, name)) answer["meaning"] = meaning->value;
    if (const protocol::Field *fields = protocol::FindField(described, "fields"))
        answer["fields"] = FieldsJson(fields->children);
    if (!problems.empty()) {
        answer["problems"] = problems;
        answer["raw"] = protocol::ToHex(payload);
    } else if (const protocol::Field *data = protocol::FindField(described, "data")) {
        answer["data"] = data->value;
    }
    return answer;
}

Json SentJson(uint16_t function)
{
    return Good(function);
}

Json FaultJson(const Fault &fault)
{
    return {{"ok", false}, {"error", {{"code", fault.code}, {"sentence", TextJson(fault.what())}}}};
}

} // namespace gateway
