// Delivery.h - from a frame to the bytes that leave and when: here the misbehaviours happen.
// State: none but the generator it is given. Threads: any.
#pragma once

#include <random>
#include <string>
#include <vector>

#include "simulator/Misbehaviour.h"

namespace sim
{

struct Chunk {
    int64_t pauseMs; // before it, counted from the chunk before (the first: from now)
    Bytes bytes;
};

struct Delivery {
    std::vector<Chunk> chunks; // none: nothing is sent
    bool closeAfter = false;
    std::vector<std::string> wrongs; // the misbehaviours that happened
};

Delivery Deliver(const OutFrame &frame, const std::string &key, Misbehaviour *misbehaviour, std::mt19937_64 *random);

} // namespace sim
