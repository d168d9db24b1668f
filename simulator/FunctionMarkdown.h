// FunctionMarkdown.h - the part of docs/protocol.md that describes every function, for somebody who writes a platform.
// State: none. Threads: any.
#pragma once

#include <string>

namespace sim
{

std::string FunctionMarkdown();

} // namespace sim
