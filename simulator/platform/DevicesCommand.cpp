#include "simulator/platform/DevicesCommand.h"

#include <algorithm>

namespace sim
{

std::string DevicesTable(const Fields &report)
{
    static const char *const kColumns[] = {"ip", "mac", "name", "up", "down", "online", "black_listed", "access"};
    std::vector<Words> rows = {{"IP", "MAC", "NAME", "UP", "DOWN", "ONLINE", "SHUT OUT", "INTERNET"}};
    const Field *devices = FindField(report, "fields.devices");
    for (const Field &device : devices ? devices->children : std::vector<Field>()) {
        Words row;
        for (const char *column : kColumns) {
            const Field *field = FindField(device.children, column);
            row.push_back(field ? Visible(field->value) : "");
        }
        rows.push_back(row);
    }
    if (rows.size() == 1) return "no devices";
    std::string text;
    for (const Words &row : rows) {
        std::string line;
        for (size_t i = 0; i < row.size(); i++) {
            size_t width = 0;
            for (const Words &other : rows) width = std::max(width, other[i].size());
            line += row[i] + std::string(i + 1 < row.size() ? width + 2 - row[i].size() : 0, ' ');
        }
        text += (text.empty() ? "" : "\n") + line;
    }
    return text;
}

Outcome RunDevices(const Words &words, CommandContext *context)
{
    Platform::TargetFacts target;
    Outcome outcome;
    outcome.kind = Outcome::Wait;
    int64_t timeoutMs = context->waitTimeoutMs;
    if (words.size() > 1 && !ParseSeconds(words[1], &timeoutMs))
        return Outcome::Fail("'" + words[1] + "' is not a time");
    if (!context->platform->Target(&target, &outcome.reason) ||
        !context->platform->Send({"report-devices"}, 1, false, &outcome.reason))
        return Outcome::Fail(outcome.reason);
    outcome.wait = {"upload", {{"conn", std::to_string(target.id)}, {"datatype", "63"}}, timeoutMs};
    outcome.reason = "no report of the devices came in time";
    Journal *journal = context->journal;
    outcome.then = [journal](const Event &report) {
        if (FindField(report.fields, "problems")) return Outcome::Fail("the report of the devices is faulty");
        journal->Say(DevicesTable(report.fields));
        return Outcome::Ok();
    };
    return outcome;
}

} // namespace sim
