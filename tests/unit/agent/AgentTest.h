// AgentTest.h - what the agent's unit tests share: a clean start, the log as text, a platform's end of the link.
#pragma once

#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <thread>

#include "platform/Frame.h"
#include "tests/fakes/FakeOs.h"
#include "tests/fakes/RecordingSdk.h"
#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/Texts.h"
#include "tests/support/Within.h"

// Every module as it is when the process starts, the log at debug level and captured.
class AgentTest : public testing::Test
{
  protected:
    void SetUp() override;
    void TearDown() override;

    // What has been logged since the last call, without colours.
    std::string Log();

    // Whether this line was logged since the last call of either: the whole of it, whatever stands in front of "]-> ".
    bool Logged(const std::string &line);

    // The content of the status file, empty when there is none.
    static std::string StatusFile();
};

// A text with its colour escapes taken out.
std::string WithoutColours(const std::string &text);

// Standard output in a file while this is in scope, as a service has it: what has not been flushed is not there.
class StandardOutput
{
  public:
    StandardOutput();
    ~StandardOutput();
    StandardOutput(const StandardOutput &) = delete;
    StandardOutput &operator=(const StandardOutput &) = delete;
    std::string SoFar() const;

  private:
    std::string mPath;
    int mBefore;
};

// One end of a loopback connection, or the listener for it. Every call gives up after ten real seconds with a failure
// of the test, so that a test never hangs.
class Peer
{
  public:
    Peer();                // listens on a free port of 127.0.0.1
    ~Peer();               // closes what is open
    uint16_t Port() const; // where it listens
    void SmallBuffer();    // of the connections to come: a few thousand bytes that nobody has read fill it
    bool Accept();         // takes the next connection in place of the present one
    bool Send(const Bytes &bytes);
    bool SendFrame(uint8_t msgType, uint8_t flag, const Bytes &head, const Bytes &body, uint8_t checksum);
    // Reads one whole frame (any body length): header, head and body as they stand on the wire. Empty at the end.
    Bytes ReceiveFrame();
    bool AtEnd(); // waits for the other side to close; true when it has
    void Close();
    void Reset(); // closes with a RST

  private:
    Bytes ReceiveExactly(size_t size);
    int mListener;
    int mSocket = -1;
};

// A thread that runs a procedure of the agent and is joined at the latest when it goes out of scope.
class Running
{
  public:
    explicit Running(std::function<void()> body) : mThread(std::move(body)) {}
    ~Running() { Join(); }
    void Join()
    {
        if (mThread.joinable()) mThread.join();
    }

  private:
    std::thread mThread;
};
