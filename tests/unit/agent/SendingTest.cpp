// Cipher texts are those of "openssl enc -aes-128-cbc" with a vector of sixteen zero bytes; checksums are added up by
// hand, the terms beside them.
#include "platform/Sending.h"

#include <cstring>
#include <numeric>

#include "platform/Protool.h"
#include "platform/Settings.h"
#include "tests/fakes/FakeLibraries.h"
#include "tests/unit/agent/LinkTest.h"

namespace
{

const uint8_t kMac[6] = {0x02, 0x11, 0x22, 0x33, 0x44, 0x55};
const char kMarker[] = "CC DD 20 02 00 00 00 4D 4D";

class Sending : public LinkTest
{
  protected:
    void SetUp() override
    {
        LinkTest::SetUp();
        FakeLibrariesReset();
        strcpy(gProtoolKey, "0123456789abcdef");
        mLogin = 1;
        Connect();
    }
    void TearDown() override
    {
        EXPECT_EQ(0, FakeAllocationsAlive()) << "a buffer was not freed";
        FakeLibrariesReset();
        LinkTest::TearDown();
    }
    // Whether nothing has left since the last frame: the next thing to arrive is a marker sent now.
    bool NothingWasSent()
    {
        const uint8_t marker[2] = {0x4D, 0x4D};
        EXPECT_EQ(0, SendRouteUpData(marker, nullptr, 0, 1, 2, 0, 0));
        return mPeer.ReceiveFrame() == Hex(kMarker);
    }
};

} // namespace

// ---- SendIpUpData ----

TEST_F(Sending, UpDataWithoutMacIsMsgType17WithFlag1AndNoHead)
{
    EXPECT_EQ(0, SendIpUpData("hi", 2, 13, 0, nullptr));
    // 31: 17 | 1 << 5; F0: 10 + 00 (length) + 0D + 02 + 68 + 69 = F0
    EXPECT_EQ(Hex("CC DD 31 00 F0 10 00  abdb3907437f3b46da1e4d3527c9ad1e"), mPeer.ReceiveFrame());
    EXPECT_TRUE(Logged("Send MsgType=[17] DataType=[13] "));
}

TEST_F(Sending, UpDataWithMacIsMsgType19AndCarriesIt)
{
    EXPECT_EQ(0, SendIpUpData("hi", 2, 40, 1, kMac));
    // 33: 19 | 1 << 5; 10 + 28 + (02 + 11 + 22 + 33 + 44 + 55 = 101) + 02 + 68 + 69 = 20C
    EXPECT_EQ(Hex("CC DD 33 00 0C 10 00  e05357fa4526aca6d66b766a1b8789a8"), mPeer.ReceiveFrame());
    EXPECT_TRUE(Logged("Send MsgType=[19] DataType=[40] "));
}

TEST_F(Sending, UpDataLogsItsTypesAtInformationalLevel)
{
    SendIpUpData("hi", 2, 13, 0, nullptr);
    EXPECT_NE(std::string::npos, Log().find("[INFO] [Protool->SendIpUpData->"));
}

TEST_F(Sending, UpDataAccepts8100BytesAndRefuses8101)
{
    const Bytes payload(8101, 'A');
    EXPECT_EQ(-1, SendIpUpData(payload.data(), 8101, 13, 0, nullptr));
    ASSERT_TRUE(NothingWasSent());
    EXPECT_EQ(0, SendIpUpData(payload.data(), 8100, 13, 0, nullptr));
    const Bytes frame = mPeer.ReceiveFrame();
    ASSERT_EQ(7u + 8112, frame.size());
    // B0 + 1F (length) + 0D + A4 + 1F + 8100 * 41, modulo 256
    EXPECT_EQ(Hex("CC DD 31 00 43 B0 1F"), Bytes(frame.begin(), frame.begin() + 7));
    EXPECT_EQ(Hex("7400b2d9370d2041dccb7372b6eaddb6"), Bytes(frame.end() - 16, frame.end()));
}

TEST_F(Sending, UpDataWithMacAccepts8100BytesToo)
{
    const Bytes payload(8100, 'A');
    EXPECT_EQ(0, SendIpUpData(payload.data(), 8100, 13, 1, kMac));
    EXPECT_EQ(7u + 8112, mPeer.ReceiveFrame().size()); // 11 + 8100 bytes and one of padding
}

TEST_F(Sending, UpDataWithoutAPayloadIsRefused)
{
    EXPECT_EQ(-1, SendIpUpData("hi", 0, 13, 0, nullptr));
    EXPECT_EQ(-1, SendIpUpData("hi", -1, 13, 0, nullptr));
    EXPECT_EQ(-1, SendIpUpData(nullptr, 2, 13, 0, nullptr));
    EXPECT_TRUE(NothingWasSent());
}

TEST_F(Sending, UpDataIsRefusedWhileNotLoggedIn)
{
    mLogin = 0;
    EXPECT_EQ(-1, SendIpUpData("hi", 2, 13, 0, nullptr));
    EXPECT_EQ("", Log());
    EXPECT_TRUE(NothingWasSent());
}

// ---- SendIpAckData ----

TEST_F(Sending, AcknowledgementWithoutMacIsMsgType25WithFlag0AndItsValueAsHead)
{
    EXPECT_EQ(0, SendIpAckData(0x0201, "{\"result\":0}", 12, 13, 0, nullptr));
    // 20 + 00 (length) + 01 + 02 + 0D + 0C + the text's 445 = 481
    EXPECT_EQ(Hex("CC DD 19 02 81 20 00  01 02  0d53b19131f4eac6e2006ed08087d6a2 970386cc550d31f503cebdb14ed24d1a"),
              mPeer.ReceiveFrame());
}

TEST_F(Sending, AcknowledgementWithMacIsMsgType26)
{
    const uint8_t payload[2] = {0xAB, 0xCD};
    EXPECT_EQ(0, SendIpAckData(0, payload, 2, 40, 1, kMac));
    // 10 + 28 + 101 (the MAC) + 02 + AB + CD = 2B3
    EXPECT_EQ(Hex("CC DD 1A 02 B3 10 00  00 00  6447c7ff79ba9873347ccf75d59dc8f3"), mPeer.ReceiveFrame());
}

TEST_F(Sending, AcknowledgementWithoutPayloadIsItsHeadAlone)
{
    EXPECT_EQ(0, SendIpAckData(11, nullptr, 0, 13, 0, nullptr));
    EXPECT_EQ(Hex("CC DD 19 02 0B 00 00  0B 00"), mPeer.ReceiveFrame());
    EXPECT_EQ(0, SendIpAckData(0xFFFF, nullptr, 0, 13, 1, kMac));
    EXPECT_EQ(Hex("CC DD 1A 02 FE 00 00  FF FF"), mPeer.ReceiveFrame()); // FF + FF = 1FE
}

TEST_F(Sending, AcknowledgementAccepts8100BytesAndRefuses8101)
{
    const Bytes payload(8101, 'A');
    EXPECT_EQ(-1, SendIpAckData(0, payload.data(), 8101, 13, 0, nullptr));
    EXPECT_EQ(-1, SendIpAckData(0, payload.data(), -1, 13, 0, nullptr));
    EXPECT_EQ(-1, SendIpAckData(0, nullptr, 1, 13, 0, nullptr));
    ASSERT_TRUE(NothingWasSent());
    EXPECT_EQ(0, SendIpAckData(0, payload.data(), 8100, 13, 1, kMac));
    EXPECT_EQ(9u + 8112, mPeer.ReceiveFrame().size());
}

TEST_F(Sending, AcknowledgementIsRefusedWhileNotLoggedIn)
{
    mLogin = 0;
    EXPECT_EQ(-1, SendIpAckData(0, "hi", 2, 13, 0, nullptr));
    EXPECT_EQ(-1, SendIpAckData(0, nullptr, 0, 13, 0, nullptr));
    EXPECT_TRUE(NothingWasSent());
}

// ---- SendRouteUpData, SendEncrypted ----

TEST_F(Sending, RouteUpDataIsRefusedWhenBothLengthsAreZero)
{
    const uint8_t bytes[2] = {};
    EXPECT_EQ(-1, SendRouteUpData(bytes, bytes, 17, 1, 0, 0, 0));
    EXPECT_EQ("", Log());
    EXPECT_TRUE(NothingWasSent());
}

TEST_F(Sending, RouteUpDataBuildsTheFrameFromItsArguments)
{
    const uint8_t head[2] = {0x0B, 0x0C};
    const uint8_t body[3] = {0xA1, 0xB2, 0xC3};
    EXPECT_EQ(0, SendRouteUpData(head, body, 20, 3, 2, 3, 0x5A)); // it sends what it is told, also while logged out
    EXPECT_EQ(Hex("CC DD 74 02 5A 03 00  0B 0C  A1 B2 C3"), mPeer.ReceiveFrame());
    EXPECT_EQ(0, SendRouteUpData(nullptr, body, 17, 1, 0, 3, 0x5A));
    EXPECT_EQ(Hex("CC DD 31 00 5A 03 00  A1 B2 C3"), mPeer.ReceiveFrame());
}

TEST_F(Sending, RouteUpDataAcceptsFramesOfUpTo8192Bytes)
{
    const Bytes body(8192, 0x11);
    EXPECT_EQ(-1, SendRouteUpData(nullptr, body.data(), 17, 1, 0, 8192 - 7 + 1, 0));
    ASSERT_TRUE(NothingWasSent());
    EXPECT_EQ(0, SendRouteUpData(nullptr, body.data(), 17, 1, 0, 8192 - 7, 0));
    EXPECT_EQ(8192u, mPeer.ReceiveFrame().size());
}

TEST_F(Sending, EncryptedDataNeedsNoLogin)
{
    mLogin = 0;
    const Bytes plain = Hex("00 00 0D 02 00 68 69");
    EXPECT_EQ(0, SendEncrypted(17, 1, nullptr, 0, plain.data(), plain.size()));
    EXPECT_EQ(Hex("CC DD 31 00 F0 10 00  abdb3907437f3b46da1e4d3527c9ad1e"), mPeer.ReceiveFrame());
}

TEST_F(Sending, EncryptedDataThatFitsInNoFrameIsRefused)
{
    const Bytes plain(8192, 0);
    for (size_t size : {8176u, 8191u, 8192u})
        EXPECT_EQ(-1, SendEncrypted(17, 1, nullptr, 0, plain.data(), size)) << size;
    ASSERT_TRUE(NothingWasSent());
    EXPECT_EQ(0, SendEncrypted(17, 1, nullptr, 0, plain.data(), 8175)); // 8176 encrypted
    EXPECT_EQ(7u + 8176, mPeer.ReceiveFrame().size());
}

// ---- Failures ----

TEST_F(Sending, EveryFailedAllocationReturnsMinusOneWithNothingSent)
{
    const uint8_t plain[2] = {};
    for (int nth : {1, 2}) {
        FakeFailAllocation(nth);
        EXPECT_EQ(-1, SendIpUpData("hi", 2, 13, 0, nullptr)) << nth;
        FakeFailAllocation(nth);
        EXPECT_EQ(-1, SendIpAckData(0, "hi", 2, 13, 0, nullptr)) << nth;
        FakeFailAllocation(nth);
        EXPECT_EQ(-1, SendEncrypted(17, 1, nullptr, 0, plain, 2)) << nth;
        EXPECT_EQ(0, FakeAllocationsAlive());
    }
    FakeFailAllocation(1);
    EXPECT_EQ(-1, SendIpAckData(0, nullptr, 0, 13, 0, nullptr));
    EXPECT_TRUE(NothingWasSent());
}

TEST_F(Sending, AKeyThatCannotBeSetReturnsMinusOneWithNothingSent)
{
    FakeRefuseCipherKey();
    EXPECT_EQ(-1, SendIpUpData("hi", 2, 13, 0, nullptr));
    FakeRefuseCipherKey();
    EXPECT_EQ(-1, SendIpAckData(0, "hi", 2, 13, 0, nullptr));
    EXPECT_EQ(0, FakeAllocationsAlive());
    EXPECT_TRUE(NothingWasSent());
}

TEST_F(Sending, ASocketThatDoesNotTakeTheFrameIsLogged)
{
    Stop();
    Log();
    EXPECT_EQ(-1, SendIpUpData("hi", 2, 13, 0, nullptr));
    EXPECT_NE(std::string::npos, Log().find("]-> mTcpConnectServer->sendData error\n\n"));
    EXPECT_EQ(-1, SendIpAckData(11, nullptr, 0, 13, 0, nullptr));
    EXPECT_TRUE(Logged("mTcpConnectServer->sendData error"));
}

TEST_F(Sending, FramesOfSeveralThreadsDoNotMix)
{
    // Few enough for the send buffer: what a full one does not take is not sent again.
    const auto sendMany = [](uint8_t dataType) {
        const Bytes payload(500, dataType);
        for (int i = 0; i < 8; i++) SendIpUpData(payload.data(), 500, dataType, 0, nullptr);
    };
    Running first([&] { sendMany(1); });
    Running second([&] { sendMany(2); });
    std::vector<int> counts(256);
    for (int i = 0; i < 16; i++) {
        const Bytes frame = mPeer.ReceiveFrame();
        ASSERT_EQ(7u + 512, frame.size());
        ASSERT_EQ(Hex("CC DD 31 00"), Bytes(frame.begin(), frame.begin() + 4));
        ASSERT_EQ(Hex("00 02"), Bytes(frame.begin() + 5, frame.begin() + 7));
        counts[frame[4]]++;
    }
    EXPECT_EQ(8, counts[0xEC]); // 02 (length) + 01 + F4 + 01 + 500 * 01 = 2EC
    EXPECT_EQ(8, counts[0xE1]); // 02 (length) + 02 + F4 + 01 + 500 * 02 = 4E1
}
