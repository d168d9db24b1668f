#include "os/OsFile.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// O_NONBLOCK keeps a planted FIFO from holding the caller; on regular files it has no effect.
static int OpenRegular(const char *path, int flags)
{
    const int fd = open(path, flags | O_CLOEXEC | O_NONBLOCK, 0644);
    if (fd < 0) return -1;
    struct stat status;
    if (fstat(fd, &status) == 0 && S_ISREG(status.st_mode)) return fd;
    close(fd);
    errno = EINVAL;
    return -1;
}

int OsOpenForReading(const char *path, bool followLink)
{
    return OpenRegular(path, O_RDONLY | (followLink ? 0 : O_NOFOLLOW));
}

// For writing, created when missing; a symbolic link makes room for a file.
static int OpenOrCreate(const char *path)
{
    const int fd = OpenRegular(path, O_WRONLY | O_CREAT | O_NOFOLLOW);
    if (fd >= 0 || errno != ELOOP || unlink(path) != 0) return fd;
    return OpenRegular(path, O_WRONLY | O_CREAT | O_NOFOLLOW | O_EXCL);
}

int OsReplaceFile(const char *path, const void *data, size_t size)
{
    const int fd = OpenOrCreate(path);
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
    struct stat status;
    if (lstat(path, &status) == 0 && !S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode)) {
        errno = EINVAL;
        return -1;
    }
    OsRemoveFile(path);
    return OpenRegular(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW);
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

int OsPutInPlace(const char *from, const char *to)
{
    const int fd = OsOpenForReading(from, false);
    if (fd < 0) return -1;
    const int result = fsync(fd) == 0 ? rename(from, to) : -1;
    const int error = errno;
    close(fd);
    errno = error;
    return result;
}

void OsRemoveFile(const char *path)
{
    unlink(path);
}
