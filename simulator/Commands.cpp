#include "simulator/Commands.h"

#include <algorithm>

#include "simulator/FrameCommands.h"
#include "simulator/FunctionNames.h"
#include "simulator/FunctionParameters.h"
#include "simulator/FunctionText.h"
#include "simulator/HttpCommand.h"
#include "simulator/Names.h"
#include "simulator/RuleCommands.h"

namespace sim
{

static const int64_t kMostFrames = 100000; // of one command: they are put together before the first one leaves

namespace
{
struct CommandRow {
    const char *name;
    const char *arguments;
    const char *help;
    size_t least, most; // words after the name
    bool acts;          // on the wire: waits look at what happens from here on
    Outcome (*run)(const Words &words, CommandContext *context);
};
} // namespace

static Words From(const Words &words, size_t first)
{
    return Words(words.begin() + static_cast<std::ptrdiff_t>(std::min(first, words.size())), words.end());
}

static Outcome Result(bool ok, const std::string &error)
{
    return ok ? Outcome::Ok() : Outcome::Fail(error);
}

static Outcome RunHelp(const Words &words, CommandContext *context)
{
    std::string text;
    if (!HelpText(words.size() > 1 ? words[1] : "", &text))
        return Outcome::Fail("there is no command '" + words[1] + "'");
    context->journal->Say(text);
    return Outcome::Ok();
}

static Outcome RunFunctions(const Words &words, CommandContext *context)
{
    std::string text;
    if (!FunctionsText(words.size() > 1 ? words[1] : "", &text))
        return Outcome::Fail("there is no function '" + words[1] + "'");
    context->journal->Say(text);
    return Outcome::Ok();
}

static Outcome RunWait(const Words &words, CommandContext *context)
{
    Outcome outcome;
    std::string error;
    outcome.kind = Outcome::Wait;
    return ParseWait(From(words, 1), context->waitTimeoutMs, &outcome.wait, &error) ? outcome : Outcome::Fail(error);
}

static Outcome RunExpect(const Words &words, CommandContext *context)
{
    std::string error;
    const Event *taken = context->journal->Log().Taken();
    if (!taken) return Outcome::Fail("nothing has been waited for yet");
    return Result(CheckExpectation(*taken, From(words, 1), &error), error);
}

static Outcome RunMark(const Words &, CommandContext *context)
{
    context->journal->Log().MarkHere();
    return Outcome::Ok();
}

static Outcome RunSleep(const Words &words, CommandContext *)
{
    Outcome outcome;
    outcome.kind = Outcome::Sleep;
    return ParseSeconds(words[1], &outcome.sleepMs) ? outcome : Outcome::Fail("'" + words[1] + "' is no time");
}

static Outcome RunRepeated(const Words &words, CommandContext *context, bool together)
{
    int64_t count;
    std::string error;
    if (!ParseNumber(words[1], 1, kMostFrames, &count)) return Outcome::Fail("'" + words[1] + "' is no count");
    return Result(context->platform->Send(From(words, 2), count, together, &error), error);
}

static Outcome RunFlood(const Words &words, CommandContext *context)
{
    return RunRepeated(words, context, false);
}

static Outcome RunBurst(const Words &words, CommandContext *context)
{
    return RunRepeated(words, context, true);
}

static Outcome RunEvery(const Words &words, CommandContext *context)
{
    int64_t period, count;
    std::string error;
    if (!ParseNumber(words[1], 1, 86400000, &period)) return Outcome::Fail("'" + words[1] + "' is no time in ms");
    if (!ParseNumber(words[2], 1, 1000000000, &count)) return Outcome::Fail("'" + words[2] + "' is no count");
    return Result(context->platform->SendEvery(period, count, From(words, 3), &error), error);
}

static Outcome RunDrop(const Words &, CommandContext *context)
{
    std::string error;
    return Result(context->platform->Disconnect(Platform::Cut::Drop, &error), error);
}

static Outcome RunReset(const Words &, CommandContext *context)
{
    std::string error;
    return Result(context->platform->Disconnect(Platform::Cut::Reset, &error), error);
}

static Outcome RunHalfClose(const Words &, CommandContext *context)
{
    std::string error;
    return Result(context->platform->Disconnect(Platform::Cut::HalfClose, &error), error);
}

static std::string MisbehaviourList()
{
    std::string text =
        "NAME[@STEP][=VALUE] [COUNT]; without COUNT until \"misbehave off\". Steps stand behind the name,\n"
        "those in brackets only when asked for.\n\n";
    for (const WrongRow &row : kWrongs) {
        std::string name = std::string("  ") + row.name;
        if (row.value) name += std::string(row.valueUnset ? "[=" : "=") + row.value + (row.valueUnset ? "]" : "");
        text += name + std::string(name.size() < 28 ? 28 - name.size() : 1, ' ') + row.help + "\n";
        const unsigned more = row.allowed & ~row.steps;
        text += std::string(28, ' ') + "at " + StepsText(row.steps) + (more ? " [" + StepsText(more) + "]" : "") + "\n";
    }
    return text;
}

static Outcome RunMisbehave(const Words &words, CommandContext *context)
{
    Misbehaviour *wrongs = context->platform->Wrongs();
    if (words.size() == 1) {
        context->journal->Say(MisbehaviourList());
        return Outcome::Ok();
    }
    if (words[1] == "off") {
        const std::string name = words.size() > 2 ? words[2] : "";
        if (wrongs->Off(name) == 0 && !name.empty()) return Outcome::Fail("'" + name + "' is not switched on");
        return Outcome::Ok();
    }
    std::string error;
    return Result(wrongs->Add(From(words, 1), &error), error);
}

static Outcome RunTarget(const Words &words, CommandContext *context)
{
    int64_t id = 0;
    std::string error;
    if (words[1] != "latest" && !ParseNumber(words[1], 1, UINT32_MAX, &id))
        return Outcome::Fail("'" + words[1] + "' is no connection");
    return Result(context->platform->Choose(static_cast<unsigned>(id), &error), error);
}

static Outcome RunStatus(const Words &, CommandContext *context)
{
    context->journal->Emit("status", context->platform->Status());
    return Outcome::Ok();
}

static Outcome RunEcho(const Words &words, CommandContext *context)
{
    std::string text;
    for (size_t i = 1; i < words.size(); i++) text += (i > 1 ? " " : "") + words[i];
    context->journal->Say(text);
    return Outcome::Ok();
}

static Outcome RunQuit(const Words &words, CommandContext *)
{
    Outcome outcome;
    outcome.kind = Outcome::Quit;
    int64_t status = 0;
    if (words.size() > 1 && !ParseNumber(words[1], 0, 255, &status))
        return Outcome::Fail("'" + words[1] + "' is no exit status");
    outcome.status = static_cast<int>(status);
    return outcome;
}

static const CommandRow kCommands[] = {
    {"flood", "COUNT COMMAND", "send a frame command COUNT times back to back", 2, 1000, true, RunFlood},
    {"burst", "COUNT COMMAND", "the same, all frames in one piece", 2, 1000, true, RunBurst},
    {"every", "MS COUNT COMMAND", "send a frame command COUNT times, MS milliseconds apart, while others go on", 3,
     1000, true, RunEvery},
    {"drop", "", "close the connection", 0, 0, true, RunDrop},
    {"reset", "", "close the connection with a TCP reset", 0, 0, true, RunReset},
    {"half-close", "", "end what is sent, go on receiving", 0, 0, true, RunHalfClose},
    {"target", "CONN | latest", "send the following commands to this connection", 1, 1, false, RunTarget},
    {"misbehave", "[NAME[@STEP][=VALUE] [COUNT] | off [NAME]]", "do something wrong; alone: list what there is", 0, 2,
     false, RunMisbehave},
    {"http", "[PATH|* NAME[=VALUE]... [COUNT] | off [NAME]]",
     "let the HTTP server do something wrong with a path; alone: list what there is", 0, 30, false, RunHttp},
    {"wait", "EVENT [KEY=VALUE]... [SECONDS]",
     "wait for an event since the last command or wait: register, login, heartbeat, upload, ack, reply, connected, "
     "disconnected, sent, http, http-stalled, http-done, bad-checksum, bad-frame, any",
     1, 100, false, RunWait},
    {"expect", "[field] PATH [=|!=|<|>|~] VALUE", "check the event that the last wait was for", 2, 4, false, RunExpect},
    {"mark", "", "let waits look only at what happens from here on", 0, 0, false, RunMark},
    {"sleep", "SECONDS", "do nothing for a while", 1, 1, false, RunSleep},
    {"status", "", "show connections, counters and misbehaviours", 0, 0, false, RunStatus},
    {"echo", "TEXT", "show a text", 0, 1000, false, RunEcho},
    {"functions", "[NAME]", "list the functions of the router; show one byte by byte", 0, 1, false, RunFunctions},
    {"help", "[COMMAND]", "show this", 0, 1, false, RunHelp},
    {"quit", "[STATUS]", "end, with this exit status", 0, 1, false, RunQuit},
};

static const CommandRow *FindCommand(const std::string &name)
{
    const auto row =
        std::find_if(std::begin(kCommands), std::end(kCommands), [&](const CommandRow &r) { return name == r.name; });
    return row == std::end(kCommands) ? nullptr : row;
}

Outcome RunCommand(const Words &words, CommandContext *context)
{
    if (words.empty()) return Outcome::Ok();
    if (SendsFrame(words[0])) {
        context->journal->Log().MarkHere();
        std::string error;
        return Result(context->platform->Send(words, 1, false, &error), error);
    }
    const CommandRow *row = FindCommand(words[0]);
    if (!row) return Outcome::Fail("there is no command '" + words[0] + "'; try help");
    if (words.size() - 1 < row->least || words.size() - 1 > row->most)
        return Outcome::Fail(std::string("use: ") + row->name + (*row->arguments ? " " : "") + row->arguments);
    if (row->acts) context->journal->Log().MarkHere();
    return row->run(words, context);
}

template <class Row>
static std::string HelpLines(const Row &row)
{
    return std::string("  ") + row.name + (*row.arguments ? " " : "") + row.arguments + "\n        " + row.help + "\n";
}

bool HelpText(const std::string &name, std::string *text)
{
    text->clear();
    if (name.empty()) *text = "Frames, sent to the latest agent that logged in:\n";
    for (const FrameCommandRow &row : kFrameCommands)
        if (name.empty() || name == row.name) *text += HelpLines(row);
    if (name.empty())
        *text += "  FUNCTION [PARAMETER]...\n        ask or set something of the router: \"functions\" lists them all\n"
                 "Everything else:\n";
    if (const Function *function = FindFunction(name)) *text += FunctionHelp(*function);
    for (const CommandRow &row : kCommands)
        if (name.empty() || name == row.name) *text += HelpLines(row);
    return !text->empty();
}

// How many words stand before the frame command that a repeating command sends.
static size_t RepeatWords(const std::string &name)
{
    return name == "flood" || name == "burst" ? 2 : name == "every" ? 3 : 0;
}

std::vector<std::string> Completions(const Words &before)
{
    std::vector<std::string> found;
    const size_t repeat = before.empty() ? 0 : RepeatWords(before[0]);
    if (repeat > 0 && before.size() < repeat) return found;
    const Words words = From(before, repeat);
    const std::string last = words.empty() ? "" : words.back();
    if (words.empty() || (words.size() == 1 && last == "help")) {
        for (const FrameCommandRow &row : kFrameCommands) found.push_back(row.name);
        if (repeat == 0)
            for (const CommandRow &row : kCommands) found.push_back(row.name);
    }
    if (words.empty() || (words.size() == 1 && (last == "help" || last == "functions" || last == "function"))) {
        const std::vector<std::string> names = FunctionNameList();
        found.insert(found.end(), names.begin(), names.end());
    } else if (const Function *function = FindFunction(words[0])) {
        found = ParameterCompletions(*function, From(words, 1));
    } else if (!RuleCompletions(words).empty()) {
        found = RuleCompletions(words);
    } else if (last == "plugin") {
        found = PluginTypeNames();
    } else if (last == "frame") {
        found = MsgTypeNames();
    } else if (last == "misbehave" || (last == "off" && words[0] == "misbehave")) {
        for (const WrongRow &row : kWrongs) found.push_back(row.name);
        if (last == "misbehave") found.push_back("off");
    } else if (words[0] == "http" && words.size() > 1) {
        for (const HttpWrongRow &row : kHttpWrongs) found.push_back(row.name);
    } else if (last == "http") {
        found = {"*", "off"};
    } else if (last == "wait") {
        found = {"register",  "login",        "heartbeat", "upload",       "ack",  "reply",        "sent",     "any",
                 "connected", "disconnected", "bad-frame", "bad-checksum", "http", "http-stalled", "http-done"};
    }
    return found;
}

} // namespace sim
