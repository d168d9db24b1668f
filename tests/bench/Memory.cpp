#include "Memory.h"

#include <csignal>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Link.h"

static void TouchEveryPage(const std::string &file)
{
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status;
    if (fd < 0 || fstat(fd, &status) != 0) _exit(1);
    const size_t size = static_cast<size_t>(status.st_size);
    void *const pages = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
    if (pages == MAP_FAILED) _exit(1);
    for (size_t at = 0; at < size; at += 4096) (void)static_cast<const volatile char *>(pages)[at];
    close(fd);
}

Neighbour::Neighbour(const std::vector<std::string> &files)
{
    int ready[2];
    if (pipe(ready) != 0) Fail("no pipe to be had");
    mPid = fork();
    if (mPid < 0) Fail("cannot start a process");
    if (mPid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (const std::string &file : files) TouchEveryPage(file);
        if (write(ready[1], "", 1) != 1) _exit(1);
        for (;;) pause();
    }
    close(ready[1]);
    char byte;
    if (read(ready[0], &byte, 1) != 1) Fail("the neighbour cannot map the libraries");
    close(ready[0]);
}

Neighbour::~Neighbour()
{
    kill(mPid, SIGKILL);
    waitpid(mPid, nullptr, 0);
}
