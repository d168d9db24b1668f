#include "simulator/Commands.h"

#include <algorithm>

#include "simulator/DevicesCommand.h"
#include "simulator/FrameCommands.h"
#include "simulator/FunctionNames.h"
#include "simulator/FunctionParameters.h"
#include "simulator/FunctionText.h"
#include "simulator/HttpCommand.h"
#include "simulator/Names.h"
#include "simulator/RuleCommands.h"
#include "simulator/UpdateCommand.h"
#include "simulator/WrongWords.h"

namespace sim
{

static const int64_t kMostFrames = 100000; // of one command: they are put together before the first one leaves

static Outcome RunFunctions(const Words &words, CommandContext *context)
{
    std::string text;
    if (!FunctionsText(words.size() > 1 ? words[1] : "", &text))
        return Outcome::Fail("there is no function '" + words[1] + "'");
    context->journal->Say(text);
    return Outcome::Ok();
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
        text += WrongHelp(row.name, row.value, row.valueUnset, row.help);
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

static const CommandRow<CommandContext> kCommands[] = {
    {"flood", "COUNT COMMAND", "send a frame command COUNT times back to back", 2, 1000, true, RunFlood},
    {"burst", "COUNT COMMAND", "the same, all frames in one piece", 2, 1000, true, RunBurst},
    {"every", "MS COUNT COMMAND", "send a frame command COUNT times, MS milliseconds apart, while others go on", 3,
     1000, true, RunEvery},
    {"drop", "", "close the connection", 0, 0, true, RunDrop},
    {"reset", "", "close the connection with a TCP reset", 0, 0, true, RunReset},
    {"half-close", "", "end what is sent, go on receiving", 0, 0, true, RunHalfClose},
    {"target", "CONN | latest", "send the following commands to this connection", 1, 1, false, RunTarget},
    {"devices", "[SECONDS]", "ask for the report of all devices, wait for it and show them (report-devices)", 0, 1,
     true, RunDevices},
    {"update",
     "FILE [from=V] [to=V] [id=ID] [md5=HEX] [length=N] [token=T] [url=URL] [within=SECONDS] [expect-failure]",
     "give the agent FILE as its new plugin: serves it over HTTP, sends both commands of an update and waits for the "
     "report. Fails when the agent reports a failure, with expect-failure when it does not. What is not given is true, "
     "or taken from the login; within: how long nothing may happen",
     1, 9, true, RunUpdate},
    {"misbehave", "[NAME[@STEP][=VALUE] [COUNT] | off [NAME]]", "do something wrong; alone: list what there is", 0, 2,
     false, RunMisbehave},
    {"http", "[PATH|* NAME[=VALUE]... [COUNT] | off [NAME]]",
     "let the HTTP server do something wrong with a path; alone: list what there is", 0, 30, false, RunHttp},
    {"functions", "[NAME]", "list the functions of the router; show one byte by byte", 0, 1, false, RunFunctions},
};

Outcome RunCommand(const Words &words, CommandContext *context)
{
    if (words.empty()) return Outcome::Ok();
    if (SendsFrame(words[0])) {
        context->journal->Log().MarkHere();
        std::string error;
        return Result(context->platform->Send(words, 1, false, &error), error);
    }
    return RunFrom(kCommands, words, context);
}

static const std::vector<std::string> kEvents = {
    "register", "login",        "heartbeat", "upload",        "ack",       "reply",
    "sent",     "any",          "connected", "disconnected",  "bad-frame", "bad-checksum",
    "http",     "http-stalled", "http-done", "http-progress", "update"};

bool HelpText(const std::string &name, std::string *text)
{
    text->clear();
    if (name.empty()) *text = "Frames, sent to the latest agent that logged in:\n";
    *text += RowsHelp(kFrameCommands, name);
    if (name.empty())
        *text += "  FUNCTION [PARAMETER]...\n        ask or set something of the router: \"functions\" lists them all\n"
                 "Everything else:\n";
    if (const Function *function = FindFunction(name)) *text += FunctionHelp(*function);
    *text += RowsHelp(kCommands, name) + RowsHelp(kConsoleCommands, name);
    if (name == "wait") *text += EventsHelp(kEvents);
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
        if (repeat == 0) {
            for (const auto &row : kCommands) found.push_back(row.name);
            for (const auto &row : kConsoleCommands) found.push_back(row.name);
        }
    }
    if (words.empty() || (words.size() == 1 && (last == "help" || last == "functions" || last == "function"))) {
        const std::vector<std::string> names = FunctionNameList();
        found.insert(found.end(), names.begin(), names.end());
    } else if (const Function *function = FindFunction(words[0])) {
        found = ParameterCompletions(*function, From(words, 1));
    } else if (!RuleCompletions(words).empty()) {
        found = RuleCompletions(words);
    } else if (!UpdateCompletions(words).empty()) {
        found = UpdateCompletions(words);
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
        found = kEvents;
    }
    return found;
}

} // namespace sim
