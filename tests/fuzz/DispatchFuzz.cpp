// Any sequence of frames to the dispatch, correctly encrypted ones too: the session flags change only as allowed, the
// status file has a known stage, the process ends only on a forced disconnect, and every command is answered.
//
// Input: a byte with the initial flags (bit 0 registered, bit 1 logged in), then frames:
//   kind      bit 0: the body is plaintext, encrypt it; bit 1: put the right checksum in; bit 2: put the right length
//             into the inner record; bits 4 to 7: allocations that succeed, 15 for all
//   msgType, headLen, checksum, bodyLen (2 bytes), head block, body
#include <arpa/inet.h>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

#include "CBHandle.h"
#include "FuzzOs.h"
#include "FuzzPlatform.h"
#include "core/Common.h"
#include "functions/ProtoolSdk.h"
#include "platform/Crypt.h"
#include "platform/Protool.h"
#include "platform/Settings.h"
#include "platform/TcpServer.h"

// ---- The platform's end of the link ----

static int s_platform; // the accepted connection, open for the life of the process

// The agent's client connects to the target; its threads do not run (FuzzOs), only the socket exists.
static void Connect()
{
    struct sockaddr_in here = {};
    here.sin_family = AF_INET;
    here.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof here;
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    REQUIRE(bind(listener, reinterpret_cast<struct sockaddr *>(&here), size) == 0 && listen(listener, 1) == 0);
    REQUIRE(getsockname(listener, reinterpret_cast<struct sockaddr *>(&here), &size) == 0);
    static SessionContext context;
    REQUIRE(ServerInit("127.0.0.1", ntohs(here.sin_port), &context) == 0);
    s_platform = accept(listener, nullptr, nullptr);
    ServerRun = 0; // a command that waits or downloads ends at once: no host is looked up here
    REQUIRE(s_platform >= 0 && fcntl(s_platform, F_SETFL, O_NONBLOCK) == 0);
    close(listener);
    strcpy(gProtoolKey, "0123456789abcdef");
}

// What the agent has sent since the last call, without reports that a command has caused.
static std::vector<AgentFrame> Answers()
{
    std::vector<AgentFrame> answers;
    for (AgentFrame &frame : AgentFrames(s_platform)) {
        REQUIRE(frame.msgType == MSG_UP || frame.msgType == MSG_UP_MAC || frame.flag == FLAG_ACK);
        if (frame.flag == FLAG_ACK) answers.push_back(std::move(frame));
    }
    return answers;
}

// ---- Frames ----

// The next frame of the input; returns the allocations that succeed while it is handled (negative: all).
static int NextFrame(FuzzInput *input, ReceivedFrame *frame)
{
    const uint8_t kind = input->Byte();
    const uint8_t typeByte = input->Byte();
    size_t headLen = input->Byte();
    const uint8_t checksum = input->Byte();
    size_t bodyLen = input->Word() % (kBodyRoom + 1);
    const uint8_t *head = input->Bytes(&headLen);
    if ((kind & 1) && bodyLen > kBodyRoom / kAesBlock * kAesBlock - 1) bodyLen = kBodyRoom / kAesBlock * kAesBlock - 1;
    const uint8_t *bytes = input->Bytes(&bodyLen);
    Bytes body(bytes, bytes + bodyLen);

    frame->header = {static_cast<uint8_t>(typeByte & 31), static_cast<uint8_t>(typeByte >> 5),
                     static_cast<uint8_t>(headLen), checksum, static_cast<uint16_t>(bodyLen)};
    if (headLen > 0) memcpy(frame->head, head, headLen);
    const size_t lengthAt = FrameCarriesMac(frame->header.msgType) ? 9 : 3;
    if ((kind & 4) && bodyLen >= lengthAt + 2) {
        const size_t payloadLen = bodyLen - lengthAt - 2;
        body[lengthAt] = static_cast<uint8_t>(payloadLen);
        body[lengthAt + 1] = static_cast<uint8_t>(payloadLen >> 8);
    }
    if (!body.empty()) memcpy(frame->body, body.data(), body.size());
    frame->firstWord = body.size() < 2 ? 0 : static_cast<uint16_t>(body[0] | body[1] << 8);
    if (kind & 1) EncryptInto(frame, std::move(body), (kind & 2) != 0);
    return kind >> 4 == 15 ? -1 : kind >> 4;
}

// Handles the frame; returns whether the process would have ended.
static bool Handle(const ReceivedFrame &frame)
{
    jmp_buf exited;
    g_world.exitTo = &exited;
    if (setjmp(exited) != 0) return true;
    CBHandle(frame);
    g_world.exitTo = nullptr;
    return false;
}

struct Flags {
    int regist, login, quit, interval;
    bool operator==(const Flags &o) const
    {
        return regist == o.regist && login == o.login && quit == o.quit && interval == o.interval;
    }
};

static Flags Now()
{
    return {mRegist, mLogin, mQuitPro, mHeartInterval};
}

// ---- Rules ----

static void CheckFlags(const ReceivedFrame &frame, const Flags &before)
{
    const Flags after = Now();
    const size_t cipherLen = frame.header.bodyLen / kAesBlock * kAesBlock;
    const std::string &status = g_world.status;
    if (IsNetworkFailure(frame)) {
        REQUIRE(after.quit == 1 && after.regist == before.regist && after.login == before.login && status.empty());
    } else if (frame.header.msgType != MSG_SESSION_ACK || (before.regist == 1 && before.login == 1)) {
        // 104: an update that failed, as all do here
        REQUIRE(after == before);
        REQUIRE(status.empty() || (status == "104\n" && cipherLen > 0 &&
                                   (frame.header.msgType == MSG_PLUG_COMMAND || frame.header.msgType == MSG_ACK)));
    } else if (before.regist == 0) {
        REQUIRE(after.login == before.login && after.quit == before.quit && after.interval == before.interval);
        REQUIRE(after.regist == (cipherLen >= kRegisterAckSize));
        REQUIRE(status == (after.regist ? "002\n" : ""));
        struct in_addr address;
        if (after.regist) REQUIRE(inet_pton(AF_INET, mLoginServer, &address) == 1);
    } else {
        REQUIRE(after.regist == 1 && after.login == (cipherLen > 0) && after.quit == (cipherLen > 0 ? before.quit : 1));
        REQUIRE(status == (after.login ? "003\n" : ""));
        if (after.login) REQUIRE(after.interval >= 20);
    }
    REQUIRE(beepAck == 0 || beepAck == 1);
}

static void CheckAnswers(const ReceivedFrame &frame, const Flags &before, bool memory)
{
    const std::vector<AgentFrame> answers = Answers();
    const uint8_t type = frame.header.msgType;
    Bytes plain;
    const bool holds = Decrypted(frame, &plain);
    if (before.login != 1 || !IsCommand(frame) || plain.empty() || IsNetworkFailure(frame)) {
        REQUIRE(answers.empty());
        return;
    }
    for (const AgentFrame &answer : answers)
        REQUIRE(answer.msgType == (type == MSG_PLUG_COMMAND ? MSG_ACK : MSG_ACK_MAC));

    if (!holds) { // not carried out; answered if there is memory
        REQUIRE(answers.size() == 1 || (!memory && answers.empty()));
        if (!answers.empty()) REQUIRE(answers[0].HeadValue() == 11 && answers[0].payload.empty());
        return;
    }
    for (const AgentFrame &answer : answers) REQUIRE(answer.dataType == plain[2]);
    if (!memory) {
        REQUIRE(answers.size() <= 2);
        return;
    }
    if (type == MSG_PLUG_COMMAND) {
        REQUIRE(answers.size() == 1);
        const std::string code = std::to_string(static_cast<int16_t>(answers[0].HeadValue()));
        REQUIRE(answers[0].payload == "{\"result\":" + code + "}");
        return;
    }
    const size_t payloadLen = plain.size() < 11 ? 0 : plain[9] + 256u * plain[10];
    if (payloadLen < kFunctionRequestMin || payloadLen > plain.size() - 11) {
        REQUIRE(answers.size() == 1 && answers[0].HeadValue() == 0 && answers[0].payload == "length error");
        return;
    }
    REQUIRE(answers.size() <= 2);
    for (const AgentFrame &answer : answers) {
        const bool reply = answer.HeadValue() == 0;
        REQUIRE(reply ? memcmp(answer.payload.data(), &plain[11], 4) == 0 : answer.payload == "parser error");
        REQUIRE(reply || &answer == &answers.back()); // the reply leaves first
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static ReceivedFrame frame;
    FuzzOsReset();
    d_set_log_level(LOG_LEVEL_NONE);
    if (s_platform == 0) Connect();
    g_world.noThreads = true; // diagnostics would wait for their threads
    FuzzInput input = {data, size};
    const uint8_t begin = input.Byte();
    NewProtool();
    mRegist = begin & 1;
    mLogin = begin >> 1 & 1;
    mQuitPro = 0;
    while (input.left > 0) {
        g_world.allocationsLeft = NextFrame(&input, &frame);
        const bool memory = g_world.allocationsLeft < 0;
        const Flags before = Now();
        g_world.status.clear();
        const bool exited = Handle(frame);
        REQUIRE(exited == (frame.header.msgType == MSG_FORCE_DISCONNECT && frame.firstWord != 0xFFFF));
        if (exited) {
            REQUIRE(g_world.status == "005\n" && g_world.exitStatus == -1);
            break;
        }
        CheckFlags(frame, before);
        CheckAnswers(frame, before, memory);
    }
    DeleteProtool();
    return 0;
}
