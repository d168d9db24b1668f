#include "sdk/linux/cache/BlackList.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

#include "sdk/linux/base/Files.h"
#include "sdk/linux/base/Pages.h"
#include "sdk/linux/base/Say.h"
#include "sdk/linux/base/Texts.h"

static const size_t kMaxFile = 8192;

// All that this module remembers.
static struct {
    uint8_t macs[ROUTER_SDK_BLACK_LIST][6]; // in use, by the lock
    uint16_t count;
    struct stat seen; // cache thread only
} s_list;

uint16_t ReadBlackList(const char *text, uint8_t (*macs)[6], size_t *bad)
{
    uint16_t count = 0;
    *bad = 0;
    while (*text) {
        const char *word = text + strspn(text, " \t");
        const size_t length = strcspn(word, " \t\r\n#");
        char mac[kMacText];
        if (length > 0 && length < sizeof mac && count < ROUTER_SDK_BLACK_LIST) {
            memcpy(mac, word, length);
            mac[length] = '\0';
            if (ReadMac(mac, macs[count]) && IsDeviceMac(macs[count]))
                count++;
            else
                ++*bad;
        } else if (length > 0) {
            ++*bad;
        }
        text = word + length;
        text += strcspn(text, "\n");
        if (*text) text++;
    }
    return count;
}

bool LoadBlackList(const char *path, pthread_mutex_t *lock)
{
    if (!path[0]) return false;
    struct stat now;
    if (stat(path, &now) != 0) memset(&now, 0, sizeof now);
    const struct stat &seen = s_list.seen;
    if (now.st_ino == seen.st_ino && now.st_size == seen.st_size && now.st_mtim.tv_sec == seen.st_mtim.tv_sec &&
        now.st_mtim.tv_nsec == seen.st_mtim.tv_nsec)
        return false;
    s_list.seen = now;
    Pages<char> text(kMaxFile);
    if ((!text.Get() || ReadFile(path, text.Get(), kMaxFile) < 0) && errno != ENOENT) {
        Say("%s: not used: %s", path, strerror(errno));
        return false;
    }
    uint8_t fresh[ROUTER_SDK_BLACK_LIST][6];
    size_t bad;
    const uint16_t count = ReadBlackList(text.Get(), fresh, &bad); // without the file an empty text
    if (bad > 0) Say("%s: %zu lines are no MAC, or more than %d", path, bad, ROUTER_SDK_BLACK_LIST);
    Lock held(lock);
    memcpy(s_list.macs, fresh, count * sizeof *fresh);
    s_list.count = count;
    return true;
}

uint16_t BlackList(uint8_t (*macs)[6])
{
    memcpy(macs, s_list.macs, s_list.count * sizeof *macs);
    return s_list.count;
}
