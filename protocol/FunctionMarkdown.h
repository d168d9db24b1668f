// FunctionMarkdown.h - the part of docs/protocol.md that describes every function, for somebody who writes a platform.
// State: none. Threads: any.
#pragma once

#include <string>

namespace protocol
{

std::string FunctionMarkdown();

} // namespace protocol
