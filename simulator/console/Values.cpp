#include "simulator/console/Values.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace sim
{

static bool ToNumber(const std::string &text, double *number)
{
    char *end = nullptr;
    *number = strtod(text.c_str(), &end);
    return end != text.c_str() && *end == '\0';
}

static std::string Decimals(double number, int decimals)
{
    char text[64];
    snprintf(text, sizeof text, "%.*f", decimals, number);
    return text;
}

// With the decimals that it has, at most three.
static std::string NumberText(double number)
{
    std::string text = Decimals(number, 3);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
    return text == "-0" ? "0" : text;
}

static double Now()
{
    struct timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// As FindField(); the path continues into a text that is a JSON object.
static bool FindDeep(const Fields &fields, const std::string &path, Field *found)
{
    for (size_t end = path.size(); end != std::string::npos && end > 0; end = path.rfind('.', end - 1)) {
        const Field *field = FindField(fields, path.substr(0, end));
        if (!field) continue;
        Field json;
        const bool whole = end == path.size();
        if (!whole && (field->kind != Field::Kind::Text || !FieldFromJson("", field->value, &json))) return false;
        const Field *inside = whole ? field : FindField(json.children, path.substr(end + 1));
        if (inside) *found = *inside;
        return inside != nullptr;
    }
    return false;
}

static bool FindInEvent(const std::string &path, const Event *taken, std::string *value)
{
    if (!taken) return false;
    if (path == "t") {
        *value = NumberText(taken->seconds);
        return true;
    }
    const bool length = path.size() > 2 && path.compare(path.size() - 2, 2, ".#") == 0;
    Field field;
    if (!FindDeep(taken->fields, length ? path.substr(0, path.size() - 2) : path, &field) ||
        length != (field.kind == Field::Kind::List))
        return false;
    *value = length ? std::to_string(field.children.size()) : field.value;
    return true;
}

bool Values::Find(const std::string &name, const Event *taken, std::string *value) const
{
    if (!name.empty() && name[0] == '.') return FindInEvent(name.substr(1), taken, value);
    const auto own = values_.find(name);
    const char *surrounding = getenv(name.c_str());
    if (own != values_.end())
        *value = own->second;
    else if (name == "now")
        *value = NumberText(Now());
    else if (surrounding)
        *value = surrounding;
    else
        return false;
    return true;
}

// "8" pads to 8 characters, ".1" writes a number with one decimal, "4+2" keeps the two characters behind the
// fourth.
static bool Shape(const std::string &shape, std::string *value)
{
    const bool decimals = !shape.empty() && shape[0] == '.';
    const size_t plus = shape.find('+');
    int64_t count, from;
    double number;
    if (plus != std::string::npos) {
        if (!ParseNumber(shape.substr(0, plus), 0, INT32_MAX, &from) ||
            !ParseNumber(shape.substr(plus + 1), 0, INT32_MAX, &count))
            return false;
        *value = value->substr(std::min(static_cast<size_t>(from), value->size()), static_cast<size_t>(count));
        return true;
    }
    if (!ParseNumber(decimals ? shape.substr(1) : shape, 0, decimals ? 9 : 100, &count)) return false;
    if (decimals) {
        if (!ToNumber(*value, &number)) return false;
        *value = Decimals(number, static_cast<int>(count));
    } else if (value->size() < static_cast<size_t>(count)) {
        value->append(static_cast<size_t>(count) - value->size(), ' ');
    }
    return true;
}

bool Values::Expand(const Event *taken, Words *words, std::string *error) const
{
    for (std::string &word : *words) {
        size_t at = 0;
        while ((at = word.find("${", at)) != std::string::npos) {
            const size_t end = word.find('}', at);
            const std::string whole = word.substr(at, end == std::string::npos ? end : end + 1 - at);
            const std::string inside = word.substr(at + 2, end == std::string::npos ? end : end - at - 2);
            size_t colon = inside.find(':');
            std::string value;
            bool found = end != std::string::npos && Find(inside.substr(0, colon), taken, &value);
            while (found && colon != std::string::npos) {
                const size_t next = inside.find(':', colon + 1);
                found = Shape(inside.substr(colon + 1, next == std::string::npos ? next : next - colon - 1), &value);
                colon = next;
            }
            if (!found) {
                *error = "there is no value for " + whole;
                return false;
            }
            word.replace(at, whole.size(), value);
            at += value.size();
        }
    }
    return true;
}

bool Calculate(const Words &words, std::string *value, std::string *error)
{
    const bool sum =
        words.size() > 1 && words[1].size() == 1 && std::string("+-*/").find(words[1]) != std::string::npos;
    double result = 0;
    if (!words.empty() && words[0] == "date" && words.size() == 3 && ToNumber(words[2], &result)) {
        const time_t seconds = static_cast<time_t>(result);
        struct tm local;
        char text[100];
        localtime_r(&seconds, &local);
        value->assign(text, strftime(text, sizeof text, words[1].c_str(), &local));
        return true;
    }
    if (!sum) {
        value->clear();
        for (const std::string &word : words) *value += (&word == &words.front() ? "" : " ") + word;
        return true;
    }
    bool right = words.size() % 2 == 1 && ToNumber(words[0], &result);
    for (size_t i = 1; right && i + 1 < words.size(); i += 2) {
        double number;
        right = ToNumber(words[i + 1], &number) && words[i].size() == 1;
        switch (right ? words[i][0] : ' ') {
        case '+': result += number; break;
        case '-': result -= number; break;
        case '*': result *= number; break;
        case '/': result /= number; break;
        default: right = false;
        }
    }
    if (!right) {
        *error = "use: NUMBER [+|-|*|/ NUMBER]...";
        return false;
    }
    *value = NumberText(result);
    return true;
}

} // namespace sim
