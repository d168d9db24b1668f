#include "simulator/console/EventLog.h"

#include <algorithm>
#include <cstdlib>

namespace sim
{

static const size_t kMaxEvents = 20000;
static const size_t kMaxBytes = 32 << 20;

bool ParseWait(const Words &words, int64_t defaultTimeoutMs, WaitQuery *query, std::string *error)
{
    *query = {"", {}, defaultTimeoutMs};
    for (const std::string &word : words) {
        const size_t equals = word.find_first_of("=~");
        int64_t timeout;
        if (query->event.empty()) {
            query->event = word;
        } else if (equals != std::string::npos && equals > 0) {
            const size_t path = word[equals] == '~' ? equals + 1 : equals;
            query->filters.emplace_back(word.substr(0, path), word.substr(equals + 1));
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
    for (const auto &filter : query.filters)
        text += ' ' + filter.first + (filter.first.back() == '~' ? "" : "=") + filter.second;
    return text;
}

bool Matches(const Event &event, const WaitQuery &query)
{
    if (query.event != "any" && query.event != event.name) return false;
    return std::all_of(query.filters.begin(), query.filters.end(), [&](const auto &filter) {
        const bool part = filter.first.back() == '~';
        const std::string path = part ? filter.first.substr(0, filter.first.size() - 1) : filter.first;
        const Field *field = FindField(event.fields, path);
        return field && (part ? field->value.find(filter.second) != std::string::npos : field->value == filter.second);
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

// ---- Packed fields: of each its kind, its texts with their lengths, and its children

static void PackNumber(size_t number, std::string *out)
{
    for (; number >= 0x80; number >>= 7) *out += static_cast<char>(number | 0x80);
    *out += static_cast<char>(number);
}

static void PackFields(const Fields &fields, std::string *out)
{
    PackNumber(fields.size(), out);
    for (const Field &field : fields) {
        *out += static_cast<char>(field.kind);
        for (const std::string *text : {&field.name, &field.value, &field.unit}) {
            PackNumber(text->size(), out);
            *out += *text;
        }
        PackFields(field.children, out);
    }
}

static size_t UnpackNumber(const char **at)
{
    size_t number = 0;
    for (unsigned shift = 0;; shift += 7) {
        const auto byte = static_cast<unsigned char>(*(*at)++);
        number |= static_cast<size_t>(byte & 0x7F) << shift;
        if (byte < 0x80) return number;
    }
}

static Fields UnpackFields(const char **at)
{
    Fields fields(UnpackNumber(at));
    for (Field &field : fields) {
        field.kind = static_cast<Field::Kind>(*(*at)++);
        for (std::string *text : {&field.name, &field.value, &field.unit}) {
            const size_t size = UnpackNumber(at);
            text->assign(*at, size);
            *at += size;
        }
        field.children = UnpackFields(at);
    }
    return fields;
}

// ---- The log

void EventLog::DropFirst()
{
    bytes_ -= events_.front().fields.size();
    events_.pop_front();
}

void EventLog::Add(const Event &event)
{
    events_.push_back({event.name, "", event.seconds});
    PackFields(event.fields, &events_.back().fields);
    events_.back().fields.shrink_to_fit();
    bytes_ += events_.back().fields.size();
    last_++;
    while (events_.size() > kMaxEvents || bytes_ > kMaxBytes) DropFirst();
}

bool EventLog::PutIf(const Kept &kept, const WaitQuery &query)
{
    if (query.event != "any" && query.event != kept.name) return false;
    const char *at = kept.fields.data();
    Event event = {kept.name, UnpackFields(&at), kept.seconds};
    if (!Matches(event, query)) return false;
    taken_ = true;
    takenEvent_ = std::move(event);
    return true;
}

uint64_t *EventLog::MarkFor(const WaitQuery &query)
{
    if (query.event == "output")
        for (const auto &filter : query.filters)
            if (filter.first == "program") return &outputMarks_[filter.second];
    return &mark_;
}

bool EventLog::Take(const WaitQuery &query)
{
    uint64_t *mark = MarkFor(query);
    const uint64_t first = last_ - events_.size() + 1;
    uint64_t number = std::max(first, *mark + 1);
    if (query.event == sought_.event && query.filters == sought_.filters) number = std::max(number, soughtUpTo_ + 1);
    for (; number <= last_; number++) {
        if (!PutIf(events_[static_cast<size_t>(number - first)], query)) continue;
        *mark = number;
        sought_ = {};
        return true;
    }
    sought_ = query;
    soughtUpTo_ = last_;
    return false;
}

bool EventLog::Recall(const WaitQuery &query)
{
    return std::any_of(events_.rbegin(), events_.rend(), [&](const Kept &kept) { return PutIf(kept, query); });
}

void EventLog::Put(const Event &event)
{
    taken_ = true;
    takenEvent_ = event;
}

} // namespace sim
