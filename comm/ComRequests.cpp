#include "comm/ComRequests.h"

#include <algorithm>
#include <cstring>

#include "core/Wire.h"

uint8_t rxData[kRxDataSize];
int intervalFlag1 = -1;
int intervalFlag2 = -1;
int intervalFlag3 = -1;

static const int kNoPeer = 1;
static const size_t kAnswerHead = 3; // status and length in front of the answer's bytes

int ComF_get_wifi_freqband(uint32_t, uint8_t *)
{
    return kNoPeer;
}

int ComF_get_mesh_support(uint8_t *)
{
    return kNoPeer;
}

int ComF_get_mesh_switch(uint8_t *)
{
    return kNoPeer;
}

int ComF_get_mesh_roaming_switch(uint8_t *)
{
    return kNoPeer;
}

int ComF_get_mesh_roaming_threshold(uint8_t[2])
{
    return kNoPeer;
}

int ComF_get_mesh_topology()
{
    return kNoPeer;
}

int ComF_get_adj_wifi_info()
{
    return kNoPeer;
}

int ComF_get_bssid()
{
    return kNoPeer;
}

int ComF_set_mesh_switch(uint8_t)
{
    return kNoPeer;
}

int ComF_set_mesh_roaming_switch(uint8_t)
{
    return kNoPeer;
}

int ComF_set_mesh_roaming_threshold(uint8_t, uint8_t)
{
    return kNoPeer;
}

int ComF_set_wan_cfg(const uint8_t[228])
{
    return kNoPeer;
}

int ComF_trig_onekey_optimize()
{
    return kNoPeer;
}

int ComF_trig_fault_diagnosis()
{
    return kNoPeer;
}

int ComF_set_auto_report(const char *, int)
{
    return kNoPeer;
}

int ComF_send_pluginstate()
{
    return kNoPeer;
}

int ComF_get_autoreport_conf()
{
    return kNoPeer;
}

void ComF_send_calibration() {}

size_t CommAnswer(uint8_t *out, size_t room)
{
    WireReader head = WireRead(rxData + 1, kAnswerHead - 1);
    const size_t came = WireGetLe16(&head); // with the status
    const size_t bytes = std::min({came == 0 ? 0 : came - 1, room, kRxDataSize - kAnswerHead});
    memcpy(out, rxData + kAnswerHead, bytes);
    return bytes;
}
