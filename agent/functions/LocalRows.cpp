#define LOG_MODULE "ProtoolSdk"
#include "functions/LocalRows.h"

#include "comm/AutoReport.h"
#include "comm/ComRequests.h"
#include "functions/Parameters.h"
#include "functions/Records.h"

static const size_t kMaxAnswer = kRxDataSize;
static const size_t kMaxNeighbour = 30 * 77; // 30 records of neighbours' networks

// Logs a failed request; `what` names it. Returns `result`.
static int Checked(int result, const char *what)
{
    if (result != 0) LOG_AS(LOG_LEVEL_WARN, kDispatcher, "ERROR: %s failed! ret=%d", what, result);
    return result;
}

// A query whose answer is one byte. Its failure is logged under the name `what`, or not if that is nullptr.
static int PutByte(WireWriter *reply, int (*ask)(uint8_t *out), const char *what)
{
    uint8_t byte = 0;
    const int result = ask(&byte);
    if (result == 0) WirePut8(reply, byte);
    return what ? Checked(result, what) : result;
}

// A query with a longer answer, of which at most `most` bytes go into the reply.
static int PutAnswer(WireWriter *reply, int (*ask)(uint8_t *out, uint32_t room, uint32_t *came), uint32_t most)
{
    uint8_t answer[kMaxAnswer];
    uint32_t came = 0;
    const int result = ask(answer, most, &came);
    if (result == 0) WirePutBytes(reply, answer, came);
    return result;
}

int WifiBandQuery(WireReader *parameters, WireWriter *reply)
{
    uint8_t band = 0;
    const int result = ComF_get_wifi_freqband(WireGet8(parameters), &band);
    if (result == 0) WirePut8(reply, band);
    return result;
}

int MeshSupportQuery(WireReader *, WireWriter *reply)
{
    return PutByte(reply, ComF_get_mesh_support, "get mesh support");
}

int MeshSwitchSetting(WireReader *parameters, WireWriter *)
{
    return Checked(ComF_set_mesh_switch(WireGet8(parameters)), "set mesh switch");
}

int MeshSwitchQuery(WireReader *, WireWriter *reply)
{
    return PutByte(reply, ComF_get_mesh_switch, nullptr);
}

int MeshRoamingSetting(WireReader *parameters, WireWriter *)
{
    return Checked(ComF_set_mesh_roaming_switch(WireGet8(parameters)), "set mesh roaming switch");
}

int MeshRoamingQuery(WireReader *, WireWriter *reply)
{
    return PutByte(reply, ComF_get_mesh_roaming_switch, "get mesh roaming switch");
}

int RoamingThresholdSetting(WireReader *parameters, WireWriter *)
{
    const uint8_t first = WireGet8(parameters);
    const uint8_t second = WireGet8(parameters);
    return Checked(ComF_set_mesh_roaming_threshold(first, second), "set mesh roaming threshold");
}

int RoamingThresholdQuery(WireReader *, WireWriter *reply)
{
    uint8_t thresholds[2] = {};
    const int result = ComF_get_mesh_roaming_threshold(thresholds);
    LOG_AS(LOG_LEVEL_DEBUG, kDispatcher, "get threshold %d,%d", thresholds[0], thresholds[1]);
    if (result == 0) WirePutBytes(reply, thresholds, sizeof thresholds);
    return result;
}

int MeshTopologyQuery(WireReader *, WireWriter *reply)
{
    return Checked(PutAnswer(reply, ComF_get_mesh_topology, kMaxAnswer), "get mesh topology");
}

int AdjacentWifiInfoQuery(WireReader *, WireWriter *reply)
{
    return PutAnswer(reply, ComF_get_adj_wifi_info, kMaxNeighbour);
}

int BssidQuery(WireReader *, WireWriter *reply)
{
    return Checked(PutAnswer(reply, ComF_get_bssid, kMaxAnswer), "get bssid");
}

int WanConfigSetting(WireReader *parameters, WireWriter *)
{
    const WanCfg wan = TakeRecord<WanCfg>(parameters);
    return Checked(ComF_set_wan_cfg(reinterpret_cast<const uint8_t *>(&wan)), "set wan configure");
}

int OneKeyOptimize(WireReader *, WireWriter *)
{
    return Checked(ComF_trig_onekey_optimize(), "trigger onekey optimize");
}

int FaultDiagnosis(WireReader *, WireWriter *)
{
    return ComF_trig_fault_diagnosis();
}

int AutoReportSetting(WireReader *parameters, WireWriter *)
{
    const uint16_t length = Take16(parameters);
    return Checked(ComF_set_auto_report(TakeText(parameters), length), "set auto report");
}
