// The rule that says whether a soak was flat, on figures made up.
#include <gtest/gtest.h>

#include "tests/soak/Judge.h"

namespace
{
// A process for so many rounds of an hour; `change` may make something of each sample.
template <class Change>
void Live(std::vector<Sample> *samples, int life, int rounds, Change change)
{
    const double begin = samples->empty() ? 0 : samples->back().at;
    for (int round = 1; round <= rounds; round++) {
        Sample sample;
        sample.life = life;
        sample.age = round * 3600;
        sample.at = begin + sample.age;
        sample.dirtyKb = round == 1 ? 280 : 300 + round % 3 * 4;
        sample.descriptors = 9;
        sample.threads = 14;
        sample.files = 6;
        sample.cpuMs = round * 80;
        change(&sample);
        samples->push_back(sample);
    }
}

std::vector<std::string> Growing(const std::vector<Sample> &samples)
{
    std::vector<std::string> growing;
    for (const Finding &finding : Judge(samples))
        if (!finding.flat) growing.push_back(finding.figure);
    return growing;
}

typedef std::vector<std::string> Names;
void Nothing(Sample *) {}

TEST(SoakJudge, FindsAWeekFlatAfterWhichAnotherProcessRuns)
{
    std::vector<Sample> samples;
    Live(&samples, 1, 2, Nothing);
    Live(&samples, 2, 170, Nothing);
    Live(&samples, 3, 16, Nothing);
    EXPECT_EQ(Names{}, Growing(samples));
    EXPECT_EQ(5u + 4 + 4, Judge(samples).size()); // processor time of the long one only
}

TEST(SoakJudge, FindsASlowLeakOfALongLife)
{
    std::vector<Sample> samples;
    Live(&samples, 1, 170, [](Sample *at) { at->dirtyKb += static_cast<long>(at->age / 3600 / 5); }); // 5 KB a day
    EXPECT_EQ(Names{"KB of memory written to"}, Growing(samples));
}

TEST(SoakJudge, FindsADescriptorAThreadAndAFile)
{
    for (long Sample::*member : {&Sample::descriptors, &Sample::threads, &Sample::files}) {
        std::vector<Sample> samples;
        Live(&samples, 1, 170, [&](Sample *at) { at->*member += at->age > 4 * 86400; });
        EXPECT_EQ(1u, Growing(samples).size());
    }
}

TEST(SoakJudge, FindsThatTheSameWorkTakesEverLonger)
{
    std::vector<Sample> samples;
    Live(&samples, 1, 170, [](Sample *at) { at->cpuMs = at->age / 3600 * at->age / 3600; });
    EXPECT_EQ(Names{"ms of processor time an hour"}, Growing(samples));
}

TEST(SoakJudge, TakesNoYoungProcessForAProofThatAnOldOneIsFlat)
{
    std::vector<Sample> samples;
    Live(&samples, 1, 170, [](Sample *at) { at->descriptors += static_cast<long>(at->age / 86400); });
    Live(&samples, 2, 20, Nothing);
    EXPECT_EQ(Names{"descriptors"}, Growing(samples));
}

TEST(SoakJudge, ComparesAYoungProcessWithAnotherWhenItWasYoung)
{
    std::vector<Sample> samples;
    Live(&samples, 1, 170, Nothing);
    Live(&samples, 2, 2, [](Sample *at) { at->dirtyKb += 40; }); // 330 against 290 in the first two rounds
    EXPECT_EQ(Names{"KB of memory written to"}, Growing(samples));
}

TEST(SoakJudge, LooksOnlyAtTheEndsOfRounds)
{
    std::vector<Sample> samples;
    Live(&samples, 1, 170, [](Sample *at) {
        at->settled = at->age < 100 * 3600 || static_cast<int>(at->age / 3600) % 2 == 0;
        if (!at->settled) at->threads = 99;
    });
    EXPECT_EQ(Names{}, Growing(samples));
}

TEST(SoakJudge, ComparesThirdsOfAShortLife)
{
    std::vector<Sample> samples;
    Live(&samples, 1, 9, Nothing);
    EXPECT_EQ(Names{}, Growing(samples));
    samples.clear();
    Live(&samples, 1, 9, [](Sample *at) { at->threads += static_cast<long>(at->age / 3600 / 3); });
    EXPECT_EQ(Names{"threads"}, Growing(samples));
}

TEST(SoakJudge, FindsNothingFlatThatItCannotJudge)
{
    EXPECT_FALSE(Judge({}).at(0).flat);
    std::vector<Sample> samples;
    Live(&samples, 1, 2, Nothing);
    EXPECT_FALSE(Judge(samples).at(0).flat);
}
} // namespace
