// torture - lets calls of the agent go wrong, one point after the other, and says what became of it.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <random>

#include "tests/e2e/Sandbox.h"
#include "tests/torture/Torture.h"

void EndToEnd::SetUp() {} // what we share with the end-to-end tests names it; there is no such test here

static const char kUsage[] =
    "torture - lets calls of the agent go wrong, one point after the other\n"
    "\n"
    "  torture --list                    prints all points there are, one a line: SESSION FAULT\n"
    "  torture --sample N [--seed S]     tries N of them, chosen by S (any, unless given; it is printed)\n"
    "          [--part I/OF]             of these only every OF-th, from the I-th on\n"
    "  torture [POINT]...                tries these; without any, those on standard input\n"
    "\n"
    "A fault is KIND:N (the N-th call of a kind fails), KIND:N+ (and all behind it, until the trouble is over) or\n"
    "random:SEED:PERMILLE (interrupted, put off or done in part). A line for each point, with tabs between: the point, "
    "what\n"
    "became of it (came-back, started-anew, stopped, not-reached, FAULTY), seconds, the first call that went wrong, "
    "and why.\n"
    "Exit status: 0 when no point was faulty, 1 when one was, 2 for wrong use, 3 when nothing could be tried.\n";

static const uint32_t kRandomPoints = 20; // of each session
static const int kRandomPermille = 30;

// The way to the login is the same in all sessions, so it belongs to the first.
static std::vector<Point> AllPoints(Torture *torture)
{
    std::vector<Point> points;
    for (size_t session = 0; session < Sessions().size(); session++) {
        const Reach &reach = torture->Measure(session);
        for (int kind = 0; kind < FAULT_KIND_COUNT; kind++)
            for (uint32_t n = session == 0 ? 1 : reach.login[kind] + 1; n <= reach.all[kind]; n++)
                for (const char *way : {"", "+"})
                    points.push_back({session, KindName(kind) + (":" + std::to_string(n)) + way, kind});
        const std::string permille = std::to_string(kRandomPermille);
        for (uint32_t seed = 1; seed <= kRandomPoints; seed++)
            points.push_back({session, "random:" + std::to_string(seed) + ":" + permille, -1});
    }
    return points;
}

// A sample in which each kind has its turn, the rare ones too.
static std::vector<Point> Sample(std::vector<Point> points, size_t size, unsigned seed)
{
    std::mt19937 random(seed);
    std::shuffle(points.begin(), points.end(), random);
    std::map<int, std::vector<Point>> byKind;
    for (const Point &point : points) byKind[point.kind].push_back(point);
    std::vector<Point> chosen;
    for (size_t turn = 0; chosen.size() < size && turn < points.size(); turn++)
        for (const auto &kind : byKind)
            if (turn < kind.second.size() && chosen.size() < size) chosen.push_back(kind.second[turn]);
    return chosen;
}

static const char *const kOutcomes[] = {"came-back", "started-anew", "stopped", "not-reached", "FAULTY"};

static std::string OneLine(std::string text)
{
    for (char &c : text)
        if (c == '\n' || c == '\t') c = ' ';
    return text;
}

// Returns whether it is not faulty.
static bool Try(Torture *torture, const Point &point)
{
    const Verdict verdict = torture->Try(point);
    printf("%s\t%s\t%.2f\t%s\t%s\n", point.Text().c_str(), kOutcomes[verdict.outcome], verdict.seconds,
           verdict.call.c_str(), OneLine(verdict.text).c_str());
    fflush(stdout);
    return verdict.outcome != FAULTY;
}

namespace
{
struct Options {
    bool list = false;
    size_t sample = 0;
    unsigned seed = 0;
    size_t part = 1, of = 1;
    std::vector<std::string> points;
};
} // namespace

// False for wrong use.
static bool ReadOptions(int argc, char *argv[], Options *options)
{
    options->seed = std::random_device()(); // not the time: several begin in the same second
    for (int i = 1; i < argc; i++) {
        const std::string word = argv[i];
        char rest = '\0';
        if (word == "--list")
            options->list = true;
        else if (word == "--sample" || word == "--seed" || word == "--part") {
            const char *value = ++i < argc ? argv[i] : "";
            const bool read = word == "--sample" ? sscanf(value, "%zu%c", &options->sample, &rest) == 1
                              : word == "--seed" ? sscanf(value, "%u%c", &options->seed, &rest) == 1
                                                 : sscanf(value, "%zu/%zu%c", &options->part, &options->of, &rest) == 2;
            if (!read || options->part < 1 || options->part > options->of) return false;
        } else if (!word.empty() && word[0] == '-')
            return false;
        else
            options->points.push_back(word);
    }
    for (const std::string &point : options->points) ReadPoint(point);
    return true;
}

static bool TrySample(Torture *torture, const Options &options)
{
    printf("# %zu points chosen by --seed %u, part %zu of %zu\n", options.sample, options.seed, options.part,
           options.of);
    const std::vector<Point> points = Sample(AllPoints(torture), options.sample, options.seed);
    bool well = true;
    for (size_t i = options.part - 1; i < points.size(); i += options.of) well = Try(torture, points[i]) && well;
    return well;
}

static bool TryGiven(Torture *torture, const Options &options)
{
    bool well = true;
    const auto each = [&](const std::string &text) { well = Try(torture, ReadPoint(text)) && well; };
    for (const std::string &text : options.points) each(text);
    std::string line;
    while (options.points.empty() && std::getline(std::cin, line)) each(line);
    return well;
}

static int Run(const Options &options)
{
    Torture torture;
    if (options.list) {
        for (const Point &point : AllPoints(&torture)) printf("%s\n", point.Text().c_str());
        return 0;
    }
    return (options.sample > 0 ? TrySample(&torture, options) : TryGiven(&torture, options)) ? 0 : 1;
}

int main(int argc, char *argv[])
{
    Options options;
    if (argc == 2 && strcmp(argv[1], "--help") == 0) {
        fputs(kUsage, stdout);
        return 0;
    }
    try {
        if (!ReadOptions(argc, argv, &options)) throw Failure("wrong use; see --help");
    } catch (const Failure &failure) {
        fprintf(stderr, "torture: %s\n", failure.what());
        return 2;
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
        fprintf(stderr, "torture: %s\n", failure.what());
        return 3;
    }
}
