#include "simulator/PlatformMain.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "simulator/Commands.h"
#include "simulator/Prompt.h"

namespace sim
{

static const size_t kMostPendingLines = 1000;

// SIGINT and SIGTERM as a descriptor, so that they end the loop between two events and not inside one.
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

static bool UseColour(const PlatformOptions &options)
{
    if (options.colour != "auto") return options.colour == "always";
    return isatty(STDOUT_FILENO) && !getenv("NO_COLOR");
}

static int OpenScript(const PlatformOptions &options)
{
    if (options.script.empty() || options.script == "-") return STDIN_FILENO;
    return open(options.script.c_str(), O_RDONLY | O_CLOEXEC);
}

int RunPlatform(const PlatformOptions &options)
{
    const int scriptFd = OpenScript(options);
    if (scriptFd < 0) {
        fprintf(stderr, "plugsim: cannot read %s: %s\n", options.script.c_str(), strerror(errno));
        return EXIT_USAGE;
    }
    const int signals = CatchEndSignals();
    Loop loop;
    std::unique_ptr<Prompt> prompt;
    std::unique_ptr<Runner> runner;
    int status = EXIT_OK;
    const auto finish = [&](int wanted) {
        status = wanted;
        loop.Stop();
    };

    const bool scripted = !options.script.empty();
    const bool promptWanted = !scripted && options.prompt && isatty(STDIN_FILENO) && isatty(STDOUT_FILENO);
    Journal journal({options.json, UseColour(options), options.quiet}, [&](const std::string &text) {
        if (prompt)
            prompt->Print(text);
        else if (fputs(text.c_str(), stdout) < 0 || fflush(stdout) != 0)
            finish(EXIT_CHECK_FAILED); // nobody would see what goes wrong from here on
        if (runner) runner->Wake();
    });
    Platform platform(options, &loop, &journal);
    std::string error;
    if (!platform.Start(&error)) {
        fprintf(stderr, "plugsim: %s\n", error.c_str());
        return EXIT_CANNOT_LISTEN;
    }

    CommandContext context = {&platform, &journal, options.waitTimeoutMs};
    RunnerRules rules;
    rules.interactive = promptWanted;
    rules.strict = scripted;
    rules.exitAtEnd = options.atEnd.empty() ? scripted : options.atEnd == "exit";
    runner = std::make_unique<Runner>(
        &loop, &journal, rules, [&](const Words &words) { return RunCommand(words, &context); },
        [&] { return platform.Busy(); }, finish);

    std::unique_ptr<LineReader> reader;
    if (promptWanted)
        prompt = std::make_unique<Prompt>(
            &loop, [&](const std::string &line) { runner->AddLine(line); }, [&] { finish(EXIT_OK); });
    else
        reader = std::make_unique<LineReader>(
            &loop, scriptFd, [&](const std::string &line) { runner->AddLine(line); }, [&] { runner->EndOfLines(); },
            [&] { return runner->Pending() < kMostPendingLines; });
    loop.Watch(signals, POLLIN, [&](short) { loop.Stop(); });
    loop.Run();

    if (status == EXIT_OK && (journal.Faults() > 0 || runner->Failures() > 0)) status = EXIT_CHECK_FAILED;
    prompt.reset();
    journal.Emit("exit", {NumberField("status", status), NumberField("faults", static_cast<int64_t>(journal.Faults())),
                          NumberField("failures", static_cast<int64_t>(runner->Failures()))});
    close(signals);
    if (scriptFd != STDIN_FILENO) close(scriptFd);
    return status;
}

} // namespace sim
