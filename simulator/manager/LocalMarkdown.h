// LocalMarkdown.h - the FuncIDs as docs/local-protocol.md has them: a table of all, and the records that their frames
// carry.
// State: none. Threads: any.
#pragma once

#include <string>

namespace sim
{

[[nodiscard]] std::string LocalMarkdown();

} // namespace sim
