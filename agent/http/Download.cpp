#define LOG_MODULE "Download"
#include "http/Download.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "core/Common.h"
#include "http/HttpSocket.h"
#include "os/OsClock.h"
#include "os/OsDivide.h"
#include "os/OsFile.h"

OsAtomic<int> gDownRate{-1};

static const char kLengthName[] = "Content-Length:";
static const size_t kLengthFieldSize = 64;
static const size_t kBlock = 1024;           // the grain in which a body is received
static const size_t kBlocksSize = 32 * 1024; // as many blocks as are received at once
static const int64_t kEarlyClosePauseMs = 1000;

static char s_blocks[kBlocksSize]; // belongs to the thread that has claimed the instance

// The texts in which the two downloads differ.
struct DownloadTexts {
    const char *function;
    const char *noRequest;
    const char *notFound;
};

// ---- Header ----

// The number behind the name as %d reads it. Returns -1 when it is none or not between 0 and 2^31 - 1.
static int NumberOf(const char *text)
{
    errno = 0;
    char *end;
    const long number = strtol(text, &end, 10);
    return end != text && errno == 0 && number >= 0 && number <= INT_MAX ? static_cast<int>(number) : -1;
}

int AnnouncedLength(const char *header, const char *function)
{
    const char *line = strstr(header, kLengthName);
    if (!line) {
        LOG_AS(LOG_LEVEL_ERR, function, "Can't find Content-Length");
        return -1;
    }
    const char *end = strstr(line, "\r\n");
    if (!end) {
        LOG_AS(LOG_LEVEL_ERR, function, "Can't find newline and return characters.");
        return -1;
    }
    const size_t size = static_cast<size_t>(end - line);
    LOG_AS(LOG_LEVEL_DEBUG, function, "lengthlen %d", static_cast<int>(size));
    int length = 0;
    if (size < kLengthFieldSize) {
        char field[kLengthFieldSize] = {};
        memcpy(field, line, size);
        length = NumberOf(field + sizeof kLengthName - 1);
        LOG_AS(LOG_LEVEL_DEBUG, function, "lens = %d", length);
    }
    if (length >= kDownloadMin) return length;
    LOG_AS(LOG_LEVEL_ERR, function, "no usable length");
    return -1;
}

// Connects, sends the request and reads the header. Returns the announced length, or -1 with a log line.
static int Request(const DownloadTexts &texts, const char *host, int port, const char *path)
{
    NewCHttpSocket();
    // A failure of these two shows as a missing header.
    if (CreateHttpSocket()) ConnectHttp(host, port);
    size_t length;
    if (!FormatRequestHeader(host, path, &length, nullptr, nullptr)) {
        LOG_AS(LOG_LEVEL_ERR, texts.function, "%s", texts.noRequest);
        return -1;
    }
    // No answer comes to a request that has not left.
    if (m_bConnected && SendRequest(nullptr, length) == 0) CloseSocket();
    int size = 0;
    const char *header = m_bConnected ? GetResponseHeader(&size) : "";
    LOG_AS(LOG_LEVEL_DEBUG, texts.function, "head %s", header);
    if (size <= 0) {
        LOG_AS(LOG_LEVEL_ERR, texts.function, "head error");
        return -1;
    }
    if (strstr(header, "404 Not Found")) {
        LOG_AS(LOG_LEVEL_ERR, texts.function, "%s", texts.notFound);
        return -1;
    }
    return AnnouncedLength(header, texts.function);
}

// ---- Body ----

// How much to receive at once when `left` bytes are missing. Of a server that sends more than it has announced, no more
// than the rest of the last block is taken, as when receiving block by block.
static size_t ReceiveSize(int64_t left)
{
    if (left <= static_cast<int64_t>(kBlock)) return kBlock;
    return left < static_cast<int64_t>(kBlocksSize) ? static_cast<size_t>(left) / kBlock * kBlock : kBlocksSize;
}

// Receives until `length` bytes have come; `file` is -1 when nothing is kept. Returns their number, which may be up to
// a block higher, and is lower when the file took no more; -1 when the transfer has to let go.
static int64_t ReceiveBody(const char *function, int length, int file)
{
    int64_t total = 0;
    while (total < length) {
        const size_t most = ReceiveSize(length - total);
        const int count = !m_bConnected ? 0 : file < 0 ? SkipHttp(s_blocks, most) : ReceiveHttp(s_blocks, most);
        if (count <= 0) {
            // The connection has closed early. The download waits for the rest until the session ends. An update keeps
            // the response thread meanwhile; a rate test has a thread of its own.
            if (file >= 0) HttpStays();
            if (!HttpPause(kEarlyClosePauseMs)) continue;
            LOG_AS(LOG_LEVEL_ERR, function, "session ended, %lld of %d bytes received", static_cast<long long>(total),
                   length);
            return -1;
        }
        if (file >= 0 && OsWriteAll(file, s_blocks, static_cast<size_t>(count)) != 0) {
            LOG_AS(LOG_LEVEL_ERR, function, "can't write local file: %s", strerror(errno));
            return total; // the rest would be of no use
        }
        total += count;
    }
    return total;
}

// ---- Downloads ----

int DownLoadFIle(const char *host, int port, const char *path, const char *localName)
{
    static const DownloadTexts texts = {"DownLoadFIle", "req is error.", "found"};
    if (!HttpClaim(HTTP_OUTLASTS_SESSION)) {
        LOG_ERR("another download is in progress");
        return -1;
    }
    int result = -1;
    const int file = OsOpenForWriting(localName);
    if (file < 0) {
        LOG_ERR("download filename: %s", localName);
        LOG_ERR("can't open local file");
    } else {
        const int length = Request(texts, host, port, path);
        if (length >= 0 && ReceiveBody(texts.function, length, file) >= 0) result = 0;
        if (close(file) != 0) LOG_ERR("can't write local file: %s", strerror(errno));
    }
    HttpRelease();
    return result;
}

static uint64_t NowSeconds()
{
    return OsDivide(static_cast<uint64_t>(OsNowMs()), 1000);
}

int DownTestRateFIle(const char *host, int port, const char *path, const char *)
{
    static const DownloadTexts texts = {"DownTestRateFIle", "req error.", "404 Not Found"};
    gDownRate = -1;
    if (!HttpClaim(HTTP_ENDS_WITH_SESSION)) {
        LOG_ERR("another download is in progress");
        return -1;
    }
    int result = -1;
    const int length = Request(texts, host, port, path);
    if (length >= 0) {
        // Not by the date, which a command may set meanwhile.
        const uint64_t begin = NowSeconds();
        const int64_t total = ReceiveBody(texts.function, length, -1);
        const uint64_t seconds = NowSeconds() - begin;
        if (total >= 0) {
            const uint64_t rate = OsDivide(static_cast<uint64_t>(total), seconds > 0 ? seconds : 1);
            gDownRate = rate < INT_MAX ? static_cast<int>(rate) : INT_MAX;
            LOG_DEBUG("--------------subtime %ld,lens = %d", static_cast<long>(seconds), length);
            LOG_DEBUG("--------------rate %d", gDownRate.load());
            result = 0;
        }
    }
    HttpRelease();
    return result;
}
