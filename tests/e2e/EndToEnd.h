// EndToEnd.h - what every end-to-end test begins with: an empty /tmp, no agent, no platform.
#pragma once

#include <filesystem>
#include <gtest/gtest.h>

#include "tests/e2e/Agent.h"
#include "tests/e2e/Platform.h"

class EndToEnd : public testing::Test
{
  protected:
    void SetUp() override;
};

// A platform with an agent that has logged in and sent its first heartbeat.
struct RunningSession {
    Platform platform;
    Agent agent;
    explicit RunningSession(const AgentOptions &options = {}, const PlatformOptions &platformOptions = {})
        : platform(platformOptions), agent(options)
    {
        platform.WaitSession();
    }
    // Sends a command and expects its reply, which shows that the session is alive. Sets the mark after the reply.
    void ExpectAnswers()
    {
        platform.Command("version");
        EXPECT_EQ("1.0.0-simulated",
                  platform.Wait("reply", {{"function", "1"}, {"status", "0"}}).Text("fields.version"));
    }
};
