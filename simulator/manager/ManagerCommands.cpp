#include "simulator/manager/ManagerCommands.h"

#include <ctime>

#include "protocol/FunctionParameters.h"
#include "simulator/faults/FaultCommand.h"
#include "simulator/manager/LocalCommands.h"
#include "simulator/manager/LocalFaults.h"
#include "simulator/manager/ReportTimetable.h"

namespace sim
{

static const int64_t kMaxCount = 1000000000;
static const int64_t kDayMs = 86400000;

static const std::vector<std::string> kEvents = {"waiting",     "connected", "disconnected", "request",
                                                 "answered",    "sent",      "withheld",     "stopped",
                                                 "auto-report", "bad-frame", "any"};

// ---- Sending

// "every SECONDS [COUNT] COMMAND", the first one now.
static Outcome RunEvery(const Words &words, ManagerContext *context)
{
    int64_t period, count = 0;
    std::string error;
    if (!ParseSeconds(words[1], &period) || period == 0) return Outcome::Fail("'" + words[1] + "' is no time");
    const bool counted = ParseNumber(words[2], 1, kMaxCount, &count);
    if (!counted) count = 0;
    return Result(context->manager->Schedule(0, period, count, From(words, counted ? 3 : 2), &error), error);
}

static Outcome RunAt(const Words &words, ManagerContext *context)
{
    int64_t delay;
    std::string error;
    if (!UntilClock(words[1], static_cast<double>(time(nullptr)), &delay))
        return Outcome::Fail("'" + words[1] + "' is no time of the day such as 21:30:00");
    return Result(context->manager->Schedule(delay, kDayMs, 1, From(words, 2), &error), error);
}

static Outcome RunTimetable(const Words &words, ManagerContext *context)
{
    if (words[1] != "off") return Outcome::Fail("use: timetable off");
    context->manager->ClearTimetable();
    return Outcome::Ok();
}

static Outcome RunReports(const Words &words, ManagerContext *context)
{
    if (words[1] != "on" && words[1] != "off") return Outcome::Fail("use: reports on|off");
    context->manager->Report(words[1] == "on");
    return Outcome::Ok();
}

// ---- The connection

static Outcome RunDisconnect(const Words &, ManagerContext *context)
{
    context->manager->Disconnect(-1);
    return Outcome::Ok();
}

static Outcome RunConnect(const Words &, ManagerContext *context)
{
    context->manager->Connect();
    return Outcome::Ok();
}

static Outcome RunReconnect(const Words &words, ManagerContext *context)
{
    int64_t away = 0;
    if (words.size() > 1 && !ParseSeconds(words[1], &away)) return Outcome::Fail("'" + words[1] + "' is no time");
    context->manager->Disconnect(away);
    return Outcome::Ok();
}

// ---- The household

static Outcome RunShow(const Words &words, ManagerContext *context)
{
    Fields fields;
    const std::string name = words.size() > 1 ? words[1] : "";
    if (name == "auto-report")
        fields = context->manager->AutoReport()->Show();
    else if (!context->manager->House()->Show(name, &fields))
        return Outcome::Fail("there is no '" + name + "' in the household");
    context->journal->Emit("household", fields);
    return Outcome::Ok();
}

static Outcome RunHousehold(const Words &words, ManagerContext *context)
{
    bool known;
    std::string error;
    return Result(context->manager->EditHousehold(words, &known, &error), error);
}

static Outcome RunForget(const Words &, ManagerContext *context)
{
    context->manager->AutoReport()->Forget();
    return Outcome::Ok();
}

// ---- Faults

static Outcome RunMisbehave(const Words &words, ManagerContext *context)
{
    return RunFaultCommand(words, context->manager->ActiveFaults(), context->journal);
}

// ---- The table

// The fields of a list's records.
static std::string ListHelp(const std::string &list)
{
    const Function add = {0, "", STATUS_UNKNOWN, VARIES, {"", Household::ListLayout(list)}};
    return "        " + list + " add" + Usage(add) + "\n";
}

static std::vector<std::string> ListCompletions(const Words &words)
{
    if (words.size() == 1) return {"add", "change", "remove", "clear"};
    std::vector<std::string> found;
    if (words[1] == "add" || (words[1] == "change" && words.size() > 2))
        for (const FieldLayout &field : Household::ListLayout(words[0])) found.push_back(std::string(field.name) + "=");
    return found;
}

static std::vector<std::string> SetCompletions(const Words &words)
{
    return words.size() == 1 ? Household::SettingNames() : Household::ValueNamesOf(words[1]);
}

// The names that `show` takes.
static std::vector<std::string> Parts()
{
    std::vector<std::string> parts = Household::SettingNames();
    for (const std::string &list : Household::ListNames()) parts.push_back(list);
    parts.push_back("auto-report");
    return parts;
}

// The completions after `every`, whose COUNT is optional.
static Completer BehindEvery(const Interpreter *interpreter)
{
    return [interpreter](const Words &words) {
        int64_t count;
        const bool counted = words.size() > 2 && ParseNumber(words[2], 1, kMaxCount, &count);
        return FrameBehind(interpreter, counted ? 3 : 2)(words);
    };
}

void AddManagerCommands(Interpreter *interpreter, ManagerContext *context)
{
    const auto with = [context](Outcome (*run)(const Words &, ManagerContext *)) {
        return [run, context](const Words &words) { return run(words, context); };
    };
    const auto send = [context](const Words &words, int64_t count, bool together, std::string *error) {
        return context->manager->Send(words, count, together, error);
    };
    const auto sendOne = [send](const Words &words) {
        std::string error;
        return Result(send(words, 1, false, &error), error);
    };
    const auto setHelp = [](bool) { return Household::SettingHelp(); };
    const auto listHelp = [](const char *list) { return [list](bool alone) { return alone ? ListHelp(list) : ""; }; };
    interpreter->AddFrames("Frames to the agent:\n", LocalCommands(nullptr, nullptr), sendOne);
    interpreter->Add("Everything else:\n", RepeatCommands(interpreter, "the same, all frames in one write", send));
    interpreter->Add(
        "",
        {
            {"every", "SECONDS [COUNT] COMMAND",
             "send a frame command every SECONDS, COUNT times or until \"timetable off\"", 2, kMaxWords, true,
             with(RunEvery), BehindEvery(interpreter)},
            {"at", "HH:MM[:SS] COMMAND", "send a frame command the next time that the clock shows this", 2, kMaxWords,
             true, with(RunAt), FrameBehind(interpreter, 2)},
            {"timetable", "off", "forget what every and at have set going; status shows it", 1, 1, false,
             with(RunTimetable), Choice({"off"})},
            {"reports", "on|off", "report by the auto-report configuration", 1, 1, false, with(RunReports),
             Choice({"on", "off"})},
            {"disconnect", "", "close the connection and stay away", 0, 0, true, with(RunDisconnect)},
            {"connect", "", "seek the agent again", 0, 0, true, with(RunConnect)},
            {"reconnect", "[SECONDS]", "close the connection and come back, SECONDS later", 0, 1, true,
             with(RunReconnect)},
            {"set", "NAME VALUE...", "change a setting of the household:", 1, kMaxWords, false, with(RunHousehold),
             SetCompletions, setHelp},
            {"node", "add ... | change MAC FIELD=VALUE... | remove MAC | clear", "parts of the mesh", 1, kMaxWords,
             false, with(RunHousehold), ListCompletions, listHelp("node")},
            {"neighbour", "add ... | change BSSID FIELD=VALUE... | remove BSSID | clear",
             "Wi-Fi networks of the neighbours", 1, kMaxWords, false, with(RunHousehold), ListCompletions,
             listHelp("neighbour")},
            {"device", "add ... | change MAC FIELD=VALUE... | remove MAC | clear", "devices of the household", 1,
             kMaxWords, false, with(RunHousehold), ListCompletions, listHelp("device")},
            {"wan", "add ... | change INDEX FIELD=VALUE... | remove INDEX | clear", "its WANs", 1, kMaxWords, false,
             with(RunHousehold), ListCompletions, listHelp("wan")},
            {"show", "[NAME | auto-report]", "show the household, one part of it, or the auto-report configuration", 0,
             1, false, with(RunShow), Choice(Parts())},
            {"forget", "", "forget the auto-report configuration", 0, 0, false, with(RunForget)},
            {"misbehave", "[NAME[@WHAT][=VALUE] [COUNT] | off [NAME]]", "switch a fault on or off; alone: list them", 0,
             2, false, with(RunMisbehave), MisbehaveCompletions(kLocalFaults)},
        });
    AddConsoleCommands(interpreter, context, kEvents);
}

} // namespace sim
