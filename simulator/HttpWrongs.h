// HttpWrongs.h - what the HTTP server can do otherwise than well on demand, and what of it is switched on.
//
// It is written PATH NAME[=VALUE]... [COUNT]: PATH is one path or * for all, COUNT how many requests it is for (until
// switched off when left out).
//
// State: one HttpWrongs object. Threads: the caller's.
#pragma once

#include <string>
#include <vector>

#include "simulator/Words.h"

namespace sim
{

enum class HttpWrong {
    Size,
    Late,
    NotFound,
    DripHeader,
    CutHeader,
    NoHeaderEnd,
    BareLf,
    LongHeader,
    LateLength,
    HeaderLine,
    Length,
    LengthLine,
    NoLength,
    AnnounceMore,
    SendMore,
    Slow,
    Stall,
    Close,
    Reset,
};

struct HttpWrongRow {
    HttpWrong wrong;
    const char *name;
    const char *value;      // how help names it; nullptr: takes none
    const char *valueUnset; // when none is given; nullptr: one must be given
    int64_t low, high;      // of a number
    const char *help;
};

extern const std::vector<HttpWrongRow> kHttpWrongs;

struct ActiveHttpWrong {
    const HttpWrongRow *row;
    std::string path; // "*" for all
    std::string value;
    int64_t number; // of the value, when it is one: bytes, milliseconds for times
    int64_t left;   // requests to come; -1: until switched off
};

class HttpWrongs
{
  public:
    // Switches on what the words say, all or nothing. False with the reason.
    bool Add(const Words &words, std::string *error);

    // Switches off what is called `name`, or everything when `name` is empty. Returns how many.
    size_t Off(const std::string &name);

    // What is to be done with a request for `path` now: counts it down. Of two with the same name the later one holds.
    std::vector<ActiveHttpWrong> Take(const std::string &path);

    const std::vector<ActiveHttpWrong> &Active() const { return active_; }

  private:
    std::vector<ActiveHttpWrong> active_;
};

// "slow=1000" - how it could be written again.
std::string HttpWrongText(const ActiveHttpWrong &active);

// All of them with their values and what they do, a line each.
std::string HttpWrongList();

// "1500", "100K", "3M", "1G": bytes, the letters for 1024 and its powers; at most 1024 G.
bool ParseSize(const std::string &text, int64_t *bytes);

} // namespace sim
