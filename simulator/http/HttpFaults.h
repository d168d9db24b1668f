// HttpFaults.h - the faults of the HTTP server.
// State: none; the table is a constant. Threads: any.
#pragma once

#include "simulator/faults/Faults.h"

namespace sim
{

extern const FaultTable kHttpFaults;

} // namespace sim
