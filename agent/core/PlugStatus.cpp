#define LOG_MODULE "Protool"
#include "core/PlugStatus.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "core/Common.h"
#include "os/OsFile.h"
#include "os/OsWait.h"
#include "os/Paths.h"

static const mode_t kFileMode = 0644; // other programs read it

static pthread_mutex_t s_lock = PTHREAD_MUTEX_INITIALIZER; // guards the file and the next
static bool s_last;                                        // the last status has been written

static int Write(int code)
{
    char text[16];
    snprintf(text, sizeof text, "%03d\n", code);
    const int result = OsReplaceFile(kPathPlugStatus, text, 4, kFileMode);
    if (result != 0)
        LOG_ERR("%s %s: %s", result == -1 ? "Can not open" : "Can not write", kPathPlugStatus, strerror(errno));
    return result == -1 ? -1 : 0;
}

int LogPlugStatus(int code)
{
    OsGuard guard(&s_lock);
    return s_last ? 0 : Write(code);
}

int LogLastPlugStatus(int code)
{
    OsGuard guard(&s_lock);
    s_last = true;
    return Write(code);
}
