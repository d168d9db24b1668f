#include "protocol/Numbers.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>

namespace protocol
{

bool ParseNumber(const std::string &text, int64_t low, int64_t high, int64_t *number)
{
    if (text.empty() || isspace(static_cast<unsigned char>(text[0]))) return false;
    const bool hex = text.find("0x") == 0 || text.find("-0x") == 0;
    errno = 0;
    char *end = nullptr;
    *number = strtoll(text.c_str(), &end, hex ? 16 : 10);
    return errno == 0 && *end == '\0' && end != text.c_str() && *number >= low && *number <= high;
}

} // namespace protocol
