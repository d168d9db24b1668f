// SurfTest.h - what the tests of the surf rules share: an empty table, and a router that keeps what it is told.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "rules/SurfTable.h"
#include "tests/unit/agent/AgentTest.h"

// A rule of one's own, for whoever takes it over.
SurfRule *NewRule(int startHour, int startMinute, int stopHour, int stopMinute);

// "8:0-9:30" for each rule, in their order, with a blank between two.
std::string Ranges(const RuleNode *list);

// The devices of a household, whose access flag follows set_dev_access_control(). Calls on the device table are made
// under one lock, so that this needs none.
class SurfTest : public AgentTest
{
  protected:
    void SetUp() override;
    void TearDown() override; // frees the table; everything else must have been freed by then

    static void AddDevice(const std::string &mac, uint8_t access);
    static uint8_t Access(const std::string &mac);
    // Sets the date to so much after Monday, 1 January 2024, 00:00 UTC.
    static void SetTime(int days, int hours, int minutes, int seconds = 0);
    // Calls of set_dev_access_control() since the last time this was asked.
    static size_t Writes();

    static bool Holds(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }

  private:
    int mAllocations = 0; // before the test
};
