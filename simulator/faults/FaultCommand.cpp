#include "simulator/faults/FaultCommand.h"

#include <CLI/CLI.hpp>

namespace sim
{

Outcome RunFaultCommand(const Words &words, Faults *faults, Journal *journal)
{
    std::string error;
    if (words.size() == 1) {
        journal->Say(FaultsHelp(faults->Table()));
        return Outcome::Ok();
    }
    if (words[1] != "off") return Result(faults->Add(From(words, 1), &error), error);
    if (words.size() > 3) return Outcome::Fail("use: " + words[0] + " off [NAME]");
    const std::string name = words.size() > 2 ? words[2] : "";
    return Result(faults->Off(name) > 0 || name.empty(), "'" + name + "' is not switched on");
}

Completer MisbehaveCompletions(const FaultTable &table)
{
    return [&table](const Words &words) {
        std::vector<std::string> names = FaultNames(table);
        if (words.size() == 1) names.push_back("off");
        return words.back() == "off" || words.size() == 1 ? names : std::vector<std::string>();
    };
}

CLI::Option *AddFaultOption(CLI::App *app, const char *name, const FaultTable &table, std::vector<std::string> *list,
                            const char *help)
{
    const auto check = [&table](std::string &text) {
        Words words;
        Faults probe(table);
        std::string error;
        return SplitWords(text, &words, &error) && probe.Add(words, &error) ? std::string() : error;
    };
    return app->add_option(name, *list, help)
        ->type_name("WHAT")
        ->expected(1)
        ->take_all()
        ->check(CLI::Validator(check, "", "fault"));
}

} // namespace sim
