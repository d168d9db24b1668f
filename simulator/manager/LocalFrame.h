// LocalFrame.h - the frames of the local socket on the side of the local peer: encoded, cut from a stream and checked
// by all rules that an agent has to keep. The format itself is in comm/CommFrame.h.
//
// State: one LocalCutter per connection. Threads: the caller's.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "protocol/Bytes.h"

namespace sim
{

using namespace protocol;

constexpr size_t kMaxLocalPayload = 65535; // bytes of a frame that is made here; the agent's own limit is lower

struct LocalFrame {
    uint16_t id = 0;
    uint32_t sequence = 0;
    Bytes payload;
};

// What is wrong with a frame on purpose.
struct LocalOverrides {
    std::optional<uint16_t> checksum; // instead of the payload's sum
    std::optional<uint32_t> length;   // declared instead of the payload's length
    bool head = true;                 // false: "YY" stands where "ZZ" should
};

// Returns the bytes of a frame.
[[nodiscard]] Bytes EncodeLocal(const LocalFrame &frame, const LocalOverrides &overrides = {});

// A frame that came, or bytes that are no frame.
struct LocalArrival {
    Bytes raw;
    bool whole = false; // a valid frame; otherwise it has problems
    LocalFrame frame;
    std::vector<std::string> problems; // what an agent may never send
};

// Cuts the bytes of one connection into frames.
class LocalCutter
{
  public:
    // Adds bytes that came.
    void Add(const uint8_t *data, size_t size);

    // Stores the next frame, or all bytes that have come if they do not begin with one. Returns false when more bytes
    // are needed.
    [[nodiscard]] bool Next(LocalArrival *arrival);

    [[nodiscard]] size_t Waiting() const { return bytes_.size(); } // bytes of an incomplete frame

  private:
    bool Give(size_t size, LocalArrival *arrival);
    void CheckSequence(LocalArrival *arrival);

    Bytes bytes_;
    std::optional<uint32_t> last_; // sequence of the last frame
};

} // namespace sim
