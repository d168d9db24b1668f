// HttpFaults.h - what the HTTP server can do wrong on purpose with a path.
// State: none; the table is a constant. Threads: any.
#pragma once

#include "simulator/faults/Faults.h"

namespace sim
{

extern const FaultTable kHttpFaults;

} // namespace sim
