#include "tests/support/Terminal.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <pty.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/Within.h"

using Clock = std::chrono::steady_clock;

Terminal::Terminal(const std::vector<std::string> &command)
{
    struct winsize size = {};
    size.ws_row = 40;
    size.ws_col = 200; // no line is broken
    pid_ = forkpty(&fd_, nullptr, nullptr, &size);
    if (pid_ < 0) throw std::runtime_error(std::string("no pseudo terminal: ") + strerror(errno));
    if (pid_ > 0) return;
    setenv("TERM", "dumb", 1);
    std::vector<char *> words;
    for (const std::string &word : command) {
        if (words.empty() && word.find('=') != std::string::npos)
            putenv(const_cast<char *>(word.c_str()));
        else
            words.push_back(const_cast<char *>(word.c_str()));
    }
    words.push_back(nullptr);
    execvp(words[0], words.data());
    _exit(127);
}

Terminal::~Terminal()
{
    if (pid_ > 0) {
        kill(-pid_, SIGKILL);
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    close(fd_);
}

void Terminal::Type(const std::string &keys)
{
    for (size_t done = 0; done < keys.size();) {
        const ssize_t count = write(fd_, keys.data() + done, keys.size() - done);
        if (count < 0 && errno != EINTR) throw std::runtime_error(std::string("cannot type: ") + strerror(errno));
        if (count > 0) done += static_cast<size_t>(count);
    }
}

// Waits for more to be shown. False when nothing comes within `seconds`, or when nobody holds the terminal any more.
bool Terminal::Read(double seconds)
{
    struct pollfd one = {fd_, POLLIN, 0};
    if (poll(&one, 1, static_cast<int>(seconds * 1000)) <= 0) return false;
    char buffer[4096];
    const ssize_t count = read(fd_, buffer, sizeof buffer);
    if (count <= 0) return false;
    shown_.append(buffer, static_cast<size_t>(count));
    return true;
}

bool Terminal::Shows(const std::string &text, double seconds)
{
    const auto until = Clock::now() + std::chrono::duration<double>(seconds);
    size_t at;
    while ((at = shown_.find(text, seen_)) == std::string::npos) {
        const double left = std::chrono::duration<double>(until - Clock::now()).count();
        if (left <= 0 || !Read(left)) return false;
    }
    seen_ = at + text.size();
    return true;
}

int Terminal::End(double seconds)
{
    int status = -1;
    const bool ended = Within(seconds, [&] {
        Read(0); // or the program waits for room
        return waitpid(pid_, &status, WNOHANG) == pid_;
    });
    if (!ended) return -1;
    while (Read(0)) {
    }
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
