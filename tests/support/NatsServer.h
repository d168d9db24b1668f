// NatsServer.h - a message system of a test's own: one nats-server with JetStream on a free port of this machine.
// State: the server and the folder of its streams, which outlive Kill(). Threads: one.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

#include "tests/support/Files.h"

struct NatsOptions {
    std::vector<std::string> arguments = {}; // more of them
    std::string user = {};                   // "name:password", for Url()
    std::string store = {};                  // a folder for its streams, which stays; empty: in /tmp
};

class NatsServer
{
  public:
    // Starts it; throws std::runtime_error when it does not serve in time.
    explicit NatsServer(NatsOptions options = {});
    ~NatsServer();
    NatsServer(const NatsServer &) = delete;
    NatsServer &operator=(const NatsServer &) = delete;

    void Kill();  // at once, as a power failure would
    void Start(); // again, at the same port and with the same streams

    std::string Url() const
    {
        return "nats://" + mOptions.user + (mOptions.user.empty() ? "" : "@") + "127.0.0.1:" + std::to_string(mPort);
    }
    std::string Log() const; // what it has said
    pid_t Id() const { return mProcess; }

  private:
    const NatsOptions mOptions;
    TemporaryFolder mFolder;
    const std::string mStore;
    int mPort = -1; // the server chooses
    pid_t mProcess = -1;
};
