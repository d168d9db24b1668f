// FastClock.c - a preload library under which the time of a process runs FASTCLOCK_FACTOR times faster.
//
// The agent waits for minutes and hours (heartbeats, surf rules, daily reports); an end-to-end test of the real
// program has seconds. Debian's faketime is no help: it shifts the date as well, and is known to hang waits on
// condition variables, on which this agent's threads live.
//
//   FASTCLOCK_FACTOR  decimal number from 0.001 to 1000000, up to six decimals. Unset or 1: every call goes straight
//                     to the C library. Anything else: the process ends at once with a message.
//   FASTCLOCK_ANCHOR  "<realtime ns> <monotonic ns>", optional: the moment from which time runs faster, as read from
//                     both clocks. Processes given the same anchor share one fast date; the realtime part may be any
//                     date that the test wants to start at. When unset the anchor is the moment of loading, and is put
//                     into the environment so that the children share it.
//   FASTCLOCK_SHIFT   path of a file of 8 bytes, optional: nanoseconds, a native signed number, by which the fast
//                     date is shifted. Whoever writes to the file sets the date of all running processes; a wait for a
//                     date that has begun is not moved by it.
//
// How it works. Every fast clock is driven by the real monotonic clock alone:
//
//   fast monotonic = anchor monotonic + (real monotonic - anchor monotonic) * factor     (rounded down)
//   fast realtime  = anchor realtime  + (real monotonic - anchor monotonic) * factor
//
// so both advance in step, never go back (unless FASTCLOCK_SHIFT sets the date back), and a correction of the machine's date does not reach the process.
// A deadline is turned back into real monotonic time (rounded up, so that nothing wakes before its fast time) and
// waited for with the call that takes a clock as an argument: pthread_cond_clockwait and its kin, which glibc has
// since 2.30. Thus a condition variable waits on the right clock whichever it was made for, and no particular symbol
// version of pthread_cond_timedwait is needed.
//
// What stays real: CPU-time and TAI clocks, timers (alarm, setitimer, timer_create, timerfd), socket timeouts, file
// times, waits inside the C library (name look-ups, C11 threads), read-write locks, and waits that go to the kernel by
// syscall() (std::future::wait_for). Children that are preloaded too are fast too: a `ping` among them reports fast
// times. No call that is replaced allocates memory or takes a lock.
//
// A program built with AddressSanitizer wants LD_PRELOAD="libasan.so libfastclock.so", in this order. One built with
// ThreadSanitizer does not work under this library (it hangs when it ends), because its runtime has to see all calls
// first. FASTCLOCK_INSIDE makes these sources a part of such a program instead (see FastClockCode.cmake): the linker leads
// the program's calls here, and ours to whoever would have got them. A program with musl takes them in as well, because
// the programs that it starts have glibc and could not load a library of musl's.
#include "FastClock.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#define DECIMALS_MAX 6

struct RealCalls real;

// Set once before any call is answered; constant from then on, so that reading it needs no lock.
static struct FastClock {
    bool fast;          // false: pass everything through
    int64_t num, den;   // the factor, in lowest terms
    int64_t anchorReal; // ns
    int64_t anchorMono; // ns
    int64_t bootOffset; // CLOCK_BOOTTIME - CLOCK_MONOTONIC at loading: time that the machine was suspended
    int64_t rawOffset;  // CLOCK_MONOTONIC_RAW - CLOCK_MONOTONIC at loading

    const int64_t *shift; // of the date, by whoever runs us; null: none
} s_clock;

static pthread_once_t s_once = PTHREAD_ONCE_INIT;
static bool s_ready; // written with release, read with acquire
// This thread is inside Setup(): calls from within must not wait for it. initial-exec because the first use of a
// dynamic thread-local may allocate.
static __thread bool s_inSetup __attribute__((tls_model("initial-exec")));

static void Die(const char *text)
{
    static const char name[] = "fastclock: ";
    (void)!write(STDERR_FILENO, name, sizeof name - 1);
    (void)!write(STDERR_FILENO, text, strlen(text));
    (void)!write(STDERR_FILENO, "\n", 1);
    _exit(127);
}

// --- arithmetic

Wide FloorDiv(Wide a, Wide b)
{
    Wide q = a / b;
    return a % b < 0 ? q - 1 : q;
}

Wide CeilDiv(Wide a, Wide b)
{
    return -FloorDiv(-a, b);
}

Wide ToNs(const struct timespec *t)
{
    const Wide ns = (Wide)t->tv_sec * NS_PER_S + t->tv_nsec;
    return ns > INT64_MAX ? INT64_MAX : ns < INT64_MIN ? INT64_MIN : ns;
}

struct timespec FromNs(Wide ns)
{
    const Wide seconds = FloorDiv(ns, NS_PER_S);
    return (struct timespec){.tv_sec = (time_t)seconds, .tv_nsec = (long)(ns - seconds * NS_PER_S)};
}

bool IsValid(const struct timespec *t)
{
    return t->tv_nsec >= 0 && t->tv_nsec < NS_PER_S;
}

Wide RealDuration(Wide ns)
{
    const Wide slow = CeilDiv(ns * s_clock.den, s_clock.num);
    return slow > INT64_MAX ? INT64_MAX : slow;
}

Wide FastDuration(Wide ns)
{
    return FloorDiv(ns * s_clock.num, s_clock.den);
}

// --- the fast clocks

static Wide Shift(void)
{
    return s_clock.shift ? __atomic_load_n(s_clock.shift, __ATOMIC_RELAXED) : 0;
}

bool FindClock(clockid_t clock, clockid_t *source, Wide *offset)
{
    *source = CLOCK_MONOTONIC;
    *offset = 0;
    switch (clock) {
    case CLOCK_MONOTONIC: return true;
    case CLOCK_MONOTONIC_COARSE: *source = CLOCK_MONOTONIC_COARSE; return true;
    case CLOCK_MONOTONIC_RAW: *offset = s_clock.rawOffset; return true;
    case CLOCK_BOOTTIME: *offset = s_clock.bootOffset; return true;
    case CLOCK_REALTIME_COARSE: *source = CLOCK_MONOTONIC_COARSE; // fall through
    case CLOCK_REALTIME: *offset = (Wide)s_clock.anchorReal - s_clock.anchorMono + Shift(); return true;
    default: return false;
    }
}

Wide FastNow(clockid_t source, Wide offset)
{
    struct timespec now;
    real.clock_gettime(source, &now);
    return offset + s_clock.anchorMono + FastDuration(ToNs(&now) - s_clock.anchorMono);
}

Wide FastRealtime(void)
{
    clockid_t source;
    Wide offset;
    FindClock(CLOCK_REALTIME, &source, &offset);
    return FastNow(source, offset);
}

bool RealDeadline(clockid_t clock, const struct timespec *deadline, struct timespec *out)
{
    clockid_t source;
    Wide offset;
    if (!IsValid(deadline) || !FindClock(clock, &source, &offset)) return false;
    const Wide at = s_clock.anchorMono + RealDuration(ToNs(deadline) - offset - s_clock.anchorMono);
    *out = FromNs(at < 0 ? 0 : at > INT64_MAX ? INT64_MAX : at); // the kernel refuses times before it started
    return true;
}

// --- setting up

static Wide RawNow(clockid_t clock)
{
    struct timespec now;
    syscall(SYS_clock_gettime, clock, &now);
    return ToNs(&now);
}

// "60", "2.5", "0.001": digits with at most six decimals, nothing else.
static bool ParseFactor(const char *text, int64_t *num, int64_t *den)
{
    int64_t value = 0, scale = 1;
    int digits = 0, decimals = -1; // -1: no point yet
    for (const char *p = text; *p; p++) {
        if (*p == '.' && decimals < 0 && digits > 0) {
            decimals = 0;
            continue;
        }
        if (*p < '0' || *p > '9' || ++digits > 7 + DECIMALS_MAX) return false;
        if (decimals >= 0) {
            if (++decimals > DECIMALS_MAX) return false;
            scale *= 10;
        }
        value = value * 10 + (*p - '0');
    }
    if (digits == 0 || decimals == 0 || value * 1000 < scale || value > 1000000 * scale) return false;
    int64_t a = value, b = scale;
    while (b != 0) {
        const int64_t rest = a % b;
        a = b;
        b = rest;
    }
    *num = value / a;
    *den = scale / a;
    return true;
}

static bool ParseAnchor(const char *text, int64_t *realtime, int64_t *monotonic)
{
    char *end;
    errno = 0;
    if (*text < '0' || *text > '9') return false;
    *realtime = strtoll(text, &end, 10);
    if (*end != ' ' || end[1] < '0' || end[1] > '9') return false;
    *monotonic = strtoll(end + 1, &end, 10);
    return *end == '\0' && errno == 0;
}

static const int64_t *MapShift(const char *path)
{
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    // A page that lies behind the end of its file must not be read.
    const bool whole = fd >= 0 && lseek(fd, 0, SEEK_END) == sizeof(int64_t);
    const void *const page = whole ? mmap(NULL, sizeof(int64_t), PROT_READ, MAP_SHARED, fd, 0) : MAP_FAILED;
    if (fd >= 0) close(fd);
    if (page == MAP_FAILED) Die("FASTCLOCK_SHIFT must be a file of 8 bytes");
    return (const int64_t *)page;
}

// There is no call to ask a condition variable for its clock. Remembering the ones that were made would need a
// table with a bound; the C library itself has the answer: glibc in bit 1 of __wrefs, musl as a number. That is no promise
// of theirs, so it is tried out before anybody relies on it.
bool IsMonotonic(const pthread_cond_t *cond)
{
#ifdef __GLIBC__
    return (__atomic_load_n(&cond->__data.__wrefs, __ATOMIC_RELAXED) & 2) != 0;
#else
    return __atomic_load_n(&cond->__u.__i[4], __ATOMIC_RELAXED) == CLOCK_MONOTONIC;
#endif
}

static void CheckConditionLayout(void)
{
    pthread_condattr_t attr;
    pthread_cond_t monotonic, realtime;
    pthread_condattr_init(&attr);
    pthread_cond_init(&realtime, &attr);
    pthread_condattr_setclock(&attr, CLOCK_MONOTONIC);
    pthread_cond_init(&monotonic, &attr);
    if (!IsMonotonic(&monotonic) || IsMonotonic(&realtime)) Die("this C library keeps a condition's clock elsewhere");
    pthread_cond_destroy(&monotonic);
    pthread_cond_destroy(&realtime);
    pthread_condattr_destroy(&attr);
}

#ifdef FASTCLOCK_INSIDE
#define FIND_REAL(name, result, arguments)                                                                             \
    extern result __real_##name arguments;                                                                             \
    real.name = __real_##name;
#else
#define FIND_REAL(name, result, arguments) real.name = (result(*) arguments)FindReal(#name);
static void *FindReal(const char *name)
{
    // Older programs may be linked to this call's first version, which has another pthread_cond_t behind it; an
    // unversioned look-up may find that one.
    void *found = NULL;
    if (strcmp(name, "pthread_cond_timedwait") == 0) found = dlvsym(RTLD_NEXT, name, "GLIBC_2.3.2");
    if (!found) found = dlsym(RTLD_NEXT, name);
    if (!found) Die("this C library is older than 2.35");
    return found;
}
#endif

static void Setup(void)
{
    s_inSetup = true;
    REAL_CALLS(FIND_REAL)

    const char *factor = getenv("FASTCLOCK_FACTOR");
    if (factor) {
        if (!ParseFactor(factor, &s_clock.num, &s_clock.den))
            Die("FASTCLOCK_FACTOR must be a decimal number from 0.001 to 1000000");
        s_clock.fast = s_clock.num != s_clock.den;
    }
    if (s_clock.fast) {
        const char *anchor = getenv("FASTCLOCK_ANCHOR");
        s_clock.anchorMono = (int64_t)RawNow(CLOCK_MONOTONIC);
        s_clock.bootOffset = (int64_t)(RawNow(CLOCK_BOOTTIME) - s_clock.anchorMono);
        s_clock.rawOffset = (int64_t)(RawNow(CLOCK_MONOTONIC_RAW) - s_clock.anchorMono);
        s_clock.anchorReal = (int64_t)RawNow(CLOCK_REALTIME);
        if (anchor && !ParseAnchor(anchor, &s_clock.anchorReal, &s_clock.anchorMono))
            Die("FASTCLOCK_ANCHOR must be \"<realtime ns> <monotonic ns>\"");
        const char *shift = getenv("FASTCLOCK_SHIFT");
        if (shift) s_clock.shift = MapShift(shift);
        CheckConditionLayout();
    }
    __atomic_store_n(&s_ready, true, __ATOMIC_RELEASE);
    s_inSetup = false;
}

bool IsInSetup(void)
{
    return s_inSetup;
}

bool IsFast(void)
{
    if (__builtin_expect(!__atomic_load_n(&s_ready, __ATOMIC_ACQUIRE), 0)) pthread_once(&s_once, Setup);
    return s_clock.fast;
}

// Runs after the C library's own constructor, so the environment may be changed here (but not in Setup()).
__attribute__((constructor)) static void AtLoad(void)
{
    char anchor[64];
    if (!IsFast() || getenv("FASTCLOCK_ANCHOR")) return;
    snprintf(anchor, sizeof anchor, "%lld %lld", (long long)s_clock.anchorReal, (long long)s_clock.anchorMono);
    setenv("FASTCLOCK_ANCHOR", anchor, 1);
}
