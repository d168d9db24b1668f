#define LOG_MODULE "Protool"
#include "platform/Settings.h"

#include <cstdlib>
#include <cstring>

#include "core/Common.h"
#include "core/Config.h"
#include "platform/Protool.h"
#include "platform/TcpServer.h"

char g_pin_code[kPinSize];
char gProtoolKey[kKeySize];
int32_t regist_port;
char RegisterIpAddr1[kServerAddressSize];
char RegisterIpAddr2[kServerAddressSize];
int32_t runMode = 1;
OsAtomic<int32_t> Fn40Interval;
OsAtomic<int32_t> AutoReportDevinfo;

static const int32_t kPortMin = 2048;
static const int32_t kMaxPort = 65530;
static const size_t kMaxServerName = 31;
static const size_t kPortTextSize = 8;

static_assert(sizeof PLUG_DEFAULT_SERVER1 - 1 <= kMaxServerName, "PLUG_DEFAULT_SERVER1 is longer than 31 characters");
static_assert(sizeof PLUG_DEFAULT_SERVER2 - 1 <= kMaxServerName, "PLUG_DEFAULT_SERVER2 is longer than 31 characters");

enum { SETTING_PIN, SETTING_KEY, SETTING_SERVER1, SETTING_SERVER2, SETTING_PORT };
const Setting gSettings[kSettings] = {
    {"Dev", "PIN", "", kPinSize - 1, false},
    {"Protool", "KEY", "", kKeySize - 1, false},
    {"Protool", "SERVER1", PLUG_DEFAULT_SERVER1, kMaxServerName, false},
    {"Protool", "SERVER2", PLUG_DEFAULT_SERVER2, kMaxServerName, false},
    {"Protool", "PORT", "6039", kPortTextSize - 1, true},
};

bool PortInRange(int32_t port)
{
    return port >= kPortMin && port <= kMaxPort;
}

static void Read(const Setting &setting, char *dest, size_t capacity)
{
    getKeyValueStr(setting.section, setting.key, setting.fallback, dest, capacity);
}

// With room for one character more than is used: a name that fills it was too long.
typedef char ServerName[kMaxServerName + 2];

static void ReadServerName(const Setting &setting, ServerName &name)
{
    Read(setting, name, sizeof name);
    if (strlen(name) <= kMaxServerName) return;
    name[kMaxServerName] = '\0';
    LOG_AS(LOG_LEVEL_ERR, "InitProtool", "%s is cut to its first %zu characters: %s", setting.key, kMaxServerName,
           name);
}

int InitProtool()
{
    ClearLoginValues();
    Fn40Interval = 30;
    AutoReportDevinfo = 1;

    ServerName server1;
    ServerName server2;
    char port[kPortTextSize];
    Read(gSettings[SETTING_PIN], g_pin_code, sizeof g_pin_code);
    Read(gSettings[SETTING_KEY], gProtoolKey, sizeof gProtoolKey);
    ReadServerName(gSettings[SETTING_SERVER1], server1);
    ReadServerName(gSettings[SETTING_SERVER2], server2);
    Read(gSettings[SETTING_PORT], port, sizeof port);

    regist_port = atoi(port);
    if (!PortInRange(regist_port)) {
        LOG_ERR("RegPort error.");
        return -1;
    }
    LOG_DEBUG("PIN:\t%s", g_pin_code);
    LOG_DEBUG("KEY:\t%s", gProtoolKey);
    LOG_DEBUG("SERVER1:\t%s", server1);
    LOG_DEBUG("SERVER2:\t%s", server2);
    LOG_DEBUG("PORT:\t%s", port);
    GetEndType();

    if (GetServerIp(server1, RegisterIpAddr1, sizeof RegisterIpAddr1) != 0) {
        LOG_ERR("DNS resolve addres1 error !!!");
        return -1;
    }
    runMode = strstr(RegisterIpAddr1, PLUG_SINGLE_SERVER_PREFIX) ? 0 : 1;
    if (GetServerIp(server2, RegisterIpAddr2, sizeof RegisterIpAddr2) != 0) {
        LOG_ERR("DNS resolve addres2 error !!!");
        return -1;
    }
    return 0;
}
