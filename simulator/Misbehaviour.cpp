#include "simulator/Misbehaviour.h"

#include <algorithm>

#include "simulator/WrongWords.h"

namespace sim
{

static const unsigned kAnswers = STEP_REGISTER | STEP_LOGIN | STEP_HEARTBEAT | STEP_UPLOAD;
static const unsigned kSession = STEP_REGISTER | STEP_LOGIN;
static const unsigned kAll = kAnswers | STEP_COMMAND;

const std::vector<WrongRow> kWrongs = {
    {Wrong::Refuse, "refuse", nullptr, nullptr, kSession, kSession, "close a connection as soon as it is accepted"},
    {Wrong::Silent, "silent", nullptr, nullptr, kAnswers, kAll, "do not answer (command: do not send)"},
    {Wrong::Late, "late", "SECONDS", nullptr, kAnswers, kAll, "send SECONDS later; other frames may overtake"},
    {Wrong::ErrorCode, "refuse-error", "CODE", "1", STEP_REGISTER, kSession,
     "put an error code into the head block of the acknowledgement"},
    {Wrong::EmptyAck, "empty-ack", nullptr, nullptr, kSession, kAnswers, "send the acknowledgement without a body"},
    {Wrong::Interval, "interval", "SECONDS", nullptr, STEP_LOGIN, STEP_LOGIN,
     "name another heartbeat interval, -32768 to 32767"},
    {Wrong::Announce, "announce", "ADDR:PORT", "0.0.0.0:0", STEP_REGISTER, STEP_REGISTER, "name another login server"},
    {Wrong::BadChecksum, "bad-checksum", nullptr, nullptr, STEP_COMMAND, kAll, "send a checksum that is one too high"},
    {Wrong::WrongKey, "wrong-key", "TEXT", "not the key", kAll, kAll, "encrypt with another key"},
    {Wrong::InnerLength, "inner-length", "N", "1000", STEP_COMMAND, STEP_COMMAND | STEP_UPLOAD,
     "let the inner record announce N bytes more than it has"},
    {Wrong::CutBody, "cut-body", "N", "1", STEP_COMMAND, kAll,
     "leave out the last N bytes of the body, with a header that says so"},
    {Wrong::ShortBody, "short-body", "N", "1", STEP_COMMAND, kAll,
     "leave out the last N bytes of the body, with a header that announces them"},
    {Wrong::LongBody, "long-body", "N", "16", STEP_COMMAND, kAll, "send N bytes behind the body that nobody announced"},
    {Wrong::AnnounceBody, "announce-body", "N", "65535", STEP_COMMAND, kAll,
     "let the header announce a body of N bytes"},
    {Wrong::NetworkFailure, "network-failure", nullptr, nullptr, STEP_HEARTBEAT, kAll,
     "send a body that begins FF FF instead of the real one"},
    {Wrong::Duplicate, "duplicate", nullptr, nullptr, kAnswers, kAll, "send the frame twice"},
    {Wrong::ForcedDisconnect, "forced-disconnect", nullptr, nullptr, STEP_HEARTBEAT, kAll,
     "send a forced disconnect (MsgType 3) behind the frame"},
    {Wrong::CloseMidFrame, "close-mid-frame", nullptr, nullptr, STEP_COMMAND, kAll,
     "send the first half of the frame and close the connection"},
    {Wrong::Close, "close", nullptr, nullptr, STEP_HEARTBEAT, kAll, "close the connection behind the frame"},
    {Wrong::Fragments, "fragments", "N[,MS]", "1,0", kAll, kAll, "send in pieces of N bytes, MS milliseconds apart"},
    {Wrong::Drip, "drip", "MS", "1000", kAll, kAll, "send a byte every MS milliseconds"},
    {Wrong::Garbage, "garbage", "N", "100", kAll, kAll, "send N random bytes (never a magic) before the frame"},
    {Wrong::Noise, "noise", "MEGABYTES", "1", STEP_COMMAND, kAll, "send MEGABYTES of random bytes before the frame"},
};

namespace
{
struct StepRow {
    Step step;
    const char *name;
};
const StepRow kSteps[] = {
    {STEP_REGISTER, "register"}, {STEP_LOGIN, "login"},     {STEP_HEARTBEAT, "heartbeat"},
    {STEP_UPLOAD, "upload"},     {STEP_COMMAND, "command"},
};

// What the numbers of a value may be.
struct Range {
    Wrong wrong;
    int64_t low, high;
    bool second; // a pause in milliseconds may follow behind a comma
};
const Range kRanges[] = {
    {Wrong::ErrorCode, 1, 65535, false},    {Wrong::Interval, -32768, 32767, false},
    {Wrong::InnerLength, 1, 65535, false},  {Wrong::CutBody, 1, 65535, false},
    {Wrong::ShortBody, 1, 65535, false},    {Wrong::LongBody, 1, 1048576, false},
    {Wrong::AnnounceBody, 0, 65535, false}, {Wrong::Fragments, 1, 65535, true},
    {Wrong::Drip, 1, 3600000, false},       {Wrong::Garbage, 1, 1048576, false},
    {Wrong::Noise, 1, 64, false},
};
} // namespace

std::string StepName(Step step)
{
    for (const StepRow &row : kSteps)
        if (row.step == step) return row.name;
    return "";
}

std::string StepsText(unsigned steps)
{
    std::string text;
    for (const StepRow &row : kSteps)
        if (steps & row.step) text += (text.empty() ? "" : ", ") + std::string(row.name);
    return text;
}

std::string WrongText(const ActiveWrong &active)
{
    std::string text = active.row->name;
    if (active.steps != active.row->steps) text += '@' + StepsText(active.steps);
    if (active.row->value) text += '=' + active.value;
    return text;
}

static bool ReadNumbers(ActiveWrong *active, std::string *error)
{
    const WrongRow &row = *active->row;
    *error = std::string("'") + active->value + "' is no " + (row.value ? row.value : "value") + " for " + row.name;
    if (row.wrong == Wrong::Late) {
        active->numbers.push_back(0);
        return ParseSeconds(active->value, &active->numbers[0]);
    }
    if (row.wrong == Wrong::Announce) {
        Address address;
        return ParseAddress(active->value, &address);
    }
    for (const Range &range : kRanges) {
        if (range.wrong != row.wrong) continue;
        const size_t comma = range.second ? active->value.find(',') : std::string::npos;
        int64_t number = 0;
        if (!ParseNumber(active->value.substr(0, comma), range.low, range.high, &number)) return false;
        active->numbers.push_back(number);
        number = 0;
        if (comma != std::string::npos && !ParseNumber(active->value.substr(comma + 1), 0, 3600000, &number))
            return false;
        active->numbers.push_back(number);
    }
    return true;
}

bool Misbehaviour::Add(const Words &words, std::string *error)
{
    WrongWords wrong;
    if (!SplitWrong(words, "STEP", &wrong, error)) return false;
    const auto row =
        std::find_if(kWrongs.begin(), kWrongs.end(), [&](const WrongRow &r) { return wrong.name == r.name; });
    if (row == kWrongs.end()) {
        *error = "there is no misbehaviour '" + wrong.name + "'";
        return false;
    }
    ActiveWrong active = {&*row, row->steps, "", {}, wrong.count};
    if (wrong.where) {
        active.steps = 0;
        for (const StepRow &step : kSteps)
            if (*wrong.where == step.name) active.steps = step.step & row->allowed;
        if (!active.steps) {
            *error = wrong.name + " can happen at " + StepsText(row->allowed) + " only";
            return false;
        }
    }
    if (!WrongValue(wrong, row->value, row->valueUnset, &active.value, error)) return false;
    if (row->value && !ReadNumbers(&active, error)) return false;
    active_.push_back(active);
    return true;
}

size_t Misbehaviour::Off(const std::string &name)
{
    const size_t before = active_.size();
    active_.erase(std::remove_if(active_.begin(), active_.end(),
                                 [&](const ActiveWrong &active) { return name.empty() || name == active.row->name; }),
                  active_.end());
    return before - active_.size();
}

bool Misbehaviour::Take(Wrong wrong, Step step, ActiveWrong *active)
{
    for (auto it = active_.begin(); it != active_.end(); ++it) {
        if (it->row->wrong != wrong || !(it->steps & step)) continue;
        if (it->left > 0) it->left--;
        *active = *it;
        if (it->left == 0) active_.erase(it);
        return true;
    }
    return false;
}

} // namespace sim
