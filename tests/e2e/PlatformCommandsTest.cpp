// The platform's commands that need more than one frame: the table of devices, and an update up to its report.
#include "tests/e2e/EndToEnd.h"

namespace fs = std::filesystem;

namespace
{
const char kOffered[] = "/tmp/next-agent";
const char kFetched[] = "/tmp/plug_download";

class PlatformCommands : public EndToEnd
{
  protected:
    void SetUp() override
    {
        EndToEnd::SetUp();
        fs::remove_all(kFetched);
        for (int i = 0; i < 5000; i++) mContent += std::to_string(i) + "\n";
        WriteFile(kOffered, mContent);
    }
    void TearDown() override
    {
        for (const char *path : {kOffered, kFetched}) fs::remove_all(path);
    }
    std::string mContent;
};

TEST_F(PlatformCommands, UpdateServesTheFileAndFollowsItToTheAgentsEnd)
{
    RunningSession session;
    session.platform.Command(std::string("update ") + kOffered);
    const Event done = session.platform.Wait("update", {{"state", "done"}});
    EXPECT_EQ("0", done.Text("result"));
    EXPECT_EQ("1", done.Text("process"));
    EXPECT_EQ("2.0.0.8", done.Text("to"));
    EXPECT_EQ(mContent, ReadFile(kFetched));
    EXPECT_EQ(255, session.agent.WaitExit());
}

TEST_F(PlatformCommands, AnUpdateThatShouldFailIsDoneWhenItsFailureIsReported)
{
    RunningSession session;
    session.platform.Command(std::string("update ") + kOffered + " md5=0 expect-failure");
    EXPECT_EQ("-1", session.platform.Wait("update", {{"state", "failed"}}).Text("result"));
    EXPECT_FALSE(fs::exists(kFetched));
    session.ExpectAnswers();
}

TEST_F(PlatformCommands, DevicesShowsTheReportAsATable)
{
    RunningSession session;
    session.platform.Command("devices");
    const Event report = session.platform.Wait("upload", {{"datatype", "63"}});
    const std::string table = session.platform.Wait("answer").Text("text");
    EXPECT_NE(std::string::npos, table.find("office-pc")) << table;
    EXPECT_EQ("office-pc", report.Text("fields.devices.0.name"));
    session.ExpectAnswers();
}

} // namespace
