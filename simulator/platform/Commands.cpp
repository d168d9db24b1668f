#include "simulator/platform/Commands.h"

#include "protocol/FunctionNames.h"
#include "simulator/faults/FaultCommand.h"
#include "simulator/http/HttpFaults.h"
#include "simulator/platform/DevicesCommand.h"
#include "simulator/platform/FrameCommands.h"
#include "simulator/platform/FunctionText.h"
#include "simulator/platform/PlatformFaults.h"
#include "simulator/platform/UpdateCommand.h"

namespace sim
{

static Outcome RunFunctions(const Words &words, CommandContext *context)
{
    std::string text;
    if (!FunctionsText(words.size() > 1 ? words[1] : "", &text))
        return Outcome::Fail("there is no function '" + words[1] + "'");
    context->journal->Say(text);
    return Outcome::Ok();
}

static Outcome RunEvery(const Words &words, CommandContext *context)
{
    int64_t period, count;
    std::string error;
    if (!ParseNumber(words[1], 1, 86400000, &period)) return Outcome::Fail("'" + words[1] + "' is not a time in ms");
    if (!ParseNumber(words[2], 1, 1000000000, &count)) return Outcome::Fail("'" + words[2] + "' is not a count");
    return Result(context->platform->SendEvery(period, count, From(words, 3), &error), error);
}

static Outcome RunMisbehave(const Words &words, CommandContext *context)
{
    return RunFaultCommand(words, context->platform->FaultSet(), context->journal);
}

static Outcome RunHttp(const Words &words, CommandContext *context)
{
    HttpServer *server = context->platform->Http();
    Faults none(kHttpFaults);
    if (!server && words.size() > 1) return Outcome::Fail("there is no HTTP server: start with --http ADDR:PORT");
    return RunFaultCommand(words, server ? server->FaultSet() : &none, context->journal);
}

static Outcome RunTarget(const Words &words, CommandContext *context)
{
    int64_t id = 0;
    std::string error;
    if (words[1] != "latest" && !ParseNumber(words[1], 1, UINT32_MAX, &id))
        return Outcome::Fail("'" + words[1] + "' is not a connection");
    return Result(context->platform->Choose(static_cast<unsigned>(id), &error), error);
}

static const std::vector<std::string> kEvents = {
    "register", "login",        "heartbeat", "upload",        "ack",       "reply",
    "sent",     "any",          "connected", "disconnected",  "bad-frame", "bad-checksum",
    "http",     "http-stalled", "http-done", "http-progress", "update"};

static std::vector<std::string> HttpCompletions(const Words &words)
{
    return words.size() == 1 ? std::vector<std::string>{"*", "off"} : FaultNames(kHttpFaults);
}

void AddPlatformCommands(Interpreter *interpreter, CommandContext *context)
{
    const auto with = [context](Outcome (*run)(const Words &, CommandContext *)) {
        return [run, context](const Words &words) { return run(words, context); };
    };
    const auto cut = [context](Platform::Cut how) {
        return [context, how](const Words &) {
            std::string error;
            return Result(context->platform->Disconnect(how, &error), error);
        };
    };
    const auto send = [context](const Words &words, int64_t count, bool together, std::string *error) {
        return context->platform->Send(words, count, together, error);
    };
    const auto sendOne = [send](const Words &words) {
        std::string error;
        return Result(send(words, 1, false, &error), error);
    };
    interpreter->AddFrames("Frames, sent to the target (see target):\n", FrameCommands(nullptr, nullptr), sendOne);
    interpreter->AddFrames("", FunctionCommands(), sendOne);
    interpreter->Add("Everything else:\n", RepeatCommands(interpreter, "the same, all frames in one write", send));
    interpreter->Add(
        "",
        {
            {"every", "MS COUNT COMMAND",
             "send a frame command COUNT times, MS milliseconds apart, while other commands go on", 3, kMaxWords, true,
             with(RunEvery), FrameBehind(interpreter, 3)},
            {"drop", "", "close the connection", 0, 0, true, cut(Platform::Cut::Drop)},
            {"reset", "", "close the connection with a TCP reset", 0, 0, true, cut(Platform::Cut::Reset)},
            {"half-close", "", "shut down the sending direction, go on receiving", 0, 0, true,
             cut(Platform::Cut::HalfClose)},
            {"target", "CONN | latest",
             "send what follows to this connection; latest, as at the start: to the agent that logged in last", 1, 1,
             false, with(RunTarget)},
            {"devices", "[SECONDS]",
             "ask for the report of all devices (function 64), wait for it and show it as a table", 0, 1, true,
             with(RunDevices)},
            {"update",
             "FILE [from=V] [to=V] [id=ID] [md5=HEX] [length=N] [token=T] [url=URL] [within=SECONDS] [expect-failure]",
             "give the agent FILE as its new plugin: serve it over HTTP, send both commands of an update, wait for the "
             "report. Fails when the agent reports a failure; with expect-failure, when it does not. What is not "
             "given is true, or taken from the login; within: how long nothing may happen",
             1, 9, true, with(RunUpdate), UpdateCompletions},
            {"misbehave", "[NAME[@STEP][=VALUE] [COUNT] | off [NAME]]",
             "switch on a fault; off: switch off; alone: list the faults", 0, 2, false, with(RunMisbehave),
             MisbehaveCompletions(kPlatformFaults)},
            {"http", "[PATH|* NAME[=VALUE]... [COUNT] | off [NAME]]",
             "switch on a fault of the HTTP server for requests for PATH, or for all with *; off: switch off; alone: "
             "list "
             "the faults",
             0, 30, false, with(RunHttp), HttpCompletions},
            {"functions", "[NAME]", "list the functions; show one byte by byte", 0, 1, false, with(RunFunctions),
             Choice(FunctionNameList())},
        });
    AddConsoleCommands(interpreter, context, kEvents);
}

} // namespace sim
