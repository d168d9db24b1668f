#include "sdk/linux/wifi/Hostapd.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <wpa_ctrl.h>

#include "sdk/linux/base/Clock.h"
#include "sdk/linux/base/Result.h"
#include "sdk/linux/base/Say.h"

static const char kFolder[] = "/run/hostapd";
static const size_t kMaxReply = 4096;
static const int64_t kAnswerMs = 3000;

// ---- Sockets ----

uint16_t HostapdSockets(const Config *config, SocketPaths paths)
{
    uint16_t count = 0;
    memset(paths, 0, sizeof(SocketPaths));
    for (; count < ROUTER_SDK_SSIDS && config->hostapd[count][0]; count++)
        CopyText(paths[count], kSocketPath, config->hostapd[count]);
    DIR *folder = count == 0 ? opendir(kFolder) : nullptr;
    if (!folder) return count;
    // cppcheck-suppress readdirCalled ; nobody else has this folder open
    while (const dirent *entry = readdir(folder)) {
        if (count == ROUTER_SDK_SSIDS || !IsInterfaceName(entry->d_name)) continue;
        snprintf(paths[count++], kSocketPath, "%s/%.15s", kFolder, entry->d_name);
    }
    closedir(folder);
    qsort(paths, count, kSocketPath, [](const void *a, const void *b) {
        return strcmp(static_cast<const char *>(a), static_cast<const char *>(b));
    });
    return count;
}

const char *InterfaceOf(const char *path)
{
    const char *slash = strrchr(path, '/');
    return slash ? slash + 1 : path;
}

// Waits until a descriptor is ready. False when the time is over.
static bool Await(int descriptor, short events, int64_t endMs)
{
    for (;;) {
        const int64_t left = endMs - NowMs();
        pollfd wait = {descriptor, events, 0};
        if (left <= 0) return false;
        if (poll(&wait, 1, int(left)) > 0) return true;
    }
}

// Sends a command and reads its reply, terminated. False if there is no answer.
static bool Ask(const char *path, const char *command, char reply[kMaxReply])
{
    reply[0] = '\0';
    wpa_ctrl *control = wpa_ctrl_open(path);
    if (!control) return false;
    const int descriptor = wpa_ctrl_get_fd(control);
    fcntl(descriptor, F_SETFD, FD_CLOEXEC); // the agent starts programs
    // Not by wpa_ctrl_request(), which waits ten seconds for each of many commands.
    const int64_t endMs = NowMs() + kAnswerMs;
    const bool sent =
        Await(descriptor, POLLOUT, endMs) && send(descriptor, command, strlen(command), MSG_NOSIGNAL) >= 0;
    const ssize_t length = sent && Await(descriptor, POLLIN, endMs) ? recv(descriptor, reply, kMaxReply - 1, 0) : -1;
    reply[length > 0 ? length : 0] = '\0';
    wpa_ctrl_close(control);
    return length >= 0;
}

// A command that hostapd answers with "OK".
static int Tell(const char *path, const char *command)
{
    char reply[kMaxReply];
    if (Ask(path, command, reply) && strncmp(reply, "OK", 2) == 0) return RESULT_OK;
    // The name of the command alone: a key may follow it.
    Say("hostapd at %s: %.*s: %s", path, int(strcspn(command, " ")), command, reply[0] ? "refused" : "no answer");
    return RESULT_WIFI;
}

// ---- Reading ----

// Finds "NAME=value" at the start of a line, and copies the value as it stands: a network's name may start and end with
// anything. False if there is none.
static bool FindValue(const char *text, const char *name, char *value, size_t size)
{
    const size_t length = strlen(name);
    for (const char *line = text; *line; line += strcspn(line, "\n"), line += *line != '\0') {
        if (strncmp(line, name, length) != 0 || line[length] != '=') continue;
        const char *start = line + length + 1;
        snprintf(value, size, "%.*s", int(strcspn(start, "\n")), start);
        return true;
    }
    return false;
}

// Names of networks may hold any bytes, which hostapd shows as \xNN and the like.
static void ReadEscaped(const char *text, char *ssid, size_t size)
{
    size_t length = 0;
    for (; *text && length + 1 < size; text++) {
        char c = *text;
        if (c == '\\' && text[1] == 'x' && text[2] && text[3]) {
            const char digits[] = {text[2], text[3], '\0'};
            c = char(strtoul(digits, nullptr, 16));
            text += 3;
        } else if (c == '\\' && text[1]) {
            const char next = *++text;
            c = next == 'n' ? '\n' : next == 'r' ? '\r' : next == 't' ? '\t' : next == 'e' ? '\033' : next;
        }
        ssid[length++] = c;
    }
    memset(ssid + length, 0, size - length);
}

// What `security` of the record means here; docs/linux-router.md has the list.
static uint16_t SecurityOf(const char *config)
{
    char value[64];
    if (FindValue(config, "key_mgmt", value, sizeof value)) {
        if (strstr(value, "SAE")) return 4;
        if (strstr(value, "EAP")) return 5;
    }
    if (!FindValue(config, "wpa", value, sizeof value)) return 0;
    return uint16_t(strtoul(value, nullptr, 10) & 3);
}

// A radio that has just been switched on looks for its channel first, for a minute where there may be radar: it is on.
static bool IsSwitchedOn(const char *status)
{
    char state[32];
    return FindValue(status, "state", state, sizeof state) && strcmp(state, "DISABLED") != 0 &&
           strcmp(state, "UNINITIALIZED") != 0;
}

int HostapdRead(const char *path, SsidCfg *ssid, uint8_t *wps)
{
    char status[kMaxReply], config[kMaxReply], value[128];
    if (!Ask(path, "STATUS", status)) {
        Say("hostapd at %s: no answer", path);
        return RESULT_WIFI;
    }
    Ask(path, "GET_CONFIG", config);
    ssid->enabled = IsSwitchedOn(status);
    if (FindValue(config, "ssid", value, sizeof value) || FindValue(status, "ssid[0]", value, sizeof value))
        ReadEscaped(value, ssid->ssid, sizeof ssid->ssid);
    if (FindValue(status, "channel", value, sizeof value)) ssid->channel = uint16_t(strtoul(value, nullptr, 10));
    if (FindValue(config, "passphrase", value, sizeof value)) CopyText(ssid->key, sizeof ssid->key, value);
    ssid->security = SecurityOf(config);
    if (wps) *wps = FindValue(config, "wps_state", value, sizeof value) && strcmp(value, "disabled") != 0;
    return RESULT_OK;
}

uint64_t HostapdIdentity(const char *path)
{
    struct stat status;
    if (stat(path, &status) != 0) return 0;
    return uint64_t(status.st_ino) ^ uint64_t(status.st_ctim.tv_sec) << 20 ^ uint64_t(status.st_ctim.tv_nsec);
}

// ---- Changing ----

bool IsWifiKey(const char *key)
{
    const size_t length = strlen(key);
    if (length == 0) return true;
    if (length == 64) return strspn(key, "0123456789abcdefABCDEF") == length;
    for (const char *c = key; *c; c++)
        if (*c < ' ' || *c > '~') return false;
    return length >= 8 && length <= 63;
}

// The name in hexadecimal digits: no byte in it can be read as anything else.
static int TellName(const char *path, const char *ssid)
{
    char command[16 + 2 * sizeof SsidSettings::ssid] = "SET ssid2 ";
    size_t length = strlen(command);
    for (const char *c = ssid; *c; c++)
        length += size_t(snprintf(command + length, sizeof command - length, "%02x", static_cast<unsigned char>(*c)));
    return Tell(path, command);
}

// No key for a network that is not open: it keeps the one that hostapd has, which hostapd does not tell either.
static int TellKey(const char *path, const SsidSettings *settings)
{
    char command[128];
    const char *key = settings->key;
    if (settings->open) return Tell(path, "SET wpa 0");
    if (!key[0]) return RESULT_OK;
    snprintf(command, sizeof command, strlen(key) == 64 ? "SET wpa_psk %s" : "SET wpa_passphrase %s", key);
    int result = Tell(path, command);
    if (result == RESULT_OK) result = Tell(path, "SET wpa 2");
    return result;
}

int HostapdApply(const char *path, const SsidSettings *settings, const uint8_t *wps)
{
    int result = RESULT_OK;
    if (settings->hasRecord) {
        char command[64];
        if (!settings->ssid[0] || !IsWifiKey(settings->key)) return RESULT_BAD_VALUE;
        result = TellName(path, settings->ssid);
        if (result == RESULT_OK) result = TellKey(path, settings);
        snprintf(command, sizeof command, "SET ignore_broadcast_ssid %u", settings->hidden);
        if (result == RESULT_OK) result = Tell(path, command);
        snprintf(command, sizeof command, "SET channel %u", settings->channel);
        if (result == RESULT_OK && settings->channel) result = Tell(path, command);
    }
    if (result == RESULT_OK && wps) result = Tell(path, *wps ? "SET wps_state 2" : "SET wps_state 0");
    if (result == RESULT_OK && (settings->hasRecord || wps)) result = Tell(path, "RELOAD");
    if (result == RESULT_OK && settings->hasSwitch) result = HostapdSwitch(path, settings->on);
    return result;
}

int HostapdSwitch(const char *path, bool on)
{
    SsidCfg now = {};
    const int result = HostapdRead(path, &now, nullptr);
    if (result != RESULT_OK || bool(now.enabled) == on) return result; // hostapd refuses what is already so
    return Tell(path, on ? "ENABLE" : "DISABLE");
}

int HostapdDeny(const char *path, const uint8_t (*macs)[6], uint16_t count)
{
    int result = Tell(path, "DENY_ACL CLEAR");
    for (uint16_t i = 0; i < count && result == RESULT_OK; i++) {
        char mac[kMacText], command[64];
        WriteMac(macs[i], mac);
        snprintf(command, sizeof command, "DENY_ACL ADD_MAC %s", mac);
        result = Tell(path, command);
    }
    return result;
}
