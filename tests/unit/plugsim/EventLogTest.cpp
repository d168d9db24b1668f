#include "simulator/EventLog.h"

#include <gtest/gtest.h>

using namespace sim;

static Event Reply(int function, int status)
{
    return {"reply",
            {NumberField("function", function), NumberField("status", status),
             ObjectField("fields", {TextField("model", "R 100"), NumberField("cpu_mhz", 880)})}};
}

static WaitQuery Query(const Words &words)
{
    WaitQuery query;
    std::string error;
    EXPECT_TRUE(ParseWait(words, 60000, &query, &error)) << error;
    return query;
}

TEST(Wait, IsReadWithFiltersAndATimeout)
{
    const WaitQuery query = Query({"reply", "function=2", "fields.model=R 100", "1.5"});
    EXPECT_EQ("reply", query.event);
    EXPECT_EQ(2u, query.filters.size());
    EXPECT_EQ(1500, query.timeoutMs);
    EXPECT_EQ(60000, Query({"login"}).timeoutMs);
    WaitQuery bad;
    std::string error;
    EXPECT_FALSE(ParseWait({}, 0, &bad, &error));
    EXPECT_FALSE(ParseWait({"reply", "5", "function=2"}, 0, &bad, &error));
    EXPECT_FALSE(ParseWait({"reply", "soon"}, 0, &bad, &error));
}

TEST(Wait, FindsWhatHasHappenedSinceTheLastCommand)
{
    EventLog log;
    log.Add({"login", {}});
    EXPECT_TRUE(log.Take(Query({"login"})));
    log.MarkHere();
    log.Add(Reply(1, 0)); // came before the wait was reached
    EXPECT_TRUE(log.Take(Query({"reply"})));
}

TEST(Wait, DoesNotFindWhatHappenedBeforeTheCommand)
{
    EventLog log;
    log.Add(Reply(1, 0));
    log.MarkHere();
    EXPECT_FALSE(log.Take(Query({"reply"})));
}

TEST(Wait, UsesEveryEventOnce)
{
    EventLog log;
    log.Add({"heartbeat", {}});
    EXPECT_TRUE(log.Take(Query({"heartbeat"})));
    EXPECT_FALSE(log.Take(Query({"heartbeat"})));
    log.Add({"heartbeat", {}});
    EXPECT_TRUE(log.Take(Query({"heartbeat"})));
}

TEST(Wait, PassesOverWhatStoodBeforeTheEventItTook)
{
    EventLog log;
    log.Add({"upload", {}});
    log.Add({"login", {}});
    EXPECT_TRUE(log.Take(Query({"login"})));
    EXPECT_FALSE(log.Take(Query({"upload"})));
}

TEST(Wait, HoldsEventsAgainstItsFilters)
{
    EventLog log;
    log.Add(Reply(1, 0));
    log.Add(Reply(2, 7));
    EXPECT_FALSE(log.Take(Query({"reply", "function=3"})));
    ASSERT_TRUE(log.Take(Query({"reply", "function=2"})));
    ASSERT_NE(nullptr, log.Taken());
    EXPECT_EQ("7", FindField(log.Taken()->fields, "status")->value);
}

TEST(Wait, TakesAnyEventWhenAskedFor)
{
    EventLog log;
    EXPECT_FALSE(log.Take(Query({"any"})));
    log.Add({"upload", {}});
    EXPECT_TRUE(log.Take(Query({"any"})));
}

TEST(Wait, KeepsABoundedNumberOfEvents)
{
    EventLog log;
    log.Add({"first", {}});
    for (int i = 0; i < 20000; i++) log.Add({"other", {}});
    EXPECT_FALSE(log.Take(Query({"first"})));
    EXPECT_TRUE(log.Lost());
    EXPECT_TRUE(log.Take(Query({"other"})));
    EXPECT_FALSE(log.Lost());
}

TEST(Expect, ComparesAFieldOfTheEvent)
{
    const Event event = Reply(2, -9);
    std::string error;
    EXPECT_TRUE(CheckExpectation(event, {"status", "-9"}, &error)) << error;
    EXPECT_TRUE(CheckExpectation(event, {"field", "model", "R 100"}, &error)) << error;
    EXPECT_TRUE(CheckExpectation(event, {"fields.model", "~", "100"}, &error)) << error;
    EXPECT_TRUE(CheckExpectation(event, {"status", "!=", "0"}, &error)) << error;
    EXPECT_TRUE(CheckExpectation(event, {"status", "<", "0"}, &error)) << error;
    EXPECT_TRUE(CheckExpectation(event, {"field", "cpu_mhz", ">", "500"}, &error)) << error;

    EXPECT_FALSE(CheckExpectation(event, {"status", "0"}, &error));
    EXPECT_EQ("status is '-9', expected = '0'", error);
    EXPECT_FALSE(CheckExpectation(event, {"datatype", "0"}, &error));
    EXPECT_EQ("the reply has no datatype", error);
    EXPECT_FALSE(CheckExpectation(event, {"field", "model", ">", "5"}, &error));
    EXPECT_FALSE(CheckExpectation(event, {"status"}, &error));
    EXPECT_FALSE(CheckExpectation(event, {"status", "is", "0"}, &error));
}
