#include "sdk/linux/leases/Leases.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

#include "sdk/linux/base/Files.h"
#include "sdk/linux/base/Texts.h"

static const size_t kMaxFile = 256 * 1024;

// All that this module remembers.
static struct {
    Lease leases[kMaxLeases]; // in use, by the lock
    size_t count;
    Lease fresh[kMaxLeases]; // just read, cache thread only, as is the rest
    size_t freshCount;
    struct stat seen;
} s_leases;

// The next word of a line, or an empty one at its end; `*text` moves behind it.
static size_t Word(const char **text, const char **word)
{
    *word = *text + strspn(*text, " \t");
    const size_t length = strcspn(*word, " \t\n");
    *text = *word + length;
    return length;
}

// Copies a word into room that it has to fit into.
static bool CopyWord(const char *word, size_t length, char *to, size_t size)
{
    if (length == 0 || length >= size) return false;
    memcpy(to, word, length);
    to[length] = '\0';
    return true;
}

static bool ReadLease(const char *line, Lease *lease)
{
    const char *word;
    char text[48];
    *lease = {};
    size_t length = Word(&line, &word);
    if (!CopyWord(word, length, text, sizeof text) || !ReadNumber(text, 0, INT64_MAX, &lease->expires)) return false;
    length = Word(&line, &word);
    // Another kind of hardware than Ethernet stands before the MAC: "06-02:00:...".
    if (!CopyWord(word, length, text, sizeof text) || !ReadMac(text, lease->mac) || !IsDeviceMac(lease->mac))
        return false;
    length = Word(&line, &word);
    if (!CopyWord(word, length, text, sizeof text) || inet_pton(AF_INET, text, &lease->ip) != 1) return false;
    length = Word(&line, &word);
    if (length != 1 || *word != '*') CopyHostName(lease->name, sizeof lease->name, word, length);
    return true;
}

size_t ReadLeases(const char *text, Lease *leases)
{
    size_t count = 0;
    while (*text && count < kMaxLeases) {
        if (ReadLease(text, &leases[count])) count++;
        text += strcspn(text, "\n");
        if (*text) text++;
    }
    return count;
}

bool LoadLeases(const char *path)
{
    struct stat now;
    if (stat(path, &now) != 0) memset(&now, 0, sizeof now);
    const struct stat &seen = s_leases.seen;
    if (now.st_ino == seen.st_ino && now.st_size == seen.st_size && now.st_mtim.tv_sec == seen.st_mtim.tv_sec &&
        now.st_mtim.tv_nsec == seen.st_mtim.tv_nsec)
        return false;
    s_leases.seen = now;
    char *text = static_cast<char *>(malloc(kMaxFile));
    if (!text) return false;
    const long length = ReadFile(path, text, kMaxFile);
    if (length >= 0) s_leases.freshCount = ReadLeases(text, s_leases.fresh);
    const bool missing = length < 0 && errno == ENOENT;
    if (missing) s_leases.freshCount = 0;
    free(text);
    return length >= 0 || missing;
}

void LeasesTake()
{
    memcpy(s_leases.leases, s_leases.fresh, s_leases.freshCount * sizeof(Lease));
    s_leases.count = s_leases.freshCount;
}

const Lease *Leases(size_t *count)
{
    *count = s_leases.count;
    return s_leases.leases;
}
