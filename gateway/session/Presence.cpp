#include "gateway/session/Presence.h"

namespace gateway
{

std::optional<Elsewhere> ReadPresence(const Change &change)
{
    const Json json = ReadObject(change.value.value_or(""));
    if (json.empty()) return std::nullopt;
    const auto text = [&](const char *name) { return TextOf(json, name); };
    return Elsewhere{text("gateway"),         text("mac"),    text("version"), text("address"),
                     NumberOf(json, "since"), change.revision};
}

Presence::Presence(std::string gateway, Stored &stored, asio::io_context &context,
                   std::function<void(const Here &)> replaced)
    : gateway_(std::move(gateway)), stored_(stored), context_(context), replaced_(std::move(replaced))
{
}

void Presence::Online(const std::string &serial, const Here &here, const Elsewhere &seen)
{
    const std::string entry = JsonText({{"gateway", seen.gateway},
                                        {"mac", seen.mac},
                                        {"version", seen.version},
                                        {"address", seen.address},
                                        {"since", seen.since}});
    const std::lock_guard<std::mutex> hold(lock_);
    Local &local = here_[serial];
    if (local.here.shard) replaced_(local.here);
    local = {here, entry, 0, false, {}};
    Write(serial, local);
}

void Presence::Write(const std::string &serial, const Local &local)
{
    const uint64_t session = local.here.session;
    stored_.Put(kSessionsBucket, serial, local.entry, context_,
                [=](std::optional<uint64_t> revision) { Written(serial, session, revision); });
}

void Presence::Written(const std::string &serial, uint64_t session, std::optional<uint64_t> revision)
{
    const std::lock_guard<std::mutex> hold(lock_);
    const auto found = here_.find(serial);
    if (found == here_.end() || found->second.here.session != session) { // it has ended meanwhile
        if (revision) stored_.Delete(kSessionsBucket, serial, *revision, context_, {});
        return;
    }
    found->second.failed = !revision; // Repeat() does not leave it at that: others have to find it
    found->second.revision = revision.value_or(0);
    EndIfReplaced(serial);
}

void Presence::Repeat()
{
    const std::lock_guard<std::mutex> hold(lock_);
    for (auto &[serial, local] : here_)
        if (std::exchange(local.failed, false)) Write(serial, local);
}

void Presence::Offline(const std::string &serial, uint64_t session)
{
    const std::lock_guard<std::mutex> hold(lock_);
    const auto found = here_.find(serial);
    if (found == here_.end() || found->second.here.session != session) return;
    // Until it is written, Written() deletes it.
    const uint64_t revision = found->second.revision;
    if (revision > 0) stored_.Delete(kSessionsBucket, serial, revision, context_, {});
    here_.erase(found);
}

void Presence::Reported(const std::string &serial, const std::string &report, int64_t time)
{
    const std::lock_guard<std::mutex> hold(lock_);
    const auto found = here_.find(serial);
    if (found != here_.end()) found->second.lastReport = {report, time};
}

LastReport Presence::LastReport(const std::string &serial) const
{
    const std::lock_guard<std::mutex> hold(lock_);
    const auto here = here_.find(serial);
    if (here != here_.end()) return here->second.lastReport;
    const auto there = all_.find(serial);
    return there == all_.end() ? gateway::LastReport() : there->second.lastReport;
}

Json Presence::LastReports(const std::string &after, size_t most) const
{
    const std::lock_guard<std::mutex> hold(lock_);
    Json reports = Json::object();
    for (auto at = here_.upper_bound(after); at != here_.end() && reports.size() < most; ++at)
        if (const auto &[report, time] = at->second.lastReport; time > 0) reports[at->first] = {report, time};
    return reports;
}

void Presence::Learn(const std::string &gateway, const Json &reports)
{
    const std::lock_guard<std::mutex> hold(lock_);
    for (const auto &[serial, report] : reports.items()) {
        const auto there = all_.find(serial);
        const bool known = there != all_.end() && there->second.gateway == gateway;
        if (known && report.is_array() && report.size() == 2 && report[0].is_string() && report[1].is_number_integer())
            there->second.lastReport = {report[0].get<std::string>(), report[1].get<int64_t>()};
    }
}

void Presence::EndIfReplaced(const std::string &serial) const
{
    const auto here = here_.find(serial);
    const auto there = all_.find(serial);
    if (here == here_.end() || there == all_.end() || here->second.revision == 0) return;
    if (there->second.gateway != gateway_ && there->second.revision > here->second.revision)
        replaced_(here->second.here);
}

void Presence::Take(const Change &change)
{
    if (change.key.empty()) return;
    const std::lock_guard<std::mutex> hold(lock_);
    if (!change.value) {
        all_.erase(change.key);
    } else if (const std::optional<Elsewhere> there = ReadPresence(change)) {
        all_[change.key] = *there;
        EndIfReplaced(change.key);
    }
}

std::optional<Here> Presence::FindHere(const std::string &serial) const
{
    const std::lock_guard<std::mutex> hold(lock_);
    const auto found = here_.find(serial);
    if (found == here_.end()) return std::nullopt;
    return found->second.here;
}

std::optional<Elsewhere> Presence::Find(const std::string &serial) const
{
    const std::lock_guard<std::mutex> hold(lock_);
    const auto found = all_.find(serial);
    if (found == all_.end()) return std::nullopt;
    return found->second;
}

std::vector<std::pair<std::string, Here>> Presence::AllHere() const
{
    const std::lock_guard<std::mutex> hold(lock_);
    std::vector<std::pair<std::string, Here>> all;
    for (const auto &[serial, local] : here_) all.emplace_back(serial, local.here);
    return all;
}

std::vector<std::pair<std::string, Elsewhere>> Presence::All() const
{
    const std::lock_guard<std::mutex> hold(lock_);
    return {all_.begin(), all_.end()};
}

} // namespace gateway
