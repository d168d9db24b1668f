// OsFile.h - opening files where anybody may have planted something.
// State:    none. Threads: any.
#pragma once

#include <cstddef>

// Opens a regular file for reading; descriptors are close-on-exec and opening never blocks.
// followLink: false refuses a symbolic link at `path` (for paths in directories that others may write).
// Returns the descriptor, or -1 with errno (EINVAL when `path` is no regular file).
int OsOpenForReading(const char *path, bool followLink);

// Replaces the content of `path` by `size` bytes, without a moment in which the file is empty or longer than
// either content. A symbolic link at `path` is removed, never followed; anything else that is not a regular
// file is left alone and refused. The file is created with mode 0644.
// Returns 0; -1 with errno when the file cannot be opened; -2 with errno when it was opened but not all bytes
// could be written.
int OsReplaceFile(const char *path, const void *data, size_t size);

// Makes a new file at `path` for writing. A file or a symbolic link there is removed, never written or followed: what
// somebody else has put there stays his, and could be changed by him at any time. Anything else is left alone and
// refused. The file is created with mode 0644; the descriptor is close-on-exec.
// Returns the descriptor, or -1 with errno.
int OsOpenForWriting(const char *path);

// Writes all `size` bytes. Returns 0, or -1 with errno (ENOSPC when the file took fewer).
int OsWriteAll(int fd, const void *data, size_t size);

// Moves the file `from` to `to`, in the same folder, once its content is on its medium: whoever finds `to` afterwards
// finds all of it, also after a power failure. A file or link at `to` is replaced. Returns 0, or -1 with errno.
int OsPutInPlace(const char *from, const char *to);

// Removes a file or a link; there may be none.
void OsRemoveFile(const char *path);
