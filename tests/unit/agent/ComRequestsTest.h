// ComRequestsTest.h - a session, and a local peer that answers the agent's requests.
#pragma once

#include <functional>
#include <future>

#include "comm/ComRequests.h"
#include "os/OsClock.h"
#include "platform/Protool.h"
#include "platform/ServerStop.h"
#include "tests/unit/agent/AskedPeer.h"

class ComRequestsTest : public AgentTest
{
  protected:
    void SetUp() override
    {
        AgentTest::SetUp();
        ServerRun = mLogin = 1; // a session is up
    }

    void TearDown() override
    {
        ServerRun = 0;
        AgentTest::TearDown();
    }

    bool Logged(const std::string &line) { return Log().find(line + "\n\n") != std::string::npos; }

    // Runs `request` while the peer answers its frame, which is returned.
    Bytes Exchange(const std::function<int()> &request, uint8_t status, const Bytes &answer, int *result)
    {
        auto asked = std::async(std::launch::async, request);
        const Bytes frame = peer.Frame();
        AskedPeer::Answer(status, answer);
        *result = asked.get();
        return frame;
    }

    AskedPeer peer;
};

// Where answers are stored, and the record of a request.
inline uint8_t s_out[2];
inline uint8_t s_wan[228];
inline uint32_t s_came;

template <int (*Ask)(uint8_t *, uint32_t, uint32_t *)>
int AskForMore()
{
    return Ask(s_out, sizeof s_out, &s_came);
}
