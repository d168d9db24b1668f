#include "FuzzPlatform.h"

#include <cstring>
#include <sys/socket.h>

#include "FuzzInput.h"
#include "platform/Crypt.h"
#include "platform/SessionFrames.h"
#include "platform/Settings.h"

// ---- Frames of the agent ----

static AgentFrame Read(const FrameHeader &header, const uint8_t *head)
{
    AgentFrame frame = {header.msgType, header.flag, Bytes(head, head + header.headLen), 0, ""};
    Bytes plain(head + header.headLen, head + header.headLen + header.bodyLen);
    REQUIRE(plain.size() % kAesBlock == 0);
    size_t plainLen = 0;
    if (!plain.empty()) {
        REQUIRE(aes_decrypt(gProtoolKey, plain.data(), plain.data(), plain.size(), &plainLen) == 0);
        REQUIRE(plain.back() >= 1 && plain.back() <= kAesBlock);
        plainLen -= plain.back();
    }
    REQUIRE(FrameChecksum(header.bodyLen, head, header.headLen, plain.data(), plainLen) == header.checksum);
    switch (header.msgType) {
    case MSG_REGISTER:
        REQUIRE(header.flag == FLAG_UP && header.headLen == kRegisterHeadSize && plainLen > 0);
        return frame;
    case MSG_LOGIN: REQUIRE(header.flag == FLAG_UP && header.headLen == kLoginHeadSize && plainLen > 0); return frame;
    case MSG_HEARTBEAT:
        REQUIRE(header.flag == FLAG_UP && header.headLen == kHeartbeatHeadSize && plain.empty());
        return frame;
    case MSG_UP:
    case MSG_UP_MAC: REQUIRE(header.flag == FLAG_UP && header.headLen == 0 && plainLen > 0); break;
    default:
        REQUIRE(header.msgType == MSG_ACK || header.msgType == MSG_ACK_MAC);
        REQUIRE(header.flag == FLAG_ACK && header.headLen == 2);
    }
    InnerRecord record = {};
    if (plainLen > 0) REQUIRE(InnerRecordRead(plain.data(), plainLen, FrameCarriesMac(header.msgType), &record));
    frame.dataType = record.dataType;
    frame.payload.assign(reinterpret_cast<const char *>(record.payload), record.payloadLen);
    return frame;
}

std::vector<AgentFrame> AgentFrames(int fd)
{
    static uint8_t stream[65536];
    size_t filled = 0;
    ssize_t count;
    while ((count = recv(fd, stream + filled, sizeof stream - filled, MSG_DONTWAIT)) > 0)
        filled += static_cast<size_t>(count);
    std::vector<AgentFrame> frames;
    FrameHeader header;
    for (size_t at = 0; at < filled; at += kFrameHeaderSize + header.headLen + header.bodyLen) {
        REQUIRE(FrameReadHeader(stream + at, filled - at, &header));
        REQUIRE(filled - at >= kFrameHeaderSize + header.headLen + header.bodyLen);
        frames.push_back(Read(header, stream + at + kFrameHeaderSize));
    }
    return frames;
}

// ---- Frames to the agent ----

void EncryptInto(ReceivedFrame *frame, Bytes plain, bool rightChecksum)
{
    const size_t most = kBodyRoom / kAesBlock * kAesBlock - 1;
    if (plain.size() > most) plain.resize(most);
    const size_t plainLen = plain.size();
    size_t cipherLen = AesPaddedLength(plainLen);
    frame->header.bodyLen = static_cast<uint16_t>(cipherLen);
    if (rightChecksum)
        frame->header.checksum =
            FrameChecksum(frame->header.bodyLen, frame->head, frame->header.headLen, plain.data(), plainLen);
    plain.resize(cipherLen);
    REQUIRE(aes_encrypt(gProtoolKey, plain.data(), plain.data(), plainLen, &cipherLen) == 0);
    memcpy(frame->body, plain.data(), plain.size());
    frame->firstWord = static_cast<uint16_t>(frame->body[0] | frame->body[1] << 8);
}

Bytes OnTheWire(const ReceivedFrame &frame)
{
    Bytes bytes(kFrameHeaderSize + frame.header.headLen + frame.header.bodyLen);
    REQUIRE(FrameWrite(frame.header, frame.head, frame.body, bytes.data(), bytes.size()) == bytes.size());
    return bytes;
}

// ---- What a frame is ----

bool IsCommand(const ReceivedFrame &frame)
{
    return frame.header.msgType == MSG_PLUG_COMMAND || frame.header.msgType == MSG_FUNCTION_COMMAND;
}

bool Decrypted(const ReceivedFrame &frame, Bytes *plain)
{
    plain->assign(frame.body, frame.body + frame.header.bodyLen / kAesBlock * kAesBlock);
    if (plain->empty()) return false;
    size_t plainLen;
    REQUIRE(aes_decrypt(gProtoolKey, plain->data(), plain->data(), plain->size(), &plainLen) == 0);
    const uint8_t padding = plain->back();
    unsigned sum = frame.header.bodyLen % 256u + frame.header.bodyLen / 256u;
    for (size_t i = 0; i < frame.header.headLen; i++) sum += frame.head[i];
    for (size_t i = 0; i + padding < plainLen; i++) sum += (*plain)[i];
    return padding <= plainLen && sum % 256 == frame.header.checksum;
}

bool IsNetworkFailure(const ReceivedFrame &frame)
{
    Bytes plain;
    return frame.firstWord == 0xFFFF && !(IsCommand(frame) && Decrypted(frame, &plain));
}
