// Commands, in place of os/posix/OsCommand.cpp. Nothing is ever run.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>
#include <unistd.h>

#include "os/OsCommand.h"
#include "os/OsWait.h"
#include "tests/fakes/FakeOs.h"

namespace
{

struct Run {
    const OsCommand *command;
    std::string text;
    FakeScript script;
    size_t read = 0; // bytes of the output that have been read
    bool killed = false;
};

// Guards what follows; woken when a run is killed or told to end.
OsWaiter s_commands;
std::vector<std::pair<std::string, FakeScript>> s_scripts;
std::vector<std::string> s_texts;
std::deque<Run> s_runs; // what is running
int s_most;

bool Begins(const std::string &text, const std::string &beginning)
{
    return text.compare(0, beginning.size(), beginning) == 0;
}

Run *Find(const OsCommand *command)
{
    for (Run &run : s_runs)
        if (run.command == command) return &run;
    return nullptr;
}

// "killall -9 NAME" kills what is running under that name.
void KillAll(const std::string &text)
{
    const std::string killAll = "killall -9 ";
    if (!Begins(text, killAll)) return;
    for (Run &run : s_runs)
        if (Begins(run.text, text.substr(killAll.size()) + " ")) run.killed = true;
    OsWakeAll(&s_commands);
}

int Start(OsCommand *command, const char *text)
{
    FakeScript script;
    {
        OsGuard guard(&s_commands);
        if (command->stopped) {
            errno = ECANCELED;
            return -1;
        }
        s_texts.push_back(text);
        for (const auto &entry : s_scripts)
            if (Begins(text, entry.first)) script = entry.second;
        if (script.cannotStart) {
            errno = EAGAIN;
            return -1;
        }
        s_runs.push_back({command, text, script});
        s_most = std::max(s_most, static_cast<int>(s_runs.size()));
        KillAll(text);
    }
    if (script.run) script.run();
    return 0;
}

// Waits until a run that lasts is killed or told to end, or until the deadline. With the lock held.
void AwaitEnd(const OsCommand *command, int64_t deadlineMs = OS_FOREVER)
{
    const Run *run;
    while ((run = Find(command)) && run->script.lasts && !run->killed)
        if (!OsWaitUntil(&s_commands, deadlineMs)) return;
}

void Forget(const OsCommand *command)
{
    s_runs.erase(std::find_if(s_runs.begin(), s_runs.end(), [=](const Run &run) { return run.command == command; }));
}

} // namespace

void OsCommandReady(OsCommand *command)
{
    OsGuard guard(&s_commands);
    command->stopped = false;
}

int OsCommandRunInto(OsCommand *command, const char *text, int output)
{
    if (Start(command, text) != 0) return -1;
    OsGuard guard(&s_commands);
    const std::string &printed = Find(command)->script.output;
    if (output >= 0 && write(output, printed.data(), printed.size()) != static_cast<ssize_t>(printed.size())) abort();
    AwaitEnd(command);
    const int status = Find(command)->killed ? 128 + 9 : Find(command)->script.status;
    Forget(command);
    return status;
}

int OsCommandRun(OsCommand *command, const char *text)
{
    return OsCommandRunInto(command, text, -1);
}

int OsRun(const char *text)
{
    OsCommand command;
    return OsCommandRun(&command, text);
}

int OsCommandOpen(OsCommand *command, const char *text)
{
    return Start(command, text);
}

size_t OsCommandReadLine(OsCommand *command, char *line, size_t room, int64_t deadlineMs)
{
    OsGuard guard(&s_commands);
    if (Find(command)->read >= Find(command)->script.output.size()) AwaitEnd(command, deadlineMs);
    Run *run = Find(command);
    const std::string rest = run->script.output.substr(std::min(run->read, run->script.output.size()));
    const size_t length = std::min(std::min(rest.find('\n'), rest.size() - 1) + 1, room - 1);
    memcpy(line, rest.data(), length);
    line[length] = '\0';
    run->read += length;
    return length;
}

// The real one's closed pipe ends a command that goes on writing; here that is every one.
int OsCommandClose(OsCommand *command)
{
    OsGuard guard(&s_commands);
    const bool fails = Find(command)->script.closeFails;
    Forget(command);
    if (fails) errno = ECHILD;
    return fails ? -1 : 0;
}

void OsCommandStop(OsCommand *command)
{
    OsGuard guard(&s_commands);
    command->stopped = true;
    if (Run *run = Find(command)) run->killed = true;
    OsWakeAll(&s_commands);
}

void FakeCommand(const std::string &beginning, const FakeScript &script)
{
    OsGuard guard(&s_commands);
    s_scripts.push_back({beginning, script});
}

void FakeCommandEnd()
{
    OsGuard guard(&s_commands);
    for (Run &run : s_runs) run.script.lasts = false;
    OsWakeAll(&s_commands);
}

std::vector<std::string> FakeCommands()
{
    OsGuard guard(&s_commands);
    return s_texts;
}

int FakeCommandsRunning()
{
    OsGuard guard(&s_commands);
    return static_cast<int>(s_runs.size());
}

int FakeCommandsAtOnce()
{
    OsGuard guard(&s_commands);
    return s_most;
}

void FakeCommandReset()
{
    OsGuard guard(&s_commands);
    s_scripts.clear();
    s_texts.clear();
    s_most = static_cast<int>(s_runs.size());
}
