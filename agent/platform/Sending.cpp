#define LOG_MODULE "Protool"
#include "platform/Sending.h"

#include <cstring>

#include "core/Common.h"
#include "os/OsMemory.h"
#include "platform/Crypt.h"
#include "platform/Frame.h"
#include "platform/Protool.h"
#include "platform/Settings.h"
#include "platform/TcpServer.h"

int SendRouteUpData(const uint8_t *head, const uint8_t *body, uint8_t msgType, uint8_t flag, uint8_t headLen,
                    uint16_t bodyLen, uint8_t checksum)
{
    if (headLen == 0 && bodyLen == 0) return -1;
    const size_t size = kFrameHeaderSize + headLen + bodyLen;
    uint8_t *frame = size > kMaxFrame ? nullptr : static_cast<uint8_t *>(OsAllocate(size));
    if (!frame) return -1;
    const FrameHeader header = {msgType, flag, headLen, checksum, bodyLen};
    const size_t length = FrameWrite(header, head, body, frame, size);
    int result = -1;
    if (length > 0) {
        result = SendData(frame, length);
        if (result != 0) LOG_ERR("mTcpConnectServer->sendData error");
    }
    OsFree(frame);
    return result;
}

// As SendEncrypted(), for a record that stands in a buffer of its own with room for the padding behind it.
static int SendInPlace(uint8_t msgType, uint8_t flag, const uint8_t *head, uint8_t headLen, uint8_t *plain,
                       size_t plainLen)
{
    size_t bodyLen = AesPaddedLength(plainLen);
    const uint8_t checksum = FrameChecksum(static_cast<uint16_t>(bodyLen), head, headLen, plain, plainLen);
    if (aes_encrypt(gProtoolKey, plain, plain, plainLen, &bodyLen) != 0) return -1;
    return SendRouteUpData(head, plain, msgType, flag, headLen, static_cast<uint16_t>(bodyLen), checksum);
}

int SendEncrypted(uint8_t msgType, uint8_t flag, const uint8_t *head, uint8_t headLen, const uint8_t *plain,
                  size_t plainLen)
{
    const size_t size = AesPaddedLength(plainLen);
    uint8_t *body = size > kMaxFrame ? nullptr : static_cast<uint8_t *>(OsAllocate(size));
    if (!body) return -1;
    memcpy(body, plain, plainLen);
    const int result = SendInPlace(msgType, flag, head, headLen, body, plainLen);
    OsFree(body);
    return result;
}

// Sends an inner record behind a head block of `headLen` bytes.
static int SendRecord(uint8_t msgType, uint8_t flag, const uint8_t *head, uint8_t headLen, const InnerRecord &record)
{
    const size_t size = AesPaddedLength(kMaxInnerHead + record.payloadLen);
    uint8_t *body = size > kMaxFrame ? nullptr : static_cast<uint8_t *>(OsAllocate(size));
    if (!body) return -1;
    const size_t plainLen = InnerRecordWrite(record, body, size);
    const int result = plainLen > 0 ? SendInPlace(msgType, flag, head, headLen, body, plainLen) : -1;
    OsFree(body);
    return result;
}

int SendIpUpData(const void *payload, int length, uint8_t dataType, int withMac, const uint8_t *mac)
{
    if (mLogin != 1 || !payload || length < 1 || length > static_cast<int>(kMaxPayload)) return -1;
    const InnerRecord record = {dataType, withMac ? mac : nullptr, static_cast<const uint8_t *>(payload),
                                static_cast<size_t>(length)};
    const uint8_t msgType = withMac ? MSG_UP_MAC : MSG_UP;
    LOG_INFO("Send MsgType=[%u] DataType=[%u] ", msgType, dataType);
    return SendRecord(msgType, FLAG_UP, nullptr, 0, record);
}

int SendIpAckData(uint16_t headValue, const void *payload, int length, uint8_t dataType, int withMac,
                  const uint8_t *mac)
{
    if (mLogin != 1 || length < 0 || length > static_cast<int>(kMaxPayload) || (length > 0 && !payload)) return -1;
    const uint8_t msgType = withMac ? MSG_ACK_MAC : MSG_ACK;
    const uint8_t head[2] = {static_cast<uint8_t>(headValue), static_cast<uint8_t>(headValue >> 8)};
    if (length == 0)
        return SendRouteUpData(head, nullptr, msgType, FLAG_ACK, sizeof head, 0,
                               FrameChecksum(0, head, sizeof head, nullptr, 0));
    const InnerRecord record = {dataType, withMac ? mac : nullptr, static_cast<const uint8_t *>(payload),
                                static_cast<size_t>(length)};
    return SendRecord(msgType, FLAG_ACK, head, sizeof head, record);
}
