#include "sdk/linux/base/Files.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

static const size_t kMaxPath = 512;

long ReadFile(const char *path, char *buffer, size_t size)
{
    const int file = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY); // a fifo must not hold us up
    if (file < 0) return -1;
    struct stat status;
    int error = 0;
    size_t length = 0;
    if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) error = EINVAL;
    while (!error) {
        const ssize_t got = read(file, buffer + length, size - length);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) error = errno;
        if (got <= 0) break;
        length += size_t(got);
        if (length == size) error = EFBIG;
    }
    close(file);
    errno = error;
    if (error) return -1;
    buffer[length] = '\0';
    return long(length);
}

bool ReadLine(const char *path, char *line, size_t size)
{
    char text[512];
    line[0] = '\0';
    if (ReadFile(path, text, sizeof text) < 0) return false;
    text[strcspn(text, "\n")] = '\0';
    snprintf(line, size, "%s", text);
    return line[0] != '\0';
}

static bool WriteAll(int file, const char *data, size_t length)
{
    while (length > 0) {
        const ssize_t written = write(file, data, length);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        data += written;
        length -= size_t(written);
    }
    return true;
}

// The folder of a file: "/" or what stands before the last slash. False if there is none.
static bool FolderOf(const char *path, char folder[kMaxPath])
{
    snprintf(folder, kMaxPath, "%s", path);
    char *slash = strrchr(folder, '/');
    if (!slash) return false;
    slash[slash == folder] = '\0';
    return true;
}

// A rename reaches the disk with its folder.
static void SyncFolder(const char *path)
{
    char folder[kMaxPath];
    if (!FolderOf(path, folder)) return;
    const int descriptor = open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return;
    fsync(descriptor);
    close(descriptor);
}

bool WriteFileWhole(const char *path, const char *data, size_t length, unsigned mode)
{
    char fresh[kMaxPath];
    if (size_t(snprintf(fresh, sizeof fresh, "%s.new", path)) >= sizeof fresh) {
        errno = ENAMETOOLONG;
        return false;
    }
    unlink(fresh);
    const int file = open(fresh, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (file < 0) return false;
    bool good = WriteAll(file, data, length) && fsync(file) == 0;
    int error = errno;
    if (close(file) != 0 && good) {
        good = false;
        error = errno;
    }
    if (good && rename(fresh, path) != 0) {
        good = false;
        error = errno;
    }
    if (good) {
        SyncFolder(path);
        return true;
    }
    unlink(fresh);
    errno = error;
    return false;
}

void MakeFolderOf(const char *path)
{
    char folder[kMaxPath];
    if (FolderOf(path, folder)) mkdir(folder, 0755);
}

bool WriteSetting(const char *path, const char *text)
{
    const int file = open(path, O_WRONLY | O_CLOEXEC);
    if (file < 0) return false;
    const bool good = write(file, text, strlen(text)) == ssize_t(strlen(text));
    close(file);
    return good;
}
