#define LOG_MODULE "ProtoolSdk"
#include "functions/Rules.h"

#include "functions/Parameters.h"
#include "functions/RateTest.h"
#include "rules/Bandwidth.h"
#include "rules/SurfRules.h"

int BandwidthRules(WireReader *parameters, WireWriter *)
{
    return ParseTcParam(TakeText(parameters));
}

int SurfRules(WireReader *parameters, WireWriter *)
{
    return ParseSurfRulesParam(TakeText(parameters));
}

int ConfigData(WireReader *parameters, WireWriter *)
{
    const uint16_t length = Take16(parameters);
    const int result = ParseConfigData(TakeText(parameters), length);
    if (result != 0) LOG_AS(LOG_LEVEL_WARN, kDispatcher, "ERROR: config data have errors!!!");
    return result;
}
