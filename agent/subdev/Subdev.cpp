#define LOG_MODULE "Subdev"
#include "subdev/Subdev.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstdio>
#include <cstring>
#include <unistd.h>

#include "core/Common.h"
#include "core/Wire.h"
#include "os/OsCommand.h"
#include "os/OsFile.h"
#include "os/OsProcess.h"
#include "os/OsWait.h"
#include "os/Paths.h"
#include "sdk/RouterSdk.h"
#include "subdev/ArpTable.h"
#include "subdev/DeviceTable.h"
#include "subdev/SubdevReport.h"

static const int64_t kStepMs = 20;
static const int64_t kRetryMs = 1000;
static const int kMaxQuickTries = 10; // in a row, with that pause; then each pause is twice as long, up to the longest
static const int kMaxDoublings = 6;
static const int64_t kMaxRetryMs = 60000;
static const int64_t kLockRetryMs = 50; // if the mutex cannot be locked: a scan fails without any other pause
static const int64_t kRestMs = 3000;
static const int64_t kRestOfFewMs = 4000;
static const uint16_t kFewDevices = 15; // from this number on the shorter rest
static const size_t kMinSegment = 6;    // "1.2.3."
static const size_t kMaxSegment = 12;   // "100.100.100."
static const size_t kCommandSize = 127;
static const char kThread[] = "SubdevThread"; // in the log

OsAtomic<int> SubdevRun;
OsAtomic<int> nQuerySubdev;

static OsWaiter s_wake; // woken when SubdevRun or nQuerySubdev changes
static bool s_asked;    // since the last try; guarded by s_wake
static OsCommand s_arp;
static pthread_t s_worker; // main thread only, as is the next
static bool s_started;

// Used by the worker only.
static DevCfg s_devices[ROUTER_SDK_DEVICES];
static uint16_t s_count;
static SubdevReport s_report;
static char s_segment[kSegmentSize];
static int s_failures; // tries in a row

// ---- Waiting ----

// Both return false when the worker has to stop.
static bool Pause(int64_t milliseconds)
{
    return !OsWaitFor(&s_wake, milliseconds, [] { return SubdevRun != 1; });
}

static bool AwaitRequest()
{
    OsWaitFor(&s_wake, OS_FOREVER, [] { return SubdevRun != 1 || nQuerySubdev != 0; });
    return SubdevRun == 1;
}

// Waits before the next try, longer after many failures. A request ends all but the first second of it: who asks gets
// the report as soon as there is one.
static void PauseToRetry()
{
    {
        OsGuard guard(&s_wake);
        s_asked = false;
    }
    Pause(kRetryMs);
    const int doublings = std::min(++s_failures - kMaxQuickTries, kMaxDoublings);
    if (doublings <= 0) return;
    const int64_t more = std::min(kRetryMs << doublings, kMaxRetryMs) - kRetryMs;
    if (OsWaitFor(&s_wake, more, [] { return SubdevRun != 1 || s_asked; })) s_failures = 0;
}

// ---- The steps of a scan ----

static void PutFigure(uint8_t field[8], uint64_t figure)
{
    WireWriter w = WireWrite(field, 8);
    WirePutLe64(&w, swapInt64(figure));
}

// Reads the router's list into s_devices. Returns 0, or the milliseconds until the next try.
static int64_t ReadDevices()
{
    memset(s_devices, 0, sizeof s_devices);
    s_count = s_report.count = 0;
    int result = 0;
    if (WithDeviceTable(
            [&] {
                result = get_devs_cfg(s_devices, &s_count);
                return 0;
            },
            kThread) != 0)
        return kLockRetryMs;
    if (result == 0 && s_count <= kMaxSubdevs) return 0;
    LOG_AS(LOG_LEVEL_ERR, kThread, result != 0 ? "get_devs_cfg Failed." : "DeviceNum too large.");
    return kRetryMs;
}

static void AddDevices()
{
    for (uint16_t i = 0; i < s_count; i++) {
        const DevCfg &device = s_devices[i];
        const uint32_t ip = device.ip;
        SubdevRecord *record =
            SubdevReportAdd(&s_report, reinterpret_cast<const uint8_t *>(&ip), device.mac, device.name);
        record->online = 1;
        record->access = device.access;
    }
}

static void GetFlowStatisData()
{
    for (uint16_t i = 0; i < s_count; i++) {
        SubdevRecord *record = &s_report.frame.records[i];
        WithDeviceTable([=] {
            PutFigure(record->down, get_dev_ds_bw(record->mac));
            PutFigure(record->up, get_dev_us_bw(record->mac));
            return 0;
        });
    }
}

bool GetInNetSeg(const char *address, char segment[kSegmentSize])
{
    size_t length = 0;
    for (int dots = 0; dots < 3; length++) {
        const char c = address[length];
        if (length == kMaxSegment || (c != '.' && (c < '0' || c > '9'))) return false;
        if (c == '.') dots++;
    }
    memcpy(segment, address, length);
    segment[length] = '\0';
    return true;
}

// Finds the segment of the first device; without a device the segment stays as it is. Returns false when its address
// has none.
static bool FindSegment()
{
    if (s_count == 0) return true;
    const uint32_t ip = s_devices[0].ip;
    char address[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &ip, address, sizeof address);
    if (GetInNetSeg(address, s_segment)) return true;
    LOG_AS(LOG_LEVEL_ERR, kThread, "GetInNetSeg failed.");
    return false;
}

// Writes the segment's part of the ARP table to its file. Returns a descriptor at the start of the file; -1 when it
// cannot be made.
static int DumpArpTable()
{
    char command[kCommandSize];
    const int length =
        snprintf(command, sizeof command, "cat /proc/net/arp | grep %s | grep -v 00:00:00:00:00:00", s_segment);
    if (length < 0 || static_cast<size_t>(length) >= sizeof command) return -1;
    const int fd = OsOpenForWriting(kPathSubdev);
    if (fd < 0) return -1;
    OsCommandRunInto(&s_arp, command, fd); // if the command fails, the file stays empty
    lseek(fd, 0, SEEK_SET);
    return fd;
}

static void AddNeighbour(const ArpEntry &entry)
{
    char name[64] = "";
    const int error = WithDeviceTable([&] { return get_dev_name(entry.mac, name); }, "GetOffLineInfo");
    char field[sizeof SubdevRecord::name] = "";
    // Only the text: the bytes after its terminator are undefined.
    if (error == 0) memcpy(field, name, strnlen(name, sizeof field));
    SubdevReportAdd(&s_report, entry.ip, entry.mac, field);
}

static void GetOffLineInfo()
{
    const int fd = DumpArpTable();
    const bool goOn = Pause(kStepMs);
    if (fd < 0) {
        LOG_ERR("Unable to open file %s.", kPathSubdev);
        return;
    }
    ArpReader table = ArpRead(fd);
    ArpEntry entry;
    while (goOn && s_report.count < kMaxSubdevs && ArpNext(&table, &entry))
        if (!SubdevReportFind(&s_report, entry.mac)) AddNeighbour(entry);
    close(fd);
    Pause(kStepMs);
}

// ---- The worker ----

// Makes the report. Returns 0, or the milliseconds until the next try.
static int64_t Scan()
{
    const int64_t retry = ReadDevices();
    if (retry != 0) return retry;
    AddDevices();
    if (!Pause(kStepMs)) return kRetryMs;
    GetFlowStatisData();
    if (!FindSegment()) return kRetryMs;
    if (strnlen(s_segment, kSegmentSize) < kMinSegment) return 0; // no device since the start: an empty report
    Pause(kStepMs);
    LOG_AS(LOG_LEVEL_DEBUG, kThread, "InNetSeg=%s", s_segment);
    GetOffLineInfo();
    GetBlackInfo(&s_report);
    return 0;
}

static void *SubdevThread(void *)
{
    while (AwaitRequest()) {
        const int64_t retry = Scan();
        if (SubdevRun != 1) break;
        if (retry == kRetryMs)
            PauseToRetry();
        else if (retry != 0)
            Pause(retry);
        if (retry != 0) continue;
        s_failures = 0;
        SendtoServer(&s_report);
        Pause(s_report.count < kFewDevices ? kRestOfFewMs : kRestMs);
        nQuerySubdev = 0;
    }
    return nullptr;
}

int StartSubdev()
{
    memset(s_segment, 0, sizeof s_segment);
    LOG_DEBUG("Start Subdevice task.");
    SubdevRun = 1;
    nQuerySubdev = 0;
    s_failures = 0;
    SubdevReportReset();
    OsCommandReady(&s_arp);
    const int error = OsThreadStart(&s_worker, SubdevThread, nullptr);
    s_started = error == 0;
    return error;
}

void SubdevStop()
{
    {
        OsGuard guard(&s_wake);
        SubdevRun = 0;
        OsWakeAll(&s_wake);
    }
    OsCommandStop(&s_arp);
    if (s_started) OsThreadJoin(s_worker);
    s_started = false;
}

void RequestSubdev()
{
    OsGuard guard(&s_wake);
    nQuerySubdev = 1;
    s_asked = true;
    OsWakeAll(&s_wake);
}
