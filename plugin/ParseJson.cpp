#define LOG_MODULE "ParseJson"
#include "plugin/ParseJson.h"

#include "core/Common.h"
#include "rules/PortForward.h"

int ParserPlugData(uint8_t dataType, const char *payload)
{
    switch (dataType) {
    case PLUG_ROUTE_SET: LOG_DEBUG("datatype_route_set"); return ParseRouteParam(payload);
    default: return 0;
    }
}
