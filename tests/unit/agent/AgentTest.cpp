#include "tests/unit/agent/AgentTest.h"

#include <arpa/inet.h>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "Plug.h"
#include "core/Common.h"
#include "core/Config.h"
#include "os/Paths.h"
#include "platform/Protool.h"
#include "platform/ServerStop.h"
#include "platform/Settings.h"
#include "platform/TcpQueue.h"
#include "tests/unit/agent/LogNames.h"

void AgentTest::SetUp()
{
    FakeOsReset();
    RecordingSdkReset();
    ClearOptions();
    DeleteProgramProfile();
    memset(gSN, 0, sizeof gSN);
    memset(gRoutemac, 0, sizeof gRoutemac);
    memset(g_pin_code, 0, sizeof g_pin_code);
    memset(gProtoolKey, 0, sizeof gProtoolKey);
    memset(RegisterIpAddr1, 0, sizeof RegisterIpAddr1);
    memset(RegisterIpAddr2, 0, sizeof RegisterIpAddr2);
    regist_port = 0;
    runMode = 1;
    mEndType = 0;
    NewProtool();
    mLogin = 0;
    mQuitPro = 0;
    ServerRun = 0;
    NewTcpQueue();
    PlugConnectModules();
    PlugResetCounters();
    d_set_log_level(LOG_LEVEL_ALL);
    testing::internal::CaptureStderr();
}

void AgentTest::TearDown()
{
    EXPECT_EQ("", Misnamed(WithoutColours(testing::internal::GetCapturedStderr())));
    DeleteProgramProfile();
    d_set_log_level(LOG_LEVEL_ERR);
}

std::string AgentTest::Log()
{
    const std::string text = WithoutColours(testing::internal::GetCapturedStderr());
    testing::internal::CaptureStderr();
    EXPECT_EQ("", Misnamed(text));
    return text;
}

bool AgentTest::Logged(const std::string &line)
{
    return Contains(Log(), "]-> " + line + "\n\n");
}

std::string AgentTest::StatusFile()
{
    return ReadFile(kPathPlugStatus);
}

StandardOutput::StandardOutput() : mPath(FakeFolder() + "/stdout"), mBefore(dup(STDOUT_FILENO))
{
    fflush(stdout);
    const int file = open(mPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    dup2(file, STDOUT_FILENO);
    close(file);
    setvbuf(stdout, nullptr, _IOFBF, BUFSIZ); // as stdout is by itself where it is no terminal
}

StandardOutput::~StandardOutput()
{
    fflush(stdout);
    dup2(mBefore, STDOUT_FILENO);
    close(mBefore);
}

std::string StandardOutput::SoFar() const
{
    return ReadFile(mPath);
}

std::string WithoutColours(const std::string &text)
{
    std::string plain;
    for (size_t i = 0; i < text.size(); i++) {
        if (text[i] == '\033')
            i = text.find('m', i);
        else
            plain += text[i];
        if (i == std::string::npos) break;
    }
    return plain;
}

static void LimitWaits(int fd)
{
    const struct timeval limit = {10, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

Peer::Peer() : mListener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    struct sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(0, bind(mListener, reinterpret_cast<struct sockaddr *>(&address), sizeof address));
    EXPECT_EQ(0, listen(mListener, 4));
    LimitWaits(mListener);
}

Peer::~Peer()
{
    Close();
    close(mListener);
}

uint16_t Peer::Port() const
{
    struct sockaddr_in address = {};
    socklen_t size = sizeof address;
    getsockname(mListener, reinterpret_cast<struct sockaddr *>(&address), &size);
    return ntohs(address.sin_port);
}

void Peer::SmallBuffer()
{
    const int size = 4096;
    EXPECT_EQ(0, setsockopt(mListener, SOL_SOCKET, SO_RCVBUF, &size, sizeof size));
}

bool Peer::Accept()
{
    Close();
    mSocket = accept4(mListener, nullptr, nullptr, SOCK_CLOEXEC);
    EXPECT_GE(mSocket, 0) << "nobody connected";
    if (mSocket < 0) return false;
    LimitWaits(mSocket);
    const int on = 1;
    setsockopt(mSocket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return true;
}

bool Peer::Send(const Bytes &bytes)
{
    size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = send(mSocket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) return false;
        sent += static_cast<size_t>(count);
    }
    return true;
}

bool Peer::SendFrame(uint8_t msgType, uint8_t flag, const Bytes &head, const Bytes &body, uint8_t checksum)
{
    Bytes frame = {0xCC,
                   0xDD,
                   static_cast<uint8_t>(msgType | flag << 5),
                   static_cast<uint8_t>(head.size()),
                   checksum,
                   static_cast<uint8_t>(body.size()),
                   static_cast<uint8_t>(body.size() >> 8)};
    frame.insert(frame.end(), head.begin(), head.end());
    frame.insert(frame.end(), body.begin(), body.end());
    return Send(frame);
}

Bytes Peer::ReceiveExactly(size_t size)
{
    Bytes bytes(size);
    size_t have = 0;
    while (have < size) {
        const ssize_t count = recv(mSocket, bytes.data() + have, size - have, 0);
        if (count <= 0) return {};
        have += static_cast<size_t>(count);
    }
    return bytes;
}

Bytes Peer::ReceiveFrame()
{
    Bytes frame = ReceiveExactly(kFrameHeaderSize);
    if (frame.empty()) return {};
    const Bytes rest = ReceiveExactly(static_cast<size_t>(frame[3]) + frame[5] + frame[6] * 256u);
    frame.insert(frame.end(), rest.begin(), rest.end());
    return frame;
}

bool Peer::AtEnd()
{
    char byte;
    const ssize_t count = recv(mSocket, &byte, 1, 0);
    return count == 0 || (count < 0 && errno == ECONNRESET);
}

void Peer::Close()
{
    if (mSocket >= 0) close(mSocket);
    mSocket = -1;
}

void Peer::Reset()
{
    const struct linger now = {1, 0};
    setsockopt(mSocket, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    Close();
}
