// LinkTest.h - a test with a platform at the other end of a real loopback connection.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "platform/TcpServer.h"
#include "tests/unit/agent/AgentTest.h"

// The client is up after Connect() and down at the latest when the test ends.
class LinkTest : public AgentTest
{
  protected:
    void TearDown() override
    {
        Stop();
        AgentTest::TearDown();
    }

    int Init() { return ServerInit("127.0.0.1", mPeer.Port(), &mContext); }

    // Connected, both threads running, the connection's own log lines forgotten.
    void Connect()
    {
        ASSERT_EQ(0, Init());
        ASSERT_TRUE(mPeer.Accept());
        Log();
    }

    // DeleteServer() without waiting for the clock.
    int Stop()
    {
        FakeClockAuto(true);
        const int result = DeleteServer(&mContext);
        FakeClockAuto(false);
        return result;
    }

    Peer mPeer;
    SessionContext mContext = {};
};

// The same with a frame handler that only collects what it is given.
class FrameLinkTest : public LinkTest
{
  protected:
    // A command without head and body, one with a head of 2 and a body of 3 bytes; and what answers a heartbeat.
    static constexpr char kShort[] = "CC DD 32 00 7F 00 00";
    static constexpr char kLong[] = "CC DD 34 02 5A 03 00  0B 0C  A1 B2 C3";
    static constexpr char kAcknowledgement[] = "CC DD 02 00 00 00 00";

    void SetUp() override
    {
        LinkTest::SetUp();
        s_frames.clear();
        ServerOnFrame(Collect);
    }

    static size_t FrameCount()
    {
        std::lock_guard<std::mutex> guard(s_lock);
        return s_frames.size();
    }

    static ReceivedFrame Frame(size_t index)
    {
        std::lock_guard<std::mutex> guard(s_lock);
        return s_frames.at(index);
    }

    // Waits until so many frames have been handled; false after ten seconds.
    static bool AwaitFrames(size_t count)
    {
        std::unique_lock<std::mutex> lock(s_lock);
        const auto limit = std::chrono::system_clock::now() + std::chrono::seconds(10);
        return s_arrived.wait_until(lock, limit, [count] { return s_frames.size() >= count; });
    }

  private:
    static void Collect(const ReceivedFrame &frame)
    {
        std::lock_guard<std::mutex> guard(s_lock);
        s_frames.push_back(frame);
        s_arrived.notify_all();
    }

    static inline std::mutex s_lock; // guards the frames
    static inline std::condition_variable s_arrived;
    static inline std::vector<ReceivedFrame> s_frames;
};
