// FeatureSpy.h - stands in for what the cycle and the dispatch call in the feature folders, and notes it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// While one exists, its procedures are called in place of the agent's; without one the agent's own are.
class FeatureSpy
{
  public:
    struct Call {
        std::string name; // of requests to the local peer and of rules with the arguments, as CallText() writes them
        int64_t atMs;     // of OsNowMs()
        int dataType;     // of ParserPlugData, else -1
        std::string payload;
    };

    FeatureSpy();
    ~FeatureSpy();
    static FeatureSpy *Current(); // the one that exists, or nullptr
    void Note(const std::string &call, int dataType = -1, const std::string &payload = "");
    std::vector<Call> Calls() const;
    std::vector<std::string> Names() const;
    size_t Count(const std::string &name) const;

    int serverResult = 0;  // of CommServerStart
    int devicesResult = 0; // of StartSubdev
    int plugCode = 0;      // of ParserPlugData

    // Requests to the local peer, rules, diagnostics and the starts of the other services, by name.
    std::map<std::string, int> results;                  // else 0
    std::map<std::string, std::vector<uint8_t>> answers; // what comes back, with a failure too
    bool diagnostics = false; // stands in for the handlers of ping, traceroute and rate test as well
};
