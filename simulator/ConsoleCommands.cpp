#include "simulator/ConsoleCommands.h"

namespace sim
{

Words From(const Words &words, size_t first)
{
    return Words(words.begin() + static_cast<std::ptrdiff_t>(std::min(first, words.size())), words.end());
}

Outcome Result(bool ok, const std::string &error)
{
    return ok ? Outcome::Ok() : Outcome::Fail(error);
}

std::string EventsHelp(const std::vector<std::string> &events)
{
    std::string text;
    for (const std::string &event : events) text += (text.empty() ? "        " : ", ") + event;
    return text + "\n";
}

static Outcome RunHelp(const Words &words, ConsoleContext *context)
{
    std::string text;
    if (!context->help(words.size() > 1 ? words[1] : "", &text))
        return Outcome::Fail("there is no command '" + words[1] + "'");
    context->journal->Say(text);
    return Outcome::Ok();
}

static Outcome RunWait(const Words &words, ConsoleContext *context)
{
    Outcome outcome;
    std::string error;
    outcome.kind = Outcome::Wait;
    return ParseWait(From(words, 1), context->waitTimeoutMs, &outcome.wait, &error) ? outcome : Outcome::Fail(error);
}

static Outcome RunExpect(const Words &words, ConsoleContext *context)
{
    std::string error;
    const Event *taken = context->journal->Log().Taken();
    if (!taken) return Outcome::Fail("nothing has been waited for yet");
    return Result(CheckExpectation(*taken, From(words, 1), &error), error);
}

static Outcome RunMark(const Words &, ConsoleContext *context)
{
    context->journal->Log().MarkHere();
    return Outcome::Ok();
}

static Outcome RunSleep(const Words &words, ConsoleContext *)
{
    Outcome outcome;
    outcome.kind = Outcome::Sleep;
    return ParseSeconds(words[1], &outcome.sleepMs) ? outcome : Outcome::Fail("'" + words[1] + "' is no time");
}

static Outcome RunStatus(const Words &, ConsoleContext *context)
{
    context->journal->Emit("status", context->status());
    return Outcome::Ok();
}

static Outcome RunEcho(const Words &words, ConsoleContext *context)
{
    std::string text;
    for (size_t i = 1; i < words.size(); i++) text += (i > 1 ? " " : "") + words[i];
    context->journal->Say(text);
    return Outcome::Ok();
}

static Outcome RunQuit(const Words &words, ConsoleContext *)
{
    Outcome outcome;
    outcome.kind = Outcome::Quit;
    int64_t status = 0;
    if (words.size() > 1 && !ParseNumber(words[1], 0, 255, &status))
        return Outcome::Fail("'" + words[1] + "' is no exit status");
    outcome.status = static_cast<int>(status);
    return outcome;
}

const std::vector<CommandRow<ConsoleContext>> kConsoleCommands = {
    {"wait", "EVENT [KEY=VALUE]... [SECONDS]",
     "wait for an event since the last command or wait; events are named as they are shown, any is every one", 1, 100,
     false, RunWait},
    {"expect", "[field] PATH [=|!=|<|>|~] VALUE", "check the event that the last wait was for", 2, 4, false, RunExpect},
    {"mark", "", "let waits look only at what happens from here on", 0, 0, false, RunMark},
    {"sleep", "SECONDS", "do nothing for a while", 1, 1, false, RunSleep},
    {"status", "", "show connections, counters and misbehaviours", 0, 0, false, RunStatus},
    {"echo", "TEXT", "show a text", 0, 1000, false, RunEcho},
    {"help", "[COMMAND]", "show this", 0, 1, false, RunHelp},
    {"quit", "[STATUS]", "end, with this exit status", 0, 1, false, RunQuit},
};

} // namespace sim
