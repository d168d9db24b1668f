// A whole session: registration, login and what follows, the platform sending frames of any kind in any order, in any
// pieces, right and wrong ones, while time passes. All frames of the agent are correct and belong to their phase; frames
// come out of the queue once, whole and in order; a command is answered as its checksum says; the phases succeed exactly
// when their acknowledgement came; the session ends exactly for a reason that ends it, silence included; and its
// connection is closed.
//
// Input: steps. Each is a byte, of which the low 4 bits say what the platform does:
//   0  register ack: address (4 bytes), port (2)          8  unknown type (its byte), a head block (1 byte of length)
//   1  login ack: interval (2 bytes)                      9  bytes between frames: length (1), without a magic
//   2  heartbeat ack                                     10  seconds pass (1 byte)
//   3  plugin command: DataType, length (1), text        11  the agent's next heartbeat is due
//   4  function command: number (2), length (1), bytes   12  the agent reports (length: 2 bytes)
//   5  ack of an upload, as 3                            13  what follows comes in two pieces: length (1) of the first
//   6  ack of an upload with MAC, as 3                   14  the network of the platform is down
//   7  forced disconnect                                 15  the first steps of a session: acks of both kinds
// and the high 4 bits what is wrong with its frame: bit 4 the checksum; bit 5 the length in its record; bit 6 it is cut
// (next byte: to how much of 256th); bit 7 no memory for handling it.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "CBHandle.h"
#include "FuzzOs.h"
#include "FuzzPlatform.h"
#include "Plug.h"
#include "core/Common.h"
#include "core/Config.h"
#include "os/OsWait.h"
#include "platform/Crypt.h"
#include "platform/Protool.h"
#include "platform/Sending.h"
#include "platform/Session.h"
#include "platform/Settings.h"
#include "platform/SignOfLife.h"
#include "platform/TcpServer.h"
#include "rules/SurfTable.h"

static const int kMaxWaitsOfACommand = 100;

enum Phase { REGISTERING, LOGGING_IN, IN_SESSION };

static struct {
    FuzzInput steps;
    Phase phase;
    int agent; // the two ends of the connection
    int platform;
    bool first;               // nothing of this connection has been read yet
    bool inCommand;           // a frame is being handled
    int waits;                // of that frame
    bool over;                // a reason to end has come
    bool exits;               // the process would have ended
    size_t firstCut;          // how much of the next frame comes first; 0: all
    int64_t heard;            // the last sign of life
    int64_t deadline;         // of the last wait
    Bytes coming;             // what has been sent and has not arrived
    std::vector<Bytes> whole; // frames that have to come out of the queue
} s_talk;

// ---- The connection, in place of the system's calls ----

extern "C" {
int __wrap_socket(int family, int type, int protocol);
int __wrap_connect(int fd, const struct sockaddr *address, socklen_t size);
struct hostent *__wrap_gethostbyname(const char *name);
int __real_socket(int family, int type, int protocol);

// The platform's connection; a download's is made as it wants and never connected.
int __wrap_socket(int family, int type, int protocol)
{
    if (protocol == IPPROTO_TCP) return __real_socket(family, type, protocol);
    REQUIRE(s_talk.platform == -1);
    int ends[2];
    REQUIRE(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0);
    s_talk.agent = ends[0];
    s_talk.platform = ends[1];
    s_talk.first = true;
    return ends[0];
}

int __wrap_connect(int fd, const struct sockaddr *, socklen_t)
{
    if (fd == s_talk.agent) return 0;
    errno = ECONNREFUSED;
    return -1;
}

struct hostent *__wrap_gethostbyname(const char *)
{
    return nullptr;
}
}

// Reads what the agent has sent. Returns the acknowledgements of commands.
static std::vector<AgentFrame> Answers()
{
    std::vector<AgentFrame> answers;
    for (AgentFrame &frame : AgentFrames(s_talk.platform)) {
        const uint8_t type = frame.msgType;
        REQUIRE((type == MSG_REGISTER) == (s_talk.first && s_talk.phase == REGISTERING));
        REQUIRE((type == MSG_LOGIN) == (s_talk.first && s_talk.phase == LOGGING_IN));
        REQUIRE(type == MSG_REGISTER || type == MSG_LOGIN || mLogin == 1 || s_talk.over || type == MSG_HEARTBEAT);
        s_talk.first = false;
        if (frame.flag == FLAG_ACK) answers.push_back(std::move(frame));
    }
    return answers;
}

static void Lose()
{
    s_talk.over = true;
    SetSessionFlag(mQuitPro, 1);
}

// ---- A frame arrives ----

// Handles it; returns whether the process would have ended.
static bool Handle(const ReceivedFrame &frame)
{
    jmp_buf exited;
    g_world.exitTo = &exited;
    if (setjmp(exited) != 0) return true;
    CBHandle(frame);
    g_world.exitTo = nullptr;
    return false;
}

static void CheckAnswers(const ReceivedFrame &frame, bool loggedIn, bool memory)
{
    const std::vector<AgentFrame> answers = Answers();
    Bytes plain;
    const bool holds = Decrypted(frame, &plain);
    if (!loggedIn || !IsCommand(frame) || plain.empty() || IsNetworkFailure(frame)) {
        REQUIRE(answers.empty());
        return;
    }
    for (const AgentFrame &answer : answers)
        REQUIRE(answer.msgType == (frame.header.msgType == MSG_PLUG_COMMAND ? MSG_ACK : MSG_ACK_MAC));
    if (!memory) return;
    // Some functions have no reply, and an unknown one is answered twice.
    const bool function = holds && frame.header.msgType == MSG_FUNCTION_COMMAND;
    REQUIRE(answers.size() == 1 || (function && answers.size() <= 2));
    if (!holds) REQUIRE(answers[0].HeadValue() == 11 && answers[0].payload.empty());
    for (const AgentFrame &answer : answers)
        REQUIRE(!holds || (answer.dataType == plain[2] && !answer.payload.empty()));
}

static void CheckFlags(const ReceivedFrame &frame, int regist, int login)
{
    const size_t cipherLen = frame.header.bodyLen / kAesBlock * kAesBlock;
    if (IsNetworkFailure(frame)) {
        s_talk.over = true;
    } else if (frame.header.msgType == MSG_SESSION_ACK && regist == 0) {
        REQUIRE(mRegist == (cipherLen >= kRegisterAckSize) && mLogin == login);
        return;
    } else if (frame.header.msgType == MSG_SESSION_ACK && login == 0) {
        REQUIRE(mRegist == 1 && mLogin == (cipherLen > 0) && (mLogin == 0 || mHeartInterval >= 20));
        if (cipherLen == 0) s_talk.over = true;
    } else if (frame.header.msgType == MSG_HEARTBEAT_ACK) {
        REQUIRE(beepAck == 1 && mHeartTime != 0);
        s_talk.heard = g_world.nowMs;
    }
    REQUIRE(mQuitPro == s_talk.over);
    REQUIRE(mRegist == (frame.header.msgType == MSG_SESSION_ACK ? mRegist.load() : regist));
}

// What the response thread does with the next frame of the queue. Returns false when there is none.
static bool Respond(bool memory)
{
    static ReceivedFrame frame;
    if (popup(&frame) != 0) {
        SetResponseState(QueueHoldsBegunFrame() ? RESPONSE_OCCUPIED : RESPONSE_WAITS);
        return false;
    }
    SetResponseState(RESPONSE_OCCUPIED);
    REQUIRE(!s_talk.whole.empty() && OnTheWire(frame) == s_talk.whole.front());
    s_talk.whole.erase(s_talk.whole.begin());
    Answers();
    const int regist = mRegist, login = mLogin;
    g_world.allocationsLeft = memory ? -1 : 0;
    g_world.noThreads = true; // diagnostics would wait for their threads
    s_talk.inCommand = true;
    s_talk.waits = 0;
    s_talk.exits = Handle(frame);
    s_talk.inCommand = false;
    g_world.noThreads = false;
    g_world.allocationsLeft = -1;
    REQUIRE(s_talk.exits == (frame.header.msgType == MSG_FORCE_DISCONNECT && frame.firstWord != 0xFFFF));
    if (s_talk.exits) {
        REQUIRE(g_world.status == "005\n" && g_world.exitStatus == -1);
        Lose();
    }
    CheckAnswers(frame, login == 1, memory);
    CheckFlags(frame, regist, login);
    return true;
}

// What the receive thread does: bytes of the socket into the queue.
static void Arrive(size_t size, bool memory)
{
    uint8_t bytes[1500];
    const Bytes &coming = s_talk.coming;
    if (size > coming.size()) size = coming.size();
    for (size_t at = 0; at < size;) {
        const size_t length = std::min(sizeof bytes, size - at);
        REQUIRE(send(s_talk.platform, coming.data() + at, length, 0) == static_cast<ssize_t>(length));
        REQUIRE(recv(s_talk.agent, bytes, sizeof bytes, 0) == static_cast<ssize_t>(length));
        if (CurrentResponseState() == RESPONSE_OCCUPIED) s_talk.heard = g_world.nowMs;
        NoteBytes();
        REQUIRE(push(bytes, length) == 0);
        at += length;
        while (Respond(memory) && !s_talk.exits) {
        }
        if (s_talk.exits) break;
    }
    s_talk.coming.erase(s_talk.coming.begin(), s_talk.coming.begin() + static_cast<ptrdiff_t>(size));
}

// ---- The platform ----

static Bytes Take(size_t length)
{
    const uint8_t *bytes = s_talk.steps.Bytes(&length);
    return Bytes(bytes, bytes + length);
}

static Bytes RegisterAckPlain()
{
    Bytes plain(2, 0x99);
    plain.resize(34, 0x11); // token
    const Bytes server = Take(6);
    plain.insert(plain.end(), server.begin(), server.end());
    plain.resize(kRegisterAckSize, 0x22); // plugin identifier
    return plain;
}

static Bytes LoginAckPlain()
{
    const uint16_t interval = s_talk.steps.Word();
    return {0, 0, static_cast<uint8_t>(interval), static_cast<uint8_t>(interval >> 8)};
}

static Bytes Record(uint8_t msgType, uint8_t dataType, const Bytes &payload, bool wrongLength)
{
    const size_t length = wrongLength ? payload.size() + 7 : payload.size();
    Bytes plain = {0, 0, dataType};
    if (FrameCarriesMac(msgType)) plain.insert(plain.end(), 6, 0x02);
    plain.push_back(static_cast<uint8_t>(length));
    plain.push_back(static_cast<uint8_t>(length >> 8));
    plain.insert(plain.end(), payload.begin(), payload.end());
    return plain;
}

static Bytes Payload(uint8_t kind)
{
    if (kind != 4) return Take(s_talk.steps.Byte());
    const uint16_t number = s_talk.steps.Word();
    Bytes payload = {7, 0, static_cast<uint8_t>(number), static_cast<uint8_t>(number >> 8), 0, 0, 0, 0, 0, 0};
    const Bytes parameters = Take(s_talk.steps.Byte());
    payload.insert(payload.end(), parameters.begin(), parameters.end());
    return payload;
}

// Sends a frame of `msgType`; `plain` is empty for one without a body.
static void Send(uint8_t step, uint8_t msgType, const Bytes &head, Bytes plain)
{
    static ReceivedFrame frame;
    frame.header = {msgType, 0, static_cast<uint8_t>(head.size()), 0, 0};
    frame.firstWord = 0;
    if (!head.empty()) memcpy(frame.head, head.data(), head.size());
    if (step & 0x40) plain.resize(plain.size() * s_talk.steps.Byte() / 256);
    if (!plain.empty()) EncryptInto(&frame, plain, true);
    if (step & 0x10) frame.header.checksum++;
    const Bytes wire = OnTheWire(frame);
    s_talk.coming.insert(s_talk.coming.end(), wire.begin(), wire.end());
    s_talk.whole.push_back(wire);
    if (s_talk.firstCut > 0) {
        const size_t cut = s_talk.firstCut;
        s_talk.firstCut = 0;
        Arrive(cut, (step & 0x80) == 0);
        return; // the rest comes with the next step that sends
    }
    Arrive(s_talk.coming.size(), (step & 0x80) == 0);
}

// The agent's heartbeat thread, for one heartbeat.
static void SendHeartbeat()
{
    if (s_talk.phase != IN_SESSION || mQuitPro == 1) return;
    REQUIRE(g_world.threads.size() == 4); // response, receive, check, heartbeat
    const auto before = g_world.onWait;
    g_world.onWait = [](int64_t) { SetSessionFlag(mQuitPro, 1); };
    g_world.threads[3].body(g_world.threads[3].argument);
    g_world.onWait = before;
    SetSessionFlag(mQuitPro, 0);
    REQUIRE(beepAck == 0);
}

static void Step()
{
    FuzzInput *steps = &s_talk.steps;
    const uint8_t step = steps->Byte();
    const uint8_t kind = step & 15;
    switch (kind) {
    case 0: Send(step, MSG_SESSION_ACK, {}, RegisterAckPlain()); break;
    case 1: Send(step, MSG_SESSION_ACK, {}, LoginAckPlain()); break;
    case 2: Send(step, MSG_HEARTBEAT_ACK, {}, {}); break;
    case 3:
    case 4:
    case 5:
    case 6: {
        static const uint8_t types[] = {MSG_PLUG_COMMAND, MSG_FUNCTION_COMMAND, MSG_ACK, MSG_ACK_MAC};
        const uint8_t type = types[kind - 3];
        const uint8_t dataType = kind == 4 ? 200 : steps->Byte();
        const Bytes head(kind >= 5 ? 2 : 0, 0);
        Send(step, type, head, Record(type, dataType, Payload(kind), (step & 0x20) != 0));
        break;
    }
    case 7: Send(step, MSG_FORCE_DISCONNECT, {}, {}); break;
    case 8: {
        const uint8_t type = steps->Byte() & 31;
        const Bytes head = Take(steps->Byte());
        Send(step, type, head, {});
        break;
    }
    case 9: {
        Bytes bytes = Take(steps->Byte());
        for (uint8_t &byte : bytes)
            if (byte == kFrameMagic0) byte = 0;
        if (!s_talk.coming.empty()) break; // it would become part of the frame that has begun
        s_talk.coming = bytes;
        Arrive(bytes.size(), true);
        break;
    }
    case 10: g_world.nowMs += steps->Byte() * 1000; break;
    case 11: SendHeartbeat(); break;
    case 12: {
        const Bytes report(steps->Word(), 'r');
        const bool fits = mLogin == 1 && !report.empty() && report.size() <= kMaxPayload;
        REQUIRE(SendIpUpData(report.data(), static_cast<int>(report.size()), 13, 0, nullptr) == (fits ? 0 : -1));
        break;
    }
    case 13: s_talk.firstCut = steps->Byte(); break;
    case 14: {
        const Bytes down = {kFrameMagic0, kFrameMagic1, MSG_HEARTBEAT_ACK, 0, 0, 2, 0, 0xFF, 0xFF};
        s_talk.coming.insert(s_talk.coming.end(), down.begin(), down.end());
        s_talk.whole.push_back(down);
        Arrive(s_talk.coming.size(), true);
        break;
    }
    default:
        if (mRegist == 0)
            Send(0, MSG_SESSION_ACK, {}, Bytes(kRegisterAckSize, 9));
        else
            Send(0, MSG_SESSION_ACK, {}, Bytes(kLoginAckSize, 0));
    }
    Answers();
}

// ---- The agent waits ----

static bool Expired()
{
    return mLogin == 1 && beepAck != 1 && mHeartTime != 0 && g_world.nowMs - s_talk.heard > SilenceLimitMs();
}

// A command, or the end of a connection, waits: nothing happens meanwhile. A command that stays ends with the session.
static void WaitInside(int64_t deadlineMs)
{
    if (s_talk.inCommand && ++s_talk.waits > kMaxWaitsOfACommand) {
        Lose();
        BeginServerStop();
    }
    if (deadlineMs != OS_FOREVER)
        g_world.nowMs = deadlineMs;
    else if (s_talk.inCommand)
        s_talk.waits = kMaxWaitsOfACommand;
}

static void OnWait(int64_t deadlineMs)
{
    if (s_talk.inCommand || ServerRun != 1) {
        WaitInside(deadlineMs);
        return;
    }
    // A new wait of the check thread after one with a deadline: it has just found the platform alive. Without one it waits
    // for the heartbeats, which do not run here, to tell it that there is something to find.
    const bool looked = s_talk.deadline != OS_FOREVER && s_talk.deadline != deadlineMs;
    if (s_talk.phase == IN_SESSION && looked && deadlineMs != OS_FOREVER) REQUIRE(!Expired());
    s_talk.deadline = deadlineMs;
    if (s_talk.steps.left > 0) {
        Step();
        return;
    }
    if (s_talk.phase == IN_SESSION) Lose(); // the platform has closed the connection
    if (deadlineMs != OS_FOREVER && g_world.nowMs < deadlineMs) g_world.nowMs = deadlineMs;
}

// ---- The phases ----

// The agent has left the connection. What came and was not handled is dropped with it.
static void EndConnection()
{
    uint8_t byte;
    Answers();
    REQUIRE(ServerRun == 0 && recv(s_talk.platform, &byte, 1, MSG_DONTWAIT) == 0);
    close(s_talk.platform);
    s_talk.agent = s_talk.platform = -1;
    s_talk.coming.clear();
    s_talk.whole.clear();
    s_talk.firstCut = 0;
    g_world.threads.clear();
}

static bool Register(SessionContext *context)
{
    s_talk.phase = REGISTERING;
    const int result = RegisterStart(context, "192.0.2.1");
    const bool registered = mRegist == 1 && !s_talk.over;
    REQUIRE(result == (registered ? 0 : -1));
    EndConnection();
    return registered;
}

static bool LogIn(SessionContext *context)
{
    s_talk.phase = LOGGING_IN;
    const int result = LoginStart(context);
    REQUIRE(result == (mLogin == 1 ? 0 : -1));
    if (result != 0) EndConnection();
    return result == 0;
}

static void Stay(SessionContext *context)
{
    s_talk.phase = IN_SESSION;
    s_talk.over = s_talk.exits; // LoginStart() clears what came before the login acknowledgement
    Answers();
    REQUIRE(HeartbeatStart(context) == 0 && g_world.threads.size() == 4);
    const std::vector<AgentFrame> first = AgentFrames(s_talk.platform);
    REQUIRE(first.size() == 1 && first[0].msgType == MSG_UP && first[0].dataType == 13);
    // The check thread asks every 10 s; it goes on waiting unless a reason to end has come.
    if (!s_talk.exits) g_world.threads[2].body(g_world.threads[2].argument);
    REQUIRE(mQuitPro == 1 || s_talk.exits);
    REQUIRE(s_talk.over || Expired());
    DeleteHeartbear(context);
    REQUIRE(DeleteServer(context) == 0);
    EndConnection();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static bool prepared;
    if (!prepared) PlugConnectModules();
    prepared = true;
    FuzzOsReset();
    d_set_log_level(LOG_LEVEL_NONE);
    s_talk = {};
    s_talk.steps = {data, size};
    s_talk.agent = s_talk.platform = -1;
    strcpy(gProtoolKey, "0123456789abcdef");
    strcpy(g_pin_code, "1234567890123456");
    memset(l_mac, 2, sizeof l_mac);
    strcpy(gSN, "SN1");
    ServerRun = 0;
    mLogin = 0;
    NewProtool();
    NewTcpQueue();
    hash_table_init(); // the rules of the input before
    g_world.onWait = OnWait;

    SessionContext context = {};
    if (Register(&context) && LogIn(&context)) Stay(&context);
    REQUIRE(s_talk.platform == -1);
    hash_table_destroy();
    DeleteProtool();
    mLogin = 0;
    return 0;
}
