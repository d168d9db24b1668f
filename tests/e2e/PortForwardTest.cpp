// Port forwarding with the real packet filter: the sandbox is the router, between a client's and a server's network.
#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <netinet/in.h>
#include <set>
#include <sstream>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "tests/data/HostileTexts.h"
#include "tests/e2e/Diagnostics.h"

namespace
{
typedef std::vector<std::string> Texts;

struct Forwarding {
    std::string flag, preIp, prePort, postIp, postPort;
    std::string Text() const
    {
        return "{\"FLAG\":" + JsonString(flag) + ",\"PRE_IP\":" + JsonString(preIp) +
               ",\"PRE_PORT\":" + JsonString(prePort) + ",\"POST_IP\":" + JsonString(postIp) +
               ",\"POST_PORT\":" + JsonString(postPort) + "}";
    }
};

struct sockaddr_in Address(const char *ip, uint16_t port)
{
    struct sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    inet_pton(AF_INET, ip, &address.sin_addr);
    return address;
}

// A TCP socket whose calls all have a time limit.
class Tcp
{
  public:
    explicit Tcp(int fd) : fd_(fd)
    {
        const struct timeval limit = {static_cast<time_t>(kPatience), 0};
        setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        setsockopt(fd_, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    }
    Tcp() : Tcp(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}
    ~Tcp() { close(fd_); }
    Tcp(const Tcp &) = delete;
    Tcp &operator=(const Tcp &) = delete;

    // 0 or the error number.
    int Connect(const char *ip, uint16_t port)
    {
        const struct sockaddr_in address = Address(ip, port);
        return connect(fd_, reinterpret_cast<const struct sockaddr *>(&address), sizeof address) == 0 ? 0 : errno;
    }
    void Listen(const char *ip, uint16_t port)
    {
        const struct sockaddr_in address = Address(ip, port);
        if (bind(fd_, reinterpret_cast<const struct sockaddr *>(&address), sizeof address) != 0 || listen(fd_, 4) != 0)
            throw Failure(std::string("listen: ") + strerror(errno));
    }
    // Returns the descriptor, -1 if nobody connects. `*peer` is "address:port".
    int Accept(std::string *peer)
    {
        struct sockaddr_in address = {};
        socklen_t size = sizeof address;
        const int fd = accept4(fd_, reinterpret_cast<struct sockaddr *>(&address), &size, SOCK_CLOEXEC);
        *peer = std::string(inet_ntoa(address.sin_addr)) + ":" + std::to_string(ntohs(address.sin_port));
        return fd;
    }
    void Send(const std::string &text)
    {
        EXPECT_EQ(static_cast<ssize_t>(text.size()), send(fd_, text.data(), text.size(), MSG_NOSIGNAL));
    }
    std::string Receive(size_t length)
    {
        std::string text(length, '\0');
        const ssize_t count = recv(fd_, &text[0], length, MSG_WAITALL);
        text.resize(count < 0 ? 0 : static_cast<size_t>(count));
        return text;
    }

  private:
    int fd_;
};

class PortForward : public EndToEnd
{
  protected:
    const std::string kRouter = "10.77.1.1"; // where clients connect
    const std::string kServer = "10.77.2.2";

    void SetUp() override
    {
        EndToEnd::SetUp();
        RunShell("iptables -t nat -F");
        WriteFile("/proc/sys/net/ipv4/ip_forward", "1\n");
        ProcessOptions options;
        options.arguments = {ROUTE_PROGRAM};
        options.environment["PATH"] = "/usr/sbin:/usr/bin:/sbin:/bin";
        program_ = std::make_unique<Process>(options);
        results_ = std::make_unique<Lines>(program_->Output());
        complaints_ = std::make_unique<Lines>(program_->Errors());
    }
    void TearDown() override
    {
        program_->Write("\n");
        EXPECT_EQ(0, program_->WaitExit(kPatience).value_or(-1));
    }

    // Has the module carry the command out, and returns its result.
    int Parse(const Forwarding &forwarding)
    {
        program_->Write(forwarding.Text() + "\n");
        const auto line = results_->Find(asked_++, kPatience, [](const std::string &) { return true; });
        if (!line) throw Failure("no result");
        return std::stoi(results_->At(*line));
    }

    static std::set<std::string> Files()
    {
        std::set<std::string> files;
        for (const auto &entry : std::filesystem::directory_iterator("/tmp")) files.insert(entry.path());
        return files;
    }

    // The rules of the table.
    static Texts Rules()
    {
        std::istringstream saved(RunShell("iptables-save -t nat"));
        Texts rules;
        for (std::string line; std::getline(saved, line);)
            if (line.compare(0, 3, "-A ") == 0) rules.push_back(line);
        return rules;
    }

    static Texts PairOf(const Forwarding &f)
    {
        return {"-A PREROUTING -d " + f.preIp + "/32 -p tcp -m tcp --dport " + f.prePort +
                    " -j DNAT --to-destination " + f.postIp + ":" + f.postPort,
                "-A POSTROUTING -d " + f.postIp + "/32 -p tcp -m tcp --dport " + f.postPort + " -j SNAT --to-source " +
                    f.preIp + ":" + f.prePort};
    }

    NetNamespace client_{"toclient", "10.77.1.1/24", "10.77.1.2"};
    NetNamespace server_{"toserver", "10.77.2.1/24", "10.77.2.2"};

  private:
    std::unique_ptr<Process> program_;
    std::unique_ptr<Lines> results_;
    std::unique_ptr<Lines> complaints_;
    size_t asked_ = 0;
};

TEST_F(PortForward, AConnectionReachesTheServerAndItsRepliesComeBack)
{
    std::unique_ptr<Tcp> listening, early, connecting;
    server_.Inside([&] { listening = std::make_unique<Tcp>(); });
    listening->Listen(kServer.c_str(), 80);

    client_.Inside([&] { early = std::make_unique<Tcp>(); });
    EXPECT_EQ(ECONNREFUSED, early->Connect(kRouter.c_str(), 8080)); // nobody listens without a forwarding

    ASSERT_EQ(0, Parse({"1", kRouter, "8080", kServer, "80"}));
    client_.Inside([&] { connecting = std::make_unique<Tcp>(); });
    ASSERT_EQ(0, connecting->Connect(kRouter.c_str(), 8080)) << RunShell("iptables-save -t nat");
    std::string peer;
    const int accepted = listening->Accept(&peer);
    ASSERT_GE(accepted, 0);
    Tcp serving(accepted);
    EXPECT_EQ("10.77.1.1:8080", peer); // the router, so that the replies go back through it
    connecting->Send("question");
    EXPECT_EQ("question", serving.Receive(8));
    serving.Send("answer");
    EXPECT_EQ("answer", connecting->Receive(6));
}

TEST_F(PortForward, TheSameForwardingTwiceLeavesOnePair)
{
    const Forwarding forwarding = {"1", kRouter, "8081", kServer, "81"};
    ASSERT_EQ(Texts(), Rules());
    EXPECT_EQ(0, Parse(forwarding));
    EXPECT_EQ(PairOf(forwarding), Rules());
    EXPECT_EQ(0, Parse(forwarding));
    EXPECT_EQ(PairOf(forwarding), Rules());
}

TEST_F(PortForward, AnotherForwardingLeavesTheFirstInPlace)
{
    const Forwarding first = {"1", kRouter, "8082", kServer, "82"};
    const Forwarding second = {"1", kRouter, "8083", kServer, "83"};
    EXPECT_EQ(0, Parse(first));
    EXPECT_EQ(0, Parse(second));
    EXPECT_EQ(Texts({PairOf(first)[0], PairOf(second)[0], PairOf(first)[1], PairOf(second)[1]}), Rules());
}

TEST_F(PortForward, ADeletionLeavesNoneAndConnectionsAreRefused)
{
    Forwarding forwarding = {"1", kRouter, "8084", kServer, "84"};
    EXPECT_EQ(0, Parse(forwarding));
    ASSERT_EQ(PairOf(forwarding), Rules());
    forwarding.flag = "0";
    EXPECT_EQ(0, Parse(forwarding));
    EXPECT_EQ(Texts(), Rules());
    std::unique_ptr<Tcp> connecting;
    client_.Inside([&] { connecting = std::make_unique<Tcp>(); });
    EXPECT_EQ(ECONNREFUSED, connecting->Connect(kRouter.c_str(), 8084));
    EXPECT_EQ(0, Parse(forwarding)); // nothing left to delete is not a failure
    EXPECT_EQ(Texts(), Rules());
}

TEST_F(PortForward, HostileTextsReachNeitherTheShellNorTheFilter)
{
    const Forwarding good = {"1", kRouter, "8085", kServer, "85"};
    EXPECT_EQ(0, Parse(good));
    WriteFile("/tmp/x", "untouched\n"); // a file that some of the texts would change
    const auto before = Files();
    for (const HostileText &hostile : HostileTexts())
        for (std::string Forwarding::*field :
             {&Forwarding::preIp, &Forwarding::prePort, &Forwarding::postIp, &Forwarding::postPort}) {
            Forwarding bad = good;
            bad.*field = hostile.text;
            EXPECT_EQ(-9, Parse(bad)) << hostile.text;
        }
    EXPECT_EQ(PairOf(good), Rules());
    EXPECT_EQ("untouched\n", ReadFile("/tmp/x"));
    EXPECT_EQ(before, Files());
}

// ---- The end of the session, with a program in the packet filter's place ----

class PortForwardSession : public DiagnosticsTest
{
  protected:
    const Texts kRuns = {
        "<-t><nat><-D><PREROUTING><-d><10.77.1.1><-p><tcp><-m><tcp><--dport><8086><-j><DNAT>"
        "<--to-destination><10.77.2.2:86>",
        "<-t><nat><-D><POSTROUTING><-d><10.77.2.2><-p><tcp><-m><tcp><--dport><86><-j><SNAT>"
        "<--to-source><10.77.1.1:8086>",
        "<-t><nat><-A><PREROUTING><-d><10.77.1.1><-p><tcp><-m><tcp><--dport><8086><-j><DNAT>"
        "<--to-destination><10.77.2.2:86>",
        "<-t><nat><-A><POSTROUTING><-d><10.77.2.2><-p><tcp><-m><tcp><--dport><86><-j><SNAT>"
        "<--to-source><10.77.1.1:8086>",
    };

    // Has the agent add a forwarding, and loses the session as soon as the first command runs.
    static void LoseInTheMiddle(RunningSession *session, const FakeProgram &iptables)
    {
        session->platform.Command("forward add 10.77.1.1 8086 10.77.2.2 86");
        iptables.AwaitRuns(1);
        session->platform.Command("drop");
        session->agent.WaitLog("Close link.");
    }

    static Texts Lines(const std::string &text)
    {
        std::istringstream stream(text);
        Texts lines;
        for (std::string line; std::getline(stream, line);) lines.push_back(line);
        return lines;
    }
};

TEST_F(PortForwardSession, ASequenceRunsToItsEndEvenIfTheLinkIsLost)
{
    FakeProgram iptables("iptables", "@wait");
    RunningSession session(WithFakes(1));
    LoseInTheMiddle(&session, iptables);
    for (size_t i = 0; i < kRuns.size(); i++) iptables.LetGo();
    session.platform.WaitSession();
    EXPECT_EQ(kRuns, Lines(iptables.Runs()));
}

TEST_F(PortForwardSession, ACommandThatHangsIsEndedTenSecondsAfterTheTeardownBeginsAndTheNextOneRuns)
{
    FakeProgram iptables("iptables", "[ $(wc -l </tmp/programs/iptables.runs) -ne 2 ] || @wait"); // the second
    RunningSession session(WithFakes());
    session.platform.Command("forward add 10.77.1.1 8086 10.77.2.2 86");
    iptables.AwaitRuns(2);
    session.platform.Command("drop");
    const LogEntry lost = session.agent.WaitLog("Close link.");
    const LogEntry again = session.agent.WaitLog("Ready to Register ...");
    EXPECT_GE(again.time - lost.time, 9);
    EXPECT_LE(again.time - lost.time, 16);
    session.platform.WaitSession();
    EXPECT_EQ(kRuns, Lines(iptables.Runs()));
    EXPECT_TRUE(NoneRuns("iptables"));
    session.ExpectAnswers();
}

TEST_F(PortForwardSession, TheEndOfTheAgentEndsACommandWithinASecond)
{
    FakeProgram iptables("iptables", "@wait");
    RunningSession session(WithFakes(1));
    session.platform.Command("forward add 10.77.1.1 8086 10.77.2.2 86");
    iptables.AwaitRuns(1);
    session.agent.Signal(SIGTERM);
    EXPECT_EQ(0, session.agent.WaitExit(1));
    EXPECT_TRUE(NoneRuns("iptables", 0.5));
    EXPECT_EQ(Texts({kRuns[0]}), Lines(iptables.Runs()));
}
} // namespace
