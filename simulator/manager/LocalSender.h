// LocalSender.h - how the manager's frames leave, with what is wrong with them on purpose.
// State: one LocalSender object. Threads: the caller's.
#pragma once

#include <optional>

#include "simulator/faults/Faults.h"
#include "simulator/manager/LocalFrame.h"
#include "simulator/net/Connection.h"

namespace sim
{

// A frame that is to be sent.
struct LocalOutgoing {
    uint16_t id = 0;
    Bytes payload;
    bool answer = false;
    std::optional<uint32_t> sequence; // instead of the next number
    LocalOverrides overrides = {};
    bool raw = false; // the payload is sent as it stands, and no frame is made
};

// How a frame leaves.
struct LocalDelivery {
    LocalFrame frame;
    Delivery delivery;       // without chunks: nothing is sent
    bool disconnect = false; // the connection is closed instead
};

// Numbers frames.
class LocalSender
{
  public:
    explicit LocalSender(uint32_t first) : next_(first), last_(first - 1) {}

    LocalDelivery Deliver(const LocalOutgoing &outgoing, Faults *faults);

  private:
    uint32_t Number();

    uint32_t next_;
    uint32_t last_; // number of the last frame
};

} // namespace sim
