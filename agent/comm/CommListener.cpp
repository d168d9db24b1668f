#define LOG_MODULE "CommServer"
#include "comm/CommListener.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "core/Common.h"
#include "os/OsFile.h"
#include "os/OsProcess.h"
#include "os/Paths.h"

static const int kBacklog = 3;
static const mode_t kMode = 0660;

static OsFileId s_made; // the socket file of ours

// ---- The address ----

namespace
{

struct Address {
    struct sockaddr_un name;
    socklen_t size; // 0 when the path is too long
};

enum Place {
    PLACE_FREE,    // nothing, or something that may be removed
    PLACE_TAKEN,   // the socket of another agent
    PLACE_UNKNOWN, // cannot be told
};

} // namespace

// Without a terminator: peers know the address in this form.
static Address Here()
{
    Address here = {};
    const size_t length = strlen(kPathCommServer);
    if (length > sizeof here.name.sun_path) return here;
    here.name.sun_family = AF_UNIX;
    memcpy(here.name.sun_path, kPathCommServer, length);
    here.size = static_cast<socklen_t>(offsetof(struct sockaddr_un, sun_path) + length);
    return here;
}

static int Connect(int fd, const Address &there)
{
    return connect(fd, reinterpret_cast<const struct sockaddr *>(&there.name), there.size);
}

// ---- What is there ----

static bool Trusted(uid_t uid)
{
    return uid == geteuid() || uid == 0;
}

// Returns whether a process has the socket there open. It asks with a socket of another type: a socket in use refuses
// it for its type, one that nobody has open refuses it as such, and the server does not notice. A connection, however
// short, would count as a peer there.
static Place AskKind(const Address &there)
{
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return PLACE_UNKNOWN;
    const int error = Connect(fd, there) == 0 ? 0 : errno;
    close(fd);
    if (error == EPROTOTYPE) return PLACE_TAKEN;
    return error == 0 || error == ECONNREFUSED || error == ENOENT ? PLACE_FREE : PLACE_UNKNOWN;
}

// Returns whether the process that listens there has our own uid or is root's.
static bool ListenerTrusted(const Address &there)
{
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0); // a full queue must not hold us
    if (fd < 0) return false;
    struct ucred listener = {};
    socklen_t size = sizeof listener;
    const bool known = Connect(fd, there) == 0 && getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &listener, &size) == 0;
    close(fd);
    return known && Trusted(listener.uid);
}

static Place PlaceNow(const Address &here)
{
    struct stat file;
    if (lstat(kPathCommServer, &file) != 0 || !S_ISSOCK(file.st_mode)) return PLACE_FREE;
    const Place place = AskKind(here);
    // As a rule the owner of the file listens there. The file of another user may have been put in its place.
    if (place == PLACE_TAKEN && !Trusted(file.st_uid) && !ListenerTrusted(here)) return PLACE_FREE;
    return place;
}

// ---- Listening ----

// Returns nullptr, or what to log.
static const char *Bind(int fd, const Address &here)
{
    unlink(kPathCommServer); // whatever is there; a link is not followed
    if (bind(fd, reinterpret_cast<const struct sockaddr *>(&here.name), here.size) != 0) return "bind failed";
    if (!OsFileIdOf(kPathCommServer, &s_made)) return "bind failed";
    // Nobody can connect before listen(), so the mode that the umask left does not matter until here.
    const bool listens = chmod(kPathCommServer, kMode) == 0 && listen(fd, kBacklog) == 0;
    if (listens) return nullptr;
    OsRemoveFileIf(kPathCommServer, s_made);
    return "listen failed";
}

int CommListen()
{
    const Address here = Here();
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const Place place = fd < 0 || here.size == 0 ? PLACE_UNKNOWN : PlaceNow(here);
    const char *const failure = fd < 0 ? "Create socket failed" : place == PLACE_FREE ? Bind(fd, here) : "bind failed";
    if (!failure) {
        OsRemoveAtEnd(kPathCommServer, s_made);
        return fd;
    }
    if (fd >= 0) close(fd);
    if (place == PLACE_TAKEN) return kCommListenTaken;
    LOG_AS(LOG_LEVEL_ERR, "CommServerProc", "%s", failure);
    return kCommListenFailed;
}

void CommListenEnd(int fd)
{
    OsRemoveFileIf(kPathCommServer, s_made);
    close(fd);
}
