#include "protocol/FunctionNames.h"

#include "protocol/FunctionLayouts.h"
#include "protocol/Numbers.h"

namespace protocol
{

std::string FunctionName(unsigned id)
{
    const Function *function = FindFunction(id);
    return function ? function->name : "";
}

bool ParseFunction(const std::string &text, uint16_t *id)
{
    if (const Function *function = FindFunction(text)) {
        *id = static_cast<uint16_t>(function->id);
        return true;
    }
    int64_t number;
    if (!ParseNumber(text, 0, 65535, &number)) return false;
    *id = static_cast<uint16_t>(number);
    return true;
}

std::vector<std::string> FunctionNameList()
{
    std::vector<std::string> names;
    for (const Function &function : kFunctions)
        if (*function.name) names.push_back(function.name);
    return names;
}

} // namespace protocol
