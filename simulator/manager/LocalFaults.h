// LocalFaults.h - what the manager can do wrong on purpose on the local socket. WHAT narrows a fault to the frames of
// one FuncID, by number or name. State: none; the table is a constant. Threads: any.
#pragma once

#include "simulator/faults/Faults.h"

namespace sim
{

extern const FaultTable kLocalFaults;

// Of a frame of this FuncID.
FaultPlace PlaceOf(uint16_t id, bool answer);

} // namespace sim
