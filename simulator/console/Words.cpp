#include "simulator/console/Words.h"

#include <cctype>
#include <cmath>
#include <cstdlib>

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

bool ParseSeconds(const std::string &text, int64_t *milliseconds)
{
    if (text.empty() || text.find_first_not_of("0123456789.") != std::string::npos) return false;
    char *end = nullptr;
    const double seconds = strtod(text.c_str(), &end);
    if (*end != '\0' || end == text.c_str() || !(seconds >= 0 && seconds <= 86400)) return false;
    *milliseconds = std::llround(seconds * 1000);
    return true;
}

bool ParseSize(const std::string &text, int64_t *bytes)
{
    static const std::string kLetters = "KMG";
    const char last = text.empty() ? '\0' : static_cast<char>(toupper(static_cast<unsigned char>(text.back())));
    const size_t letter = kLetters.find(last);
    const size_t shift = letter == std::string::npos ? 0 : 10 * (letter + 1);
    int64_t number;
    if (!ParseNumber(text.substr(0, text.size() - (shift > 0)), 0, kMaxSize >> shift, &number)) return false;
    *bytes = number * (int64_t(1) << shift);
    return true;
}

} // namespace sim
