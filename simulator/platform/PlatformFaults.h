// PlatformFaults.h - the faults of the platform. STEP narrows a fault to one point of the conversation.
// State: none; the table is a constant. Threads: any.
#pragma once

#include <string>

#include "protocol/FrameCodec.h"
#include "simulator/faults/Faults.h"

namespace sim
{

using namespace protocol;

extern const FaultTable kPlatformFaults;

std::string StepName(Step step);
FaultPlace PlaceOf(Step step);

} // namespace sim
