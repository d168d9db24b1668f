// The commands that every tool has.
#include "simulator/console/Interpreter.h"

#include "simulator/console/ScriptCommands.h"

namespace sim
{

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

static Outcome RunSleep(const Words &words, ConsoleContext *)
{
    Outcome outcome;
    outcome.kind = Outcome::Sleep;
    return ParseSeconds(words[1], &outcome.sleepMs) ? outcome : Outcome::Fail("'" + words[1] + "' is not a time");
}

static Outcome RunEcho(const Words &words, ConsoleContext *context)
{
    context->journal->Say(Joined(words, 1));
    return Outcome::Ok();
}

static Outcome RunQuit(const Words &words, ConsoleContext *)
{
    Outcome outcome;
    outcome.kind = Outcome::Quit;
    int64_t status = 0;
    if (words.size() > 1 && !ParseNumber(words[1], 0, 255, &status))
        return Outcome::Fail("'" + words[1] + "' is not an exit status");
    outcome.status = static_cast<int>(status);
    return outcome;
}

// What `help wait` says about the tool's events.
static std::string EventsHelp(const std::vector<std::string> &events)
{
    std::string text;
    for (const std::string &event : events) text += (text.empty() ? "        " : ", ") + event;
    return text + ", and of programs: started, output, ended\n";
}

void AddConsoleCommands(Interpreter *interpreter, ConsoleContext *context, const std::vector<std::string> &events)
{
    const auto with = [context](Outcome (*run)(const Words &, ConsoleContext *)) {
        return [run, context](const Words &words) { return run(words, context); };
    };
    const auto help = [interpreter, context](const Words &words) {
        std::string text;
        const bool found = interpreter->Help(words.size() > 1 ? words[1] : "", &text);
        if (found) context->journal->Say(text);
        return Result(found, found ? "" : "there is no command '" + words[1] + "'");
    };
    const auto mark = [context](const Words &) {
        context->journal->Log().MarkHere();
        return Outcome::Ok();
    };
    const auto status = [context](const Words &) {
        const Event event = {"status", context->status()};
        context->journal->Log().Put(event);
        context->journal->Emit(event.name, event.fields);
        return Outcome::Ok();
    };
    const auto names = [interpreter](const Words &words) {
        return words.size() == 1 ? interpreter->Completions({}) : std::vector<std::string>();
    };
    const auto eventsHelp = [events](bool alone) { return alone ? EventsHelp(events) : ""; };
    interpreter->Add(
        "",
        {
            {"wait", "EVENT [KEY=VALUE | KEY~PART]... [SECONDS]",
             "wait for an event behind the mark, SECONDS at most (60, or --wait-timeout); any: whatever its name", 1,
             100, false, with(RunWait), Choice(events), eventsHelp},
            {"expect", "[field] PATH [=|!=|<|>|~] VALUE",
             "check the event that the last wait took; \"field x\" is fields.x, ~ is \"contains\"", 2, 4, false,
             with(RunExpect)},
            {"recall", "EVENT [KEY=VALUE | KEY~PART]...",
             "take the latest such event, whatever has been waited for; expect checks it", 1, 100, false,
             with(RunRecall), Choice(events)},
            {"let", "NAME TEXT | NUMBER [+|-|*|/ NUMBER]... | date FORMAT SECONDS",
             "keep a text, a sum worked out from left to right, or a time as strftime writes it: ${NAME} in later "
             "lines",
             2, kMaxWords, false, with(RunLet)},
            {"check", "VALUE =|!=|<|>|~ VALUE", "check a value, as expect does", 3, 3, false, with(RunCheck)},
            {"start", "NAME PROGRAM [WORD]...",
             "run a program; each line that it writes is an event \"output\", its end \"ended\". It ends with the "
             "script",
             2, kMaxWords, false, with(RunStart)},
            {"tell", "NAME TEXT", "write a line to a program", 1, kMaxWords, false, with(RunTell)},
            {"stop", "NAME", "send SIGTERM to a program", 1, 1, false, with(RunStop)},
            {"read", "NAME TEXT [SECONDS]",
             "wait for a line of a program that contains this text, behind the line read last", 2, 3, false,
             with(RunRead)},
            {"quote", "NAME TEXT [SECONDS]", "the same, and show the line", 2, 3, false, with(RunQuote)},
            {"title", "TEXT", "show a headline", 1, kMaxWords, false, with(RunTitle)},
            {"show", "WHO TEXT", "show a text beside a name", 1, kMaxWords, false, with(RunShow)},
            {"ok", "TEXT", "show what a check has found", 1, kMaxWords, false, with(RunOk)},
            {"mark", "", "set the mark: waits look only at what happens from here on", 0, 0, false, mark},
            {"sleep", "SECONDS", "do nothing for a while", 1, 1, false, with(RunSleep)},
            {"status", "", "show connections, counters and faults; expect may check them", 0, 0, false, status},
            {"echo", "TEXT", "show a text", 0, kMaxWords, false, with(RunEcho)},
            {"help", "[COMMAND]", "show this", 0, 1, false, help, names},
            {"quit", "[STATUS]", "end, with this exit status", 0, 1, false, with(RunQuit)},
        },
        true);
}

} // namespace sim
