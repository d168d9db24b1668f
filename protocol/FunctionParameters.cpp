#include "protocol/FunctionParameters.h"

#include <algorithm>
#include <cctype>

#include "protocol/FieldValues.h"

namespace protocol
{

std::vector<const FieldLayout *> SettableFields(const Layout &request)
{
    std::vector<const FieldLayout *> fields;
    for (const FieldLayout &field : request)
        if (field.type != Type::Zeros) fields.push_back(&field);
    return fields;
}

bool MayBeLeftOut(const Layout &request, const FieldLayout &field)
{
    return request.Shared() || field.initial != kMustBeGiven;
}

std::string Usage(const Function &function)
{
    std::string text = function.name;
    for (const FieldLayout *field : SettableFields(function.layout.request)) {
        std::string name = field->name;
        const bool optional = MayBeLeftOut(function.layout.request, *field);
        if (!optional)
            std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return toupper(c); });
        text += optional ? " [" + name + "]" : " " + name;
    }
    return text;
}

static const FieldLayout *FieldNamed(const Layout &request, const std::string &name)
{
    for (const FieldLayout &field : request)
        if (!name.empty() && name == field.name) return &field;
    return nullptr;
}

// The NAME of NAME=VALUE, empty for any other word.
static std::string NameOf(const std::string &word)
{
    const size_t end = word.find('=');
    if (end == std::string::npos) return "";
    const bool plain = std::all_of(word.begin(), word.begin() + static_cast<std::ptrdiff_t>(end),
                                   [](unsigned char c) { return islower(c) || isdigit(c) || c == '_'; });
    return plain ? word.substr(0, end) : "";
}

static const FieldLayout *FirstNotGiven(const Layout &request, const AssignedValues &given)
{
    for (const FieldLayout *field : SettableFields(request))
        if (!given.count(field)) return field;
    return nullptr;
}

// All values from `at` on as one text, the first one without its first `skip` characters.
static std::string Rest(const std::vector<std::string> &values, size_t at, size_t skip)
{
    std::string text = values[at].substr(skip);
    for (size_t i = at + 1; i < values.size(); i++) text += ' ' + values[i];
    return text;
}

bool AssignValues(const Function &function, const std::vector<std::string> &values, AssignedValues *given,
                  std::string *error)
{
    const Layout &request = function.layout.request;
    const auto fail = [&](const std::string &reason) {
        *error = reason + "; use: " + Usage(function);
        return false;
    };
    bool named = false;
    for (size_t i = 0; i < values.size(); i++) {
        const std::string name = NameOf(values[i]);
        const FieldLayout *field = FieldNamed(request, name);
        const size_t skip = field ? name.size() + 1 : 0;
        if (field) {
            named = true;
            if (given->count(field)) return fail(name + " is given twice");
        } else {
            field = FirstNotGiven(request, *given);
            if (!field) return fail("'" + values[i] + "' is one word too many");
            // A misspelt name must not become a text; a text that takes the rest of the line may contain anything.
            if (!name.empty() && !TakesTheRest(field->type)) return fail("there is no parameter '" + name + "'");
            if (named && !TakesTheRest(field->type)) return fail("'" + values[i] + "' stands behind a NAME=VALUE");
        }
        if (TakesTheRest(field->type)) {
            (*given)[field] = Rest(values, i, skip);
            return true;
        }
        (*given)[field] = values[i].substr(skip);
    }
    return true;
}

std::string WhatIsMissing(const Function &function, const AssignedValues &given)
{
    const Layout &request = function.layout.request;
    if (given.empty() && request.Shared()) return "nothing is given";
    for (const FieldLayout *field : SettableFields(request))
        if (!given.count(field) && !MayBeLeftOut(request, *field)) return std::string(field->name) + " is missing";
    return "";
}

bool EncodeParameters(const Function &function, const AssignedValues &given, Bytes *parameters, std::string *error)
{
    parameters->clear();
    for (const FieldLayout &field : function.layout.request) {
        const auto text = given.find(&field);
        if (text == given.end())
            PutInitial(field, parameters);
        else if (!PutValue(field, text->second, parameters, error))
            return false;
    }
    return true;
}

bool MakeParameters(const Function &function, const std::vector<std::string> &values, Bytes *parameters,
                    std::string *error)
{
    AssignedValues given;
    parameters->clear();
    if (!AssignValues(function, values, &given, error)) return false;
    // A wrong value before a missing one is the reason to give.
    if (!EncodeParameters(function, given, parameters, error)) return false;
    const std::string missing = WhatIsMissing(function, given);
    if (!missing.empty()) *error = missing + "; use: " + Usage(function);
    return missing.empty();
}

} // namespace protocol
