#include "simulator/HttpWrongs.h"

#include <algorithm>
#include <cctype>

namespace sim
{

static const int64_t kMostBytes = int64_t(1) << 40;
static const size_t kMostText = 4000;     // of a text that goes into the header
static const size_t kMostActive = 1000;   // switched on together
static const int64_t kMostFiller = 65536; // bytes of header lines that mean nothing

const std::vector<HttpWrongRow> kHttpWrongs = {
    {HttpWrong::Size, "size", "SIZE", nullptr, 0, kMostBytes, "a made-up body of this size, whatever the path"},
    {HttpWrong::Late, "late", "SECONDS", nullptr, 0, 0, "answer SECONDS later"},
    {HttpWrong::NotFound, "not-found", "SIZE", "2000", 0, kMostBytes,
     "\"404 Not Found\" with a Content-Length and a made-up body of this size"},
    {HttpWrong::DripHeader, "drip-header", "MS", "10", 0, 3600000, "send the header a byte every MS milliseconds"},
    {HttpWrong::CutHeader, "cut-header", "N", "20", 0, kMostFiller,
     "send the first N bytes of the header and nothing else, then close (or stall, or reset)"},
    {HttpWrong::NoHeaderEnd, "no-header-end", nullptr, nullptr, 0, 0,
     "leave out the empty line: the body follows the last header line"},
    {HttpWrong::BareLf, "bare-lf", nullptr, nullptr, 0, 0, "end header lines with LF: no CR LF anywhere"},
    {HttpWrong::LongHeader, "long-header", "N", "2000", 12, kMostFiller, "N bytes of header behind Content-Length"},
    {HttpWrong::LateLength, "late-length", "N", "2000", 12, kMostFiller, "N bytes of header before Content-Length"},
    {HttpWrong::HeaderLine, "header", "TEXT", nullptr, 0, 0, "one more header line, before Content-Length"},
    {HttpWrong::Length, "length", "TEXT", nullptr, 0, 0,
     "announce this, a number or not: -1, 4294967297, nonsense; the body stays as it is"},
    {HttpWrong::LengthLine, "length-line", "N", "64", 17, 4000,
     "lengthen the Content-Length line to N characters, with zeros before the number"},
    {HttpWrong::NoLength, "no-length", nullptr, nullptr, 0, 0, "leave out Content-Length; close behind the body"},
    {HttpWrong::AnnounceMore, "announce-more", "N", "1", 1, kMostBytes,
     "announce N bytes more than are sent, then close"},
    {HttpWrong::SendMore, "send-more", "N", "1", 1, kMostBytes, "send N bytes more than are announced"},
    {HttpWrong::Slow, "slow", "SIZE", "1000", 1, kMostBytes, "send the body with SIZE bytes a second"},
    {HttpWrong::Stall, "stall", "SIZE", "0", 0, kMostBytes,
     "send nothing after SIZE bytes of the body, stay connected"},
    {HttpWrong::Close, "close", "SIZE", "0", 0, kMostBytes, "close after SIZE bytes of the body"},
    {HttpWrong::Reset, "reset", "SIZE", "0", 0, kMostBytes, "close with a TCP reset after SIZE bytes of the body"},
};

bool ParseSize(const std::string &text, int64_t *bytes)
{
    static const std::string kLetters = "KMG";
    std::string digits = text;
    int shift = 0;
    if (!text.empty()) {
        const size_t letter = kLetters.find(static_cast<char>(toupper(static_cast<unsigned char>(text.back()))));
        if (letter != std::string::npos) {
            shift = 10 * static_cast<int>(letter + 1);
            digits.pop_back();
        }
    }
    int64_t number;
    if (!ParseNumber(digits, 0, kMostBytes >> shift, &number)) return false;
    *bytes = number * (int64_t(1) << shift);
    return true;
}

std::string HttpWrongText(const ActiveHttpWrong &active)
{
    return active.row->name + (active.row->value ? '=' + active.value : std::string());
}

static bool ReadValue(ActiveHttpWrong *active)
{
    const HttpWrongRow &row = *active->row;
    if (row.wrong == HttpWrong::Late) return ParseSeconds(active->value, &active->number);
    if (row.wrong == HttpWrong::HeaderLine || row.wrong == HttpWrong::Length)
        return active->value.size() <= kMostText && active->value.find_first_of("\r\n") == std::string::npos;
    return !row.value ||
           (ParseSize(active->value, &active->number) && active->number >= row.low && active->number <= row.high);
}

static bool ReadWrong(const std::string &word, ActiveHttpWrong *active, std::string *error)
{
    const size_t equals = word.find('=');
    const std::string name = word.substr(0, equals);
    const auto row =
        std::find_if(kHttpWrongs.begin(), kHttpWrongs.end(), [&](const HttpWrongRow &r) { return name == r.name; });
    *error = "there is no '" + name + "' for http";
    if (row == kHttpWrongs.end()) return false;
    active->row = &*row;
    *error = name + " takes no value";
    if (equals != std::string::npos && !row->value) return false;
    *error = name + " needs a value: " + name + "=" + (row->value ? row->value : "");
    if (equals == std::string::npos && row->value && !row->valueUnset) return false;
    active->value = equals != std::string::npos ? word.substr(equals + 1) : row->valueUnset ? row->valueUnset : "";
    *error = "'" + active->value + "' is no " + (row->value ? row->value : "value") + " for " + name;
    return ReadValue(active);
}

bool HttpWrongs::Add(const Words &words, std::string *error)
{
    *error = "use: PATH|* NAME[=VALUE]... [COUNT]";
    if (words.size() < 2 || (words[0] != "*" && words[0][0] != '/')) return false;
    int64_t count = -1;
    size_t end = words.size();
    if (isdigit(static_cast<unsigned char>(words.back()[0]))) {
        end--;
        if (end < 2) return false;
        *error = "'" + words.back() + "' is no count";
        if (!ParseNumber(words.back(), 1, 1000000000, &count)) return false;
    }
    std::vector<ActiveHttpWrong> added;
    for (size_t i = 1; i < end; i++) {
        ActiveHttpWrong active = {nullptr, words[0], "", 0, count};
        if (!ReadWrong(words[i], &active, error)) return false;
        added.push_back(active);
    }
    *error = "too much is switched on; try \"http off\"";
    if (active_.size() + added.size() > kMostActive) return false;
    active_.insert(active_.end(), added.begin(), added.end());
    return true;
}

size_t HttpWrongs::Off(const std::string &name)
{
    const size_t before = active_.size();
    active_.erase(
        std::remove_if(active_.begin(), active_.end(),
                       [&](const ActiveHttpWrong &active) { return name.empty() || name == active.row->name; }),
        active_.end());
    return before - active_.size();
}

std::vector<ActiveHttpWrong> HttpWrongs::Take(const std::string &path)
{
    std::vector<ActiveHttpWrong> taken;
    for (ActiveHttpWrong &active : active_) {
        if (active.path != "*" && active.path != path) continue;
        if (active.left > 0) active.left--;
        const auto same =
            std::find_if(taken.begin(), taken.end(), [&](const ActiveHttpWrong &t) { return t.row == active.row; });
        if (same == taken.end())
            taken.push_back(active);
        else
            *same = active;
    }
    active_.erase(
        std::remove_if(active_.begin(), active_.end(), [](const ActiveHttpWrong &active) { return active.left == 0; }),
        active_.end());
    return taken;
}

std::string HttpWrongList()
{
    std::string text = "http PATH|* NAME[=VALUE]... [COUNT]; without COUNT until \"http off\" or \"http off NAME\".\n"
                       "SIZE and N are bytes, with K, M or G for 1024 and its powers.\n\n";
    for (const HttpWrongRow &row : kHttpWrongs) {
        std::string name = std::string("  ") + row.name;
        if (row.value) name += std::string(row.valueUnset ? "[=" : "=") + row.value + (row.valueUnset ? "]" : "");
        text += name + std::string(name.size() < 28 ? 28 - name.size() : 1, ' ') + row.help + "\n";
    }
    return text;
}

} // namespace sim
