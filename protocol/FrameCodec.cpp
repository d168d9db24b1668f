#include "protocol/FrameCodec.h"

#include <algorithm>

#include "platform/Crypt.h"
#include "platform/SessionFrames.h"

namespace protocol
{

bool FrameCutter::Pop(Bytes *frame, std::string *problem)
{
    static const uint8_t kMagic[] = {kFrameMagic0, kFrameMagic1};
    problem->clear();
    auto start = std::search(pending_.begin(), pending_.end(), std::begin(kMagic), std::end(kMagic));
    // The last byte may be the first half of a magic.
    if (start == pending_.end() && !pending_.empty() && pending_.back() == kFrameMagic0) --start;
    if (start != pending_.begin()) {
        *problem = std::to_string(start - pending_.begin()) + " bytes before the magic";
        pending_.erase(pending_.begin(), start);
    }
    FrameHeader header;
    if (!FrameReadHeader(pending_.data(), pending_.size(), &header)) return false;
    const size_t length = kFrameHeaderSize + header.headLen + header.bodyLen;
    if (length > kMaxFrame) {
        *problem = "a header announces a frame of " + std::to_string(length) + " bytes";
        pending_.erase(pending_.begin(), pending_.begin() + sizeof kMagic);
        return false;
    }
    if (pending_.size() < length) return false;
    const auto end = pending_.begin() + static_cast<std::ptrdiff_t>(length);
    frame->assign(pending_.begin(), end);
    pending_.erase(pending_.begin(), end);
    return true;
}

// Removes the padding of RFC 5652, 6.3. False, with nothing changed, if it is invalid.
static bool StripPadding(Bytes *plain)
{
    const size_t count = plain->empty() ? 0 : plain->back();
    if (count < 1 || count > kAesBlock || count > plain->size()) return false;
    const auto first = plain->end() - static_cast<std::ptrdiff_t>(count);
    if (std::any_of(first, plain->end(), [&](uint8_t byte) { return byte != count; })) return false;
    plain->erase(first, plain->end());
    return true;
}

static void Expect(ParsedFrame *frame, bool holds, const std::string &problem)
{
    if (!holds) frame->problems.push_back(problem);
}

namespace
{
// Frames of an agent: flag, length of the head block, whether a body must follow and is an inner record.
struct AgentFrameRow {
    uint8_t msgType;
    uint8_t flag;
    size_t headLen;
    enum { None, Own, Record, RecordOrNone } body;
};
const AgentFrameRow kAgentFrames[] = {
    {MSG_HEARTBEAT, FLAG_UP, kHeartbeatHeadSize, AgentFrameRow::None},
    {MSG_REGISTER, FLAG_UP, kRegisterHeadSize, AgentFrameRow::Own},
    {MSG_LOGIN, FLAG_UP, kLoginHeadSize, AgentFrameRow::Own},
    {MSG_UP, FLAG_UP, 0, AgentFrameRow::Record},
    {MSG_UP_MAC, FLAG_UP, 0, AgentFrameRow::Record},
    {MSG_ACK, FLAG_ACK, 2, AgentFrameRow::RecordOrNone},
    {MSG_ACK_MAC, FLAG_ACK, 2, AgentFrameRow::RecordOrNone},
};
} // namespace

static void CheckAgentFrame(ParsedFrame *frame)
{
    const FrameHeader &header = frame->header;
    const auto row = std::find_if(std::begin(kAgentFrames), std::end(kAgentFrames),
                                  [&](const AgentFrameRow &r) { return r.msgType == header.msgType; });
    if (row == std::end(kAgentFrames)) {
        frame->problems.push_back("no agent sends this MsgType");
        return;
    }
    Expect(frame, header.flag == row->flag,
           "flag " + std::to_string(header.flag) + " instead of " + std::to_string(row->flag));
    Expect(frame, header.headLen == row->headLen,
           "head block of " + std::to_string(header.headLen) + " bytes instead of " + std::to_string(row->headLen));
    if (row->body == AgentFrameRow::None)
        Expect(frame, header.bodyLen == 0, "a body where none belongs");
    else if (row->body != AgentFrameRow::RecordOrNone)
        Expect(frame, header.bodyLen > 0, "no body");
}

static bool IsDataFrame(uint8_t msgType)
{
    return msgType == MSG_UP || msgType == MSG_UP_MAC || msgType == MSG_PLUG_COMMAND ||
           msgType == MSG_FUNCTION_COMMAND || msgType == MSG_ACK || msgType == MSG_ACK_MAC;
}

static void ReadRecord(ParsedFrame *frame)
{
    InnerRecord record;
    const bool withMac = FrameCarriesMac(frame->header.msgType);
    frame->hasRecord = InnerRecordRead(frame->plain.data(), frame->plain.size(), withMac, &record);
    if (!frame->hasRecord) {
        frame->problems.push_back("the inner record is cut off or announces more than follows");
        return;
    }
    frame->dataType = record.dataType;
    if (record.mac) frame->mac.assign(record.mac, record.mac + kMacSize);
    frame->payload.assign(record.payload, record.payload + record.payloadLen);
    const size_t recordLen = (withMac ? 5 + kMacSize : 5) + record.payloadLen;
    Expect(frame, frame->plain[0] == 0 && frame->plain[1] == 0, "the inner record does not begin with two zero bytes");
    Expect(frame, frame->plain.size() == recordLen,
           std::to_string(frame->plain.size() - recordLen) + " bytes behind the inner record");
}

ParsedFrame ParseFrame(const Bytes &raw, const std::string &key, bool fromAgent)
{
    ParsedFrame frame;
    frame.raw = raw;
    if (!FrameReadHeader(raw.data(), raw.size(), &frame.header) ||
        raw.size() != kFrameHeaderSize + frame.header.headLen + frame.header.bodyLen) {
        frame.problems.push_back("no whole frame");
        return frame;
    }
    const uint8_t *head = raw.data() + kFrameHeaderSize;
    frame.head.assign(head, head + frame.header.headLen);
    const uint8_t *body = head + frame.header.headLen;
    if (frame.header.bodyLen > 0) {
        Expect(&frame, frame.header.bodyLen % kAesBlock == 0, "the body is no whole number of AES blocks");
        frame.plain.resize(frame.header.bodyLen);
        size_t plainLen = 0;
        aes_decrypt(key.c_str(), body, frame.plain.data(), frame.header.bodyLen, &plainLen);
        frame.plain.resize(plainLen);
        Expect(&frame, StripPadding(&frame.plain), "the padding is wrong (another key?)");
    }
    frame.checksumExpected = FrameChecksum(frame.header.bodyLen, frame.head.data(), frame.head.size(),
                                           frame.plain.data(), frame.plain.size());
    frame.checksumOk = frame.checksumExpected == frame.header.checksum;
    if (fromAgent) CheckAgentFrame(&frame);
    if (IsDataFrame(frame.header.msgType) && frame.header.bodyLen > 0) ReadRecord(&frame);
    return frame;
}

Bytes EncodeFrame(const OutFrame &frame, const std::string &key)
{
    if (!frame.raw.empty()) return frame.raw;
    Bytes body = frame.body;
    if (frame.hasPlain) {
        body.resize(AesPaddedLength(frame.plain.size()));
        size_t bodyLen = 0;
        aes_encrypt(key.c_str(), frame.plain.data(), body.data(), frame.plain.size(), &bodyLen);
    }
    FrameHeader header = {};
    header.msgType = frame.msgType;
    header.flag = frame.flag;
    header.headLen = static_cast<uint8_t>(frame.head.size());
    header.bodyLen = static_cast<uint16_t>(body.size());
    const Bytes &summed = frame.hasPlain ? frame.plain : Bytes();
    header.checksum = frame.checksum.value_or(
        FrameChecksum(header.bodyLen, frame.head.data(), frame.head.size(), summed.data(), summed.size()));
    Bytes bytes(kFrameHeaderSize + frame.head.size() + body.size());
    bytes.resize(FrameWrite(header, frame.head.data(), body.data(), bytes.data(), bytes.size()));
    if (frame.bodyLength) {
        bytes[5] = static_cast<uint8_t>(*frame.bodyLength);
        bytes[6] = static_cast<uint8_t>(*frame.bodyLength >> 8);
    }
    return bytes;
}

Bytes InnerRecordBytes(uint8_t dataType, const Bytes &mac, const Bytes &payload)
{
    Bytes bytes(5 + kMacSize + payload.size());
    const InnerRecord record = {dataType, mac.empty() ? nullptr : mac.data(), payload.data(), payload.size()};
    bytes.resize(InnerRecordWrite(record, bytes.data(), bytes.size()));
    return bytes;
}

} // namespace protocol
