#include "simulator/http/HttpServer.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <list>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "simulator/net/Net.h"
#include "tests/support/Files.h"

using namespace sim;

namespace
{
constexpr char kGet[] = "GET /download/x HTTP/1.1\r\nHost: h\r\n\r\n";
constexpr char kHead[] = "HTTP/1.1 200 OK\r\n"
                         "Content-Type: application/octet-stream\r\n"
                         "Connection: keep-alive\r\n";

struct Client {
    int fd = -1;
    std::string got;     // at most `keep` bytes of it
    int64_t counted = 0; // everything
    size_t keep = 100000;
    size_t reads = 0;
    bool ended = false;
    int error = 0;
};

// The server and its clients on one loop.
struct Http : testing::Test {
    void Start()
    {
        signal(SIGPIPE, SIG_IGN); // as the program does: sendfile has no flag for it
        server = std::make_unique<HttpServer>(settings, &loop, &journal, [this] { return ++ids; });
        std::string error;
        ASSERT_TRUE(server->Start(&error)) << error;
    }
    void TearDown() override
    {
        for (Client &client : clients)
            if (client.fd >= 0) close(client.fd);
    }
    void Wrong(const std::string &line)
    {
        Words words;
        std::string error;
        ASSERT_TRUE(SplitWords(line, &words, &error) && server->FaultSet()->Add(words, &error)) << error;
    }
    Client *Connect()
    {
        sockaddr_in to = {};
        to.sin_family = AF_INET;
        to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        to.sin_port = htons(server->At().port);
        clients.emplace_back();
        Client *client = &clients.back();
        client->fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(0, connect(client->fd, reinterpret_cast<sockaddr *>(&to), sizeof to));
        loop.Watch(client->fd, POLLIN, [this, client](short) { Receive(client); });
        return client;
    }
    void Receive(Client *client)
    {
        static char buffer[1 << 20];
        // Bytes beyond `keep` are counted without being copied.
        const bool kept = client->got.size() < client->keep;
        const ssize_t count = recv(client->fd, buffer, sizeof buffer, MSG_DONTWAIT | (kept ? 0 : MSG_TRUNC));
        if (count < 0 && errno == EAGAIN) return;
        if (count <= 0) {
            client->error = count < 0 ? errno : 0;
            client->ended = true;
            loop.Unwatch(client->fd);
            return;
        }
        client->reads++;
        client->counted += count;
        if (kept) client->got.append(buffer, static_cast<size_t>(count));
    }
    static void Send(const Client *client, const std::string &text)
    {
        ASSERT_EQ(static_cast<ssize_t>(text.size()), send(client->fd, text.data(), text.size(), MSG_NOSIGNAL));
    }
    void Hang(Client *client)
    {
        loop.Unwatch(client->fd);
        close(client->fd);
        client->fd = -1;
    }
    // Runs the loop until a condition holds.
    bool Until(const std::function<bool()> &reached)
    {
        bool late = false;
        const uint64_t limit = loop.After(30000, [&] { late = true; });
        while (!reached() && !late && loop.RunOnce()) {
        }
        loop.Cancel(limit);
        EXPECT_FALSE(late);
        return !late;
    }
    // Runs it until the next event of that name, and returns its value at `path`.
    std::string Next(const std::string &event, const std::string &path)
    {
        Until([&] { return journal.Log().Take({event, {}, 0}); });
        return Taken(path);
    }
    // The value at a path of the event that was taken last.
    std::string Taken(const std::string &path)
    {
        const Event *event = journal.Log().Taken();
        const Field *field = event ? FindField(event->fields, path) : nullptr;
        return field ? field->value : "(none)";
    }
    // What a new connection receives for a request with the fault `wrong`, until it ends or has `size` bytes.
    std::string Get(const std::string &wrong, size_t size)
    {
        if (!wrong.empty()) Wrong("* " + wrong + " 1");
        Client *client = Connect();
        Send(client, kGet);
        Until([&] { return client->ended || client->got.size() >= size; });
        return client->got;
    }
    Loop loop;
    HttpSettings settings;
    Journal journal{{}, [](const std::string &) {}};
    unsigned ids = 0;
    std::list<Client> clients;
    std::unique_ptr<HttpServer> server;
};
} // namespace

TEST_F(Http, AGetIsAnsweredAndItsBeginningAndEndAreEvents)
{
    settings.size = 100;
    Start();
    const std::string head = std::string(kHead) + "Content-Length: 100\r\n\r\n";
    EXPECT_EQ(head + std::string(MadeUpAt(0).data, 100), Get("", head.size() + 100));
    EXPECT_EQ("GET", Next("http", "method"));
    EXPECT_EQ("/download/x", Taken("path"));
    EXPECT_EQ("h", Taken("host"));
    EXPECT_EQ("200", Taken("status"));
    EXPECT_EQ("100", Taken("size"));
    EXPECT_EQ(kGet, Taken("request"));
    EXPECT_EQ("1", Taken("conn"));
    EXPECT_EQ("complete", Next("http-done", "end"));
    EXPECT_EQ("100", Taken("bytes"));
    EXPECT_EQ("1", Taken("conn"));
    EXPECT_FALSE(clients.front().ended); // it may send another request
}

TEST_F(Http, ARequestMayArriveByteByByte)
{
    settings.size = 5;
    Start();
    Client *client = Connect();
    for (const char c : std::string(kGet)) {
        EXPECT_EQ("", client->got);
        Send(client, std::string(1, c));
        // Another connection's request is answered in between.
        Get("", 1);
    }
    const std::string whole = std::string(kHead) + "Content-Length: 5\r\n\r\n00000";
    Until([&] { return client->got.size() >= whole.size(); });
    EXPECT_EQ(whole, client->got);
}

TEST_F(Http, OneConnectionServesRequestsOneAfterTheOther)
{
    Start();
    Wrong("/download/x size=3 1");
    Client *client = Connect();
    Send(client, std::string(kGet) + "GET /nothing HTTP/1.1\r\nHost: h\r\n\r\n");
    Send(client, "GET /download/y HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n");
    Wrong("/download/y size=2 1");
    Until([&] { return client->ended; });
    EXPECT_EQ(std::string(kHead) +
                  "Content-Length: 3\r\n\r\n000"
                  "HTTP/1.1 404 Not Found\r\nContent-Type: application/octet-stream\r\nConnection: keep-alive\r\n"
                  "Content-Length: 0\r\n\r\n"
                  "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nConnection: close\r\n"
                  "Content-Length: 2\r\n\r\n00",
              client->got);
    EXPECT_EQ("/download/x", Next("http-done", "path"));
    EXPECT_EQ("/nothing", Next("http-done", "path"));
    EXPECT_EQ("404", Taken("status"));
    EXPECT_EQ("/download/y", Next("http-done", "path"));
}

TEST_F(Http, AGigabyteHasExactlyItsLength)
{
    settings.size = 1 << 30;
    Start();
    Client *client = Connect();
    client->keep = 0;
    Send(client, "GET /download/300.data HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n");
    Until([&] { return client->ended; });
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nConnection: close\r\n"
                             "Content-Length: 1073741824\r\n\r\n";
    EXPECT_EQ(1073741824 + static_cast<int64_t>(head.size()), client->counted);
    EXPECT_EQ(0, client->error);
    EXPECT_EQ("1073741824", Next("http-done", "bytes"));
    EXPECT_EQ("complete", Taken("end"));
}

TEST_F(Http, SeveralConnectionsAreServedAtOnce)
{
    settings.size = 64 << 20;
    Start();
    Client *stalled = Connect();
    Wrong("* stall=10 1");
    Send(stalled, kGet);
    Next("http-stalled", "bytes");
    std::vector<Client *> big;
    for (int i = 0; i < 5; i++) {
        big.push_back(Connect());
        big.back()->keep = 0;
        Send(big.back(), kGet);
    }
    for (int i = 0; i < 5; i++) EXPECT_EQ("67108864", Next("http-done", "bytes"));
    for (const Client *client : big) EXPECT_GT(client->counted, 0) << "one had to wait for the others";
    EXPECT_FALSE(stalled->ended);
}

TEST_F(Http, RealFilesAreSentAsTheyAre)
{
    const TemporaryFolder folder;
    std::string text;
    for (int i = 0; i < 300000; i++) text += static_cast<char>(i * 7 % 256);
    WriteFile(folder.Path("real"), text);
    settings.root = folder.Path();
    Start();
    Wrong("* send-more=10 1");
    Client *client = Connect();
    client->keep = 400000;
    Send(client, "GET /real HTTP/1.1\r\nHost: h\r\n\r\n");
    const std::string head = std::string(kHead) + "Content-Length: 300000\r\n\r\n";
    Until([&] { return client->got.size() >= head.size() + 300010; });
    EXPECT_TRUE(head + text + std::string(MadeUpAt(300000).data, 10) == client->got);
}

TEST_F(Http, GarbageIsAnsweredAndTheConnectionClosed)
{
    Start();
    Client *client = Connect();
    Send(client, "\x16\x03\x01 what is this\r\n\r\n");
    Until([&] { return client->ended; });
    EXPECT_EQ("HTTP/1.1 400 Bad Request\r\nContent-Type: application/octet-stream\r\nConnection: close\r\n"
              "Content-Length: 0\r\n\r\n",
              client->got);
    EXPECT_EQ(0, client->error);
    EXPECT_EQ("400", Next("http", "status"));
    EXPECT_EQ("this is no request", Taken("problem"));
}

TEST_F(Http, AnEndlessHeaderIsCutOff)
{
    Start();
    Client *client = Connect();
    Send(client, "GET / HTTP/1.1\r\n");
    std::string lines;
    while (lines.size() < 20000) lines += "X: y\r\n";
    Send(client, lines);
    Until([&] { return client->ended; });
    EXPECT_EQ(0u, client->got.find("HTTP/1.1 431 Request Header Fields Too Large\r\n"));
    EXPECT_EQ("431", Next("http", "status"));
    EXPECT_EQ(8193u, Taken("request").size());
}

TEST_F(Http, AConnectionWithoutARequestIsClosed)
{
    settings.idleMs = 1;
    Start();
    Client *silent = Connect(), *slow = Connect();
    Send(slow, "GET / HT");
    Until([&] { return silent->ended && slow->ended; });
    EXPECT_EQ("", silent->got);
    EXPECT_EQ(0u, slow->got.find("HTTP/1.1 408 Request Timeout\r\n"));
}

TEST_F(Http, AnIncompleteRequestIsAnEvent)
{
    Start();
    Client *client = Connect();
    Send(client, "GET / HT");
    shutdown(client->fd, SHUT_WR);
    Until([&] { return client->ended; });
    EXPECT_EQ("the connection ended inside the request", Next("http", "problem"));
    EXPECT_EQ("GET / HT", Taken("request"));
}

TEST_F(Http, AClientThatHalfClosesStillGetsTheAnswer)
{
    settings.size = 3;
    Start();
    Wrong("* late=0.001 drip-header=0 slow=1000 1");
    Client *client = Connect();
    Send(client, kGet);
    shutdown(client->fd, SHUT_WR);
    Until([&] { return client->ended; });
    EXPECT_EQ(std::string(kHead) + "Content-Length: 3\r\n\r\n000", client->got);
}

TEST_F(Http, TheHeaderMayBeSentByteByByte)
{
    settings.size = 3;
    Start();
    const std::string head = std::string(kHead) + "Content-Length: 3\r\n\r\n";
    EXPECT_EQ(head + "000", Get("drip-header=1", head.size() + 3));
    // The client is on the same loop, so it reads between any two bytes; the body may arrive with the last one.
    EXPECT_GE(clients.back().reads, head.size());
}

TEST_F(Http, EarlyEndsAreWhatTheClientSees)
{
    settings.size = 5000;
    Start();
    const std::string head = std::string(kHead) + "Content-Length: 5000\r\n\r\n";
    const std::string body(MadeUpAt(0).data, 5000);

    EXPECT_EQ(head + body.substr(0, 1025), Get("close=1025", SIZE_MAX));
    EXPECT_EQ(0, clients.back().error);
    EXPECT_EQ("closed", Next("http-done", "end"));
    EXPECT_EQ("1025", Taken("bytes"));

    EXPECT_EQ(head + body.substr(0, 1025), Get("reset=1025", SIZE_MAX));
    EXPECT_EQ(ECONNRESET, clients.back().error);
    EXPECT_EQ("reset", Next("http-done", "end"));

    EXPECT_EQ("HTTP/1.1 200 OK\r\nCon", Get("cut-header", SIZE_MAX));
    EXPECT_EQ("closed", Next("http-done", "end"));

    EXPECT_EQ(std::string(kHead) + "Content-Length: 5001\r\n\r\n" + body, Get("announce-more", SIZE_MAX));
    EXPECT_EQ("closed", Next("http-done", "end"));
    EXPECT_EQ("5000", Taken("bytes"));

    EXPECT_EQ("HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nConnection: close\r\n\r\n" + body,
              Get("no-length", SIZE_MAX));
    EXPECT_EQ("complete", Next("http-done", "end"));
}

TEST_F(Http, AStallLastsUntilTheClientCloses)
{
    Start();
    const std::string head = std::string(kHead) + "Content-Length: 104857600\r\n\r\n";
    EXPECT_EQ(head + "000000 h", Get("stall=8", head.size() + 8));
    EXPECT_EQ("8", Next("http-stalled", "bytes"));
    Hang(&clients.back());
    EXPECT_EQ("agent-closed", Next("http-done", "end"));
    EXPECT_EQ("8", Taken("bytes"));
}

TEST_F(Http, AClientThatClosesInTheMiddleEndsTheReply)
{
    settings.size = 1LL << 40;
    Start();
    Get("", 1000);
    Hang(&clients.back()); // with unread bytes: a reset
    EXPECT_EQ("agent-reset", Next("http-done", "end"));
    EXPECT_GT(strtoll(Taken("bytes").c_str(), nullptr, 10), 0);
}

TEST_F(Http, ASlowBodyIsNoFasterThanItsRate)
{
    settings.size = 50;
    Start();
    const int64_t begun = Loop::NowMs();
    const std::string head = std::string(kHead) + "Content-Length: 50\r\n\r\n";
    Get("slow=1000", head.size() + 50);
    EXPECT_GE(Loop::NowMs() - begun, 50);
    EXPECT_GT(clients.back().reads, 2u);
}

TEST_F(Http, ALateAnswerIsNotEarly)
{
    settings.size = 1;
    Start();
    const int64_t begun = Loop::NowMs();
    Get("late=0.02", 1);
    EXPECT_GE(Loop::NowMs() - begun, 20);
}

TEST_F(Http, StatusShowsOpenReplies)
{
    settings.size = 50;
    Start();
    Wrong("/download/y close=5 3");
    Get("stall=7", sizeof kHead + 20);
    Next("http-stalled", "bytes");
    const Fields status = server->Status();
    const auto at = [&](const std::string &path) {
        const Field *field = FindField(status, path);
        return field ? field->value : "(none)";
    };
    EXPECT_EQ(AddressText(server->At()), at("address"));
    EXPECT_EQ("50", at("size"));
    EXPECT_EQ("/download/x", at("connections.1.path"));
    EXPECT_EQ("7", at("connections.1.bytes"));
    EXPECT_EQ("true", at("connections.1.replying"));
    EXPECT_EQ("/download/y close=5, 3 times", at("misbehaviours.0"));
    server.reset(); // ends open replies
    Until([&] { return clients.back().ended; });
}

TEST_F(Http, CannotServeAMissingFolderOrATakenPort)
{
    Start();
    std::string error;
    HttpSettings taken = settings, nowhere = settings;
    taken.address = server->At();
    EXPECT_FALSE(HttpServer(taken, &loop, &journal, [] { return 1u; }).Start(&error));
    EXPECT_NE(std::string::npos, error.find("cannot listen on " + AddressText(server->At())));
    nowhere.root = "/nowhere/at/all";
    EXPECT_FALSE(HttpServer(nowhere, &loop, &journal, [] { return 1u; }).Start(&error));
    EXPECT_NE(std::string::npos, error.find("cannot serve the folder /nowhere/at/all"));
}
