// SimTest.h - a fresh simulated router for each test: its own folder, environment and clock, its complaints captured.
#pragma once

#include "sdk/RouterSdk.h"
#include "tests/support/Files.h"
#include "tests/support/Texts.h"
#include "tests/unit/sim/TestClock.h"
#include <array>
#include <gtest/gtest.h>
#include <string>
#include <vector>

// What the interface answers, spelt out here rather than taken from the code under test.
constexpr int UNKNOWN = 1;
constexpr int BAD_VALUE = 2;
constexpr int TOO_LONG = 3;

using Mac = std::array<uint8_t, 6>;
constexpr Mac OFFICE_PC = {0x02, 0x1A, 0x2B, 0x00, 0x00, 0x11};
constexpr Mac TELEVISION = {0x02, 0x1A, 0x2B, 0x00, 0x00, 0x12};
constexpr Mac PHONE = {0x02, 0x1A, 0x2B, 0x00, 0x00, 0x14};
constexpr Mac STRANGER = {0x02, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

class SimTest : public testing::Test
{
  protected:
    void SetUp() override;
    void TearDown() override;

    // Loads the library anew with these settings. Empty: not set.
    void Start(const std::string &state = "", const std::string &faults = "", const std::string &log = "");
    // The same with a state file of this content.
    void StartWith(const std::string &json);

    std::string Path(const std::string &name) const { return folder.Path(name); }
    std::string StatePath() const { return Path("state.json"); }
    // All that went to stderr since Start(); makes the first call if there was none, since nothing is read before.
    std::string Complaints();
    std::vector<std::string> Files() const; // names in the folder, sorted

  private:
    TemporaryFolder folder;
};

std::vector<DevCfg> Devices(uint16_t *count = nullptr); // exactly the room of 129 is offered
