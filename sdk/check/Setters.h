// Setters.h - the setters of the contract: each is tried with another value, which is read back, and what was set before
// is put back.
// State: none. Threads: one.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "sdk/check/Child.h"

namespace check
{

typedef std::vector<uint8_t> Value;

struct Setter {
    const char *name;
    const char *getter;                          // reads back what it sets
    std::function<int(Value *value)> get;        // returns the getter's result, or kNothing
    std::function<int(const Value &value)> set;  // returns the setter's result
    std::function<Value(const Value &)> another; // a value that it may have as well
    std::vector<Value> refused;                  // values that it has to refuse
    std::vector<Value> survived;                 // values with which it may do as it likes, but not crash
};

constexpr int kNothing = -1000000; // there is nothing to try it on

[[nodiscard]] const std::vector<Setter> &Setters();

// The procedures that are never called, because nothing could put back what they do.
[[nodiscard]] const std::vector<std::string> &NeverCalled();

// Tries the setter. What has to be put back if the child dies is kept (Findings::Keep).
void CheckSetter(const Setter &setter, Findings *findings);

// Puts back what CheckSetter() has kept.
void PutBack(const Setter &setter, const std::string &kept, Findings *findings);

} // namespace check
