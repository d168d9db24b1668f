#include "tests/soak/Judge.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <functional>
#include <map>

static const double kDay = 86400;
static const size_t kLeastSamples = 2; // on each side of the comparison of a life with itself

namespace
{
typedef std::vector<Sample> Samples;
typedef std::function<double(const Sample &)> Figure;
} // namespace

static std::string Format(const char *format, ...) __attribute__((format(printf, 1, 2)));
static std::string Format(const char *format, ...)
{
    char text[256];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

static double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

static double Median(const Samples &samples, const Figure &figure)
{
    std::vector<double> values;
    for (const Sample &sample : samples) values.push_back(figure(sample));
    return Median(values);
}

static std::vector<Finding> Compare(const std::string &what, const Samples &earlier, const Samples &later, long moreKb)
{
    const struct {
        const char *name;
        Figure figure;
        double most; // that it may grow by
    } kFigures[] = {
        {"KB of memory written to", [](const Sample &at) { return static_cast<double>(at.dirtyKb); },
         static_cast<double>(moreKb)},
        {"descriptors", [](const Sample &at) { return static_cast<double>(at.descriptors); }, 0},
        {"threads", [](const Sample &at) { return static_cast<double>(at.threads); }, 0},
        {"files in /tmp", [](const Sample &at) { return static_cast<double>(at.files); }, 0},
    };
    std::vector<Finding> findings;
    for (const auto &row : kFigures) {
        const double from = Median(earlier, row.figure), to = Median(later, row.figure);
        findings.push_back({what, row.name, from, to, to - from <= row.most});
    }
    return findings;
}

static Samples Aged(const Samples &life, double from, double to)
{
    Samples found;
    std::copy_if(life.begin(), life.end(), std::back_inserter(found),
                 [&](const Sample &at) { return at.age >= from && at.age <= to; });
    return found;
}

// Processor time from one sample to the next, milliseconds an hour.
static double CpuAnHour(const Samples &samples)
{
    std::vector<double> rates;
    for (size_t i = 1; i < samples.size(); i++)
        rates.push_back((samples[i].cpuMs - samples[i - 1].cpuMs) * 3600 / (samples[i].age - samples[i - 1].age));
    return Median(rates);
}

static std::vector<Finding> CompareWithItself(const Samples &life)
{
    const double age = life.back().age;
    const bool long_ = age >= 3 * kDay;
    const double span = long_ ? kDay : age / 3;
    const Samples earlier = Aged(life, span, 2 * span), later = Aged(life, age - span, age);
    if (std::min(earlier.size(), later.size()) < kLeastSamples)
        return {{"the longest life has too few rounds to be judged", "", 0, 0, false}};
    std::vector<Finding> findings =
        Compare(long_ ? Format("the longest life (%.1f days), its second day and its last", age / kDay)
                      : Format("the longest life (%.1f hours), its second third and its last", age / 3600),
                earlier, later, kMaxMoreKb);
    if (long_) {
        const double from = CpuAnHour(earlier), to = CpuAnHour(later);
        findings.push_back({findings[0].what, "ms of processor time an hour", from, to, to <= kMaxMoreCpu * from});
    }
    return findings;
}

std::vector<Finding> Judge(const std::vector<Sample> &samples)
{
    std::map<int, Samples> lives;
    for (const Sample &sample : samples)
        if (sample.settled) lives[sample.life].push_back(sample);
    const auto longest = std::max_element(lives.begin(), lives.end(), [](const auto &a, const auto &b) {
        return a.second.back().age < b.second.back().age;
    });
    if (longest == lives.end()) return {{"no round was completed", "", 0, 0, false}};
    std::vector<Finding> findings = CompareWithItself(longest->second);
    for (const auto &life : lives) {
        if (life.first == longest->first) continue;
        const size_t rounds = std::min(life.second.size(), longest->second.size());
        const auto first = [&](const Samples &of) {
            return Samples(of.begin(), of.begin() + static_cast<long>(rounds));
        };
        for (const Finding &finding :
             Compare(Format("the longest life and life %d, the first rounds (%zu)", life.first, rounds),
                     first(longest->second), first(life.second), kMaxMoreYoungKb))
            findings.push_back(finding);
    }
    return findings;
}
