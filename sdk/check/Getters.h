// Getters.h - every getter of the contract: what it is called with, and what its answer has to be.
// State: none. Threads: any; calls on the device table one at a time, as the agent makes them.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "sdk/check/Child.h"
#include "sdk/check/Guarded.h"

namespace check
{

// What a getter is asked about.
enum class Subject {
    Router, // nothing else
    Wan,
    LanPort,
    Ssid,
    WifiModule,
    Device,
    DeviceSpeed, // a device, and which speed
};

// One call: the subject's number, or MAC.
struct Argument {
    uint16_t number;
    uint8_t mac[6];
};

typedef std::vector<Guarded> Buffers;
// Tells what is wrong with an answer. `room` is what the getter was asked about.
typedef std::function<void(const Buffers &buffers, Findings *findings)> AnswerCheck;

struct Getter {
    const char *name;
    Subject subject;
    bool refusesUnknown;       // a subject that there is not has to fail
    bool needed;               // the agent does not register without it
    std::vector<size_t> sizes; // of the buffers
    std::function<int(Buffers &buffers, const Argument &argument)> call;
    AnswerCheck check; // may be empty
    bool figure;       // the returned value is no result
};

[[nodiscard]] const std::vector<Getter> &Getters();

// Whether the agent makes this call one at a time.
[[nodiscard]] bool OnDeviceTable(const std::string &name);

// Calls the getter about all subjects that there are, and about one that there is not. Tells what the first answered.
void CheckGetter(const Getter &getter, Findings *findings);

// Calls all getters again and again, `rounds` times in each of `threads` threads.
void CheckThreads(int threads, int rounds, Findings *findings);

} // namespace check
