// OsFile.h - opening files where anybody may have planted something.
//
// A file is "ours" when it is a regular file of our own user, with one link, that nobody else may write. Nobody else
// can have planted such a file or can change it.
//
// State:    none. Threads: any.
#pragma once

#include <cstddef>
#include <sys/types.h>

// Opens a regular file for reading; descriptors are close-on-exec and opening never blocks.
// followLink: false refuses a symbolic link at `path` (for paths in directories that others may write).
// Returns the descriptor, or -1 with errno (EINVAL when `path` is no regular file).
[[nodiscard]] int OsOpenForReading(const char *path, bool followLink);

// Opens a file for reading that is ours; anything else is refused. The descriptor is close-on-exec.
// Returns the descriptor, or -1 with errno (EINVAL when what is at `path` is not ours).
[[nodiscard]] int OsOpenOurs(const char *path);

// OsOpenForReading() for a file that nobody else can have put there: the file, and each link that leads to it from
// `path`, must belong to root or to us. The owner is read from the open file, so nobody can exchange it in between.
// Returns the descriptor, or -1 with errno (EPERM for what belongs to somebody else).
[[nodiscard]] int OsOpenTrusted(const char *path);

// Replaces the content of `path` by `size` bytes and its mode by `mode`, whatever the umask. A file that is ours is
// overwritten in place: it is never empty meanwhile, and a full disk is no obstacle. Anything else there is removed,
// without writing to it or following it, and a new file is made. A folder stays and is an error.
// Returns 0; -1 with errno when the file cannot be opened; -2 with errno when it was opened but not all bytes
// could be written.
[[nodiscard]] int OsReplaceFile(const char *path, const void *data, size_t size, mode_t mode);

// Makes a new file of mode 0600 at `path`, for writing and for reading back. Whatever is there, even a file of ours, is
// removed without writing to it or following it. A folder stays and is an error.
// Returns the descriptor, which is close-on-exec, or -1 with errno.
[[nodiscard]] int OsOpenForWriting(const char *path);

// Reads once, again after a signal. Returns what read() does.
[[nodiscard]] ssize_t OsRead(int fd, void *buffer, size_t size);

// Reads until `size` bytes have come, the end or an error. Returns how many have come.
[[nodiscard]] size_t OsReadUpTo(int fd, void *buffer, size_t size);

// Writes all `size` bytes. Returns 0, or -1 with errno (ENOSPC when the file took fewer).
[[nodiscard]] int OsWriteAll(int fd, const void *data, size_t size);

// Removes a file or a link; there may be none.
void OsRemoveFile(const char *path);

// Identifies a file as long as it exists or is open, whatever gets its name later.
struct OsFileId {
    dev_t device;
    ino_t inode;
};

// Stores what is at `path`; a link is not followed. Returns whether there is anything. Callable from a signal handler.
[[nodiscard]] bool OsFileIdOf(const char *path, OsFileId *id);

// Removes `path` if it is still the file, or the link, that `id` identifies. Callable from a signal handler.
void OsRemoveFileIf(const char *path, const OsFileId &id);
