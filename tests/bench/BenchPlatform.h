// BenchPlatform.h - a minimal platform that answers at once, so that it adds nothing to what is measured.
#pragma once

#include "Link.h"

class BenchPlatform
{
  public:
    uint16_t RegisterPort() const { return mRegister.Port(); }

    // Serves registrations and logins until one session stands: the rules request and the first heartbeat have come.
    // `heartbeatSeconds` is the interval it is told. loggedInMs, unless null: when the rules request came, the first
    // frame that only a logged-in agent sends. Ends the program when nothing stands after `timeoutMs`.
    Link LogIn(int16_t heartbeatSeconds, double timeoutMs, double *loggedInMs = nullptr);

  private:
    Listener mRegister;
    Listener mLogin;
};

// Acknowledges `frame` when it is a heartbeat. Returns whether it is.
bool AnswerHeartbeat(Link *link, const BenchFrame &frame);

// Sends the command `request` and waits for its acknowledgement; heartbeats in between are answered. Returns how long
// it took, milliseconds.
double AskAgent(Link *link, const Bytes &request, BenchFrame *reply);

// The frame of a function's request with this tag.
Bytes FunctionFrame(uint8_t function, uint16_t tag, const Bytes &parameters);
