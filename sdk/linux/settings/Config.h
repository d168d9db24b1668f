// Config.h - /etc/plug/router.conf: what the kernel cannot tell.
// State:    none here; Start.cpp keeps the one Config, which does not change once the library has started.
// Threads:  any reads it.
#pragma once

#include "sdk/RouterSdk.h"
#include "sdk/linux/base/Texts.h"

constexpr size_t kMaxPath = 256;
constexpr size_t kMaxInterfaceName = 16;
constexpr size_t kMaxCommand = 256;

// Every key, so that a function can ask whether its own is there and right.
enum Key {
    KEY_MAC,
    KEY_SERIAL,
    KEY_PIN,
    KEY_MAKER,
    KEY_MODEL,
    KEY_VERSION,
    KEY_VERSION_DATE,
    KEY_MEMORY_TYPE,
    KEY_MANAGED,
    KEY_SET_CLOCK,
    KEY_STATE,
    KEY_BLACK_LIST,
    KEY_WANS,
    KEY_WAN_MODE,
    KEY_WAN_USER,
    KEY_WAN_PASSWORD,
    KEY_WAN_SERVICES,
    KEY_MASQUERADE,
    KEY_RESOLVERS,
    KEY_DNS_FILE,
    KEY_LAN,
    KEY_PORTS,
    KEY_LEASES,
    KEY_FORWARDING,
    KEY_HOSTAPD,
    KEY_LED,
    KEY_FTP,
    KEY_SAMBA,
    KEY_TELNET,
    KEY_RESTART,
    KEY_FIRMWARE,
    KEY_REDIRECTION,
    KEY_FULL_LOAD,
    KEY_HTTP_TEST,
    KEY_TIMEOUT,
    KEY_COUNT
};

struct Config {
    uint64_t given; // one bit for each key: it is there and right
    uint64_t wrong; // it is there and wrong; the value is then the default

    // [router]
    char mac[kMacText];
    char serial[64];
    char pin[13];
    char maker[64];
    char model[64];
    char version[60];
    char versionDate[11]; // "2024-06-01"
    char memoryType[16];
    bool managed;
    bool setClock;
    char state[kMaxPath];
    char blackList[kMaxPath];

    // [wan]
    char wans[ROUTER_SDK_WANS][kMaxInterfaceName]; // an empty name ends the list
    int wanMode;                                   // ROUTER_WAN_..., -1: from the kernel
    char wanUser[64];
    char wanPassword[64];
    int64_t wanServices;
    bool masquerade;
    char resolvers[kMaxPath];
    char dnsFile[kMaxPath];

    // [lan]
    char lan[kMaxInterfaceName];
    char ports[ROUTER_SDK_LAN_PORTS][kMaxInterfaceName];
    char leases[kMaxPath];
    bool forwarding;

    // [wifi]
    char hostapd[ROUTER_SDK_SSIDS][kMaxPath / 2];

    // [commands]
    char commands[KEY_HTTP_TEST - KEY_LED + 1][kMaxCommand]; // by key, from KEY_LED
    int64_t timeoutSeconds;
};

// Where the configuration is: the environment variable PLUG_ROUTER_CONF, else /etc/plug/router.conf. The variable is not
// looked at in a process that has more privileges than its caller.
const char *ConfigPath();

// Fills a zeroed Config with the defaults, then reads the file. Each wrong key or value is one line of Say(), and hurts
// nothing else. A missing file is no mistake.
void LoadConfig(const char *path, Config *config);

// The same for the text of a file; `path` is for the messages.
void ReadConfig(const char *path, const char *text, Config *config);

// RESULT_OK if the key is there and right; RESULT_BAD_KEY or RESULT_NOT_CONFIGURED.
int NeedKey(const Config *config, Key key);

// For keys with a default: RESULT_BAD_KEY if the key is wrong, else RESULT_OK.
int KeyIsRight(const Config *config, Key key);

// The command of a key from KEY_LED to KEY_HTTP_TEST, empty if there is none.
const char *CommandOf(const Config *config, Key key);
