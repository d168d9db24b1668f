#include "simulator/FunctionParameters.h"

#include <algorithm>
#include <cctype>
#include <map>

#include "simulator/FieldValues.h"

namespace sim
{

using Given = std::map<const FieldLayout *, std::string>;

// The fields that words can set, in their order.
static std::vector<const FieldLayout *> Parameters(const Layout &request)
{
    std::vector<const FieldLayout *> parameters;
    for (const FieldLayout &field : request)
        if (field.type != Type::Zeros) parameters.push_back(&field);
    return parameters;
}

static bool MayBeLeftOut(const Layout &request, const FieldLayout &field)
{
    return request.Shared() || field.initial != kMustBeGiven;
}

std::string Usage(const Function &function)
{
    std::string text = function.name;
    for (const FieldLayout *field : Parameters(function.layout.request)) {
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

static const FieldLayout *FirstNotGiven(const Layout &request, const Given &given)
{
    for (const FieldLayout *field : Parameters(request))
        if (!given.count(field)) return field;
    return nullptr;
}

// All words from `at` on as one text, the first one without its first `skip` characters.
static std::string Rest(const Words &words, size_t at, size_t skip)
{
    std::string text = words[at].substr(skip);
    for (size_t i = at + 1; i < words.size(); i++) text += ' ' + words[i];
    return text;
}

// Which field each word is for. False with the reason when one is for none.
static bool Assign(const Function &function, const Words &words, Given *given, std::string *error)
{
    const Layout &request = function.layout.request;
    const auto fail = [&](const std::string &reason) {
        *error = reason + "; use: " + Usage(function);
        return false;
    };
    bool named = false;
    for (size_t i = 0; i < words.size(); i++) {
        const std::string name = NameOf(words[i]);
        const FieldLayout *field = FieldNamed(request, name);
        const size_t skip = field ? name.size() + 1 : 0;
        if (field) {
            named = true;
            if (given->count(field)) return fail(name + " is given twice");
        } else {
            field = FirstNotGiven(request, *given);
            if (!field) return fail("'" + words[i] + "' is one word too many");
            // A misspelt name must not become a text; the text of a whole line may look like anything.
            if (!name.empty() && !TakesTheRest(field->type)) return fail("there is no parameter '" + name + "'");
            if (named && !TakesTheRest(field->type)) return fail("'" + words[i] + "' stands behind a NAME=VALUE");
        }
        if (TakesTheRest(field->type)) {
            (*given)[field] = Rest(words, i, skip);
            return true;
        }
        (*given)[field] = words[i].substr(skip);
    }
    return true;
}

bool MakeParameters(const Function &function, const Words &words, Bytes *parameters, std::string *error)
{
    const Layout &request = function.layout.request;
    Given given;
    parameters->clear();
    if (!Assign(function, words, &given, error)) return false;
    if (given.empty() && request.Shared()) {
        *error = "nothing is given; use: " + Usage(function);
        return false;
    }
    for (const FieldLayout &field : request) {
        const auto text = given.find(&field);
        if (text != given.end()) {
            if (!PutValue(field, text->second, parameters, error)) return false;
        } else if (field.type == Type::Zeros || MayBeLeftOut(request, field)) {
            PutInitial(field, parameters);
        } else {
            *error = std::string(field.name) + " is missing; use: " + Usage(function);
            return false;
        }
    }
    return true;
}

std::vector<std::string> ParameterCompletions(const Function &function, const Words &words)
{
    const Layout &request = function.layout.request;
    std::vector<std::string> found;
    Given given;
    std::string error;
    if (!Assign(function, words, &given, &error)) return found;
    const FieldLayout *next = FirstNotGiven(request, given);
    for (const FieldLayout *field : Parameters(request)) {
        if (given.count(field)) continue;
        const ValueNames &values = field->values;
        for (size_t i = 0; i < values.count; i++) {
            if (field == next) found.push_back(values.names[i]);
            found.push_back(std::string(field->name) + '=' + values.names[i]);
        }
        if (values.count == 0) found.push_back(std::string(field->name) + '=');
    }
    return found;
}

} // namespace sim
