// CommServerTest.h - a test with the local server on its real socket.
#pragma once

#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

#include "comm/CommAnswer.h"
#include "comm/CommLink.h"
#include "comm/CommServer.h"
#include "comm/FuncIdList.h"
#include "core/LocalPeer.h"
#include "os/Paths.h"
#include "platform/Protool.h"
#include "tests/fakes/FakeLibraries.h"
#include "tests/unit/agent/CommTest.h"

// Logged in. The server stops when the test ends, if not before.
class CommServer : public AgentTest
{
  protected:
    void SetUp() override
    {
        AgentTest::SetUp();
        FakeLibrariesReset();
        mLogin = 1;
        // A file of its own, because threads log all the time: the shared capture loses lines while it is read.
        mLogPath = FakeFolder() + "/log";
        mStderr = dup(STDERR_FILENO);
        const int file = open(mLogPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600);
        dup2(file, STDERR_FILENO);
        close(file);
    }
    void TearDown() override
    {
        CommServerStop();
        dup2(mStderr, STDERR_FILENO);
        close(mStderr);
        EXPECT_EQ(0, FakeAllocationsAlive());
        FakeLibrariesReset();
        AgentTest::TearDown();
    }
    // Returns whether a peer is served. The instance may be ahead of the accept thread, so both are checked.
    static bool Served()
    {
        return Within([] { return InstanceSocket > 0 && InstanceState == 1; });
    }
    // Starts the server and connects `peer`.
    void Serve(LocalPeer *peer)
    {
        ASSERT_EQ(0, CommServerStart());
        ASSERT_TRUE(peer->Connect());
        ASSERT_TRUE(Served());
    }
    // Returns the log of this test.
    std::string AllLogged() const { return WithoutColours(ReadFile(mLogPath)); }
    bool AwaitLog(const std::string &text, size_t times = 1)
    {
        return Within([&] { return CountOf(AllLogged(), "]-> " + text + "\n\n") >= times; });
    }
    size_t LoggedTimes(const std::string &text) { return CountOf(AllLogged(), "]-> " + text + "\n\n"); }
    // Sends an answer and waits until it has been handled.
    static bool Answered(LocalPeer *peer, uint32_t sequence)
    {
        CommReceived = 0;
        return peer->Send(LocalFrame(FUNCID_MESH_SUPPORT, sequence, {0, 1})) &&
               Within([] { return CommReceived == 1; });
    }
    // Returns the texts that `function` has logged, one per line.
    static std::string Lines(const std::string &log, const std::string &function)
    {
        std::string texts;
        for (size_t at = log.find("->" + function + "->"); at != std::string::npos;
             at = log.find("->" + function + "->", at + 1)) {
            const size_t begin = log.find("]-> ", at) + 4;
            texts += log.substr(begin, log.find("\n\n", begin) - begin) + "\n";
        }
        return texts;
    }

  private:
    std::string mLogPath;
    int mStderr = -1;
};
