#include "rules/RouteFunc.h"

static const int kNotParsed = 2;

int ParseTcParam(const char *)
{
    return kNotParsed;
}

int ParseSurfRulesParam(const char *)
{
    return kNotParsed;
}
