#include "simulator/console/EventLog.h"

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

TEST(Wait, FindsEventsSinceTheLastCommand)
{
    EventLog log;
    log.Add({"login", {}});
    EXPECT_TRUE(log.Take(Query({"login"})));
    log.MarkHere();
    log.Add(Reply(1, 0)); // happened before the wait
    EXPECT_TRUE(log.Take(Query({"reply"})));
}

TEST(Wait, DoesNotFindEventsBeforeTheCommand)
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

TEST(Wait, SkipsEventsBeforeTheOneItTook)
{
    EventLog log;
    log.Add({"upload", {}});
    log.Add({"login", {}});
    EXPECT_TRUE(log.Take(Query({"login"})));
    EXPECT_FALSE(log.Take(Query({"upload"})));
}

TEST(Wait, ComparesEventsWithItsFilters)
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

TEST(Wait, KeepsABoundedNumberOfBytes)
{
    EventLog log;
    for (int i = 0; i < 10000; i++) log.Add({"upload", {TextField("payload", std::string(5000, 'x'))}});
    EXPECT_GT(log.Bytes(), 31u << 20);
    EXPECT_LE(log.Bytes(), 32u << 20);
    EXPECT_TRUE(log.Lost());
    EXPECT_TRUE(log.Take(Query({"upload"})));
}

TEST(Wait, TakesAnEventUnchanged)
{
    EventLog log;
    const Fields fields = {TextField("text", std::string("a\0b", 3) + std::string(300, 'c')),
                           NumberField("time", -5, "ms"), FlagField("flag", false),
                           ObjectField("object", {ListField("list", {"p", ""}), RealField("real", 1.5, 3)})};
    log.Add({"upload", fields});
    ASSERT_TRUE(log.Take(Query({"any"})));
    EXPECT_EQ(ToJson(fields), ToJson(log.Taken()->fields));
    EXPECT_EQ(ToLines(fields, 0), ToLines(log.Taken()->fields, 0)); // units too
}

TEST(Wait, FindsAnEventBehindThoseAlreadySearched)
{
    EventLog log;
    log.Add(Reply(1, 0));
    EXPECT_FALSE(log.Take(Query({"reply", "function=2"})));
    EXPECT_FALSE(log.Take(Query({"reply", "function=3"})));
    log.Add(Reply(2, 0));
    EXPECT_FALSE(log.Take(Query({"reply", "function=3"})));
    EXPECT_TRUE(log.Take(Query({"reply", "function=2"})));
    log.Add(Reply(1, 0));
    EXPECT_TRUE(log.Take(Query({"reply", "function=1"})));
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

static Event Output(const std::string &program, const std::string &text)
{
    return {"output", {TextField("program", program), TextField("text", text)}};
}

TEST(Wait, FindsAPartOfAValue)
{
    EventLog log;
    log.Add(Output("agent", "Register server1 success."));
    EXPECT_FALSE(log.Take(Query({"output", "text~server2"})));
    EXPECT_FALSE(log.Take(Query({"output", "text=server1"})));
    EXPECT_TRUE(log.Take(Query({"output", "text~server1"})));
    EXPECT_EQ("output text~server1 program=agent", WaitText(Query({"output", "text~server1", "program=agent"})));
}

TEST(Wait, ReadsEachProgramsOutputByItself)
{
    EventLog log;
    log.Add(Output("agent", "one"));
    log.Add(Output("router", "one"));
    log.Add({"login", {}});
    log.Add(Output("agent", "two"));
    EXPECT_TRUE(log.Take(Query({"login"})));
    log.MarkHere(); // a command
    EXPECT_TRUE(log.Take(Query({"output", "program=router"})));
    EXPECT_TRUE(log.Take(Query({"output", "program=agent", "text=one"})));
    EXPECT_FALSE(log.Take(Query({"output", "program=agent", "text=one"})));
    EXPECT_TRUE(log.Take(Query({"output", "program=agent", "text=two"})));
    EXPECT_FALSE(log.Take(Query({"output", "program=router"})));
}

TEST(Recall, TakesTheLatestEventAndMovesNoMark)
{
    EventLog log;
    log.Add(Reply(1, 0));
    log.Add(Reply(2, 0));
    log.Add(Reply(2, 7));
    log.MarkHere();
    log.Add({"login", {}});
    EXPECT_FALSE(log.Recall(Query({"heartbeat"})));
    EXPECT_TRUE(log.Recall(Query({"reply", "function=2"})));
    EXPECT_EQ("7", FindField(log.Taken()->fields, "status")->value);
    EXPECT_TRUE(log.Take(Query({"login"})));
}
