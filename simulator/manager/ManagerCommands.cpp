#include "simulator/manager/ManagerCommands.h"

#include <ctime>

#include "simulator/FunctionParameters.h"
#include "simulator/WrongWords.h"
#include "simulator/manager/LocalCommands.h"
#include "simulator/manager/ReportTimetable.h"

namespace sim
{

static const int64_t kMostFrames = 100000; // of one command
static const int64_t kDayMs = 86400000;

static const std::vector<std::string> kEvents = {"waiting",     "connected", "disconnected", "request",
                                                 "answered",    "sent",      "withheld",     "stopped",
                                                 "auto-report", "bad-frame", "any"};

// ---- Sending

static Outcome RunRepeated(const Words &words, ManagerContext *context, bool together)
{
    int64_t count;
    std::string error;
    if (!ParseNumber(words[1], 1, kMostFrames, &count)) return Outcome::Fail("'" + words[1] + "' is no count");
    return Result(context->manager->Send(From(words, 2), count, together, &error), error);
}

static Outcome RunFlood(const Words &words, ManagerContext *context)
{
    return RunRepeated(words, context, false);
}

static Outcome RunBurst(const Words &words, ManagerContext *context)
{
    return RunRepeated(words, context, true);
}

// "every SECONDS [COUNT] COMMAND", the first one now.
static Outcome RunEvery(const Words &words, ManagerContext *context)
{
    int64_t period, count = 0;
    std::string error;
    if (!ParseSeconds(words[1], &period) || period == 0) return Outcome::Fail("'" + words[1] + "' is no time");
    const bool counted = ParseNumber(words[2], 1, 1000000000, &count);
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

// ---- Misbehaviours

static std::string MisbehaviourList()
{
    std::string text = "NAME[@WHAT][=VALUE] [COUNT]; without COUNT until \"misbehave off\". WHAT is the FuncID of the\n"
                       "frames that it is for, by number or name; without it, it is for all that are sent.\n\n";
    for (const LocalWrongRow &row : kLocalWrongs) text += WrongHelp(row.name, row.value, row.valueUnset, row.help);
    return text;
}

static Outcome RunMisbehave(const Words &words, ManagerContext *context)
{
    LocalMisbehaviour *wrongs = context->manager->Wrongs();
    if (words.size() == 1) {
        context->journal->Say(MisbehaviourList());
        return Outcome::Ok();
    }
    if (words[1] == "off") {
        const std::string name = words.size() > 2 ? words[2] : "";
        const bool found = wrongs->Off(name) > 0 || name.empty();
        return Result(found, "'" + name + "' is not switched on");
    }
    std::string error;
    return Result(wrongs->Add(From(words, 1), &error), error);
}

static const CommandRow<ManagerContext> kCommands[] = {
    {"flood", "COUNT COMMAND", "send a frame command COUNT times back to back", 2, 1000, true, RunFlood},
    {"burst", "COUNT COMMAND", "the same, all frames in one write", 2, 1000, true, RunBurst},
    {"every", "SECONDS [COUNT] COMMAND", "send a frame command every SECONDS, COUNT times or until \"timetable off\"",
     2, 1000, true, RunEvery},
    {"at", "HH:MM[:SS] COMMAND", "send a frame command the next time that the clock shows this", 2, 1000, true, RunAt},
    {"timetable", "off", "forget what every and at have set going; status shows it", 1, 1, false, RunTimetable},
    {"reports", "on|off", "report by the auto-report configuration", 1, 1, false, RunReports},
    {"disconnect", "", "close the connection and stay away", 0, 0, true, RunDisconnect},
    {"connect", "", "seek the agent again", 0, 0, true, RunConnect},
    {"reconnect", "[SECONDS]", "close the connection and come back, SECONDS later", 0, 1, true, RunReconnect},
    {"set", "NAME VALUE...", "change a setting of the household:", 1, 1000, false, RunHousehold},
    {"node", "add ... | change MAC FIELD=VALUE... | remove MAC | clear", "parts of the mesh", 1, 1000, false,
     RunHousehold},
    {"neighbour", "add ... | change BSSID FIELD=VALUE... | remove BSSID | clear", "Wi-Fi networks of the neighbours", 1,
     1000, false, RunHousehold},
    {"device", "add ... | change MAC FIELD=VALUE... | remove MAC | clear", "devices of the household", 1, 1000, false,
     RunHousehold},
    {"wan", "add ... | change INDEX FIELD=VALUE... | remove INDEX | clear", "its WANs", 1, 1000, false, RunHousehold},
    {"show", "[NAME | auto-report]", "show the household, one part of it, or the auto-report configuration", 0, 1,
     false, RunShow},
    {"forget", "", "forget the auto-report configuration", 0, 0, false, RunForget},
    {"misbehave", "[NAME[@WHAT][=VALUE] [COUNT] | off [NAME]]", "do something wrong; alone: list what there is", 0, 2,
     false, RunMisbehave},
};

Outcome RunManagerCommand(const Words &words, ManagerContext *context)
{
    if (words.empty()) return Outcome::Ok();
    if (!SendsLocalFrame(words[0])) return RunFrom(kCommands, words, context);
    context->journal->Log().MarkHere();
    std::string error;
    return Result(context->manager->Send(words, 1, false, &error), error);
}

// The fields of a list's records.
static std::string ListHelp(const std::string &list)
{
    const Function add = {0, "", STATUS_UNKNOWN, VARIES, {"", Household::ListLayout(list)}};
    return "        " + list + " add" + Usage(add) + "\n";
}

bool ManagerHelp(const std::string &name, std::string *text)
{
    *text = name.empty() ? "Frames to the agent:\n" : "";
    *text += RowsHelp(kLocalCommands, name);
    if (name.empty()) *text += "Everything else:\n";
    for (const auto &row : kCommands) {
        if (!name.empty() && name != row.name) continue;
        *text += HelpLines(row);
        if (row.name == std::string("set")) *text += Household::SettingHelp();
        for (const std::string &list : Household::ListNames())
            if (list == row.name && list == name) *text += ListHelp(list);
    }
    *text += RowsHelp(kConsoleCommands, name);
    if (name == "wait") *text += EventsHelp(kEvents);
    return !text->empty();
}

// How many words stand before the frame command that a repeating command sends.
static size_t RepeatWords(const Words &before)
{
    if (before.empty()) return 0;
    if (before[0] == "flood" || before[0] == "burst" || before[0] == "at") return 2;
    int64_t count;
    if (before[0] != "every") return 0;
    return before.size() > 2 && ParseNumber(before[2], 1, 1000000000, &count) ? 3 : 2;
}

static std::vector<std::string> ListCompletions(const Words &words)
{
    if (words.size() == 1) return {"add", "change", "remove", "clear"};
    std::vector<std::string> found;
    if (words[1] == "add" || (words[1] == "change" && words.size() > 2))
        for (const FieldLayout &field : Household::ListLayout(words[0])) found.push_back(std::string(field.name) + "=");
    return found;
}

static std::vector<std::string> WrongNames()
{
    std::vector<std::string> names;
    for (const LocalWrongRow &row : kLocalWrongs) names.push_back(row.name);
    return names;
}

static std::vector<std::string> With(std::vector<std::string> names, const std::string &more)
{
    names.push_back(more);
    return names;
}

std::vector<std::string> ManagerCompletions(const Words &before)
{
    const size_t repeat = RepeatWords(before);
    if (repeat > 0 && before.size() < repeat) return {};
    const Words words = From(before, repeat);
    std::vector<std::string> found = LocalCompletions(words.size() == 1 && words[0] == "help" ? Words() : words);
    if (words.empty() || (words.size() == 1 && words[0] == "help")) {
        if (repeat > 0) return found;
        for (const auto &row : kCommands) found.push_back(row.name);
        for (const auto &row : kConsoleCommands) found.push_back(row.name);
        return found;
    }
    const std::vector<std::string> lists = Household::ListNames();
    if (!found.empty()) return found;
    if (std::find(lists.begin(), lists.end(), words[0]) != lists.end()) return ListCompletions(words);
    if (words[0] == "set") return words.size() == 1 ? Household::SettingNames() : Household::ValueNamesOf(words[1]);
    if (words[0] == "show") {
        found = Household::SettingNames();
        found.insert(found.end(), lists.begin(), lists.end());
        return With(found, "auto-report");
    }
    if (words[0] == "misbehave") return words.size() == 1 ? With(WrongNames(), "off") : WrongNames();
    if (words[0] == "wait" && words.size() == 1) return kEvents;
    if (words[0] == "reports") return {"on", "off"};
    if (words[0] == "timetable") return {"off"};
    return {};
}

} // namespace sim
