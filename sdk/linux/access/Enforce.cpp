#include "sdk/linux/access/Enforce.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "sdk/linux/access/Rules.h"
#include "sdk/linux/base/Files.h"
#include "sdk/linux/base/Lock.h"
#include "sdk/linux/base/Pages.h"
#include "sdk/linux/base/Result.h"
#include "sdk/linux/base/Say.h"
#include "sdk/linux/commands/Process.h"
#include "sdk/linux/limits/Limits.h"

static const int64_t kLimitMs = 5000;
static const size_t kOurs = 256;      // the news of a change may be read after those of many others
static const size_t kMaxScript = 512; // of one device

static std::atomic<uint32_t> s_ours[kOurs]; // numbers of the last processes
static std::atomic<unsigned> s_nextOurs;

// Held from the start of a process until its number is noted: the process may be quicker than whoever has started it, and
// the kernel's news of its change must not be read before.
static pthread_mutex_t s_starting = PTHREAD_MUTEX_INITIALIZER;
static bool s_isStarting; // by whoever runs it, who holds the lock of the changes

static void NoteOurs(pid_t process)
{
    s_ours[s_nextOurs++ % kOurs] = uint32_t(process);
    s_isStarting = false;
    pthread_mutex_unlock(&s_starting);
}

bool WasOurs(uint32_t process)
{
    Lock lock(&s_starting);
    for (const std::atomic<uint32_t> &ours : s_ours)
        if (ours == process) return true;
    return false;
}

// Runs nft or tc. `quiet`: a failure is expected and not told.
static int Run(const char *const *arguments, const char *script, size_t length, bool quiet)
{
    char output[512];
    const ProcessRun run = {arguments, script, length, output, sizeof output, kLimitMs, NoteOurs};
    pthread_mutex_lock(&s_starting);
    s_isStarting = true;
    const int status = RunProcess(&run);
    if (s_isStarting) pthread_mutex_unlock(&s_starting); // it was not started
    if (status == 0) return RESULT_OK;
    output[strcspn(output, "\n")] = '\0';
    if (!quiet && status < 0) Say("%s: %s", arguments[0], strerror(errno));
    if (!quiet && status > 0) Say("%s: exit status %d: %s", arguments[0], status, output);
    return RESULT_KERNEL;
}

static int RunNft(const char *script, size_t length)
{
    static const char *const arguments[] = {"nft", "-f", "-", nullptr};
    return length > 0 ? Run(arguments, script, length, false) : int(RESULT_KERNEL);
}

static int RunTc(const char *script, size_t length, bool quiet)
{
    static const char *const arguments[] = {"tc", "-batch", "-", nullptr};
    return length > 0 ? Run(arguments, script, length, quiet) : int(RESULT_KERNEL);
}

// ---- Rules ----

int EnforceRules(const Places *places, const State *state)
{
    Pages<char> script(kMaxRules);
    if (!script.Get()) return RESULT_KERNEL;
    const RuleInput input = {state,
                             places->hasLan ? places->lan : nullptr,
                             places->wans,
                             places->wanCount,
                             places->masquerade,
                             places->black,
                             places->blackCount};
    return RunNft(script.Get(), WriteRules(&input, script.Get(), kMaxRules));
}

// What changes one device fails when somebody else has just removed the rules: then all of them are due.
static int ChangeRules(const Places *places, const State *state, const char *script, size_t length)
{
    static const char *const arguments[] = {"nft", "-f", "-", nullptr};
    if (!places->hasLan) return RESULT_OK; // in force as soon as there is a LAN
    if (length > 0 && Run(arguments, script, length, true) == RESULT_OK) return RESULT_OK;
    return EnforceRules(places, state);
}

int EnforceAccess(const Places *places, const State *state, uint16_t place)
{
    char script[kMaxScript];
    const DeviceSettings &device = state->devices[place];
    return ChangeRules(places, state, script, WriteAccess(device.mac, device.refused, script, sizeof script));
}

// ---- Limits ----

// Removes our qdisc, and only ours: the kernel compares the handle.
static void RemoveQdisc(const char *interface)
{
    char script[kLimitScript];
    const int length = snprintf(script, sizeof script, "qdisc del dev %s root handle %x:\n", interface, kQdiscMajor);
    RunTc(script, size_t(length), true);
}

int EnforceLimits(const char *interface, const State *state, bool up)
{
    RemoveQdisc(interface);
    Pages<char> script(kMaxLimits);
    if (!script.Get()) return RESULT_KERNEL;
    const size_t length = WriteLimits(interface, state, up, script.Get(), kMaxLimits);
    const int result = length > 0 ? RunTc(script.Get(), length, false) : int(RESULT_OK);
    if (result != RESULT_OK) Say("%s: no limits there; a qdisc of somebody else's is left alone", interface);
    return result;
}

static bool AnyLimit(const State *state, bool up)
{
    for (uint16_t i = 0; i < state->deviceCount; i++)
        if (up ? state->devices[i].maxUp : state->devices[i].maxDown) return true;
    return false;
}

static int EnforceLimitOn(const char *interface, const State *state, uint16_t place, bool up)
{
    const int64_t limit = up ? state->devices[place].maxUp : state->devices[place].maxDown;
    char script[kLimitScript];
    if (!AnyLimit(state, up)) {
        RemoveQdisc(interface);
        return RESULT_OK;
    }
    if (limit == 0) { // it may never have been there
        RunTc(script, WriteNoLimit(interface, place, script, sizeof script), true);
        return RESULT_OK;
    }
    const size_t length = WriteLimit(interface, place, limit, script, sizeof script);
    return RunTc(script, length, true) == RESULT_OK ? int(RESULT_OK) : EnforceLimits(interface, state, up);
}

int EnforceLimit(const Places *places, const State *state, uint16_t place, bool up)
{
    const DeviceSettings &device = state->devices[place];
    const bool limited = up ? device.maxUp : device.maxDown;
    char script[kMaxScript];
    const size_t length = WriteClass(device.mac, place, up, limited, script, sizeof script);
    int result = RESULT_OK;
    // A class must be there before packets are sent to it, and go after they no longer are.
    if (!limited) result = ChangeRules(places, state, script, length);
    for (uint16_t i = 0; up && i < places->wanCount; i++) {
        const int one = EnforceLimitOn(places->wans[i], state, place, up);
        if (result == RESULT_OK) result = one;
    }
    if (!up && places->hasLan) {
        const int one = EnforceLimitOn(places->lan, state, place, up);
        if (result == RESULT_OK) result = one;
    }
    if (limited && result == RESULT_OK) result = ChangeRules(places, state, script, length);
    return result;
}
