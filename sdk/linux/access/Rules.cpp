#include "sdk/linux/access/Rules.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "sdk/linux/base/Texts.h"

namespace
{
struct Script {
    char *text;
    size_t size;
    size_t length;
    bool full;
};
} // namespace

static void Add(Script *script, const char *format, ...) __attribute__((format(printf, 2, 3)));
static void Add(Script *script, const char *format, ...)
{
    if (script->full) return;
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(script->text + script->length, script->size - script->length, format, arguments);
    va_end(arguments);
    if (length < 0 || size_t(length) >= script->size - script->length)
        script->full = true; // a script that was cut off must never run
    else
        script->length += size_t(length);
}

static size_t Finish(const Script &script)
{
    return script.full ? 0 : script.length;
}

// A set or map with its elements; an empty list of elements is no valid one.
static void AddRefused(Script *script, const RuleInput *input)
{
    char mac[kMacText];
    const char *before = "  elements = { ";
    Add(script, " set refused {\n  type ether_addr\n");
    for (uint16_t i = 0; i < input->state->deviceCount; i++) {
        if (!input->state->devices[i].refused) continue;
        WriteMac(input->state->devices[i].mac, mac);
        Add(script, "%s%s", before, mac);
        before = ", ";
    }
    Add(script, "%s }\n set black {\n  type ether_addr\n", *before == ',' ? " }\n" : "");
    before = "  elements = { ";
    for (uint16_t i = 0; i < input->blackCount; i++) {
        WriteMac(input->black[i], mac);
        Add(script, "%s%s", before, mac);
        before = ", ";
    }
    Add(script, "%s }\n", *before == ',' ? " }\n" : "");
}

static void AddClasses(Script *script, const State *state, bool up)
{
    char mac[kMacText];
    const char *before = "  elements = { ";
    Add(script, " map class {\n  type ether_addr : classid\n");
    for (uint16_t i = 0; i < state->deviceCount; i++) {
        if ((up ? state->devices[i].maxUp : state->devices[i].maxDown) == 0) continue;
        WriteMac(state->devices[i].mac, mac);
        Add(script, "%s%s : %x:%x", before, mac, kQdiscMajor, kFirstClass + i);
        before = ", ";
    }
    Add(script, "%s }\n", *before == ',' ? " }\n" : "");
}

// The elements of `bytes` are made by the rules themselves, one for each device, and forgotten after a day of silence.
static void AddCounters(Script *script)
{
    Add(script, " set bytes {\n  type ether_addr\n  size 2048\n  flags dynamic,timeout\n  timeout 1d\n }\n");
}

size_t WriteRules(const RuleInput *input, char *text, size_t size)
{
    Script script = {text, size, 0, false};
    // Adding first makes the deletion valid when there is no table yet.
    for (const char *family : {"inet", "netdev"})
        Add(&script, "add table %s " RULES_TABLE "\ndelete table %s " RULES_TABLE "\n", family, family);
    if (!input->lan) return Finish(script);
    const char *lan = input->lan;

    Add(&script, "table inet " RULES_TABLE " {\n");
    AddRefused(&script, input);
    AddClasses(&script, input->state, true);
    AddCounters(&script);
    Add(&script,
        " chain up {\n"
        "  ether saddr @refused drop\n"
        "  ether saddr @black drop\n"
        "  update @bytes { ether saddr counter }\n"
        "  meta priority set ether saddr map @class\n"
        " }\n"
        " chain forward {\n"
        "  type filter hook forward priority filter - 10; policy accept;\n"
        "  iifname \"%s\" oifname != \"%s\" jump up\n"
        "  oifname \"%s\" iifname != \"%s\" meta priority set %x:%x\n"
        " }\n",
        lan, lan, lan, lan, kQdiscMajor, kMarkMinor);
    if (input->masquerade) {
        Add(&script, " chain postrouting {\n  type nat hook postrouting priority srcnat; policy accept;\n");
        for (uint16_t i = 0; i < input->wanCount; i++)
            Add(&script, "  meta nfproto ipv4 iifname \"%s\" oifname \"%s\" masquerade\n", lan, input->wans[i]);
        Add(&script, " }\n");
    }
    Add(&script, "}\ntable netdev " RULES_TABLE " {\n");
    AddRefused(&script, input);
    AddClasses(&script, input->state, false);
    AddCounters(&script);
    Add(&script,
        " chain down {\n"
        "  ether daddr @refused drop\n"
        "  ether daddr @black drop\n"
        "  update @bytes { ether daddr counter }\n"
        "  meta priority set ether daddr map @class\n"
        " }\n"
        " chain egress {\n"
        "  type filter hook egress device \"%s\" priority filter; policy accept;\n"
        "  meta priority %x:%x jump down\n"
        " }\n"
        "}\n",
        lan, kQdiscMajor, kMarkMinor);
    return Finish(script);
}

size_t WriteAccess(const uint8_t mac[6], bool refused, char *text, size_t size)
{
    Script script = {text, size, 0, false};
    char name[kMacText];
    WriteMac(mac, name);
    for (const char *family : {"inet", "netdev"}) {
        // Deleting what is not there is a mistake; adding what is there is none.
        Add(&script, "add element %s " RULES_TABLE " refused { %s }\n", family, name);
        if (!refused) Add(&script, "delete element %s " RULES_TABLE " refused { %s }\n", family, name);
    }
    return Finish(script);
}

size_t WriteClass(const uint8_t mac[6], uint16_t place, bool up, bool limited, char *text, size_t size)
{
    Script script = {text, size, 0, false};
    char name[kMacText];
    WriteMac(mac, name);
    const char *family = up ? "inet" : "netdev";
    Add(&script, "add element %s " RULES_TABLE " class { %s : %x:%x }\n", family, name, kQdiscMajor,
        kFirstClass + place);
    if (!limited) Add(&script, "delete element %s " RULES_TABLE " class { %s }\n", family, name);
    return Finish(script);
}
