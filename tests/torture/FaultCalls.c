// FaultCalls.c - the calls of the C library that can go wrong (see Fault.c). The router library's are generated.
#define _GNU_SOURCE
#undef _FORTIFY_SOURCE // the replaced calls must be the plain ones here
#include "Fault.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <spawn.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#pragma GCC visibility push(default)

#define DECIDE(kind, name) FaultDecide(FAULT_##kind, #name, __builtin_return_address(0))

// The next library's procedure, looked up once. Two threads that do so at the same time find the same.
#define REAL(name, result, ...)                                                                                        \
    static result (*s_real)(__VA_ARGS__);                                                                              \
    result (*real)(__VA_ARGS__) = __atomic_load_n(&s_real, __ATOMIC_RELAXED);                                          \
    if (!real) {                                                                                                       \
        real = (result(*)(__VA_ARGS__))FaultReal(#name);                                                               \
        __atomic_store_n(&s_real, real, __ATOMIC_RELAXED);                                                             \
    }

// Leaves the call with the error that belongs to the decision.
#define FAIL_AS(decision, error)                                                                                       \
    switch (decision) {                                                                                                \
    case FAULT_FAIL: errno = (error); return -1;                                                                       \
    case FAULT_INTERRUPT: errno = EINTR; return -1;                                                                    \
    case FAULT_AGAIN: errno = EAGAIN; return -1;                                                                       \
    default: break;                                                                                                    \
    }

// ---- Memory. The C library's own names of these need no look-up, which would itself take memory.

void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
void __libc_free(void *block);

static void *Counted(void *block)
{
    if (block) FaultBlocks(1);
    return block;
}

static void *OutOfMemory(void)
{
    errno = ENOMEM;
    return NULL;
}

void *malloc(size_t size)
{
    return DECIDE(malloc, malloc) == FAULT_FAIL ? OutOfMemory() : Counted(__libc_malloc(size));
}

void *calloc(size_t count, size_t size)
{
    return DECIDE(malloc, calloc) == FAULT_FAIL ? OutOfMemory() : Counted(__libc_calloc(count, size));
}

void *realloc(void *block, size_t size)
{
    if (DECIDE(malloc, realloc) == FAULT_FAIL) return OutOfMemory();
    void *const moved = __libc_realloc(block, size);
    if (!block && moved) FaultBlocks(1);
    if (block && !moved && size == 0) FaultBlocks(-1);
    return moved;
}

void free(void *block)
{
    if (block) FaultBlocks(-1);
    __libc_free(block);
}

// ---- Bytes

static size_t Part(int decision, size_t size)
{
    return decision == FAULT_SHORT && size > 1 ? size / 2 : size;
}

ssize_t send(int fd, const void *data, size_t size, int flags)
{
    REAL(send, ssize_t, int, const void *, size_t, int)
    const int decision = DECIDE(send, send);
    FAIL_AS(decision, ECONNRESET)
    return real(fd, data, Part(decision, size), flags);
}

ssize_t recv(int fd, void *data, size_t size, int flags)
{
    REAL(recv, ssize_t, int, void *, size_t, int)
    const int decision = DECIDE(recv, recv);
    FAIL_AS(decision, ECONNRESET)
    return real(fd, data, Part(decision, size), flags);
}

ssize_t read(int fd, void *data, size_t size)
{
    REAL(read, ssize_t, int, void *, size_t)
    const int decision = DECIDE(read, read);
    FAIL_AS(decision, EIO)
    return real(fd, data, Part(decision, size));
}

ssize_t write(int fd, const void *data, size_t size)
{
    REAL(write, ssize_t, int, const void *, size_t)
    const int decision = DECIDE(write, write);
    FAIL_AS(decision, ENOSPC)
    return real(fd, data, Part(decision, size));
}

ssize_t pwrite(int fd, const void *data, size_t size, off_t at)
{
    REAL(pwrite, ssize_t, int, const void *, size_t, off_t)
    const int decision = DECIDE(write, pwrite);
    FAIL_AS(decision, ENOSPC)
    return real(fd, data, Part(decision, size), at);
}

// ---- Files

int open(const char *path, int flags, ...)
{
    REAL(open, int, const char *, int, ...)
    va_list more;
    va_start(more, flags);
    const mode_t mode = flags & (O_CREAT | O_TMPFILE) ? va_arg(more, mode_t) : 0;
    va_end(more);
    FAIL_AS(DECIDE(open, open), EMFILE)
    return real(path, flags, mode);
}

// Calls that take what they are given and return -1 when they fail.
#define SIMPLE(kind, name, error, parameters, arguments, ...)                                                          \
    int name parameters                                                                                                \
    {                                                                                                                  \
        REAL(name, int, __VA_ARGS__)                                                                                   \
        FAIL_AS(DECIDE(kind, name), error)                                                                             \
        return real arguments;                                                                                         \
    }

SIMPLE(rename, rename, EACCES, (const char *from, const char *to), (from, to), const char *, const char *)
SIMPLE(unlink, unlink, EACCES, (const char *path), (path), const char *)
SIMPLE(stat, fstat, EIO, (int fd, struct stat *status), (fd, status), int, struct stat *)
SIMPLE(stat, lstat, EACCES, (const char *path, struct stat *status), (path, status), const char *, struct stat *)
SIMPLE(file, chmod, EPERM, (const char *path, mode_t mode), (path, mode), const char *, mode_t)
SIMPLE(file, fchmod, EPERM, (int fd, mode_t mode), (fd, mode), int, mode_t)
SIMPLE(file, ftruncate, EIO, (int fd, off_t size), (fd, size), int, off_t)

off_t lseek(int fd, off_t at, int whence)
{
    REAL(lseek, off_t, int, off_t, int)
    FAIL_AS(DECIDE(file, lseek), EIO)
    return real(fd, at, whence);
}

ssize_t readlinkat(int folder, const char *path, char *text, size_t size)
{
    REAL(readlinkat, ssize_t, int, const char *, char *, size_t)
    FAIL_AS(DECIDE(file, readlinkat), EIO)
    return real(folder, path, text, size);
}

FILE *fdopen(int fd, const char *mode)
{
    REAL(fdopen, FILE *, int, const char *)
    return DECIDE(file, fdopen) == FAULT_FAIL ? OutOfMemory() : real(fd, mode);
}

// ---- Sockets

SIMPLE(socket, socket, EMFILE, (int domain, int type, int protocol), (domain, type, protocol), int, int, int)
SIMPLE(bind, bind, EADDRINUSE, (int fd, const struct sockaddr *name, socklen_t size), (fd, name, size), int,
       const struct sockaddr *, socklen_t)
SIMPLE(listen, listen, EADDRINUSE, (int fd, int backlog), (fd, backlog), int, int)
SIMPLE(accept, accept4, EMFILE, (int fd, struct sockaddr *name, socklen_t *size, int flags), (fd, name, size, flags),
       int, struct sockaddr *, socklen_t *, int)
SIMPLE(connect, connect, ECONNREFUSED, (int fd, const struct sockaddr *name, socklen_t size), (fd, name, size), int,
       const struct sockaddr *, socklen_t)
SIMPLE(option, setsockopt, ENOBUFS, (int fd, int level, int option, const void *value, socklen_t size),
       (fd, level, option, value, size), int, int, int, const void *, socklen_t)
SIMPLE(option, getsockopt, ENOBUFS, (int fd, int level, int option, void *value, socklen_t *size),
       (fd, level, option, value, size), int, int, int, void *, socklen_t *)
SIMPLE(poll, poll, ENOMEM, (struct pollfd * watched, nfds_t count, int limit), (watched, count, limit), struct pollfd *,
       nfds_t, int)

int ioctl(int fd, unsigned long request, ...)
{
    REAL(ioctl, int, int, unsigned long, ...)
    va_list more;
    va_start(more, request);
    void *const argument = va_arg(more, void *);
    va_end(more);
    FAIL_AS(DECIDE(option, ioctl), ENOTTY)
    return real(fd, request, argument);
}

int fcntl(int fd, int command, ...)
{
    REAL(fcntl, int, int, int, ...)
    va_list more;
    va_start(more, command);
    void *const argument = va_arg(more, void *);
    va_end(more);
    FAIL_AS(DECIDE(option, fcntl), EINVAL)
    return real(fd, command, argument);
}

// ---- Threads and programs

SIMPLE(pipe, pipe2, EMFILE, (int ends[2], int flags), (ends, flags), int *, int)

int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*body)(void *), void *argument)
{
    REAL(pthread_create, int, pthread_t *, const pthread_attr_t *, void *(*)(void *), void *)
    if (DECIDE(thread, pthread_create) == FAULT_FAIL) return EAGAIN;
    return real(thread, attributes, body, argument);
}

int posix_spawn(pid_t *child, const char *path, const posix_spawn_file_actions_t *actions,
                const posix_spawnattr_t *attributes, char *const arguments[], char *const environment[])
{
    REAL(posix_spawn, int, pid_t *, const char *, const posix_spawn_file_actions_t *, const posix_spawnattr_t *,
         char *const[], char *const[])
    if (DECIDE(spawn, posix_spawn) == FAULT_FAIL) return EAGAIN;
    return real(child, path, actions, attributes, arguments, environment);
}
