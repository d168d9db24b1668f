// Any response header: an announced length is accepted exactly when the first "Content-Length:" line is shorter than 64
// characters, ends with CR LF and has a number between 1025 and 2^31 - 1; the header's lines are its bytes; nothing
// reads past the end.
//
// Input: the header as received, at most 1024 bytes.
#include <algorithm>
#include <cstring>
#include <string>

#include "FuzzOs.h"
#include "HttpModel.h"
#include "core/Common.h"
#include "http/Download.h"
#include "http/HttpSocket.h"

static void CheckLength(const std::string &header)
{
    const int length = AnnouncedLength(header.c_str(), "fuzz");
    REQUIRE(length == ExpectedLength(header.c_str())); // a header is text: it ends at a NUL
}

static void CheckLines(const std::string &header)
{
    std::string all;
    char line[kHttpHeaderSize + 1];
    int length;
    for (int lines = 0; (length = GetResponseLine(line, sizeof line)) >= 0; lines++) {
        REQUIRE(length > 0 && length <= static_cast<int>(kHttpHeaderSize) && line[length] == '\0');
        REQUIRE(memchr(line, '\n', static_cast<size_t>(length)) == nullptr ||
                memchr(line, '\n', static_cast<size_t>(length)) == line + length - 1);
        all.append(line, static_cast<size_t>(length));
        REQUIRE(lines < static_cast<int>(kHttpHeaderSize));
    }
    REQUIRE(length == -1 && m_nCurIndex == 0);
    REQUIRE(all == header);

    char small[5];
    while ((length = GetResponseLine(small, sizeof small)) >= 0) REQUIRE(length <= 4 && small[length] == '\0');
    REQUIRE(GetResponseLine(small, 0) == -1);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzOsReset();
    d_set_log_level(LOG_LEVEL_NONE);
    size = std::min(size, kHttpHeaderSize);
    const std::string header(reinterpret_cast<const char *>(data), size);
    NewCHttpSocket();
    memcpy(m_ResponseHeader, header.data(), size);
    m_nResponseHeaderSize = static_cast<int>(size);
    m_bResponsed = 1;

    CheckLength(header);
    CheckLines(header);
    const int state = GetServerState();
    REQUIRE(state >= -99 && state <= 999);
    return 0;
}
