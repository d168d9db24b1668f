// Devices that the local peer reports: its message, the filter table, the report thread.
#include "subdev/Function40.h"

#include "core/LocalPeer.h"
#include "os/OsClock.h"
#include "platform/Settings.h"
#include "tests/unit/agent/OnlineReportTest.h"

namespace
{

Bytes Mac(unsigned number)
{
    return {0x02, 0xAA, 0, 0, static_cast<uint8_t>(number >> 8), static_cast<uint8_t>(number)};
}

// 32 bytes that differ from device to device.
Bytes Data(unsigned number)
{
    Bytes data(32, 'd');
    data[0] = static_cast<uint8_t>(number);
    data[31] = static_cast<uint8_t>(~number);
    return data;
}

Bytes DeviceRecord(unsigned number, uint8_t online = 1)
{
    return Mac(number) + Data(number) + Bytes{online};
}

Bytes Message(size_t count, const Bytes &records)
{
    return Bytes{static_cast<uint8_t>(count), static_cast<uint8_t>(count >> 8)} + records;
}

void Handle(const Bytes &message)
{
    Fn40Handle(message.data(), message.size());
}

void Enter(unsigned number)
{
    Handle(Message(1, DeviceRecord(number)));
}

bool Knows(unsigned number)
{
    return Fn40Knows(Mac(number).data());
}

class Function40 : public OnlineReportTest
{
  protected:
    void SetUp() override
    {
        OnlineReportTest::SetUp();
        FakeFailThreadStart(1, EAGAIN); // an empty table, and no thread unless the test starts one
        EXPECT_EQ(-1, Fn40Init());
        Fn40Stop(); // the next start is no retry
        Log();
    }

    void TearDown() override
    {
        Fn40Stop();
        OnlineReportTest::TearDown();
    }

    // The next frame is the report of this device.
    void ExpectReport(unsigned number) { OnlineReportTest::ExpectReport(Mac(number), Data(number)); }
};

} // namespace

// ---- The message ----

TEST_F(Function40, CountsOf0And129AreRefused)
{
    Handle(Message(0, DeviceRecord(1)));
    EXPECT_TRUE(Logged("Subdev number error."));
    Handle(Message(129, DeviceRecord(1)));
    EXPECT_TRUE(Logged("Subdev number error."));
    Handle(Message(0xFFFF, DeviceRecord(1)));
    EXPECT_TRUE(Logged("Subdev number error."));
    Handle({1}); // half a count
    EXPECT_TRUE(Logged("Subdev number error."));
    EXPECT_FALSE(Knows(1));
}

TEST_F(Function40, TheCountIsCheckedBeforeTheLength)
{
    Handle(Message(0, {}));
    EXPECT_TRUE(Logged("Subdev number error."));
}

TEST_F(Function40, LengthsOf38And5129AreRefused)
{
    Handle(Message(1, Bytes(36, 1)));
    EXPECT_TRUE(Logged("Subdev length error."));
    Handle(Message(1, DeviceRecord(1) + Bytes(5129 - 41)));
    EXPECT_TRUE(Logged("Subdev length error."));
    EXPECT_FALSE(Knows(1));
    Handle(Message(1, DeviceRecord(1) + Bytes(5128 - 41)));
    EXPECT_TRUE(Logged("Have subdev data."));
    EXPECT_TRUE(Knows(1));
}

TEST_F(Function40, AnIncompleteRecordEndsTheMessage)
{
    const Bytes whole = Message(1, DeviceRecord(1));
    Handle(Bytes(whole.begin(), whole.end() - 2)); // 39 bytes: long enough to be parsed
    EXPECT_TRUE(Logged("Have subdev data."));
    EXPECT_FALSE(Knows(1));
    Handle(Message(128, DeviceRecord(2) + DeviceRecord(3) + Mac(4)));
    EXPECT_TRUE(Knows(2));
    EXPECT_TRUE(Knows(3));
    EXPECT_FALSE(Knows(4));
    EXPECT_EQ(0u, CountOf(Log(), "Subdev offline."));
}

TEST_F(Function40, AMessageOf128DevicesEntersThemAll)
{
    Bytes records;
    for (unsigned i = 1; i <= 128; i++) records = records + DeviceRecord(i);
    Handle(Message(128, records));
    for (unsigned i = 1; i <= 128; i++) EXPECT_TRUE(Knows(i)) << i;
}

TEST_F(Function40, OnlyTheCountedRecordsAreRead)
{
    Handle(Message(1, DeviceRecord(1) + DeviceRecord(2)));
    EXPECT_TRUE(Knows(1));
    EXPECT_FALSE(Knows(2));
}

TEST_F(Function40, AnOfflineRecordEndsTheMessage)
{
    Handle(Message(4, DeviceRecord(1) + DeviceRecord(2, 0) + DeviceRecord(3) + DeviceRecord(4)));
    EXPECT_TRUE(Knows(1));
    EXPECT_FALSE(Knows(2));
    EXPECT_FALSE(Knows(3));
    EXPECT_FALSE(Knows(4));
    EXPECT_EQ(3u, CountOf(Log(), "]-> Subdev offline.\n\n")); // once for each that was still to come
}

TEST_F(Function40, OnlyTheFlag1MeansOnline)
{
    Handle(Message(1, DeviceRecord(1, 2)));
    Handle(Message(1, DeviceRecord(2, 0xFF)));
    EXPECT_FALSE(Knows(1));
    EXPECT_FALSE(Knows(2));
    EXPECT_EQ(2u, CountOf(Log(), "Subdev offline."));
}

TEST_F(Function40, LogLinesNameTheirProcedure)
{
    Handle(Message(0, {}));
    EXPECT_NE(std::string::npos, Log().find("[ERR] [Function40->Fn40Handle->"));
    Enter(1);
    EXPECT_NE(std::string::npos, Log().find("[DEBUG] [Function40->Fn40Handle->"));
}

// ---- The table ----

TEST_F(Function40, MacsOfZerosAndOfOnesAreIgnored)
{
    const Bytes zeros = Bytes(6, 0) + Data(1) + Bytes{1};
    const Bytes ones = Bytes(6, 0xFF) + Data(1) + Bytes{1};
    EXPECT_EQ(-1, Fn40Recv(zeros.data()));
    EXPECT_EQ(-1, Fn40Recv(ones.data()));
    Fn40Cycle();
    ExpectNothingSent();
    EXPECT_EQ(0, Fn40Recv(DeviceRecord(1).data()));
}

TEST_F(Function40, ANewDeviceIsReportedOnceWithItsDataUnchanged)
{
    Enter(7);
    Fn40Cycle();
    ExpectReport(7);
    Fn40Cycle();
    ExpectNothingSent();
}

TEST_F(Function40, DevicesAreReportedInTheOrderOfTheirArrival)
{
    Handle(Message(3, DeviceRecord(9) + DeviceRecord(3) + DeviceRecord(5)));
    Fn40Cycle();
    ExpectReport(9);
    ExpectReport(3);
    ExpectReport(5);
    ExpectNothingSent();
}

TEST_F(Function40, AKnownDeviceIsNotReportedAgainAndKeepsItsFirstData)
{
    Enter(7);
    const Bytes other = Mac(7) + Data(8) + Bytes{1};
    EXPECT_EQ(0, Fn40Recv(other.data()));
    Fn40Cycle();
    ExpectReport(7);
    EXPECT_EQ(0, Fn40Recv(other.data()));
    Fn40Cycle();
    ExpectNothingSent();
}

TEST_F(Function40, A129thDeviceIsDroppedUntilTheCleanUp)
{
    for (unsigned i = 1; i <= 128; i++) Enter(i);
    EXPECT_EQ(0, Fn40Recv(DeviceRecord(129).data()));
    EXPECT_FALSE(Knows(129));
    Fn40Interval = 0; // this cycle cleans up
    Fn40Cycle();
    for (unsigned i = 1; i <= 128; i++) ExpectReport(i);
    EXPECT_FALSE(Knows(1));
    Enter(129);
    EXPECT_TRUE(Knows(129));
}

TEST_F(Function40, TheFirstCleanUpIsTheCycleAfterTheInterval)
{
    Fn40Interval = 3;
    Enter(7);
    for (int i = 0; i < 3; i++) Fn40Cycle();
    EXPECT_TRUE(Knows(7));
    Log();
    Fn40Cycle();
    EXPECT_FALSE(Knows(7));
    EXPECT_NE(std::string::npos, Log().find("[Function40->Fn40FilterProc->"));
}

TEST_F(Function40, LaterCleanUpsAreAnIntervalApart)
{
    Fn40Interval = 3;
    for (int i = 0; i < 4; i++) Fn40Cycle();
    for (int round = 0; round < 2; round++) {
        Enter(7);
        for (int i = 0; i < 2; i++) Fn40Cycle();
        EXPECT_TRUE(Knows(7));
        Fn40Cycle();
        EXPECT_FALSE(Knows(7));
    }
}

TEST_F(Function40, ADeviceIsReportedAgainAfterTheCleanUp)
{
    Fn40Interval = 1;
    Enter(7);
    Fn40Cycle();
    ExpectReport(7);
    Enter(7);
    Fn40Cycle(); // cleans up
    EXPECT_TRUE(Logged("Clean 40 subdev."));
    ExpectNothingSent();
    Enter(7);
    Fn40Cycle();
    ExpectReport(7);
}

TEST_F(Function40, AChangedIntervalCountsFromTheNextCycle)
{
    for (int i = 0; i < 10; i++) Fn40Cycle();
    Enter(7);
    Fn40Interval = 6;
    Fn40Cycle();
    EXPECT_FALSE(Knows(7));
}

TEST_F(Function40, WhileReportsAreSwitchedOffADeviceCountsAsReported)
{
    AutoReportDevinfo = 0;
    Enter(7);
    Fn40Cycle();
    AutoReportDevinfo = 1;
    Fn40Cycle();
    ExpectNothingSent();
    EXPECT_TRUE(Knows(7));
}

TEST_F(Function40, WithDebugAReportIsPrintedOnStandardOutput)
{
    l_debug = 1;
    Enter(0xAB);
    testing::internal::CaptureStdout();
    Fn40Cycle();
    const std::string shown = testing::internal::GetCapturedStdout();
    std::string expected = "00 00 28 00 00 00 01 00 02 AA 00 00 00 AB AB ";
    for (int i = 0; i < 30; i++) expected += "64 ";
    EXPECT_EQ(expected + "54 01 \n", shown);
    const std::string log = Log();
    EXPECT_NE(std::string::npos, log.find("[Function40->Fn40OnlineReport->"));
    EXPECT_NE(std::string::npos, log.find("]-> Online subdev:\n\n"));
}

TEST_F(Function40, WithDebugAReportIsPrintedAtOnce)
{
    l_debug = 1;
    Enter(1);
    Enter(2);
    const StandardOutput shown;
    Fn40Cycle();
    EXPECT_EQ(2u * (47 * 3 + 1), shown.SoFar().size());
}

TEST_F(Function40, WithoutDebugNothingIsPrinted)
{
    Enter(1);
    testing::internal::CaptureStdout();
    Fn40Cycle();
    EXPECT_EQ("", testing::internal::GetCapturedStdout());
    EXPECT_FALSE(Logged("Online subdev:"));
}

// ---- The thread ----

TEST_F(Function40, TheThreadWaitsForALocalPeerAndThenReportsEvery10Seconds)
{
    ASSERT_EQ(0, Fn40Init());
    FakeClockAwaitWaiters(1);
    Enter(1);
    FakeClockAdvanceMs(600000);
    ExpectNothingSent();
    LocalPeerCame();
    ASSERT_NO_FATAL_FAILURE(AwaitPause());
    FakeClockAdvanceMs(9999);
    ExpectNothingSent();
    FakeClockAdvanceMs(1);
    ExpectReport(1);
    ASSERT_NO_FATAL_FAILURE(AwaitPause());
    Enter(2);
    FakeClockAdvanceMs(10000);
    ExpectReport(2);
}

TEST_F(Function40, TheThreadStopsWhileItWaitsForALocalPeer)
{
    ASSERT_EQ(0, Fn40Init());
    FakeClockAwaitWaiters(1);
    Fn40Stop(); // returns although the clock does not advance
}

TEST_F(Function40, TheThreadStopsBetweenTwoCycles)
{
    CommClientReg = 1;
    ASSERT_EQ(0, Fn40Init());
    ASSERT_NO_FATAL_FAILURE(AwaitPause());
    Enter(1);
    Fn40Stop();
    ExpectNothingSent();
    EXPECT_EQ(0, OsNowMs());
}

TEST_F(Function40, TheStartEmptiesTheTable)
{
    Enter(1);
    ASSERT_EQ(0, Fn40Init());
    EXPECT_FALSE(Knows(1));
}

TEST_F(Function40, AThreadThatCannotBeStartedIsLoggedAndAStopIsAllowed)
{
    FakeFailThreadStart(1, EAGAIN);
    EXPECT_EQ(-1, Fn40Init());
    EXPECT_TRUE(Logged("Create Fn40FilterProc failed."));
    Fn40Stop();
}

TEST_F(Function40, ARetriedStartKeepsTheDevicesThatCameMeanwhile)
{
    FakeFailThreadStart(1, EAGAIN);
    EXPECT_EQ(-1, Fn40Init());
    Enter(1);
    CommClientReg = 1;
    ASSERT_EQ(0, Fn40Init());
    EXPECT_TRUE(Knows(1));
    ASSERT_NO_FATAL_FAILURE(AwaitPause());
    FakeClockAdvanceMs(10000);
    ExpectReport(1);
}
