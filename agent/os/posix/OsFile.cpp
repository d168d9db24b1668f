#include "os/OsFile.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

static const mode_t kOwnMode = 0600;
static const int kMakings = 32; // attempts, when somebody keeps making other files there
static const int kMaxLinks = 8; // in a row

// Whether it is a regular file; with `ours`, one that is ours as OsFile.h says. The mode is not mended: whoever could
// write the file may still have it open.
static bool Accept(const struct stat &status, bool ours)
{
    if (!S_ISREG(status.st_mode)) return false;
    return !ours || (status.st_uid == geteuid() && status.st_nlink == 1 && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0);
}

// O_NONBLOCK keeps a planted FIFO from holding the caller; on regular files it has no effect.
static int Open(const char *path, int flags, bool ours)
{
    const int fd = open(path, flags | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return -1;
    struct stat status;
    if (fstat(fd, &status) == 0 && Accept(status, ours)) return fd;
    close(fd);
    errno = EINVAL;
    return -1;
}

int OsOpenForReading(const char *path, bool followLink)
{
    return Open(path, O_RDONLY | (followLink ? 0 : O_NOFOLLOW), false);
}

// Returns `fd`. When the file belongs to neither root nor us, closes it and returns -1 with EPERM. The -1 of a failed
// open is passed on.
static int KeepTrusted(int fd)
{
    struct stat status;
    if (fd < 0 || (fstat(fd, &status) == 0 && (status.st_uid == 0 || status.st_uid == geteuid()))) return fd;
    close(fd);
    errno = EPERM;
    return -1;
}

// Replaces `path`, a link, by what it points to, if the link can be trusted. Returns 0, or -1 with errno.
static int FollowTrusted(char (&path)[PATH_MAX])
{
    const int link = KeepTrusted(open(path, O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (link < 0) return -1;
    char target[PATH_MAX];
    const ssize_t length = readlinkat(link, "", target, sizeof target - 1);
    close(link);
    if (length < 0) return -1; // it is no link any more
    target[length] = '\0';
    char *const name = strrchr(path, '/') ? strrchr(path, '/') + 1 : path;
    char *const to = target[0] == '/' ? path : name;
    if (static_cast<size_t>(length) >= sizeof path - static_cast<size_t>(to - path)) {
        errno = ENAMETOOLONG;
        return -1;
    }
    memcpy(to, target, static_cast<size_t>(length) + 1);
    return 0;
}

int OsOpenTrusted(const char *path)
{
    char at[PATH_MAX];
    const size_t length = strlen(path);
    if (length >= sizeof at) {
        errno = ENAMETOOLONG;
        return -1;
    }
    memcpy(at, path, length + 1);
    for (int links = 0; links < kMaxLinks; links++) {
        const int fd = KeepTrusted(OsOpenForReading(at, false));
        if (fd >= 0 || errno != ELOOP || FollowTrusted(at) != 0) return fd;
    }
    errno = ELOOP;
    return -1;
}

int OsOpenOurs(const char *path)
{
    return Open(path, O_RDONLY | O_NOFOLLOW, true);
}

// Removes what is at `path` and makes a file there. Somebody may make another in between, so it tries several times.
static int MakeAnew(const char *path, int flags, mode_t mode)
{
    int fd = -1;
    errno = EEXIST;
    for (int i = 0; i < kMakings && fd < 0 && errno == EEXIST; i++) {
        if (unlink(path) != 0 && errno != ENOENT) return -1;
        fd = open(path, flags | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
    }
    if (fd >= 0) fchmod(fd, mode);
    return fd;
}

// These errors say nothing about what is at a path. All others mean that something was planted there: ELOOP a link, or
// EACCES a link in a sticky folder; ENXIO a FIFO or a socket; ETXTBSY a program that runs; and so on.
static bool IsShortage(int error)
{
    return error == EMFILE || error == ENFILE || error == ENOMEM || error == EINTR;
}

static int OpenOursOrNew(const char *path, mode_t mode)
{
    const int fd = Open(path, O_WRONLY | O_NOFOLLOW, true);
    if (fd < 0) return IsShortage(errno) ? -1 : MakeAnew(path, O_WRONLY, mode);
    fchmod(fd, mode);
    return fd;
}

int OsReplaceFile(const char *path, const void *data, size_t size, mode_t mode)
{
    const int fd = OpenOursOrNew(path, mode);
    if (fd < 0) return -1;

    // Overwriting in place needs no new block, so it succeeds on a full disk once the file is there.
    const ssize_t written = pwrite(fd, data, size, 0);
    bool complete = written >= 0 && static_cast<size_t>(written) == size;
    if (complete)
        complete = ftruncate(fd, static_cast<off_t>(size)) == 0;
    else if (written >= 0)
        errno = ENOSPC;
    const int error = errno;
    close(fd);
    errno = error;
    return complete ? 0 : -2;
}

int OsOpenForWriting(const char *path)
{
    return MakeAnew(path, O_RDWR, kOwnMode);
}

ssize_t OsRead(int fd, void *buffer, size_t size)
{
    ssize_t count;
    do {
        count = read(fd, buffer, size);
    } while (count < 0 && errno == EINTR);
    return count;
}

size_t OsReadUpTo(int fd, void *buffer, size_t size)
{
    size_t filled = 0;
    while (filled < size) {
        const ssize_t count = OsRead(fd, static_cast<char *>(buffer) + filled, size - filled);
        if (count <= 0) break;
        filled += static_cast<size_t>(count);
    }
    return filled;
}

int OsWriteAll(int fd, const void *data, size_t size)
{
    const char *bytes = static_cast<const char *>(data);
    while (size > 0) {
        const ssize_t written = write(fd, bytes, size);
        if (written < 0 && errno == EINTR) continue;
        if (written == 0) errno = ENOSPC;
        if (written <= 0) return -1;
        bytes += written;
        size -= static_cast<size_t>(written);
    }
    return 0;
}

void OsRemoveFile(const char *path)
{
    unlink(path);
}

bool OsFileIdOf(const char *path, OsFileId *id)
{
    struct stat status;
    if (lstat(path, &status) != 0) return false;
    *id = {status.st_dev, status.st_ino};
    return true;
}

void OsRemoveFileIf(const char *path, const OsFileId &id)
{
    OsFileId now;
    if (OsFileIdOf(path, &now) && now.device == id.device && now.inode == id.inode) unlink(path);
}
