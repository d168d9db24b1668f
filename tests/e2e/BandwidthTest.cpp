// Bandwidth commands that could do harm: the deepest document, and an item that keeps the thread.
#include "tests/data/HostileTexts.h"
#include "tests/e2e/EndToEnd.h"

namespace
{
class Bandwidth : public EndToEnd
{
};

TEST_F(Bandwidth, ADocumentOfTheGreatestDepthFitsTheSmallStackOfAThread)
{
    RunningSession session;
    for (const std::string piece : {"[", "{\"\":"}) {
        std::string nested;
        while (nested.size() < 1400) nested += piece;
        session.platform.Command("function 66 '" + ("text=" + nested) + "'");
        EXPECT_EQ("0", session.platform.Wait("reply", {{"function", "66"}}).Text("status"));
    }
    session.ExpectAnswers();
}

TEST_F(Bandwidth, ABadItemEndsTheSessionButNotTheProcess)
{
    RunningSession session;
    session.platform.Command(
        "function 66 'text={\"LIST\":[{\"FLAG\":\"2\",\"MAC\":\"02:11:22:33:44:55\",\"UP\":\"1\",\"DOWN\":\"1\"}]}'");
    const LogEntry first = session.agent.WaitLog("Wrong tc rule param flag");
    const LogEntry second = session.agent.WaitLog("Wrong tc rule param flag", first.number + 1);
    EXPECT_GE(second.time, first.time + 1); // a pause: the loop does not use up the processor
    session.platform.Command("drop");
    session.platform.WaitSession();
    session.ExpectAnswers();
}
} // namespace
