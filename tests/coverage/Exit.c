/* Writes the coverage data also when a program ends by _exit(): an agent that is told to end by a signal, the child of a
   death test. The linker puts it in front of _exit() (--wrap), in builds that count only. */
#include <gcov.h>

void __real__exit(int status) __attribute__((noreturn));
void __wrap__exit(int status) __attribute__((noreturn));

void __wrap__exit(int status)
{
    __gcov_dump();
    __real__exit(status);
}
