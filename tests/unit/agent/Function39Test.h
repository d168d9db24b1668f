// Function39Test.h - what the tests of the reports of new devices share: the report thread on a virtual clock.
#pragma once

#include "subdev/Function39.h"

#include <cstring>
#include <unistd.h>

#include "os/OsClock.h"
#include "os/OsWait.h"
#include "os/Paths.h"
#include "subdev/KnownDevices.h"
#include "tests/support/Processes.h"
#include "tests/unit/agent/OnlineReportTest.h"
#include "tests/unit/agent/SubdevTest.h"

class Function39 : public OnlineReportTest
{
  protected:
    void SetUp() override
    {
        OnlineReportTest::SetUp();
        unlink(kPathMacConfig);
    }

    void TearDown() override
    {
        Fn39Stop();
        unlink(kPathMacConfig);
        OnlineReportTest::TearDown();
    }

    void Start()
    {
        others = ThreadsOf();
        ASSERT_EQ(0, Fn39Init());
        AwaitWait();
    }

    // Waits for the thread to wait.
    static void AwaitWait() { FakeClockAwaitWaiters(2); } // the response thread of the session is the other

    // Lets `cycles` cycles of ten seconds pass.
    static void Pass(int cycles)
    {
        for (int i = 0; i < cycles; i++) {
            AwaitWait();
            FakeClockAdvanceMs(10000);
        }
        AwaitWait();
    }

    static void Household(std::initializer_list<unsigned> numbers)
    {
        gSdk.devices.clear();
        for (unsigned number : numbers) gSdk.devices.push_back(SubdevDevice(number));
    }

    // The next frame is the report of this device.
    void ExpectReport(unsigned number)
    {
        const std::string name = "dev" + std::to_string(number);
        OnlineReportTest::ExpectReport(SubdevMac(number), Text(name) + Bytes(32 - name.size()));
    }

    // Waits for the thread to end by itself.
    void ExpectHandOver()
    {
        EXPECT_TRUE(Within([this] { return ThreadsOf() == others; }));
        const std::string log = Log();
        EXPECT_NE(std::string::npos, log.find("[DEBUG] [Function39->Fn39ReportProc->"));
        EXPECT_NE(std::string::npos, log.find("]-> Use function 40\n\n"));
    }

    size_t others = 0; // threads besides the report thread
};
