// Listener.h - a host that accepts connections and sends nothing, or does not even accept them.
#pragma once

#include <cstdint>

class Listener
{
  public:
    enum Kind {
        MUTE,  // connections are made, and nothing comes
        SILENT // nobody answers the attempt to connect
    };
    Listener(const char *address, uint16_t port, Kind kind);
    ~Listener();
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

  private:
    int listening_;
    int filling_ = -1;
};

// Waits until a process of the sandbox is connecting and has no answer yet. False when none is within `seconds`.
bool WaitForUnansweredConnect(double seconds);
