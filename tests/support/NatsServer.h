// NatsServer.h - a message system of a test's own: one nats-server with JetStream on a free port of this machine.
// State: the server and the folder of its streams, which outlive Kill(). Threads: one.
#pragma once

#include <string>
#include <sys/types.h>

#include "tests/support/Files.h"

class NatsServer
{
  public:
    NatsServer(); // starts it; throws std::runtime_error when it does not serve in time
    ~NatsServer();
    NatsServer(const NatsServer &) = delete;
    NatsServer &operator=(const NatsServer &) = delete;

    void Kill();  // at once, as a power failure would
    void Start(); // again, at the same port and with the same streams

    std::string Url() const { return "nats://127.0.0.1:" + std::to_string(mPort); }
    pid_t Id() const { return mProcess; }

  private:
    TemporaryFolder mFolder;
    int mPort = -1; // the server chooses
    pid_t mProcess = -1;
};
