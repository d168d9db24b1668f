#include "sdk/sim/StateFile.h"

#include <cerrno>
#include <cjson/cJSON.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "sdk/sim/Complain.h"
#include "sdk/sim/Members.h"

static const off_t kMaxFileBytes = 1024 * 1024; // five times a household with a full table of devices

// All that this module remembers; LoadState() resets it.
static struct {
    char path[1024];
    bool reported;
} s_state;

static void ReportOnce(const char *problem)
{
    if (!s_state.reported) Complain("ROUTER_SIM_STATE: \"%s\" %s", s_state.path, problem);
    s_state.reported = true;
}

// Reads a whole file into memory that the caller frees, a NUL behind it. Null, errno being set, when that is not
// possible.
static char *ReadWhole(const char *path, size_t *length)
{
    // Not blocking, for the case that the path leads to a pipe.
    const int file = open(path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (file < 0) return nullptr;
    struct stat about;
    char *text = nullptr;
    errno = 0;
    if (fstat(file, &about) == 0) {
        if (!S_ISREG(about.st_mode))
            errno = EINVAL;
        else if (about.st_size > kMaxFileBytes)
            errno = EFBIG;
        else
            text = static_cast<char *>(malloc(size_t(about.st_size) + 1));
    }
    off_t used = 0;
    while (text && used < about.st_size) {
        const ssize_t got = read(file, text + used, size_t(about.st_size - used));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break; // shorter than it was a moment ago: then it hardly is JSON either
        used += got;
    }
    const int problem = errno;
    close(file);
    errno = problem;
    if (text) text[used] = 0;
    *length = size_t(used);
    return text;
}

// The file's document, to be deleted by the caller. Null when there is none; `absent` tells a file that is not there
// from one that is bad, which is reported.
static cJSON *ReadDocument(bool *absent)
{
    size_t length = 0;
    char *text = ReadWhole(s_state.path, &length);
    *absent = !text && errno == ENOENT;
    if (!text) {
        if (*absent) return nullptr;
        ReportOnce(errno == EFBIG    ? "is larger than 1 MiB; the defaults hold and settings are not kept"
                   : errno == EINVAL ? "is not a file; the defaults hold and settings are not kept"
                   : errno == ELOOP  ? "is a symbolic link; the defaults hold and settings are not kept"
                                     : "cannot be read; the defaults hold and settings are not kept");
        return nullptr;
    }
    const char *end = nullptr;
    cJSON *document = cJSON_ParseWithOpts(text, &end, 1);
    if (document && strlen(text) != length) { // it ends at a NUL for the parser, not for whoever wrote it
        cJSON_Delete(document);
        document = nullptr;
    }
    if (!cJSON_IsObject(document)) {
        int line = 1;
        for (const char *c = text; end && !document && c < end; c++) line += *c == '\n';
        char problem[120];
        snprintf(problem, sizeof problem, "is not JSON, see line %d; the defaults hold and settings are not kept",
                 line);
        ReportOnce(document ? "is not a JSON object; the defaults hold and settings are not kept" : problem);
        cJSON_Delete(document);
        document = nullptr;
    }
    free(text);
    return document;
}

void LoadState(Household *home, const char *path)
{
    memset(&s_state, 0, sizeof s_state);
    if (!path) return;
    // Room for the ending of the second file is needed as well.
    if (strlen(path) + 32 > sizeof s_state.path) {
        Complain("ROUTER_SIM_STATE: the path is too long; the defaults hold and settings are not kept");
        return;
    }
    strcpy(s_state.path, path);
    if (!path[0]) return;
    bool absent;
    cJSON *document = ReadDocument(&absent);
    if (!document) return;
    LoadMembers(home, document);
    cJSON_Delete(document);
}

static bool WriteWhole(const char *path, const char *text)
{
    // Exclusive, so that nothing that somebody planted under this name is written to. What a process of the same number
    // left behind is in the way only once.
    const int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    int file = open(path, flags, 0600); // there are passwords in it
    if (file < 0 && errno == EEXIST && unlink(path) == 0) file = open(path, flags, 0600);
    if (file < 0) return false;
    bool written = true;
    for (size_t left = strlen(text); written && left;) {
        const ssize_t done = write(file, text, left);
        if (done < 0 && errno == EINTR) continue;
        written = done > 0;
        if (!written) break;
        text += done;
        left -= size_t(done);
    }
    return close(file) == 0 && written;
}

void SaveState(const Household *home)
{
    if (!s_state.path[0]) return;
    bool absent;
    cJSON *document = ReadDocument(&absent);
    if (absent) document = cJSON_CreateObject();
    if (!document) {
        if (absent) ReportOnce("cannot be written: no memory; the setting holds but is not kept");
        return;
    }
    char *text = SaveMembers(home, document) ? cJSON_Print(document) : nullptr;
    cJSON_Delete(document);

    char beside[sizeof s_state.path];
    snprintf(beside, sizeof beside, "%.990s.%ld.tmp", s_state.path, long(getpid()));
    // No fsync: this is a household of tests, and flash memory is not to be worn out by it.
    if (text && WriteWhole(beside, text) && rename(beside, s_state.path) == 0) {
        s_state.reported = false;
    } else {
        char problem[200];
        snprintf(problem, sizeof problem, "cannot be written: %s; the setting holds but is not kept",
                 text ? strerror(errno) : "no memory");
        ReportOnce(problem);
        unlink(beside);
    }
    cJSON_free(text);
}
