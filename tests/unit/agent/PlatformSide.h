// PlatformSide.h - what a test needs to speak as the platform: the cipher made elsewhere, frames by hand, a linked
// session, and the ends of the process.
#pragma once

#include "platform/TcpServer.h"
#include "tests/unit/agent/AgentTest.h"

// PIN, KEY and serial number of all conversations.
constexpr char kTestPin[] = "1234567890123456"; // four more than travel
constexpr char kTestKey[] = "0123456789abcdef";

// AES-128-CBC under kTestKey, not through the agent's own module. Encrypted() pads, Decrypted() takes the padding off;
// EncryptedBlocks() takes whole blocks as they are.
Bytes Encrypted(const Bytes &plain);
Bytes EncryptedBlocks(const Bytes &plain);
Bytes Decrypted(const Bytes &body);

// The sum of all bytes modulo 256.
uint8_t Sum(const Bytes &bytes);

// A record as it stands in a decrypted body; `mac` is empty or 6 bytes.
Bytes Record(uint8_t dataType, const Bytes &mac, const Bytes &payload);

// A frame as it comes out of the receive queue.
ReceivedFrame Received(uint8_t msgType, const Bytes &head, const Bytes &body, uint8_t checksum = 0);

// The same for a record, encrypted and with the right checksum.
ReceivedFrame ReceivedRecord(uint8_t msgType, const Bytes &head, const Bytes &plain);

// Lets `milliseconds` pass from deadline to deadline, waiting each time for `sleepers` threads to wait again.
void AdvanceThrough(int64_t milliseconds, int sleepers);

// The same, counting waits without a deadline as well.
void AdvanceThroughWaits(int64_t milliseconds, int waiters);

// A port of 127.0.0.1 that nobody listens on, as long as this lives.
class UnusedPort
{
  public:
    UnusedPort();
    ~UnusedPort();
    uint16_t Number() const { return mNumber; }

  private:
    int mSocket;
    uint16_t mNumber = 0;
};

// The process ends with status -1 and a log that holds the regular expression `text`.
#define EXPECT_ENDS(statement, text)                                                                                   \
    do {                                                                                                               \
        testing::internal::GetCapturedStderr(); /* a death test does its own capturing */                              \
        EXPECT_EXIT(statement, testing::ExitedWithCode(255), text);                                                    \
        testing::internal::CaptureStderr();                                                                            \
    } while (0)

// A logged-in session over a connection to `peer`, without session threads; what the agent sends arrives there. The
// test itself plays the response thread.
class LinkedTest : public AgentTest
{
  protected:
    void SetUp() override;
    void TearDown() override;
    virtual void BeforeLink() {} // the threads are not made yet: what they read can be set
    void Unlink();               // closes the connection; a death test must find no thread
    void ExpectNothingSent();    // since the last frame that was received
    // The next frame is this acknowledgement: head value, then a record with this text unless it is empty.
    void ExpectAck(uint8_t msgType, uint16_t headValue, uint8_t dataType, const Bytes &payload);
    // The next frame is this report, under `dataType` and with the router's MAC.
    void ExpectReport(uint8_t dataType, const Bytes &report);
    // The same without MAC.
    void ExpectPlainReport(uint8_t dataType, const std::string &text);

    Peer peer;
    SessionContext context = {};
    const Bytes mac = Hex("02 11 22 33 44 55");
};
