// The management process on a real socket, whose other end is the test.
#include "simulator/manager/Manager.h"

#include <ctime>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/support/UnixSocket.h"

using namespace sim;

namespace
{

const Bytes kQuestion = {'Z', 'Z', 73, 0, 7, 0, 0, 0, 1, 0, 0, 0, 0x69, 0, 'i'};
const Bytes kAnswer = {'Z', 'Z', 73, 0, 5, 0, 0, 0, 2, 0, 0, 0, 1, 0, 0, 1};

struct TheManager : testing::Test {
    void SetUp() override
    {
        options.socket = testing::TempDir() + "manager-" + std::to_string(getpid());
        options.retryMs = 60000; // no test waits for it
        options.sequence = 5;
        unlink(options.socket.c_str());
        manager = std::make_unique<Manager>(options, &loop, &journal);
    }
    void TearDown() override
    {
        manager.reset();
        for (const int fd : {listener, peer})
            if (fd >= 0) close(fd);
        unlink(options.socket.c_str());
    }
    void Listen()
    {
        listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const struct sockaddr_un here = UnixAddress(options.socket);
        ASSERT_EQ(0, bind(listener, reinterpret_cast<const struct sockaddr *>(&here), sizeof here));
        ASSERT_EQ(0, listen(listener, 3));
    }
    void StartConnected()
    {
        Listen();
        ASSERT_TRUE(manager->Start(&error));
        ASSERT_TRUE(Until("connected", 1));
        peer = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        ASSERT_GE(peer, 0);
    }
    // Runs the loop until there have been `count` events of a name.
    bool Until(const std::string &name, uint64_t count)
    {
        const int64_t limit = Loop::NowMs() + 10000;
        const uint64_t guard = loop.After(10000, [] {});
        while (Count(name) < count && Loop::NowMs() < limit && loop.RunOnce()) {
        }
        loop.Cancel(guard);
        return Count(name) >= count;
    }
    uint64_t Count(const std::string &name) const
    {
        const Fields counts = journal.Counts();
        const Field *count = FindField(counts, name);
        return count ? strtoull(count->value.c_str(), nullptr, 10) : 0;
    }
    void Say(const Bytes &bytes)
    {
        ASSERT_EQ(static_cast<ssize_t>(bytes.size()), send(peer, bytes.data(), bytes.size(), MSG_NOSIGNAL));
    }
    // What has come so far.
    Bytes Heard()
    {
        Bytes bytes(100000);
        const ssize_t count = recv(peer, bytes.data(), bytes.size(), MSG_DONTWAIT);
        bytes.resize(count > 0 ? static_cast<size_t>(count) : 0);
        return bytes;
    }
    bool Take(const std::string &name, const std::vector<std::pair<std::string, std::string>> &filters)
    {
        return journal.Log().Take({name, filters, 0});
    }

    Loop loop;
    Journal journal{{true, false, false}, [](const std::string &) {}};
    ManagerOptions options;
    std::unique_ptr<Manager> manager;
    std::string error;
    int listener = -1, peer = -1;
};

} // namespace

TEST_F(TheManager, ConnectsAsSoonAsTheSocketAppears)
{
    ASSERT_TRUE(manager->Start(&error));
    ASSERT_TRUE(Until("waiting", 1));
    EXPECT_FALSE(manager->Send({"devices"}, 1, false, &error));
    EXPECT_EQ("not connected", error);
    Listen();
    EXPECT_TRUE(Until("connected", 1)); // long before it would try again
}

TEST_F(TheManager, AnswersARequest)
{
    StartConnected();
    Say(kQuestion);
    ASSERT_TRUE(Until("answered", 1));
    EXPECT_EQ(kAnswer, Heard());
    EXPECT_TRUE(Take("request", {{"name", "mesh"}, {"sequence", "7"}}));
    EXPECT_TRUE(Take("answered", {{"status", "0"}, {"fields.switch", "on"}}));
    EXPECT_EQ(0u, journal.Faults());
}

TEST_F(TheManager, AnswersTwoRequestsInOneRead)
{
    StartConnected();
    Bytes two = kQuestion;
    Append(&two, kQuestion);
    two[15 + 4] = 8;
    Say(two);
    ASSERT_TRUE(Until("answered", 2));
    EXPECT_EQ(32u, Heard().size());
}

TEST_F(TheManager, ReportsErrorsAndDoesNotAnswerDamagedFrames)
{
    StartConnected();
    Bytes damaged = kQuestion;
    damaged[12] = 0x70;
    Say(damaged);
    ASSERT_TRUE(Until("bad-frame", 1));
    EXPECT_TRUE(Take("bad-frame", {{"reason", "checksum 112 instead of 105"}}));
    Say({'Z', 'Z', 73, 0});
    shutdown(peer, SHUT_WR);
    ASSERT_TRUE(Until("disconnected", 1));
    EXPECT_TRUE(Take("bad-frame", {{"reason", "the connection ended inside a frame"}}));
    EXPECT_EQ(0u, Count("answered"));
    EXPECT_EQ(2u, journal.Faults());
}

TEST_F(TheManager, SendsABurstInOneWriteAndNumbersItsFrames)
{
    StartConnected();
    ASSERT_TRUE(manager->Send({"frame", "84", "hex=01"}, 3, true, &error)) << error;
    const Bytes heard = Heard();
    ASSERT_EQ(45u, heard.size());
    EXPECT_EQ(5, heard[4]);
    EXPECT_EQ(6, heard[15 + 4]);
    EXPECT_EQ(7, heard[30 + 4]);
    EXPECT_EQ(3u, Count("sent"));
}

TEST_F(TheManager, CausesAFaultInOneAnswer)
{
    StartConnected();
    ASSERT_TRUE(manager->ActiveFaults()->Add({"silent@mesh", "1"}, &error));
    Say(kQuestion);
    ASSERT_TRUE(Until("withheld", 1));
    EXPECT_EQ(Bytes(), Heard());
    ASSERT_TRUE(manager->ActiveFaults()->Add({"disconnect", "1"}, &error));
    Bytes next = kQuestion;
    next[4] = 8;
    Say(next);
    ASSERT_TRUE(Until("disconnected", 1));
    EXPECT_TRUE(Take("disconnected", {{"by", "manager"}, {"reason", "misbehaviour"}}));
}

TEST_F(TheManager, ReconnectsAndStaysAwayOnCommand)
{
    StartConnected();
    manager->Disconnect(0);
    ASSERT_TRUE(Until("connected", 2));
    manager->Disconnect(-1);
    EXPECT_EQ(2u, Count("disconnected"));
    EXPECT_FALSE(manager->Send({"devices"}, 1, false, &error));
    manager->Connect();
    EXPECT_TRUE(Until("connected", 3));
}

TEST_F(TheManager, KeepsATimetable)
{
    StartConnected();
    EXPECT_FALSE(manager->Schedule(0, 1, 3, {"mash"}, &error));
    ASSERT_TRUE(manager->Schedule(0, 1, 3, {"plugin-state"}, &error));
    EXPECT_TRUE(manager->Busy());
    ASSERT_TRUE(Until("sent", 3));
    EXPECT_FALSE(manager->Busy());
    ASSERT_TRUE(manager->Schedule(86400000, 86400000, 0, {"plugin-state"}, &error));
    EXPECT_FALSE(manager->Busy()); // an endless timetable does not count as busy
    EXPECT_EQ(1u, manager->ClearTimetable());
}

TEST_F(TheManager, ReportsByItsConfigurationWhenSwitchedOn)
{
    StartConnected();
    bool saved;
    const std::string soon = std::to_string(time(nullptr) + 1); // less than a second
    ASSERT_TRUE(manager->AutoReport()->Take("{\"interval3\":60,\"cycleReportStart\":\"" + soon + "\",\"save\":1}",
                                            &saved, &error));
    manager->Report(true);
    ASSERT_TRUE(Until("sent", 1));
    EXPECT_TRUE(Take("sent", {{"name", "typed-report"}, {"fields.type", "3"}}));
    manager->Report(false);
}

TEST_F(TheManager, BeginsWithTheHouseholdOfAFile)
{
    options.household = options.socket + ".household";
    const auto start = [&](const char *text) {
        FILE *file = fopen(options.household.c_str(), "w");
        EXPECT_NE(nullptr, file);
        fputs(text, file);
        fclose(file);
        manager = std::make_unique<Manager>(options, &loop, &journal);
        return manager->Start(&error);
    };
    EXPECT_TRUE(start("# ours\nset mesh off\n\ndevice clear\ndevice add 020000000001 lamp\n")) << error;
    EXPECT_EQ((Bytes{0}), manager->House()->Value("mesh"));
    EXPECT_EQ(1u, manager->House()->Records("device").size());
    EXPECT_FALSE(start("set mesh off\nset mesh maybe\n"));
    EXPECT_EQ(options.household + ":2: ", error.substr(0, options.household.size() + 4));
    EXPECT_FALSE(start("report 84 x\n"));
    EXPECT_NE(std::string::npos, error.find("'report' is nothing about the household"));
    unlink(options.household.c_str());
    manager = std::make_unique<Manager>(options, &loop, &journal);
    EXPECT_FALSE(manager->Start(&error));
}
