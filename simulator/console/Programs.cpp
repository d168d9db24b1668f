#include "simulator/console/Programs.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace sim
{

static const size_t kMaxLine = 65536;
static const int kEndMs = 5000; // for a program to end after SIGTERM, when plugsim ends

// Drops the signals that are waiting in a descriptor.
static void Drain(int signals)
{
    signalfd_siginfo info;
    while (read(signals, &info, sizeof info) > 0) {
    }
}

// In the child: never returns.
static void Become(const Words &command, int input, int output)
{
    setsid();
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr); // the console blocks what it reads as a descriptor
    signal(SIGPIPE, SIG_DFL);
    std::vector<char *> arguments;
    for (const std::string &word : command) arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    dprintf(STDERR_FILENO, "cannot run %s: %s\n", arguments[0], strerror(errno));
    _exit(127);
}

bool Programs::Start(const std::string &name, const Words &command, std::string *error)
{
    if (running_.count(name)) {
        *error = "'" + name + "' runs already";
        return false;
    }
    int input[2], output[2];
    if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) {
        *error = strerror(errno);
        return false;
    }
    if (ends_ < 0) {
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, SIGCHLD);
        sigprocmask(SIG_BLOCK, &set, nullptr);
        ends_ = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
        loop_->Watch(ends_, POLLIN, [this](short) { SomeEnded(); });
    }
    const pid_t pid = fork();
    if (pid == 0) Become(command, input[0], output[1]);
    close(input[0]);
    close(output[1]);
    const Program program = {pid, input[1], output[0], ""};
    if (pid < 0) {
        *error = std::string("cannot start it: ") + strerror(errno);
        Close(program);
        return false;
    }
    fcntl(output[0], F_SETFL, O_NONBLOCK);
    running_[name] = program;
    journal_->Emit("started", {TextField("program", name), NumberField("pid", pid)});
    loop_->Watch(output[0], POLLIN, [this, name](short) { Read(name); });
    return true;
}

Programs::Program *Programs::Find(const std::string &name, std::string *error)
{
    const auto found = running_.find(name);
    if (found != running_.end()) return &found->second;
    *error = "no '" + name + "' is running";
    return nullptr;
}

bool Programs::Tell(const std::string &name, const std::string &line, std::string *error)
{
    const Program *program = Find(name, error);
    if (!program) return false;
    const std::string text = line + "\n";
    if (write(program->input, text.data(), text.size()) == static_cast<ssize_t>(text.size())) return true;
    *error = "'" + name + "' does not read";
    return false;
}

bool Programs::Stop(const std::string &name, std::string *error)
{
    const Program *program = Find(name, error);
    return program && kill(program->pid, SIGTERM) == 0;
}

void Programs::Read(const std::string &name)
{
    Program &program = running_.at(name);
    char buffer[4096];
    ssize_t count;
    while ((count = read(program.output, buffer, sizeof buffer)) > 0) {
        program.partial.append(buffer, static_cast<size_t>(count));
        size_t newline;
        while ((newline = program.partial.find('\n')) != std::string::npos || program.partial.size() > kMaxLine) {
            Line(name, program.partial.substr(0, newline));
            program.partial.erase(0, newline == std::string::npos ? newline : newline + 1);
        }
    }
    if (count == 0) loop_->Unwatch(program.output);
}

void Programs::Line(const std::string &name, const std::string &line)
{
    Fields fields = {TextField("program", name), TextField("text", line)};
    Field json;
    if (!line.empty() && line[0] == '{' && FieldFromJson("json", line, &json)) fields.push_back(json);
    journal_->Emit("output", fields);
}

void Programs::SomeEnded()
{
    Drain(ends_);
    std::map<std::string, int> ended; // one signal may stand for several programs
    int status;
    for (const auto &entry : running_)
        if (waitpid(entry.second.pid, &status, WNOHANG) == entry.second.pid) ended[entry.first] = status;
    for (const auto &entry : ended) Ended(entry.first, entry.second);
}

void Programs::Ended(const std::string &name, int status)
{
    Read(name); // its last output
    const Program program = running_.at(name);
    if (!program.partial.empty()) Line(name, program.partial);
    Close(program);
    running_.erase(name);
    const bool killed = WIFSIGNALED(status);
    const Field end = killed ? NumberField("signal", WTERMSIG(status)) : NumberField("status", WEXITSTATUS(status));
    journal_->Emit("ended", {TextField("program", name), end});
}

void Programs::Close(const Program &program)
{
    for (const int fd : {program.input, program.output}) {
        loop_->Unwatch(fd);
        close(fd);
    }
}

Programs::~Programs()
{
    for (const auto &entry : running_) {
        kill(entry.second.pid, SIGTERM); // it may not have its own session yet
        kill(-entry.second.pid, SIGTERM);
    }
    const int64_t patience = Loop::NowMs() + kEndMs;
    for (const auto &entry : running_) {
        while (waitpid(entry.second.pid, nullptr, WNOHANG) == 0) {
            pollfd some = {ends_, POLLIN, 0};
            if (Loop::NowMs() >= patience) kill(-entry.second.pid, SIGKILL);
            poll(&some, 1, static_cast<int>(std::max<int64_t>(patience - Loop::NowMs(), 100)));
            Drain(ends_);
        }
        Close(entry.second);
    }
    if (ends_ >= 0) {
        loop_->Unwatch(ends_);
        close(ends_);
    }
}

} // namespace sim
