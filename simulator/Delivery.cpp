#include "simulator/Delivery.h"

#include <algorithm>
#include <cstring>

#include "platform/SessionFrames.h"

namespace sim
{

static const int64_t kMegabyte = 1000000;
static const size_t kNoiseChunk = 65536; // so that a slow receiver holds up a chunk, not a frame of megabytes

namespace
{
// Asks for one misbehaviour after the other and notes those that happen.
class Asking
{
  public:
    Asking(Misbehaviour *all, Step step, Delivery *delivery) : all_(all), step_(step), delivery_(delivery) {}

    bool Is(Wrong wrong)
    {
        if (!all_->Take(wrong, step_, &active_)) return false;
        delivery_->wrongs.push_back(WrongText(active_));
        return true;
    }
    int64_t Number(size_t i = 0) const { return active_.numbers[i]; }
    const std::string &Value() const { return active_.value; }

  private:
    Misbehaviour *all_;
    Step step_;
    Delivery *delivery_;
    ActiveWrong active_ = {nullptr, 0, "", {}, 0};
};
} // namespace

// What the frame says is changed before it is encrypted, so that only this one thing is wrong with it.
static void ChangeContent(Asking *asking, OutFrame *frame, std::string *key)
{
    if (asking->Is(Wrong::ErrorCode))
        frame->head = {static_cast<uint8_t>(asking->Number()), static_cast<uint8_t>(asking->Number() >> 8)};
    if (asking->Is(Wrong::Announce) && frame->plain.size() >= kRegisterAckSize) {
        Address address;
        ParseAddress(asking->Value(), &address);
        const size_t server = 2 + kTokenSize;
        memcpy(frame->plain.data() + server, address.octets, sizeof address.octets);
        frame->plain[server + 4] = static_cast<uint8_t>(address.port);
        frame->plain[server + 5] = static_cast<uint8_t>(address.port >> 8);
    }
    if (asking->Is(Wrong::Interval)) {
        frame->plain.assign(kLoginAckSize, 0);
        LoginAckWrite(static_cast<int16_t>(asking->Number()), frame->plain.data(), frame->plain.size());
    }
    if (asking->Is(Wrong::EmptyAck)) {
        frame->hasPlain = false;
        frame->body.clear();
    }
    const size_t lengthAt = FrameCarriesMac(frame->msgType) ? 3 + kMacSize : 3;
    if (asking->Is(Wrong::InnerLength) && frame->plain.size() >= lengthAt + 2) {
        const size_t length = frame->plain[lengthAt] + frame->plain[lengthAt + 1] * 256u + asking->Number();
        frame->plain[lengthAt] = static_cast<uint8_t>(length);
        frame->plain[lengthAt + 1] = static_cast<uint8_t>(length >> 8);
    }
    if (asking->Is(Wrong::NetworkFailure)) {
        frame->hasPlain = false;
        frame->body = Bytes(16, 0xFF);
    }
    if (asking->Is(Wrong::WrongKey)) *key = asking->Value();
}

static uint16_t BodyLength(const Bytes &bytes)
{
    return static_cast<uint16_t>(bytes[5] | bytes[6] << 8);
}

static void SetBodyLength(Bytes *bytes, uint16_t length)
{
    (*bytes)[5] = static_cast<uint8_t>(length);
    (*bytes)[6] = static_cast<uint8_t>(length >> 8);
}

// What is wrong with the finished bytes of a frame.
static void ChangeBytes(Asking *asking, Bytes *bytes, std::mt19937_64 *random)
{
    if (bytes->size() < kFrameHeaderSize) return;
    if (asking->Is(Wrong::BadChecksum)) ++(*bytes)[4];
    if (asking->Is(Wrong::CutBody)) {
        const auto cut = static_cast<uint16_t>(std::min<int64_t>(asking->Number(), BodyLength(*bytes)));
        bytes->resize(bytes->size() - cut);
        SetBodyLength(bytes, static_cast<uint16_t>(BodyLength(*bytes) - cut));
    }
    if (asking->Is(Wrong::ShortBody))
        bytes->resize(bytes->size() - static_cast<size_t>(std::min<int64_t>(asking->Number(), BodyLength(*bytes))));
    if (asking->Is(Wrong::LongBody))
        for (int64_t i = asking->Number(); i > 0; i--) bytes->push_back(static_cast<uint8_t>((*random)()));
    if (asking->Is(Wrong::AnnounceBody)) SetBodyLength(bytes, static_cast<uint16_t>(asking->Number()));
}

// Random bytes without the first byte of the magic: they can be skipped, never mistaken for a frame.
static Bytes Garbage(int64_t count, std::mt19937_64 *random)
{
    Bytes bytes(static_cast<size_t>(count));
    for (uint8_t &byte : bytes) {
        byte = static_cast<uint8_t>((*random)());
        if (byte == kFrameMagic0) byte ^= 0xFF;
    }
    return bytes;
}

static void AddNoise(int64_t count, std::mt19937_64 *random, std::vector<Chunk> *chunks)
{
    while (count > 0) {
        Bytes bytes(static_cast<size_t>(std::min<int64_t>(count, kNoiseChunk)));
        for (uint8_t &byte : bytes) byte = static_cast<uint8_t>((*random)());
        count -= static_cast<int64_t>(bytes.size());
        chunks->push_back({0, std::move(bytes)});
    }
}

static void AddPieces(const Bytes &bytes, size_t size, int64_t pauseMs, std::vector<Chunk> *chunks)
{
    for (size_t at = 0; at < bytes.size(); at += size) {
        const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(at);
        const auto last = bytes.begin() + static_cast<std::ptrdiff_t>(std::min(at + size, bytes.size()));
        chunks->push_back({at > 0 ? pauseMs : 0, Bytes(first, last)});
    }
}

Delivery Deliver(const OutFrame &frame, const std::string &key, Misbehaviour *misbehaviour, std::mt19937_64 *random)
{
    Delivery delivery;
    Asking asking(misbehaviour, frame.step, &delivery);
    if (asking.Is(Wrong::Silent)) return delivery;

    OutFrame changed = frame;
    std::string usedKey = key;
    const bool ownFrame = frame.raw.empty(); // raw bytes are nobody's to change
    if (ownFrame) ChangeContent(&asking, &changed, &usedKey);
    Bytes bytes = EncodeFrame(changed, usedKey);
    if (ownFrame) ChangeBytes(&asking, &bytes, random);

    if (asking.Is(Wrong::Duplicate)) Append(&bytes, Bytes(bytes));
    if (asking.Is(Wrong::ForcedDisconnect)) {
        OutFrame disconnect;
        disconnect.msgType = MSG_FORCE_DISCONNECT;
        Append(&bytes, EncodeFrame(disconnect, key));
    }
    if (asking.Is(Wrong::CloseMidFrame)) {
        bytes.resize(bytes.size() / 2);
        delivery.closeAfter = true;
    }
    if (asking.Is(Wrong::Garbage)) {
        Bytes garbage = Garbage(asking.Number(), random);
        bytes.insert(bytes.begin(), garbage.begin(), garbage.end());
    }
    const int64_t late = asking.Is(Wrong::Late) ? asking.Number() : 0;
    if (asking.Is(Wrong::Noise)) AddNoise(asking.Number() * kMegabyte, random, &delivery.chunks);
    if (asking.Is(Wrong::Drip))
        AddPieces(bytes, 1, asking.Number(), &delivery.chunks);
    else if (asking.Is(Wrong::Fragments))
        AddPieces(bytes, static_cast<size_t>(asking.Number()), asking.Number(1), &delivery.chunks);
    else
        delivery.chunks.push_back({0, bytes});
    if (delivery.chunks.empty()) delivery.chunks.push_back({0, {}}); // half a byte was nothing to cut up
    delivery.chunks.front().pauseMs = late;
    if (asking.Is(Wrong::Close)) delivery.closeAfter = true;
    return delivery;
}

} // namespace sim
