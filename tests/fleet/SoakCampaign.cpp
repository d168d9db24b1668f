#include <cstdio>

#include "tests/bench/Figures.h"
#include "tests/fleet/Campaigns.h"
#include "tests/fleet/Flat.h"
#include "tests/fleet/Questions.h"
#include "tests/support/Files.h"

static constexpr unsigned kLoginsAtOnce = 500, kSamples = 72, kTold = 6;
static constexpr double kPatienceSeconds = 300;
static constexpr double kMostUnanswered = 0.01; // routers that are just coming back answer nothing

static Sample Take(Lab &lab, FleetClock::time_point begin)
{
    const Usage usage = UsageOf(lab.GatewayId());
    Sample sample;
    sample.at = std::chrono::duration<double>(usage.at - begin).count();
    sample.dirtyKb = static_cast<double>(usage.dirtyKb);
    sample.residentKb = static_cast<double>(usage.residentKb);
    sample.descriptors = static_cast<double>(usage.descriptors);
    sample.threads = static_cast<double>(usage.threads);
    sample.cpu = usage.cpu;
    return sample;
}

// For a look at what has changed when.
static void Write(const std::string &file, const std::vector<Sample> &samples)
{
    std::string text = "seconds\tdirty KB\tresident KB\tdescriptors\tthreads\tprocessor s\n";
    for (const Sample &sample : samples)
        text += Format("%.1f\t%.0f\t%.0f\t%.0f\t%.0f\t%.2f\n", sample.at, sample.dirtyKb, sample.residentKb,
                       sample.descriptors, sample.threads, sample.cpu);
    WriteFile(file, text);
}

static bool Show(const std::vector<Finding> &findings)
{
    bool flat = !findings.empty();
    if (!flat) PrintFigure("flat", "flat", "too few samples to judge", false);
    for (const Finding &finding : findings) {
        PrintFigure(finding.figure + ", second sixth and last", "flat",
                    Format("%.0f, later %.0f", finding.earlier, finding.later), finding.flat);
        flat = flat && finding.flat;
    }
    return flat;
}

bool RunSoak(const SoakOptions &options)
{
    LabOptions faster = options.lab;
    faster.interval /= options.speed;
    Lab lab(faster);
    lab.ImportDevices();
    lab.StartGateway();
    lab.StartFleet();
    lab.Fleet().LogIn(kLoginsAtOnce);
    lab.AwaitAll(kPatienceSeconds);
    Sleep(options.lab.settle);

    const double fleet = options.speed * static_cast<double>(options.lab.routers);
    lab.Fleet().Report(fleet / options.reportEvery);
    lab.Fleet().EndSessions(fleet / options.sessionLasts);
    auto questions = std::make_unique<SteadyQuestions>(lab, fleet / options.questionEvery);
    lab.Hold(options.warmUp, "warm-up");

    const FleetCounts &counts = lab.Fleet().Counts();
    const auto stored = lab.Stored();
    const double natsKb = static_cast<double>(UsageOf(lab.NatsId()).residentKb);
    const uint64_t reports = counts.reports, logins = counts.loggedIn, heartbeats = counts.heartbeatsAnswered,
                   lost = counts.lost;
    const size_t good = questions->Good(), failed = questions->Failed();
    const double seconds = 60 * options.minutes;
    const auto begin = FleetClock::now();
    std::vector<Sample> samples;
    for (unsigned i = 0; i <= kSamples; i++) {
        const double due = seconds * i / kSamples - SecondsSince(begin);
        if (due > 0) Sleep(due);
        samples.push_back(Take(lab, begin));
        if (i % kTold == 0)
            Tell(Format("%.1f of %.1f minutes: %.1f MB written to, %.0f descriptors, %zu online",
                        samples.back().at / 60, options.minutes, samples.back().dirtyKb / 1024,
                        samples.back().descriptors, lab.Fleet().Online()));
    }
    lab.Fleet().Report(0);
    lab.Fleet().EndSessions(0);
    const double answered = static_cast<double>(questions->Good() - good);
    const double unanswered = static_cast<double>(questions->Failed() - failed);
    questions.reset();
    Sleep(options.lab.settle);

    const double inStream = lab.Stored().first - stored.first;
    printf("in %.1f minutes at %.0f times the rate of every day (load %.1f): %.0f heartbeats, %.0f questions, "
           "%.0f reports (%.0f in the stream), %.0f logins\n",
           options.minutes, options.speed, Load(), static_cast<double>(counts.heartbeatsAnswered - heartbeats),
           answered, static_cast<double>(counts.reports - reports), inStream,
           static_cast<double>(counts.loggedIn - logins));
    printf("nats-server: %.0f KB resident before, %.0f KB after\n", natsKb,
           static_cast<double>(UsageOf(lab.NatsId()).residentKb));
    Write(options.lab.folder + "/samples.tsv", samples);
    bool all = Show(JudgeFlat(samples));
    const auto judge = [&all](const std::string &what, const std::string &toReach, const std::string &measured,
                              bool reached) {
        PrintFigure(what, toReach, measured, reached);
        all = all && reached;
    };
    judge("sessions that the gateway has ended", "none", Format("%.0f", static_cast<double>(counts.lost - lost)),
          counts.lost == lost);
    judge("questions without an answer", Format("at most %.0f %%", 100 * kMostUnanswered),
          Format("%.0f of %.0f", unanswered, answered + unanswered),
          answered > 0 && unanswered <= kMostUnanswered * (answered + unanswered));
    judge("reports stored", "some", Format("%.0f", inStream), inStream > 0);
    return all;
}
