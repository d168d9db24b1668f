#include "simulator/http/HttpContent.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace sim
{

static const size_t kLine = 64;
// Large enough that the cost of a system call is small against copying, small enough for the processor's cache.
static const size_t kBlock = 256 * 1024;
static const char kMadeUpFolder[] = "/download/";

HttpBody::~HttpBody()
{
    if (file >= 0) close(file);
}

HttpBody::HttpBody(HttpBody &&other) noexcept
    : found(other.found), size(other.size), file(std::exchange(other.file, -1))
{
}

HttpBody &HttpBody::operator=(HttpBody &&other) noexcept
{
    std::swap(file, other.file);
    found = other.found;
    size = other.size;
    return *this;
}

static std::array<char, kBlock> MakeBlock()
{
    std::array<char, kBlock> block;
    for (size_t line = 0; line < kBlock; line += kLine) {
        char position[16];
        const size_t digits = static_cast<size_t>(snprintf(position, sizeof position, "%06zu ", line));
        memcpy(&block[line], position, digits);
        for (size_t i = digits; i < kLine - 1; i++) block[line + i] = static_cast<char>('a' + (line / kLine + i) % 26);
        block[line + kLine - 1] = '\n';
    }
    return block;
}

MadeUpBytes MadeUpAt(int64_t offset)
{
    static const std::array<char, kBlock> block = MakeBlock();
    const size_t at = static_cast<size_t>(offset % static_cast<int64_t>(kBlock));
    return {block.data() + at, static_cast<int64_t>(kBlock - at)};
}

HttpContent::~HttpContent()
{
    if (root_ >= 0) close(root_);
    for (const auto &offer : offers_) close(offer.second);
}

bool HttpContent::Offer(const std::string &path, int file, std::string *error)
{
    struct stat about;
    const int own = fcntl(file, F_DUPFD_CLOEXEC, 0);
    const bool good = own >= 0 && fstat(own, &about) == 0;
    if (!good || !S_ISREG(about.st_mode)) {
        *error = good ? "no regular file" : strerror(errno);
        if (own >= 0) close(own);
        return false;
    }
    if (offers_.count(path)) close(offers_[path]);
    offers_[path] = own;
    return true;
}

// Opens an offered file, with its present length.
static void OpenOffer(int offer, HttpBody *body)
{
    struct stat about;
    body->file = fcntl(offer, F_DUPFD_CLOEXEC, 0);
    body->found = body->file >= 0 && fstat(body->file, &about) == 0;
    body->size = body->found ? about.st_size : 0;
}

bool HttpContent::Open(const std::string &root, int64_t size, std::string *error)
{
    size_ = size;
    if (root.empty()) return true;
    root_ = open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (root_ < 0) *error = "cannot serve the folder " + root + ": " + strerror(errno);
    return root_ >= 0;
}

// The names in a path; false if one is empty, "." or "..".
static bool SplitPath(const std::string &path, std::vector<std::string> *names)
{
    if (path.empty() || path[0] != '/') return false;
    for (size_t start = 1; start <= path.size();) {
        const size_t end = std::min(path.find('/', start), path.size());
        names->push_back(path.substr(start, end - start));
        if (names->back().empty() || names->back() == "." || names->back() == "..") return false;
        start = end + 1;
    }
    return true;
}

// Opens one name after the other, none of which may be a link: nothing can be exchanged in between.
static int OpenBelow(int root, const std::vector<std::string> &names)
{
    int folder = fcntl(root, F_DUPFD_CLOEXEC, 0);
    for (size_t i = 0; i < names.size() && folder >= 0; i++) {
        // A pipe of that name must not block.
        const int kind = i + 1 < names.size() ? O_DIRECTORY | O_PATH : O_RDONLY | O_NONBLOCK;
        const int next = openat(folder, names[i].c_str(), kind | O_NOFOLLOW | O_CLOEXEC);
        close(folder);
        folder = next;
    }
    return folder;
}

HttpBody HttpContent::Find(const std::string &path) const
{
    HttpBody body;
    std::vector<std::string> names;
    const auto offer = offers_.find(path);
    if (offer != offers_.end()) {
        OpenOffer(offer->second, &body);
        return body;
    }
    if (!SplitPath(path, &names)) return body;
    if (root_ >= 0) {
        struct stat about;
        body.file = OpenBelow(root_, names);
        if (body.file >= 0 && fstat(body.file, &about) == 0 && S_ISREG(about.st_mode)) {
            body.found = true;
            body.size = about.st_size;
            return body;
        }
        body = HttpBody();
    }
    body.found = path.compare(0, sizeof kMadeUpFolder - 1, kMadeUpFolder) == 0;
    body.size = body.found ? size_ : 0;
    return body;
}

} // namespace sim
