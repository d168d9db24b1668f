#include "simulator/console/Journal.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <iterator>
#include <sstream>

namespace sim
{

static const char kColourOff[] = "\033[0m";
static const char kRed[] = "\033[1;31m";
static const char kGreen[] = "\033[32m";
static const char kCyan[] = "\033[36m";
static const char kGrey[] = "\033[90m";
static const char kBold[] = "\033[1m";
static const size_t kWhoWidth = 7;

bool IsFault(const std::string &event)
{
    return event == "bad-checksum" || event == "bad-frame";
}

static bool IsLoud(const std::string &event)
{
    return IsFault(event) || event == "failed";
}

// Whether the event is shown with --quiet too.
static bool Wanted(const std::string &event)
{
    static const char *const kWanted[] = {"listening", "answer", "status", "household", "done", "exit"};
    return IsLoud(event) ||
           std::any_of(std::begin(kWanted), std::end(kWanted), [&](const char *name) { return event == name; });
}

static std::string Value(const Fields &fields, const std::string &path)
{
    const Field *field = FindField(fields, path);
    return field ? field->value : "";
}

static std::string ClockText(double seconds)
{
    const time_t whole = static_cast<time_t>(seconds);
    struct tm local;
    localtime_r(&whole, &local);
    char text[40];
    const int millis = std::min(999, static_cast<int>((seconds - static_cast<double>(whole)) * 1000));
    snprintf(text, sizeof text, "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min, local.tm_sec, millis);
    return text;
}

// "reply  identity, status 0, 7+2+304 bytes, checksum ok"
static std::string FrameHeadline(const Fields &f)
{
    std::string text;
    const auto add = [&](const std::string &part) {
        if (!part.empty()) text += (text.empty() ? "" : ", ") + part;
    };
    const std::string type = Value(f, "type");
    add("MsgType " + Value(f, "msgtype") + (type.empty() ? "" : " " + type));
    // The DataType of function commands repeats the function.
    if (FindField(f, "datatype") && Value(f, "datatype") != Value(f, "function")) {
        const std::string name = Value(f, "datatype_name");
        add("DataType " + Value(f, "datatype") + (name.empty() ? "" : " " + name));
    }
    if (FindField(f, "function")) {
        const std::string name = Value(f, "function_name");
        add("function " + Value(f, "function") + (name.empty() ? "" : " " + name));
    }
    if (FindField(f, "status")) add("status " + Value(f, "status"));
    add(Value(f, "verdict"));
    add("7+" + Value(f, "head_length") + "+" + Value(f, "body_length") + " bytes");
    const bool ok = Value(f, "checksum_ok") == "true";
    add(ok ? "checksum ok" : "CHECKSUM " + Value(f, "checksum") + " INSTEAD OF " + Value(f, "checksum_expected"));
    return text;
}

// Fields that the headline of a frame has shown already, or that only programs need.
static bool InFrameHeadline(const Field &field)
{
    static const char *const kNames[] = {
        "conn",        "dir",         "server",      "type",          "msgtype",       "flag",
        "length",      "checksum",    "head_length", "datatype",      "datatype_name", "status",
        "body_length", "checksum_ok", "function",    "function_name", "verdict",       "checksum_expected",
        "step",        "zeros",
    };
    return std::any_of(std::begin(kNames), std::end(kNames), [&](const char *name) { return field.name == name; });
}

// In a report of all devices each is a dozen lines, and the command `devices` makes a table of them.
static Fields WithoutDevices(Fields fields)
{
    for (Field &field : fields)
        if (field.name == "devices" && !field.children.empty())
            field = TextField(field.name, std::to_string(field.children.size()) + "; --hex shows them in full");
    return fields;
}

static Fields FrameDetails(const Fields &fields, bool full)
{
    const bool zeros = FindField(fields, "zeros"), report = !FindField(fields, "function");
    const bool textShown = FindField(fields, "text") || FindField(fields, "fields") || FindField(fields, "data") ||
                           FindField(fields, "parameters") || FindField(fields, "status");
    Fields details;
    for (const Field &field : fields) {
        if (InFrameHeadline(field)) continue;
        if (field.name == "payload" && textShown) continue;
        if (field.name == "parameters" && FindField(fields, "fields")) continue;
        if (field.name == "text" && FindField(fields, "json")) continue;
        if (field.name == "mac" && FindField(fields, "fields.mac")) continue;
        if (field.value.empty() && field.children.empty()) continue;
        if (zeros && !full && (field.name == "fields" || field.name == "data")) continue;
        // Head and fields have few values, with names of their own: no need for another level.
        if (field.name == "head" || field.name == "fields") {
            const Fields inner = report && !full ? WithoutDevices(field.children) : field.children;
            details.insert(details.end(), inner.begin(), inner.end());
        } else {
            details.push_back(field);
        }
    }
    return details;
}

// The answer of a command, and what a script shows: a headline, a finding, lines of another program.
static std::string AnswerText(const Fields &fields, const JournalStyle &style)
{
    const auto in = [&](const char *colour, const std::string &text) {
        return style.colour ? colour + text + kColourOff : text;
    };
    const std::string text = Value(fields, "text"), as = Value(fields, "as");
    if (as == "title") return '\n' + in(kBold, text) + '\n';
    if (as == "ok") return "  " + in(kGreen, "ok") + "      " + text + '\n';
    if (as.empty()) return text + '\n';
    std::string who = Value(fields, "who"), lines;
    who.resize(std::max(who.size(), kWhoWidth), ' ');
    std::istringstream parts(text);
    for (std::string line; std::getline(parts, line);)
        if (!line.empty()) lines += "  " + in(kGrey, who + ' ' + Visible(line)) + '\n';
    return lines;
}

static std::string RenderForPeople(const Event &event, double seconds, const JournalStyle &style)
{
    const auto in = [&](const char *colour, const std::string &text) {
        return style.colour ? colour + text + kColourOff : text;
    };
    if (event.name == "answer") return AnswerText(event.fields, style);
    const std::string dir = Value(event.fields, "dir");
    const bool frame = FindField(event.fields, "msgtype") && !IsLoud(event.name);
    const std::string conn = Value(event.fields, "conn");
    std::string line = in(kGrey, ClockText(seconds)) + ' ';
    line += (conn.empty() ? "" : '#' + conn) + std::string(conn.size() < 3 ? 3 - conn.size() : 0, ' ');
    if (conn.empty()) line += ' ';
    line += dir == "in" ? " <- " : dir == "out" ? " -> " : "    ";
    std::string name = event.name;
    const std::string pad(name.size() < 13 ? 13 - name.size() : 0, ' ');
    line += in(IsLoud(event.name) ? kRed
               : dir == "in"      ? kGreen
                                  : kCyan,
               IsLoud(event.name) ? "*** " + name : name) +
            pad;
    Fields details;
    if (frame) {
        line += ' ' + FrameHeadline(event.fields);
        details = FrameDetails(event.fields, style.full);
    } else {
        for (const Field &field : event.fields) {
            const std::string leaves = LeafList(field);
            if (!leaves.empty()) {
                line += ' ' + field.name + ' ' + leaves;
            } else if (!field.children.empty()) {
                details.push_back(field);
            } else if (field.name != "conn" && field.name != "dir" && !field.value.empty()) {
                line += ' ' + field.name + ' ' + Visible(field.value);
            }
        }
    }
    return line + '\n' + ToLines(details, 22);
}

std::string RenderEvent(const Event &event, double seconds, const JournalStyle &style)
{
    if (!style.json) return RenderForPeople(event, seconds, style);
    Fields fields = {TextField("event", event.name), RealField("t", seconds, 3)};
    fields.insert(fields.end(), event.fields.begin(), event.fields.end());
    return ToJson(fields) + '\n';
}

// Events of plugsim itself around a command. No wait looks for them.
static bool IsBookkeeping(const std::string &event)
{
    return event == "command" || event == "done" || event == "failed" || event == "answer" || event == "status";
}

void Journal::Emit(const std::string &name, Fields fields)
{
    struct timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    const double seconds = static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
    const Event event = {name, std::move(fields), seconds};
    counts_[name]++;
    if (IsFault(name)) faults_++;
    if (!IsBookkeeping(name)) log_.Add(event);
    if (alsoTo_) alsoTo_(RenderEvent(event, seconds, {true, false, false}));
    if (!style_.quiet || Wanted(name)) write_(RenderEvent(event, seconds, style_));
    if (happened_) happened_();
}

void Journal::Say(const std::string &text)
{
    Emit("answer", {TextField("text", text)});
}

Fields Journal::Counts() const
{
    Fields counts;
    for (const auto &count : counts_) counts.push_back(NumberField(count.first, static_cast<int64_t>(count.second)));
    return counts;
}

} // namespace sim
