#include "sdk/linux/settings/Config.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ini.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "sdk/linux/base/Files.h"
#include "sdk/linux/base/Pages.h"
#include "sdk/linux/base/Result.h"
#include "sdk/linux/base/Say.h"

static const size_t kMaxFile = 16384;
static const size_t kMaxLine = 190; // the parser reads lines of up to 199 bytes
static const size_t kMaxComplaints = 20;

namespace
{
enum Kind { TEXT, MAC, DATE, SWITCH, NUMBER, FILE_PATH, INTERFACES, SOCKETS, COMMAND, WAN_MODE };

struct KeyRow {
    const char *section;
    const char *name;
    Kind kind;
    size_t offset;
    size_t size; // of a text, a list's element count, or the greatest number
};

struct Reading {
    const char *path;
    Config *config;
    size_t complaints;
};
} // namespace

#define FIELD(member) offsetof(Config, member), sizeof(Config::member)
#define LIST(member) offsetof(Config, member), sizeof(Config::member) / sizeof(Config::member[0])
#define COMMAND_ROW(name, key)                                                                                         \
    {                                                                                                                  \
        "commands", name, COMMAND, offsetof(Config, commands[key - KEY_LED]), kMaxCommand                              \
    }

// In the order of Key.
static const KeyRow kKeys[] = {
    {"router", "mac", MAC, FIELD(mac)},
    {"router", "serial", TEXT, FIELD(serial)},
    {"router", "pin", TEXT, FIELD(pin)},
    {"router", "maker", TEXT, FIELD(maker)},
    {"router", "model", TEXT, FIELD(model)},
    {"router", "version", TEXT, FIELD(version)},
    {"router", "version_date", DATE, FIELD(versionDate)},
    {"router", "memory_type", TEXT, FIELD(memoryType)},
    {"router", "managed", SWITCH, FIELD(managed)},
    {"router", "set_clock", SWITCH, FIELD(setClock)},
    {"router", "state", FILE_PATH, FIELD(state)},
    {"router", "black_list", FILE_PATH, FIELD(blackList)},
    {"wan", "interfaces", INTERFACES, LIST(wans)},
    {"wan", "mode", WAN_MODE, FIELD(wanMode)},
    {"wan", "user", TEXT, FIELD(wanUser)},
    {"wan", "password", TEXT, FIELD(wanPassword)},
    {"wan", "services", NUMBER, offsetof(Config, wanServices), UINT16_MAX},
    {"wan", "masquerade", SWITCH, FIELD(masquerade)},
    {"wan", "resolvers", FILE_PATH, FIELD(resolvers)},
    {"wan", "dns_file", FILE_PATH, FIELD(dnsFile)},
    {"lan", "interface", INTERFACES, offsetof(Config, lan), 1},
    {"lan", "ports", INTERFACES, LIST(ports)},
    {"lan", "leases", FILE_PATH, FIELD(leases)},
    {"lan", "forwarding", SWITCH, FIELD(forwarding)},
    {"wifi", "hostapd", SOCKETS, LIST(hostapd)},
    COMMAND_ROW("led", KEY_LED),
    COMMAND_ROW("ftp", KEY_FTP),
    COMMAND_ROW("samba", KEY_SAMBA),
    COMMAND_ROW("telnet", KEY_TELNET),
    COMMAND_ROW("restart", KEY_RESTART),
    COMMAND_ROW("firmware", KEY_FIRMWARE),
    COMMAND_ROW("redirection", KEY_REDIRECTION),
    COMMAND_ROW("full_load", KEY_FULL_LOAD),
    COMMAND_ROW("http_test", KEY_HTTP_TEST),
    {"commands", "timeout", NUMBER, offsetof(Config, timeoutSeconds), 60},
};
static_assert(sizeof kKeys / sizeof *kKeys == KEY_COUNT && KEY_COUNT <= 64, "one row and one bit for each key");

// Of a file that cannot be used nobody knows what it says.
static const uint64_t kAllKeys = (uint64_t(1) << KEY_COUNT) - 1;

static void Defaults(Config *config)
{
    memset(config, 0, sizeof *config);
    config->managed = config->forwarding = true;
    config->wanMode = -1;
    config->timeoutSeconds = 10;
    CopyText(config->state, sizeof config->state, "/var/lib/plug/router.state");
    CopyText(config->resolvers, sizeof config->resolvers, "/etc/resolv.conf");
    CopyText(config->leases, sizeof config->leases, "/var/lib/misc/dnsmasq.leases");
}

// ---- Values ----

static bool ReadSwitch(const char *value, bool *on)
{
    *on = strcmp(value, "yes") == 0;
    return *on || strcmp(value, "no") == 0;
}

static bool IsDate(const char *value)
{
    int year, month, day, end = 0;
    return sscanf(value, "%4d-%2d-%2d%n", &year, &month, &day, &end) == 3 && end == 10 && value[end] == '\0' &&
           year >= 1970 && month >= 1 && month <= 12 && day >= 1 && day <= 31;
}

static bool ReadWanMode(const char *value, int *mode)
{
    static const char *const names[] = {"auto", "dhcp", "static", "pppoe", "bridge"};
    for (int i = 0; i < 5; i++) {
        if (strcmp(value, names[i]) != 0) continue;
        *mode = i - 1;
        return true;
    }
    return false;
}

static bool IsPath(const char *value)
{
    return value[0] == '/' && strlen(value) < kMaxPath;
}

// Reads words into a list of `count` texts of `size` bytes, each of which `fits`.
static bool ReadWords(const char *value, char *list, size_t count, size_t size, bool (*fits)(const char *))
{
    memset(list, 0, count * size);
    size_t found = 0;
    while (*(value += strspn(value, " \t,"))) {
        const size_t length = strcspn(value, " \t,");
        char *word = list + found * size;
        if (found == count || length >= size) return false;
        memcpy(word, value, length);
        if (!fits(word)) return false;
        found++;
        value += length;
    }
    return found > 0;
}

// A socket's path has to fit into its address.
static bool IsSocketPath(const char *value)
{
    return value[0] == '/' && strlen(value) < sizeof sockaddr_un::sun_path;
}

static bool ReadValue(const KeyRow &row, const char *value, Config *config)
{
    char *field = reinterpret_cast<char *>(config) + row.offset;
    switch (row.kind) {
    case TEXT: break;
    case MAC: {
        uint8_t mac[kMacSize];
        if (!ReadMac(value, mac) || !IsDeviceMac(mac)) return false;
        break;
    }
    case DATE:
        if (!IsDate(value)) return false;
        break;
    case SWITCH: return ReadSwitch(value, reinterpret_cast<bool *>(field));
    case NUMBER:
        return ReadNumber(value, row.size == 60 ? 1 : 0, int64_t(row.size), reinterpret_cast<int64_t *>(field));
    case FILE_PATH:
    case COMMAND:
        if (!IsPath(value)) return false;
        break;
    case INTERFACES: return ReadWords(value, field, row.size, kMaxInterfaceName, IsInterfaceName);
    case SOCKETS: return ReadWords(value, field, row.size, sizeof config->hostapd[0], IsSocketPath);
    case WAN_MODE: return ReadWanMode(value, reinterpret_cast<int *>(field));
    }
    const size_t length = strlen(value);
    if (length == 0 || length >= row.size) return false;
    memcpy(field, value, length + 1);
    return true;
}

// ---- The file ----

static void Complain(Reading *reading, const char *what, const char *section, const char *name, const char *value)
{
    if (++reading->complaints > kMaxComplaints) return;
    Say("%s: %s: [%s] %s = %s", reading->path, what, section, name, value);
}

// Called by the parser. Going on after a mistake is what it must always do.
static int OnKey(void *user, const char *section, const char *name, const char *value)
{
    Reading *reading = static_cast<Reading *>(user);
    for (int key = 0; key < KEY_COUNT; key++) {
        const KeyRow &row = kKeys[key];
        if (strcmp(row.section, section) != 0 || strcmp(row.name, name) != 0) continue;
        const uint64_t bit = uint64_t(1) << key;
        Config *config = reading->config;
        if ((config->given | config->wrong) & bit) {
            Complain(reading, "key is there twice", section, name, value);
            config->wrong |= bit;
        } else {
            Config tried = *config;
            if (ReadValue(row, value, &tried)) {
                *config = tried;
                config->given |= bit;
            } else {
                // The value of a password's key is nobody's business.
                Complain(reading, "wrong value", section, name, key == KEY_WAN_PASSWORD ? "(not shown)" : value);
                config->wrong |= bit;
            }
        }
        config->given &= ~config->wrong;
        return 1;
    }
    Complain(reading, "unknown key", section, name, value);
    return 1;
}

void ReadConfig(const char *path, const char *text, Config *config)
{
    Defaults(config);
    Reading reading = {path, config, 0};
    int number = 1;
    for (const char *line = text; *line; number++) {
        const size_t length = strcspn(line, "\n");
        if (length > kMaxLine) {
            Say("%s:%d: line has more than %zu bytes; the file is not used", path, number, kMaxLine);
            config->wrong = kAllKeys;
            return;
        }
        line += length + (line[length] != '\0');
    }
    const int bad = ini_parse_string(text, OnKey, &reading);
    if (bad > 0) Say("%s:%d: neither [section], key = value nor comment", path, bad);
    if (reading.complaints > kMaxComplaints) Say("%s: %zu mistakes more", path, reading.complaints - kMaxComplaints);
}

void LoadConfig(const char *path, Config *config)
{
    Defaults(config);
    Pages<char> room(kMaxFile);
    const char *text = room.Get();
    const long length = text ? ReadFile(path, room.Get(), kMaxFile) : -1;
    if (length < 0) {
        if (errno == ENOENT) return;
        Say("%s: not used: %s", path, strerror(errno));
        config->wrong = kAllKeys;
        return;
    }
    if (strlen(text) != size_t(length)) {
        Say("%s: not used: it has zero bytes", path);
        config->wrong = kAllKeys;
        return;
    }
    ReadConfig(path, text, config);
}

const char *ConfigPath()
{
    const char *path = secure_getenv("PLUG_ROUTER_CONF");
    return path && *path ? path : "/etc/plug/router.conf";
}

int KeyIsRight(const Config *config, Key key)
{
    return config->wrong >> key & 1 ? RESULT_BAD_KEY : RESULT_OK;
}

int NeedKey(const Config *config, Key key)
{
    if (config->given >> key & 1) return RESULT_OK;
    return config->wrong >> key & 1 ? RESULT_BAD_KEY : RESULT_NOT_CONFIGURED;
}

const char *CommandOf(const Config *config, Key key)
{
    return config->commands[key - KEY_LED];
}
