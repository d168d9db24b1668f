// Markdown.h - tables of a tool's commands and faults, for the documents in docs/.
// State: none. Threads: any.
#pragma once

#include <string>
#include <vector>

namespace sim
{

// The head of a table with these columns, and one of its rows. A bar inside a cell is escaped.
std::string MarkdownHead(const std::vector<std::string> &columns);
std::string MarkdownRow(const std::vector<std::string> &cells);

// A text set as code; empty for an empty text.
std::string MarkdownCode(const std::string &text);

} // namespace sim
