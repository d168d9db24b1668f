// Flat.h - whether a gateway under the same traffic holds no more at the end than before: the rule.
//
// Compared are the medians of the second sixth of the time, when everything has been done some times, and of the last one.
//
// State: none.
#pragma once

#include <string>
#include <vector>

struct Sample {
    double at = 0; // seconds since the begin
    double dirtyKb = 0, residentKb = 0;
    double descriptors = 0, threads = 0;
    double cpu = 0; // seconds, used so far
};

// What may be more at the end.
constexpr double kMoreMemory = 1.02, kMoreMemoryKb = 512; // the heap moves as sessions come and go
constexpr double kMoreDescriptors = 16;                   // routers that are just coming back
constexpr double kMoreCpu = 1.5;                          // other work of the machine shows in it

struct Finding {
    std::string figure;
    double earlier = 0, later = 0;
    bool flat = false;
};

// Empty when there are too few samples to judge.
std::vector<Finding> JudgeFlat(const std::vector<Sample> &samples);
