// The prompt, on a pseudo terminal: the real program, and keys as a person types them.
#include <gtest/gtest.h>

#include "tests/support/Files.h"
#include "tests/support/Terminal.h"

namespace
{
struct Prompt : testing::Test {
    // Whether `text` and then the prompt are shown.
    bool Answers(const std::string &text) { return terminal.Shows(text) && terminal.Shows("plugsim> "); }

    TemporaryFolder folder;
    Terminal terminal{
        {"HOME=" + folder.Path(), PLUGSIM_PROGRAM, "platform", "--register", "127.0.0.1:0", "--login", "127.0.0.1:0"}};
};
const char kCtrlC[] = "\x03", kCtrlD[] = "\x04", kCtrlR[] = "\x12";
} // namespace

TEST_F(Prompt, CtrlCEndsAWaitAndKeepsThePrompt)
{
    ASSERT_TRUE(Answers("listening")) << terminal.Shown();
    terminal.Type("wait login\r");
    ASSERT_TRUE(Answers("wait login\r\n")) << terminal.Shown();
    terminal.Type("echo behind the wait\r");
    ASSERT_TRUE(Answers("echo behind the wait\r\n")) << terminal.Shown();
    terminal.Type(kCtrlC);
    ASSERT_TRUE(Answers("command wait login reason interrupted")) << terminal.Shown();
    terminal.Type("functions 2\r");
    EXPECT_TRUE(Answers("model")) << terminal.Shown();
    terminal.Type("quit 7\r");
    EXPECT_EQ(7, terminal.End()) << terminal.Shown();
    EXPECT_EQ(std::string::npos, terminal.Shown().find("\nbehind the wait")) << "a line typed ahead has run";
}

TEST_F(Prompt, CtrlCEndsASleep)
{
    ASSERT_TRUE(Answers("listening")) << terminal.Shown();
    terminal.Type("sleep 3600\r");
    ASSERT_TRUE(Answers("sleep 3600\r\n")) << terminal.Shown();
    terminal.Type(kCtrlC);
    EXPECT_TRUE(Answers("command sleep 3600 reason interrupted")) << terminal.Shown();
}

TEST_F(Prompt, CtrlCDropsTheLineThatIsTyped)
{
    ASSERT_TRUE(Answers("listening")) << terminal.Shown();
    terminal.Type("quit 3");
    ASSERT_TRUE(terminal.Shows("quit 3")) << terminal.Shown();
    terminal.Type(kCtrlC);
    ASSERT_TRUE(terminal.Shows("plugsim> ")) << terminal.Shown();
    terminal.Type("quit 4\r");
    EXPECT_EQ(4, terminal.End()) << terminal.Shown();
}

TEST_F(Prompt, CtrlCWithNothingToEndSaysHowToLeave)
{
    ASSERT_TRUE(Answers("listening")) << terminal.Shown();
    terminal.Type(kCtrlC);
    EXPECT_TRUE(Answers("Ctrl-D or \"quit\" ends plugsim.")) << terminal.Shown();
    terminal.Type(kCtrlD);
    EXPECT_EQ(0, terminal.End()) << terminal.Shown();
}

TEST_F(Prompt, CtrlRSearchesTheHistory)
{
    ASSERT_TRUE(Answers("listening")) << terminal.Shown();
    for (const char *line : {"quit 300", "misbehave", "echo last"}) {
        terminal.Type(std::string(line) + "\r");
        ASSERT_TRUE(Answers("\r\n")) << terminal.Shown();
    }
    terminal.Type(kCtrlR);
    ASSERT_TRUE(terminal.Shows("reverse-i-search")) << terminal.Shown();
    terminal.Type("qui");
    ASSERT_TRUE(terminal.Shows("quit 300")) << terminal.Shown();
    terminal.Type("\r");
    EXPECT_TRUE(Answers("command quit 300 reason '300' is not an exit status")) << terminal.Shown();
}

TEST_F(Prompt, AnEventDuringASearchOfTheHistoryLeavesTheSearch)
{
    ASSERT_TRUE(Answers("listening")) << terminal.Shown();
    terminal.Type("functions 2\r");
    ASSERT_TRUE(Answers("model")) << terminal.Shown();
    terminal.Type("start other sh -c 'until [ -e " + folder.Path("go") + " ]; do sleep 0.01; done; echo an event'\r");
    ASSERT_TRUE(Answers("started")) << terminal.Shown();
    terminal.Type(kCtrlR);
    ASSERT_TRUE(terminal.Shows("reverse-i-search")) << terminal.Shown();
    terminal.Type("func");
    ASSERT_TRUE(terminal.Shows("functions 2")) << terminal.Shown();
    WriteFile(folder.Path("go"), "");
    ASSERT_TRUE(terminal.Shows("text an event") && terminal.Shows("reverse-i-search)`func': functions 2"))
        << terminal.Shown();
    terminal.Type("\r");
    EXPECT_TRUE(Answers("model")) << terminal.Shown();
}

TEST(InTheBackground, PlugsimServesWithoutThePromptThatWouldStopIt)
{
    Terminal shell({"bash", "--norc", "-c",
                    "set -m; \"$0\" platform --register 127.0.0.1:0 --login 127.0.0.1:0 & read -r go; kill -INT $!; "
                    "wait $!; echo \"status $?\"",
                    PLUGSIM_PROGRAM});
    ASSERT_TRUE(shell.Shows("listening")) << shell.Shown();
    shell.Type("go\r");
    EXPECT_TRUE(shell.Shows("status 0")) << shell.Shown();
}

// setsid: as in a container whose terminal is nobody's.
TEST(InAnotherSession, PlugsimHasItsPrompt)
{
    Terminal terminal(
        {"setsid", "--wait", PLUGSIM_PROGRAM, "platform", "--register", "127.0.0.1:0", "--login", "127.0.0.1:0"});
    ASSERT_TRUE(terminal.Shows("plugsim> ")) << terminal.Shown();
    terminal.Type("quit 5\r");
    EXPECT_EQ(5, terminal.End()) << terminal.Shown();
}
