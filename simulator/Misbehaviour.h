// Misbehaviour.h - what the platform can do wrong on demand, and what of it is switched on.
//
// A misbehaviour is written NAME[@STEP][=VALUE] [COUNT]: STEP narrows it to one point of the conversation, COUNT is
// how often it happens (until switched off when left out).
//
// State: one Misbehaviour object. Threads: the caller's.
#pragma once

#include <string>
#include <vector>

#include "simulator/FrameCodec.h"
#include "simulator/Words.h"

namespace sim
{

enum class Wrong {
    Refuse,
    Silent,
    ErrorCode,
    EmptyAck,
    Interval,
    Announce,
    Late,
    BadChecksum,
    WrongKey,
    InnerLength,
    CutBody,
    ShortBody,
    LongBody,
    AnnounceBody,
    NetworkFailure,
    Duplicate,
    ForcedDisconnect,
    CloseMidFrame,
    Close,
    Fragments,
    Drip,
    Garbage,
    Noise,
};

struct WrongRow {
    Wrong wrong;
    const char *name;
    const char *value;      // how help names it; nullptr: takes none
    const char *valueUnset; // when none is given; nullptr: one must be given
    unsigned steps;         // where it happens unless narrowed
    unsigned allowed;       // where it can happen
    const char *help;
};

extern const std::vector<WrongRow> kWrongs;

struct ActiveWrong {
    const WrongRow *row;
    unsigned steps;
    std::string value;
    std::vector<int64_t> numbers; // of the value, when it is numbers
    int64_t left;                 // times to come; -1: until switched off
};

class Misbehaviour
{
  public:
    // Switches one on: "late=3 2" as words. False with the reason when it is none.
    bool Add(const Words &words, std::string *error);

    // Switches off what is called `name`, or everything when `name` is empty. Returns how many.
    size_t Off(const std::string &name);

    // Whether `wrong` happens at `step` now: counts it down, and copies it to `*active`.
    bool Take(Wrong wrong, Step step, ActiveWrong *active);

    const std::vector<ActiveWrong> &Active() const { return active_; }

  private:
    std::vector<ActiveWrong> active_;
};

std::string StepName(Step step);

// "late@login=3" - how it could be written again.
std::string WrongText(const ActiveWrong &active);

// "register, login" for a set of steps.
std::string StepsText(unsigned steps);

} // namespace sim
