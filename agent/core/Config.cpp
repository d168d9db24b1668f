#define LOG_MODULE "Common"
#include "core/Config.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "core/Common.h"
#include "core/MacText.h"
#include "os/OsFile.h"
#include "os/Paths.h"

char l_config_file[kMaxConfigFile];
uint8_t l_mac[6];
int32_t l_debug;

// The path of the chosen file (a heap copy), and whether it is in a folder where anybody may put files.
static char *m_filePath;
static bool s_inOpenFolder;

static const char kOptions[] = "config_line_proc";

void ClearOptions()
{
    l_config_file[0] = '\0';
    memset(l_mac, 0, sizeof l_mac);
    l_debug = 0;
}

static int TakeFileOption(const char *path)
{
    if (!path) {
        LOG_AS(LOG_LEVEL_ERR, kOptions, "Error: -f argument given but no file specified.");
        return -1;
    }
    // Cut short it would name another file, so a path that is too long is not stored.
    snprintf(l_config_file, sizeof l_config_file, "%s", strlen(path) < sizeof l_config_file ? path : "");
    return 0;
}

static int TakeMacOption(const char *text)
{
    if (!text || strlen(text) != 2 * sizeof l_mac) {
        LOG_AS(LOG_LEVEL_ERR, kOptions, "Error: mac format must be \"aabbccddeeff\".");
        return -2;
    }
    MacFromAnyText(text, l_mac);
    return 0;
}

int config_line_proc(int argc, char *argv[])
{
    opterr = 0; // we print the messages
    optind = 0; // start again: an earlier call may have stopped in the middle of an argument
    int option;
    while ((option = getopt(argc, argv, ":df:m:")) != -1) { // the colon tells a missing argument from an unknown option
        int result = 0;
        const bool noArgument = option == ':';
        switch (noArgument ? optopt : option) {
        case 'd': l_debug = 1; break;
        case 'f': result = TakeFileOption(noArgument ? nullptr : optarg); break;
        case 'm': result = TakeMacOption(noArgument ? nullptr : optarg); break;
        default: LOG_ERR("Unknown option: %c", optopt); break;
        }
        if (result != 0) return result;
    }
    return 0;
}

static int Open(const char *path, bool inOpenFolder)
{
    return inOpenFolder ? OsOpenTrusted(path) : OsOpenForReading(path, true);
}

static bool Readable(const char *path, bool inOpenFolder)
{
    const int fd = Open(path, inOpenFolder);
    if (fd < 0) return false;
    close(fd);
    return true;
}

static void Choose(const char *path, bool inOpenFolder)
{
    DeleteProgramProfile();
    m_filePath = strdup(path);
    s_inOpenFolder = inOpenFolder;
}

void NewProgramProfile(const char *defaultPath)
{
    if (l_config_file[0] != '\0' && Readable(l_config_file, false)) {
        Choose(l_config_file, false);
        LOG_INFO("use config file  [%s]", l_config_file);
        return;
    }
    if (Readable(defaultPath, true)) {
        Choose(defaultPath, true);
        LOG_INFO("use config file  [%s]", defaultPath);
        return;
    }
    if (errno != ENOENT)
        LOG_ERR("%s is passed over: %s", defaultPath, errno == EPERM ? "it is somebody else's" : strerror(errno));
    Choose(kPathLocalConfig, false);
    LOG_INFO("use config file\t[%s]", kPathLocalConfig);
}

void DeleteProgramProfile()
{
    free(m_filePath);
    m_filePath = nullptr;
}

static void CopyText(char *dest, size_t capacity, const char *text)
{
    snprintf(dest, capacity, "%s", text);
}

static const char *SkipBlanks(const char *at)
{
    while (*at == ' ' || *at == '\t') at++;
    return at;
}

// Cuts carriage returns, line feeds, tabs and blanks off the end.
static void TrimEnd(char *text)
{
    size_t length = strlen(text);
    while (length > 0 && strchr("\r\n\t ", text[length - 1])) length--;
    text[length] = '\0';
}

ConfigLine ConfigReadLine(ConfigSearch *search, char *line, const char **value)
{
    const char *text = SkipBlanks(line);
    if (*text == '#') return CONFIG_OTHER;
    if (strchr(text, '[')) {
        search->ended = search->inSection;
        search->inSection = strstr(text, search->section) != nullptr;
        return CONFIG_OTHER;
    }
    if (!search->inSection || !strstr(text, search->key)) return CONFIG_OTHER;
    char *equals = strchr(line, '=');
    search->ended = !equals;
    if (!equals) return CONFIG_STOP;
    TrimEnd(equals + 1);
    *value = equals + 1;
    while (**value == ' ') (*value)++;
    return **value == '\0' ? CONFIG_EMPTY : CONFIG_VALUE;
}

// Reads the section to its end. Returns whether `dest` then holds a value.
static bool FindValue(FILE *file, const char *section, const char *key, char *dest, size_t capacity)
{
    ConfigSearch search = {section, key, false, false};
    bool found = false;
    char line[kMaxConfigLine];
    const char *value = nullptr;
    while (!search.ended && fgets(line, sizeof line, file)) {
        if (ConfigReadLine(&search, line, &value) != CONFIG_VALUE) continue;
        CopyText(dest, capacity, value);
        found = true; // go on: the last line wins
    }
    return found;
}

FILE *ConfigOpen()
{
    const int fd = m_filePath ? Open(m_filePath, s_inOpenFolder) : -1;
    FILE *file = fd >= 0 ? fdopen(fd, "r") : nullptr;
    if (!file && fd >= 0) close(fd);
    return file;
}

const char *ConfigPath()
{
    return m_filePath ? m_filePath : "";
}

int getKeyValueStr(const char *section, const char *key, const char *defaultText, char *dest, size_t capacity)
{
    dest[0] = '\0';
    bool found = false;
    FILE *file = ConfigOpen();
    if (file) {
        found = FindValue(file, section, key, dest, capacity);
        fclose(file);
    } else {
        LOG_ERR("Can not fopen(\"%s\").", ConfigPath());
    }
    if (found) return 0;
    if (!defaultText) {
        LOG_ERR("Not find Key=\"%s\" and no default_str to use.", key);
        return -1;
    }
    CopyText(dest, capacity, defaultText);
    return file ? 0 : -1;
}
