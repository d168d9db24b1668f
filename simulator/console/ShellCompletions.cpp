#include "simulator/console/ShellCompletions.h"

#include <algorithm>
#include <sstream>

namespace sim
{

static Words ValuesOf(const CLI::Option &option)
{
    const std::string type = option.get_type_name();
    if (type == "FILE" || type == "PATH") return {kAnyFile};
    if (type == "DIR") return {kAnyFolder};
    Words values;
    if (type.find('|') == std::string::npos) return values;
    std::istringstream parts(type);
    for (std::string value; std::getline(parts, value, '|');) values.push_back(value);
    return values;
}

Words ShellCompletions(const CLI::App &app, Words before, const std::map<std::string, Words> &values)
{
    if (!before.empty() && before.back() == "=") before.pop_back(); // bash makes three words of NAME=VALUE
    const CLI::App *tool = &app;
    if (!before.empty()) {
        const auto named = app.get_subcommands([&](const CLI::App *one) { return one->get_name() == before[0]; });
        if (named.empty()) return {};
        tool = named[0];
        const CLI::Option *option = before.size() > 1 ? tool->get_option_no_throw(before.back()) : nullptr;
        if (option && option->get_items_expected_max() > 0) {
            const auto known = values.find(before[0] + ' ' + before.back());
            return known == values.end() ? ValuesOf(*option) : known->second;
        }
    }
    Words found;
    for (const CLI::App *subcommand : tool->get_subcommands({})) found.push_back(subcommand->get_name());
    for (const CLI::Option *option : tool->get_options()) {
        if (option->get_group().empty()) continue;
        const auto known = values.find(tool->get_name() + ' ' + option->get_name());
        if (option->get_positional() && before.size() == 1 && known != values.end())
            found.insert(found.end(), known->second.begin(), known->second.end());
        for (const std::string &name : option->get_lnames()) found.push_back("--" + name);
    }
    return found;
}

} // namespace sim
