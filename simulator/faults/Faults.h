// Faults.h - what a tool does wrong on purpose: its table of faults, and those that are switched on.
//
// A fault is written NAME[@WHERE][=VALUE] [COUNT], or PATH|* NAME[=VALUE]... [COUNT] for a file server. WHERE or PATH
// narrows it to one place, COUNT is how often it happens (without it: until switched off).
//
// State: one Faults object; tables are constants. Threads: the caller's.
#pragma once

#include <string>
#include <vector>

#include "simulator/console/Words.h"

namespace sim
{

// ---- Tables

struct FaultValue {
    enum Kind { None, Text, Line, Number, NumberAndPause, Size, Seconds, AddressAndPort } kind = None;
    const char *name = nullptr;  // as help shows it
    const char *unset = nullptr; // the default; nullptr: a value is required
    int64_t low = 0, high = 0;   // of a number or size
};

constexpr FaultValue kNoValue = {};

constexpr FaultValue NumberValue(const char *name, const char *unset, int64_t low, int64_t high)
{
    return {FaultValue::Number, name, unset, low, high};
}

constexpr FaultValue SizeValue(const char *name, const char *unset, int64_t low, int64_t high)
{
    return {FaultValue::Size, name, unset, low, high};
}

constexpr FaultValue SecondsValue(const char *unset = nullptr)
{
    return {FaultValue::Seconds, "SECONDS", unset};
}

constexpr unsigned kEverywhere = ~0u;

struct FaultRow {
    const char *name;
    FaultValue value;
    const char *help;
    unsigned places = kEverywhere;  // where it happens unless narrowed, as bits of the table's own
    unsigned allowed = kEverywhere; // where it can happen
};

struct ActiveFault {
    const FaultRow *row = nullptr;
    unsigned places = kEverywhere;
    std::string where; // the one place by name; empty or "*": wherever `places` has it
    std::string value;
    int64_t number = 0;  // of the value: times in milliseconds
    int64_t pauseMs = 0; // behind the number
    int64_t left = -1;   // times to come; -1: until switched off

    bool Is(const std::string &name) const { return name == row->name; }
};

struct FaultTable {
    const char *command; // that switches them on
    const char *where;   // as help shows it; nullptr: a PATH comes first
    const char *help;    // before the list
    const char *before;  // around the number of times in a status
    const char *after;
    std::vector<FaultRow> rows;
    // Narrows `*fault` to the place called `where`. False with the reason. nullptr where a PATH comes first.
    bool (*narrow)(const std::string &where, ActiveFault *fault, std::string *error);
    // The names of places, for help; nullptr: help does not show them.
    std::string (*placesText)(unsigned places);
};

// The table for help: names, values and what they do, one line each.
std::string FaultsHelp(const FaultTable &table);
// The same as a table for a document.
std::string FaultsMarkdown(const FaultTable &table);
std::vector<std::string> FaultNames(const FaultTable &table);

// ---- What is switched on

// Where a fault may happen now.
struct FaultPlace {
    std::string name;
    unsigned bit = 1; // one of the table's own
};

class Faults
{
  public:
    // `lines` are switched on from the start; the command line has checked them.
    explicit Faults(const FaultTable &table, const std::vector<std::string> &lines = {});

    // Switches on what the words say, all or nothing. False with the reason.
    bool Add(const Words &words, std::string *error);

    // Switches off what is called `name`, or everything when `name` is empty. Returns how many.
    size_t Off(const std::string &name);

    // Whether the fault called `name`, which must be one of the table, happens at `place` now: counts it down, and
    // copies it to `*taken`.
    bool Take(const std::string &name, const FaultPlace &place, ActiveFault *taken);

    // All faults that happen at `place` now. Of two with the same name the later one holds.
    std::vector<ActiveFault> TakeAll(const FaultPlace &place);

    const std::vector<ActiveFault> &Active() const { return active_; }
    const FaultTable &Table() const { return *table_; }

    // The faults that are on, and how often each is still to happen, for a status.
    std::vector<std::string> Shown() const;

  private:
    bool Read(const std::string &word, ActiveFault *fault, std::string *error) const;

    const FaultTable *table_;
    std::vector<ActiveFault> active_;
};

// "late@login=3": the fault as a user would write it, without a PATH.
std::string FaultText(const FaultTable &table, const ActiveFault &active);

// Asks for one fault after the other at one place, and notes those that happen.
class FaultTaker
{
  public:
    FaultTaker(Faults *faults, const FaultPlace &place, std::vector<std::string> *happened)
        : faults_(faults), place_(place), happened_(happened)
    {
    }
    bool Take(const std::string &name);

    // Of the one that was taken last.
    int64_t Number() const { return taken_.number; }
    int64_t PauseMs() const { return taken_.pauseMs; }
    const std::string &Value() const { return taken_.value; }

  private:
    Faults *faults_;
    FaultPlace place_;
    std::vector<std::string> *happened_;
    ActiveFault taken_;
};

} // namespace sim
