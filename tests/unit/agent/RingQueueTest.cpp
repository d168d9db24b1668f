#include "comm/RingQueue.h"

#include <cstring>
#include <sched.h>

#include "tests/unit/agent/AgentTest.h"

namespace
{

class Ring : public AgentTest
{
  protected:
    void TearDown() override
    {
        RingQueue_Destroy(&queue);
        EXPECT_EQ(0, FakeAllocationsAlive());
        AgentTest::TearDown();
    }
    int32_t Push(const Bytes &bytes)
    {
        return RingQueue_Push(&queue, bytes.data(), static_cast<int32_t>(bytes.size()));
    }
    // The bytes of the next item; none when there is none.
    Bytes Pop()
    {
        const uint8_t *slot = RingQueue_Pop(&queue);
        if (!slot) return {};
        uint32_t length;
        memcpy(&length, slot, 4);
        return Bytes(slot + 4, slot + 4 + length);
    }
    void Fill(int items)
    {
        for (int i = 0; i < items; i++) ASSERT_EQ(0, Push({static_cast<uint8_t>(i)}));
    }

    RingQueue queue = {};
};

} // namespace

// ---- Making and ending ----

TEST_F(Ring, IsEmptyAtFirstWithAdjacentSlots)
{
    ASSERT_EQ(0, RingQueue_Init(&queue, 10, 8200));
    EXPECT_EQ(1, queue.initialised);
    EXPECT_EQ(10, queue.count);
    EXPECT_EQ(8200, queue.slotSize);
    EXPECT_EQ(0u, queue.head);
    EXPECT_EQ(0u, queue.tail);
    for (int i = 0; i < 10; i++) EXPECT_EQ(queue.storage + i * 8200, queue.slots[i]);
    EXPECT_EQ(Bytes(82000), Bytes(queue.storage, queue.storage + 82000));
}

TEST_F(Ring, TakesThreeToFiftySlots)
{
    EXPECT_EQ(-1, RingQueue_Init(&queue, 2, 16));
    EXPECT_EQ(-1, RingQueue_Init(&queue, 51, 16));
    EXPECT_EQ(-1, RingQueue_Init(&queue, -3, 16));
    EXPECT_EQ(0, RingQueue_Init(&queue, 3, 16));
    RingQueue_Destroy(&queue);
    EXPECT_EQ(0, RingQueue_Init(&queue, 50, 16));
}

TEST_F(Ring, TakesSlotsOfOneTo9000Bytes)
{
    EXPECT_EQ(-1, RingQueue_Init(&queue, 3, 0));
    EXPECT_EQ(-1, RingQueue_Init(&queue, 3, 9001));
    EXPECT_EQ(-1, RingQueue_Init(&queue, 3, -1));
    EXPECT_EQ(0, RingQueue_Init(&queue, 3, 1));
    RingQueue_Destroy(&queue);
    EXPECT_EQ(0, RingQueue_Init(&queue, 3, 9000));
}

TEST_F(Ring, TakesLessThan102421BytesInAll)
{
    EXPECT_EQ(-1, RingQueue_Init(&queue, 12, 9000)); // 108,000
    EXPECT_EQ(-1, RingQueue_Init(&queue, 13, 7879)); // 102,427
    EXPECT_EQ(-1, RingQueue_Init(&queue, 17, 6025)); // 102,425
    EXPECT_EQ(0, RingQueue_Init(&queue, 20, 5121));  // 102,420
}

TEST_F(Ring, CannotBeInitialisedTwiceUntilItIsDestroyed)
{
    ASSERT_EQ(0, RingQueue_Init(&queue, 4, 16));
    EXPECT_EQ(-1, RingQueue_Init(&queue, 4, 16));
    RingQueue_Destroy(&queue);
    EXPECT_EQ(0, queue.initialised);
    EXPECT_EQ(0, FakeAllocationsAlive());
    EXPECT_EQ(0, RingQueue_Init(&queue, 4, 16));
}

TEST_F(Ring, CannotBeInitialisedWithoutAQueue)
{
    EXPECT_EQ(-1, RingQueue_Init(nullptr, 4, 16));
}

TEST_F(Ring, LeavesNothingAllocatedWhenMemoryRunsOut)
{
    for (int nth = 1; nth <= 3; nth++) {
        FakeFailAllocation(nth);
        EXPECT_EQ(-1, RingQueue_Init(&queue, 4, 16)) << nth;
        EXPECT_EQ(0, queue.initialised);
        EXPECT_EQ(0, FakeAllocationsAlive()) << nth;
    }
    EXPECT_EQ(0, RingQueue_Init(&queue, 4, 16));
}

TEST_F(Ring, DestroyingAnUninitialisedQueueDoesNothing)
{
    RingQueue_Destroy(&queue);
    RingQueue_Destroy(nullptr);
    EXPECT_EQ(0, queue.initialised);
}

// ---- Pushing and popping ----

TEST_F(Ring, ReturnsItemsInTheirOrderEachAfterItsLength)
{
    ASSERT_EQ(0, RingQueue_Init(&queue, 4, 16));
    ASSERT_EQ(0, Push({0xA1, 0xA2, 0xA3}));
    ASSERT_EQ(0, Push({0xB1}));
    const uint8_t *slot = RingQueue_Pop(&queue);
    ASSERT_NE(nullptr, slot);
    const uint32_t three = 3;
    EXPECT_EQ(0, memcmp(slot, &three, 4));
    EXPECT_EQ(Hex("A1 A2 A3"), Bytes(slot + 4, slot + 7));
    EXPECT_EQ(Hex("B1"), Pop());
    EXPECT_EQ(nullptr, RingQueue_Pop(&queue));
}

TEST_F(Ring, HoldsOneItemLessThanItHasSlotsAndRefusesTheNext)
{
    ASSERT_EQ(0, RingQueue_Init(&queue, 10, 8200));
    Fill(9);
    EXPECT_EQ(-2, Push({0xFF}));
    for (uint8_t i = 0; i < 9; i++) EXPECT_EQ(Bytes{i}, Pop()); // nothing has been overwritten
    EXPECT_EQ(nullptr, RingQueue_Pop(&queue));
}

TEST_F(Ring, WrapsAroundWithoutLosingAnItem)
{
    ASSERT_EQ(0, RingQueue_Init(&queue, 3, 16));
    for (int i = 0; i < 1000; i++) {
        const Bytes one = {static_cast<uint8_t>(i), static_cast<uint8_t>(i >> 8)};
        const Bytes two = {static_cast<uint8_t>(~i)};
        ASSERT_EQ(0, Push(one));
        ASSERT_EQ(0, Push(two));
        ASSERT_EQ(-2, Push(two));
        ASSERT_EQ(one, Pop());
        ASSERT_EQ(two, Pop());
    }
}

TEST_F(Ring, TakesItemsEightBytesShorterThanASlot)
{
    ASSERT_EQ(0, RingQueue_Init(&queue, 10, 8200));
    EXPECT_EQ(-6, Push(Bytes(8193, 0x55)));
    EXPECT_EQ(0, Push(Bytes(8192, 0x55)));
    EXPECT_EQ(Bytes(8192, 0x55), Pop());
}

TEST_F(Ring, SlotsOfAtMostEightBytesTakeNoItem)
{
    ASSERT_EQ(0, RingQueue_Init(&queue, 3, 8));
    EXPECT_EQ(-6, Push({1}));
    RingQueue_Destroy(&queue);
    ASSERT_EQ(0, RingQueue_Init(&queue, 3, 1));
    EXPECT_EQ(-6, Push({1}));
}

TEST_F(Ring, ChecksForRoomBeforeTheLengthOfAnItem)
{
    ASSERT_EQ(0, RingQueue_Init(&queue, 3, 16));
    Fill(2);
    EXPECT_EQ(-2, Push(Bytes(9)));
    Pop();
    EXPECT_EQ(-6, Push(Bytes(9)));
}

TEST_F(Ring, RefusesAMissingQueueMissingDataAndNoBytes)
{
    const uint8_t byte = 1;
    EXPECT_EQ(-1, RingQueue_Push(nullptr, &byte, 1));
    EXPECT_EQ(-1, RingQueue_Push(&queue, &byte, 1)); // not made yet
    ASSERT_EQ(0, RingQueue_Init(&queue, 3, 16));
    EXPECT_EQ(-1, RingQueue_Push(&queue, nullptr, 1));
    EXPECT_EQ(-1, RingQueue_Push(&queue, nullptr, 0));
    EXPECT_EQ(-7, RingQueue_Push(&queue, &byte, 0));
    EXPECT_EQ(-7, RingQueue_Push(&queue, &byte, -5));
    Fill(2);
    EXPECT_EQ(-7, RingQueue_Push(&queue, &byte, 0)); // before it is looked at whether there is room
}

TEST_F(Ring, NothingIsPoppedFromAnUninitialisedQueue)
{
    EXPECT_EQ(nullptr, RingQueue_Pop(nullptr));
    EXPECT_EQ(nullptr, RingQueue_Pop(&queue));
}

TEST_F(Ring, ASlotIsUnchangedUntilTheNextPop)
{
    ASSERT_EQ(0, RingQueue_Init(&queue, 4, 16));
    ASSERT_EQ(0, Push({0xAA}));
    const uint8_t *slot = RingQueue_Pop(&queue);
    Fill(3);
    ASSERT_EQ(-2, Push({0xBB}));
    EXPECT_EQ(0xAA, slot[4]);
}

// ---- Asking ----

TEST_F(Ring, CountsUsedAndFreeSlotsAtEveryPosition)
{
    ASSERT_EQ(0, RingQueue_Init(&queue, 4, 16));
    for (int turn = 0; turn < 8; turn++) {
        EXPECT_TRUE(RingQueue_IsEmpty(&queue));
        for (int used = 0; used <= 3; used++) {
            EXPECT_EQ(used, RingQueue_UsedCount(&queue)) << turn;
            EXPECT_EQ(4 - used, RingQueue_FreeCount(&queue)) << turn;
            EXPECT_EQ(used == 0, RingQueue_IsEmpty(&queue));
            EXPECT_EQ(used == 3, RingQueue_IsFull(&queue));
            EXPECT_EQ(used < 3 ? 0 : -2, Push({1}));
        }
        for (int i = 0; i < 3; i++) Pop();
        ASSERT_EQ(0, Push({1})); // the next turn begins one slot further on
        Pop();
    }
}

TEST_F(Ring, ClearDropsAllItems)
{
    ASSERT_EQ(0, RingQueue_Init(&queue, 4, 16));
    Fill(3);
    Pop();
    RingQueue_Clear(&queue);
    EXPECT_TRUE(RingQueue_IsEmpty(&queue));
    EXPECT_EQ(0u, queue.head);
    EXPECT_EQ(0u, queue.tail);
    EXPECT_EQ(nullptr, RingQueue_Pop(&queue));
}

TEST_F(Ring, AnUninitialisedQueueIsEmptyAndHasNoRoom)
{
    RingQueue_Clear(&queue);
    EXPECT_TRUE(RingQueue_IsEmpty(&queue));
    EXPECT_FALSE(RingQueue_IsFull(&queue));
    EXPECT_EQ(0, RingQueue_FreeCount(&queue));
    EXPECT_EQ(0, RingQueue_UsedCount(&queue));
}

TEST_F(Ring, HandsEverythingFromOneThreadToAnother)
{
    ASSERT_EQ(0, RingQueue_Init(&queue, 5, 16));
    Running producer([this] {
        for (uint32_t i = 0; i < 5000;) {
            uint8_t bytes[4];
            memcpy(bytes, &i, 4);
            if (RingQueue_Push(&queue, bytes, 4) == 0)
                i++;
            else
                sched_yield();
        }
    });
    for (uint32_t i = 0; i < 5000;) {
        const Bytes bytes = Pop();
        if (bytes.empty()) {
            sched_yield();
            continue;
        }
        uint32_t value;
        ASSERT_EQ(4u, bytes.size());
        memcpy(&value, bytes.data(), 4);
        ASSERT_EQ(i, value);
        i++;
    }
}
