#define LOG_MODULE "Function39"
#include "subdev/KnownDevices.h"

#include <cstdio>
#include <cstring>
#include <unistd.h>

#include "core/Common.h"
#include "core/MacText.h"
#include "os/OsFile.h"
#include "os/Paths.h"
#include "platform/Protool.h"

static const size_t kMaxLine = 31; // characters
static const mode_t kFileMode = 0600;
static const size_t kLineSize = 2 * kMacSize + 2;

static struct {
    uint8_t mac[kMacSize];
    uint8_t spare[2];
} OnlineMac[kMaxKnown];
static_assert(sizeof OnlineMac[0] == 8, "an entry is not 8 bytes");
int32_t f39Num;

void KnownClear()
{
    f39Num = 0;
    memset(OnlineMac, 0, sizeof OnlineMac);
}

bool KnownHas(const uint8_t *mac)
{
    for (int32_t i = 0; i < f39Num; i++)
        if (memcmp(OnlineMac[i].mac, mac, kMacSize) == 0) return true;
    return false;
}

void KnownAdd(const uint8_t *mac)
{
    if (f39Num < kMaxKnown) memcpy(OnlineMac[f39Num++].mac, mac, kMacSize);
}

// Adds the device of one line: terminated, without its line feed.
static void AddLine(const char *line)
{
    uint8_t mac[kMacSize];
    if (!MacFromText(line, 0, mac)) return;
    const char *end = line + 2 * kMacSize;
    if (*end == '\0' || strcmp(end, "\r") == 0) KnownAdd(mac);
}

int Fn39LoadMac()
{
    const int fd = OsOpenOurs(kPathMacConfig);
    if (fd < 0) {
        f39Num = 0;
        LOG_ERR("open MacConf file failed");
        return -1;
    }
    LOG_DEBUG("LOAD macconfig");
    char text[kMaxKnown * (kMaxLine + 1) + 1];
    char *const end = text + OsReadUpTo(fd, text, sizeof text - 1);
    close(fd);
    *end = '\0';
    char *line = text;
    for (int32_t lines = 0; lines < kMaxKnown && line < end; lines++) {
        char *feed = static_cast<char *>(memchr(line, '\n', static_cast<size_t>(end - line)));
        if (!feed) feed = end;
        *feed = '\0';
        AddLine(line);
        line = feed + 1;
    }
    return 0;
}

int Fn39UpdateMac()
{
    if (mLogin != 1) return -2;
    LOG_DEBUG("UpdateMacProfile");
    char text[kMaxKnown * kLineSize + 1];
    size_t length = 0;
    for (int32_t i = 0; i < f39Num; i++) {
        char mac[kMacTextSize];
        snprintf(text + length, kLineSize + 1, "%s\r\n", MacToText(OnlineMac[i].mac, 0, MAC_LOWER_CASE, mac));
        length += kLineSize;
    }
    if (OsReplaceFile(kPathMacConfig, text, length, kFileMode) == 0) return 0;
    LOG_ERR("file open error");
    return -1;
}
