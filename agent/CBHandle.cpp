#define LOG_MODULE "Protool"
#include "CBHandle.h"

#include <cstdio>
#include <cstring>

#include "core/Common.h"
#include "core/PlugStatus.h"
#include "functions/ProtoolSdk.h"
#include "os/OsClock.h"
#include "os/OsMemory.h"
#include "os/OsProcess.h"
#include "platform/Crypt.h"
#include "platform/Protool.h"
#include "platform/Sending.h"
#include "platform/Settings.h"
#include "platform/SignOfLife.h"
#include "platform/TcpServer.h"
#include "plugin/ParseJson.h"

static const char kFunction[] = "CBHandle";     // the name under which all parts of it log
static const uint16_t kNetworkFailure = 0xFFFF; // first body word when the platform's own network is down
static const uint16_t kChecksumMismatch = 11;
static const int16_t kHeartIntervalMin = 20;
static const size_t kMaxUploadAck = 1018; // of an upload's acknowledgement; a longer payload is not parsed

// A decrypted body.
struct Plaintext {
    uint8_t bytes[kBodyRoom + 1]; // with room for a terminator after a text
    size_t length;                // padding included
};

// Returns false when there is nothing to decrypt: no body, or less than one block.
static bool Decrypt(const ReceivedFrame &frame, Plaintext *plain)
{
    const size_t bodyLen = frame.header.bodyLen;
    return bodyLen > 0 && aes_decrypt(gProtoolKey, frame.body, plain->bytes, bodyLen, &plain->length) == 0 &&
           plain->length > 0;
}

// ---- Session acknowledgements ----

static void RegisterAcknowledged(const ReceivedFrame &frame, Plaintext *plain)
{
    if (frame.header.headLen > 0) {
        const int code = frame.header.headLen > 1 ? frame.head[0] | frame.head[1] << 8 : frame.head[0];
        LOG_AS(LOG_LEVEL_DEBUG, kFunction, "optlen %d, error code = [%d]", frame.header.headLen, code);
    }
    RegisterAck ack;
    if (!Decrypt(frame, plain) || !RegisterAckRead(plain->bytes, plain->length, &ack)) {
        LOG_AS(LOG_LEVEL_ERR, kFunction, "regist ack error");
        return;
    }
    memcpy(mLoginTocken, ack.token, sizeof mLoginTocken);
    memcpy(mLoginPluginId, ack.pluginId, sizeof mLoginPluginId);
    snprintf(mLoginServer, sizeof mLoginServer, "%d.%d.%d.%d", ack.server[0], ack.server[1], ack.server[2],
             ack.server[3]);
    mLoginPort = ack.port;
    LogPlugStatus(PLUG_REGISTERED);
    SetSessionFlag(mRegist, 1);
}

static void LoginAcknowledged(const ReceivedFrame &frame, Plaintext *plain)
{
    int16_t interval;
    if (!Decrypt(frame, plain) || !LoginAckRead(plain->bytes, plain->length, &interval)) {
        LOG_AS(LOG_LEVEL_ERR, kFunction, "register ack error");
        SetSessionFlag(mQuitPro, 1);
        return;
    }
    SetHeartInterval(interval < kHeartIntervalMin ? kHeartIntervalMin : interval);
    ServerFollowInterval();
    LogPlugStatus(PLUG_LOGGED_IN);
    SetSessionFlag(mLogin, 1);
}

static void SessionAcknowledged(const ReceivedFrame &frame, Plaintext *plain)
{
    if (mRegist == 0)
        RegisterAcknowledged(frame, plain);
    else if (mLogin == 0)
        LoginAcknowledged(frame, plain);
}

static void HeartbeatAcknowledged()
{
    LOG_AS(LOG_LEVEL_INFO, kFunction, "heart beat ack");
    NoteAcknowledgement(); // before mHeartTime, which tells others that there is one
    mHeartTime = static_cast<uint32_t>(OsWallTime());
    beepAck = 1;
}

[[noreturn]] static void ForcedDisconnect()
{
    LOG_AS(LOG_LEVEL_INFO, kFunction, "force disconnect exit !!!!!");
    LogPlugStatus(PLUG_FORCED_OFF);
    LOG_AS(LOG_LEVEL_ERR, kFunction, "exit at [%s] %d ", kFunction, __LINE__);
    OsExit(-1);
}

// ---- Data frames ----

// Whether the frame's checksum is that of its plaintext. An impossible padding count is a mismatch.
static bool ChecksumHolds(const ReceivedFrame &frame, const Plaintext &plain)
{
    const size_t padding = plain.bytes[plain.length - 1];
    if (padding > plain.length) return false;
    return FrameChecksum(frame.header.bodyLen, frame.head, frame.header.headLen, plain.bytes, plain.length - padding) ==
           frame.header.checksum;
}

// The payload of a whole record in `plain` as a text. The terminator overwrites what follows the payload: padding, or the
// byte that the buffer has for it.
static const char *AsText(Plaintext *plain, const InnerRecord &record)
{
    uint8_t *text = plain->bytes + (record.payload - plain->bytes);
    text[record.payloadLen] = '\0';
    return reinterpret_cast<const char *>(text);
}

static void AnswerPlugCommand(Plaintext *plain, const InnerRecord &record, bool whole)
{
    // A record that announces more than it holds carries no text; the handler's code for that is -1.
    const int code = whole ? ParserPlugData(record.dataType, AsText(plain, record)) : -1;
    char answer[32];
    const int length = snprintf(answer, sizeof answer, "{\"result\":%d}", code);
    SendIpAckData(static_cast<uint16_t>(code), answer, length, record.dataType, 0, nullptr);
}

static void SendFunctionText(uint16_t headValue, const char *text, uint8_t dataType)
{
    SendIpAckData(headValue, text, static_cast<int>(strlen(text)), dataType, 1, gRoutemac);
}

static void AnswerFunctionCommand(const InnerRecord &record, bool whole)
{
    if (!whole || record.payloadLen < kFunctionRequestMin) {
        SendFunctionText(0, "length error", record.dataType);
        return;
    }
    uint8_t *reply = static_cast<uint8_t *>(OsAllocate(kFunctionReplySize));
    if (!reply) {
        SendFunctionText(1, "mem error", record.dataType);
        return;
    }
    // Parameters that were not sent read as zeros.
    static uint8_t request[kFunctionRequestSize]; // response thread only
    memset(request, 0, sizeof request);
    memcpy(request, record.payload, record.payloadLen);
    int replyLen = 0;
    const int code = ParserProtoolData(request, reply, &replyLen);
    if (replyLen > 0) SendIpAckData(0, reply, replyLen, record.dataType, 1, gRoutemac);
    OsFree(reply);
    if (code != 0) SendFunctionText(static_cast<uint16_t>(code), "parser error", record.dataType);
}
static_assert(kFunctionRequestSize > kBodyRoom, "a zero follows the longest payload that a frame can bring");

static bool IsCommand(const ReceivedFrame &frame)
{
    return frame.header.msgType == MSG_PLUG_COMMAND || frame.header.msgType == MSG_FUNCTION_COMMAND;
}

// Whether the frame says that the platform's network is down. The cipher text of one command in 65536 begins the same
// way; its checksum tells it apart.
static bool IsNetworkFailure(const ReceivedFrame &frame, Plaintext *plain)
{
    if (frame.firstWord != kNetworkFailure) return false;
    return !IsCommand(frame) || !Decrypt(frame, plain) || !ChecksumHolds(frame, *plain);
}

static void DataFrame(const ReceivedFrame &frame, Plaintext *plain)
{
    beepAck = 1; // the platform is alive
    const uint8_t msgType = frame.header.msgType;
    if (!Decrypt(frame, plain)) return;

    InnerRecord record;
    const bool whole = InnerRecordRead(plain->bytes, plain->length, FrameCarriesMac(msgType), &record);
    LOG_AS(LOG_LEVEL_INFO, kFunction, "Recv MsgType=[%d] DataType=[%d] DataLen=[%zu]", msgType, record.dataType,
           record.payloadLen);

    if (IsCommand(frame) && !ChecksumHolds(frame, *plain)) {
        SendIpAckData(kChecksumMismatch, nullptr, 0, record.dataType, msgType == MSG_FUNCTION_COMMAND, gRoutemac);
        return;
    }
    if (msgType == MSG_PLUG_COMMAND)
        AnswerPlugCommand(plain, record, whole);
    else if (msgType == MSG_FUNCTION_COMMAND)
        AnswerFunctionCommand(record, whole);
    else if (msgType == MSG_ACK && whole && record.payloadLen <= kMaxUploadAck)
        ParserPlugData(record.dataType, AsText(plain, record));
    // Acknowledgements with a MAC are only logged, above.
}

void CBHandle(const ReceivedFrame &frame)
{
    static Plaintext plain; // too large for the stack; response thread only

    if (IsNetworkFailure(frame, &plain)) {
        LOG_ERR("net error reconnect");
        SetSessionFlag(mQuitPro, 1);
        return;
    }
    switch (frame.header.msgType) {
    case MSG_HEARTBEAT_ACK: HeartbeatAcknowledged(); break;
    case MSG_FORCE_DISCONNECT: ForcedDisconnect();
    case MSG_SESSION_ACK: SessionAcknowledged(frame, &plain); break;
    case MSG_PLUG_COMMAND:
    case MSG_FUNCTION_COMMAND:
    case MSG_ACK:
    case MSG_ACK_MAC: DataFrame(frame, &plain); break;
    default: break; // no message for the agent
    }
}
