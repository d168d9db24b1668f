// What a script runs beside its platform: real programs, of the shell.
#include "simulator/console/Programs.h"

#include <csignal>
#include <gtest/gtest.h>

using namespace sim;

namespace
{
struct OtherPrograms : testing::Test {
    // Runs the loop until such an event happens and returns it.
    Event Wait(const Words &words)
    {
        WaitQuery query;
        EXPECT_TRUE(ParseWait(words, 0, &query, &error)) << error;
        bool late = false;
        const uint64_t timer = loop.After(10000, [&] { late = true; });
        while (!journal.Log().Take(query) && !late) loop.RunOnce();
        loop.Cancel(timer);
        if (late) return {"nothing", {}};
        return *journal.Log().Taken();
    }
    std::string Said(const Words &words, const std::string &path)
    {
        const Event event = Wait(words);
        const Field *field = FindField(event.fields, path);
        return field ? field->value : "(none)";
    }
    std::string Start(const std::string &name, const std::string &line)
    {
        return programs.Start(name, {"sh", "-c", line}, &error) ? "" : error;
    }
    Loop loop;
    Journal journal{{}, [](const std::string &) {}};
    Programs programs{&loop, &journal};
    std::string error;
};
} // namespace

TEST_F(OtherPrograms, WriteLinesAndEndWithAStatus)
{
    EXPECT_EQ("", Start("talker", "echo one; echo two >&2; printf three; exit 5"));
    EXPECT_EQ("one", Said({"output", "program=talker"}, "text"));
    EXPECT_EQ("two", Said({"output", "program=talker"}, "text"));
    EXPECT_EQ("three", Said({"output", "program=talker"}, "text"));
    EXPECT_EQ("5", Said({"ended", "program=talker"}, "status"));
    EXPECT_EQ("", Start("talker", "true")); // the name is free again
}

TEST_F(OtherPrograms, HaveTheirJsonParsed)
{
    Start("talker", "echo '{\"event\":\"request\",\"id\":78}'; echo '{no json'");
    EXPECT_EQ("78", Said({"output", "json.event=request"}, "json.id"));
    EXPECT_EQ("(none)", Said({"output"}, "json"));
}

TEST_F(OtherPrograms, ReadLinesFromTheScript)
{
    Start("listener", "read line; echo \"heard $line\"");
    EXPECT_TRUE(programs.Tell("listener", "this and that", &error));
    EXPECT_EQ("heard this and that", Said({"output"}, "text"));
    Wait({"ended"});
    EXPECT_FALSE(programs.Tell("listener", "more", &error));
    EXPECT_EQ("no 'listener' is running", error);
}

TEST_F(OtherPrograms, AreStopped)
{
    Start("sleeper", "exec sleep 1000");
    EXPECT_EQ("'sleeper' runs already", Start("sleeper", "true"));
    EXPECT_TRUE(programs.Stop("sleeper", &error));
    EXPECT_EQ("15", Said({"ended"}, "signal"));
    EXPECT_FALSE(programs.Stop("sleeper", &error));
}

TEST_F(OtherPrograms, ThatDoNotExistFail)
{
    EXPECT_TRUE(programs.Start("nobody", {"/no/such/program"}, &error));
    EXPECT_EQ("cannot run /no/such/program: No such file or directory", Said({"output"}, "text"));
    EXPECT_EQ("127", Said({"ended"}, "status"));
}

TEST_F(OtherPrograms, EndWithTheScript)
{
    int pid = 0;
    {
        Programs few(&loop, &journal);
        ASSERT_TRUE(few.Start("sleeper", {"sleep", "1000"}, &error));
        pid = std::stoi(Said({"started"}, "pid"));
        EXPECT_EQ(0, kill(pid, 0));
    }
    EXPECT_EQ(-1, kill(pid, 0));
}
