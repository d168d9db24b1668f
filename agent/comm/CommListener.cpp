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
    PLACE_FREE,    // nothing, or something that may go
    PLACE_TAKEN,   // another agent's
    PLACE_UNKNOWN, // we may not look
};

} // namespace

// Without a terminator: this is the address that peers know.
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

// ---- What stands there ----

static bool Trusted(uid_t uid)
{
    return uid == geteuid() || uid == 0;
}

// Whether somebody has the socket there open. We ask with a socket of another kind: one in use refuses it for its kind,
// one that is left over for having nobody behind it, and a server does not notice. A connection, however short, would
// be a peer to it.
static Place AskKind(const Address &there)
{
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return PLACE_UNKNOWN;
    const int error = Connect(fd, there) == 0 ? 0 : errno;
    close(fd);
    if (error == EPROTOTYPE) return PLACE_TAKEN;
    return error == 0 || error == ECONNREFUSED || error == ENOENT ? PLACE_FREE : PLACE_UNKNOWN;
}

// Whether the kernel knows who listens for one of ours.
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
    // Whoever made the file listens at it, as a rule. A stranger's file says nothing about that.
    if (place == PLACE_TAKEN && !Trusted(file.st_uid) && !ListenerTrusted(here)) return PLACE_FREE;
    return place;
}

// ---- Listening ----

// Returns nullptr, or what to log.
static const char *Bind(int fd, const Address &here)
{
    unlink(kPathCommServer); // whatever stands there, a link is not followed
    if (bind(fd, reinterpret_cast<const struct sockaddr *>(&here.name), here.size) != 0) return "bind failed";
    if (!OsFileIdOf(kPathCommServer, &s_made)) return "bind failed";
    // Nobody can connect before we listen, so what the umask left of the mode until here does not matter.
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
        OsRemoveAtEnd(kPathCommServer);
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
