// LocalPeer.h - the local peer for a measurement: a connection to the agent's local server.
#pragma once

#include <cstdint>
#include <thread>

#include "Link.h"

class LocalPeer
{
  public:
    // Connects as soon as the agent listens; ends the program when it does not within five seconds.
    LocalPeer();
    ~LocalPeer();
    LocalPeer(const LocalPeer &) = delete;
    LocalPeer &operator=(const LocalPeer &) = delete;

    // From now on a thread answers every question at once: status 0 and one byte.
    void AnswerAll();

    // Sends a frame of the next number.
    void Send(uint16_t funcId, const Bytes &payload);

    // Takes what the agent has said meanwhile, and forgets it.
    void Drain();

  private:
    void Answer();

    int mFd;
    uint32_t mSequence = 0;
    std::thread mThread;
};
