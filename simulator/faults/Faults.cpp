#include "simulator/faults/Faults.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "simulator/console/Markdown.h"

namespace sim
{

static const size_t kHelpColumn = 28;
static const size_t kMaxActive = 1000; // switched on together
static const size_t kMaxLine = 4000;   // of a value that becomes part of a header line
static const int64_t kMaxCount = 1000000000;
static const int64_t kMaxPauseMs = 3600000;

// ---- Tables

// "late=SECONDS"; "close[=SIZE]" when the value may be left out.
static std::string UseOf(const FaultRow &row)
{
    const char *unset = row.value.unset;
    return row.name + (row.value.name ? std::string(unset ? "[=" : "=") + row.value.name + (unset ? "]" : "") : "");
}

// "register [login]": where it happens, and where it happens only when narrowed to that place.
static std::string PlacesText(const FaultTable &table, const FaultRow &row)
{
    const unsigned more = row.allowed & ~row.places;
    return table.placesText(row.places) + (more ? " [" + table.placesText(more) + "]" : "");
}

std::string FaultsHelp(const FaultTable &table)
{
    std::string text = table.help;
    for (const FaultRow &row : table.rows) {
        const std::string line = "  " + UseOf(row);
        text += line + std::string(line.size() < kHelpColumn ? kHelpColumn - line.size() : 1, ' ') + row.help + "\n";
        if (table.placesText) text += std::string(kHelpColumn, ' ') + "at " + PlacesText(table, row) + "\n";
    }
    return text;
}

std::string FaultsMarkdown(const FaultTable &table)
{
    std::vector<std::string> columns = {"fault", "default", ""};
    if (table.placesText) columns.push_back("at");
    std::string text = MarkdownHead(columns);
    for (const FaultRow &row : table.rows) {
        std::vector<std::string> cells = {MarkdownCode(UseOf(row)),
                                          MarkdownCode(row.value.unset ? row.value.unset : ""), row.help};
        if (table.placesText) cells.push_back(PlacesText(table, row));
        text += MarkdownRow(cells);
    }
    return text;
}

std::vector<std::string> FaultNames(const FaultTable &table)
{
    std::vector<std::string> names;
    for (const FaultRow &row : table.rows) names.push_back(row.name);
    return names;
}

static const FaultRow *FindRow(const FaultTable &table, const std::string &name)
{
    const auto row =
        std::find_if(table.rows.begin(), table.rows.end(), [&](const FaultRow &r) { return name == r.name; });
    return row == table.rows.end() ? nullptr : &*row;
}

// ---- From words

static bool ReadNumberAndPause(const FaultValue &value, ActiveFault *fault)
{
    const size_t comma = fault->value.find(',');
    return ParseNumber(fault->value.substr(0, comma), value.low, value.high, &fault->number) &&
           (comma == std::string::npos || ParseNumber(fault->value.substr(comma + 1), 0, kMaxPauseMs, &fault->pauseMs));
}

static bool ReadValue(const FaultValue &value, ActiveFault *fault)
{
    Address address;
    switch (value.kind) {
    case FaultValue::None:
    case FaultValue::Text: return true;
    case FaultValue::Line:
        return fault->value.size() <= kMaxLine && fault->value.find_first_of("\r\n") == std::string::npos;
    case FaultValue::Number: return ParseNumber(fault->value, value.low, value.high, &fault->number);
    case FaultValue::NumberAndPause: return ReadNumberAndPause(value, fault);
    case FaultValue::Size:
        return ParseSize(fault->value, &fault->number) && fault->number >= value.low && fault->number <= value.high;
    case FaultValue::Seconds: return ParseSeconds(fault->value, &fault->number);
    case FaultValue::AddressAndPort: return ParseAddress(fault->value, &address);
    }
    return false;
}

// NAME[@WHERE][=VALUE]
bool Faults::Read(const std::string &word, ActiveFault *fault, std::string *error) const
{
    const size_t equals = word.find('=');
    const std::string front = word.substr(0, equals);
    const size_t at = table_->narrow ? front.find('@') : std::string::npos;
    const std::string name = front.substr(0, at);
    const FaultRow *row = FindRow(*table_, name);
    *error = table_->narrow ? "there is no fault '" + name + "'" : "there is no '" + name + "' for " + table_->command;
    if (!row) return false;
    fault->row = row;
    fault->places = row->places;
    if (at != std::string::npos && !table_->narrow(front.substr(at + 1), fault, error)) return false;

    const FaultValue &value = row->value;
    *error = name + " takes no value";
    if (equals != std::string::npos && !value.name) return false;
    *error = name + " needs a value: " + name + "=" + (value.name ? value.name : "");
    if (equals == std::string::npos && value.name && !value.unset) return false;
    fault->value = equals != std::string::npos ? word.substr(equals + 1) : value.unset ? value.unset : "";
    *error = "'" + fault->value + "' is not a valid " + (value.name ? value.name : "value") + " for " + name;
    return ReadValue(value, fault);
}

bool Faults::Add(const Words &words, std::string *error)
{
    ActiveFault common;
    size_t first = 0, end = words.size();
    bool counted = words.size() == 2;
    if (table_->narrow) {
        *error = std::string("use: NAME[@") + table_->where + "][=VALUE] [COUNT]";
        if (words.empty() || words.size() > 2) return false;
    } else {
        *error = "use: PATH|* NAME[=VALUE]... [COUNT]";
        if (words.size() < 2 || (words[0] != "*" && words[0][0] != '/')) return false;
        common.where = words[first++];
        counted = isdigit(static_cast<unsigned char>(words.back()[0]));
        if (counted && words.size() == 2) return false;
    }
    if (counted) {
        *error = "'" + words[--end] + "' is not a count";
        if (!ParseNumber(words[end], 1, kMaxCount, &common.left)) return false;
    }
    std::vector<ActiveFault> added;
    for (size_t i = first; i < end; i++) {
        added.push_back(common);
        if (!Read(words[i], &added.back(), error)) return false;
    }
    *error = std::string("too much is switched on; try \"") + table_->command + " off\"";
    if (active_.size() + added.size() > kMaxActive) return false;
    active_.insert(active_.end(), added.begin(), added.end());
    return true;
}

Faults::Faults(const FaultTable &table, const std::vector<std::string> &lines) : table_(&table)
{
    for (const std::string &line : lines) {
        Words words;
        std::string error;
        if (SplitWords(line, &words, &error)) Add(words, &error);
    }
}

// ---- What is switched on

size_t Faults::Off(const std::string &name)
{
    const size_t before = active_.size();
    active_.erase(std::remove_if(active_.begin(), active_.end(),
                                 [&](const ActiveFault &active) { return name.empty() || active.Is(name); }),
                  active_.end());
    return before - active_.size();
}

static bool Happens(const ActiveFault &active, const FaultPlace &place)
{
    return (active.places & place.bit) && (active.where.empty() || active.where == "*" || active.where == place.name);
}

bool Faults::Take(const std::string &name, const FaultPlace &place, ActiveFault *taken)
{
    if (!FindRow(*table_, name)) abort(); // misspelt
    const auto active = std::find_if(active_.begin(), active_.end(),
                                     [&](const ActiveFault &a) { return a.Is(name) && Happens(a, place); });
    if (active == active_.end()) return false;
    if (active->left > 0) active->left--;
    *taken = *active;
    if (active->left == 0) active_.erase(active);
    return true;
}

std::vector<ActiveFault> Faults::TakeAll(const FaultPlace &place)
{
    std::vector<ActiveFault> all;
    for (ActiveFault &active : active_) {
        if (!Happens(active, place)) continue;
        if (active.left > 0) active.left--;
        const auto same =
            std::find_if(all.begin(), all.end(), [&](const ActiveFault &taken) { return taken.row == active.row; });
        if (same == all.end())
            all.push_back(active);
        else
            *same = active;
    }
    active_.erase(
        std::remove_if(active_.begin(), active_.end(), [](const ActiveFault &active) { return active.left == 0; }),
        active_.end());
    return all;
}

std::vector<std::string> Faults::Shown() const
{
    std::vector<std::string> all;
    for (const ActiveFault &active : active_)
        all.push_back((table_->narrow ? "" : active.where + ' ') + FaultText(*table_, active) +
                      (active.left > 0 ? table_->before + std::to_string(active.left) + table_->after : ""));
    return all;
}

std::string FaultText(const FaultTable &table, const ActiveFault &active)
{
    std::string text = active.row->name;
    if (table.narrow && !active.where.empty()) text += '@' + active.where;
    return text + (active.row->value.name ? '=' + active.value : "");
}

bool FaultTaker::Take(const std::string &name)
{
    if (!faults_->Take(name, place_, &taken_)) return false;
    happened_->push_back(FaultText(faults_->Table(), taken_));
    return true;
}

} // namespace sim
