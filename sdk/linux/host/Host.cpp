#include "sdk/linux/host/Host.h"

#include <cctype>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <strings.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "sdk/linux/base/Files.h"
#include "sdk/linux/base/Lock.h"
#include "sdk/linux/base/Pages.h"
#include "sdk/linux/base/Result.h"

static const size_t kMaxCpuInfo = 65536;

static pthread_mutex_t s_lock = PTHREAD_MUTEX_INITIALIZER;
static CpuTimes s_before; // guarded by s_lock

bool IsMeaningful(const char *text)
{
    static const char *const empty[] = {"to be filled",   "default string", "not specified",
                                        "not applicable", "system serial",  "system manufacturer",
                                        "system product", "none",           "o.e.m."};
    for (const char *phrase : empty)
        if (strncasecmp(text, phrase, strlen(phrase)) == 0) return false;
    return strspn(text, "0-. ") < strlen(text); // nor are zeros a serial number
}

bool FindValue(const char *text, const char *name, char separator, char *value, size_t size)
{
    const size_t length = strlen(name);
    for (const char *line = text; *line; line += strcspn(line, "\n"), line += *line != '\0') {
        if (strncmp(line, name, length) != 0) continue;
        const char *start = line + length + strspn(line + length, " \t");
        if (*start != separator) continue;
        start += 1 + strspn(start + 1, " \t\"");
        size_t room = strcspn(start, "\n");
        while (room > 0 && (start[room - 1] == '"' || isspace(static_cast<unsigned char>(start[room - 1])))) room--;
        if (room == 0) return false;
        snprintf(value, size, "%.*s", int(room), start);
        return true;
    }
    return false;
}

// ---- Who it is ----

// The configured text, else the first meaningful line of two files.
static int Identity(const Config *config, Key key, const char *configured, const char *first, const char *second,
                    char t[64])
{
    if (KeyIsRight(config, key) != RESULT_OK) return RESULT_BAD_KEY;
    char line[64];
    if (NeedKey(config, key) == RESULT_OK)
        CopyText(line, sizeof line, configured);
    else if (!(ReadLine(first, line, sizeof line) && IsMeaningful(line)) &&
             !(second && ReadLine(second, line, sizeof line) && IsMeaningful(line)))
        return RESULT_NO_FIGURE;
    CopyText(t, 64, line);
    return RESULT_OK;
}

int HostSerial(const Config *config, char sn[64])
{
    return Identity(config, KEY_SERIAL, config->serial, "/sys/class/dmi/id/product_serial", "/etc/machine-id", sn);
}

int HostMaker(const Config *config, char t[64])
{
    const int result =
        Identity(config, KEY_MAKER, config->maker, "/sys/class/dmi/id/sys_vendor", "/sys/class/dmi/id/board_vendor", t);
    if (result == RESULT_NO_FIGURE) CopyText(t, 64, "unknown");
    return result == RESULT_NO_FIGURE ? int(RESULT_OK) : result;
}

int HostModel(const Config *config, char t[64])
{
    utsname system;
    const int result = Identity(config, KEY_MODEL, config->model, "/sys/class/dmi/id/product_name",
                                "/sys/firmware/devicetree/base/model", t);
    if (result != RESULT_NO_FIGURE || uname(&system) != 0) return result;
    snprintf(t, 64, "Linux %.57s", system.machine);
    return RESULT_OK;
}

// The distribution's name and the day on which its files were made, unless the operator says otherwise.
int HostVersion(const Config *config, RouterVersion *version)
{
    static const char release[] = "/etc/os-release";
    if (KeyIsRight(config, KEY_VERSION) != RESULT_OK || KeyIsRight(config, KEY_VERSION_DATE) != RESULT_OK)
        return RESULT_BAD_KEY;
    RouterVersion answer = {};
    char text[4096], value[sizeof answer.text];
    utsname system;
    if (NeedKey(config, KEY_VERSION) == RESULT_OK)
        CopyText(answer.text, sizeof answer.text, config->version);
    else if (ReadFile(release, text, sizeof text) >= 0 && FindValue(text, "PRETTY_NAME", '=', value, sizeof value))
        CopyText(answer.text, sizeof answer.text, value);
    else if (uname(&system) == 0)
        snprintf(answer.text, sizeof answer.text, "Linux %.50s", system.release);
    else
        return RESULT_NO_FIGURE;

    int year = 0, month = 0, day = 0;
    struct stat status;
    tm date;
    if (NeedKey(config, KEY_VERSION_DATE) == RESULT_OK) {
        sscanf(config->versionDate, "%4d-%2d-%2d", &year, &month, &day);
    } else if (stat(release, &status) == 0 && gmtime_r(&status.st_mtime, &date)) {
        year = date.tm_year + 1900;
        month = date.tm_mon + 1;
        day = date.tm_mday;
    }
    const int parts[] = {year / 100, year % 100, month, day};
    for (int i = 0; i < 4; i++) answer.date[i] = int8_t(parts[i]);
    *version = answer;
    return RESULT_OK;
}

int HostName(char name[32])
{
    char text[65] = {};
    if (gethostname(text, sizeof text - 1) != 0) return RESULT_NO_FIGURE;
    CopyText(name, 32, text);
    return RESULT_OK;
}

// ---- Processor and memory ----

int HostCpu(CpuCfg *cpu)
{
    CpuCfg answer = {};
    const long cores = sysconf(_SC_NPROCESSORS_ONLN);
    answer.cores = uint8_t(cores < 1 ? 1 : cores > 255 ? 255 : cores);
    Pages<char> room(kMaxCpuInfo);
    char *text = room.Get();
    char value[64] = {};
    if (!text) return RESULT_NO_FIGURE;
    // Of a machine with many processors the start of the file is enough, and longer than the room.
    FILE *file = fopen("/proc/cpuinfo", "re");
    if (file) {
        if (fread(text, 1, kMaxCpuInfo - 1, file) == 0) text[0] = '\0';
        fclose(file);
    }
    const bool named = FindValue(text, "model name", ':', value, sizeof value) ||
                       FindValue(text, "cpu model", ':', value, sizeof value) ||
                       FindValue(text, "Hardware", ':', value, sizeof value);
    utsname system;
    if (!named && uname(&system) == 0) CopyText(value, sizeof value, system.machine);
    CopyText(answer.model, sizeof answer.model, value);
    if (FindValue(text, "cpu MHz", ':', value, sizeof value)) answer.mhz = uint16_t(strtoul(value, nullptr, 10));
    if (!answer.mhz && ReadLine("/sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_max_freq", value, sizeof value))
        answer.mhz = uint16_t(strtoul(value, nullptr, 10) / 1000);
    *cpu = answer;
    return RESULT_OK;
}

static bool ReadMemory(uint64_t *total, uint64_t *available)
{
    char text[8192], value[32];
    if (ReadFile("/proc/meminfo", text, sizeof text) < 0) return false;
    if (!FindValue(text, "MemTotal", ':', value, sizeof value)) return false;
    *total = strtoull(value, nullptr, 10);
    if (!FindValue(text, "MemAvailable", ':', value, sizeof value)) return false;
    *available = strtoull(value, nullptr, 10);
    return *total > 0 && *available <= *total;
}

int HostMemory(const Config *config, MemCfg *memory)
{
    uint64_t total, available;
    if (KeyIsRight(config, KEY_MEMORY_TYPE) != RESULT_OK) return RESULT_BAD_KEY;
    if (!ReadMemory(&total, &available)) return RESULT_NO_FIGURE;
    *memory = {};
    memory->kilobytes = total > UINT32_MAX ? UINT32_MAX : uint32_t(total);
    CopyText(memory->type, sizeof memory->type, config->memoryType);
    return RESULT_OK;
}

int HostMemoryUse(uint16_t *percent)
{
    uint64_t total, available;
    if (!ReadMemory(&total, &available)) return RESULT_NO_FIGURE;
    *percent = uint16_t((total - available) * 100 / total);
    return RESULT_OK;
}

bool ReadCpuTimes(const char *stat, CpuTimes *times)
{
    uint64_t user, nice, system, idle, wait = 0, interrupts = 0, soft = 0, stolen = 0;
    if (sscanf(stat, "cpu %" SCNu64 " %" SCNu64 " %" SCNu64 " %" SCNu64 " %" SCNu64 " %" SCNu64 " %" SCNu64 " %" SCNu64,
               &user, &nice, &system, &idle, &wait, &interrupts, &soft, &stolen) < 4)
        return false;
    times->idle = idle + wait;
    times->all = user + nice + system + idle + wait + interrupts + soft + stolen;
    return true;
}

uint16_t CpuUse(const CpuTimes &before, const CpuTimes &after)
{
    if (after.all <= before.all || after.idle < before.idle) return 0;
    const uint64_t all = after.all - before.all, idle = after.idle - before.idle;
    return idle >= all ? 0 : uint16_t((all - idle) * 100 / all);
}

int HostCpuUse(uint16_t *percent)
{
    char line[512];
    CpuTimes now;
    FILE *file = fopen("/proc/stat", "re");
    const bool read = file && fgets(line, sizeof line, file);
    if (file) fclose(file);
    if (!read || !ReadCpuTimes(line, &now)) return RESULT_NO_FIGURE;
    Lock lock(&s_lock);
    *percent = CpuUse(s_before, now);
    s_before = now;
    return RESULT_OK;
}

int HostUptime(uint64_t *seconds)
{
    timespec now;
    if (clock_gettime(CLOCK_BOOTTIME, &now) != 0) return RESULT_NO_FIGURE;
    *seconds = uint64_t(now.tv_sec);
    return RESULT_OK;
}

bool HostHasIpv6()
{
    char line[8];
    return ReadLine("/proc/sys/net/ipv6/conf/all/disable_ipv6", line, sizeof line) && line[0] == '0';
}
