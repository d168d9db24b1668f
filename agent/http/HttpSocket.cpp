#define LOG_MODULE "Download"
#include "http/HttpSocket.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "os/OsClock.h"
#include "os/OsWait.h"

int m_s;
struct hostent *m_phostent;
int8_t m_bConnected;
char m_ipaddr[kHttpAddressSize];
int m_port;
char m_requestheader[kHttpHeaderSize];
char m_ResponseHeader[kHttpHeaderSize + 1];
int m_nResponseHeaderSize = -1;
int8_t m_bResponsed;
int m_nCurIndex;

static const HttpSession *s_session; // written before any transfer begins

static const int64_t kSilenceMs = 10000; // of a server: then a transfer that outlasts its session lets go

// Guards the next four, and m_s against being closed while HttpLetGo() shuts it down; only the owner writes m_s.
static OsWaiter s_http;
static bool s_claimed;
static bool s_letGo;
static HttpEnd s_end;
static int64_t s_heardMs; // when the server last sent something, or was first turned to

// ---- Ownership and letting go ----

// With s_http held.
static void LetGo()
{
    s_letGo = true;
    if (m_s > 0) shutdown(m_s, SHUT_RDWR); // ends a blocking connect, send or receive
    OsWakeAll(&s_http);
}

void HttpLetGo()
{
    OsGuard guard(&s_http);
    LetGo();
}

void HttpFollow(const HttpSession *session)
{
    s_session = session;
}

bool HttpSessionEnds()
{
    OsGuard guard(&s_http);
    // Without a socket there is no transfer, or its connection has closed early and nothing more will come.
    const bool goesOn = s_end == HTTP_OUTLASTS_SESSION && m_s > 0 && OsNowMs() - s_heardMs < kSilenceMs;
    if (!goesOn) LetGo();
    return goesOn;
}

bool HttpClaim(HttpEnd end)
{
    OsGuard guard(&s_http);
    if (s_claimed) return false;
    s_claimed = true;
    s_end = end;
    // Under the lock: a session that ends after this question calls HttpSessionEnds(), which then finds the claim.
    s_letGo = !s_session || s_session->over();
    return true;
}

void HttpRelease()
{
    CloseSocket();
    OsGuard guard(&s_http);
    s_claimed = false;
}

bool HttpPause(int64_t milliseconds)
{
    return OsWaitFor(&s_http, milliseconds, [] { return s_letGo; });
}

void HttpStays()
{
    s_session->stays();
}

static void Heard()
{
    OsGuard guard(&s_http);
    s_heardMs = OsNowMs();
}

// ---- The instance ----

void NewCHttpSocket()
{
    CloseSocket();
    m_phostent = nullptr;
    m_bConnected = 0;
    m_bResponsed = 0;
    memset(m_ipaddr, 0, sizeof m_ipaddr);
    memset(m_requestheader, 0, sizeof m_requestheader);
    memset(m_ResponseHeader, 0, sizeof m_ResponseHeader);
    m_nCurIndex = 0;
    m_nResponseHeaderSize = -1;
}

bool CreateHttpSocket()
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP);
    if (fd < 0) return false;
    OsGuard guard(&s_http);
    if (s_letGo) { // HttpLetGo() has been called and would not shut this one down
        close(fd);
        return false;
    }
    s_heardMs = OsNowMs();
    m_s = fd;
    return true;
}

int CloseSocket()
{
    OsGuard guard(&s_http);
    const int closed = m_s > 0 ? close(m_s) : 0;
    m_s = 0;
    m_bConnected = 0;
    return closed == 0 ? 1 : 0;
}

static bool Connect(const struct sockaddr_in &server)
{
    const struct sockaddr *address = reinterpret_cast<const struct sockaddr *>(&server);
    int result;
    {
        // Starts without waiting, under the lock: HttpLetGo() either comes first or finds a socket to shut down.
        OsGuard guard(&s_http);
        if (s_letGo || m_s <= 0) return false;
        s_heardMs = OsNowMs(); // the look-up may have taken long
        fcntl(m_s, F_SETFL, O_NONBLOCK);
        result = connect(m_s, address, sizeof server);
        fcntl(m_s, F_SETFL, 0);
        if (result != 0 && errno != EINPROGRESS) return false;
    }
    // A second connect() waits for the first.
    return result == 0 || connect(m_s, address, sizeof server) == 0;
}

int ConnectHttp(const char *host, int port)
{
    if (!host) return 0;
    if (m_bConnected) {
        CloseSocket();
        return 0;
    }
    m_port = port;
    if (port < 1 || port > UINT16_MAX) return 0;
    m_phostent = gethostbyname(host);
    if (!m_phostent || m_phostent->h_addrtype != AF_INET || !m_phostent->h_addr_list[0]) return 0;

    struct sockaddr_in server = {};
    server.sin_family = AF_INET;
    server.sin_port = htons(static_cast<uint16_t>(port));
    memcpy(&server.sin_addr, m_phostent->h_addr_list[0], sizeof server.sin_addr);
    inet_ntop(AF_INET, &server.sin_addr, m_ipaddr, sizeof m_ipaddr);
    if (!Connect(server)) return 0;
    m_bConnected = 1;
    return 1;
}

// ---- Request ----

// Appends `name`, `value` and a line end. `failed` sticks, like a WireWriter's.
struct RequestWriter {
    size_t used;
    bool failed;

    void Line(const char *name, const char *value, const char *rest = "")
    {
        const size_t room = kHttpHeaderSize - used;
        const int length = snprintf(m_requestheader + used, room, "%s%s%s\r\n", name, value, rest);
        failed = failed || strpbrk(value, "\r\n") || length < 0 || static_cast<size_t>(length) >= room;
        if (!failed) used += static_cast<size_t>(length);
    }
};

const char *FormatRequestHeader(const char *host, const char *path, size_t *length, const char *cookie,
                                const char *referer)
{
    *length = 0;
    memset(m_requestheader, 0, sizeof m_requestheader);
    if (!host || !path) return nullptr;
    RequestWriter request = {};
    request.Line("GET ", path, " HTTP/1.1");
    request.Line("Host:", host);
    if (referer) request.Line("Referer:", referer);
    request.Line("Accept:", "*/*");
    request.Line("User-Agent:", "Mozilla/4.0 (compatible; MSIE 5.00; Windows 98)");
    request.Line("Connection:", "Keep-Alive");
    if (cookie) request.Line("Set Cookie:0", cookie); // with the spelling that servers have always been sent
    request.Line("", "");
    if (request.failed) {
        memset(m_requestheader, 0, sizeof m_requestheader);
        return nullptr;
    }
    *length = request.used;
    return m_requestheader;
}

int SendRequest(const char *request, size_t length)
{
    if (!request) request = m_requestheader;
    if (length == 0) length = strlen(request);
    if (m_s <= 0) return 0;
    while (length > 0) {
        const ssize_t sent = send(m_s, request, length, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        if (sent <= 0) return 0;
        request += sent;
        length -= static_cast<size_t>(sent);
    }
    int size;
    GetResponseHeader(&size);
    return 1;
}

// ---- Response ----

static ssize_t ReceiveOnce(void *buffer, size_t length, int flags = 0)
{
    ssize_t count;
    do {
        count = recv(m_s, buffer, length, flags);
    } while (count < 0 && errno == EINTR);
    if (count > 0) Heard();
    return count;
}

const char *GetResponseHeader(int *size)
{
    if (!m_bResponsed) {
        size_t have = 0;
        // Byte by byte, so that the body stays where it is.
        while (m_s > 0 && have < kHttpHeaderSize && ReceiveOnce(m_ResponseHeader + have, 1) == 1) {
            have++;
            if (have >= 4 && memcmp(m_ResponseHeader + have - 4, "\r\n\r\n", 4) == 0) break;
        }
        m_ResponseHeader[have] = '\0';
        m_nResponseHeaderSize = static_cast<int>(have);
        m_bResponsed = 1;
    }
    *size = m_nResponseHeaderSize;
    return m_ResponseHeader;
}

static int ReceiveOrClose(void *buffer, size_t length, int flags)
{
    const ssize_t count = m_s > 0 ? ReceiveOnce(buffer, length, flags) : -1;
    if (count <= 0) CloseSocket();
    return static_cast<int>(count);
}

int ReceiveHttp(void *buffer, size_t length)
{
    return ReceiveOrClose(buffer, length, 0);
}

int SkipHttp(void *buffer, size_t length)
{
    return ReceiveOrClose(buffer, length, MSG_TRUNC);
}

// ---- The rest ----

int SendWhenConnected(const void *data, size_t length)
{
    return m_bConnected ? static_cast<int>(send(m_s, data, length, MSG_NOSIGNAL)) : -1;
}

int ReceiveWhenConnected(void *buffer, size_t length)
{
    return m_bConnected ? static_cast<int>(ReceiveOnce(buffer, length)) : -1;
}

size_t GetRequestHeader(char *out, size_t length)
{
    const size_t count = strnlen(m_requestheader, length < kHttpHeaderSize ? length : kHttpHeaderSize);
    memcpy(out, m_requestheader, count);
    return count;
}

int SetTimeout(int milliseconds, int sending)
{
    if (milliseconds < 0 || m_s <= 0) return 0;
    const struct timeval limit = {milliseconds / 1000, milliseconds % 1000 * 1000};
    return setsockopt(m_s, SOL_SOCKET, sending > 0 ? SO_SNDTIMEO : SO_RCVTIMEO, &limit, sizeof limit) == 0 ? 1 : 0;
}

int GetResponseLine(char *line, size_t room)
{
    if (room == 0) return -1;
    size_t length = 0;
    bool complete = false;
    while (!complete && m_nCurIndex < m_nResponseHeaderSize) {
        const char byte = m_ResponseHeader[m_nCurIndex++];
        if (length + 1 < room) line[length++] = byte;
        complete = byte == '\n';
    }
    line[length] = '\0';
    if (complete || length > 0) return static_cast<int>(length);
    m_nCurIndex = 0;
    return -1;
}

int GetServerState()
{
    if (m_nResponseHeaderSize < 0) return -1;
    char digits[4] = {};
    if (m_nResponseHeaderSize >= 12) memcpy(digits, m_ResponseHeader + 9, 3);
    return atoi(digits);
}
