#include "Echo.h"

#include <arpa/inet.h>
#include <csignal>
#include <cstring>
#include <pthread.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "Link.h"
#include "platform/Crypt.h"

static const size_t kRoom = 8192;

// What the threads share.
static struct {
    int fd, threads;
    size_t requestLen, bodyLen, replyLen, replyPadded;
    pthread_mutex_t lock;
    pthread_cond_t came;
    bool full; // guarded by lock, like the request
    uint8_t request[kRoom];
} s_echo;

static uint8_t s_reply[kRoom];

// Made once: the other side looks for a whole frame.
static bool MakeReply()
{
    const FrameHeader header = {0, 0, static_cast<uint8_t>(s_echo.replyLen - kFrameHeaderSize - s_echo.replyPadded), 0,
                                static_cast<uint16_t>(s_echo.replyPadded)};
    static const uint8_t nothing[kRoom] = {};
    return FrameWrite(header, nothing, nothing, s_reply, sizeof s_reply) > 0;
}

static bool Answer(const uint8_t *request)
{
    static uint8_t plain[kRoom];
    size_t length;
    aes_decrypt(kBenchKey, request + s_echo.requestLen - s_echo.bodyLen, plain, s_echo.bodyLen, &length);
    aes_encrypt(kBenchKey, plain, s_reply + s_echo.replyLen - s_echo.replyPadded, s_echo.replyPadded - 1, &length);
    return send(s_echo.fd, s_reply, s_echo.replyLen, MSG_NOSIGNAL) >= 0;
}

static void *AnswerProc(void *)
{
    static uint8_t request[kRoom];
    do {
        pthread_mutex_lock(&s_echo.lock);
        while (!s_echo.full) pthread_cond_wait(&s_echo.came, &s_echo.lock);
        s_echo.full = false;
        memcpy(request, s_echo.request, s_echo.requestLen);
        pthread_mutex_unlock(&s_echo.lock);
    } while (Answer(request));
    return nullptr;
}

[[noreturn]] static void Receive()
{
    uint8_t bytes[kRoom];
    size_t filled = 0;
    ssize_t count;
    while ((count = recv(s_echo.fd, bytes + filled, s_echo.requestLen - filled, 0)) > 0) {
        filled += static_cast<size_t>(count);
        if (filled < s_echo.requestLen) continue;
        filled = 0;
        if (s_echo.threads == 1) {
            if (!Answer(bytes)) break;
            continue;
        }
        pthread_mutex_lock(&s_echo.lock);
        memcpy(s_echo.request, bytes, s_echo.requestLen);
        s_echo.full = true;
        pthread_cond_signal(&s_echo.came);
        pthread_mutex_unlock(&s_echo.lock);
    }
    _exit(0);
}

void StartEcho(int threads, uint16_t port, size_t requestLen, size_t bodyLen, size_t replyLen, size_t replyPadded)
{
    const pid_t pid = fork();
    if (pid < 0) Fail("cannot start a process");
    if (pid > 0) return;

    prctl(PR_SET_PDEATHSIG, SIGKILL);
    struct sockaddr_in peer = {};
    peer.sin_family = AF_INET;
    peer.sin_port = htons(port);
    peer.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    s_echo.fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(s_echo.fd, reinterpret_cast<struct sockaddr *>(&peer), sizeof peer) != 0) _exit(1);
    s_echo.threads = threads;
    s_echo.requestLen = requestLen;
    s_echo.bodyLen = bodyLen;
    s_echo.replyLen = replyLen;
    s_echo.replyPadded = replyPadded;
    pthread_mutex_init(&s_echo.lock, nullptr);
    pthread_cond_init(&s_echo.came, nullptr);
    pthread_t thread;
    if (!MakeReply() || (threads > 1 && pthread_create(&thread, nullptr, AnswerProc, nullptr) != 0)) _exit(1);
    Receive();
}
