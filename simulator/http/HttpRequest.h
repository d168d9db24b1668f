// HttpRequest.h - splits the bytes of an HTTP connection into requests (RFC 9112) of limited length.
// State: one reader object per connection. Threads: the caller's.
#pragma once

#include <cstdint>
#include <string>

namespace sim
{

constexpr size_t kMaxRequestBytes = 8192; // of a request's lines together

struct HttpRequest {
    std::string text;   // all lines as received, the empty one included
    std::string method; // as written
    std::string target; // as written: path and query
    std::string path;   // decoded and without the query; empty when it cannot be decoded
    std::string host;   // the Host line's value
    bool keepAlive = false;
    int refusal = 0; // the status that refuses an invalid request; 0 for a valid one
    std::string problem;
};

class HttpRequestReader
{
  public:
    void Push(const uint8_t *data, size_t size) { bytes_.append(reinterpret_cast<const char *>(data), size); }

    // The next request, valid or to be refused. False while it is incomplete. Bytes after a refused one have no
    // meaning, so the connection must be closed.
    bool Pop(HttpRequest *request);

    size_t Left() const { return bytes_.size(); }
    const std::string &Rest() const { return bytes_; }
    bool Full() const { return bytes_.size() >= kMaxRequestBytes; } // no more is read for now

  private:
    std::string bytes_;
};

// "%2F" becomes "/". False for a percent sign without two digits behind it and for a zero byte.
bool DecodePercent(const std::string &text, std::string *decoded);

} // namespace sim
