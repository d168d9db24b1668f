#include "simulator/platform/Delivery.h"

#include <algorithm>
#include <cstring>

#include "platform/SessionFrames.h"
#include "simulator/platform/PlatformFaults.h"

namespace sim
{

static const int64_t kMegabyte = 1000000;
static const size_t kNoiseChunk = 65536; // so that a slow receiver delays a chunk, not a frame of megabytes

// Faults in the content: it is changed before it is encrypted, so that nothing else is wrong with the frame.
static void ChangeContent(FaultTaker *taker, OutFrame *frame, std::string *key)
{
    if (taker->Take("refuse-error"))
        frame->head = {static_cast<uint8_t>(taker->Number()), static_cast<uint8_t>(taker->Number() >> 8)};
    if (taker->Take("announce") && frame->plain.size() >= kRegisterAckSize) {
        Address address;
        ParseAddress(taker->Value(), &address);
        const size_t server = 2 + kTokenSize;
        memcpy(frame->plain.data() + server, address.octets, sizeof address.octets);
        frame->plain[server + 4] = static_cast<uint8_t>(address.port);
        frame->plain[server + 5] = static_cast<uint8_t>(address.port >> 8);
    }
    if (taker->Take("interval")) {
        frame->plain.assign(kLoginAckSize, 0);
        LoginAckWrite(static_cast<int16_t>(taker->Number()), frame->plain.data(), frame->plain.size());
    }
    if (taker->Take("empty-ack")) {
        frame->hasPlain = false;
        frame->body.clear();
    }
    const size_t lengthAt = FrameCarriesMac(frame->msgType) ? 3 + kMacSize : 3;
    if (taker->Take("inner-length") && frame->plain.size() >= lengthAt + 2) {
        const size_t length = frame->plain[lengthAt] + frame->plain[lengthAt + 1] * 256u + taker->Number();
        frame->plain[lengthAt] = static_cast<uint8_t>(length);
        frame->plain[lengthAt + 1] = static_cast<uint8_t>(length >> 8);
    }
    if (taker->Take("network-failure")) {
        frame->hasPlain = false;
        frame->body = Bytes(16, 0xFF);
    }
    if (taker->Take("wrong-key")) *key = taker->Value();
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

// Faults in the finished bytes of a frame.
static void ChangeBytes(FaultTaker *taker, Bytes *bytes, std::mt19937_64 *random)
{
    if (bytes->size() < kFrameHeaderSize) return;
    if (taker->Take("bad-checksum")) ++(*bytes)[4];
    if (taker->Take("cut-body")) {
        const auto cut = static_cast<uint16_t>(std::min<int64_t>(taker->Number(), BodyLength(*bytes)));
        bytes->resize(bytes->size() - cut);
        SetBodyLength(bytes, static_cast<uint16_t>(BodyLength(*bytes) - cut));
    }
    if (taker->Take("short-body"))
        bytes->resize(bytes->size() - static_cast<size_t>(std::min<int64_t>(taker->Number(), BodyLength(*bytes))));
    if (taker->Take("long-body"))
        for (int64_t i = taker->Number(); i > 0; i--) bytes->push_back(static_cast<uint8_t>((*random)()));
    if (taker->Take("announce-body")) SetBodyLength(bytes, static_cast<uint16_t>(taker->Number()));
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

Delivery Deliver(const OutFrame &frame, const std::string &key, Faults *faults, std::mt19937_64 *random)
{
    Delivery delivery;
    FaultTaker taker(faults, PlaceOf(frame.step), &delivery.faults);
    if (taker.Take("silent")) return delivery;

    OutFrame changed = frame;
    std::string usedKey = key;
    const bool ownFrame = frame.raw.empty(); // raw bytes stay as they are
    if (ownFrame) ChangeContent(&taker, &changed, &usedKey);
    Bytes bytes = EncodeFrame(changed, usedKey);
    if (ownFrame) ChangeBytes(&taker, &bytes, random);

    if (taker.Take("duplicate")) Append(&bytes, Bytes(bytes));
    if (taker.Take("forced-disconnect")) {
        OutFrame disconnect;
        disconnect.msgType = MSG_FORCE_DISCONNECT;
        Append(&bytes, EncodeFrame(disconnect, key));
    }
    if (taker.Take("close-mid-frame")) {
        bytes.resize(bytes.size() / 2);
        delivery.closeAfter = true;
    }
    if (taker.Take("garbage")) {
        Bytes garbage = Garbage(taker.Number(), random);
        bytes.insert(bytes.begin(), garbage.begin(), garbage.end());
    }
    const int64_t late = taker.Take("late") ? taker.Number() : 0;
    if (taker.Take("noise")) AddNoise(taker.Number() * kMegabyte, random, &delivery.chunks);
    if (taker.Take("drip"))
        AddPieces(bytes, 1, taker.Number(), &delivery.chunks);
    else if (taker.Take("fragments"))
        AddPieces(bytes, static_cast<size_t>(taker.Number()), taker.PauseMs(), &delivery.chunks);
    else
        delivery.chunks.push_back({0, bytes});
    if (delivery.chunks.empty()) delivery.chunks.push_back({0, {}}); // a frame of one byte has no first half
    delivery.chunks.front().pauseMs = late;
    if (taker.Take("close")) delivery.closeAfter = true;
    if (taker.Take("deaf")) delivery.deafMs = taker.Number();
    return delivery;
}

} // namespace sim
