#include "rules/iot_signal.h"

#include <arpa/inet.h>
#include <cstring>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "core/Config.h"
#include "os/OsMemory.h"
#include "tests/unit/agent/SurfTest.h"

// The daemon's socket, and one that receives what it sends.
class IotSignalTest : public SurfTest
{
  protected:
    void SetUp() override
    {
        SurfTest::SetUp();
        mReceiver = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        mAddress.sin_family = AF_INET;
        mAddress.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof mAddress;
        ASSERT_EQ(0, bind(mReceiver, reinterpret_cast<struct sockaddr *>(&mAddress), size));
        ASSERT_EQ(0, getsockname(mReceiver, reinterpret_cast<struct sockaddr *>(&mAddress), &size));
        const struct timeval limit = {10, 0};
        setsockopt(mReceiver, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        udpfd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    }

    void TearDown() override
    {
        if (udpfd > 0) close(udpfd);
        udpfd = 0;
        close(mReceiver);
        SurfTest::TearDown();
    }

    Bytes Received()
    {
        Bytes bytes(4096);
        const ssize_t count = recv(mReceiver, bytes.data(), bytes.size(), 0);
        EXPECT_GE(count, 0);
        bytes.resize(count < 0 ? 0 : static_cast<size_t>(count));
        return bytes;
    }

    int mReceiver = -1;
    struct sockaddr_in mAddress = {};
};

TEST(IotSignal, TheDescriptorIsNeverAssigned)
{
    EXPECT_EQ(0, udpfd);
}

TEST_F(IotSignalTest, SendsOneDatagram)
{
    EXPECT_EQ(3, eaccess_send("abc", 3, &mAddress));
    EXPECT_EQ(Bytes({'a', 'b', 'c'}), Received());
    EXPECT_EQ(0, eaccess_send("abc", 0, &mAddress));
    EXPECT_EQ(Bytes(), Received());
    EXPECT_EQ("", Log());
}

TEST_F(IotSignalTest, RefusesToSendWithoutDataOrAddress)
{
    EXPECT_EQ(-1, eaccess_send(nullptr, 3, &mAddress));
    EXPECT_TRUE(Holds(Log(), "[iot_signal->eaccess_send->"));
    EXPECT_EQ(-1, eaccess_send("abc", 3, nullptr));
    EXPECT_TRUE(Holds(Log(), "]->  eaccess_send "));
    EXPECT_EQ(-1, eaccess_send("abc", -1, &mAddress));
    EXPECT_TRUE(Holds(Log(), " error!\n\n\n"));
}

TEST_F(IotSignalTest, AFailedSendReturnsMinus1)
{
    close(udpfd);
    udpfd = -1;
    EXPECT_EQ(-1, eaccess_send("abc", 3, &mAddress));
    EXPECT_EQ(-1, eaccess_send_retry("abc", 3, &mAddress));
}

TEST_F(IotSignalTest, TriesFiveTimesUntilAByteIsSent)
{
    EXPECT_EQ(3, eaccess_send_retry("abc", 3, &mAddress));
    EXPECT_EQ(Bytes({'a', 'b', 'c'}), Received());
    EXPECT_EQ(0, eaccess_send_retry("abc", 0, &mAddress));
    for (int i = 0; i < 5; i++) EXPECT_EQ(Bytes(), Received()) << i;
    EXPECT_EQ(3, eaccess_send("end", 3, &mAddress));
    EXPECT_EQ(Bytes({'e', 'n', 'd'}), Received()); // there were no more than five
    EXPECT_EQ(-1, eaccess_send_retry(nullptr, 3, &mAddress));
    const std::string log = Log();
    size_t tries = 0;
    for (size_t at = 0; (at = log.find(" error!", at)) != std::string::npos; at++) tries++;
    EXPECT_EQ(5u, tries);
}

TEST_F(IotSignalTest, RetriesWithTheFirstKilobyteAtMost)
{
    const Bytes bytes(2000, 'x');
    EXPECT_EQ(1024, eaccess_send_retry(bytes.data(), 2000, &mAddress));
    EXPECT_EQ(Bytes(1024, 'x'), Received());
    EXPECT_EQ(0, eaccess_send_retry(bytes.data(), -5, &mAddress));
}

TEST_F(IotSignalTest, AnAddressIsPrintedFromItsLowestByteOn)
{
    const uint8_t octets[4] = {192, 168, 1, 254};
    uint32_t address;
    memcpy(&address, octets, 4);
    char *text = eaccess_addr_text(address);
    EXPECT_STREQ("192.168.1.254", text);
    OsFree(text);
    text = eaccess_addr_text(0xFFFFFFFF);
    EXPECT_STREQ("255.255.255.255", text);
    OsFree(text);
    FakeFailAllocation(1);
    EXPECT_EQ(nullptr, eaccess_addr_text(0));
}

TEST_F(IotSignalTest, PrintsBytesInDebugModeOnly)
{
    const uint8_t bytes[] = {0, 0x7F, 0xAB};
    printhex(bytes, 3);
    EXPECT_EQ("", Log());
    l_debug = 1;
    printhex(bytes, 3);
    EXPECT_TRUE(Holds(Log(), "]-> 00 7F AB \n\n"));
    printhex(nullptr, 3);
    printhex(bytes, 3072);
    EXPECT_EQ("", Log());
    printhex(bytes, -1);
    EXPECT_TRUE(Holds(Log(), "]-> \n\n"));
}

TEST_F(IotSignalTest, PrintsAsManyBytesAsFitIntoItsText)
{
    l_debug = 1;
    const Bytes bytes(3071, 0xEE);
    printhex(bytes.data(), 3071);
    const std::string log = Log();
    size_t count = 0;
    for (size_t at = 0; (at = log.find("EE ", at)) != std::string::npos; at++) count++;
    EXPECT_EQ(1023u, count);
}

TEST_F(IotSignalTest, TheSecurityTestDoesNothing)
{
    EXPECT_EQ(0, test_security("helloworld"));
    EXPECT_EQ("", Log());
}
