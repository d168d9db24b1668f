#define LOG_MODULE "RouteFunc"
#include "rules/PortForward.h"

#include <cjson/cJSON.h>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "core/Common.h"
#include "core/JsonParse.h"
#include "os/OsClock.h"
#include "os/OsCommand.h"
#include "os/OsWait.h"
#include "platform/ServerStop.h"

static const size_t kAddressSize = 32;
static const size_t kPortSize = 8;
static const size_t kCommandSize = 256;

// The parameters of the last command, terminated. The field of a refused text is empty.
static char s_flag[2];
static char s_pre_ip[kAddressSize];
static char s_pre_port[kPortSize];
static char s_post_ip[kAddressSize];
static char s_post_port[kPortSize];

static const int64_t kOvertimeMs = 10000; // how long a command may run on after the session's teardown has begun

static OsCommand s_command;                                // what is running
static pthread_mutex_t s_lock = PTHREAD_MUTEX_INITIALIZER; // guards the next two; taken before s_command's own lock
static bool s_underWay;                                    // a sequence of commands runs
static int64_t s_limitMs;                                  // when its current command is ended; 0: no limit yet

namespace
{
struct Member {
    char name[10];
    int missing; // the result if the document does not have it
    char *field;
    size_t size;
};
} // namespace

static const Member kMembers[] = {
    {"FLAG", PORT_FORWARD_NO_FLAG, s_flag, sizeof s_flag},
    {"PRE_IP", PORT_FORWARD_NO_PRE_IP, s_pre_ip, sizeof s_pre_ip},
    {"PRE_PORT", PORT_FORWARD_NO_PRE_PORT, s_pre_port, sizeof s_pre_port},
    {"POST_IP", PORT_FORWARD_NO_POST_IP, s_post_ip, sizeof s_post_ip},
    {"POST_PORT", PORT_FORWARD_NO_POST_PORT, s_post_port, sizeof s_post_port},
};

// ---- Rules ----

#define FIRST_RULE "iptables -t nat -%c PREROUTING -d %s -p tcp -m tcp --dport %s -j DNAT --to-destination %s:%s"
#define SECOND_RULE "iptables -t nat -%c POSTROUTING -d %s -p tcp -m tcp --dport %s -j SNAT --to-source %s:%s"

// A command that was cut off would make another rule.
static_assert(sizeof FIRST_RULE + 2 * kAddressSize + 2 * kPortSize <= kCommandSize, "the longest texts must fit");
static_assert(sizeof SECOND_RULE + 2 * kAddressSize + 2 * kPortSize <= kCommandSize, "the longest texts must fit");

// Runs one command of a sequence, whatever the result of the one before. It starts without a time limit.
static void Run(const char *command)
{
    {
        OsGuard guard(&s_lock);
        s_limitMs = 0;
        OsCommandReady(&s_command);
    }
    OsCommandRun(&s_command, command);
}

// Called by the teardown: ends the running command once the teardown has waited long enough for it.
static bool OnServerStop()
{
    OsGuard guard(&s_lock);
    if (!s_underWay) return false;
    if (s_limitMs == 0) s_limitMs = OsNowMs() + kOvertimeMs;
    if (OsNowMs() >= s_limitMs) OsCommandStop(&s_command);
    return true;
}

static void SetUnderWay(bool underWay)
{
    OsGuard guard(&s_lock);
    s_underWay = underWay;
}

// Appends ('A') or deletes ('D') the pair of rules.
static void ChangeRules(const char *function, char action)
{
    char first[kCommandSize] = {};
    char second[kCommandSize] = {};
    snprintf(first, sizeof first, FIRST_RULE, action, s_pre_ip, s_pre_port, s_post_ip, s_post_port);
    snprintf(second, sizeof second, SECOND_RULE, action, s_post_ip, s_post_port, s_pre_ip, s_pre_port);
    LOG_AS(LOG_LEVEL_DEBUG, function, " route_cmd1: \n%s\n\n", first);
    LOG_AS(LOG_LEVEL_DEBUG, function, " route_cmd2: \n%s\n\n", second);
    Run(first);
    Run(second);
}

// In place of an empty text the shell would take the next word.
static bool IsComplete()
{
    return s_pre_ip[0] && s_pre_port[0] && s_post_ip[0] && s_post_port[0];
}

int AddRoute()
{
    if (!IsComplete()) return 0;
    ChangeRules(__func__, 'D');
    ChangeRules(__func__, 'A');
    return 0;
}

int DeleteRoute()
{
    if (IsComplete()) ChangeRules(__func__, 'D');
    return 0;
}

// ---- Command ----

// Whether the shell and the packet filter's program read `text` as one plain word, and it fits into `size` bytes with a
// terminator. The characters are listed, so that the locale does not matter.
static bool IsPlainWord(const char *text, size_t size)
{
    static const char plain[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.:/_-";
    const size_t length = strlen(text);
    return length > 0 && length < size && text[0] != '-' && strspn(text, plain) == length;
}

// Reads the members into their fields. Returns PORT_FORWARD_DONE or the result for what is missing or refused.
static int ReadMembers(const cJSON *document)
{
    int result = PORT_FORWARD_DONE;
    for (const Member &member : kMembers) {
        const cJSON *item = cJSON_GetObjectItem(document, member.name);
        if (!item) return member.missing;
        const char *value = cJSON_GetStringValue(item);
        const char *text = value ? value : "";
        LOG_AS(LOG_LEVEL_DEBUG, "ParseRouteParam", " %s = [%s]\n\n", member.name, text);
        if (member.field == s_flag)
            s_flag[0] = text[0];
        else if (IsPlainWord(text, member.size))
            memcpy(member.field, text, strlen(text));
        else
            result = PORT_FORWARD_BAD_TEXT;
    }
    return s_flag[0] == '1' || s_flag[0] == '0' ? result : PORT_FORWARD_BAD_FLAG;
}

static int CarryOut(const char *json)
{
    if (!json) return PORT_FORWARD_NO_TEXT;
    LOG_AS(LOG_LEVEL_INFO, "ParseRouteParam", "pMsg: \n%s\n\n", json);
    for (const Member &member : kMembers) memset(member.field, 0, member.size);
    cJSON *document = JsonParse(json);
    if (!document) return PORT_FORWARD_NO_JSON;
    const int result = ReadMembers(document);
    cJSON_Delete(document);
    if (result != PORT_FORWARD_DONE) return result;

    // The commands may take long: a name in place of an address is looked up by them.
    static ServerStopCall s_onStop = {OnServerStop, false, nullptr};
    ServerOnStop(&s_onStop);
    SetUnderWay(true);
    const int done = s_flag[0] == '1' ? AddRoute() : DeleteRoute();
    SetUnderWay(false);
    return done;
}

int ParseRouteParam(const char *json)
{
    const int result = CarryOut(json);
    if (result != PORT_FORWARD_DONE) LOG_DEBUG(" %s %d : error = [%d]\n\n\n", __func__, __LINE__, result);
    return result;
}
