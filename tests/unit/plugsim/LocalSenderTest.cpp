#include "simulator/manager/LocalSender.h"
#include "simulator/manager/LocalFaults.h"

#include <gtest/gtest.h>

using namespace sim;

namespace
{

struct LocalFaults : testing::Test {
    Faults faults{kLocalFaults};
    LocalSender sender{1};
    std::string error;

    bool Add(const Words &words) { return faults.Add(words, &error); }
    // An answer to FuncID 73 with two bytes.
    LocalDelivery Deliver(uint16_t id = 73, bool answer = true)
    {
        LocalOutgoing outgoing;
        outgoing.id = id;
        outgoing.payload = {0, 1};
        outgoing.answer = answer;
        return sender.Deliver(outgoing, &faults);
    }
    Bytes Only(const LocalDelivery &delivery)
    {
        EXPECT_EQ(1u, delivery.delivery.chunks.size());
        return delivery.delivery.chunks.empty() ? Bytes() : delivery.delivery.chunks[0].bytes;
    }
};

Bytes Answer(uint8_t sequence)
{
    return {'Z', 'Z', 73, 0, sequence, 0, 0, 0, 2, 0, 0, 0, 1, 0, 0, 1};
}

Bytes With(Bytes bytes, size_t at, uint8_t value)
{
    bytes.at(at) = value;
    return bytes;
}

Bytes Part(const Bytes &bytes, size_t from, size_t to)
{
    return Bytes(bytes.begin() + static_cast<std::ptrdiff_t>(from), bytes.begin() + static_cast<std::ptrdiff_t>(to));
}

} // namespace

TEST_F(LocalFaults, WithoutOneFramesAreNumberedAndComplete)
{
    EXPECT_EQ(Answer(1), Only(Deliver()));
    EXPECT_EQ(Answer(2), Only(Deliver()));
    EXPECT_TRUE(Deliver().delivery.faults.empty());
}

TEST_F(LocalFaults, ChangeTheBytesOfAFrame)
{
    ASSERT_TRUE(Add({"bad-checksum", "1"}));
    EXPECT_EQ(With(Answer(1), 12, 2), Only(Deliver()));
    ASSERT_TRUE(Add({"bad-head", "1"}));
    EXPECT_EQ(With(With(Answer(2), 0, 'Y'), 1, 'Y'), Only(Deliver()));
    ASSERT_TRUE(Add({"announce=515", "1"}));
    EXPECT_EQ(With(With(Answer(3), 8, 3), 9, 2), Only(Deliver()));
    ASSERT_TRUE(Add({"wrong-id=200", "1"}));
    EXPECT_EQ(With(Answer(4), 2, 200), Only(Deliver()));
    ASSERT_TRUE(Add({"empty", "1"}));
    EXPECT_EQ((Bytes{'Z', 'Z', 73, 0, 5, 0, 0, 0, 0, 0, 0, 0, 0, 0}), Only(Deliver()));
    ASSERT_TRUE(Add({"status=9", "1"}));
    EXPECT_EQ((Bytes{'Z', 'Z', 73, 0, 6, 0, 0, 0, 1, 0, 0, 0, 9, 0, 9}), Only(Deliver()));
    ASSERT_TRUE(Add({"oversized=18", "1"}));
    EXPECT_EQ((Bytes{'Z', 'Z', 73, 0, 7, 0, 0, 0, 4, 0, 0, 0, 1, 0, 0, 1, 0, 0}), Only(Deliver()));
    EXPECT_EQ(Answer(8), Only(Deliver())); // each happened once
}

TEST_F(LocalFaults, ARepeatedSequenceDoesNotUseUpANumber)
{
    Deliver();
    ASSERT_TRUE(Add({"repeat-sequence", "2"}));
    EXPECT_EQ(Answer(1), Only(Deliver()));
    EXPECT_EQ(Answer(1), Only(Deliver()));
    EXPECT_EQ(Answer(2), Only(Deliver()));
}

TEST_F(LocalFaults, CutAFrame)
{
    ASSERT_TRUE(Add({"half", "1"}));
    EXPECT_EQ(Part(Answer(1), 0, 8), Only(Deliver()));
    ASSERT_TRUE(Add({"split=2.5", "1"}));
    const LocalDelivery split = Deliver();
    ASSERT_EQ(2u, split.delivery.chunks.size());
    EXPECT_EQ(Part(Answer(2), 0, 8), split.delivery.chunks[0].bytes);
    EXPECT_EQ(2500, split.delivery.chunks[1].pauseMs);
    EXPECT_EQ(Part(Answer(2), 8, 16), split.delivery.chunks[1].bytes);
    ASSERT_TRUE(Add({"close-mid-frame", "1"}));
    const LocalDelivery cut = Deliver();
    EXPECT_EQ(Part(Answer(3), 0, 8), Only(cut));
    EXPECT_TRUE(cut.delivery.closeAfter);
}

TEST_F(LocalFaults, SendMoreThanOneFrame)
{
    ASSERT_TRUE(Add({"two-in-one", "1"}));
    Bytes two = Answer(1);
    Append(&two, {'Z', 'Z', 0xE6, 3, 2, 0, 0, 0, 1, 0, 0, 0, '-', 0, '-'});
    EXPECT_EQ(two, Only(Deliver()));
    ASSERT_TRUE(Add({"twice", "1"}));
    const LocalDelivery twice = Deliver();
    ASSERT_EQ(2u, twice.delivery.chunks.size());
    EXPECT_EQ(Answer(3), twice.delivery.chunks[0].bytes);
    EXPECT_EQ(Answer(3), twice.delivery.chunks[1].bytes);
    ASSERT_TRUE(Add({"noise=3", "1"}));
    Bytes noisy = {'n', 'n', 'n'};
    Append(&noisy, Answer(4));
    EXPECT_EQ(noisy, Only(Deliver()));
}

TEST_F(LocalFaults, DelayFramesOrClose)
{
    ASSERT_TRUE(Add({"late=1.5", "1"}));
    EXPECT_EQ(1500, Deliver().delivery.chunks.at(0).pauseMs);
    ASSERT_TRUE(Add({"silent", "1"}));
    EXPECT_TRUE(Deliver().delivery.chunks.empty());
    ASSERT_TRUE(Add({"close", "1"}));
    EXPECT_TRUE(Deliver().delivery.closeAfter);
    ASSERT_TRUE(Add({"disconnect", "1"}));
    const LocalDelivery gone = Deliver();
    EXPECT_TRUE(gone.disconnect);
    EXPECT_TRUE(gone.delivery.chunks.empty());
    EXPECT_EQ(std::vector<std::string>{"disconnect"}, gone.delivery.faults);
    EXPECT_EQ(Answer(3), Only(Deliver())); // a frame that was not sent uses no number
}

TEST_F(LocalFaults, HappenToTheirFramesOnly)
{
    ASSERT_TRUE(Add({"silent@mesh"}));
    ASSERT_TRUE(Add({"status@74=3"}));
    EXPECT_TRUE(Deliver(73).delivery.chunks.empty());
    EXPECT_EQ(1u, Deliver(75).delivery.chunks.size());
    EXPECT_EQ((Bytes{0, 1}), Deliver(74, false).frame.payload); // no answer, so no status
    EXPECT_EQ((Bytes{3}), Deliver(74).frame.payload);
    EXPECT_EQ("silent@73", FaultText(kLocalFaults, faults.Active()[0]));
    EXPECT_EQ("status@74=3", FaultText(kLocalFaults, faults.Active()[1]));
    EXPECT_EQ(1u, faults.Off("silent"));
    EXPECT_EQ(1u, Deliver(73).delivery.chunks.size());
    EXPECT_EQ(1u, faults.Off(""));
}

TEST_F(LocalFaults, AreRefusedWhenInvalid)
{
    for (const Words &words : {Words{}, Words{"slow"}, Words{"late"}, Words{"late=soon"}, Words{"silent=1"},
                               Words{"silent@mash"}, Words{"silent@65536"}, Words{"oversized=14"}, Words{"status=256"},
                               Words{"silent", "0"}, Words{"silent", "1", "2"}}) {
        EXPECT_FALSE(Add(words));
        EXPECT_FALSE(error.empty());
    }
    EXPECT_TRUE(faults.Active().empty());
    for (const FaultRow &row : kLocalFaults.rows)
        EXPECT_TRUE(Add({std::string(row.name) + (row.value.name && !row.value.unset ? "=1" : "")}))
            << row.name << error;
}

TEST_F(LocalFaults, AFrameMayHaveAGivenNumberAndRawBytesHaveNone)
{
    LocalOutgoing outgoing;
    outgoing.id = 73;
    outgoing.payload = {0, 1};
    outgoing.sequence = 77;
    EXPECT_EQ(Answer(77), Only(sender.Deliver(outgoing, &faults)));
    outgoing.raw = true;
    EXPECT_EQ((Bytes{0, 1}), Only(sender.Deliver(outgoing, &faults)));
    EXPECT_EQ(Answer(1), Only(Deliver()));
}
