#include "simulator/manager/LocalFrame.h"

#include <gtest/gtest.h>

using namespace sim;

namespace
{

// FuncID 73, sequence 7, the payload "i".
const Bytes kQuestion = {'Z', 'Z', 73, 0, 7, 0, 0, 0, 1, 0, 0, 0, 0x69, 0, 'i'};

std::vector<LocalArrival> Cut(LocalCutter *cutter, const Bytes &bytes)
{
    std::vector<LocalArrival> arrivals;
    LocalArrival arrival;
    cutter->Add(bytes.data(), bytes.size());
    while (cutter->Next(&arrival)) arrivals.push_back(arrival);
    return arrivals;
}

Bytes With(Bytes bytes, size_t at, uint8_t value)
{
    bytes.at(at) = value;
    return bytes;
}

} // namespace

TEST(LocalFrame, IsWrittenLittleEndianWithTheSumOfItsPayload)
{
    EXPECT_EQ(kQuestion, EncodeLocal({73, 7, {'i'}}));
    EXPECT_EQ((Bytes{'Z', 'Z', 0xE6, 3, 0x78, 0x56, 0x34, 0x12, 3, 0, 0, 0, 0xFE, 1, 0xFF, 0xFF, 0}),
              EncodeLocal({998, 0x12345678, {0xFF, 0xFF, 0}}));
    EXPECT_EQ((Bytes{'Z', 'Z', 1, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0}), EncodeLocal({1, 1, {}}));
}

TEST(LocalFrame, IsWrittenWithTheOverridesGiven)
{
    LocalOverrides overrides;
    overrides.checksum = 0x1234;
    overrides.length = 0xFFFE;
    overrides.head = false;
    EXPECT_EQ((Bytes{'Y', 'Y', 73, 0, 7, 0, 0, 0, 0xFE, 0xFF, 0, 0, 0x34, 0x12, 'i'}),
              EncodeLocal({73, 7, {'i'}}, overrides));
}

TEST(LocalCutter, TakesFramesInPiecesOfAnySize)
{
    LocalCutter cutter;
    std::vector<LocalArrival> arrivals;
    for (const uint8_t byte : kQuestion)
        for (const LocalArrival &arrival : Cut(&cutter, {byte})) arrivals.push_back(arrival);
    ASSERT_EQ(1u, arrivals.size());
    EXPECT_TRUE(arrivals[0].whole);
    EXPECT_TRUE(arrivals[0].problems.empty());
    EXPECT_EQ(73, arrivals[0].frame.id);
    EXPECT_EQ(7u, arrivals[0].frame.sequence);
    EXPECT_EQ(Bytes{'i'}, arrivals[0].frame.payload);
    EXPECT_EQ(kQuestion, arrivals[0].raw);

    Bytes two = With(kQuestion, 4, 8);
    Append(&two, With(kQuestion, 4, 9));
    EXPECT_EQ(2u, Cut(&cutter, two).size());
    EXPECT_EQ(0u, cutter.Waiting());
}

TEST(LocalCutter, TakesAFrameWithoutAPayload)
{
    LocalCutter cutter;
    const auto arrivals = Cut(&cutter, {'Z', 'Z', 1, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    ASSERT_EQ(1u, arrivals.size());
    EXPECT_TRUE(arrivals[0].whole);
}

TEST(LocalCutter, ReportsASequenceThatIsNotTheNext)
{
    LocalCutter cutter;
    EXPECT_TRUE(Cut(&cutter, kQuestion)[0].problems.empty()); // the first number may be any
    EXPECT_EQ("sequence 7 behind 7", Cut(&cutter, kQuestion)[0].problems.at(0));
    EXPECT_TRUE(Cut(&cutter, With(kQuestion, 4, 8))[0].problems.empty());
    const LocalArrival skipped = Cut(&cutter, With(kQuestion, 4, 10))[0];
    EXPECT_EQ("sequence 10 behind 8", skipped.problems.at(0));
    EXPECT_TRUE(skipped.whole); // it can still be answered
}

TEST(LocalCutter, ReportsAWrongChecksumAndContinuesBehindIt)
{
    LocalCutter cutter;
    Bytes bytes = With(kQuestion, 12, 0x6A);
    Append(&bytes, With(kQuestion, 4, 8));
    const auto arrivals = Cut(&cutter, bytes);
    ASSERT_EQ(2u, arrivals.size());
    EXPECT_FALSE(arrivals[0].whole);
    EXPECT_EQ("checksum 106 instead of 105", arrivals[0].problems.at(0));
    EXPECT_TRUE(arrivals[1].whole);
}

TEST(LocalCutter, ReportsAWrongHeadAndALengthOverTheLimit)
{
    LocalCutter cutter;
    EXPECT_EQ("the head is not ZZ", Cut(&cutter, With(kQuestion, 0, 'Y'))[0].problems.at(0));
    EXPECT_EQ("the head is not ZZ", Cut(&cutter, With(kQuestion, 1, 'Y'))[0].problems.at(0));
    // 1487 bytes: one more than fits into 1500 with the header.
    EXPECT_EQ("1487 bytes are announced, and 1486 are the most",
              Cut(&cutter, With(With(kQuestion, 8, 0xCF), 9, 5))[0].problems.at(0));
    EXPECT_EQ(0u, cutter.Waiting());
    EXPECT_TRUE(Cut(&cutter, With(With(kQuestion, 8, 0xCE), 9, 5)).empty()); // 1486 is allowed
    EXPECT_EQ(kQuestion.size(), cutter.Waiting());
}
