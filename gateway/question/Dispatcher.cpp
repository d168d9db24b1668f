#include "gateway/question/Dispatcher.h"

#include <asio/post.hpp>
#include <sstream>

namespace gateway
{

namespace
{
constexpr char kGroup[] = "plug_gateway"; // of all gateways
constexpr char kUndelivered[] = "undelivered";
constexpr size_t kMostRunning = 4; // questions to all
constexpr std::chrono::milliseconds kStep{20};

// "plug.r1.ask.ping" in its parts.
std::vector<std::string> Tokens(const std::string &subject)
{
    std::istringstream text(subject);
    std::vector<std::string> tokens;
    for (std::string token; std::getline(text, token, '.');) tokens.push_back(token);
    return tokens;
}

// "plug_gateway.ID.undelivered._INBOX.1" without what stands before the asker's own subject.
std::string AskerOf(const std::string &reply)
{
    const size_t at = reply.find(kUndelivered);
    return at == std::string::npos ? reply : reply.substr(at + sizeof kUndelivered);
}

Fault NotOnline()
{
    return {"offline", "the router is not online"};
}

// A question that can be put. Throws a Fault when it cannot.
Asked MakeAsked(bool plugin, const std::string &name, const std::string &text)
{
    const Json parameters = ReadParameters(text);
    Asked asked;
    asked.plugin = plugin;
    asked.name = name;
    if (plugin)
        asked.command = MakeCommand(name, parameters);
    else
        asked.question = MakeQuestion(name, parameters);
    asked.arrived = Clock::now();
    return asked;
}
} // namespace

struct Dispatcher::Everybody {
    asio::steady_timer timer;
    Rate rate;
    const Asked asked;
    const std::string reply; // where the answers go
    const std::vector<std::pair<std::string, gateway::Here>> routers;
    size_t next = 0, answered = 0, good = 0;
};

Dispatcher::Dispatcher(asio::io_context &context, Services &services, double allRate)
    : context_(context), services_(services), allRate_(allRate)
{
    const auto hear = [this](const std::string &subject, const char *group, void (Dispatcher::*take)(const Message &)) {
        const auto handler = [this, take](const Message &message) {
            try {
                (this->*take)(message);
            } catch (const Fault &fault) {
                (fault.code == "offline" ? services_.count.askedOffline : services_.count.askedWrong).Add();
                Reply(AskerOf(message.reply), FaultJson(fault));
            }
        };
        subscriptions_.push_back(services_.bus.Subscribe(subject, group, context_, handler));
    };
    hear("plug.*.ask.*", kGroup, &Dispatcher::Arrived);
    hear("plug.*.command.*", kGroup, &Dispatcher::Arrived);
    hear("plug_gateway." + services_.gateway + ".>", "", &Dispatcher::PassedOn);
}

void Dispatcher::Reply(const std::string &subject, const Json &answer)
{
    if (!subject.empty()) services_.bus.Publish(subject, JsonText(answer));
}

void Dispatcher::Arrived(const Message &message)
{
    const std::vector<std::string> tokens = Tokens(message.subject);
    if (tokens.size() != 4) return;
    const std::string &serial = tokens[1], &kind = tokens[2], &name = tokens[3];
    const bool plugin = kind == "command";
    if (serial == "all") {
        if (plugin) throw Fault("forbidden", "a plugin command is for one router");
        return ToAll(name, message);
    }
    const std::optional<Elsewhere> there = services_.presence.Find(serial);
    if (services_.presence.FindHere(serial) || !there || there->gateway == services_.gateway ||
        !services_.instances.Alive(there->gateway, Clock::now()))
        return Here(plugin, serial, name, message);
    // The answer goes past this gateway. But a server that finds nobody there says so to who has sent the question, at the
    // subject of the answer: that is here, therefore, and has the asker's own at its end.
    const std::string reply =
        message.reply.empty() ? "" : "plug_gateway." + services_.gateway + "." + kUndelivered + "." + message.reply;
    services_.bus.Publish("plug_gateway." + there->gateway + "." + kind + "." + serial + "." + name, message.data,
                          reply);
}

void Dispatcher::PassedOn(const Message &message)
{
    const std::vector<std::string> tokens = Tokens(message.subject);
    if (tokens.size() == 3 && tokens[2] == "reports")
        Reply(message.reply,
              services_.presence.LastReports(TextOf(ReadObject(message.data), "after"), kReportsOnAPage));
    if (tokens.size() == 4 && tokens[2] == "all") return AskAll(tokens[3], message);
    if (tokens.size() > 3 && tokens[2] == kUndelivered) {
        services_.count.askedOffline.Add();
        return Reply(AskerOf(message.subject), FaultJson(NotOnline()));
    }
    if (tokens.size() == 5)
        Here(tokens[2] == "command", tokens[3], tokens[4], {"", AskerOf(message.reply), message.data});
}

void Dispatcher::Here(bool plugin, const std::string &serial, const std::string &name, const Message &message)
{
    const std::optional<gateway::Here> here = services_.presence.FindHere(serial);
    if (!here) throw NotOnline();
    Asked asked = MakeAsked(plugin, name, message.data);
    asked.answer = [this, reply = message.reply](const Json &answer) { Reply(reply, answer); };
    here->shard->Ask(here->session, std::move(asked));
}

void Dispatcher::ToAll(const std::string &function, const Message &message)
{
    MakeAsked(false, function, message.data); // what cannot be put is told once
    const std::vector<std::string> gateways = services_.instances.All(Clock::now());
    Reply(message.reply, {{"ok", true}, {"gateways", gateways}});
    for (const std::string &gateway : gateways)
        services_.bus.Publish("plug_gateway." + gateway + ".all." + function, message.data, message.reply);
}

void Dispatcher::AskAll(const std::string &function, const Message &message)
{
    Asked asked = MakeAsked(false, function, message.data);
    if (running_ >= kMostRunning) {
        services_.count.askedTooMany.Add();
        Json refused = FaultJson({"too_many", "this gateway is asking all its routers other questions"});
        refused.update({{"done", true}, {"gateway", services_.gateway}});
        return Reply(message.reply, refused);
    }
    running_++;
    const auto everybody =
        std::make_shared<Everybody>(Everybody{asio::steady_timer(context_), Rate(allRate_, Clock::now()),
                                              std::move(asked), message.reply, services_.presence.AllHere()});
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
            Reply(everybody->reply, named);
            asio::post(context_, [everybody, good = answer.value("ok", false)] {
                everybody->answered++;
                everybody->good += good;
            });
        };
        here.shard->Ask(here.session, std::move(asked));
    }
    if (all.answered == all.routers.size()) {
        running_--;
        Reply(all.reply, {{"ok", true},
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
