// HttpContent.h - the content of a path: a real file below a folder, or made-up bytes of any length.
// State: none but the open folder and the open files. Threads: the caller's.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace sim
{

// The body for a request. It owns the descriptor.
struct HttpBody {
    HttpBody() = default;
    ~HttpBody();
    HttpBody(HttpBody &&other) noexcept;
    HttpBody &operator=(HttpBody &&other) noexcept;

    bool found = false;
    int64_t size = 0;
    int file = -1; // -1: made up
};

// The made-up bytes from `offset` on, as many as are contiguous in memory, at least one: lines of 64 characters, each
// beginning with its own position, which starts again at 0 after 256 KB. There is no CR among them.
struct MadeUpBytes {
    const char *data;
    int64_t size;
};
MadeUpBytes MadeUpAt(int64_t offset);

class HttpContent
{
  public:
    HttpContent() = default;
    ~HttpContent();
    HttpContent(const HttpContent &) = delete;
    HttpContent &operator=(const HttpContent &) = delete;

    // `root` is the folder of real files, empty for none; `size` the length of made-up files. False with the reason.
    bool Open(const std::string &root, int64_t size, std::string *error);

    // Serves the regular file that is open as `file` under `path`, before everything else and instead of an earlier
    // one. The descriptor is duplicated. False with the reason.
    bool Offer(const std::string &path, int file, std::string *error);
    bool Offers(const std::string &path) const { return offers_.count(path) > 0; }

    // An offered file, one below the root, or made-up bytes for everything below /download/. Symbolic links are not
    // followed, and "." and ".." are not found, so no path leads out of the folder.
    HttpBody Find(const std::string &path) const;

  private:
    int root_ = -1;
    int64_t size_ = 0;
    std::map<std::string, int> offers_;
};

} // namespace sim
