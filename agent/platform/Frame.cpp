#include "platform/Frame.h"

#include "core/Wire.h"

uint8_t GetCheckSum(const uint8_t *buffer, size_t length)
{
    uint8_t sum = 0;
    for (size_t i = 0; i < length; i++) sum = static_cast<uint8_t>(sum + buffer[i]);
    return sum;
}

uint8_t FrameChecksum(uint16_t bodyLen, const uint8_t *head, size_t headLen, const uint8_t *plain, size_t plainLen)
{
    const uint8_t length[2] = {static_cast<uint8_t>(bodyLen), static_cast<uint8_t>(bodyLen >> 8)};
    return static_cast<uint8_t>(GetCheckSum(length, sizeof length) + GetCheckSum(head, headLen) +
                                GetCheckSum(plain, plainLen));
}

bool FrameCarriesMac(uint8_t msgType)
{
    return msgType == MSG_UP_MAC || msgType == MSG_FUNCTION_COMMAND || msgType == MSG_ACK_MAC;
}

bool FrameReadHeader(const uint8_t *data, size_t size, FrameHeader *header)
{
    WireReader r = WireRead(data, size);
    const uint8_t magic0 = WireGet8(&r);
    const uint8_t magic1 = WireGet8(&r);
    const uint8_t kind = WireGet8(&r);
    header->msgType = kind & 0x1F;
    header->flag = static_cast<uint8_t>(kind >> 5);
    header->headLen = WireGet8(&r);
    header->checksum = WireGet8(&r);
    header->bodyLen = WireGetLe16(&r);
    return !r.failed && magic0 == kFrameMagic0 && magic1 == kFrameMagic1;
}

size_t FrameWrite(const FrameHeader &header, const uint8_t *head, const uint8_t *body, uint8_t *out, size_t size)
{
    WireWriter w = WireWrite(out, size);
    WirePut8(&w, kFrameMagic0);
    WirePut8(&w, kFrameMagic1);
    WirePut8(&w, static_cast<uint8_t>((header.msgType & 0x1F) | header.flag << 5));
    WirePut8(&w, header.headLen);
    WirePut8(&w, header.checksum);
    WirePutLe16(&w, header.bodyLen);
    WirePutBytes(&w, head, header.headLen);
    WirePutBytes(&w, body, header.bodyLen);
    return w.failed ? 0 : w.used;
}

size_t InnerRecordWrite(const InnerRecord &record, uint8_t *out, size_t size)
{
    if (record.payloadLen > UINT16_MAX) return 0;
    WireWriter w = WireWrite(out, size);
    WirePutLe16(&w, 0);
    WirePut8(&w, record.dataType);
    if (record.mac) WirePutBytes(&w, record.mac, kMacSize);
    WirePutLe16(&w, static_cast<uint16_t>(record.payloadLen));
    WirePutBytes(&w, record.payload, record.payloadLen);
    return w.failed ? 0 : w.used;
}

bool InnerRecordRead(const uint8_t *plain, size_t size, bool withMac, InnerRecord *record)
{
    WireReader r = WireRead(plain, size);
    WireTake(&r, 2);
    record->dataType = WireGet8(&r);
    record->mac = withMac ? WireTake(&r, kMacSize) : nullptr;
    record->payloadLen = WireGetLe16(&r);
    record->payload = WireTake(&r, record->payloadLen);
    return !r.failed;
}
