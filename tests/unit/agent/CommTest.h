// CommTest.h - the local peer of a test: frames made by hand, their slots, a connection.
#pragma once

#include "comm/CommFrame.h"
#include "tests/unit/agent/PlatformSide.h"

// A local frame with the right length and checksum, made without the agent's own writer.
Bytes LocalFrame(uint16_t funcId, uint32_t sequence, const Bytes &payload);

// A slot of the queue of received frames with these bytes in it; the rest of it is zeros.
Bytes Slot(const Bytes &read);

// The local peer's end of a connection to the agent's socket. Calls give up after ten real seconds.
class LocalPeer
{
  public:
    LocalPeer() = default;
    ~LocalPeer() { Close(); }
    LocalPeer(const LocalPeer &) = delete;
    LocalPeer &operator=(const LocalPeer &) = delete;
    bool Connect(); // once the agent listens; replaces the present connection
    bool Send(const Bytes &bytes);
    Bytes Receive(size_t size); // exactly this many bytes; empty when they do not come
    bool AtEnd();               // waits for the agent to close; true when it has
    bool Open();                // whether the agent has not closed yet
    void StopReading();         // every later send of the agent fails
    void Close();

  private:
    int mSocket = -1;
};

// A logged-in session with a platform, and the handler of local frames in its initial state. The test acts as the
// handler thread.
class HandleTest : public LinkedTest
{
  protected:
    void SetUp() override;
    void TearDown() override;
    // Handles a frame with the next sequence.
    void Handle(uint16_t funcId, const Bytes &payload);
    // Handles the bytes of one read.
    static void HandleRead(const Bytes &read);
    bool Logged(const std::string &function, const std::string &text);
    static Bytes RxData(size_t size);

    uint32_t sequence = 0; // of the last frame
};
