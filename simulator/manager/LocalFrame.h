// LocalFrame.h - the frames of the local socket as the router's management process sees them: bytes and back, with
// every rule checked that an agent has to keep. The format itself is comm/CommFrame.h's.
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

constexpr size_t kMaxLocalPayload = 65535; // of a frame that is made here; the agent's own bound is lower

struct LocalFrame {
    uint16_t id = 0;
    uint32_t sequence = 0;
    Bytes payload;
};

// What of a frame is to be wrong.
struct LocalOverrides {
    std::optional<uint16_t> checksum; // instead of the payload's sum
    std::optional<uint32_t> length;   // announced instead of the payload's length
    bool head = true;                 // false: "YY" stands where "ZZ" should
};

Bytes EncodeLocal(const LocalFrame &frame, const LocalOverrides &overrides = {});

// A frame that came, or bytes that are none.
struct LocalArrival {
    Bytes raw;
    bool whole = false; // a frame that can be acted on; otherwise it has problems
    LocalFrame frame;
    std::vector<std::string> problems; // what an agent may never send
};

class LocalCutter
{
  public:
    void Add(const uint8_t *data, size_t size);

    // The next frame, or what stands where one should: that costs all bytes that have come. False when more bytes are
    // needed.
    bool Next(LocalArrival *arrival);

    size_t Waiting() const { return bytes_.size(); } // bytes of a frame whose rest has not come

  private:
    bool Give(size_t size, LocalArrival *arrival);
    void CheckSequence(LocalArrival *arrival);

    Bytes bytes_;
    std::optional<uint32_t> last_; // sequence of the last frame
};

} // namespace sim
