// Any server to both downloads: what it sends in any pieces, how it ends, and a session that ends at any moment. A
// download stores the body as it came and no byte of the header; it succeeds exactly when the announced length has come
// or the disk takes no more; the rate is what came by the seconds it took; nothing stays open or claimed.
//
// Input: flags (bit 0 rate test instead of file, bit 1 the file cannot be made, bit 2 no session at the start, bit 3
// nobody answers the connect, bit 4 the disk is small), the room on the disk (2 bytes), bytes that each send takes (0:
// the connection breaks), and then what happens at the server, step by step:
//   0 to 3    a text: length (2 bytes) and its bytes          4        2 bytes times 4 of a pattern
//   5         an interrupted call                             6        seconds that pass (1 byte)
//   7         the session ends (more than once: as it is asked again every second)
//   8         the connection breaks                           else     the server closes the connection
// The server closes after the last step. A transfer that waits for more ends with the session, a second later.
#include <cerrno>
#include <cstring>
#include <string>
#include <sys/socket.h>

#include "FuzzOs.h"
#include "HttpModel.h"
#include "core/Common.h"
#include "http/HttpSocket.h"

static const int kHeaderMax = 1024;
static const int64_t kSilenceMs = 10000;

static struct {
    FuzzInput steps;
    std::string piece; // what is left of the text being sent
    std::string sent;  // all that the agent has taken
    std::string asked; // what the agent has sent
    uint8_t sendTakes;
    bool sendBroke;
    bool session;
    bool connected;
    bool refuses;
    bool shut;     // by the agent
    bool over;     // the connection has ended
    bool file;     // a download into a file
    bool stays;    // the agent has said that it waits for the end of the session
    int64_t heard; // when the agent last turned to or heard of the server
} s_server;

// ---- The session ----

static const HttpSession s_session = {[] { return !s_server.session; }, [] { s_server.stays = true; }};

static void EndSession(bool waitsOnly)
{
    s_server.session = false;
    const bool goesOn = !waitsOnly && s_server.file && g_world.nowMs - s_server.heard < kSilenceMs;
    REQUIRE(HttpSessionEnds() == goesOn);
    REQUIRE(goesOn || waitsOnly || s_server.shut);
}

static void OnWait(int64_t deadlineMs)
{
    REQUIRE(deadlineMs == g_world.nowMs + 1000 && s_server.over);
    REQUIRE(s_server.stays == s_server.file);
    g_world.nowMs = deadlineMs - 1;
    EndSession(true);
}

// ---- The server, in place of the system's calls ----

// Goes on until there is something to take. Returns false at the end of the connection, with errno unless it is closed.
static bool Happens()
{
    FuzzInput *steps = &s_server.steps;
    errno = 0;
    while (s_server.piece.empty() && !s_server.over && !s_server.shut) {
        if (steps->left == 0) {
            s_server.over = true;
            break;
        }
        const uint8_t kind = steps->Byte();
        size_t length;
        switch (kind) {
        case 0:
        case 1:
        case 2:
        case 3: {
            length = steps->Word();
            const uint8_t *bytes = steps->Bytes(&length);
            s_server.piece.assign(reinterpret_cast<const char *>(bytes), length);
            break;
        }
        case 4:
            length = steps->Word() * 4;
            for (size_t i = 0; i < length; i++) s_server.piece += static_cast<char>(i * 7 + i / 256);
            break;
        case 5: errno = EINTR; return false;
        case 6: g_world.nowMs += steps->Byte() * 1000; break;
        case 7: EndSession(false); break;
        case 8:
            s_server.over = true;
            errno = ECONNRESET;
            return false;
        default: s_server.over = true; break;
        }
    }
    return !s_server.piece.empty() && !s_server.shut;
}

extern "C" {
int __wrap_connect(int fd, const struct sockaddr *address, socklen_t size);
ssize_t __wrap_send(int fd, const void *bytes, size_t length, int flags);
ssize_t __wrap_recv(int fd, void *bytes, size_t length, int flags);
int __wrap_shutdown(int fd, int how);

int __wrap_connect(int fd, const struct sockaddr *, socklen_t)
{
    REQUIRE(fd == m_s);
    if (s_server.refuses) {
        errno = ECONNREFUSED;
        return -1;
    }
    s_server.connected = true;
    s_server.heard = g_world.nowMs;
    return 0;
}

ssize_t __wrap_send(int fd, const void *bytes, size_t length, int)
{
    REQUIRE(fd == m_s && s_server.connected);
    if (length > s_server.sendTakes) length = s_server.sendTakes;
    if (length == 0) {
        s_server.sendBroke = true;
        errno = EPIPE;
        return -1;
    }
    s_server.asked.append(static_cast<const char *>(bytes), length);
    return static_cast<ssize_t>(length);
}

ssize_t __wrap_recv(int fd, void *bytes, size_t length, int flags)
{
    REQUIRE(fd == m_s && s_server.connected && length > 0);
    if (!Happens()) return errno == 0 ? 0 : -1;
    if (length > s_server.piece.size()) length = s_server.piece.size();
    if ((flags & MSG_TRUNC) == 0) memcpy(bytes, s_server.piece.data(), length);
    s_server.sent.append(s_server.piece, 0, length);
    s_server.piece.erase(0, length);
    s_server.heard = g_world.nowMs;
    return static_cast<ssize_t>(length);
}

int __wrap_shutdown(int fd, int)
{
    REQUIRE(fd == m_s);
    s_server.shut = true;
    return 0;
}
}

// ---- Rules ----

static const char kRequest[] = "GET /new/plug HTTP/1.1\r\nHost:127.0.0.1\r\nAccept:*/*\r\n"
                               "User-Agent:Mozilla/4.0 (compatible; MSIE 5.00; Windows 98)\r\n"
                               "Connection:Keep-Alive\r\n\r\n";

// The header in what was sent: up to the empty line, or its first 1024 bytes, or all of it.
static std::string HeaderOf(const std::string &sent)
{
    const size_t end = sent.find("\r\n\r\n");
    return sent.substr(0, std::min<size_t>(end == std::string::npos ? kHeaderMax : end + 4, kHeaderMax));
}

static void CheckResult(int result, int64_t began)
{
    const std::string header = HeaderOf(s_server.sent);
    const char *text = header.c_str(); // ends at a NUL
    const long long length =
        s_server.sendBroke || strstr(text, "404 Not Found") ? -1 : ExpectedLength(std::string(text));
    if (length < 0) { // and no byte of a body is asked for
        REQUIRE(result == -1 && header == s_server.sent && g_world.written.empty() && gDownRate == -1);
        return;
    }
    const std::string body = s_server.sent.substr(header.size());
    const bool full = g_world.writesLeft == 0 && body.size() > g_world.written.size();
    const bool whole = body.size() >= static_cast<size_t>(length);
    REQUIRE(body.size() < static_cast<size_t>(length) + 1024);
    if (s_server.file) {
        REQUIRE(full || g_world.written == body);
        REQUIRE(body.compare(0, g_world.written.size(), g_world.written) == 0);
        REQUIRE(result == (whole || full ? 0 : -1));
        return;
    }
    REQUIRE(g_world.written.empty() && result == (whole ? 0 : -1));
    const int64_t seconds = g_world.nowMs / 1000 - began;
    if (whole)
        REQUIRE(gDownRate <= static_cast<int>(body.size()) &&
                gDownRate >= static_cast<int>(body.size()) / static_cast<int>(seconds > 0 ? seconds : 1));
    else
        REQUIRE(gDownRate == -1);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzOsReset();
    d_set_log_level(LOG_LEVEL_NONE);
    FuzzInput input = {data, size};
    const uint8_t flags = input.Byte();
    const uint16_t room = input.Word();
    s_server = {};
    s_server.sendTakes = input.Byte();
    s_server.steps = input;
    s_server.file = (flags & 1) == 0;
    s_server.session = (flags & 4) == 0;
    s_server.refuses = (flags & 8) != 0;
    g_world.openFails = (flags & 2) != 0;
    g_world.writesLeft = flags & 16 ? room : -1;
    g_world.onWait = OnWait;
    HttpFollow(&s_session);
    gDownRate = -1;

    const bool begins = s_server.session && !s_server.refuses && !(s_server.file && g_world.openFails);
    const int64_t began = g_world.nowMs / 1000;
    const int result = s_server.file ? DownLoadFIle("127.0.0.1", 8199, "/new/plug", "file")
                                     : DownTestRateFIle("127.0.0.1", 8199, "/new/plug", nullptr);

    REQUIRE(s_server.asked == std::string(kRequest, s_server.asked.size()));
    REQUIRE(s_server.connected == begins);
    REQUIRE(s_server.asked.size() == sizeof kRequest - 1 || !begins || s_server.sendBroke);
    if (begins)
        CheckResult(result, began);
    else
        REQUIRE(result == -1 && s_server.sent.empty() && g_world.written.empty() && gDownRate == -1);
    REQUIRE(m_s == 0 && m_bConnected == 0);
    REQUIRE(HttpClaim(HTTP_ENDS_WITH_SESSION));
    HttpRelease();
    return 0;
}
