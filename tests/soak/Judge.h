// Judge.h - whether an agent holds no more after days than it did before: what was measured, and the rule.
//
// Judged are only the samples at the ends of rounds: the local peer is there, nothing is under way, and everything has
// been done since the sample before. An agent that has just started holds less than one that has done everything once,
// and an agent ends itself once a week; so a process is compared with itself, and a young process with a young one:
//
//   - the longest life, with itself: its second day with its last day. A life of less than three days: its second third
//     with its last third.
//   - every other life, with the longest: as many of their first rounds as the other life has.
//
// Medians are compared. The second comparison is the coarse one: it finds what every later process brings along, such as
// files that the one before has left.
//
// State: none.
#pragma once

#include <string>
#include <vector>

struct Sample {
    double at = 0;  // seconds of the agent's time since the begin of the run
    int life = 0;   // 1 for the first process, 2 for its successor
    double age = 0; // of the process, seconds of its time
    long dirtyKb = 0;
    long descriptors = 0;
    long threads = 0;
    long files = 0;      // in /tmp
    double cpuMs = 0;    // used by the process so far
    bool settled = true; // at the end of a round
};

// What may be more at the later time.
constexpr long kMaxMoreKb = 16;      // the heap moves by pages as threads come and go
constexpr long kMaxMoreYoungKb = 32; // and a young process goes on to write to new pages
constexpr double kMaxMoreCpu = 1.5;  // times as much, over at least a day: other work of the machine shows in it

struct Finding {
    std::string what;   // is compared with what
    std::string figure; // empty: there is too little to compare
    double earlier = 0, later = 0;
    bool flat = false;
};

// Those of the longest life come first. One that is not flat when there is too little to judge.
std::vector<Finding> Judge(const std::vector<Sample> &samples);
