#include <CLI/CLI.hpp>
#include <algorithm>
#include <asio/executor_work_guard.hpp>
#include <set>

#include "gateway/Commands.h"
#include "gateway/Options.h"
#include "gateway/translate/Json.h"

namespace gateway
{
namespace
{
struct Words {
    std::string serial, name, parameters;
    bool command = false;
    int seconds = 30;
};

bool IsOk(const Json &answer)
{
    return answer.value("ok", Json(false)) == true;
}

void AskOne(Bus *bus, const std::string &subject, const Words &words)
{
    const auto answer = bus->Request(subject, words.parameters, 1000 * words.seconds);
    if (!answer) throw std::runtime_error("no gateway has answered");
    Print(*answer + "\n");
    if (!IsOk(ReadObject(*answer))) throw CLI::RuntimeError(2);
}

// Answers come one by one; the last one of each gateway says so. What one sender says comes in its order, but an answer
// may overtake the list of gateways, which another one sends.
void AskAll(Bus *bus, const std::string &subject, const Words &words)
{
    asio::io_context context;
    const auto work = asio::make_work_guard(context);
    std::set<std::string> done;
    std::optional<std::vector<std::string>> asked;
    bool failed = false;
    const std::string inbox = bus->NewInbox();
    const auto answers = bus->Subscribe(inbox, "", context, [&](const Message &message) {
        Print(message.data + "\n");
        const Json json = ReadObject(message.data);
        failed = failed || !IsOk(json);
        if (json.contains("gateways"))
            asked = json["gateways"].get<std::vector<std::string>>();
        else if (json.contains("done"))
            done.insert(TextOf(json, "gateway"));
        else if (!json.contains("serial")) // not one has been asked
            context.stop();
        if (asked && std::all_of(asked->begin(), asked->end(), [&](const auto &id) { return done.count(id) > 0; }))
            context.stop();
    });
    bus->Publish(subject, words.parameters, inbox);
    context.run_for(std::chrono::seconds(words.seconds));
    if (!context.stopped()) throw std::runtime_error("not all gateways have answered in time");
    if (failed) throw CLI::RuntimeError(2);
}
} // namespace

void AddAskCommand(CLI::App *app, const BusOptions &bus)
{
    CLI::App *const ask = app->add_subcommand("ask", "put a question to a router, and print the answer");
    const auto words = std::make_shared<Words>();
    ask->add_option("SERIAL", words->serial, "of the router, or all")->required();
    ask->add_option("FUNCTION", words->name, "its name or number")->required();
    ask->add_option("PARAMETERS", words->parameters, "a JSON object");
    ask->add_flag("--command", words->command, "it is a plugin command");
    ask->add_option("--seconds", words->seconds, "to wait, at most")->capture_default_str();
    ask->callback([words, &bus] {
        Bus own(bus);
        const std::string subject = "plug." + words->serial + (words->command ? ".command." : ".ask.") + words->name;
        if (words->serial == "all")
            AskAll(&own, subject, *words);
        else
            AskOne(&own, subject, *words);
    });
}

} // namespace gateway
