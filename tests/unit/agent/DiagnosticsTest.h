// DiagnosticsTest.h - a running session in which diagnostics are started and asked; what is left of them at the end of
// a test is stopped. Waits with a deadline do not wait unless a test takes the clock over.
#pragma once

#include <filesystem>

#include "functions/Diagnostics.h"
#include "functions/Ping.h"
#include "functions/RateTest.h"
#include "functions/Traceroute.h"
#include "platform/TcpServer.h"
#include "tests/support/Processes.h"
#include "tests/unit/agent/PlatformSide.h"

// What a row of the function table makes of a request's parameters.
struct Answer {
    int status;
    Bytes data;
    bool operator==(const Answer &other) const { return status == other.status && data == other.data; }
};

// The result of a ping or a traceroute with this text.
inline Answer Result(const std::string &text)
{
    return {0, Le16(text.size()) + Text(text)};
}

inline Answer Call(int (*handler)(WireReader *, WireWriter *), const Bytes &parameters = {})
{
    Bytes request = parameters; // gone after the call
    request.resize(64);
    uint8_t room[8186];
    WireReader in = WireRead(request.data(), request.size());
    WireWriter out = WireWrite(room, sizeof room);
    const int status = handler(&in, &out);
    EXPECT_FALSE(in.failed || out.failed);
    return {status, Bytes(room, room + out.used)};
}

// Megabytes of address space; every thread that is not joined keeps eight of them for its stack.
inline long AddressSpace()
{
    return std::stol(ReadFile("/proc/self/statm")) / 256;
}

// What the process has (threads, descriptors, memory), read before an action that must leave nothing behind.
struct Belongings {
    size_t threads = ThreadsOf();
    size_t descriptors = DescriptorsOf();
    long space = AddressSpace();

    // Whether there is no more now. A joined thread may stay visible for a moment; memory for 100 stacks may be kept.
    bool Unchanged() const
    {
        const bool counts = Within([=] { return ThreadsOf() <= threads && DescriptorsOf() <= descriptors; });
        return counts && AddressSpace() <= space + 800;
    }
};

class DiagnosticsTest : public AgentTest
{
  protected:
    void SetUp() override
    {
        AgentTest::SetUp();
        ServerRun = 1;
        FakeClockAuto(true);
    }
    void TearDown() override
    {
        FakeClockAuto(true);
        StopDiagnostics();
        AgentTest::TearDown();
    }

    // What the main thread does at the end of a session, without the session.
    static void EndSession()
    {
        SessionContext context = {};
        FakeClockAuto(true);
        DeleteServer(&context);
    }
};
