// FeatureSpy.h - stands in for what the cycle and the dispatch call in the feature folders, and notes it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// While one exists, its procedures are called in place of the agent's; without one the agent's own are.
class FeatureSpy
{
  public:
    struct Call {
        std::string name;
        int64_t atMs; // of OsNowMs()
        int dataType; // of ParserPlugData, else -1
        std::string payload;
    };

    FeatureSpy();
    ~FeatureSpy();
    std::vector<Call> Calls() const;
    std::vector<std::string> Names() const;
    size_t Count(const std::string &name) const;

    int serverResult = 0;  // of CommServerStart
    int devicesResult = 0; // of StartSubdev
    int plugCode = 0;      // of ParserPlugData
};
