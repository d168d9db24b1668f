// The connection to the message system, against a real server.
#include <asio/executor_work_guard.hpp>
#include <atomic>
#include <gtest/gtest.h>
#include <map>
#include <mutex>

#include "gateway/bus/Bus.h"
#include "gateway/bus/Stored.h"
#include "gateway/bus/Watch.h"
#include "tests/support/NatsServer.h"
#include "tests/support/Within.h"
#include "tests/unit/gateway/bus/Context.h"

using namespace gateway;

namespace
{
struct BusTest : testing::Test {
    NatsServer server;
    Bus bus{Options()};
    Context context;

    BusOptions Options()
    {
        BusOptions options;
        options.servers = {server.Url()};
        return options;
    }
    // How many messages a stream has.
    int StreamMessages(const std::string &stream)
    {
        const auto info = bus.Request("$JS.API.STREAM.INFO." + stream, "", 5000);
        const size_t at = info ? info->find("\"messages\":") : std::string::npos;
        return at == std::string::npos ? -1 : atoi(info->c_str() + at + 11);
    }
};

enum Outcome { Waiting, Kept, Lost };
Stored::Done Into(std::atomic<int> *outcome, std::atomic<uint64_t> *sequence = nullptr)
{
    return [=](std::optional<uint64_t> number) {
        if (sequence) *sequence = number.value_or(0);
        *outcome = number ? Kept : Lost;
    };
}

// What a watch has told, as a copy of the bucket.
struct Copy {
    std::mutex lock;
    std::map<std::string, std::string> entries;
    bool complete = false;

    Watch::Handler Handler()
    {
        return [this](const Change &change) {
            const std::lock_guard<std::mutex> hold(lock);
            if (change.key.empty())
                complete = true;
            else if (change.value)
                entries[change.key] = *change.value;
            else
                entries.erase(change.key);
        };
    }
    bool Complete()
    {
        const std::lock_guard<std::mutex> hold(lock);
        return complete;
    }
    bool Becomes(const std::map<std::string, std::string> &wanted)
    {
        return Within([&] {
            const std::lock_guard<std::mutex> hold(lock);
            return entries == wanted;
        });
    }
};

TEST(BusStart, WithoutAServerIsAnErrorThatSaysWhere)
{
    BusOptions options;
    options.servers = {"nats://127.0.0.1:9"};
    try {
        Bus bus(options);
        FAIL() << "connected";
    } catch (const BusError &error) {
        EXPECT_NE(std::string::npos, std::string(error.what()).find("127.0.0.1:9")) << error.what();
    }
}

TEST_F(BusTest, RequestGetsTheReplyOfASubscriber)
{
    const auto subscription = bus.Subscribe("a.*", "", context.io, [&](const Message &message) {
        bus.Publish(message.reply, message.subject + ":" + message.data);
    });
    EXPECT_EQ("a.b:text", bus.Request("a.b", "text", 5000).value_or("none"));
}

TEST_F(BusTest, ASubscriptionMayEndWhileMessagesArrive)
{
    std::atomic<bool> enough{false};
    std::thread publisher([&] {
        while (!enough) bus.Publish("flood", "x");
    });
    for (int i = 0; i < 50; i++) {
        std::atomic<int> received{0};
        asio::io_context own; // ends before the publisher does
        const auto subscription = bus.Subscribe("flood", "", own, [&](const Message &) { received++; });
        const auto work = asio::make_work_guard(own);
        own.run_one_for(std::chrono::seconds(5));
        EXPECT_EQ(1, received);
    }
    enough = true;
    publisher.join();
}

TEST_F(BusTest, RequestToNobodyHasNoAnswer)
{
    EXPECT_EQ(std::nullopt, bus.Request("a.b", "text", 5000));
}

TEST_F(BusTest, OfAQueueGroupOneMemberGetsEachMessage)
{
    std::atomic<int> received{0}, all{0};
    const auto count = [&](const Message &) { received++; };
    const auto first = bus.Subscribe("work", "group", context.io, count);
    const auto second = bus.Subscribe("work", "group", context.io, count);
    const auto end = bus.Subscribe("end", "", context.io, [&](const Message &) { all++; });
    for (int i = 0; i < 100; i++) EXPECT_TRUE(bus.Publish("work", "x"));
    // Each subscription has a thread of its own, so the last message of one is no sign for the others.
    EXPECT_TRUE(Within([&] { return received == 100; }));
    EXPECT_TRUE(bus.Publish("end", ""));
    EXPECT_TRUE(Within([&] { return all == 1; }));
    EXPECT_EQ(100, received);
}

TEST_F(BusTest, AnEndedSubscriptionGetsNothing)
{
    std::atomic<int> received{0};
    auto ended = bus.Subscribe("a", "", context.io, [&](const Message &) { received++; });
    bus.Publish("a", "");
    EXPECT_TRUE(Within([&] { return received == 1; }));
    ended.reset();
    EXPECT_EQ(std::nullopt, bus.Request("a", "", 5000));
    EXPECT_EQ(1, received);
}

TEST_F(BusTest, WhatIsStoredTwiceWithOneIdentificationIsInTheStreamOnce)
{
    bus.EnsureStream("S", "s.>", 3600);
    Stored stored(bus, {});
    std::atomic<int> first{Waiting}, second{Waiting}, third{Waiting};
    stored.Publish("s.1", "a", "id-1", context.io, Into(&first));
    stored.Publish("s.1", "a", "id-1", context.io, Into(&second));
    stored.Publish("s.1", "a", "id-2", context.io, Into(&third));
    EXPECT_TRUE(Within([&] { return first && second && third; }));
    EXPECT_EQ(Kept, first);
    EXPECT_EQ(Kept, second);
    EXPECT_EQ(Kept, third);
    EXPECT_EQ(2, StreamMessages("S"));
    EXPECT_EQ(0u, stored.Outstanding());
}

TEST_F(BusTest, WhatNoStreamTakesIsNotStored)
{
    StoredLimits limits;
    limits.retry = std::chrono::milliseconds(100);
    limits.giveUp = std::chrono::milliseconds(300);
    Stored stored(bus, limits);
    std::atomic<int> outcome{Waiting};
    stored.Publish("nowhere", "a", "id-1", context.io, Into(&outcome));
    EXPECT_TRUE(Within([&] { return outcome != Waiting; }));
    EXPECT_EQ(Lost, outcome);
    EXPECT_EQ(0u, stored.Outstanding());
}

TEST_F(BusTest, BeyondItsRoomNothingIsStored)
{
    bus.EnsureStream("S", "s.>", 3600);
    StoredLimits limits;
    limits.outstanding = 1;
    Stored stored(bus, limits);
    server.Kill(); // so that the first stays outstanding
    std::atomic<int> first{Waiting}, second{Waiting};
    stored.Publish("s.1", "a", "id-1", context.io, Into(&first));
    stored.Publish("s.1", "b", "id-2", context.io, Into(&second));
    EXPECT_TRUE(Within([&] { return second != Waiting; }));
    EXPECT_EQ(Lost, second);
    EXPECT_EQ(Waiting, first);
}

TEST_F(BusTest, WhatIsUnderWayWhenTheServerDiesIsStoredOnceAfterItsReturn)
{
    bus.EnsureStream("S", "s.>", 3600);
    StoredLimits limits;
    limits.retry = std::chrono::milliseconds(200);
    limits.giveUp = std::chrono::seconds(30);
    Stored stored(bus, limits);
    server.Kill();
    std::atomic<int> kept{0};
    for (int i = 0; i < 100; i++)
        stored.Publish("s.1", "x", "id-" + std::to_string(i), context.io, [&](auto sequence) { kept += !!sequence; });
    server.Start();
    EXPECT_TRUE(Within(20, [&] { return kept == 100; })) << kept;
    EXPECT_EQ(100, StreamMessages("S"));
}

TEST_F(BusTest, AWatchTellsWhatIsThereAndWhatChanges)
{
    bus.EnsureBucket("B", 0);
    Stored stored(bus, {});
    std::atomic<int> one{Waiting}, two{Waiting};
    std::atomic<uint64_t> sequence{0};
    stored.Put("B", "one", "1", context.io, Into(&one));
    stored.Put("B", "two", "2", context.io, Into(&two, &sequence));
    ASSERT_TRUE(Within([&] { return one == Kept && two == Kept; }));

    Copy copy;
    const Watch watch(bus, "B", context.io, copy.Handler());
    ASSERT_TRUE(Within([&] { return copy.Complete(); }));
    EXPECT_TRUE(copy.Becomes({{"one", "1"}, {"two", "2"}}));
    stored.Put("B", "one", "11", context.io, {});
    stored.Delete("B", "two", 0, context.io, {});
    EXPECT_TRUE(copy.Becomes({{"one", "11"}}));
    context.End(); // before `copy` goes
}

TEST_F(BusTest, AnEntryIsNotDeletedAfterSomebodyElseHasWrittenIt)
{
    bus.EnsureBucket("B", 0);
    Stored stored(bus, {});
    std::atomic<int> put{Waiting}, again{Waiting}, removed{Waiting};
    std::atomic<uint64_t> sequence{0};
    stored.Put("B", "one", "mine", context.io, Into(&put, &sequence));
    ASSERT_TRUE(Within([&] { return put == Kept; }));
    stored.Put("B", "one", "theirs", context.io, Into(&again));
    ASSERT_TRUE(Within([&] { return again == Kept; }));
    stored.Delete("B", "one", sequence, context.io, Into(&removed));
    EXPECT_TRUE(Within([&] { return removed == Lost; }));
    Copy copy;
    const Watch watch(bus, "B", context.io, copy.Handler());
    EXPECT_TRUE(copy.Becomes({{"one", "theirs"}}));
    context.End();
}

TEST_F(BusTest, AWatchNoticesEntriesThatExpire)
{
    bus.EnsureBucket("B", 1);
    Stored stored(bus, {});
    Copy copy;
    const Watch watch(bus, "B", context.io, copy.Handler(), std::chrono::seconds(1));
    stored.Put("B", "one", "1", context.io, {});
    EXPECT_TRUE(copy.Becomes({{"one", "1"}}));
    EXPECT_TRUE(copy.Becomes({}));
    context.End();
}

TEST_F(BusTest, AWatchThatReadsAgainTellsOnlyWhatDiffers)
{
    bus.EnsureBucket("B", 0);
    Stored stored(bus, {});
    std::atomic<int> one{Waiting}, gone{Waiting}, lost{Waiting}, deleted{Waiting};
    stored.Put("B", "one", "1", context.io, Into(&one));
    stored.Put("B", "gone", "0", context.io, Into(&gone));
    stored.Put("B", "lost", "2", context.io, Into(&lost));
    ASSERT_TRUE(Within([&] { return one == Kept && gone == Kept && lost == Kept; }));
    stored.Delete("B", "gone", 0, context.io, Into(&deleted));
    ASSERT_TRUE(Within([&] { return deleted == Kept; }));
    std::atomic<int> told{0};
    Copy copy;
    const auto count = [&told, take = copy.Handler()](const Change &change) {
        if (change.key == "one" || change.key == "gone") told++;
        take(change);
    };
    const Watch watch(bus, "B", context.io, count, std::chrono::seconds(1));
    ASSERT_TRUE(copy.Becomes({{"one", "1"}, {"lost", "2"}}));
    // Leaves no trace in the bucket: only who reads again notices it.
    bus.Request("$JS.API.STREAM.PURGE.KV_B", R"({"filter":"$KV.B.lost"})", 5000);
    ASSERT_TRUE(copy.Becomes({{"one", "1"}}));
    EXPECT_EQ(2, told); // that one is there, that the other is gone
    stored.Put("B", "one", "11", context.io, {});
    EXPECT_TRUE(copy.Becomes({{"one", "11"}}));
    EXPECT_EQ(3, told);
    context.End();
}

TEST_F(BusTest, AWatchGoesOnWhenTheServerHasDiedAndComesBack)
{
    bus.EnsureBucket("B", 0);
    StoredLimits limits;
    limits.retry = std::chrono::milliseconds(200);
    limits.giveUp = std::chrono::seconds(30);
    Stored stored(bus, limits);
    Copy copy;
    const Watch watch(bus, "B", context.io, copy.Handler());
    stored.Put("B", "one", "1", context.io, {});
    ASSERT_TRUE(copy.Becomes({{"one", "1"}}));
    server.Kill();
    server.Start();
    stored.Put("B", "two", "2", context.io, {});
    EXPECT_TRUE(copy.Becomes({{"one", "1"}, {"two", "2"}}));
    context.End();
}
} // namespace
