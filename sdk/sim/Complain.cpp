#include "sdk/sim/Complain.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <unistd.h>

void Complain(const char *format, ...)
{
    char line[500] = "simulated router: ";
    size_t used = strlen(line);
    va_list arguments;
    va_start(arguments, format);
    const int wanted = vsnprintf(line + used, sizeof line - used - 1, format, arguments);
    va_end(arguments);
    if (wanted > 0) used += size_t(wanted) < sizeof line - used - 1 ? size_t(wanted) : sizeof line - used - 2;
    line[used++] = '\n';
    // One write, so that lines of several threads do not mix. With stderr closed there is nobody to tell.
    const ssize_t ignored = write(STDERR_FILENO, line, used);
    (void)ignored;
}
