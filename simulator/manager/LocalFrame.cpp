#include "simulator/manager/LocalFrame.h"

#include "comm/CommFrame.h"
#include "core/Wire.h"

namespace sim
{

static const size_t kLengthAt = 8;
static const size_t kChecksumAt = 12;

Bytes EncodeLocal(const LocalFrame &frame, const LocalOverrides &overrides)
{
    Bytes out(kCommHeaderSize + frame.payload.size());
    CommFrameWrite(frame.id, frame.sequence, frame.payload.data(), frame.payload.size(), out.data(), out.size());
    if (!overrides.head) out[0] = out[1] = kCommHeadByte - 1;
    WireWriter length = WireWrite(out.data() + kLengthAt, sizeof(uint32_t));
    if (overrides.length) WirePutLe32(&length, *overrides.length);
    WireWriter checksum = WireWrite(out.data() + kChecksumAt, sizeof(uint16_t));
    if (overrides.checksum) WirePutLe16(&checksum, *overrides.checksum);
    return out;
}

void LocalCutter::Add(const uint8_t *data, size_t size)
{
    bytes_.insert(bytes_.end(), data, data + size);
}

bool LocalCutter::Give(size_t size, LocalArrival *arrival)
{
    const auto end = bytes_.begin() + static_cast<std::ptrdiff_t>(size);
    arrival->raw.assign(bytes_.begin(), end);
    bytes_.erase(bytes_.begin(), end);
    return true;
}

// A skipped number belongs to a frame that could not be sent: then the connection has ended, too.
void LocalCutter::CheckSequence(LocalArrival *arrival)
{
    if (last_ && arrival->frame.sequence != *last_ + 1)
        arrival->problems.push_back("sequence " + std::to_string(arrival->frame.sequence) + " behind " +
                                    std::to_string(*last_));
    last_ = arrival->frame.sequence;
}

bool LocalCutter::Next(LocalArrival *arrival)
{
    *arrival = {};
    if (bytes_.empty()) return false;
    if (bytes_[0] != kCommHeadByte || (bytes_.size() > 1 && bytes_[1] != kCommHeadByte)) {
        arrival->problems.push_back("the head is not ZZ");
        return Give(bytes_.size(), arrival);
    }
    if (bytes_.size() < kCommHeaderSize) return false;

    WireReader r = WireRead(bytes_.data(), bytes_.size());
    WireTake(&r, 2);
    arrival->frame.id = WireGetLe16(&r);
    arrival->frame.sequence = WireGetLe32(&r);
    const uint32_t length = WireGetLe32(&r);
    const uint16_t checksum = WireGetLe16(&r);
    if (length > kMaxCommSendPayload) {
        arrival->problems.push_back(std::to_string(length) + " bytes are announced, and " +
                                    std::to_string(kMaxCommSendPayload) + " are the most");
        return Give(bytes_.size(), arrival);
    }
    if (length > r.left) return false;
    arrival->frame.payload.assign(r.data, r.data + length);
    CheckSequence(arrival);
    const uint16_t sum = CommChecksum(arrival->frame.payload.data(), length);
    if (checksum == sum)
        arrival->whole = true;
    else
        arrival->problems.push_back("checksum " + std::to_string(checksum) + " instead of " + std::to_string(sum));
    return Give(kCommHeaderSize + length, arrival);
}

} // namespace sim
