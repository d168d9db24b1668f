#include "rules/RouteFunc.h"

static const int kNotParsed = 2;

int ParseSurfRulesParam(const char *)
{
    return kNotParsed;
}
