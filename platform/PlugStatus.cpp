#define LOG_MODULE "Protool"
#include "platform/PlugStatus.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "core/Common.h"
#include "os/OsFile.h"
#include "os/Paths.h"

int LogPlugStatus(int code)
{
    char text[16];
    snprintf(text, sizeof text, "%03d\n", code);
    const int result = OsReplaceFile(kPathPlugStatus, text, 4);
    if (result != 0)
        LOG_ERR("%s %s: %s", result == -1 ? "Can not open" : "Can not write", kPathPlugStatus, strerror(errno));
    return result == -1 ? -1 : 0;
}
