#include "gateway/question/Dispatcher.h"

#include <asio/post.hpp>
#include <string_view>

namespace gateway
{

namespace
{
constexpr char kGroup[] = "plug_gateway"; // of all gateways
constexpr size_t kMostRunning = 4;        // questions to all
constexpr std::chrono::milliseconds kStep{20};

// "plug.r1.ask.ping" in its parts.
std::vector<std::string> Tokens(const std::string &subject)
{
    std::vector<std::string> tokens;
    size_t at = 0;
    for (size_t dot; (dot = subject.find('.', at)) != std::string::npos; at = dot + 1)
        tokens.push_back(subject.substr(at, dot - at));
    tokens.push_back(subject.substr(at));
    return tokens;
}

// A question that can be put, or why it cannot.
std::variant<Asked, Fault> MakeAsked(bool plugin, const std::string &name, const std::string &text)
{
    const auto parameters = ReadParameters(text);
    if (const auto *fault = std::get_if<Fault>(&parameters)) return *fault;
    Asked asked;
    asked.plugin = plugin;
    asked.name = name;
    if (plugin) {
        auto command = MakeCommand(name, std::get<Json>(parameters));
        if (const auto *fault = std::get_if<Fault>(&command)) return *fault;
        asked.command = std::get<Command>(std::move(command));
    } else {
        auto question = MakeQuestion(name, std::get<Json>(parameters));
        if (const auto *fault = std::get_if<Fault>(&question)) return *fault;
        asked.question = std::get<Question>(std::move(question));
    }
    asked.arrived = Clock::now();
    return asked;
}
} // namespace

struct Dispatcher::Everybody {
    Everybody(asio::io_context &context, double perSecond, Asked question, Message from)
        : timer(context), rate(perSecond, Clock::now()), asked(std::move(question)), message(std::move(from))
    {
    }
    asio::steady_timer timer;
    Rate rate;
    Asked asked;
    Message message;
    std::vector<std::pair<std::string, gateway::Here>> routers;
    size_t next = 0, answered = 0, good = 0;
};

Dispatcher::Dispatcher(asio::io_context &context, Services &services, double allRate)
    : context_(context), services_(services), allRate_(allRate)
{
    for (const char *subject : {"plug.*.ask.*", "plug.*.command.*"})
        subscriptions_.push_back(
            services_.bus.Subscribe(subject, kGroup, context_, [this](const Message &message) { Arrived(message); }));
    subscriptions_.push_back(services_.bus.Subscribe("plug_gateway." + services_.gateway + ".>", "", context_,
                                                     [this](const Message &message) { PassedOn(message); }));
}

void Dispatcher::Reply(const Message &message, const Json &answer)
{
    if (!message.reply.empty()) services_.bus.Publish(message.reply, JsonText(answer));
}

void Dispatcher::Wrong(const Message &message, const Fault &fault)
{
    services_.count.askedWrong.Add();
    Reply(message, FaultJson(fault));
}

void Dispatcher::Offline(const Message &message)
{
    services_.count.askedOffline.Add();
    Reply(message, FaultJson({"offline", "the router is not online"}));
}

void Dispatcher::Arrived(const Message &message)
{
    const std::vector<std::string> tokens = Tokens(message.subject);
    if (tokens.size() != 4) return;
    const std::string &serial = tokens[1], &kind = tokens[2], &name = tokens[3];
    const bool plugin = kind == "command";
    if (serial == "all") {
        if (plugin) return Wrong(message, {"forbidden", "a plugin command is for one router"});
        return ToAll(name, message);
    }
    if (services_.presence.FindHere(serial)) return Here(plugin, serial, name, message);
    const std::optional<Elsewhere> there = services_.presence.Find(serial);
    if (!there || there->gateway == services_.gateway || !services_.instances.Alive(there->gateway, Clock::now()))
        return Offline(message);
    services_.bus.Publish("plug_gateway." + there->gateway + "." + kind + "." + serial + "." + name, message.data,
                          message.reply);
}

void Dispatcher::PassedOn(const Message &message)
{
    const std::vector<std::string> tokens = Tokens(message.subject);
    if (tokens.size() == 4 && tokens[2] == "all") return AskAll(tokens[3], message);
    if (tokens.size() == 5) Here(tokens[2] == "command", tokens[3], tokens[4], message);
}

void Dispatcher::Here(bool plugin, const std::string &serial, const std::string &name, const Message &message)
{
    const std::optional<gateway::Here> here = services_.presence.FindHere(serial);
    if (!here) return Offline(message);
    auto made = MakeAsked(plugin, name, message.data);
    if (const auto *fault = std::get_if<Fault>(&made)) return Wrong(message, *fault);
    Asked &asked = std::get<Asked>(made);
    asked.answer = [this, reply = message.reply](const Json &answer) { Reply({"", reply, ""}, answer); };
    here->shard->Ask(here->session, std::move(asked));
}

void Dispatcher::ToAll(const std::string &function, const Message &message)
{
    const auto made = MakeAsked(false, function, message.data);
    if (const auto *fault = std::get_if<Fault>(&made)) return Wrong(message, *fault);
    const std::vector<std::string> gateways = services_.instances.All(Clock::now());
    Reply(message, {{"ok", true}, {"gateways", gateways}});
    for (const std::string &gateway : gateways)
        services_.bus.Publish("plug_gateway." + gateway + ".all." + function, message.data, message.reply);
}

void Dispatcher::AskAll(const std::string &function, const Message &message)
{
    auto made = MakeAsked(false, function, message.data);
    if (const auto *fault = std::get_if<Fault>(&made)) return Wrong(message, *fault);
    if (running_ >= kMostRunning) {
        services_.count.askedTooMany.Add();
        Json refused = FaultJson({"too_many", "this gateway is asking all its routers other questions"});
        refused.update({{"done", true}, {"gateway", services_.gateway}});
        return Reply(message, refused);
    }
    running_++;
    const auto everybody = std::make_shared<Everybody>(context_, allRate_, std::get<Asked>(std::move(made)), message);
    everybody->routers = services_.presence.AllHere();
    AskMore(everybody);
}

// Asks as many as the rate allows, and goes on later. The last answer is followed by a message of its own.
void Dispatcher::AskMore(const std::shared_ptr<Everybody> &everybody)
{
    Everybody &all = *everybody;
    while (all.next < all.routers.size() && all.rate.Take(Clock::now())) {
        const auto &[serial, here] = all.routers[all.next++];
        Asked asked = all.asked;
        asked.arrived = Clock::now();
        asked.answer = [this, everybody, name = serial](const Json &answer) {
            Json named = {{"serial", name}};
            named.update(answer);
            Reply(everybody->message, named);
            asio::post(context_, [everybody, good = answer.value("ok", false)] {
                everybody->answered++;
                everybody->good += good;
            });
        };
        here.shard->Ask(here.session, std::move(asked));
    }
    if (all.answered == all.routers.size()) {
        running_--;
        Reply(all.message, {{"ok", true},
                            {"done", true},
                            {"gateway", services_.gateway},
                            {"asked", all.routers.size()},
                            {"answered", all.good}});
        return;
    }
    all.timer.expires_after(kStep);
    all.timer.async_wait([this, everybody](const asio::error_code &error) {
        if (!error) AskMore(everybody);
    });
}

} // namespace gateway
