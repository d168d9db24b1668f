#include "simulator/WrongWords.h"

namespace sim
{

static const size_t kHelpColumn = 28;

bool SplitWrong(const Words &words, const char *where, WrongWords *wrong, std::string *error)
{
    *wrong = {};
    *error = std::string("use: NAME[@") + where + "][=VALUE] [COUNT]";
    if (words.empty() || words.size() > 2) return false;
    const size_t equals = words[0].find('=');
    const std::string front = words[0].substr(0, equals);
    const size_t at = front.find('@');
    wrong->name = front.substr(0, at);
    if (at != std::string::npos) wrong->where = front.substr(at + 1);
    if (equals != std::string::npos) wrong->value = words[0].substr(equals + 1);
    if (words.size() == 2 && !ParseNumber(words[1], 1, 1000000000, &wrong->count)) {
        *error = "'" + words[1] + "' is no count";
        return false;
    }
    return true;
}

bool WrongValue(const WrongWords &wrong, const char *value, const char *unset, std::string *text, std::string *error)
{
    if (wrong.value && !value) {
        *error = wrong.name + " takes no value";
        return false;
    }
    if (value && !wrong.value && !unset) {
        *error = wrong.name + " needs a value: " + wrong.name + "=" + value;
        return false;
    }
    *text = value ? wrong.value.value_or(unset ? unset : "") : "";
    return true;
}

std::string WrongHelp(const char *name, const char *value, const char *unset, const char *help)
{
    std::string text = std::string("  ") + name;
    if (value) text += std::string(unset ? "[=" : "=") + value + (unset ? "]" : "");
    return text + std::string(text.size() < kHelpColumn ? kHelpColumn - text.size() : 1, ' ') + help + "\n";
}

} // namespace sim
