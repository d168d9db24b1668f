#include "simulator/console/Console.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace sim
{

static const size_t kMaxPendingLines = 1000;

// SIGINT and SIGTERM as a descriptor: they end the loop between two events, not inside one.
static int CatchEndSignals()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    signal(SIGPIPE, SIG_IGN);
    return signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
}

// A thousand agents need more descriptors than a process may open by default.
static void RaiseDescriptorLimit()
{
    struct rlimit limit;
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

static bool UseColour(const ConsoleOptions &options)
{
    if (options.colour != "auto") return options.colour == "always";
    return isatty(STDOUT_FILENO) && !getenv("NO_COLOR");
}

Console::Console(const ConsoleOptions &options)
    : options_(options), journal_({options.json, UseColour(options), options.quiet, options.hex},
                                  [this](const std::string &text) { Write(text); })
{
}

Console::~Console()
{
    prompt_.reset();
    reader_.reset();
    if (signals_ >= 0) close(signals_);
    if (script_ > STDIN_FILENO) close(script_);
    if (log_) fclose(log_);
}

bool Console::Open()
{
    const bool standardInput = options_.script.empty() || options_.script == "-";
    script_ = standardInput ? STDIN_FILENO : open(options_.script.c_str(), O_RDONLY | O_CLOEXEC);
    if (script_ < 0) {
        fprintf(stderr, "plugsim: cannot read %s: %s\n", options_.script.c_str(), strerror(errno));
        return false;
    }
    if (!options_.log.empty()) {
        log_ = fopen(options_.log.c_str(), "we");
        if (!log_) {
            fprintf(stderr, "plugsim: cannot write %s: %s\n", options_.log.c_str(), strerror(errno));
            return false;
        }
        setlinebuf(log_);
        journal_.AlsoTo([this](const std::string &line) { fputs(line.c_str(), log_); });
    }
    signals_ = CatchEndSignals();
    RaiseDescriptorLimit();
    return true;
}

void Console::Write(const std::string &text)
{
    if (prompt_)
        prompt_->Print(text);
    else if (fputs(text.c_str(), stdout) < 0 || fflush(stdout) != 0)
        Finish(EXIT_CHECK_FAILED); // nobody would see later errors
    if (runner_) runner_->Wake();
}

void Console::Finish(int status)
{
    status_ = status;
    loop_.Stop();
}

void Console::StartReading(const Interpreter &interpreter, const std::function<bool()> &busy)
{
    const bool scripted = !options_.script.empty();
    // One that a shell has put into the background may not read the terminal: it would be stopped.
    const pid_t foreground = tcgetpgrp(STDIN_FILENO); // -1: no terminal, or not the one of our session
    const bool background = !scripted && foreground >= 0 && foreground != getpgrp();
    const bool promptWanted =
        !scripted && !background && options_.prompt && isatty(STDIN_FILENO) && isatty(STDOUT_FILENO);
    RunnerRules rules;
    rules.interactive = promptWanted;
    rules.strict = scripted;
    rules.exitAtEnd = options_.atEnd.empty() ? scripted : options_.atEnd == "exit";
    // In scripts only: lines that people type or programs send may contain any text.
    const auto run = [this, scripted, &interpreter](const Words &words) {
        Words replaced = words;
        std::string error;
        if (scripted && !commands_.values.Expand(journal_.Log().Taken(), &replaced, &error))
            return Outcome::Fail(error);
        return interpreter.Run(replaced);
    };
    runner_ = std::make_unique<Runner>(&loop_, &journal_, rules, run, busy, [this](int status) { Finish(status); });
    const auto line = [this](const std::string &text) { runner_->AddLine(text); };
    if (promptWanted)
        prompt_ = std::make_unique<Prompt>(
            &loop_, line, [this] { Finish(EXIT_OK); },
            [&](const Words &before) { return interpreter.Completions(before); });
    else if (!background)
        reader_ = std::make_unique<LineReader>(
            &loop_, script_, line, [this] { runner_->EndOfLines(); },
            [this] { return runner_->Pending() < kMaxPendingLines; });
}

// Ctrl-C at the prompt ends what is under way there, as people expect from a prompt; everywhere else it ends the tool.
void Console::SignalCame()
{
    struct signalfd_siginfo info;
    while (read(signals_, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
        if (info.ssi_signo != SIGINT || !prompt_) {
            loop_.Stop();
            continue;
        }
        const bool dropped = prompt_->DropLine();
        if (!runner_->Interrupt() && !dropped) prompt_->Print("Ctrl-D or \"quit\" ends plugsim.\n");
    }
}

int Console::Run(const Interpreter &interpreter, const std::function<bool()> &busy)
{
    StartReading(interpreter, busy);
    loop_.Watch(signals_, POLLIN, [this](short) { SignalCame(); });
    loop_.Run();

    if (status_ == EXIT_OK && (journal_.Faults() > 0 || runner_->Failures() > 0)) status_ = EXIT_CHECK_FAILED;
    prompt_.reset();
    journal_.Emit("exit",
                  {NumberField("status", status_), NumberField("faults", static_cast<int64_t>(journal_.Faults())),
                   NumberField("failures", static_cast<int64_t>(runner_->Failures()))});
    return status_;
}

} // namespace sim
