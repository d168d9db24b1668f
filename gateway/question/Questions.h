// Questions.h - what is asked of one router: one after another, in their order, each with a limit of time.
//
// A question is a function command, whose reply carries its tag, or a plugin command, whose answer carries its data type
// only. An answer that comes too late finds nobody: a tag is used once, and answers to plugin commands that were given up
// are counted off, until the reply to a later function command shows that they will not come.
//
// State: one queue. Threads: its session's. No clock of its own.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "gateway/session/RateLimit.h"
#include "gateway/translate/Command.h"
#include "gateway/translate/Json.h"
#include "gateway/translate/Question.h"

namespace gateway
{

// One thing asked, from its arrival to its answer.
struct Asked {
    bool plugin = false;
    Question question; // a function command
    Command command;   // a plugin command, with its name
    std::string name;
    std::chrono::milliseconds limit{};        // from when the router is asked
    std::function<void(const Json &)> answer; // is called once
    Clock::time_point arrived{}, limitEnd{};
    uint16_t tag = 0;
};

class Questions
{
  public:
    // False when `most` wait already.
    bool Add(Asked asked, size_t most);

    // The next one to be put to the router, when it is time for one; it is under way from now on.
    const Asked *Next(Clock::time_point now);

    // Who waits for the reply with this tag and function, for the answer with this data type; nothing if nobody does.
    std::optional<Asked> Replied(uint16_t tag, uint16_t function);
    std::optional<Asked> Answered(uint8_t dataType);

    // The one under way when no reply belongs to it, after it has been sent.
    std::optional<Asked> Sent();

    // The one under way, when its time is over; the router may be asked the next one.
    std::optional<Asked> Expired(Clock::time_point now);

    // All, at the end of the session.
    std::vector<Asked> Close();

    size_t Waiting() const { return queue_.size(); }

  private:
    std::optional<Asked> TakeFirst();

    std::vector<Asked> queue_; // the first one is under way or the next
    bool underWay_ = false;
    uint16_t tag_ = 0;
    std::vector<uint8_t> owed_; // data types of answers that nobody waits for any more
};

} // namespace gateway
