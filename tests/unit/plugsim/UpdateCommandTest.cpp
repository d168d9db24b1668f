#include "simulator/platform/UpdateCommand.h"

#include <cstdlib>
#include <memory>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/Frame.h"
#include "simulator/console/Runner.h"
#include "tests/support/Frames.h"

using namespace sim;

namespace
{
int ConnectTo(const Address &address)
{
    sockaddr_in to = {};
    to.sin_family = AF_INET;
    memcpy(&to.sin_addr, address.octets, sizeof address.octets);
    to.sin_port = htons(address.port);
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(0, connect(fd, reinterpret_cast<sockaddr *>(&to), sizeof to));
    return fd;
}

void SendAll(int fd, const Bytes &bytes)
{
    ASSERT_EQ(static_cast<ssize_t>(bytes.size()), send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL));
}

// An agent as far as an update needs one, on the platform's own loop: it logs in, acknowledges, and does with the
// second command what the test says.
class TinyAgent
{
  public:
    TinyAgent(Loop *loop, const Address &login) : loop_(loop), fd_(ConnectTo(login))
    {
        SendAll(fd_, Hex(kLoginFrame)); // token "tok", version 2.0.0.7
        loop_->Watch(fd_, POLLIN, [this](short) { Read(); });
    }
    ~TinyAgent() { Leave(); }
    void Leave()
    {
        if (fd_ < 0) return;
        loop_->Unwatch(fd_);
        close(fd_);
        fd_ = -1;
    }
    void Send(uint8_t msgType, const Bytes &head, uint8_t dataType, const std::string &text)
    {
        OutFrame frame;
        frame.msgType = msgType;
        frame.flag = msgType == MSG_ACK ? 0 : 1;
        frame.head = head;
        frame.hasPlain = true;
        frame.plain = InnerRecordBytes(dataType, {}, ToBytes(text));
        SendAll(fd_, EncodeFrame(frame, kKey));
    }
    void Report(const std::string &processAndResult)
    {
        Send(MSG_UP, {}, 3,
             Json({"pluginID", "fromVersion", "toVersion"}) + processAndResult + ",\"resultDesc\":\"\"}");
    }
    // Downloads the file of the second command into `got`.
    void Fetch(std::function<void()> then)
    {
        const std::string url = At(said, "url");
        const size_t slash = url.find('/', 7);
        Address from;
        ASSERT_TRUE(ParseAddress(url.substr(7, slash - 7), &from)) << url;
        const int fd = ConnectTo(from);
        SendAll(fd, ToBytes("GET " + url.substr(slash) + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n"));
        loop_->Watch(fd, POLLIN, [this, fd, then](short) {
            char buffer[65536];
            const ssize_t count = recv(fd, buffer, sizeof buffer, 0);
            if (count > 0) {
                got.append(buffer, static_cast<size_t>(count));
                return;
            }
            loop_->Unwatch(fd);
            close(fd);
            got.erase(0, got.find("\r\n\r\n") + 4);
            then();
        });
    }

    uint8_t firstAnswer = 0; // to the first command
    bool acknowledges = true;
    std::function<void()> second;
    Fields said; // the members of the last command
    std::vector<std::string> texts;
    std::string got;

  private:
    std::string Json(const std::vector<std::string> &members)
    {
        std::string text;
        for (const std::string &member : members)
            text += (text.empty() ? "{\"" : ",\"") + member + "\":\"" + At(said, member) + '"';
        return text;
    }
    void Read()
    {
        uint8_t buffer[4096];
        const ssize_t count = recv(fd_, buffer, sizeof buffer, 0);
        if (count <= 0) {
            loop_->Unwatch(fd_);
            return;
        }
        cutter_.Push(buffer, static_cast<size_t>(count));
        Bytes raw;
        std::string problem;
        while (fd_ >= 0 && cutter_.Pop(&raw, &problem)) {
            const ParsedFrame frame = ParseFrame(raw, kKey, false);
            if (frame.header.msgType == MSG_PLUG_COMMAND) Take(frame);
        }
    }
    void Take(const ParsedFrame &frame)
    {
        Field json;
        texts.push_back(std::string(frame.payload.begin(), frame.payload.end()));
        ASSERT_TRUE(FieldFromJson("", texts.back(), &json));
        said = json.children;
        if (frame.dataType == 1 && !acknowledges) return;
        if (frame.dataType == 1)
            Send(MSG_ACK, {firstAnswer, 0}, 1, "{\"result\":" + std::to_string(firstAnswer) + "}");
        else
            second();
    }

    Loop *loop_;
    int fd_;
    FrameCutter cutter_;
};

struct Update : testing::Test {
    void SetUp() override
    {
        ParseAddress("127.0.0.1:0", &options.login);
        options.registrationServers = {options.login};
        options.session.token = "tok";
        platform = std::make_unique<Platform>(options, &loop, &journal);
        std::string error;
        ASSERT_TRUE(platform->Start(&error)) << error;
        ASSERT_TRUE(Until("listening"));
        Address login;
        ASSERT_TRUE(ParseAddress(Taken("login"), &login));
        agent = std::make_unique<TinyAgent>(&loop, login);
        ASSERT_TRUE(Until("login"));
        char name[] = "/tmp/plugsim-update-XXXXXX";
        const int fd = mkstemp(name);
        ASSERT_EQ(3, write(fd, "abc", 3));
        close(fd);
        file = name;
    }
    void TearDown() override { unlink(file.c_str()); }
    bool Until(const std::string &event)
    {
        bool late = false;
        const uint64_t limit = loop.After(30000, [&] { late = true; });
        while (!late && !journal.Log().Take({event, {}, 0}) && loop.RunOnce()) {
        }
        loop.Cancel(limit);
        return !late;
    }
    std::string Taken(const std::string &path)
    {
        const Event *event = journal.Log().Taken();
        const Field *field = event ? FindField(event->fields, path) : nullptr;
        return field ? field->value : "(none)";
    }
    // Runs one line; the reason of its failure, or "".
    std::string Run(const std::string &line)
    {
        CommandContext context = {};
        context.platform = platform.get();
        context.journal = &journal;
        context.waitTimeoutMs = 30000;
        Interpreter interpreter(&journal);
        AddPlatformCommands(&interpreter, &context);
        RunnerRules rules;
        rules.exitAtEnd = true;
        bool finished = false;
        Runner runner(
            &loop, &journal, rules, [&](const Words &words) { return interpreter.Run(words); }, [] { return false; },
            [&](int) { finished = true; });
        runner.AddLine(line);
        runner.EndOfLines();
        while (!finished && loop.RunOnce()) {
        }
        if (runner.Failures() == 0) return "";
        journal.Log().MarkHere();
        return lastReason;
    }
    // The output about an event, from its line on.
    std::string Line(const std::string &part)
    {
        const size_t at = out.find(part);
        return at == std::string::npos ? "(none)" : out.substr(at, out.find('\n', at) - at);
    }

    PlatformOptions options;
    Loop loop;
    std::string out, lastReason, file;
    Journal journal{{true, false, false}, [this](const std::string &text) {
                        out += text;
                        Field event;
                        if (FieldFromJson("", text, &event) && At(event.children, "event") == "failed")
                            lastReason = At(event.children, "reason");
                    }};
    std::unique_ptr<Platform> platform;
    std::unique_ptr<TinyAgent> agent;
};
} // namespace

TEST_F(Update, NeedsNothingButAFile)
{
    agent->second = [this] { agent->Fetch([this] { agent->Report(",\"process\":1,\"result\":0"); }); };
    EXPECT_EQ("", Run("update " + file));
    EXPECT_EQ("abc", agent->got);
    ASSERT_EQ(2u, agent->texts.size());
    EXPECT_EQ("{\"pluginID\":\"plugin-0001\",\"fromVersion\":\"2.0.0.7\",\"toVersion\":\"2.0.0.8\"}", agent->texts[0]);
    EXPECT_EQ("plugin-0001", At(agent->said, "pluginID"));
    EXPECT_EQ("2.0.0.7", At(agent->said, "fromVersion"));
    EXPECT_EQ("2.0.0.8", At(agent->said, "toVersion"));
    EXPECT_EQ("3", At(agent->said, "fileLength"));
    EXPECT_EQ("900150983cd24fb0d6963f7d28e17f72", At(agent->said, "fileMD5"));
    EXPECT_EQ("tok", At(agent->said, "token"));
    EXPECT_EQ(0u, At(agent->said, "url").find("http://127.0.0.1:"));
    EXPECT_NE("(none)", Line("\"state\":\"offered\""));
    EXPECT_NE("(none)", Line("\"state\":\"asked\""));
    EXPECT_EQ("\"state\":\"done\",\"result\":0,\"process\":1,\"from\":\"2.0.0.7\",\"to\":\"2.0.0.8\",\"bytes\":3}",
              Line("\"state\":\"done\""));
}

TEST_F(Update, SendsTheOverrides)
{
    agent->second = [this] { agent->Report(",\"process\":0,\"result\":-1"); };
    EXPECT_EQ("", Run("update " + file + " id=x from=1 to=2 md5=0 length=9 token= url=nowhere expect-failure"));
    EXPECT_EQ("{\"pluginID\":\"x\",\"fromVersion\":\"1\",\"toVersion\":\"2\",\"url\":\"nowhere\",\"fileLength\":9,"
              "\"fileMD5\":\"0\",\"token\":\"\"}",
              agent->texts[1]);
}

TEST_F(Update, FailsWhenTheAgentReportsAFailure)
{
    agent->second = [this] { agent->Report(",\"process\":0,\"result\":-1"); };
    EXPECT_EQ("the agent reports that the update has failed", Run("update " + file));
}

TEST_F(Update, FailsWhenAnExpectedFailureIsNotReported)
{
    agent->second = [this] { agent->Report(",\"process\":1,\"result\":0"); };
    EXPECT_EQ("the update was to fail, and the agent reports that it is done",
              Run("update " + file + " expect-failure"));
}

TEST_F(Update, EndsWhenTheAgentRefusesTheFirstCommand)
{
    agent->firstAnswer = 1;
    EXPECT_EQ("the agent has refused the update command: 1", Run("update " + file));
    EXPECT_EQ(1u, agent->texts.size());
}

TEST_F(Update, EndsWhenTheAgentDisconnects)
{
    agent->second = [this] { agent->Leave(); };
    EXPECT_EQ("the connection ended before the report of the update", Run("update " + file));
}

TEST_F(Update, EndsWhenTheAgentAcknowledgesWithoutAReport)
{
    agent->second = [this] { agent->Send(MSG_ACK, {0, 0}, 2, "{\"result\":0}"); };
    EXPECT_EQ("the agent has acknowledged the update (0) and not reported on it", Run("update " + file));
}

TEST_F(Update, EndsWhenNothingHappensForTooLong)
{
    agent->acknowledges = false;
    EXPECT_EQ("the agent has not acknowledged the update command", Run("update " + file + " within=0"));
}

TEST_F(Update, IgnoresTheReportOfAnotherUpdate)
{
    agent->second = [this] {
        agent->said[2].value = "9";
        agent->Report(",\"process\":1,\"result\":0");
    };
    EXPECT_EQ("the report names another toVersion: '9'", Run("update " + file));
}

TEST_F(Update, NeedsAFileThatCanBeRead)
{
    EXPECT_EQ("/nowhere/plug: No such file or directory", Run("update /nowhere/plug"));
    EXPECT_EQ("/tmp: Is a directory", Run("update /tmp"));
    EXPECT_TRUE(agent->texts.empty());
}

TEST_F(Update, NeedsAnAgent)
{
    agent->Leave();
    ASSERT_TRUE(Until("disconnected"));
    EXPECT_EQ("no agent is logged in", Run("update " + file));
}

TEST_F(Update, OfTheSameFileAgainServesItsNewContent)
{
    agent->second = [this] { agent->Fetch([this] { agent->Report(",\"process\":1,\"result\":0"); }); };
    EXPECT_EQ("", Run("update " + file));
    FILE *again = fopen(file.c_str(), "w");
    fputs("message digest", again);
    fclose(again);
    agent->got.clear();
    EXPECT_EQ("", Run("update " + file));
    EXPECT_EQ("message digest", agent->got);
    EXPECT_EQ("f96b697d7cb7938d525a2f31aaf161d0", At(agent->said, "fileMD5"));
}
