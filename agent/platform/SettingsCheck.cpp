#include "platform/SettingsCheck.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "core/Config.h"
#include "os/Paths.h"
#include "platform/Settings.h"

static const mode_t kOthers = 077; // bits of a mode

// What has been found out about a setting.
struct Found {
    ConfigSearch search;
    bool taken; // a line before counts
};

static int s_problems;

// Prints a line about line `number`, 0 for the file as a whole: what it is, what is taken, and what is wrong if `why` is
// not nullptr. One reason is enough to look at the line.
static void Say(unsigned number, const char *what, const char *value, const char *why)
{
    if (why) s_problems++;
    printf("%4u %c %s %s%s%s\n", number, why ? '!' : ' ', what, value, why ? ": " : "", why ? why : "");
}

static const char *WhyNot(const Setting &setting, const char *name, const char *value, bool again)
{
    const size_t length = strlen(setting.key);
    if (strlen(value) > setting.most) return "too long, and cut";
    if (setting.isPort && !PortInRange(atoi(value))) return "not in 2048 to 65530";
    if (strncmp(name, setting.key, length) != 0 || !strchr(" \t=", name[length])) return "taken under a wrong name";
    return again ? "taken, the line before is not" : nullptr;
}

// Returns whether the line has to do with the setting.
static bool TakeLine(Found *found, const Setting &setting, unsigned number, char *line, const char *name)
{
    if (found->search.ended) return false;
    const char *value = "";
    const char *why = "no value, passed over";
    switch (ConfigReadLine(&found->search, line, &value)) {
    case CONFIG_OTHER: return false;
    case CONFIG_VALUE:
        why = WhyNot(setting, name, value, found->taken);
        found->taken = true;
        break;
    case CONFIG_STOP: why = "no =, ends the search"; break;
    case CONFIG_EMPTY: break;
    }
    Say(number, setting.key, *setting.fallback ? value : "...", why);
    return true;
}

// A line that is no setting's. `inside`: a section of settings begins here, or goes on.
static void SayOther(unsigned number, const char *text, bool inside)
{
    if (strchr("#\r\n", *text)) return; // also an empty one
    if (!strchr(text, '['))
        Say(number, "", "", "unknown here, passed over");
    else
        Say(number, "section", "", inside ? nullptr : "passed over; a [ always begins one");
}

static void ReadLines(FILE *file, Found *found)
{
    char line[kMaxConfigLine];
    for (unsigned number = 1; fgets(line, sizeof line, file); number++) {
        const char *const name = line + strspn(line, " \t");
        bool taken = false;
        bool inside = false;
        for (size_t i = 0; i < kSettings; i++) {
            taken |= TakeLine(&found[i], gSettings[i], number, line, name);
            inside |= found[i].search.inSection && !found[i].search.ended;
        }
        if (!taken) SayOther(number, name, inside);
    }
}

static void ReadFile(FILE *file)
{
    struct stat status;
    if (fstat(fileno(file), &status) == 0 &&
        ((status.st_mode & kOthers) != 0 || (status.st_uid != 0 && status.st_uid != geteuid())))
        Say(0, "owner, mode", "", "open to others");
    Found found[kSettings];
    for (size_t i = 0; i < kSettings; i++) found[i] = {{gSettings[i].section, gSettings[i].key, false, false}, false};
    ReadLines(file, found);
    for (size_t i = 0; i < kSettings; i++)
        if (!found[i].taken)
            Say(0, gSettings[i].key, gSettings[i].fallback, *gSettings[i].fallback ? nullptr : "missing");
}

bool SettingsCheckAsked(int argc, char *const argv[])
{
    return argc > 1 && strcmp(argv[1], "--check") == 0;
}

int SettingsCheck(int argc, char *argv[])
{
    s_problems = 0;
    if (config_line_proc(argc - 1, argv + 1) != 0) return 1;
    NewProgramProfile(kPathDefaultConfig);
    FILE *file = ConfigOpen();
    const bool other = l_config_file[0] != '\0' && strcmp(l_config_file, ConfigPath()) != 0;
    Say(0, ConfigPath(), "", !file ? "cannot be read" : other ? "not the file of -f" : nullptr);
    if (file) {
        ReadFile(file);
        fclose(file);
    }
    return fflush(stdout) != 0 || s_problems != 0;
}
