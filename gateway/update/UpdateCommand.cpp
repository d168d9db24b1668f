#include <CLI/CLI.hpp>
#include <asio/executor_work_guard.hpp>
#include <asio/signal_set.hpp>
#include <fstream>
#include <openssl/evp.h>
#include <regex>
#include <set>
#include <sstream>

#include "gateway/Commands.h"
#include "gateway/Options.h"
#include "gateway/bus/Stored.h"
#include "gateway/directory/Directory.h"
#include "gateway/session/Instances.h"
#include "gateway/session/Presence.h"
#include "gateway/translate/Command.h"
#include "gateway/update/Rollout.h"

namespace gateway
{
namespace
{
constexpr char kUpdatesBucket[] = "plug_updates"; // serial number -> what became of its update
constexpr char kCheck[] = "plugin-update-check", kUpdate[] = "plugin-update";
constexpr std::chrono::milliseconds kStep{100};
constexpr int64_t kTellSeconds = 5;

struct Words {
    RolloutRules rules;
    std::string file, url, shares = "1%,10%,100%", failures = "1%";
    bool directory = false, dryRun = false;
    Json fileJson = {};
};

int64_t Now()
{
    return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
}

// The parameters of plugin-update-check, or of plugin-update.
Json Parameters(const Words &words, const std::string &version, bool withFile)
{
    Json parameters = {{"plugin_id", "plug"}, {"from_version", version}, {"to_version", words.rules.version}};
    if (withFile) parameters.update(words.fileJson);
    return parameters;
}

void Need(bool good, const std::string &text, const char *problem)
{
    if (!good) throw std::runtime_error(text + ": " + problem);
}

// Fills in what follows from the words, and throws std::runtime_error for what no router would take.
void Check(Words *words)
{
    RolloutRules &rules = words->rules;
    std::ifstream input(words->file, std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(input), {}};
    Need(input && !content.empty(), words->file, "cannot be read, or is empty");
    protocol::Bytes digest(EVP_MAX_MD_SIZE);
    unsigned size = 0;
    Need(EVP_Digest(content.data(), content.size(), digest.data(), &size, EVP_md5(), nullptr) == 1, words->file,
         "this system has no MD5");
    digest.resize(size);
    rules.md5 = protocol::ToHex(digest);
    const bool slash = !words->url.empty() && words->url.back() == '/';
    const std::string url = words->url + (slash ? "" : "/") + words->file.substr(words->file.rfind('/') + 1);
    Need(std::regex_match(url, std::regex("http://[A-Za-z0-9.-]{1,31}(:[0-9]{1,5})?/[A-Za-z0-9._~/-]+")), url,
         "no router reads it; it is http://HOST[:PORT]/PATH of letters, digits and ._~/-");
    words->fileJson = {{"url", url}, {"file_length", content.size()}, {"file_md5", rules.md5}, {"token", ""}};
    MakeCommand(kUpdate, Parameters(*words, rules.version, true)); // throws what is wrong with them
    Need(std::regex_match(rules.version, std::regex("[0-9]{1,3}([.][0-9]{1,3}){3}")), rules.version,
         "no version such as 2.0.0.8");

    Need(ParsePercent(words->failures).has_value(), words->failures, "no percentage");
    rules.failures = *ParsePercent(words->failures);
    double last = 0;
    std::istringstream shares(words->shares);
    for (std::string share; std::getline(shares, share, ','); rules.shares.push_back(share)) {
        const double percent = ParsePercent(share).value_or(0);
        Need(percent > last, words->shares, "no percentages that rise, such as 1%,10%,100%");
        last = percent;
    }
}

class Updater
{
  public:
    Updater(const BusOptions &bus, const Words &words) : words_(words), rollout_(words.rules), bus_(bus)
    {
        for (const char *bucket : {kDevicesBucket, kSessionsBucket, kUpdatesBucket}) bus_.EnsureBucket(bucket, 0);
        bus_.EnsureBucket(kGatewaysBucket, kDeadAfter.count());
        ReadBucket(bus_, kUpdatesBucket, [this](const Change &change) {
            if (change.value) rollout_.Recorded(change.key, *change.value);
        });
        Directory devices;
        if (words.directory) ReadBucket(bus_, kDevicesBucket, [&](const Change &change) { devices.Take(change); });
        for (const Device &device : devices.All())
            if (!device.locked) rollout_.Listed(device.serial);
        std::set<std::string> gateways;
        ReadBucket(bus_, kGatewaysBucket, [&](const Change &change) {
            if (change.value) gateways.insert(change.key);
        });
        ReadBucket(bus_, kSessionsBucket, [&](const Change &change) {
            const auto at = ReadPresence(change);
            if (at && gateways.count(at->gateway) == 0) left_.insert(change.revision);
            Session(change);
        });
        if (rollout_.Plan(words.rules.shares.size()).empty()) throw std::runtime_error("there is no router to update");
    }

    void Show()
    {
        for (const auto &[share, named] : rollout_.Plan(words_.rules.shares.size())) {
            const Rollout::Router &router = named->second;
            Print(share + "\t" + named->first + "\t" + (router.online ? router.version : "offline") + "\t" +
                  StateName(router.state) + "\n");
        }
    }

    // The exit status.
    int Run()
    {
        const Watch sessions(bus_, kSessionsBucket, context_, [this](const Change &change) { Session(change); });
        const auto answers = bus_.Subscribe(inbox_ + ".*.*", "", context_, [this](const Message &message) {
            const size_t dot = message.subject.rfind('.'), from = inbox_.size() + 1;
            rollout_.Answered(message.subject.substr(from, dot - from), message.subject.substr(dot + 1) == kUpdate,
                              message.data, Now());
        });
        const auto reports = bus_.Subscribe("plug.*.report.plugin-update-report", "", context_,
                                            [this](const Message &message) { rollout_.Reported(message.data, Now()); });
        asio::signal_set signals(context_, SIGINT, SIGTERM);
        bool interrupted = false;
        signals.async_wait([&](const asio::error_code &, int) { interrupted = true; });

        Rollout::Verdict verdict = Rollout::Verdict::Going;
        while (verdict == Rollout::Verdict::Going && !interrupted) {
            verdict = rollout_.Step(Now());
            if (verdict == Rollout::Verdict::Going)
                for (const Rollout::Named *router : rollout_.Take(Now())) Send(*router, kCheck);
            Store(verdict == Rollout::Verdict::Going);
            Tell();
            context_.run_for(kStep);
        }
        Store(false);
        while (stored_.Outstanding() > 0) context_.run_for(kStep);
        context_.run_for(kStep);
        Print(rollout_.Progress() + "\n");
        if (verdict == Rollout::Verdict::Done) return 0;
        Print(verdict == Rollout::Verdict::Stopped
                  ? "stopped: more than " + words_.failures + " have failed; to go on, with those again: --retry\n"
                  : "interrupted; the same command goes on\n");
        return verdict == Rollout::Verdict::Stopped ? 2 : 128 + SIGINT;
    }

  private:
    void Session(const Change &change)
    {
        const auto at = ReadPresence(change);
        if (!at)
            rollout_.Offline(change.key);
        else if (left_.count(at->revision) == 0)
            rollout_.Online(change.key, at->version, at->revision, Now());
    }

    void Send(const Rollout::Named &router, const std::string &command)
    {
        const auto &[serial, known] = router;
        bus_.Publish("plug." + serial + ".command." + command,
                     JsonText(Parameters(words_, known.version, command == kUpdate)),
                     inbox_ + "." + serial + "." + command);
    }

    // A router gets the file's place when its entry says so: no later run sends it again.
    void Store(bool going)
    {
        for (const Rollout::Named *const router : rollout_.Changed()) {
            const auto &[serial, known] = *router;
            const bool send = known.state == RouterState::Sent;
            if (send && !going) continue;
            if (known.state == RouterState::Failed) Print(serial + " has failed: " + known.why + "\n");
            stored_.Put(kUpdatesBucket, serial, rollout_.Entry(known), context_,
                        [this, router, send](std::optional<uint64_t> sequence) {
                            if (!sequence) throw std::runtime_error("results cannot be stored");
                            if (send) Send(*router, kUpdate);
                        });
        }
    }

    void Tell()
    {
        const std::string progress = rollout_.Progress();
        if (progress == told_ || Now() < toldAt_ + kTellSeconds) return;
        Print(progress + "\n");
        told_ = progress;
        toldAt_ = Now();
    }

    const Words words_;
    Rollout rollout_;
    std::set<uint64_t> left_; // sessions of gateways that were dead when it began
    Bus bus_;
    const std::string inbox_ = bus_.NewInbox(); // answers arrive below it: SERIAL.COMMAND
    asio::io_context context_;
    const asio::executor_work_guard<asio::io_context::executor_type> work_{context_.get_executor()};
    std::string told_;
    int64_t toldAt_ = 0;
    Stored stored_{bus_, {}}; // last: its completions need what stands above
};
} // namespace

void AddUpdateCommand(CLI::App *app, const BusOptions &bus)
{
    CLI::App *const update = app->add_subcommand("update", "give the agents of a fleet a new file, share by share");
    const auto words = std::make_shared<Words>();
    RolloutRules &rules = words->rules;
    const auto add = [update](const char *name, auto *value, const char *text) {
        return update->add_option(name, *value, text)->capture_default_str();
    };
    add("FILE", &words->file, "the agent's program")->required();
    add("--to", &rules.version, "its version")->required();
    add("--url", &words->url, "where a web server has it, without its name")->required();
    add("--share", &words->shares, "of the routers, one after the other");
    add("--stop-after-failures", &words->failures, "of the routers of the shares so far; more end it");
    add("--at-once", &rules.atOnce, "routers under way at the same time, at most")->check(CLI::Range(1, 1000000));
    add("--wait", &rules.waitSeconds, "seconds for a router to come back")->check(CLI::Range(1, 1000000));
    add("--settle", &rules.settleSeconds, "seconds from a share to the next")->check(CLI::Range(0, 1000000));
    update->add_flag("--directory", words->directory, "shares are of all devices, not of those online");
    update->add_flag("--retry", rules.retry, "try those again that an earlier run has not updated");
    update->add_flag("--dry-run", words->dryRun, "only show which routers come when");
    update->callback([words, &bus] {
        Check(words.get());
        Updater updater(bus, *words);
        if (words->dryRun) return updater.Show();
        if (const int status = updater.Run()) throw CLI::RuntimeError(status);
    });
}

} // namespace gateway
