// What a router sends to the gateway: bytes to frames, frames to replies and reports as JSON. Frames do not depend on
// the pieces in which their bytes arrive; no more than one frame is ever kept; a frame is never longer than the longest;
// what becomes JSON can be read again and has a name that a subject takes.
//
// Input: the length of a piece (1 byte, 0: all at once), then steps. Each begins with a byte:
//   low 2 bits 0, 1   bytes as they stand: length (1), bytes
//             2       a data frame: MsgType (1), DataType (1), length (2), payload
//             3       a reply of a function: number (1), status (1), length (2), data
//   bit 2             its checksum is wrong
//   bit 3             its key is another one
//   bit 4             its last byte is missing
#include <cstring>

#include "FuzzInput.h"
#include "gateway/translate/Question.h"
#include "gateway/translate/Report.h"
#include "platform/Frame.h"
#include "protocol/FrameCodec.h"

using namespace gateway;
using Frames = std::vector<protocol::Bytes>;

static const char kKey[] = "0123456789abcdef";

static protocol::Bytes Take(FuzzInput *input, size_t size)
{
    const uint8_t *at = input->Bytes(&size);
    return protocol::Bytes(at, at + size);
}

static void PutFrame(uint8_t kind, FuzzInput *input, protocol::Bytes *stream)
{
    protocol::OutFrame frame;
    const uint8_t first = input->Byte(), second = input->Byte();
    protocol::Bytes payload = Take(input, input->Word() % kMaxPayload);
    const bool reply = (kind & 3) == 3;
    if (reply) {
        const protocol::Bytes head = {7, 0, first, 0, second, 0};
        payload.insert(payload.begin(), head.begin(), head.end());
    }
    frame.msgType = reply ? MSG_ACK_MAC : first % 32;
    frame.flag = 1;
    frame.hasPlain = true;
    frame.plain = protocol::InnerRecordBytes(
        reply ? first : second, FrameCarriesMac(frame.msgType) ? protocol::Bytes(kMacSize, 2) : protocol::Bytes(),
        payload);
    if (kind & 4) frame.checksum = first;
    protocol::Bytes bytes = protocol::EncodeFrame(frame, kind & 8 ? "another key" : kKey);
    if (kind & 16) bytes.pop_back();
    protocol::Append(stream, bytes);
}

static protocol::Bytes Stream(FuzzInput input)
{
    protocol::Bytes stream;
    while (input.left > 0 && stream.size() < 100000) {
        const uint8_t kind = input.Byte();
        if ((kind & 3) >= 2)
            PutFrame(kind, &input, &stream);
        else
            protocol::Append(&stream, Take(&input, input.Byte()));
    }
    return stream;
}

// The frames of the stream, which comes in pieces.
static Frames Cut(const protocol::Bytes &stream, size_t piece)
{
    protocol::FrameCutter cutter;
    Frames frames;
    for (size_t at = 0; at < stream.size(); at += piece) {
        cutter.Push(stream.data() + at, std::min(piece, stream.size() - at));
        protocol::Bytes frame;
        std::string problem;
        for (;;) {
            const size_t before = cutter.Left();
            if (cutter.Pop(&frame, &problem))
                frames.push_back(frame);
            else if (problem.empty() || cutter.Left() == before)
                break;
        }
        REQUIRE(cutter.Left() < kMaxFrame);
    }
    return frames;
}

static void Translate(const protocol::ParsedFrame &frame)
{
    const Report report = MakeReport(frame.header.msgType, frame.dataType, frame.payload);
    REQUIRE(!report.name.empty() && report.document["report"] == report.name);
    REQUIRE(report.name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-") == std::string::npos);
    REQUIRE(report.document["raw"] == protocol::ToHex(frame.payload));
    REQUIRE(Json::parse(JsonText(report.document)) == report.document);
    for (const uint16_t function : {static_cast<uint16_t>(frame.dataType), static_cast<uint16_t>(2)}) {
        const Json answer = AnswerJson(function, frame.payload);
        REQUIRE(answer["ok"].get<bool>() == answer.contains("status") && answer["ok"] == !answer.contains("error"));
        REQUIRE(Json::parse(JsonText(answer)) == answer);
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzInput input = {data, size};
    const uint8_t piece = input.Byte();
    const protocol::Bytes stream = Stream(input);
    const Frames frames = Cut(stream, std::max<size_t>(stream.size(), 1));
    REQUIRE(piece == 0 || Cut(stream, piece) == frames);
    for (const protocol::Bytes &raw : frames) {
        REQUIRE(raw.size() <= kMaxFrame && raw.size() >= kFrameHeaderSize);
        REQUIRE(raw[0] == kFrameMagic0 && raw[1] == kFrameMagic1);
        const protocol::ParsedFrame frame = protocol::ParseFrame(raw, kKey, true);
        REQUIRE(frame.raw == raw && frame.plain.size() <= frame.header.bodyLen &&
                frame.payload.size() <= frame.plain.size());
        if (frame.checksumOk && frame.hasRecord) Translate(frame);
    }
    return 0;
}
