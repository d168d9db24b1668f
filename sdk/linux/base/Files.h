// Files.h - whole files: read with a limit, written whole or not at all.
// Threads:  any; nothing is remembered.
#pragma once

#include <cstddef>

// Reads a file of at most `size` - 1 bytes and terminates it. Returns its length; -1 with errno if it cannot be read, is
// no regular file, or is longer (EFBIG). Files of /proc and /sys count as regular.
long ReadFile(const char *path, char *buffer, size_t size);

// Reads the first line of a short file without its newline. False leaves `line` empty.
bool ReadLine(const char *path, char *line, size_t size);

// Writes `length` bytes as the whole file `path`, through PATH.new beside it, which reaches the disk before it is
// renamed. On failure the old file is as it was, PATH.new is gone, and errno says why.
bool WriteFileWhole(const char *path, const char *data, size_t length, unsigned mode);

// Makes the folder of the file `path`, mode 0755, if it is missing and its own folder is there. Whether it worked is seen
// when the file is written.
void MakeFolderOf(const char *path);

// Writes a short text into an existing file, such as one of /proc/sys. Returns false if that fails.
bool WriteSetting(const char *path, const char *text);
