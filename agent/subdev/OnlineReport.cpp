#include "subdev/OnlineReport.h"

#include "core/Common.h"
#include "core/Config.h"
#include "core/Wire.h"
#include "platform/Protool.h"
#include "platform/Sending.h"
#include "platform/Settings.h"

static const uint8_t kOnlineDataType = 40;

void OnlineReportWrite(const uint8_t *mac, const uint8_t *data, uint8_t report[kOnlineReportSize])
{
    WireWriter w = WireWrite(report, kOnlineReportSize);
    WirePutLe16(&w, 0);
    WirePutLe16(&w, swapInt16(kOnlineDataType));
    WirePutLe16(&w, 0);
    WirePutLe16(&w, swapInt16(1));
    WirePutBytes(&w, mac, kMacSize);
    WirePutBytes(&w, data, kOnlineDataSize);
    WirePut8(&w, 1);
}

void OnlineReportSend(uint32_t module, const char *function, const uint8_t *mac, const uint8_t *data)
{
    uint8_t report[kOnlineReportSize];
    OnlineReportWrite(mac, data, report);
    if (AutoReportDevinfo != 0) SendIpUpData(report, sizeof report, kOnlineDataType, 1, gRoutemac);
    if (l_debug != 1) return;
    LogLine(LogPlace(LOG_LEVEL_DEBUG, module, __LINE__), function, "Online subdev:");
    PrintBytes(report, sizeof report);
}
