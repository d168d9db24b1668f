// EventLog.h - the latest events, and the rule by which a wait finds one.
//
// Events are numbered from 1. There is one mark: a wait looks at events behind the mark, the oldest first, and the one
// that it takes becomes the mark. A command that acts on the wire sets the mark to the last event before it acts. So
// nothing that happens between a command and the wait for its effect is missed, and no event satisfies two waits.
// The output of each program that a script runs has a mark of its own, which commands leave alone: its lines arrive at
// any time between other events.
//
// Kept are the latest events, packed: at most 20,000, and at most 32 MB of them.
//
// State: one EventLog object. Threads: the caller's.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "protocol/Tree.h"
#include "simulator/console/Words.h"

namespace sim
{

using namespace protocol;

struct Event {
    std::string name;
    Fields fields;
    double seconds = 0; // when, on the wall clock since the epoch
};

// "wait EVENT [KEY=VALUE | KEY~PART]... [TIMEOUT]"
struct WaitQuery {
    std::string event;                                        // "any" is every event
    std::vector<std::pair<std::string, std::string>> filters; // path and value; path~ and a part of the value
    int64_t timeoutMs;
};

// Reads the words behind "wait". False with the reason.
bool ParseWait(const Words &words, int64_t defaultTimeoutMs, WaitQuery *query, std::string *error);
std::string WaitText(const WaitQuery &query);
bool Matches(const Event &event, const WaitQuery &query);

// "expect PATH [=|!=|<|>|~] VALUE" against one event: the words behind "expect". False with the reason.
bool CheckExpectation(const Event &event, const Words &words, std::string *error);

class EventLog
{
  public:
    void Add(const Event &event);

    // Waits ignore everything before this call.
    void MarkHere() { mark_ = last_; }

    // Takes the oldest event behind the mark that matches `query`: it becomes the mark and is available as Taken().
    bool Take(const WaitQuery &query);

    // Takes the latest event that matches, also before the mark, as Taken(); no mark moves.
    bool Recall(const WaitQuery &query);
    // Makes an event that is not in the log Taken().
    void Put(const Event &event);

    // What the last wait took; nullptr before the first.
    const Event *Taken() const { return taken_ ? &takenEvent_ : nullptr; }

    // An event behind the mark is no longer kept, so a wait might miss it.
    bool Lost() const { return last_ - events_.size() > mark_; }

    size_t Bytes() const { return bytes_; } // of what is kept

  private:
    struct Kept {
        std::string name;
        std::string fields; // packed
        double seconds;
    };
    void DropFirst();
    // If the event matches the query, unpacks it as Taken() and returns true.
    bool PutIf(const Kept &kept, const WaitQuery &query);
    uint64_t *MarkFor(const WaitQuery &query);

    std::deque<Kept> events_; // the last one has the number last_
    size_t bytes_ = 0;
    uint64_t last_ = 0;
    uint64_t mark_ = 0;
    std::map<std::string, uint64_t> outputMarks_; // of programs
    WaitQuery sought_ = {};                       // by the last Take(), without success
    uint64_t soughtUpTo_ = 0;                     // this event
    bool taken_ = false;
    Event takenEvent_;
};

} // namespace sim
