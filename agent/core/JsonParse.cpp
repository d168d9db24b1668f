#include "core/JsonParse.h"

#include <cjson/cJSON.h>

// Brackets in strings are text. Strings have to begin and end here where the parser sees them begin and end; otherwise
// closing brackets in a string could hide opening ones outside of it.
static bool NestsTooDeep(const char *text)
{
    int depth = 0;
    bool inString = false;
    for (; *text && depth <= kMaxJsonNesting; text++) {
        if (*text == '"')
            inString = !inString;
        else if (inString && *text == '\\' && text[1])
            text++;
        else if (!inString && (*text == '[' || *text == '{'))
            depth++;
        else if (!inString && (*text == ']' || *text == '}'))
            depth--;
    }
    return depth > kMaxJsonNesting;
}

cJSON *JsonParse(const char *text, bool whole)
{
    return !text || NestsTooDeep(text) ? nullptr : cJSON_ParseWithOpts(text, nullptr, whole);
}
