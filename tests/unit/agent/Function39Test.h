// Function39Test.h - what the tests of the reports of new devices share: the report thread on a virtual clock.
#pragma once

#include "subdev/Function39.h"

#include <cstring>
#include <filesystem>
#include <unistd.h>

#include "core/Config.h"
#include "core/LocalPeer.h"
#include "os/OsClock.h"
#include "os/OsWait.h"
#include "os/Paths.h"
#include "platform/Protool.h"
#include "subdev/KnownDevices.h"
#include "tests/unit/agent/SubdevTest.h"

class Function39 : public LinkedTest
{
  protected:
    void SetUp() override
    {
        LinkedTest::SetUp();
        Fn40Interval = 30;
        AutoReportDevinfo = 1;
        CommClientReg = 0;
        unlink(kPathMacConfig);
    }

    void TearDown() override
    {
        Fn39Stop();
        CommClientReg = 0;
        unlink(kPathMacConfig);
        LinkedTest::TearDown();
    }

    void Start()
    {
        others = Threads();
        ASSERT_EQ(0, Fn39Init());
        AwaitPause(10000);
    }

    static void AwaitPause(int64_t milliseconds)
    {
        ASSERT_TRUE(Within([=] { return FakeClockNextDeadlineMs() == milliseconds; })) << FakeClockNextDeadlineMs();
    }

    // Lets `cycles` pauses of ten seconds pass.
    static void Pass(int cycles)
    {
        for (int i = 0; i < cycles; i++) {
            ASSERT_NO_FATAL_FAILURE(AwaitPause(10000));
            FakeClockAdvanceMs(10000);
        }
        AwaitPause(10000);
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
        const Bytes report =
            Hex("0000 2800 0000 0100") + SubdevMac(number) + Text(name) + Bytes(32 - name.size()) + Bytes{1};
        ASSERT_EQ(47u, report.size());
        const Bytes frame = peer.ReceiveFrame();
        ASSERT_GE(frame.size(), kFrameHeaderSize) << "no report";
        EXPECT_EQ(Hex("CC DD 33 00"), Bytes(frame.begin(), frame.begin() + 4)); // 19, with the router's MAC
        EXPECT_EQ(Record(40, mac, report), Decrypted(Bytes(frame.begin() + kFrameHeaderSize, frame.end())));
    }

    static size_t Threads()
    {
        const std::filesystem::directory_iterator tasks("/proc/self/task");
        return static_cast<size_t>(std::distance(begin(tasks), end(tasks)));
    }

    // Waits for the thread to end by itself.
    void ExpectHandOver()
    {
        EXPECT_TRUE(Within([this] { return Threads() == others; }));
        const std::string log = Log();
        EXPECT_NE(std::string::npos, log.find("[DEBUG] [Function39->Fn39ReportProc->"));
        EXPECT_NE(std::string::npos, log.find("]-> Use function 40\n\n"));
    }

    bool Logged(const std::string &line) { return Log().find("]-> " + line + "\n\n") != std::string::npos; }

    size_t others = 0; // threads besides the report thread
};
