// HttpSocket.h - the one HTTP connection of the agent: a GET over plain TCP (HTTP/1.1, RFC 9112, as far as one download
// needs it).
//
// State:    the instance below, one for the whole agent. HttpClaim() hands it to one thread, which owns it until
//           HttpRelease(); that thread calls everything else here between the two, unless stated otherwise.
// Threads:  any, one at a time as said. HttpLetGo() and HttpSessionEnds() are safe from every thread at any time.
//
// There is no time-out: connecting, header and body wait as long as the system does. All waits but the name look-up end
// at once with HttpLetGo(). They end with the platform session as well, which this folder knows only as HttpSession.
#pragma once

#include <cstddef>
#include <cstdint>
#include <netdb.h>

constexpr size_t kHttpHeaderSize = 1024;
constexpr size_t kHttpAddressSize = 256;

extern int m_s;                                    // socket, 0 when there is none
extern struct hostent *m_phostent;                 // result of the last look-up
extern int8_t m_bConnected;                        // 1 after a successful connect, until the socket is closed
extern char m_ipaddr[kHttpAddressSize];            // dotted text of the server's address
extern int m_port;                                 // the server's port
extern char m_requestheader[kHttpHeaderSize];      // the request as text
extern char m_ResponseHeader[kHttpHeaderSize + 1]; // the header as it came, and a terminator
extern int m_nResponseHeaderSize;                  // its bytes; -1 until it has been read
extern int8_t m_bResponsed;                        // 1 once it has been read
extern int m_nCurIndex;                            // where GetResponseLine() goes on

// The platform session, as far as a transfer follows it. Both procedures are called by the thread of the transfer.
struct HttpSession {
    bool (*over)();  // returns true while no session runs: a transfer that begins then lets go at once
    void (*stays)(); // from now on the transfer ends only with the session: see HttpStays()
};

// Names the session that all transfers follow; `session` lives as long as the process. Without one every transfer lets
// go at once. Main thread, before the first transfer.
void HttpFollow(const HttpSession *session);

// Has the transfer in progress follow the end of the session. Returns true when it goes on all the same: it is then to
// be asked again every second.
[[nodiscard]] bool HttpSessionEnds();

// What the end of the session means for a transfer.
enum HttpEnd {
    HTTP_ENDS_WITH_SESSION, // it lets go at once
    HTTP_OUTLASTS_SESSION,  // it goes on while bytes come, and lets go when the server has sent none for 10 s
};

// Takes the instance for one transfer, which lets go at once when no session runs. Returns false when another transfer
// is in progress.
[[nodiscard]] bool HttpClaim(HttpEnd end);

// Closes what is open and gives the instance back.
void HttpRelease();

// Ends every wait of the transfer in progress, which then fails; the next transfer is not affected.
void HttpLetGo();

// Waits `milliseconds`, or less when the transfer is to let go. Returns whether it is.
[[nodiscard]] bool HttpPause(int64_t milliseconds);

// Tells the session that the thread waits for nothing but its end, because the connection has closed early.
void HttpStays();

// Resets the instance. An open socket is closed.
void NewCHttpSocket();

// Makes the IPv4 TCP socket. Returns whether there is one.
[[nodiscard]] bool CreateHttpSocket();

// Connects to the first IPv4 address of `host`, at `port` (host order). Returns 1, or 0: no host, port outside 1 to
// 65535, the look-up or the connect failed (the socket then stays open), or connected already (it is then closed).
int ConnectHttp(const char *host, int port);

// Writes a GET request for `path` into m_requestheader. `cookie` and `referer` may be nullptr. Returns it with its
// length in *length, or nullptr when it does not fit or one of the texts would begin a new line.
[[nodiscard]] const char *FormatRequestHeader(const char *host, const char *path, size_t *length, const char *cookie,
                                              const char *referer);

// Sends `request` (nullptr: m_requestheader), `length` bytes of it (0: all of the text), and reads the response header.
// Returns 1 when it was sent, else 0.
int SendRequest(const char *request, size_t length);

// Reads the response header, once: up to the empty line, or its first 1024 bytes, or what came before the connection
// ended. No byte of the body is taken. Returns m_ResponseHeader with its length in *size.
const char *GetResponseHeader(int *size);

// One receive of at most `length` bytes. Returns the count; 0 or -1 when the connection has ended, and then the socket
// is closed.
[[nodiscard]] int ReceiveHttp(void *buffer, size_t length);

// The same for bytes that nobody reads: Linux drops them in the kernel (MSG_TRUNC), which costs a router's processor a
// fraction of copying them. The content of `buffer` is then undefined.
[[nodiscard]] int SkipHttp(void *buffer, size_t length);

// Closes the socket. Returns 1, also when none was open; 0 when closing failed.
int CloseSocket();

// ---- Further procedures of the instance; the downloads do not use them ----

// Send and receive, -1 unless connected. Both return the count of one call, or -1.
[[nodiscard]] int SendWhenConnected(const void *data, size_t length);
[[nodiscard]] int ReceiveWhenConnected(void *buffer, size_t length);

// Copies the request text, at most `length` bytes and no terminator. Returns the count.
size_t GetRequestHeader(char *out, size_t length);

// Sets the time-out of the socket to `milliseconds` (0: none), of sending when `sending` is positive, else of
// receiving. Returns 1 or 0.
int SetTimeout(int milliseconds, int sending);

// Stores the next line of the response header with its line feed and a terminator, cut to `room`. Returns its length;
// -1 at the end of the header, or before one was read: the next call then begins with the first line again.
[[nodiscard]] int GetResponseLine(char *line, size_t room);

// The status code, which is in bytes 9 to 11 of the header; 0 when the header is shorter, -1 before one was read.
int GetServerState();
