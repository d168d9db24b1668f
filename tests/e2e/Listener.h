// Listener.h - a host that accepts connections, or not even that, and never says a word.
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

// Waits until somebody in the sandbox is connecting and has no answer yet. False when nobody is within `seconds`.
bool WaitForUnansweredConnect(double seconds);
