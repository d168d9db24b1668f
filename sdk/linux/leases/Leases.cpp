#include "sdk/linux/leases/Leases.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <sys/stat.h>

#include "sdk/linux/base/Files.h"
#include "sdk/linux/base/Pages.h"
#include "sdk/linux/base/Texts.h"

static const size_t kMaxFile = 256 * 1024;

// All that this module remembers.
static struct {
    Lease leases[kMaxLeases];
    size_t count;
    struct stat seen; // of the file
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
    Pages<char> text(kMaxFile);
    if (!text.Get()) return false;
    if (ReadFile(path, text.Get(), kMaxFile) < 0 && errno != ENOENT) return false;
    s_leases.count = ReadLeases(text.Get(), s_leases.leases); // without the file an empty text
    return true;
}

const Lease *Leases(size_t *count)
{
    *count = s_leases.count;
    return s_leases.leases;
}
