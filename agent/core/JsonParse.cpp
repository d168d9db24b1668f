#include "core/JsonParse.h"

#include <cjson/cJSON.h>

// Brackets within strings are text. A string begins and ends here where the parser sees it begin and end, or closing
// brackets in strings would hide opening ones outside of them.
static bool NestsTooDeep(const char *text)
{
    int depth = 0;
    bool inString = false;
    for (; *text && depth <= kJsonNestingMax; text++) {
        if (*text == '"')
            inString = !inString;
        else if (inString && *text == '\\' && text[1])
            text++;
        else if (!inString && (*text == '[' || *text == '{'))
            depth++;
        else if (!inString && (*text == ']' || *text == '}'))
            depth--;
    }
    return depth > kJsonNestingMax;
}

cJSON *JsonParse(const char *text, bool whole)
{
    return !text || NestsTooDeep(text) ? nullptr : cJSON_ParseWithOpts(text, nullptr, whole);
}
