// soak - days of the agent's life in minutes, under its supervisor, and whether it holds no more at the end.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <unistd.h>

#include "tests/e2e/EndToEnd.h"
#include "tests/e2e/Sandbox.h"
#include "tests/soak/Rounds.h"

void EndToEnd::SetUp() {} // what we share with the end-to-end tests names it; there is no such test here

static const char kUsage[] =
    "soak - days of the agent's life in minutes, and whether it holds no more at the end\n"
    "\n"
    "  soak [--days N] [--speed N] [--seed N] [--folder DIR] [--leak WHAT]\n"
    "\n"
    "  --days N      of the agent's time, decimals too [8]\n"
    "  --speed N     how many times faster that time runs [600]\n"
    "  --seed N      decides the order in which things happen [1]\n"
    "  --folder DIR  for samples.tsv, summary.txt and retries.txt, not in /tmp [soak-run]\n"
    "  --leak WHAT   the agent is made to lose this: memory, descriptors, threads, or more with commas between\n"
    "\n"
    "Exit status: 0 flat and everything worked, 1 not so, 2 wrong use, 3 it could not run.\n";

static const double kDay = 86400, kHour = 3600;
static const unsigned kLeastRounds = 14;      // however busy the machine is
static const double kProgressSeconds = 20;    // real ones
static const double kWeekIsOver = 7.5 * kDay; // of one process, also when it was without a session now and then

namespace
{
struct Options {
    double days = 8;
    double speed = 600;
    unsigned seed = 1;
    std::string folder = "soak-run";
    std::string leak;
};
} // namespace

static bool ReadNumber(const char *text, double least, double most, double *number)
{
    char rest;
    return sscanf(text, "%lf%c", number, &rest) == 1 && *number >= least && *number <= most;
}

static bool AreLeaks(const std::string &text)
{
    std::istringstream words(text);
    for (std::string word; std::getline(words, word, ',');)
        if (word != "memory" && word != "descriptors" && word != "threads") return false;
    return true;
}

static bool ReadOptions(int argc, char *argv[], Options *options)
{
    for (int i = 1; i < argc; i += 2) {
        const std::string name = argv[i];
        const char *const value = i + 1 < argc ? argv[i + 1] : nullptr;
        double number = 0;
        if (!value) return false;
        if (name == "--days" && ReadNumber(value, 0.05, 365, &number))
            options->days = number;
        else if (name == "--speed" && ReadNumber(value, 1, 2000, &number))
            options->speed = number;
        else if (name == "--seed" && ReadNumber(value, 0, 4e9, &number))
            options->seed = static_cast<unsigned>(number);
        else if (name == "--folder" && *value)
            options->folder = value;
        else if (name == "--leak" && AreLeaks(value))
            options->leak = value;
        else
            return false;
    }
    return true;
}

// ---- A run

static std::string Minutes(double seconds)
{
    char text[32];
    snprintf(text, sizeof text, "%d min %02d s", static_cast<int>(seconds) / 60, static_cast<int>(seconds) % 60);
    return text;
}

static void ShowProgress(World *world, const Rounds &rounds, const Options &options)
{
    const std::vector<Sample> samples = world->Samples();
    if (samples.empty()) return;
    const Sample &last = samples.back();
    const double took = world->Now() / options.speed, whole = options.days * kDay / options.speed;
    printf("  %s: day %.2f of %g, %u rounds; process %d: %ld KB, %ld descriptors, %ld threads; about %s left\n",
           Minutes(took).c_str(), world->Now() / kDay, options.days, rounds.Done(), last.life, last.dirtyKb,
           last.descriptors, last.threads, Minutes(std::max(0.0, whole - took)).c_str());
    fflush(stdout);
}

// Four young processes, each with another end, and then one that is left to itself.
static void LiveThrough(World *world, Rounds *rounds, const Options &options, double length)
{
    const double end = options.days * kDay;
    const unsigned each = end / length >= 48 ? 2 : 1; // rounds of a process that is ended
    std::vector<Ending> endings = {Ending::UPDATE, Ending::OUTAGE, Ending::KILLED, Ending::FORCED}; // from the back
    double shown = 0;
    while (world->Now() + length / 2 < end || rounds->Done() < kLeastRounds) {
        rounds->Run();
        if (!endings.empty() && rounds->Done() % each == 0) {
            rounds->End(endings.back());
            endings.pop_back();
        }
        const double real = world->Now() / options.speed;
        if (real - shown < kProgressSeconds) continue;
        ShowProgress(world, *rounds, options);
        shown = real;
    }
}

// Ends that nobody has caused; and that of the week, which has to come.
static std::vector<std::string> WrongEnds(World *world)
{
    static const size_t kCaused = 4;
    const std::vector<End> ends = world->Ends();
    std::vector<std::string> wrong;
    double oldest = 0;
    for (const Sample &sample : world->Samples()) oldest = std::max(oldest, sample.age);
    if (ends.size() < kCaused) wrong.push_back("fewer ends of the process than were caused");
    size_t weeks = 0;
    for (size_t i = kCaused; i < ends.size(); i++) {
        // It is looked for when a session has ended: the connection is lost, or the stage is that of the session, in
        // which an update may have been refused.
        const bool sessionEnded = ends[i].stage == "103" || ends[i].stage == "003" || ends[i].stage == "104";
        if (ends[i].status == 255 && sessionEnded && oldest > 7 * kDay && weeks++ == 0) continue;
        wrong.push_back("the process has ended by itself with status " + std::to_string(ends[i].status) + " at stage " +
                        ends[i].stage);
    }
    if (oldest > kWeekIsOver) wrong.push_back("the process has not ended after its week");
    return wrong;
}

static std::string Counted(World *world, const Rounds &rounds, const Options &options, double length)
{
    Platform &platform = world->scene.platform;
    char text[512];
    snprintf(
        text, sizeof text,
        "%g days at %g times the speed (seed %u): %u rounds of %.1f h, %u things done, %u of them at a later try; %zu "
        "processes, %zu sessions, %zu heartbeats, %zu commands answered, %zu reports",
        options.days, options.speed, options.seed, rounds.Done(), length / kHour, rounds.Things(), rounds.Retries(),
        world->Ends().size() + 1, platform.Count("login"), platform.Count("heartbeat"),
        platform.Count("reply") + platform.Count("ack"), platform.Count("upload"));
    return text;
}

static std::string Text(const Finding &finding)
{
    char text[128];
    snprintf(text, sizeof text, "; %s %.0f, later %.0f", finding.figure.c_str(), finding.earlier, finding.later);
    return (finding.figure.empty() ? "" : text) + std::string(finding.flat ? "" : ": NOT FLAT");
}

static bool Report(World *world, const Rounds &rounds, const Options &options, double length)
{
    bool well = true;
    std::ofstream summary(options.folder + "/summary.txt");
    const auto say = [&](const std::string &line) {
        printf("  %s\n", line.c_str());
        summary << line << "\n";
    };
    say(Counted(world, rounds, options, length));
    std::string line, what;
    for (const Finding &finding : Judge(world->Samples())) {
        if (finding.what != what && !line.empty()) say(line);
        if (finding.what != what) line = what = finding.what;
        line += Text(finding);
        well = well && finding.flat;
    }
    say(line);
    for (const std::string &wrong : WrongEnds(world)) {
        say("FAILED: " + wrong);
        well = false;
    }
    for (const auto &failure : rounds.Failures()) {
        say("FAILED: " + failure.first + ": " + failure.second);
        well = false;
    }
    if (rounds.Late() > 0) say(std::to_string(rounds.Late()) + " rounds took longer than their time");
    return well;
}

static int Run(const Options &options)
{
    const double length = std::min(kHour, options.days * kDay / kLeastRounds);
    WorldOptions worldOptions;
    worldOptions.speed = options.speed;
    worldOptions.folder = options.folder;
    worldOptions.leak = options.leak;
    worldOptions.interval = length / 6;
    World world(worldOptions);
    Rounds rounds(&world, length, options.seed);
    rounds.Begin();
    LiveThrough(&world, &rounds, options, length);
    world.Stop();
    return Report(&world, rounds, options, length) ? 0 : 1;
}

int main(int argc, char *argv[])
{
    Options options;
    if (argc == 2 && strcmp(argv[1], "--help") == 0) {
        fputs(kUsage, stdout);
        return 0;
    }
    if (!ReadOptions(argc, argv, &options)) {
        fprintf(stderr, "soak: wrong use; see --help\n");
        return 2;
    }
    std::error_code error;
    for (const char *name : {"samples.tsv", "summary.txt", "retries.txt"})
        std::filesystem::remove(options.folder + "/" + name, error);
    for (const char *name : {"plug.update", "plug.update.trial", "plug.update.part"})
        std::filesystem::remove(options.folder + "/" + name, error);
    std::filesystem::create_directories(options.folder, error);
    options.folder = std::filesystem::canonical(options.folder, error);
    if (error) {
        fprintf(stderr, "soak: cannot make %s\n", options.folder.c_str());
        return 3;
    }
    // A program that does not take its input is a failure with a text. Ignored, the signal would be so in all programs.
    signal(SIGPIPE, [](int) {});
    std::string reason;
    if (!EnterSandbox(PLUG_BUILD_FOLDER, &reason)) {
        fprintf(stderr, "no sandbox: %s\n", reason.c_str());
        return 3;
    }
    try {
        return Run(options);
    } catch (const Failure &failure) {
        fprintf(stderr, "soak: %s\n", failure.what());
        return 3;
    }
}
