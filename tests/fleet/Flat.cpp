#include "tests/fleet/Flat.h"

#include <algorithm>

static constexpr size_t kLeastSamples = 3; // in each of the two parts

static double Median(const std::vector<Sample> &samples, double Sample::*figure)
{
    std::vector<double> values;
    for (const Sample &sample : samples) values.push_back(sample.*figure);
    std::nth_element(values.begin(), values.begin() + static_cast<long>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

// Of its time, in thousandths.
static double CpuShare(const std::vector<Sample> &samples)
{
    const Sample &first = samples.front(), &last = samples.back();
    return 1000 * (last.cpu - first.cpu) / (last.at - first.at);
}

std::vector<Finding> JudgeFlat(const std::vector<Sample> &samples)
{
    if (samples.empty()) return {};
    const double sixth = (samples.back().at - samples.front().at) / 6;
    std::vector<Sample> early, late;
    for (const Sample &sample : samples) {
        const double at = sample.at - samples.front().at;
        if (at >= sixth && at < 2 * sixth) early.push_back(sample);
        if (at >= 5 * sixth) late.push_back(sample);
    }
    if (early.size() < kLeastSamples || late.size() < kLeastSamples) return {};
    std::vector<Finding> findings;
    const auto compare = [&](const char *figure, double Sample::*of, double times, double more) {
        const double earlier = Median(early, of), later = Median(late, of);
        findings.push_back({figure, earlier, later, later <= earlier * times + more});
    };
    compare("KB of memory written to", &Sample::dirtyKb, kMoreMemory, kMoreMemoryKb);
    compare("KB of resident memory", &Sample::residentKb, kMoreMemory, kMoreMemoryKb);
    compare("descriptors", &Sample::descriptors, 1, kMoreDescriptors);
    compare("threads", &Sample::threads, 1, 0);
    const double earlier = CpuShare(early), later = CpuShare(late);
    findings.push_back({"ms of processor time a second", earlier, later, later <= earlier * kMoreCpu});
    return findings;
}
