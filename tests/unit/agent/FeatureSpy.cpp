#include "tests/unit/agent/FeatureSpy.h"

#include <algorithm>
#include <mutex>

#include "os/OsClock.h"

static std::mutex s_lock;
static FeatureSpy *s_spy;
static std::vector<FeatureSpy::Call> s_calls;

static bool Noted(const char *name, int dataType = -1, const char *payload = "")
{
    FeatureSpy *spy = FeatureSpy::Current();
    if (spy) spy->Note(name, dataType, payload);
    return spy != nullptr;
}

FeatureSpy::FeatureSpy()
{
    const std::lock_guard<std::mutex> guard(s_lock);
    s_calls.clear();
    s_spy = this;
}

FeatureSpy::~FeatureSpy()
{
    const std::lock_guard<std::mutex> guard(s_lock);
    s_spy = nullptr;
}

FeatureSpy *FeatureSpy::Current()
{
    const std::lock_guard<std::mutex> guard(s_lock);
    return s_spy;
}

void FeatureSpy::Note(const std::string &call, int dataType, const std::string &payload)
{
    const std::lock_guard<std::mutex> guard(s_lock);
    s_calls.push_back({call, OsNowMs(), dataType, payload});
}

std::vector<FeatureSpy::Call> FeatureSpy::Calls() const
{
    const std::lock_guard<std::mutex> guard(s_lock);
    return s_calls;
}

std::vector<std::string> FeatureSpy::Names() const
{
    std::vector<std::string> names;
    for (const Call &call : Calls()) names.push_back(call.name);
    return names;
}

size_t FeatureSpy::Count(const std::string &name) const
{
    const std::vector<std::string> names = Names();
    return static_cast<size_t>(std::count(names.begin(), names.end(), name));
}

// The linker puts these in front of the procedures with the rest of the name (--wrap); the real ones stay reachable.
extern "C" {
#define STAND_IN(type, name, symbol, result)                                                                           \
    type __real_##symbol();                                                                                            \
    type __wrap_##symbol();                                                                                            \
    type __wrap_##symbol()                                                                                             \
    {                                                                                                                  \
        return Noted(name) ? type(result) : __real_##symbol();                                                         \
    }
STAND_IN(int, "ComF_send_pluginstate", _Z21ComF_send_pluginstatev, 0)
STAND_IN(int, "ComF_get_autoreport_conf", _Z24ComF_get_autoreport_confv, 0)
STAND_IN(void, "ComF_send_calibration", _Z21ComF_send_calibrationv, 0)
STAND_IN(int, "dev_fwversion_report", _Z20dev_fwversion_reportv, 0)
STAND_IN(int, "StartEaccess", _Z12StartEaccessv, s_spy->results["StartEaccess"])
STAND_IN(int, "CommServerStart", _Z15CommServerStartv, s_spy->serverResult)
STAND_IN(int, "Fn39Init", _Z8Fn39Initv, s_spy->results["Fn39Init"])
STAND_IN(int, "Fn40Init", _Z8Fn40Initv, s_spy->results["Fn40Init"])
STAND_IN(int, "StartSubdev", _Z11StartSubdevv, s_spy->devicesResult)
#undef STAND_IN

int __real__Z14ParserPlugDatahPKc(uint8_t dataType, const char *payload);
int __wrap__Z14ParserPlugDatahPKc(uint8_t dataType, const char *payload);
int __wrap__Z14ParserPlugDatahPKc(uint8_t dataType, const char *payload)
{
    return Noted("ParserPlugData", dataType, payload) ? s_spy->plugCode
                                                      : __real__Z14ParserPlugDatahPKc(dataType, payload);
}
}
