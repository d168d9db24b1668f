#include "sdk/sim/CallLog.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

#include "sdk/sim/Complain.h"
#include "sdk/sim/SimClock.h"

// All that this module remembers; SetCallLog() resets it.
static struct {
    char path[1024];
    bool reported;
} s_log;

// Appends to the arguments or, when it does not fit, marks that something is missing; then nothing more is added.
static void Append(ArgumentText &to, const char *format, ...) __attribute__((format(printf, 2, 3)));
static void Append(ArgumentText &to, const char *format, ...)
{
    static const char kMissing[] = "...";
    const size_t room = sizeof to.text - sizeof kMissing; // for the text, its NUL not counted
    if (to.cut) return;
    va_list arguments;
    va_start(arguments, format);
    const int wanted = vsnprintf(to.text + to.length, room - to.length + 1, format, arguments);
    va_end(arguments);
    if (wanted < 0) return;
    if (size_t(wanted) <= room - to.length) {
        to.length += size_t(wanted);
        return;
    }
    memcpy(to.text + to.length, kMissing, sizeof kMissing);
    to.cut = true;
}

static void Name(ArgumentText &to, const char *name)
{
    Append(to, "%s%s=", to.length ? ", " : "", name);
}

ArgumentText &AddNumber(ArgumentText &to, const char *name, int64_t value)
{
    Name(to, name);
    Append(to, "%" PRId64, value);
    return to;
}

ArgumentText &AddUnsigned(ArgumentText &to, const char *name, uint64_t value)
{
    Name(to, name);
    Append(to, "%" PRIu64, value);
    return to;
}

ArgumentText &AddMac(ArgumentText &to, const char *name, const uint8_t mac[6])
{
    Name(to, name);
    Append(to, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
    return to;
}

ArgumentText &AddIp(ArgumentText &to, const char *name, uint32_t address)
{
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &address, text, sizeof text);
    Name(to, name);
    Append(to, "%s", text);
    return to;
}

ArgumentText &AddText(ArgumentText &to, const char *name, const char *text, size_t room)
{
    Name(to, name);
    Append(to, "\"");
    for (size_t i = 0; i < room && text[i]; i++) {
        const unsigned char byte = static_cast<unsigned char>(text[i]);
        if (byte == '"' || byte == '\\')
            Append(to, "\\%c", byte);
        else if (byte == '\n')
            Append(to, "\\n");
        else if (byte < 0x20 || byte > 0x7E)
            Append(to, "\\x%02x", byte);
        else
            Append(to, "%c", byte);
    }
    Append(to, "\"");
    return to;
}

ArgumentText &AddBytes(ArgumentText &to, const char *name, const void *bytes, size_t count)
{
    Name(to, name);
    for (size_t i = 0; i < count; i++) Append(to, "%02x", static_cast<const uint8_t *>(bytes)[i]);
    return to;
}

ArgumentText &AddDevice(ArgumentText &to, const DevCfg &device)
{
    AddMac(to, "mac", device.mac);
    AddText(to, "name", device.name, sizeof device.name);
    AddBytes(to, "reserved", device.reserved, sizeof device.reserved);
    AddNumber(to, "changed", device.changed);
    AddNumber(to, "link", device.link);
    AddNumber(to, "access", device.access);
    AddNumber(to, "reserved2", device.reserved2);
    AddNumber(to, "port", device.port);
    return AddIp(to, "ip", device.ip);
}

ArgumentText &AddSsid(ArgumentText &to, const SsidCfg &ssid)
{
    AddNumber(to, "index", ssid.index);
    AddText(to, "ssid", ssid.ssid, sizeof ssid.ssid);
    AddText(to, "key", ssid.key, sizeof ssid.key);
    AddNumber(to, "enabled", ssid.enabled);
    AddNumber(to, "hidden", ssid.hidden);
    AddBytes(to, "reserved", ssid.reserved, sizeof ssid.reserved);
    AddNumber(to, "security", ssid.security);
    AddNumber(to, "bandwidth", ssid.bandwidth);
    AddNumber(to, "channel", ssid.channel);
    AddIp(to, "ip", ssid.ip);
    return AddIp(to, "netmask", ssid.netmask);
}

void SetCallLog(const char *path)
{
    memset(&s_log, 0, sizeof s_log);
    if (!path) return;
    if (strlen(path) >= sizeof s_log.path) {
        Complain("ROUTER_SIM_LOG: the path is too long; calls are not logged");
        return;
    }
    strcpy(s_log.path, path);
}

void LogCall(const char *function, const ArgumentText &arguments, int64_t result, bool isUnsigned, bool faulted)
{
    if (!s_log.path[0]) return;
    const int64_t now = SimWallMs();
    time_t seconds = time_t(now / 1000);
    struct tm date = {};
    gmtime_r(&seconds, &date);
    char line[sizeof arguments.text + 200];
    int length = snprintf(line, sizeof line, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ %s(%s) = ", date.tm_year + 1900,
                          date.tm_mon + 1, date.tm_mday, date.tm_hour, date.tm_min, date.tm_sec, int(now % 1000),
                          function, arguments.text);
    length += snprintf(line + length, sizeof line - size_t(length), isUnsigned ? "%" PRIu64 "%s\n" : "%" PRId64 "%s\n",
                       result, faulted ? " (fault)" : "");

    // Opened for each line: a descriptor kept would be closed by a program that turns itself into a daemon, and its
    // number given to one of that program's sockets. Not blocking, so that a pipe without a reader holds nobody up.
    const int file = open(s_log.path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
    const bool written = file >= 0 && write(file, line, size_t(length)) == length;
    if (!written && !s_log.reported) {
        Complain("ROUTER_SIM_LOG: \"%s\": %s; calls are lost", s_log.path, strerror(errno));
        s_log.reported = true;
    }
    if (file >= 0) close(file);
}
