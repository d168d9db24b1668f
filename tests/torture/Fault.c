// Fault.c - a preload library under which calls of a process go wrong, one at a time or all from one on.
//
//   PLUG_FAULT       "KIND:N"   the N-th call of a kind fails (FaultPage.h has the kinds)
//                    "KIND:N+"  so does each one behind it, until the driver switches the faults off
//                    "random:SEED:PERMILLE"  so many of a thousand calls are interrupted, told to try again or done
//                               in part, as far as such a call may be; the same ones for the same seed and order
//                    ""         nothing goes wrong; calls are counted
//   PLUG_FAULT_PAGE  the file that holds the page, which the driver has made
//
// Only the process that finds PLUG_FAULT in its environment counts: the variable is taken out, so that the commands
// that it starts run undisturbed. Without it every call goes straight on. What the router library calls does not count
// either: it is the maker's, and goes wrong as a whole (kind "router").
//
// It works together with the fast clock's library and comes before it in LD_PRELOAD. Not with sanitizers, which have
// a heap of their own.
#define _GNU_SOURCE
#include "Fault.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

static struct FaultPage *s_page; // NULL: every call goes straight on
static int s_kind = -1;          // that fails; -1: none
static uint32_t s_nth;
static bool s_onwards;
static uint32_t s_seed;
static uint32_t s_permille; // 0: nothing at random
static uintptr_t s_routerBegin, s_routerEnd;
static uintptr_t s_programBegin;

static const char *const kNames[] = {
#define FAULT_TEXT(name) #name,
    FAULT_KINDS(FAULT_TEXT)};

__attribute__((noreturn)) static void Die(const char *text)
{
    static const char name[] = "fault: ";
    (void)!syscall(SYS_write, STDERR_FILENO, name, sizeof name - 1);
    (void)!syscall(SYS_write, STDERR_FILENO, text, strlen(text));
    (void)!syscall(SYS_write, STDERR_FILENO, "\n", 1);
    _exit(127);
}

void *FaultReal(const char *name)
{
    void *const found = dlsym(RTLD_NEXT, name);
    if (!found) Die(name);
    return found;
}

// ---- Deciding

// A well-mixed number of two others.
static uint32_t Mix(uint32_t a, uint32_t b)
{
    uint32_t x = a * 0x9E3779B1u ^ b * 0x85EBCA77u;
    x ^= x >> 15;
    x *= 0x2C1B3C6Du;
    x ^= x >> 12;
    x *= 0x297A2D39u;
    return x ^ x >> 15;
}

// What may happen to a call of a kind without anything being wrong. Files are local ones: no signal interrupts their
// opening.
static int AtRandom(int kind, uint32_t number)
{
    const uint32_t dice = Mix(s_seed + (uint32_t)kind, number);
    if (dice % 1000 >= s_permille) return FAULT_NONE;
    const uint32_t choice = dice / 1000;
    switch (kind) {
    case FAULT_send:
    case FAULT_recv: return choice % 3 == 0 ? FAULT_INTERRUPT : choice % 3 == 1 ? FAULT_AGAIN : FAULT_SHORT;
    case FAULT_read:
    case FAULT_write: return choice % 2 == 0 ? FAULT_INTERRUPT : FAULT_SHORT;
    case FAULT_accept: return choice % 2 == 0 ? FAULT_INTERRUPT : FAULT_AGAIN;
    case FAULT_poll: return FAULT_INTERRUPT;
    default: return FAULT_NONE;
    }
}

static void NoteFault(const char *name, const void *caller)
{
    if (__atomic_fetch_add(&s_page->faults, 1, __ATOMIC_RELAXED) != 0) return;
    strncpy(s_page->first, name, sizeof s_page->first - 1);
    s_page->from = (uintptr_t)caller - s_programBegin;
}

int FaultDecide(int kind, const char *name, const void *caller)
{
    const uintptr_t from = (uintptr_t)caller;
    if (!s_page || (from >= s_routerBegin && from < s_routerEnd)) return FAULT_NONE;
    const uint32_t number = __atomic_add_fetch(&s_page->calls[kind], 1, __ATOMIC_RELAXED);
    if (__atomic_load_n(&s_page->off, __ATOMIC_RELAXED)) return FAULT_NONE;
    int result = FAULT_NONE;
    if (s_permille > 0)
        result = AtRandom(kind, number);
    else if (kind == s_kind && (number == s_nth || (s_onwards && number > s_nth)))
        result = FAULT_FAIL;
    if (result != FAULT_NONE) NoteFault(name, caller);
    return result;
}

void FaultBlocks(int more)
{
    if (s_page) __atomic_fetch_add(&s_page->blocks, more, __ATOMIC_RELAXED);
}

// ---- Setting up

static uint32_t Number(const char **at)
{
    char *end;
    const unsigned long value = strtoul(*at, &end, 10);
    if (end == *at || value > UINT32_MAX) Die("PLUG_FAULT has no number where one must be");
    *at = end;
    return (uint32_t)value;
}

static void ReadKind(const char *text, const char *colon)
{
    for (int i = 0; i < FAULT_KIND_COUNT; i++)
        if (strlen(kNames[i]) == (size_t)(colon - text) && strncmp(kNames[i], text, (size_t)(colon - text)) == 0)
            s_kind = i;
    if (s_kind < 0) Die("PLUG_FAULT names an unknown kind");
    const char *at = colon + 1;
    s_nth = Number(&at);
    s_onwards = *at == '+';
    if (s_onwards) at++;
    if (*at != '\0' || s_nth == 0) Die("PLUG_FAULT must be KIND:N or KIND:N+");
}

static void ReadFault(const char *text)
{
    static const char random[] = "random:";
    const char *const colon = strchr(text, ':');
    if (*text == '\0') return;
    if (!colon) Die("PLUG_FAULT must be KIND:N, KIND:N+ or random:SEED:PERMILLE");
    if (strncmp(text, random, sizeof random - 1) != 0) {
        ReadKind(text, colon);
        return;
    }
    const char *at = colon + 1;
    s_seed = Number(&at);
    if (*at++ != ':') Die("PLUG_FAULT must be random:SEED:PERMILLE");
    s_permille = Number(&at);
    if (*at != '\0' || s_permille > 1000) Die("PLUG_FAULT must be random:SEED:PERMILLE");
}

static int FindObjects(struct dl_phdr_info *object, size_t size, void *first)
{
    (void)size;
    if (*(bool *)first) s_programBegin = object->dlpi_addr; // the program itself comes first
    *(bool *)first = false;
    if (!strstr(object->dlpi_name, "libRouterSdk")) return 0;
    for (int i = 0; i < object->dlpi_phnum; i++) {
        if (object->dlpi_phdr[i].p_type != PT_LOAD) continue;
        const uintptr_t begin = object->dlpi_addr + object->dlpi_phdr[i].p_vaddr;
        const uintptr_t end = begin + object->dlpi_phdr[i].p_memsz;
        if (s_routerBegin == 0 || begin < s_routerBegin) s_routerBegin = begin;
        if (end > s_routerEnd) s_routerEnd = end;
    }
    return 0;
}

__attribute__((constructor)) static void AtLoad(void)
{
    const char *const fault = getenv("PLUG_FAULT");
    const char *const path = getenv("PLUG_FAULT_PAGE");
    if (!fault) return;
    if (!path) Die("PLUG_FAULT_PAGE names no file");
    const int fd = (int)syscall(SYS_openat, AT_FDCWD, path, O_RDWR | O_CLOEXEC, 0);
    if (fd < 0) Die("the file of PLUG_FAULT_PAGE cannot be opened");
    struct FaultPage *const page = mmap(NULL, sizeof *page, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (page == MAP_FAILED) Die("the file of PLUG_FAULT_PAGE cannot be mapped");
    close(fd);
    ReadFault(fault);
    bool first = true;
    dl_iterate_phdr(FindObjects, &first);
    unsetenv("PLUG_FAULT");
    page->loaded = 1;
    s_page = page;
}
