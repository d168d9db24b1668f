// OnlineReportTest.h - what the tests of both threads share that report devices which have come online: the platform
// wants the reports every 30 minutes, and no local peer has come.
#pragma once

#include "core/Config.h"
#include "core/LocalPeer.h"
#include "platform/Protool.h"
#include "platform/Settings.h"
#include "tests/unit/agent/PlatformSide.h"

class OnlineReportTest : public LinkedTest
{
  protected:
    void SetUp() override
    {
        LinkedTest::SetUp();
        Fn40Interval = 30;
        AutoReportDevinfo = 1;
        CommClientReg = 0;
    }

    void TearDown() override
    {
        CommClientReg = 0;
        LinkedTest::TearDown();
    }

    // The next frame is the report of a device: its MAC, and 32 bytes of data about it.
    void ExpectReport(const Bytes &device, const Bytes &data)
    {
        ASSERT_EQ(32u, data.size());
        LinkedTest::ExpectReport(40, Hex("0000 2800 0000 0100") + device + data + Bytes{1});
    }

    // Waits for the report thread to wait so long.
    static void AwaitPause(int64_t milliseconds = 10000)
    {
        ASSERT_TRUE(Within([=] { return FakeClockNextDeadlineMs() == milliseconds; })) << FakeClockNextDeadlineMs();
    }
};
