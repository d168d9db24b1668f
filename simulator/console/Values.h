// Values.h - the named values of a script, and their expansion in its lines: ${NAME}.
// State: one Values object. Threads: the caller's.
#pragma once

#include <map>
#include <string>

#include "simulator/console/EventLog.h"

namespace sim
{

class Values
{
  public:
    void Set(const std::string &name, const std::string &value) { values_[name] = value; }

    // Replaces each ${...} of `words`. ${NAME} is what Set() has stored, ${now} the time in seconds, any other name an
    // environment variable; ${.PATH} is a value of the event `taken`, ${.t} its time, ${.PATH.#} the length of a list.
    // A path continues into a text that is a JSON object.
    // ${X:8} is padded with blanks to 8 characters, ${X:.1} a number with one decimal, ${X:4+2} the two characters
    // behind the fourth; they can be combined. The result is not expanded again. False with the reason.
    bool Expand(const Event *taken, Words *words, std::string *error) const;

  private:
    bool Find(const std::string &name, const Event *taken, std::string *value) const;

    std::map<std::string, std::string> values_;
};

// The value of the words behind "let NAME": "2 + 3 * 4" from left to right (20), "date FORMAT SECONDS" as strftime
// writes it in local time, anything else as it stands. False with the reason.
bool Calculate(const Words &words, std::string *value, std::string *error);

} // namespace sim
