// Md5Bench.cpp - how fast the digest of a downloaded file is computed, compared with `openssl dgst -md5`.
//
//   md5_bench [MEGABYTES [TURNS]]
//
// Both are separate programs that compute the digest of the same file, which is in memory by then. Measured is
// the whole time from their start to their end. They take turns.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Figures.h"
#include "plugin/PlugUpdate.h"

static const double kLeastOfOther = 0.9;

static double Milliseconds()
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

// The time of one run, -1 when it failed; its output goes to `output`, of which the first line is kept.
static double Run(const std::vector<const char *> &arguments, std::string *output)
{
    std::vector<char *> argv;
    for (const char *argument : arguments) argv.push_back(const_cast<char *>(argument));
    argv.push_back(nullptr);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) abort();
    const double begin = Milliseconds();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    pid_t child;
    const bool started = posix_spawnp(&child, argv[0], &actions, nullptr, argv.data(), environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    int status = -1;
    if (started) waitpid(child, &status, 0);
    const double took = Milliseconds() - begin;
    close(ends[1]);
    char text[512] = {};
    const ssize_t count = read(ends[0], text, sizeof text - 1);
    close(ends[0]);
    *output = count > 0 ? std::string(text, strcspn(text, "\n")) : "";
    return status == 0 ? took : -1;
}

static void MakeFile(int fd, int megabytes)
{
    std::vector<unsigned char> block(1 << 20);
    unsigned seed = 1;
    for (int i = 0; i < megabytes; i++) {
        for (unsigned char &byte : block) byte = static_cast<unsigned char>((seed = seed * 1103515245 + 12345) >> 16);
        if (write(fd, block.data(), block.size()) != static_cast<ssize_t>(block.size())) {
            perror("md5_bench: the file");
            exit(1);
        }
    }
}

static int Digest(const char *path)
{
    char digest[kMd5TextSize];
    if (Compute_file_md5(path, digest) != 0) return 1;
    puts(digest);
    return 0;
}

int main(int argc, char *argv[])
{
    if (argc == 3 && strcmp(argv[1], "--digest") == 0) return Digest(argv[2]);
    const int megabytes = argc > 1 ? atoi(argv[1]) : 100;
    const int turns = argc > 2 ? atoi(argv[2]) : 15;
    if (megabytes < 1 || turns < 1) {
        fprintf(stderr, "usage: md5_bench [MEGABYTES [TURNS]]\n");
        return 2;
    }
    char path[] = "/tmp/md5-bench-XXXXXX";
    const int fd = mkstemp(path);
    if (fd < 0) return 1;
    MakeFile(fd, megabytes);
    close(fd);

    std::vector<double> ours, others;
    std::string our, other;
    bool alike = true;
    for (int i = -1; i < turns; i++) { // the first turn does not count
        const double own = Run({"/proc/self/exe", "--digest", path}, &our);
        const double theirs = Run({"openssl", "dgst", "-md5", path}, &other);
        if (own < 0 || theirs < 0) {
            fprintf(stderr, "md5_bench: %s failed\n", own < 0 ? "our own program" : "openssl");
            unlink(path);
            return 77;
        }
        alike = alike && our.size() == 32 && other.size() > 32 && other.substr(other.size() - 32) == our;
        if (i < 0) continue;
        ours.push_back(own);
        others.push_back(theirs);
    }
    unlink(path);
    if (!alike) {
        fprintf(stderr, "md5_bench: different digests: \"%s\", \"%s\"\n", our.c_str(), other.c_str());
        return 1;
    }
    const double own = Quantile(ours, 0.5), theirs = Quantile(others, 0.5);
    const double share = theirs / own;
    printf("digest of %d MB: agent's code %.0f ms (%.0f MB/s), openssl %.0f ms (%.0f MB/s), medians of %d\n", megabytes,
           own, megabytes / own * 1e3, theirs, megabytes / theirs * 1e3, turns);
    PrintFigure(Format("MD5 of a file of %d MB, speed over `openssl dgst -md5`, medians", megabytes),
                Format("at least %.0f %%", kLeastOfOther * 100),
                Format("%.0f %% (%.0f / %.0f MB/s)", share * 100, megabytes / own * 1e3, megabytes / theirs * 1e3),
                share >= kLeastOfOther);
    return 0;
}
