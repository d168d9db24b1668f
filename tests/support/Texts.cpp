#include "tests/support/Texts.h"

bool Contains(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

size_t CountOf(const std::string &text, const std::string &part)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) count++;
    return count;
}
