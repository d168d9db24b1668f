#define LOG_MODULE "Subdev"
#include "subdev/SubdevReport.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "core/Common.h"
#include "core/Config.h"
#include "core/MacText.h"
#include "core/Wire.h"
#include "platform/Protool.h"
#include "platform/Sending.h"
#include "sdk/RouterSdk.h"
#include "subdev/DeviceTable.h"

static const uint8_t kReportDataType = 63;
static const size_t kShownAtOnce = 333; // bytes of a frame in one log line

static uint16_t s_sequence;

void SubdevReportReset()
{
    s_sequence = 0;
}

SubdevRecord *SubdevReportAdd(SubdevReport *report, const uint8_t *ip, const uint8_t *mac, const void *name)
{
    static const char kNoName[sizeof SubdevRecord::name] = "unknown-device";
    SubdevRecord *record = &report->frame.records[report->count++];
    *record = {};
    std::reverse_copy(ip, ip + sizeof record->ip, record->ip);
    memcpy(record->mac, mac, sizeof record->mac);
    memcpy(record->name, *static_cast<const char *>(name) ? name : kNoName, sizeof record->name);
    record->access = 1;
    return record;
}

SubdevRecord *SubdevReportFind(SubdevReport *report, const uint8_t *mac)
{
    for (uint16_t i = 0; i < report->count; i++) {
        SubdevRecord *record = &report->frame.records[i];
        if (memcmp(record->mac, mac, sizeof record->mac) == 0) return record;
    }
    return nullptr;
}

static bool TooLarge(const SubdevReport *report, const char *function)
{
    if (report->count <= kMaxSubdevs) return false;
    LOG_AS(LOG_LEVEL_ERR, function, "TotalDevice is too large.");
    return true;
}

void GetBlackInfo(SubdevReport *report)
{
    if (TooLarge(report, __func__)) return;
    for (uint16_t i = 0; i < report->count; i++) report->frame.records[i].allowed = 1;
    if (l_debug != 1) return;

    uint8_t macs[ROUTER_SDK_BLACK_LIST][kMacSize] = {};
    uint16_t count = 0;
    int result = 0;
    if (WithDeviceTable([&] {
            result = get_dev_black_list(macs, &count);
            return 0;
        }) != 0)
        return;
    if (result != 0) {
        LOG_ERR("get_dev_black_list Error.");
        return;
    }
    count = std::min<uint16_t>(count, ROUTER_SDK_BLACK_LIST);
    LOG_DEBUG("BlackNum=%d", count);
    for (int i = 0; i < count; i++) {
        char text[kMacTextSize];
        LOG_DEBUG("BlackMac%d=%s", i, MacToText(macs[i], ':', MAC_LOWER_CASE, text));
        if (SubdevRecord *record = SubdevReportFind(report, macs[i])) record->allowed = 0;
    }
}

static void printHexBuf(const uint8_t *bytes, size_t size)
{
    while (size > 0) {
        const size_t count = std::min(size, kShownAtOnce);
        char text[3 * kShownAtOnce + 1];
        for (size_t i = 0; i < count; i++) snprintf(text + 3 * i, 4, "%02X ", bytes[i]);
        LOG_DEBUG("%s\n\n", text);
        bytes += count;
        size -= count;
    }
}

void SendtoServer(SubdevReport *report)
{
    if (TooLarge(report, __func__)) return;
    WireWriter header = WireWrite(report->frame.header, sizeof report->frame.header);
    WirePutLe16(&header, swapInt16(s_sequence));
    WirePutLe16(&header, swapInt16(kReportDataType));
    WirePutLe16(&header, 0);
    WirePutLe16(&header, swapInt16(report->count));
    const size_t length = sizeof report->frame.header + report->count * sizeof(SubdevRecord);
    SendIpUpData(&report->frame, static_cast<int>(length), kReportDataType, 1, gRoutemac);
    if (l_debug == 1) printHexBuf(report->frame.header, length);
    s_sequence++;
}
