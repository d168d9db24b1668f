#include "sdk/linux/base/Say.h"

#include <cstdarg>
#include <cstdio>
#include <syslog.h>
#include <unistd.h>

static const int kMaxLine = 400;

void Say(const char *format, ...)
{
    static const char prefix[] = "linux router: ";
    char line[kMaxLine + 2];
    int length = snprintf(line, kMaxLine, "%s", prefix);
    va_list arguments;
    va_start(arguments, format);
    const int rest = vsnprintf(line + length, size_t(kMaxLine - length), format, arguments);
    va_end(arguments);
    if (rest > 0) length = length + rest < kMaxLine ? length + rest : kMaxLine - 1;
    for (int i = 0; i < length; i++)
        if (static_cast<unsigned char>(line[i]) < ' ' || line[i] == 127) line[i] = '?';
    line[length] = '\0';
    syslog(LOG_DAEMON | LOG_WARNING, "%s", line);
    line[length] = '\n';
    if (write(STDERR_FILENO, line, size_t(length) + 1) < 0) return; // there is nowhere else to complain
}
