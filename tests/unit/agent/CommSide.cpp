#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

#include "comm/CommAnswer.h"
#include "comm/CommHandle.h"
#include "comm/CommReports.h"
#include "core/Config.h"
#include "os/Paths.h"
#include "tests/support/UnixSocket.h"
#include "tests/unit/agent/CommTest.h"

Bytes LocalFrame(uint16_t funcId, uint32_t sequence, const Bytes &payload)
{
    Bytes frame = {'Z', 'Z'};
    const auto put = [&frame](uint32_t value, int bytes) {
        for (int i = 0; i < bytes; i++) frame.push_back(static_cast<uint8_t>(value >> 8 * i));
    };
    unsigned sum = 0;
    for (const uint8_t byte : payload) sum += byte;
    put(funcId, 2);
    put(sequence, 4);
    put(static_cast<uint32_t>(payload.size()), 4);
    put(sum, 2);
    return frame + payload;
}

Bytes Slot(const Bytes &read)
{
    const uint32_t size = static_cast<uint32_t>(read.size());
    Bytes slot(8200);
    memcpy(slot.data(), &size, 4);
    memcpy(slot.data() + 4, read.data(), read.size());
    return slot;
}

bool LocalPeer::Connect()
{
    Close();
    return Within([this] { return (mSocket = ConnectUnix(kPathCommServer)) >= 0; });
}

bool LocalPeer::Send(const Bytes &bytes)
{
    return send(mSocket, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

Bytes LocalPeer::Receive(size_t size)
{
    Bytes bytes(size);
    return recv(mSocket, bytes.data(), size, MSG_WAITALL) == static_cast<ssize_t>(size) ? bytes : Bytes();
}

bool LocalPeer::AtEnd()
{
    char byte;
    const ssize_t count = recv(mSocket, &byte, 1, 0);
    return count == 0 || (count < 0 && errno == ECONNRESET);
}

bool LocalPeer::Open()
{
    char byte;
    return recv(mSocket, &byte, 1, MSG_DONTWAIT | MSG_PEEK) < 0 && errno == EAGAIN;
}

void LocalPeer::StopReading()
{
    shutdown(mSocket, SHUT_RD);
}

void LocalPeer::Close()
{
    if (mSocket >= 0) close(mSocket);
    mSocket = -1;
}

void HandleTest::SetUp()
{
    LinkedTest::SetUp();
    CommReportsReset();
    autoReportSeq = 1;
    CommRxSeq = 0;
    CommReceived = 0;
    memset(rxData, 0xEE, sizeof rxData);
    l_debug = 0;
}

void HandleTest::TearDown()
{
    EXPECT_EQ(0, FakeAllocationsAlive()) << "a buffer was not freed";
    LinkedTest::TearDown();
}

void HandleTest::Handle(uint16_t funcId, const Bytes &payload)
{
    HandleRead(LocalFrame(funcId, ++sequence, payload));
}

void HandleTest::HandleRead(const Bytes &read)
{
    Bytes slot = Slot(read);
    CommHandleFrame(slot.data());
}

bool HandleTest::Logged(const std::string &function, const std::string &text)
{
    const std::string log = Log();
    const size_t at = log.find("]-> " + text + "\n\n");
    if (at == std::string::npos) return false;
    const size_t begin = log.rfind('[', at); // of "[module->function->line]-> "
    const std::string prefix = "[CommServer->" + function + "->";
    return log.compare(begin, prefix.size(), prefix) == 0;
}

Bytes HandleTest::RxData(size_t size)
{
    return Bytes(rxData, rxData + size);
}
