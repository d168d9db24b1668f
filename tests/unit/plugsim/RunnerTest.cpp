#include "simulator/console/Runner.h"

#include <gtest/gtest.h>

using namespace sim;

namespace
{
// A runner on a real loop; nothing here takes time.
struct Script : testing::Test {
    int Run(const std::vector<std::string> &lines, const RunnerRules &rules)
    {
        int status = -1;
        Runner runner(
            &loop, &journal, rules, [this](const Words &words) { return Execute(words); }, [] { return false; },
            [&](int wanted) {
                status = wanted;
                loop.Stop();
            });
        for (const std::string &line : lines) runner.AddLine(line);
        runner.EndOfLines();
        loop.Run();
        failures = runner.Failures();
        return status;
    }
    Outcome Execute(const Words &words)
    {
        done.push_back(words[0]);
        Outcome outcome;
        std::string error;
        if (words[0] == "fail") return Outcome::Fail("as told");
        if (words[0] == "wait") {
            outcome.kind = Outcome::Wait;
            ParseWait(Words(words.begin() + 1, words.end()), 60000, &outcome.wait, &error);
        }
        if (words[0] == "twice") { // two logins, then as the second word says
            outcome.kind = Outcome::Wait;
            outcome.wait = {"login", {}, 60000};
            outcome.then = [this, words](const Event &event) {
                done.push_back("took " + event.name);
                Outcome more;
                more.kind = Outcome::Wait;
                more.wait = {"login", {}, words[1] == "late" ? 0 : 60000};
                more.reason = "there was no second one";
                more.then = [words](const Event &) {
                    return words[1] == "well" ? Outcome::Ok() : Outcome::Fail("as told");
                };
                return more;
            };
        }
        if (words[0] == "quit") {
            outcome.kind = Outcome::Quit;
            outcome.status = 5;
        }
        if (words[0] == "later") // the event happens when the script already waits
            loop.After(0, [this] { loop.After(0, [this] { journal.Emit("login", {}); }); });
        if (words[0] == "now") journal.Emit("login", {});
        return outcome;
    }
    Loop loop;
    std::string out;
    Journal journal{{}, [this](const std::string &text) { out += text; }};
    Words done;
    uint64_t failures = 0;
};

RunnerRules Strict()
{
    RunnerRules rules;
    rules.strict = rules.exitAtEnd = true;
    return rules;
}
} // namespace

TEST_F(Script, RunsItsLinesInOrderAndEndsWithThem)
{
    EXPECT_EQ(0, Run({"one", "", "# comment", "two"}, Strict()));
    EXPECT_EQ((Words{"one", "two"}), done);
}

TEST_F(Script, WaitsForALaterEvent)
{
    EXPECT_EQ(0, Run({"later", "wait login", "after"}, Strict()));
    EXPECT_EQ((Words{"later", "wait", "after"}), done);
}

TEST_F(Script, DoesNotWaitForAnEventThatHasHappened)
{
    EXPECT_EQ(0, Run({"now", "wait login", "after"}, Strict()));
    EXPECT_EQ(3u, done.size());
}

TEST_F(Script, WaitsForEventsThatAreNotShown)
{
    journal = Journal({false, false, true}, [this](const std::string &text) { out += text; });
    EXPECT_EQ(0, Run({"later", "wait login", "after"}, Strict()));
    EXPECT_EQ("", out);
    EXPECT_EQ(3u, done.size());
}

TEST_F(Script, ACommandMayContinueWithTheEventItWaitedFor)
{
    EXPECT_EQ(0, Run({"now", "later", "twice well", "after"}, Strict()));
    EXPECT_EQ((Words{"now", "later", "twice", "took login", "after"}), done);
}

TEST_F(Script, ACommandMayFailOnTheEventItWaitedFor)
{
    EXPECT_EQ(1, Run({"now", "later", "twice badly", "after"}, Strict()));
    EXPECT_NE(std::string::npos, out.find("as told"));
}

TEST_F(Script, ACommandThatWaitsGivesItsOwnReason)
{
    EXPECT_EQ(1, Run({"now", "twice late", "after"}, Strict()));
    EXPECT_NE(std::string::npos, out.find("there was no second one"));
}

TEST_F(Script, EndsWithTheFirstFailure)
{
    EXPECT_EQ(1, Run({"one", "fail", "two"}, Strict()));
    EXPECT_EQ((Words{"one", "fail"}), done);
    EXPECT_NE(std::string::npos, out.find("as told"));
}

TEST_F(Script, EndsWhenAWaitTimesOut)
{
    EXPECT_EQ(1, Run({"wait login 0", "two"}, Strict()));
    EXPECT_EQ(1u, done.size());
    EXPECT_NE(std::string::npos, out.find("no login within")) << out;
}

TEST_F(Script, ContinuesAfterAFailureUnlessStrict)
{
    RunnerRules rules;
    rules.exitAtEnd = true;
    EXPECT_EQ(0, Run({"fail", "'open", "two"}, rules));
    EXPECT_EQ((Words{"fail", "two"}), done);
    EXPECT_EQ(2u, failures);
}

TEST_F(Script, DoesNotCountFailuresAtThePrompt)
{
    RunnerRules rules;
    rules.exitAtEnd = rules.interactive = true;
    Run({"fail"}, rules);
    EXPECT_EQ(0u, failures);
}

TEST_F(Script, QuitsWithTheGivenStatus)
{
    EXPECT_EQ(5, Run({"quit", "two"}, Strict()));
    EXPECT_EQ(1u, done.size());
}

TEST_F(Script, AnInterruptEndsWhatIsUnderWayAndDropsTheLinesBehindIt)
{
    RunnerRules rules;
    rules.interactive = true;
    Runner runner(
        &loop, &journal, rules, [this](const Words &words) { return Execute(words); }, [] { return false; },
        [](int) {});
    EXPECT_FALSE(runner.Interrupt());
    runner.AddLine("wait login");
    runner.AddLine("behind");
    loop.After(0, [&] {
        EXPECT_TRUE(runner.Interrupt());
        EXPECT_FALSE(runner.Interrupt());
        runner.AddLine("next");
        loop.After(0, [this] { loop.Stop(); });
    });
    loop.Run();
    EXPECT_EQ((Words{"wait", "next"}), done);
    EXPECT_NE(std::string::npos, out.find("command wait login reason interrupted")) << out;
    EXPECT_EQ(0u, runner.Failures());
}

TEST_F(Script, AnInterruptDropsALineThatHasNotBegun)
{
    RunnerRules rules;
    rules.interactive = true;
    Runner runner(
        &loop, &journal, rules, [this](const Words &words) { return Execute(words); }, [] { return false; },
        [](int) {});
    runner.AddLine("one");
    EXPECT_TRUE(runner.Interrupt());
    loop.After(0, [this] { loop.Stop(); });
    loop.Run();
    EXPECT_EQ(Words(), done);
}
