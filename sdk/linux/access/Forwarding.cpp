#include "sdk/linux/access/Forwarding.h"

#include <cstdio>
#include <cstring>

#include "sdk/linux/base/Files.h"
#include "sdk/linux/base/Say.h"

static const size_t kMaxRecord = 1024; // two settings and one of each WAN
static const size_t kMaxRecordPath = 300;

namespace
{
struct Record {
    char path[kMaxRecordPath];
    char text[kMaxRecord];
};
} // namespace

// Of an earlier boot it says nothing.
static void ReadRecord(const char *statePath, Record *record)
{
    char boot[64];
    ReadLine("/proc/sys/kernel/random/boot_id", boot, sizeof boot);
    snprintf(record->path, sizeof record->path, "%s.sysctl", statePath);
    if (ReadFile(record->path, record->text, sizeof record->text) > 0 && strncmp(record->text, boot, strlen(boot)) == 0)
        return;
    snprintf(record->text, sizeof record->text, "%s\n", boot);
}

// Sets `name`, which has been `before`. The first value that is kept is the machine's own.
static bool Change(Record *record, const char *name, char before, const char *value)
{
    char path[96];
    snprintf(path, sizeof path, "/proc/sys/%s", name);
    if (!WriteSetting(path, value)) return false;
    const size_t length = strlen(record->text);
    char line[96];
    snprintf(line, sizeof line, "\n%s=", name);
    if (strstr(record->text, line)) return true;
    const int more = snprintf(record->text + length, sizeof record->text - length, "%s=%c\n", name, before);
    if (size_t(more) >= sizeof record->text - length ||
        !WriteFileWhole(record->path, record->text, length + size_t(more), 0600))
        Say("%s: not written: %s stays changed when this router is taken off", record->path, name);
    return true;
}

static char Setting(const char *name)
{
    char path[96], line[16];
    snprintf(path, sizeof path, "/proc/sys/%s", name);
    return ReadLine(path, line, sizeof line) ? line[0] : '\0';
}

void EnforceForwarding(const Places *places, const char *statePath)
{
    static const char four[] = "net/ipv4/ip_forward";
    static const char six[] = "net/ipv6/conf/all/forwarding";
    Record record;
    ReadRecord(statePath, &record);
    const char before = Setting(four);
    if (before == '\0' || before == '0')
        Say("%s", Change(&record, four, '0', "1") ? "IPv4 forwarding was off and is on now"
                                                  : "cannot switch IPv4 forwarding on");
    if (Setting(six) != '0') return; // no IPv6, or on already
    // A machine that forwards ignores announcements of routers, from which the WAN may have its address and route.
    for (uint16_t i = 0; i < places->wanCount; i++) {
        char accept[80];
        snprintf(accept, sizeof accept, "net/ipv6/conf/%s/accept_ra", places->wans[i]);
        if (Setting(accept) == '1') Change(&record, accept, '1', "2");
    }
    Say("%s",
        Change(&record, six, '0', "1") ? "IPv6 forwarding was off and is on now" : "cannot switch IPv6 forwarding on");
}
