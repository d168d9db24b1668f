// Arrival.h - a received frame in the light of its connection: what it says, and what is wrong with it there.
// State: none. Threads: any.
#pragma once

#include "simulator/Conversation.h"
#include "simulator/Tree.h"

namespace sim
{

// Takes a received frame apart, pairs a reply with its request, and checks the MAC against the registration.
// What is wrong is added to `frame->problems`, which end the fields as "problems".
Fields DescribeArrival(ParsedFrame *frame, Peer *peer, int64_t nowMs);

} // namespace sim
