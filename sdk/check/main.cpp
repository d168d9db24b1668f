// plug-sdk-check - calls every function of a router library as the agent does, and tells what breaks the contract.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>

#include "sdk/check/Child.h"
#include "sdk/check/Contract.h"
#include "sdk/check/Getters.h"
#include "sdk/check/Library.h"
#include "sdk/check/Setters.h"

using namespace check;

static const int kExitFine = 0;
static const int kExitWrong = 1; // the library breaks the contract
static const int kExitUsage = 2; // or it cannot be loaded

struct Options {
    std::string library;
    bool write = false;
    double limit = 10; // seconds of one function, all its calls together
    double slow = 0.1; // seconds of one call on the device table
    int threads = 8;
    int rounds = 20;
};

// What the table has counted.
struct Totals {
    int fine = 0;
    int coded = 0; // answered a code
    int notCalled = 0;
    int wrong = 0;
};

static void PrintRow(const std::string &name, const Result &result, Totals *totals)
{
    const bool called = result.longest > 0 || !result.answer.empty();
    char longest[20] = "";
    if (called && !result.died)
        snprintf(longest, sizeof longest, "%.1f ms", static_cast<double>(result.longest) / 1000);
    printf("%-24s %-7s %9s", name.c_str(), result.answer.empty() ? "-" : result.answer.c_str(), longest);
    const char *separator = "  ";
    for (const std::string &text : result.wrong) {
        printf("%sWRONG: %s", separator, text.c_str());
        separator = "; ";
    }
    for (const std::string &text : result.notes) {
        printf("%s%s", separator, text.c_str());
        separator = "; ";
    }
    printf("\n");
    if (!result.wrong.empty())
        totals->wrong++;
    else if (result.answer.empty() || result.answer == "-")
        totals->notCalled++;
    else if (result.answer == "0" || result.answer[0] == '=')
        totals->fine++;
    else
        totals->coded++;
}

static Result NotCalled(const char *why)
{
    Result result;
    result.notes.push_back(why);
    return result;
}

static Result Try(const Options &options, const std::string &name, const std::function<void(Findings *)> &body)
{
    Result result = RunInChild(options.limit, body);
    if (OnDeviceTable(name) && static_cast<double>(result.longest) > options.slow * 1e6)
        result.notes.push_back("slow, and the agent holds a lock meanwhile");
    return result;
}

static Result TrySetter(const Options &options, const Setter &setter)
{
    if (!options.write) return NotCalled("a setter: only with --write");
    Result result = Try(options, setter.name, [&](Findings *findings) { CheckSetter(setter, findings); });
    if (!result.died || result.kept.empty()) return result;
    const Result back = RunInChild(options.limit, [&](Findings *findings) { PutBack(setter, result.kept, findings); });
    result.notes.push_back(back.wrong.empty() ? "what was set before has been put back" : back.wrong[0]);
    return result;
}

static Result TryOne(const Options &options, const std::string &name)
{
    if (!FindProcedure(name.c_str())) {
        Result missing;
        missing.wrong.push_back("the library does not have it");
        return missing;
    }
    for (const Getter &getter : Getters())
        if (name == getter.name) return Try(options, name, [&](Findings *findings) { CheckGetter(getter, findings); });
    for (const Setter &setter : Setters())
        if (name == setter.name) return TrySetter(options, setter);
    return NotCalled("never called: nothing could put back what it does");
}

static int Check(const Options &options)
{
    std::string error;
    const Result load = RunInChild(options.limit, [&](Findings *findings) {
        if (!OpenLibrary(options.library, &error)) findings->Wrong(error);
    });
    if (load.wrong.empty() && !OpenLibrary(options.library, &error)) error = "cannot be loaded";
    if (!load.wrong.empty() || !error.empty()) {
        fprintf(stderr, "plug-sdk-check: %s: %s\n", options.library.c_str(),
                load.wrong.empty() ? error.c_str() : load.wrong[0].c_str());
        return kExitUsage;
    }
    Totals totals;
    printf("%-24s %-7s %9s\n", "function", "answer", "longest");
    for (const std::string &name : ContractNames()) PrintRow(name, TryOne(options, name), &totals);
    Result together = RunInChild(options.limit * 2,
                                 [&](Findings *findings) { CheckThreads(options.threads, options.rounds, findings); });
    together.answer = together.wrong.empty() ? "0" : "";
    Totals ignored;
    PrintRow("all getters, " + std::to_string(options.threads) + " threads", together, &ignored);
    totals.wrong += ignored.wrong;
    printf("%d answered, %d answered a code, %d not called, %d WRONG\n", totals.fine, totals.coded, totals.notCalled,
           totals.wrong);
    return totals.wrong == 0 ? kExitFine : kExitWrong;
}

int main(int argc, char **argv)
{
    Options options;
    CLI::App app("Calls every function of a router library as the agent does, and tells what breaks RouterSdk.h",
                 "plug-sdk-check");
    app.add_option("library", options.library, "the library, such as ./libRouterSdk.so.1")
        ->type_name("LIB.so")
        ->required();
    app.add_flag("--write", options.write, "try the setters, too; what was set before is put back");
    app.add_option("--limit", options.limit, "seconds that the calls of one function may take [10]")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.1, 600.0).description(""));
    app.add_option("--slow", options.slow, "seconds from which a call on the device table is called slow [0.1]")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, 600.0).description(""));
    app.add_option("--threads", options.threads, "threads that call all getters at once [8]")
        ->type_name("N")
        ->check(CLI::Range(1, 60).description(""));
    app.footer(
        "Each function is called in a process of its own: a crash or a hang is told by the name of the function.\n"
        "Never called: restart and what else cannot be put back.\n\n"
        "Exit status: 0 nothing is wrong, 1 something is, 2 wrong use or no library that can be loaded.");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? kExitFine : kExitUsage;
    }
    return Check(options);
}
