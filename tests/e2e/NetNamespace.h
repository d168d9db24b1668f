// NetNamespace.h - another computer for a test: a network of its own, joined to ours by a cable.
//
// State: the namespace lives as long as the object; its end takes the cable with it.
#pragma once

#include <functional>
#include <string>

class NetNamespace
{
  public:
    // `device` is our end of the cable, with the address `ours`; the other end has `theirs` and sends everything
    // our way. Addresses are IPv4 with a prefix length ("10.77.1.1/24", "10.77.1.2"). Throws Failure.
    NetNamespace(const std::string &device, const std::string &ours, const std::string &theirs);
    ~NetNamespace();
    NetNamespace(const NetNamespace &) = delete;
    NetNamespace &operator=(const NetNamespace &) = delete;

    // Runs `body` in the other network, on this thread. Sockets that it opens stay in that network.
    void Inside(const std::function<void()> &body) const;

  private:
    std::string device_;
    int home_ = -1;
    int there_ = -1;
};

// Runs `body` in the network that the descriptor stands for, on this thread, and comes back. Programs that it starts
// and sockets that it opens stay there. Throws Failure.
void RunInNetwork(int network, const std::function<void()> &body);

// Runs a shell's text, in the namespace of this thread, and returns what it prints. Throws Failure when it fails.
std::string RunShell(const std::string &text);
