// Storm.h - what a fleet does when its gateway is killed and comes back.
// State: none.
#pragma once

#include <vector>

#include "tests/fleet/Lab.h"

struct Storm {
    double served = 0;          // seconds from the kill until the next gateway serves
    std::vector<double> logins; // of each router, seconds from the kill, in ascending order
    uint64_t limited = 0;       // registrations that the gateway has refused because of its limit
    uint64_t unreachable = 0, refused = 0, unanswered = 0, loginsFailed = 0, gaveUp = 0; // as the routers saw it
};

// Kills the gateway, starts the next one `pause` seconds later, and waits until all are back, at most `patience` seconds.
Storm Restart(Lab &lab, double pause, double patience);

// One line for each second in which somebody has come back.
void ShowBySecond(const std::vector<double> &logins);
// The most in one second.
int MostInASecond(const std::vector<double> &logins);
