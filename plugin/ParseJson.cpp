#include "plugin/ParseJson.h"

int ParserPlugData(uint8_t, const char *)
{
    return 0;
}
