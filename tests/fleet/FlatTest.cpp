// The rule that says whether a gateway under load was flat, on figures made up.
#include "tests/fleet/Flat.h"

#include <gtest/gtest.h>

namespace
{
typedef std::vector<std::string> Names;

// Six minutes; `change` may make something of each sample.
template <class Change>
std::vector<Sample> Live(Change change)
{
    std::vector<Sample> samples;
    for (int at = 0; at <= 360; at += 5) {
        Sample sample;
        sample.at = at;
        sample.dirtyKb = at < 30 ? 20000 : 24000 + at % 3 * 100;
        sample.residentKb = sample.dirtyKb + 9000;
        sample.descriptors = 10030 + at % 4;
        sample.threads = 9;
        sample.cpu = at * 0.2;
        change(&sample);
        samples.push_back(sample);
    }
    return samples;
}

Names Growing(const std::vector<Sample> &samples)
{
    Names growing;
    for (const Finding &finding : JudgeFlat(samples))
        if (!finding.flat) growing.push_back(finding.figure);
    return growing;
}

TEST(GatewayFlat, FindsTheSameFiguresFlatWhateverTheFirstSixthWas)
{
    const auto samples = Live([](Sample *) {});
    EXPECT_EQ(5u, JudgeFlat(samples).size());
    EXPECT_EQ(Names{}, Growing(samples));
}

TEST(GatewayFlat, FindsMemoryThatGrowsByTwoHundredthsAndMore)
{
    EXPECT_EQ(Names{"KB of memory written to"}, Growing(Live([](Sample *at) { at->dirtyKb += 5 * at->at; })));
    EXPECT_EQ(Names{"KB of resident memory"}, Growing(Live([](Sample *at) { at->residentKb += 5 * at->at; })));
    EXPECT_EQ(Names{}, Growing(Live([](Sample *at) { at->dirtyKb += at->at; })));
}

TEST(GatewayFlat, FindsDescriptorsThatAreNotClosed)
{
    EXPECT_EQ(Names{"descriptors"}, Growing(Live([](Sample *at) { at->descriptors += at->at / 10; })));
}

TEST(GatewayFlat, FindsOneThreadMore)
{
    EXPECT_EQ(Names{"threads"}, Growing(Live([](Sample *at) { at->threads += at->at > 200; })));
}

TEST(GatewayFlat, FindsThatTheSameTrafficTakesEverLonger)
{
    EXPECT_EQ(Names{"ms of processor time a second"},
              Growing(Live([](Sample *at) { at->cpu += at->at * at->at / 1000; })));
}

TEST(GatewayFlat, JudgesNothingWithFewSamples)
{
    EXPECT_TRUE(JudgeFlat({}).empty());
    auto samples = Live([](Sample *) {});
    samples.resize(10);
    EXPECT_TRUE(JudgeFlat(samples).empty());
}
} // namespace
