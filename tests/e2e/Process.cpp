#include "tests/e2e/Process.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

static void MakePipe(int ends[2])
{
    if (pipe2(ends, O_CLOEXEC) != 0) throw Failure(std::string("pipe: ") + strerror(errno));
}

static std::vector<char *> Pointers(std::vector<std::string> *texts)
{
    std::vector<char *> pointers;
    for (std::string &text : *texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

Process::Process(const ProcessOptions &options)
{
    std::vector<std::string> arguments = options.arguments;
    std::vector<std::string> environment;
    for (char **entry = environ; *entry; entry++) {
        const std::string name(*entry, strcspn(*entry, "="));
        if (options.environment.count(name) == 0) environment.push_back(*entry);
    }
    for (const auto &entry : options.environment) environment.push_back(entry.first + "=" + entry.second);
    const std::vector<char *> argv = Pointers(&arguments);
    const std::vector<char *> envp = Pointers(&environment);

    int input[2], output[2], errors[2];
    MakePipe(input);
    MakePipe(output);
    MakePipe(errors);
    pid_ = fork();
    if (pid_ == 0) { // other threads may have held any lock: system calls only
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        setpgid(0, 0);
        dup2(input[0], STDIN_FILENO);
        dup2(output[1], STDOUT_FILENO);
        dup2(errors[1], STDERR_FILENO);
        if (options.closeInput) close(STDIN_FILENO);
        close_range(STDERR_FILENO + 1, ~0u, 0); // the program inherits no other descriptor
        if (options.folder.empty() || chdir(options.folder.c_str()) == 0) execve(argv[0], argv.data(), envp.data());
        _exit(127);
    }
    close(input[0]);
    close(output[1]);
    close(errors[1]);
    input_ = input[1];
    output_ = output[0];
    errors_ = errors[0];
    if (pid_ < 0) throw Failure(std::string("fork: ") + strerror(errno));
    setpgid(pid_, pid_);                                          // whoever comes first
    handle_ = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)); // closed on exec by itself
}

Process::~Process()
{
    if (pid_ > 0 && !status_) {
        kill(-pid_, SIGKILL);
        WaitExit(kPatience);
    }
    close(handle_);
    close(input_);
}

void Process::Write(const std::string &text)
{
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = write(input_, text.data() + done, text.size() - done);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) throw Failure(std::string("the program takes no input: ") + strerror(errno));
        done += static_cast<size_t>(count);
    }
}

void Process::Signal(int number)
{
    if (kill(pid_, number) != 0) throw Failure(std::string("kill: ") + strerror(errno));
}

std::optional<int> Process::WaitExit(double seconds)
{
    if (status_) return status_;
    struct pollfd ended = {handle_, POLLIN, 0};
    if (poll(&ended, 1, static_cast<int>(seconds * 1000)) != 1) return std::nullopt;
    int status = 0;
    kill(-pid_, SIGKILL); // what it left behind; its number is ours until it is waited for
    if (waitpid(pid_, &status, 0) != pid_) return std::nullopt;
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return status_;
}

Lines::Lines(int fd) : reader_(&Lines::Read, this, fd) {}

Lines::~Lines()
{
    reader_.join();
}

void Lines::Read(int fd)
{
    std::string rest;
    char part[16384];
    for (;;) {
        const ssize_t count = read(fd, part, sizeof part);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        rest.append(part, static_cast<size_t>(count));
        std::lock_guard<std::mutex> guard(lock_);
        size_t begin = 0;
        for (size_t end; (end = rest.find('\n', begin)) != std::string::npos; begin = end + 1)
            lines_.push_back(rest.substr(begin, end - begin));
        rest.erase(0, begin);
        changed_.notify_all();
    }
    close(fd);
    std::lock_guard<std::mutex> guard(lock_);
    if (!rest.empty()) lines_.push_back(rest);
    ended_ = true;
    changed_.notify_all();
}

std::optional<size_t> Lines::Find(size_t from, double seconds, const std::function<bool(const std::string &)> &wanted)
{
    const auto limit = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    std::unique_lock<std::mutex> guard(lock_);
    for (;;) {
        for (; from < lines_.size(); from++)
            if (wanted(lines_[from])) return from;
        if (ended_ || changed_.wait_until(guard, limit) == std::cv_status::timeout) {
            for (; from < lines_.size(); from++)
                if (wanted(lines_[from])) return from;
            return std::nullopt;
        }
    }
}

std::string Lines::At(size_t number)
{
    std::lock_guard<std::mutex> guard(lock_);
    return lines_.at(number);
}

std::vector<std::string> Lines::All()
{
    std::lock_guard<std::mutex> guard(lock_);
    return lines_;
}

size_t Lines::Count()
{
    std::lock_guard<std::mutex> guard(lock_);
    return lines_.size();
}

bool Lines::WaitEnd(double seconds)
{
    std::unique_lock<std::mutex> guard(lock_);
    return changed_.wait_for(guard, std::chrono::duration<double>(seconds), [this] { return ended_; });
}
