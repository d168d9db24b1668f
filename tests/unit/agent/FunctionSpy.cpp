// The part of FeatureSpy that replaces what functions call: requests to the local peer, rules, diagnostics.
#include <algorithm>

#include "comm/ComRequests.h"
#include "functions/FunctionHandler.h"
#include "tests/fakes/CallText.h"
#include "tests/unit/agent/FeatureSpy.h"

static int ResultOf(const FeatureSpy &spy, const std::string &name)
{
    const auto result = spy.results.find(name);
    return result == spy.results.end() ? 0 : result->second;
}

static const std::vector<uint8_t> &AnswerOf(const FeatureSpy &spy, const std::string &name)
{
    static const std::vector<uint8_t> nothing;
    const auto answer = spy.answers.find(name);
    return answer == spy.answers.end() ? nothing : answer->second;
}

template <typename... Arguments>
static int Asked(FeatureSpy *spy, const char *name, Arguments... arguments)
{
    spy->Note(CallText(name, arguments...));
    return ResultOf(*spy, name);
}

// Stores the answer's bytes at `out` whatever the result is, as the real requests do.
template <typename... Arguments>
static int AskedFor(FeatureSpy *spy, uint8_t *out, const char *name, Arguments... arguments)
{
    const std::vector<uint8_t> &answer = AnswerOf(*spy, name);
    std::copy(answer.begin(), answer.end(), out);
    return Asked(spy, name, arguments...);
}

static int AskedForText(FeatureSpy *spy, const char *name, uint8_t *out, uint32_t room, uint32_t *came)
{
    const std::vector<uint8_t> &answer = AnswerOf(*spy, name);
    *came = static_cast<uint32_t>(std::min<size_t>(room, answer.size()));
    std::copy_n(answer.begin(), *came, out);
    return Asked(spy, name);
}

static int Answered(FeatureSpy *spy, const char *name, WireWriter *reply)
{
    const std::vector<uint8_t> &answer = AnswerOf(*spy, name);
    WirePutBytes(reply, answer.data(), answer.size());
    return Asked(spy, name);
}

// With --wrap the linker replaces calls of x by __wrap_x; the real x is called as __real_x.
#define STAND_IN(symbol, parameters, arguments, condition, result)                                                     \
    int __real_##symbol parameters;                                                                                    \
    int __wrap_##symbol parameters;                                                                                    \
    int __wrap_##symbol parameters                                                                                     \
    {                                                                                                                  \
        FeatureSpy *spy = FeatureSpy::Current();                                                                       \
        return spy && (condition) ? (result) : __real_##symbol arguments;                                              \
    }
#define BYTE_QUERY(name, symbol) STAND_IN(symbol, (uint8_t * out), (out), true, AskedFor(spy, out, name))
#define TEXT_QUERY(name, symbol)                                                                                       \
    STAND_IN(symbol, (uint8_t * out, uint32_t room, uint32_t * came), (out, room, came), true,                         \
             AskedForText(spy, name, out, room, came))
#define ACTION(name, symbol) STAND_IN(symbol, (), (), true, Asked(spy, name))
#define BYTE_SETTING(name, symbol) STAND_IN(symbol, (uint8_t value), (value), true, Asked(spy, name, value))
#define RULES(name, symbol) STAND_IN(symbol, (const char *text), (text), true, Asked(spy, name, text))
#define SIZED_TEXT(name, symbol)                                                                                       \
    STAND_IN(symbol, (const char *text, int length), (text, length), true, Asked(spy, name, text, length))
#define DIAGNOSTIC(name, symbol)                                                                                       \
    STAND_IN(symbol, (WireReader * in, WireWriter * out), (in, out), spy->diagnostics, Answered(spy, name, out))

extern "C" {
STAND_IN(_Z22ComF_get_wifi_freqbandjPh, (uint32_t band, uint8_t *out), (band, out), true,
         AskedFor(spy, out, "ComF_get_wifi_freqband", band))
BYTE_QUERY("ComF_get_mesh_support", _Z21ComF_get_mesh_supportPh)
BYTE_QUERY("ComF_get_mesh_switch", _Z20ComF_get_mesh_switchPh)
BYTE_QUERY("ComF_get_mesh_roaming_switch", _Z28ComF_get_mesh_roaming_switchPh)
BYTE_QUERY("ComF_get_mesh_roaming_threshold", _Z31ComF_get_mesh_roaming_thresholdPh)
TEXT_QUERY("ComF_get_mesh_topology", _Z22ComF_get_mesh_topologyPhjPj)
TEXT_QUERY("ComF_get_adj_wifi_info", _Z22ComF_get_adj_wifi_infoPhjPj)
TEXT_QUERY("ComF_get_bssid", _Z14ComF_get_bssidPhjPj)
BYTE_SETTING("ComF_set_mesh_switch", _Z20ComF_set_mesh_switchh)
BYTE_SETTING("ComF_set_mesh_roaming_switch", _Z28ComF_set_mesh_roaming_switchh)
STAND_IN(_Z31ComF_set_mesh_roaming_thresholdhh, (uint8_t a, uint8_t b), (a, b), true,
         Asked(spy, "ComF_set_mesh_roaming_threshold", a, b))
STAND_IN(_Z16ComF_set_wan_cfgPKh, (const uint8_t *record), (record), true,
         Asked(spy, "ComF_set_wan_cfg", ShownBytes{record, 228}))
ACTION("ComF_trig_onekey_optimize", _Z25ComF_trig_onekey_optimizev)
ACTION("ComF_trig_fault_diagnosis", _Z25ComF_trig_fault_diagnosisv)
SIZED_TEXT("ComF_set_auto_report", _Z20ComF_set_auto_reportPKci)
RULES("ParseTcParam", _Z12ParseTcParamPKc)
RULES("ParseSurfRulesParam", _Z19ParseSurfRulesParamPKc)
SIZED_TEXT("ParseConfigData", _Z15ParseConfigDataPKci)
DIAGNOSTIC("PingStart", _Z9PingStartP10WireReaderP10WireWriter)
DIAGNOSTIC("PingResult", _Z10PingResultP10WireReaderP10WireWriter)
DIAGNOSTIC("TracerouteStart", _Z15TracerouteStartP10WireReaderP10WireWriter)
DIAGNOSTIC("TracerouteResult", _Z16TracerouteResultP10WireReaderP10WireWriter)
DIAGNOSTIC("RateTestStart", _Z13RateTestStartP10WireReaderP10WireWriter)
}
