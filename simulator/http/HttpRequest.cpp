#include "simulator/http/HttpRequest.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "protocol/Bytes.h"

namespace sim
{

namespace
{
struct Header {
    size_t hosts = 0;
    bool body = false; // the request has a body
    bool close = false, keepAlive = false;
};
} // namespace

static std::string Lower(std::string text)
{
    for (char &c : text) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    return text;
}

static std::string Trimmed(const std::string &text)
{
    const size_t first = text.find_first_not_of(" \t");
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t") + 1 - first);
}

// A token (RFC 9110, 5.6.2): a method, or the name of a header line.
static bool IsToken(const std::string &text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
        return isalnum(static_cast<unsigned char>(c)) || (c && strchr("!#$%&'*+-.^_`|~", c));
    });
}

bool DecodePercent(const std::string &text, std::string *decoded)
{
    decoded->clear();
    for (size_t i = 0; i < text.size(); i++) {
        char c = text[i];
        if (c == '%') {
            protocol::Bytes byte;
            if (!protocol::FromHex(text.substr(i + 1, 2), &byte) || byte.size() != 1) return false;
            c = static_cast<char>(byte[0]);
            i += 2;
        }
        if (c == '\0') return false;
        *decoded += c;
    }
    return true;
}

static bool Refuse(HttpRequest *request, int status, const std::string &problem)
{
    request->refusal = status;
    request->problem = problem;
    request->keepAlive = false;
    return false;
}

static bool ReadRequestLine(const std::string &line, HttpRequest *request, bool *newer)
{
    const size_t first = line.find(' '), last = line.rfind(' ');
    if (first == std::string::npos || first == last) return Refuse(request, 400, "the first line is no request");
    request->method = line.substr(0, first);
    request->target = line.substr(first + 1, last - first - 1);
    const std::string version = line.substr(last + 1);
    if (!IsToken(request->method)) return Refuse(request, 400, "the method is no word");
    if (version.compare(0, 5, "HTTP/") != 0) return Refuse(request, 400, "the first line names no version");
    if (version != "HTTP/1.1" && version != "HTTP/1.0") return Refuse(request, 505, "the version is another one");
    *newer = version == "HTTP/1.1";
    if (request->target.find(' ') != std::string::npos) return Refuse(request, 400, "there is a blank in the path");
    if (request->target.empty() || request->target[0] != '/')
        return Refuse(request, 400, "the path does not begin with a slash");
    if (!DecodePercent(request->target.substr(0, request->target.find('?')), &request->path)) request->path.clear();
    return true;
}

static bool ReadHeaderLine(const std::string &line, HttpRequest *request, Header *header)
{
    const size_t colon = line.find(':');
    if (colon == std::string::npos || !IsToken(line.substr(0, colon)))
        return Refuse(request, 400, "a header line has no name");
    const std::string name = Lower(line.substr(0, colon)), value = Trimmed(line.substr(colon + 1));
    if (name == "host") {
        if (header->hosts++ > 0) return Refuse(request, 400, "there is more than one Host");
        request->host = value;
    } else if (name == "connection") {
        header->close = Lower(value) == "close";
        header->keepAlive = Lower(value) == "keep-alive";
    } else if (name == "transfer-encoding" || (name == "content-length" && value != "0")) {
        header->body = true;
    }
    return true;
}

static bool Parse(HttpRequest *request)
{
    bool newer = false;
    Header header;
    size_t start = 0;
    for (size_t number = 0; start < request->text.size(); number++) {
        const size_t end = request->text.find('\n', start);
        if (end == start || request->text[end - 1] != '\r') return Refuse(request, 400, "a line ends without CR LF");
        const std::string line = request->text.substr(start, end - 1 - start);
        start = end + 1;
        if (std::any_of(line.begin(), line.end(),
                        [](char c) { return iscntrl(static_cast<unsigned char>(c)) && c != '\t'; }))
            return Refuse(request, 400, "there is a control character in a line");
        if (number == 0 ? !ReadRequestLine(line, request, &newer)
                        : !line.empty() && !ReadHeaderLine(line, request, &header))
            return false;
    }
    if (newer && header.hosts == 0) return Refuse(request, 400, "there is no Host");
    // The body of a request is not read, so no further request can follow it.
    request->keepAlive = (newer ? !header.close : header.keepAlive) && !header.body;
    return true;
}

bool HttpRequestReader::Pop(HttpRequest *request)
{
    // Some clients send an empty line after a request.
    while (bytes_.compare(0, 2, "\r\n") == 0) bytes_.erase(0, 2);
    *request = HttpRequest();
    if (bytes_.empty() || bytes_ == "\r") return false;
    // Bytes that cannot become a request are refused at once, not after 8 KB.
    const bool garbage = !isalpha(static_cast<unsigned char>(bytes_[0]));
    const size_t good = bytes_.find("\r\n\r\n"), bare = bytes_.find("\n\n");
    size_t end = std::min(good == std::string::npos ? good : good + 4, bare == std::string::npos ? bare : bare + 2);
    if (end == std::string::npos && !garbage && bytes_.size() <= kMaxRequestBytes) return false;
    end = std::min({end, bytes_.size(), kMaxRequestBytes + 1});
    request->text = bytes_.substr(0, end);
    bytes_.erase(0, end);
    if (garbage)
        Refuse(request, 400, "this is no request");
    else if (end > kMaxRequestBytes)
        Refuse(request, 431, "the request is longer than " + std::to_string(kMaxRequestBytes) + " bytes");
    else
        Parse(request);
    if (request->refusal) bytes_.clear();
    return true;
}

} // namespace sim
