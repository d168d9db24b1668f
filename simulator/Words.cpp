#include "simulator/Words.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace sim
{

static bool Blank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// The end of the JSON object (RFC 8259) that begins at `at`: behind its last brace; `at` when it is not closed.
static size_t JsonEnd(const std::string &line, size_t at)
{
    int depth = 0;
    bool inText = false;
    for (size_t i = at; i < line.size(); i++) {
        const char c = line[i];
        if (inText && c == '\\') {
            i++;
        } else if (c == '"') {
            inText = !inText;
        } else if (!inText && c == '{') {
            depth++;
        } else if (!inText && c == '}' && --depth == 0) {
            return i + 1;
        }
    }
    return at;
}

bool SplitWords(const std::string &line, Words *words, std::string *error)
{
    words->clear();
    size_t i = 0;
    while (true) {
        while (i < line.size() && Blank(line[i])) i++;
        if (i >= line.size() || line[i] == '#') return true;
        std::string word;
        const char quote = line[i] == '"' || line[i] == '\'' ? line[i++] : '\0';
        if (!quote) {
            const size_t end = line[i] == '{' ? JsonEnd(line, i) : i;
            word = line.substr(i, end - i);
            i = end;
            while (i < line.size() && !Blank(line[i])) word += line[i++];
        } else {
            while (i < line.size() && line[i] != quote) {
                const bool escaped = quote == '"' && line[i] == '\\' && i + 1 < line.size() &&
                                     (line[i + 1] == '"' || line[i + 1] == '\\');
                if (escaped) i++;
                word += line[i++];
            }
            if (i >= line.size()) {
                *error = "a quote is not closed";
                return false;
            }
            i++;
        }
        words->push_back(word);
    }
}

bool ParseNumber(const std::string &text, int64_t low, int64_t high, int64_t *number)
{
    if (text.empty() || Blank(text[0])) return false;
    const bool hex = text.find("0x") == 0 || text.find("-0x") == 0;
    errno = 0;
    char *end = nullptr;
    *number = strtoll(text.c_str(), &end, hex ? 16 : 10);
    return errno == 0 && *end == '\0' && end != text.c_str() && *number >= low && *number <= high;
}

bool ParseSeconds(const std::string &text, int64_t *milliseconds)
{
    if (text.empty() || text.find_first_not_of("0123456789.") != std::string::npos) return false;
    char *end = nullptr;
    const double seconds = strtod(text.c_str(), &end);
    if (*end != '\0' || end == text.c_str() || !(seconds >= 0 && seconds <= 86400)) return false;
    *milliseconds = std::llround(seconds * 1000);
    return true;
}

bool ParseAddress(const std::string &text, Address *address)
{
    const size_t colon = text.rfind(':');
    int64_t port;
    if (colon == std::string::npos || !ParseNumber(text.substr(colon + 1), 0, 65535, &port)) return false;
    Address parsed;
    if (colon > 0) {
        in_addr ip;
        if (inet_pton(AF_INET, text.substr(0, colon).c_str(), &ip) != 1) return false;
        memcpy(parsed.octets, &ip, sizeof parsed.octets);
    }
    parsed.port = static_cast<uint16_t>(port);
    *address = parsed;
    return true;
}

std::string AddressText(const Address &address)
{
    std::string text;
    for (int i = 0; i < 4; i++) text += (i ? "." : "") + std::to_string(address.octets[i]);
    return text + ':' + std::to_string(address.port);
}

} // namespace sim
