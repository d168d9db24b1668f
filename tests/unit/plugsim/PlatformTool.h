// PlatformTool.h - the commands of `plugsim platform`, of which none is run.
#pragma once

#include "simulator/platform/Commands.h"

struct PlatformTool {
    PlatformTool() { sim::AddPlatformCommands(&interpreter, nullptr); }
    sim::Interpreter interpreter{nullptr};
};

inline bool HelpText(const std::string &name, std::string *text)
{
    return PlatformTool().interpreter.Help(name, text);
}

inline std::vector<std::string> Completions(const sim::Words &before)
{
    return PlatformTool().interpreter.Completions(before);
}
