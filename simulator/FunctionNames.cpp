#include "simulator/FunctionNames.h"

#include <iterator>

#include "functions/FunctionList.h"
#include "simulator/Words.h"

namespace sim
{

namespace
{
#define FUNCTION_NAME(id, name, ...) name,
// The agent's own list, so that the two can never differ; rows stand at their own number there.
constexpr const char *kNames[] = {FUNCTION_LIST(FUNCTION_NAME)};
#undef FUNCTION_NAME
static_assert(std::size(kNames) == kFunctionCount, "a row is missing");
} // namespace

std::string FunctionName(unsigned id)
{
    return id < std::size(kNames) ? kNames[id] : "";
}

bool ParseFunction(const std::string &text, uint16_t *id)
{
    for (size_t i = 0; i < std::size(kNames); i++) {
        if (!text.empty() && text == kNames[i]) {
            *id = static_cast<uint16_t>(i);
            return true;
        }
    }
    int64_t number;
    if (!ParseNumber(text, 0, 65535, &number)) return false;
    *id = static_cast<uint16_t>(number);
    return true;
}

std::vector<std::string> FunctionNameList()
{
    std::vector<std::string> names;
    for (const char *name : kNames)
        if (*name) names.push_back(name);
    return names;
}

} // namespace sim
