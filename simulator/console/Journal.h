// Journal.h - takes every event: to standard output, to the waits and into the counters.
// State: one Journal object. Threads: the caller's.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "simulator/console/EventLog.h"

namespace sim
{

// What standard output looks like.
struct JournalStyle {
    bool json = false;
    bool colour = false;
    bool quiet = false; // only errors, failures and answers
    bool full = false;  // also the records of a failed reply, and each device of a report of all devices
};

// One line or block of text for an event, ended by a newline. `seconds` is the wall time since the epoch.
std::string RenderEvent(const Event &event, double seconds, const JournalStyle &style);

// Whether the event is an error of the other side.
bool IsFault(const std::string &event);

class Journal
{
  public:
    // `write` takes finished lines.
    Journal(const JournalStyle &style, std::function<void(const std::string &)> write)
        : style_(style), write_(std::move(write))
    {
    }

    void Emit(const std::string &name, Fields fields);

    // Passes every event, shown or not, to `write` as well, as a line of JSON.
    void AlsoTo(std::function<void(const std::string &)> write) { alsoTo_ = std::move(write); }

    // Calls `happened` after every event, also those that are not shown.
    void OnEvent(std::function<void()> happened) { happened_ = std::move(happened); }

    // For answers of commands: a text for people, an event for programs.
    void Say(const std::string &text);

    EventLog &Log() { return log_; }
    const JournalStyle &Style() const { return style_; }
    uint64_t Faults() const { return faults_; }
    Fields Counts() const; // of events, by name

  private:
    JournalStyle style_;
    std::function<void(const std::string &)> write_;
    std::function<void(const std::string &)> alsoTo_;
    std::function<void()> happened_;
    EventLog log_;
    uint64_t faults_ = 0;
    std::map<std::string, uint64_t> counts_; // events by name
};

} // namespace sim
