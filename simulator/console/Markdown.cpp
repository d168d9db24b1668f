#include "simulator/console/Markdown.h"

namespace sim
{

std::string MarkdownRow(const std::vector<std::string> &cells)
{
    std::string text = "|";
    for (const std::string &cell : cells) {
        text += ' ';
        for (const char c : cell) text += c == '|' ? "\\|" : std::string(1, c);
        text += cell.empty() ? "|" : " |";
    }
    return text + '\n';
}

std::string MarkdownHead(const std::vector<std::string> &columns)
{
    std::string line = "|";
    for (size_t i = 0; i < columns.size(); i++) line += "---|";
    return MarkdownRow(columns) + line + '\n';
}

std::string MarkdownCode(const std::string &text)
{
    return text.empty() ? text : '`' + text + '`';
}

} // namespace sim
