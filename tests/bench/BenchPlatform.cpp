#include "BenchPlatform.h"

#include <cerrno>
#include <poll.h>

#include "platform/SessionFrames.h"

static const double kAnswerMs = 5000;
static const double kReplyMs = 2000; // to a command

static void AnswerRegistration(Link *link, uint16_t loginPort)
{
    BenchFrame request;
    if (!link->Next(&request, NowMs() + kAnswerMs) || request.header.msgType != MSG_REGISTER) return;
    RegisterAck ack = {};
    const uint8_t here[4] = {127, 0, 0, 1};
    for (size_t i = 0; i < sizeof here; i++) ack.server[i] = here[i];
    ack.port = loginPort;
    Bytes record(kRegisterAckSize);
    RegisterAckWrite(ack, record.data(), record.size());
    link->Send(MakeFrame(MSG_SESSION_ACK, {}, record));
}

bool AnswerHeartbeat(Link *link, const BenchFrame &frame)
{
    if (frame.header.msgType != MSG_HEARTBEAT) return false;
    link->Send(MakeFrame(MSG_HEARTBEAT_ACK, {}, {}));
    return true;
}

double AskAgent(Link *link, const Bytes &request, BenchFrame *reply)
{
    const double sent = NowMs();
    link->Send(request);
    while (link->Next(reply, sent + kReplyMs)) {
        if (reply->header.msgType == MSG_ACK_MAC) return NowMs() - sent;
        AnswerHeartbeat(link, *reply);
    }
    Fail("the agent does not answer a command");
}

Bytes FunctionFrame(uint8_t function, uint16_t tag, const Bytes &parameters)
{
    const size_t length = 10 + parameters.size();
    Bytes record = {0,
                    0,
                    function,
                    0x02,
                    0x11,
                    0x22,
                    0x33,
                    0x44,
                    0x55,
                    static_cast<uint8_t>(length & 0xFF),
                    static_cast<uint8_t>(length >> 8),
                    static_cast<uint8_t>(tag & 0xFF),
                    static_cast<uint8_t>(tag >> 8),
                    function,
                    0,
                    0,
                    0,
                    0,
                    0,
                    0,
                    0};
    record.insert(record.end(), parameters.begin(), parameters.end());
    return MakeFrame(MSG_FUNCTION_COMMAND, {0, 0}, record);
}

static bool AnswerLogin(Link *link, int16_t heartbeatSeconds, double *loggedInMs)
{
    BenchFrame frame;
    if (!link->Next(&frame, NowMs() + kAnswerMs) || frame.header.msgType != MSG_LOGIN) return false;
    Bytes record(kLoginAckSize);
    LoginAckWrite(heartbeatSeconds, record.data(), record.size());
    link->Send(MakeFrame(MSG_SESSION_ACK, {}, record));
    bool rulesAsked = false;
    while (link->Next(&frame, NowMs() + kAnswerMs)) {
        if (!rulesAsked && frame.header.msgType == MSG_UP && loggedInMs) *loggedInMs = NowMs();
        rulesAsked = rulesAsked || frame.header.msgType == MSG_UP;
        if (AnswerHeartbeat(link, frame) && rulesAsked) return true;
    }
    return false;
}

Link BenchPlatform::LogIn(int16_t heartbeatSeconds, double timeoutMs, double *loggedInMs)
{
    const double deadline = NowMs() + timeoutMs;
    Link registration; // stays open until the agent has logged in: it closes this connection itself
    for (;;) {
        struct pollfd ready[2] = {{mRegister.Descriptor(), POLLIN, 0}, {mLogin.Descriptor(), POLLIN, 0}};
        const double left = deadline - NowMs();
        errno = 0;
        if (left <= 0 || poll(ready, 2, static_cast<int>(left) + 1) <= 0) Fail("the agent does not log in");
        if (ready[0].revents) {
            registration = Link(mRegister.Accept());
            AnswerRegistration(&registration, mLogin.Port());
        }
        if (ready[1].revents) {
            Link session(mLogin.Accept());
            if (AnswerLogin(&session, heartbeatSeconds, loggedInMs)) return session;
        }
    }
}
