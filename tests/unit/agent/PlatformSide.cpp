#include "tests/unit/agent/PlatformSide.h"

#include <cstring>
#include <netinet/in.h>
#include <numeric>
#include <openssl/evp.h>
#include <sys/socket.h>
#include <unistd.h>

#include "os/OsClock.h"
#include "platform/Protool.h"
#include "platform/Sending.h"
#include "platform/Settings.h"

static Bytes Cipher(const Bytes &in, bool encrypt, bool padding)
{
    const uint8_t vector[16] = {};
    Bytes out(in.size() + 32);
    int length = 0;
    int rest = 0;
    EVP_CIPHER_CTX *cipher = EVP_CIPHER_CTX_new();
    EVP_CipherInit_ex(cipher, EVP_aes_128_cbc(), nullptr, reinterpret_cast<const uint8_t *>(kTestKey), vector, encrypt);
    EVP_CIPHER_CTX_set_padding(cipher, padding);
    EXPECT_EQ(1, EVP_CipherUpdate(cipher, out.data(), &length, in.data(), static_cast<int>(in.size())));
    EXPECT_EQ(1, EVP_CipherFinal_ex(cipher, out.data() + length, &rest));
    EVP_CIPHER_CTX_free(cipher);
    out.resize(static_cast<size_t>(length) + static_cast<size_t>(rest));
    return out;
}

Bytes Encrypted(const Bytes &plain)
{
    return Cipher(plain, true, true);
}

Bytes EncryptedBlocks(const Bytes &plain)
{
    return Cipher(plain, true, false);
}

Bytes Decrypted(const Bytes &body)
{
    return Cipher(body, false, true);
}

uint8_t Sum(const Bytes &bytes)
{
    return static_cast<uint8_t>(std::accumulate(bytes.begin(), bytes.end(), 0u));
}

Bytes Record(uint8_t dataType, const Bytes &mac, const Bytes &payload)
{
    return Bytes{0, 0, dataType} + mac + Le16(payload.size()) + payload;
}

ReceivedFrame Received(uint8_t msgType, const Bytes &head, const Bytes &body, uint8_t checksum)
{
    ReceivedFrame frame = {};
    frame.header = {msgType, 1, static_cast<uint8_t>(head.size()), checksum, static_cast<uint16_t>(body.size())};
    if (!head.empty()) memcpy(frame.head, head.data(), head.size());
    if (!body.empty()) memcpy(frame.body, body.data(), body.size());
    if (body.size() > 1) frame.firstWord = static_cast<uint16_t>(body[0] | body[1] << 8);
    return frame;
}

ReceivedFrame ReceivedRecord(uint8_t msgType, const Bytes &head, const Bytes &plain)
{
    const Bytes body = Encrypted(plain);
    return Received(msgType, head, body, Sum(Le16(body.size()) + head + plain));
}

static void Advance(int64_t milliseconds, const std::function<void()> &await)
{
    const int64_t end = OsNowMs() + milliseconds;
    while (OsNowMs() < end) {
        await();
        FakeClockAdvanceMs(std::min(end - OsNowMs(), FakeClockNextDeadlineMs()));
    }
    await();
}

void AdvanceThrough(int64_t milliseconds, int sleepers)
{
    Advance(milliseconds, [sleepers] { FakeClockAwaitSleepers(sleepers); });
}

void AdvanceThroughWaits(int64_t milliseconds, int waiters)
{
    Advance(milliseconds, [waiters] { FakeClockAwaitWaiters(waiters); });
}

UnusedPort::UnusedPort() : mSocket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    struct sockaddr_in address = {};
    socklen_t size = sizeof address;
    address.sin_family = AF_INET;
    EXPECT_EQ(0, bind(mSocket, reinterpret_cast<struct sockaddr *>(&address), size));
    getsockname(mSocket, reinterpret_cast<struct sockaddr *>(&address), &size);
    mNumber = ntohs(address.sin_port);
}

UnusedPort::~UnusedPort()
{
    close(mSocket);
}

void LinkedTest::SetUp()
{
    AgentTest::SetUp();
    strcpy(g_pin_code, kTestPin);
    strcpy(gProtoolKey, kTestKey);
    memcpy(gRoutemac, mac.data(), mac.size());
    BeforeLink();
    ASSERT_EQ(0, ServerInit("127.0.0.1", peer.Port(), &context));
    ASSERT_TRUE(peer.Accept());
    mLogin = 1;
    mRegist = 1;
    Log();
}

void LinkedTest::TearDown()
{
    Unlink();
    AgentTest::TearDown();
}

void LinkedTest::Unlink()
{
    FakeClockAuto(true);
    DeleteServer(&context);
}

void LinkedTest::ExpectNothingSent()
{
    const uint8_t head[] = {0x4D, 0x5A};
    ASSERT_EQ(0, SendRouteUpData(head, nullptr, 31, FLAG_UP, sizeof head, 0, 0));
    EXPECT_EQ(Hex("CC DD 3F 02 00 00 00 4D 5A"), peer.ReceiveFrame()) << "something came before it";
}

void LinkedTest::ExpectAck(uint8_t msgType, uint16_t headValue, uint8_t dataType, const Bytes &payload)
{
    const Bytes frame = peer.ReceiveFrame();
    ASSERT_GE(frame.size(), kFrameHeaderSize + 2) << "no answer";
    const Bytes plain = payload.empty() ? Bytes() : Record(dataType, msgType == 26 ? mac : Bytes(), payload);
    const Bytes body(frame.begin() + kFrameHeaderSize + 2, frame.end());
    const Bytes checked = Le16(body.size()) + Le16(headValue) + plain;
    const Bytes lead = Hex("CC DD") + Bytes{msgType, 2, Sum(checked)} + Le16(body.size()) + Le16(headValue);
    EXPECT_EQ(lead, Bytes(frame.begin(), frame.begin() + kFrameHeaderSize + 2));
    EXPECT_EQ(plain, body.empty() ? Bytes() : Decrypted(body));
}

void LinkedTest::ExpectReport(uint8_t dataType, const Bytes &report)
{
    const Bytes frame = peer.ReceiveFrame();
    ASSERT_GT(frame.size(), kFrameHeaderSize) << "no report";
    EXPECT_EQ(Hex("CC DD 33 00"), Bytes(frame.begin(), frame.begin() + 4)); // 19, with the router's MAC
    EXPECT_EQ(Record(dataType, mac, report), Decrypted(Bytes(frame.begin() + kFrameHeaderSize, frame.end())));
}

void LinkedTest::ExpectPlainReport(uint8_t dataType, const std::string &text)
{
    const Bytes frame = peer.ReceiveFrame();
    ASSERT_GT(frame.size(), kFrameHeaderSize) << "nothing was sent";
    EXPECT_EQ(17 | 1 << 5, frame[2]);
    EXPECT_EQ(Record(dataType, {}, Text(text)), Decrypted(Bytes(frame.begin() + kFrameHeaderSize, frame.end())));
}
