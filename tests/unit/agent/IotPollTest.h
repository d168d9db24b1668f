// IotPollTest.h - a device of the household, rules for it, and passes of the access daemon over it.
#pragma once

#include <string>

#include "rules/SurfRules.h"
#include "rules/iot_poll.h"
#include "tests/unit/agent/SurfTest.h"

class IotPollTest : public SurfTest
{
  protected:
    static constexpr char kMac[] = "02:00:00:00:00:0A";
    static constexpr char kBytes[] = "02000000000A";

    // A rule of the device above; `day` as it stands in the key.
    static void Add(const std::string &day, int startHour, int startMinute, int stopHour, int stopMinute)
    {
        set_surf_rule(kMac, day.c_str(), NewRule(startHour, startMinute, stopHour, stopMinute));
    }

    // The device's access after a pass at a time of the week that began on 1 January 2024.
    static uint8_t AccessAt(int days, int hours, int minutes, int seconds = 0)
    {
        SetTime(days, hours, minutes, seconds);
        surf_rule_func();
        return Access(kBytes);
    }
};
