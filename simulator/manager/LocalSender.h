// LocalSender.h - makes the bytes of the manager's frames, with their faults.
// State: one LocalSender object. Threads: the caller's.
#pragma once

#include <optional>

#include "simulator/faults/Faults.h"
#include "simulator/manager/LocalFrame.h"
#include "simulator/net/Connection.h"

namespace sim
{

// A frame to send.
struct LocalOutgoing {
    uint16_t id = 0;
    Bytes payload;
    bool answer = false;
    std::optional<uint32_t> sequence; // instead of the next number
    LocalOverrides overrides = {};
    bool raw = false; // the payload is sent as it is, without a header
};

// How a frame is sent.
struct LocalDelivery {
    LocalFrame frame;
    Delivery delivery;       // without chunks: nothing is sent
    bool disconnect = false; // the connection is closed instead
};

// Numbers the frames and applies the faults.
class LocalSender
{
  public:
    // `first` is the sequence of the first frame.
    explicit LocalSender(uint32_t first) : next_(first), last_(first - 1) {}

    // Decides how `outgoing` is sent under the active faults.
    [[nodiscard]] LocalDelivery Deliver(const LocalOutgoing &outgoing, Faults *faults);

  private:
    uint32_t Number();

    uint32_t next_;
    uint32_t last_; // sequence of the last frame
};

} // namespace sim
