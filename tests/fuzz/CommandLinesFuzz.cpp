// Any output of a command, in any pieces: the lines put together are the output; a line ends with its line feed, or it is
// as long as the room, or it is the last.
//
// Input: the room for a line (1 byte), then pieces: a length (1 byte) and its bytes; 0 is an interrupted read.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <unistd.h>

#include "FuzzInput.h"
#include "os/OsCommand.h"
#include "os/OsWait.h"

static const int kOutput = 1000; // no descriptor of ours

static FuzzInput s_pieces;
static std::string s_output; // all that has been read

// The output, in place of the system's call.
extern "C" ssize_t __wrap_read(int fd, void *bytes, size_t size);
extern "C" ssize_t __wrap_read(int fd, void *bytes, size_t size)
{
    REQUIRE(fd == kOutput);
    if (s_pieces.left == 0) return 0;
    size_t length = s_pieces.Byte();
    if (length == 0) {
        errno = EINTR;
        return -1;
    }
    length = std::min(length, size);
    const uint8_t *piece = s_pieces.Bytes(&length);
    if (length > 0) memcpy(bytes, piece, length);
    s_output.append(reinterpret_cast<const char *>(piece), length);
    return static_cast<ssize_t>(length);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    s_pieces = {data, size};
    s_output.clear();
    const size_t room = 2 + s_pieces.Byte();
    OsCommand command;
    command.output = kOutput;
    std::string all;
    char line[300];
    for (bool last = false;;) {
        memset(line, '#', sizeof line);
        const size_t length = OsCommandReadLine(&command, line, room, OS_FOREVER);
        if (length == 0) break;
        REQUIRE(!last && length < room && line[length] == '\0' && line[length + 1] == '#');
        const char *feed = static_cast<const char *>(memchr(line, '\n', length));
        REQUIRE(feed == nullptr || feed == line + length - 1);
        last = feed == nullptr && length < room - 1;
        all.append(line, length);
    }
    REQUIRE(all == s_output && s_pieces.left == 0);
    return 0;
}
