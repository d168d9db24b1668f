#include "simulator/platform/DevicesCommand.h"
#include "simulator/platform/FrameCommands.h"
#include "simulator/platform/UpdateCommand.h"
#include "tests/support/Frames.h"
#include "tests/unit/plugsim/PlatformTool.h"

#include <cstdlib>
#include <unistd.h>

using namespace sim;

namespace
{
// The payload of the frame that a line makes, and its data type; empty with the reason in `error`.
struct PluginCommands : testing::Test {
    std::string Text(const std::string &line)
    {
        Words words;
        OutFrame frame;
        error.clear();
        EXPECT_TRUE(SplitWords(line, &words, &error));
        if (!MakeFrame(words, &context, &frame, &error)) return "";
        const ParsedFrame parsed = ParseFrame(EncodeFrame(frame, kKey), kKey, false);
        EXPECT_EQ(18, parsed.header.msgType);
        dataType = parsed.dataType;
        return std::string(parsed.payload.begin(), parsed.payload.end());
    }
    Peer peer;
    FrameContext context = {&peer, kKey, 0};
    std::string error;
    int dataType = -1;
};

// An open file with this content, which has no name any more.
struct OpenFile {
    explicit OpenFile(const std::string &content)
    {
        char name[] = "/tmp/plugsim-test-XXXXXX";
        fd = mkstemp(name);
        unlink(name);
        EXPECT_EQ(static_cast<ssize_t>(content.size()), write(fd, content.data(), content.size()));
    }
    ~OpenFile() { close(fd); }
    int fd;
};
} // namespace

TEST_F(PluginCommands, OfFirmwareAreJson)
{
    EXPECT_EQ("{\"fromVersion\":\"1.0\",\"toVersion\":\"1.1\"}", Text("firmware-check 1.0 1.1"));
    EXPECT_EQ(15, dataType);
    EXPECT_EQ("{\"fromVersion\":\"1.0\",\"toVersion\":\"1.1\",\"url\":\"http://h/f\",\"fileLength\":1000,"
              "\"checkMethod\":1,\"chkSum\":\"abc\"}",
              Text("firmware-update 1.0 1.1 http://h/f 1000 1 abc"));
    EXPECT_EQ(16, dataType);
    EXPECT_EQ("", Text("firmware-update 1.0 1.1 http://h/f ten 1 abc"));
    EXPECT_EQ("fileLength: 'ten' is not a 32-bit number", error);
    EXPECT_EQ("", Text("firmware-update 1.0 1.1 http://h/f 10 1"));
}

TEST_F(PluginCommands, OfFirmwareFitIntoTheFieldsOfAnAgent)
{
    EXPECT_NE("", Text("firmware-update " + std::string(64, 'f') + ' ' + std::string(64, 't') + ' ' +
                       std::string(256, 'u') + " 1 1 " + std::string(40, 'c')));
    EXPECT_EQ("", Text("firmware-check 1 " + std::string(65, 't')));
    EXPECT_EQ("toVersion: '" + std::string(65, 't') + "' has more than 64 characters", error);
    EXPECT_EQ("", Text("firmware-update 1 2 " + std::string(257, 'u') + " 1 1 c"));
    EXPECT_EQ("", Text("firmware-update 1 2 u 1 1 " + std::string(41, 'c')));
}

TEST_F(PluginCommands, OfTheReportIntervalTakeAnyNumber)
{
    EXPECT_EQ("{\"func40Interval\":19}", Text("report-interval 19"));
    EXPECT_EQ(18, dataType);
    EXPECT_EQ("{\"func40Interval\":20}", Text("report-interval 20"));
    EXPECT_EQ("{\"func40Interval\":-1}", Text("report-interval -1"));
    EXPECT_EQ("", Text("report-interval soon"));
}

TEST_F(PluginCommands, WithoutTheirOwnCommandHaveNames)
{
    const std::pair<const char *, int> kNames[] = {
        {"plugin-update-check", 1}, {"plugin-update", 2}, {"online", 4}, {"vip", 5},
        {"recognition", 6},         {"re-recognition", 7}};
    for (const auto &row : kNames) {
        EXPECT_EQ("{\"result\":1}", Text(std::string("plugin ") + row.first + " {\"result\":1}")) << row.first;
        EXPECT_EQ(row.second, dataType);
    }
}

TEST(Devices, AreShownAsATable)
{
    const auto device = [](const std::string &ip, const std::string &name) {
        return ObjectField("", {TextField("ip", ip), TextField("mac", "02:1a:2b:00:00:14"), TextField("name", name),
                                NumberField("up", 5), NumberField("down", 1000), TextField("online", "yes"),
                                TextField("black_listed", "no"), TextField("access", "allowed")});
    };
    Field list = ListField("devices", {});
    EXPECT_EQ("no devices", DevicesTable({ObjectField("fields", {list})}));
    list.children = {device("192.168.1.20", "laptop"), device("10.0.0.1", "a\nb")};
    EXPECT_EQ("IP            MAC                NAME    UP  DOWN  ONLINE  SHUT OUT  INTERNET\n"
              "192.168.1.20  02:1a:2b:00:00:14  laptop  5   1000  yes     no        allowed\n"
              "10.0.0.1      02:1a:2b:00:00:14  a\\nb    5   1000  yes     no        allowed",
              DevicesTable({ObjectField("fields", {list})}));
}

TEST(UpdateWords, AreAFileAndOverrides)
{
    UpdateWords update;
    std::string error;
    ASSERT_TRUE(ReadUpdate({"update", "f"}, &update, &error));
    EXPECT_EQ("f", update.file);
    EXPECT_FALSE(update.expectFailure || update.idGiven || update.tokenGiven);
    ASSERT_TRUE(ReadUpdate({"update", "f", "md5=0", "id=", "length=-1", "expect-failure", "url=a=b", "within=2"},
                           &update, &error));
    EXPECT_EQ("0", update.md5);
    EXPECT_TRUE(update.idGiven && update.id.empty());
    EXPECT_EQ("-1", update.length);
    EXPECT_EQ("a=b", update.url);
    EXPECT_TRUE(update.expectFailure);
    EXPECT_FALSE(ReadUpdate({"update", "f", "md6=0"}, &update, &error));
    EXPECT_FALSE(ReadUpdate({"update", "f", "md5"}, &update, &error));
    EXPECT_FALSE(ReadUpdate({"update", "f", "length=x"}, &update, &error));
    EXPECT_EQ("length: 'x' is not a 32-bit number", error);
    EXPECT_FALSE(ReadUpdate({"update", "f", "within=x"}, &update, &error));
}

TEST(UpdateVersions, GoUpByOneInTheirLastPart)
{
    EXPECT_EQ("2.0.0.8", NextVersion("2.0.0.7"));
    EXPECT_EQ("2.0.0.255-next", NextVersion("2.0.0.255")); // no part of a login's version is greater
    EXPECT_EQ("one-next", NextVersion("one"));
    EXPECT_EQ("-next", NextVersion(""));
}

TEST(UpdatePaths, AreTheFilesNameWhereAnAgentAcceptsIt)
{
    EXPECT_EQ("/update/plug-2.0.bin", UpdatePath("/some/where/plug-2.0.bin"));
    EXPECT_EQ("/update/plugin", UpdatePath("a b"));
    EXPECT_EQ("/update/plugin", UpdatePath(".."));
    EXPECT_EQ("/update/plugin", UpdatePath("folder/"));
    EXPECT_EQ("/update/plugin", UpdatePath(std::string(101, 'x')));
}

TEST(UpdateDigests, AreThoseOfTheStandard)
{
    const std::pair<std::string, const char *> kDigests[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
    };
    for (const auto &row : kDigests) {
        OpenFile file(row.first);
        int64_t length = -1;
        std::string md5, error;
        ASSERT_TRUE(Digest(file.fd, &length, &md5, &error));
        EXPECT_EQ(static_cast<int64_t>(row.first.size()), length);
        EXPECT_EQ(row.second, md5);
    }
}

TEST(UpdateCompletions, AreAFileAndThenNames)
{
    EXPECT_EQ((std::vector<std::string>{kAnyFile}), Completions({"update"}));
    const std::vector<std::string> names = Completions({"update", "f"});
    EXPECT_NE(names.end(), std::find(names.begin(), names.end(), "md5="));
    const std::vector<std::string> all = Completions({});
    for (const char *name : {"update", "devices", "firmware-check", "firmware-update", "report-interval"}) {
        std::string help;
        EXPECT_NE(all.end(), std::find(all.begin(), all.end(), name)) << name;
        EXPECT_TRUE(HelpText(name, &help)) << name;
    }
}
