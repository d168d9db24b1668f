#include "gateway/update/Rollout.h"

#include <algorithm>
#include <cmath>

#include "gateway/session/Rendezvous.h"

namespace gateway
{

using State = RouterState;

static constexpr const char *kNames[] = {"waiting", "current", "asked",  "sent",
                                         "loaded",  "updated", "failed", "offline"};
static_assert(std::size(kNames) == static_cast<size_t>(State::Count), "each state has a name");

const char *StateName(State state)
{
    return kNames[static_cast<size_t>(state)];
}

static bool IsUnderWay(State state)
{
    return state == State::Asked || state == State::Sent || state == State::Loaded;
}

std::optional<double> ParsePercent(const std::string &text)
{
    double value = -1;
    char sign = 0, more = 0;
    const bool percent = sscanf(text.c_str(), "%lf%c%c", &value, &sign, &more) == 2 && sign == '%';
    return percent && value >= 0 && value <= 100 ? std::optional<double>(value) : std::nullopt;
}

// ---- What becomes of a router

void Rollout::Choose(Named *router, const std::string &share)
{
    router->second.share = share;
    chosen_.push_back(router);
    counts_[static_cast<size_t>(router->second.state)]++;
}

void Rollout::Set(Named *named, State state, int64_t now, const std::string &why)
{
    Router &router = named->second;
    if (!router.share.empty()) {
        counts_[static_cast<size_t>(router.state)]--;
        counts_[static_cast<size_t>(state)]++;
        if (state >= State::Sent) changed_.push_back(named); // before, nothing has happened to it
    }
    router.state = state;
    router.why = why;
    router.changed = now;
    if (state == State::Updated || state == State::Failed) lastResult_ = now;
}

std::string Rollout::Entry(const Router &router) const
{
    Json entry = {{"to", rules_.version},      {"md5", rules_.md5},
                  {"share", router.share},     {"state", StateName(router.state)},
                  {"version", router.version}, {"sent", router.asked},
                  {"time", router.changed}};
    if (!router.why.empty()) entry["why"] = router.why;
    return JsonText(entry);
}

void Rollout::Recorded(const std::string &serial, const std::string &entry)
{
    const Json json = ReadObject(entry);
    if (TextOf(json, "to") != rules_.version || TextOf(json, "md5") != rules_.md5) return;
    Router router;
    for (const State state : {State::Sent, State::Loaded, State::Updated, State::Failed})
        if (TextOf(json, "state") == StateName(state)) router.state = state;
    router.share = TextOf(json, "share");
    router.why = TextOf(json, "why");
    router.asked = NumberOf(json, "sent");
    if (router.state == State::Waiting || router.share.empty()) return;
    if (router.state != State::Updated && rules_.retry) return;
    if (router.state == State::Loaded) router.state = State::Sent; // its login of then is not known any more
    Choose(&*routers_.insert_or_assign(serial, router).first, router.share);
}

void Rollout::Online(const std::string &serial, const std::string &version, uint64_t login, int64_t now)
{
    Named *const named = &*routers_.try_emplace(serial).first;
    Router &router = named->second;
    router.online = true;
    if (router.login == login) return;
    router.login = login;
    router.version = version;
    const bool wanted = version == rules_.version;
    if (router.state < State::Asked || router.state == State::Offline)
        Set(named, wanted ? State::Current : State::Waiting, now);
    else if (wanted && router.state != State::Updated)
        Set(named, State::Updated, now);
    else if (!wanted && (router.state == State::Loaded || router.state == State::Updated))
        Set(named, State::Failed, now, "it is back with " + version);
    // One that was sent the update and loses its session may still be fetching the file.
}

void Rollout::Offline(const std::string &serial)
{
    const auto found = routers_.find(serial);
    if (found != routers_.end()) found->second.online = false;
}

void Rollout::Answered(const std::string &serial, bool sent, const std::string &answer, int64_t now)
{
    const auto found = routers_.find(serial);
    if (found == routers_.end() || found->second.state != (sent ? State::Sent : State::Asked)) return;
    const Json json = ReadObject(answer), error = json.value("error", Json());
    const std::string code = json.empty() ? "offline" : TextOf(error, "code"); // empty: there is no gateway
    const std::string result = code.empty() ? json.value("result", Json(0)).dump() : "0";
    if (code == "offline" || (sent && code == "no_answer")) { // after a good update there is no answer
        if (!sent) Set(&*found, State::Offline, now);
    } else if (!code.empty() || result != "0") {
        Set(&*found, State::Failed, now,
            code.empty() ? "the result of the command is " + result : TextOf(error, "sentence"));
    } else if (!sent) {
        Set(&*found, State::Sent, now);
    }
}

void Rollout::Reported(const std::string &report, int64_t now)
{
    const Json json = ReadObject(report);
    const auto found = routers_.find(TextOf(json, "serial"));
    if (found == routers_.end() || found->second.state != State::Sent) return;
    const Json fields = json.value("fields", Json());
    if (TextOf(fields, "toVersion") != rules_.version) return; // of another update
    if (fields.value("result", Json()) == 0)
        Set(&*found, State::Loaded, now);
    else
        Set(&*found, State::Failed, now, "it could not fetch the file, or has fetched another one");
}

// ---- Shares

std::vector<std::pair<std::string, Rollout::Named *>> Rollout::Plan(size_t shares)
{
    std::vector<std::pair<uint64_t, Named *>> order;
    for (Named &each : routers_) // with the version: it is not always the same ones that come first
        order.emplace_back(StableHash(each.first + '\n' + rules_.version), &each);
    std::sort(order.begin(), order.end());
    std::vector<std::pair<std::string, Named *>> plan;
    for (size_t share = 0; share < shares; share++) {
        const double percent = ParsePercent(rules_.shares.at(share)).value_or(0);
        const double size = std::ceil(percent * static_cast<double>(order.size()) / 100);
        while (static_cast<double>(plan.size()) < size)
            plan.emplace_back(rules_.shares[share], order[plan.size()].second);
    }
    return plan;
}

Rollout::Verdict Rollout::Step(int64_t now)
{
    for (Named *const each : chosen_) {
        const State state = each->second.state;
        if (!IsUnderWay(state) || now < each->second.asked + rules_.waitSeconds) continue;
        Set(each, State::Failed, now, "it has not come back with " + rules_.version + " in time");
    }
    const double allowed = rules_.failures * static_cast<double>(Tried()) / 100;
    if (static_cast<double>(Count(State::Failed)) > allowed) return Verdict::Stopped;
    const bool settled = lastResult_ == 0 || now >= lastResult_ + rules_.settleSeconds;
    if (UnderWay() + Count(State::Waiting) > 0 || !settled) return Verdict::Going;
    if (begun_ == rules_.shares.size()) return Verdict::Done;
    for (const auto &[share, router] : Plan(++begun_))
        if (router->second.share.empty()) Choose(router, share);
    return Verdict::Going;
}

std::vector<const Rollout::Named *> Rollout::Take(int64_t now)
{
    std::vector<const Named *> taken;
    for (Named *const each : chosen_) {
        if (each->second.state != State::Waiting) continue;
        if (!each->second.online) {
            Set(each, State::Offline, now);
        } else if (UnderWay() < rules_.atOnce) {
            each->second.asked = now;
            Set(each, State::Asked, now);
            taken.push_back(each);
        }
    }
    return taken;
}

// ---- Figures

size_t Rollout::UnderWay() const
{
    return Count(State::Asked) + Count(State::Sent) + Count(State::Loaded);
}

size_t Rollout::Tried() const
{
    return chosen_.size() - Count(State::Current) - Count(State::Offline);
}

std::string Rollout::Progress() const
{
    const std::string share = begun_ == 0 ? "0%" : rules_.shares[begun_ - 1];
    const auto text = [](size_t count) { return std::to_string(count); };
    return share + ": " + text(Count(State::Updated)) + " of " + text(Tried()) + " updated, " +
           text(Count(State::Failed)) + " failed, " + text(Count(State::Offline)) + " offline, " + text(UnderWay()) +
           " under way";
}

} // namespace gateway
