// FunctionMarkdown.h - the part of docs/protocol.md that describes the functions.
// State: none. Threads: any.
#pragma once

#include <string>

namespace protocol
{

std::string FunctionMarkdown();

} // namespace protocol
