#define LOG_MODULE "iot_signal"
#include "rules/iot_signal.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <sys/socket.h>

#include "core/Common.h"
#include "core/Config.h"
#include "os/OsMemory.h"

int32_t udpfd;

static const int kTries = 5;
static const size_t kRetryRoom = 1024;
static const size_t kAddressText = 16; // 255.255.255.255 and a terminator

int eaccess_send(const void *buf, int len, const struct sockaddr_in *addr)
{
    if (!buf || !addr || len < 0) {
        LOG_ERR(" %s %d error!\n\n\n", __func__, __LINE__);
        return -1;
    }
    static_assert(sizeof *addr == 16, "an IPv4 address");
    return static_cast<int>(
        sendto(udpfd, buf, static_cast<size_t>(len), 0, reinterpret_cast<const struct sockaddr *>(addr), sizeof *addr));
}

int eaccess_send_retry(const void *buf, int len, const struct sockaddr_in *addr)
{
    uint8_t copy[kRetryRoom] = {};
    const size_t length = std::min(len > 0 ? static_cast<size_t>(len) : 0, sizeof copy);
    if (buf) memcpy(copy, buf, length);
    int result = -1;
    for (int i = 0; i < kTries && result < 1; i++)
        result = eaccess_send(buf ? copy : nullptr, static_cast<int>(length), addr);
    return result;
}

char *eaccess_addr_text(uint32_t addr)
{
    char *text = static_cast<char *>(OsAllocate(kAddressText));
    uint8_t octets[4]; // in memory order, which is network byte order
    memcpy(octets, &addr, sizeof octets);
    if (text) snprintf(text, kAddressText, "%d.%d.%d.%d", octets[0], octets[1], octets[2], octets[3]);
    return text;
}

void printhex(const void *buf, int len)
{
    if (l_debug != 1 || !buf || len >= kHexTextSize) return;
    char text[kHexTextSize] = {};
    const uint8_t *bytes = static_cast<const uint8_t *>(buf);
    const int most = (kHexTextSize - 1) / 3;
    for (int i = 0; i < len && i < most; i++) snprintf(text + i * 3, 4, "%02X ", bytes[i]);
    LOG_DEBUG("%s\n\n", text);
}

int test_security(const char *)
{
    return 0;
}
