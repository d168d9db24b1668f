// Delivery.h - from a frame to the bytes that leave and when; the faults of the platform happen here.
// State: none but the generator it is given. Threads: any.
#pragma once

#include <random>
#include <string>

#include "protocol/FrameCodec.h"
#include "simulator/faults/Faults.h"
#include "simulator/net/Connection.h"

namespace sim
{

using namespace protocol;

Delivery Deliver(const OutFrame &frame, const std::string &key, Faults *faults, std::mt19937_64 *random);

} // namespace sim
