#include "simulator/console/ParameterCompletions.h"

#include "protocol/FunctionParameters.h"

namespace sim
{

std::vector<std::string> ParameterCompletions(const Function &function, const Words &words)
{
    std::vector<std::string> found;
    AssignedValues given;
    std::string error;
    if (!AssignValues(function, words, &given, &error)) return found;
    const FieldLayout *next = nullptr; // the field that a value without a name is for
    for (const FieldLayout *field : SettableFields(function.layout.request)) {
        if (given.count(field)) continue;
        if (!next) next = field;
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
