#include "os/OsFile.h"

#include <cerrno>
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

int OsReplaceFile(const char *path, const void *data, size_t size)
{
    int fd = OpenRegular(path, O_WRONLY | O_CREAT | O_NOFOLLOW);
    if (fd < 0 && errno == ELOOP && unlink(path) == 0) fd = OpenRegular(path, O_WRONLY | O_CREAT | O_NOFOLLOW | O_EXCL);
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
