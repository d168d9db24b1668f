// EventLog.h - what has happened lately, and the rule by which a wait finds it.
//
// Events are numbered from 1. There is one mark: a wait looks at events behind the mark, the oldest first, and the one
// that it takes becomes the mark. A command that acts on the wire sets the mark to the last event before it acts. So
// nothing that happens between a command and the wait for its effect is missed, and no event satisfies two waits.
//
// State: one EventLog object, of bounded size. Threads: the caller's.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "simulator/Tree.h"
#include "simulator/Words.h"

namespace sim
{

struct Event {
    std::string name;
    Fields fields;
};

// "wait EVENT [KEY=VALUE]... [TIMEOUT]"
struct WaitQuery {
    std::string event;                                        // "any" is every event
    std::vector<std::pair<std::string, std::string>> filters; // path and value
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

    // Forgets everything so far, for waits.
    void MarkHere() { mark_ = last_; }

    // The oldest event behind the mark that `query` wants: becomes the mark and stays available as Taken().
    bool Take(const WaitQuery &query);

    // What the last wait took; nullptr before the first.
    const Event *Taken() const { return taken_ ? &takenEvent_ : nullptr; }

    // An event went by behind the mark that is no longer kept: a wait might look for it in vain.
    bool Lost() const { return last_ - events_.size() > mark_; }

  private:
    std::deque<Event> events_; // the last one has the number last_
    uint64_t last_ = 0;
    uint64_t mark_ = 0;
    bool taken_ = false;
    Event takenEvent_;
};

} // namespace sim
