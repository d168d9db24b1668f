#include "simulator/console/Interpreter.h"

#include <algorithm>

#include "simulator/console/Markdown.h"

namespace sim
{

static const int64_t kMaxFrames = 100000; // of one command: all are built before the first one leaves

const Command *FindCommand(const CommandList &commands, const std::string &name)
{
    const auto command =
        std::find_if(commands.begin(), commands.end(), [&](const Command &c) { return name == c.name; });
    return command == commands.end() ? nullptr : &*command;
}

static std::string UseOf(const Command &command)
{
    return std::string(command.name) + (*command.arguments ? " " : "") + command.arguments;
}

Outcome RunCommand(const Command &command, const Words &words, Journal *journal)
{
    if (words.size() - 1 < command.least || words.size() - 1 > command.most)
        return Outcome::Fail("use: " + UseOf(command));
    if (command.acts && journal) journal->Log().MarkHere();
    return command.run(words);
}

void Interpreter::Add(const std::string &title, const CommandList &commands, bool common)
{
    sections_.push_back({title, false, common, commands});
}

void Interpreter::AddFrames(const std::string &title, CommandList commands,
                            const std::function<Outcome(const Words &)> &send)
{
    for (Command &command : commands) {
        // Words are counted when the frame is made, which needs a connection to send it to.
        command.least = 0;
        command.most = SIZE_MAX;
        command.acts = true;
        command.run = send;
    }
    sections_.push_back({title, true, false, commands});
}

Outcome Interpreter::Run(const Words &words) const
{
    if (words.empty()) return Outcome::Ok();
    for (const Section &section : sections_)
        if (const Command *command = FindCommand(section.commands, words[0]))
            return RunCommand(*command, words, journal_);
    return Outcome::Fail("there is no command '" + words[0] + "'; try help");
}

static std::string HelpLines(const Command &command)
{
    return "  " + UseOf(command) + "\n        " + command.help + "\n";
}

bool Interpreter::Help(const std::string &name, std::string *text) const
{
    text->clear();
    for (const Section &section : sections_) {
        if (name.empty()) *text += section.title;
        for (const Command &command : section.commands) {
            if (!name.empty() && name != command.name) continue;
            if (command.help) *text += HelpLines(command);
            if (command.more) *text += command.more(!name.empty());
        }
    }
    return !text->empty();
}

std::string Interpreter::Markdown(bool common) const
{
    std::string text = MarkdownHead({"command", ""});
    for (const Section &section : sections_) {
        if (section.common != common) continue;
        for (const Command &command : section.commands) {
            if (!command.help) continue;
            std::string help = command.help;
            if (help.back() == ':') help.pop_back(); // what follows it is in help alone
            text += MarkdownRow({MarkdownCode(UseOf(command)), help});
        }
    }
    return text;
}

void Interpreter::AddNames(bool framesOnly, std::vector<std::string> *names) const
{
    for (const Section &section : sections_)
        for (const Command &command : section.commands)
            if (section.frames || !framesOnly) names->push_back(command.name);
}

std::vector<std::string> Interpreter::Completions(const Words &before, bool framesOnly) const
{
    std::vector<std::string> names;
    if (before.empty()) {
        AddNames(framesOnly, &names);
        return names;
    }
    for (const Section &section : sections_) {
        const Command *command = FindCommand(section.commands, before[0]);
        if (!command || (framesOnly && !section.frames)) continue;
        return command->completions ? command->completions(before) : names;
    }
    return names;
}

// ---- For tables of commands

Words From(const Words &words, size_t first)
{
    return Words(words.begin() + static_cast<std::ptrdiff_t>(std::min(first, words.size())), words.end());
}

std::string Joined(const Words &words, size_t first)
{
    std::string text;
    for (size_t i = first; i < words.size(); i++) text += (i > first ? " " : "") + words[i];
    return text;
}

Outcome Result(bool ok, const std::string &error)
{
    return ok ? Outcome::Ok() : Outcome::Fail(error);
}

Completer Choice(const std::vector<std::string> &choice)
{
    return [choice](const Words &words) { return words.size() == 1 ? choice : std::vector<std::string>(); };
}

Completer FrameBehind(const Interpreter *interpreter, size_t count)
{
    return [interpreter, count](const Words &words) {
        return words.size() < count ? std::vector<std::string>() : interpreter->Completions(From(words, count), true);
    };
}

CommandList RepeatCommands(const Interpreter *interpreter, const char *burstHelp, const SendRepeated &send)
{
    const auto repeated = [send](bool together) {
        return [send, together](const Words &words) {
            int64_t count;
            std::string error;
            if (!ParseNumber(words[1], 1, kMaxFrames, &count))
                return Outcome::Fail("'" + words[1] + "' is not a count");
            return Result(send(From(words, 2), count, together, &error), error);
        };
    };
    const Completer behind = FrameBehind(interpreter, 2);
    return {
        {"flood", "COUNT COMMAND", "send a frame command COUNT times (at most 100000) back to back", 2, kMaxWords, true,
         repeated(false), behind},
        {"burst", "COUNT COMMAND", burstHelp, 2, kMaxWords, true, repeated(true), behind},
    };
}

} // namespace sim
