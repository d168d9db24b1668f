// LocalFaults.h - the faults of the manager on the local socket. WHAT narrows a fault to the frames of one FuncID, by
// number or name.
// State: none; the table is a constant. Threads: any.
#pragma once

#include "simulator/faults/Faults.h"

namespace sim
{

extern const FaultTable kLocalFaults;

// Returns the place of a frame of this FuncID; `answer` says whether it answers a request.
[[nodiscard]] FaultPlace PlaceOf(uint16_t id, bool answer);

} // namespace sim
