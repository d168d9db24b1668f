#include "simulator/EventLog.h"

#include <algorithm>
#include <cstdlib>

namespace sim
{

static const size_t kKeptEvents = 20000;

bool ParseWait(const Words &words, int64_t defaultTimeoutMs, WaitQuery *query, std::string *error)
{
    *query = {"", {}, defaultTimeoutMs};
    for (const std::string &word : words) {
        const size_t equals = word.find('=');
        int64_t timeout;
        if (query->event.empty()) {
            query->event = word;
        } else if (equals != std::string::npos && equals > 0) {
            query->filters.emplace_back(word.substr(0, equals), word.substr(equals + 1));
        } else if (&word == &words.back() && ParseSeconds(word, &timeout)) {
            query->timeoutMs = timeout;
        } else {
            *error = "'" + word + "' is neither KEY=VALUE nor, at the end, a number of seconds";
            return false;
        }
    }
    if (query->event.empty()) *error = "wait for what?";
    return !query->event.empty();
}

std::string WaitText(const WaitQuery &query)
{
    std::string text = query.event;
    for (const auto &filter : query.filters) text += ' ' + filter.first + '=' + filter.second;
    return text;
}

bool Matches(const Event &event, const WaitQuery &query)
{
    if (query.event != "any" && query.event != event.name) return false;
    return std::all_of(query.filters.begin(), query.filters.end(), [&](const auto &filter) {
        const Field *field = FindField(event.fields, filter.first);
        return field && field->value == filter.second;
    });
}

static bool Holds(const Field &field, const std::string &relation, const std::string &value)
{
    if (relation == "=") return field.value == value;
    if (relation == "!=") return field.value != value;
    if (relation == "~") return field.value.find(value) != std::string::npos;
    char *endLeft = nullptr, *endRight = nullptr;
    const double left = strtod(field.value.c_str(), &endLeft), right = strtod(value.c_str(), &endRight);
    if (endLeft == field.value.c_str() || endRight == value.c_str() || *endLeft || *endRight) return false;
    return relation == "<" ? left < right : left > right;
}

bool CheckExpectation(const Event &event, const Words &words, std::string *error)
{
    Words rest = words;
    if (!rest.empty() && rest[0] == "field") {
        rest.erase(rest.begin());
        if (!rest.empty()) rest[0] = "fields." + rest[0];
    }
    static const char *const kRelations[] = {"=", "!=", "<", ">", "~"};
    std::string relation = "=";
    if (rest.size() == 3 &&
        std::any_of(std::begin(kRelations), std::end(kRelations), [&](const char *r) { return rest[1] == r; })) {
        relation = rest[1];
        rest.erase(rest.begin() + 1);
    }
    if (rest.size() != 2) {
        *error = "use: expect PATH [=|!=|<|>|~] VALUE";
        return false;
    }
    const Field *field = FindField(event.fields, rest[0]);
    if (!field) {
        *error = "the " + event.name + " has no " + rest[0];
        return false;
    }
    if (Holds(*field, relation, rest[1])) return true;
    *error = rest[0] + " is '" + Visible(field->value) + "', expected " + relation + " '" + rest[1] + "'";
    return false;
}

void EventLog::Add(const Event &event)
{
    events_.push_back(event);
    last_++;
    if (events_.size() > kKeptEvents) events_.pop_front();
}

bool EventLog::Take(const WaitQuery &query)
{
    const uint64_t first = last_ - events_.size() + 1;
    for (uint64_t number = std::max(first, mark_ + 1); number <= last_; number++) {
        const Event &event = events_[static_cast<size_t>(number - first)];
        if (!Matches(event, query)) continue;
        mark_ = number;
        taken_ = true;
        takenEvent_ = event;
        return true;
    }
    return false;
}

} // namespace sim
