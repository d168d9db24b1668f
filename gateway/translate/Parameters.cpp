#include "gateway/translate/Parameters.h"

#include <algorithm>

#include "platform/Crypt.h"
#include "platform/Frame.h"
#include "protocol/FunctionParameters.h"

namespace gateway
{

static const size_t kMaxSentence = 300;

Fault BadParameter(std::string sentence)
{
    if (sentence.size() > kMaxSentence) sentence.replace(kMaxSentence / 2, sentence.size() - kMaxSentence, " ... ");
    return {"bad_parameter", protocol::Visible(sentence)};
}

size_t MostPayload(size_t head)
{
    // A whole number of blocks, of which padding takes a byte at least.
    return kFrameMaxReceivedBody / kAesBlock * kAesBlock - 1 - head;
}

std::vector<Parameter> ParametersOf(const protocol::Function &function)
{
    std::vector<Parameter> parameters;
    for (const protocol::FieldLayout *field : protocol::SettableFields(function.layout.request)) {
        const bool document = field->size == 0 && std::string(field->name) == "json";
        const bool number = field->type <= protocol::Type::I64;
        const Wanted wanted = document                  ? Wanted::Document
                              : !number                 ? Wanted::Text
                              : field->values.count > 0 ? Wanted::Name
                                                        : Wanted::Number;
        parameters.push_back({field->name, wanted});
    }
    return parameters;
}

std::vector<Parameter> ParametersOf(const protocol::PluginCommand &command)
{
    std::vector<Parameter> parameters;
    for (const protocol::CommandMember *member : protocol::SettableMembers(command)) {
        const bool number =
            member->kind == protocol::MemberKind::Number || member->kind == protocol::MemberKind::NumberText;
        parameters.push_back({member->parameter, number ? Wanted::Number : Wanted::Text});
    }
    return parameters;
}

static std::string ListOf(const std::vector<Parameter> &parameters)
{
    std::string text;
    for (const Parameter &parameter : parameters) text += (text.empty() ? "" : ", ") + parameter.name;
    return text.empty() ? "none" : text;
}

static const char *KindOf(const Json &value)
{
    switch (value.type()) {
    case Json::value_t::null: return "null";
    case Json::value_t::boolean: return "true or false";
    case Json::value_t::number_float: return "a fraction or a number beyond 64 bits";
    case Json::value_t::string: return "a text";
    case Json::value_t::array: return "a list";
    case Json::value_t::object: return "an object";
    default: return "a number";
    }
}

static const char *Name(Wanted wanted)
{
    switch (wanted) {
    case Wanted::Number: return "a whole number";
    case Wanted::Name: return "the name of a value, or its number,";
    case Wanted::Text: return "a text";
    case Wanted::Document: return "a JSON text, an object or a list";
    }
    return "";
}

// The word of a value; nothing if it has another type.
static std::optional<std::string> WordOf(const Json &value, Wanted wanted)
{
    const bool text = wanted != Wanted::Number && value.is_string();
    const bool number = (wanted == Wanted::Number || wanted == Wanted::Name) && value.is_number_integer();
    if (text) return value.get<std::string>();
    if (number || (wanted == Wanted::Document && value.is_structured())) return value.dump();
    return std::nullopt;
}

Words WordsOf(const std::string &whose, const std::vector<Parameter> &known, const Json &given)
{
    if (!given.is_object()) throw BadParameter("the parameters of " + whose + " are no JSON object");
    Words words(known.size());
    for (const auto &member : given.items()) {
        const auto parameter =
            std::find_if(known.begin(), known.end(), [&](const Parameter &p) { return p.name == member.key(); });
        if (parameter == known.end())
            throw BadParameter(member.key() + ": " + whose + " has no such parameter; it has " + ListOf(known));
        std::optional<std::string> word = WordOf(member.value(), parameter->wanted);
        if (!word)
            throw BadParameter(parameter->name + ": " + Name(parameter->wanted) + " is needed, not " +
                               KindOf(member.value()));
        if (word->find('\0') != std::string::npos) throw BadParameter(parameter->name + ": a zero character in a text");
        words[static_cast<size_t>(parameter - known.begin())] = std::move(word);
    }
    return words;
}

std::string CommandText(const protocol::PluginCommand &command, const Json &parameters)
{
    const Words words = WordsOf(command.name, ParametersOf(command), parameters);
    std::string text, error;
    if (!protocol::MakeCommandText(command, words, &protocol::CommandMember::parameter, &text, &error))
        throw BadParameter(error);
    return text;
}

} // namespace gateway
