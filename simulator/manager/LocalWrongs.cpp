#include "simulator/manager/LocalWrongs.h"

#include <algorithm>

#include "comm/CommFrame.h"
#include "simulator/WrongWords.h"
#include "simulator/manager/LocalRequests.h"

namespace sim
{

static const int64_t kDayMs = 86400000;
static const uint16_t kPluginState = 998;

const std::vector<LocalWrongRow> kLocalWrongs = {
    {LocalWrong::Silent, "silent", nullptr, nullptr, 0, 0, false, false, "do not send it"},
    {LocalWrong::Late, "late", "SECONDS", nullptr, 0, kDayMs, true, false,
     "send it SECONDS later; other frames may overtake"},
    {LocalWrong::Status, "status", "N", "1", 0, 255, false, true, "answer status N and nothing else"},
    {LocalWrong::WrongId, "wrong-id", "ID", "6", 0, 65535, false, false, "send it under another FuncID"},
    {LocalWrong::RepeatSequence, "repeat-sequence", nullptr, nullptr, 0, 0, false, false,
     "give it the number of the frame before"},
    {LocalWrong::BadChecksum, "bad-checksum", nullptr, nullptr, 0, 0, false, false,
     "send a checksum that is one too high"},
    {LocalWrong::BadHead, "bad-head", nullptr, nullptr, 0, 0, false, false, "begin it with YY instead of ZZ"},
    {LocalWrong::Oversized, "oversized", "N", "8101", 15, kLocalPayloadMost, false, false,
     "fill it with zeros up to N bytes"},
    {LocalWrong::Announce, "announce", "N", "65535", 0, UINT32_MAX, false, false, "announce a payload of N bytes"},
    {LocalWrong::Empty, "empty", nullptr, nullptr, 0, 0, false, false, "send it without a payload"},
    {LocalWrong::Noise, "noise", "N", "100", 1, kLocalPayloadMost, false, false,
     "send N bytes that are no frame first"},
    {LocalWrong::TwoInOne, "two-in-one", nullptr, nullptr, 0, 0, false, false,
     "send it in one write with a frame behind it that asks for nothing"},
    {LocalWrong::Twice, "twice", nullptr, nullptr, 0, 0, false, false, "send it twice, in two writes"},
    {LocalWrong::Split, "split", "SECONDS", "1", 0, kDayMs, true, false, "send half of it, and the rest SECONDS later"},
    {LocalWrong::Half, "half", nullptr, nullptr, 0, 0, false, false, "send half of it, and never the rest"},
    {LocalWrong::CloseMidFrame, "close-mid-frame", nullptr, nullptr, 0, 0, false, false,
     "send half of it and close the connection"},
    {LocalWrong::Close, "close", nullptr, nullptr, 0, 0, false, false, "close the connection behind it"},
    {LocalWrong::Disconnect, "disconnect", nullptr, nullptr, 0, 0, false, false, "close the connection instead"},
};

// ---- What is switched on

bool LocalMisbehaviour::Add(const Words &words, std::string *error)
{
    WrongWords wrong;
    if (!SplitWrong(words, "WHAT", &wrong, error)) return false;
    const auto row = std::find_if(kLocalWrongs.begin(), kLocalWrongs.end(),
                                  [&](const LocalWrongRow &r) { return wrong.name == r.name; });
    if (row == kLocalWrongs.end()) {
        *error = "there is no misbehaviour '" + wrong.name + "'";
        return false;
    }
    ActiveLocalWrong active = {&*row, {}, "", 0, wrong.count};
    if (wrong.where) {
        uint16_t id;
        if (!LocalNumber(*wrong.where, &id)) {
            *error = "there is no frame '" + *wrong.where + "'";
            return false;
        }
        active.id = id;
    }
    if (!WrongValue(wrong, row->value, row->valueUnset, &active.text, error)) return false;
    const bool good = !row->value || (row->seconds ? ParseSeconds(active.text, &active.value)
                                                   : ParseNumber(active.text, row->low, row->high, &active.value));
    if (!good) {
        *error = "'" + active.text + "' is no " + row->value + " for " + row->name;
        return false;
    }
    active_.push_back(active);
    return true;
}

size_t LocalMisbehaviour::Off(const std::string &name)
{
    const size_t before = active_.size();
    active_.erase(std::remove_if(active_.begin(), active_.end(),
                                 [&](const ActiveLocalWrong &a) { return name.empty() || name == a.row->name; }),
                  active_.end());
    return before - active_.size();
}

bool LocalMisbehaviour::Take(LocalWrong wrong, const LocalOutgoing &frame, ActiveLocalWrong *active)
{
    for (auto it = active_.begin(); it != active_.end(); ++it) {
        if (it->row->wrong != wrong || (it->id && *it->id != frame.id)) continue;
        if (it->row->answersOnly && !frame.answer) continue;
        if (it->left > 0) it->left--;
        *active = *it;
        if (it->left == 0) active_.erase(it);
        return true;
    }
    return false;
}

std::string LocalWrongText(const ActiveLocalWrong &active)
{
    std::string text = active.row->name;
    if (active.id) text += '@' + std::to_string(*active.id);
    if (active.row->value) text += '=' + active.text;
    return text;
}

// ---- How frames leave

namespace
{
// Takes misbehaviours for one frame and writes down which.
class Taker
{
  public:
    Taker(const LocalOutgoing &frame, LocalMisbehaviour *misbehaviour, std::vector<std::string> *names)
        : frame_(frame), misbehaviour_(misbehaviour), names_(names)
    {
    }
    bool Take(LocalWrong wrong)
    {
        if (!misbehaviour_->Take(wrong, frame_, &active_)) return false;
        names_->push_back(LocalWrongText(active_));
        return true;
    }
    int64_t Value() const { return active_.value; } // of the one taken last

  private:
    const LocalOutgoing &frame_;
    LocalMisbehaviour *misbehaviour_;
    std::vector<std::string> *names_;
    ActiveLocalWrong active_ = {};
};
} // namespace

uint32_t LocalSender::Number()
{
    last_ = next_++;
    return last_;
}

static void Damage(Taker *taker, LocalFrame *frame, LocalOverrides *overrides)
{
    if (taker->Take(LocalWrong::Status)) frame->payload = {static_cast<uint8_t>(taker->Value())};
    if (taker->Take(LocalWrong::WrongId)) frame->id = static_cast<uint16_t>(taker->Value());
    if (taker->Take(LocalWrong::Empty)) frame->payload.clear();
    if (taker->Take(LocalWrong::Oversized)) {
        const size_t size = static_cast<size_t>(taker->Value()) - kCommHeaderSize;
        frame->payload.resize(std::max(size, frame->payload.size()));
    }
    if (taker->Take(LocalWrong::BadChecksum))
        overrides->checksum = static_cast<uint16_t>(CommChecksum(frame->payload.data(), frame->payload.size()) + 1);
    if (taker->Take(LocalWrong::BadHead)) overrides->head = false;
    if (taker->Take(LocalWrong::Announce)) overrides->length = static_cast<uint32_t>(taker->Value());
}

static std::vector<Chunk> InTwo(const Bytes &bytes, int64_t pauseMs)
{
    const auto middle = bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size() / 2);
    return {{0, Bytes(bytes.begin(), middle)}, {pauseMs, Bytes(middle, bytes.end())}};
}

LocalDelivery LocalSender::Deliver(const LocalOutgoing &outgoing, LocalMisbehaviour *misbehaviour)
{
    LocalDelivery out;
    Delivery &delivery = out.delivery;
    out.frame = {outgoing.id, 0, outgoing.payload};
    Taker taker(outgoing, misbehaviour, &delivery.wrongs);
    out.disconnect = taker.Take(LocalWrong::Disconnect);
    if (out.disconnect || taker.Take(LocalWrong::Silent)) return out;

    Bytes bytes = outgoing.payload;
    if (!outgoing.raw) {
        LocalOverrides overrides = outgoing.overrides;
        Damage(&taker, &out.frame, &overrides);
        const bool repeat = taker.Take(LocalWrong::RepeatSequence);
        out.frame.sequence = outgoing.sequence ? *outgoing.sequence : repeat ? last_ : Number();
        if (outgoing.sequence) last_ = *outgoing.sequence;
        bytes = EncodeLocal(out.frame, overrides);
    }
    if (taker.Take(LocalWrong::Noise)) bytes.insert(bytes.begin(), static_cast<size_t>(taker.Value()), 'n');
    // An agent passes over a plugin-state question that is not asked with an i.
    if (taker.Take(LocalWrong::TwoInOne)) Append(&bytes, EncodeLocal({kPluginState, Number(), {'-'}}));

    delivery.chunks = {{0, bytes}};
    if (taker.Take(LocalWrong::Split)) delivery.chunks = InTwo(bytes, taker.Value());
    const bool cut = taker.Take(LocalWrong::CloseMidFrame);
    if (cut || taker.Take(LocalWrong::Half)) delivery.chunks = {InTwo(bytes, 0)[0]};
    if (taker.Take(LocalWrong::Twice)) delivery.chunks.push_back({0, bytes});
    delivery.closeAfter = taker.Take(LocalWrong::Close) || cut;
    if (taker.Take(LocalWrong::Late)) delivery.chunks[0].pauseMs += taker.Value();
    return out;
}

} // namespace sim
