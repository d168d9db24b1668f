#include "tests/lab/Flow.h"

static const double kConnectSeconds = 10; // the program itself gives up after five

static ProcessOptions ProgramFor(const FlowOptions &flow)
{
    ProcessOptions program;
    program.arguments = {LAB_TRAFFIC_PROGRAM,       flow.protocol, flow.from, flow.to, flow.address,
                         std::to_string(flow.port), flow.up,       flow.down};
    if (flow.listenPort || flow.seconds > 0) program.arguments.push_back(std::to_string(flow.listenPort));
    if (flow.seconds > 0) program.arguments.push_back(std::to_string(flow.seconds));
    return program;
}

static bool IsSample(const std::string &line)
{
    return line.compare(0, 18, "{\"event\":\"traffic\"") == 0 && line.back() == '}';
}

static Sample Read(const std::string &line)
{
    const Event event(line);
    return {event.Number("time"),         event.Number("up"),        event.Number("down"),
            event.Number("up_sent"),      event.Number("down_sent"), event.Number("up_missing"),
            event.Number("down_missing"), event.Number("up_gap"),    event.Number("down_gap")};
}

Flow::Flow(const FlowOptions &options)
{
    process_ = std::make_unique<Process>(ProgramFor(options));
    lines_ = std::make_unique<Lines>(process_->Output());
    errors_ = std::make_unique<Lines>(process_->Errors());
    const auto first = lines_->Find(0, kConnectSeconds, [](const std::string &) { return true; });
    if (!first || !IsSample(lines_->At(*first)))
        throw Failure("no traffic: " + (first ? lines_->At(*first) : std::string("silence")));
}

Meter::Meter(const Lab &lab, const std::string &net, const std::string &match) : lab_(lab), net_(net)
{
    static int number = 0;
    name_ = "meter" + std::to_string(number++);
    lab_.Shell(net_, "nft add table inet " + name_ + " && nft 'add chain inet " + name_ +
                         " input { type filter hook input priority 0 ; }' && nft add rule inet " + name_ + " input " +
                         match + " counter");
}

double Meter::Bytes() const
{
    const std::string rules = lab_.Shell(net_, "nft list table inet " + name_);
    const size_t at = rules.find(" bytes ");
    if (at == std::string::npos) throw Failure("no counter in " + rules);
    return std::stod(rules.substr(at + 7));
}

bool Connects(const FlowOptions &options)
{
    try {
        const Flow flow(options);
        return true;
    } catch (const Failure &) {
        return false;
    }
}

Sample Flow::Fresh()
{
    // The first line may have been on its way already.
    const size_t from = lines_->All().size() + 1;
    const auto found = lines_->Find(from, kPatience, [](const std::string &) { return true; });
    if (!found) throw Failure("the traffic program says nothing: " + lines_->All().back());
    if (!IsSample(lines_->At(*found))) throw Failure("the traffic has ended: " + lines_->At(*found));
    return Read(lines_->At(*found));
}

double Flow::Bytes(Way way, double seconds)
{
    const Sample begin = Fresh();
    Sample end = begin;
    while (end.time - begin.time < seconds) end = Fresh();
    return Of(end, way) - Of(begin, way);
}

double Flow::Rate(Way way, double seconds)
{
    const Sample begin = Fresh();
    Sample end = begin;
    while (end.time - begin.time < seconds) end = Fresh();
    return (Of(end, way) - Of(begin, way)) / (end.time - begin.time);
}

double Flow::AwaitArrival(Way way, double seconds)
{
    const Sample begin = Fresh();
    for (Sample next = begin; next.time - begin.time < seconds; next = Fresh())
        if (Of(next, way) > Of(begin, way)) return next.time - begin.time;
    return -1;
}

// The sample in which the last bytes were new.
static double LastArrival(const std::vector<Sample> &samples, Way way)
{
    size_t last = samples.size() - 1;
    while (last > 0 && Flow::Of(samples[last - 1], way) == Flow::Of(samples[last], way)) last--;
    return samples[last].time;
}

double Flow::AwaitSilence(Way way, double quiet, double seconds)
{
    const double limit = Now() + seconds;
    for (;;) {
        const Sample now = Fresh();
        const double last = LastArrival(All(), way);
        if (now.time - last >= quiet) return last;
        if (now.time > limit) return -1;
    }
}

std::vector<Sample> Flow::All()
{
    std::vector<Sample> samples;
    for (const std::string &line : lines_->All())
        if (IsSample(line)) samples.push_back(Read(line));
    return samples;
}
