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

// With room for one character more than is used: a name that fills it was too long.
typedef char ServerName[kMaxServerName + 2];

static void ReadServerName(const char *key, const char *defaultName, ServerName &name)
{
    getKeyValueStr("Protool", key, defaultName, name, sizeof name);
    if (strlen(name) <= kMaxServerName) return;
    name[kMaxServerName] = '\0';
    LOG_AS(LOG_LEVEL_ERR, "InitProtool", "%s is cut to its first %zu characters: %s", key, kMaxServerName, name);
}

int InitProtool()
{
    ClearLoginValues();
    Fn40Interval = 30;
    AutoReportDevinfo = 1;

    ServerName server1;
    ServerName server2;
    char port[kPortTextSize];
    getKeyValueStr("Dev", "PIN", "", g_pin_code, sizeof g_pin_code);
    getKeyValueStr("Protool", "KEY", "", gProtoolKey, sizeof gProtoolKey);
    ReadServerName("SERVER1", PLUG_DEFAULT_SERVER1, server1);
    ReadServerName("SERVER2", PLUG_DEFAULT_SERVER2, server2);
    getKeyValueStr("Protool", "PORT", "6039", port, sizeof port);

    regist_port = atoi(port);
    if (regist_port < kPortMin || regist_port > kMaxPort) {
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
