// Campaigns.h - the two runs of gateway_load. Each prints what it measures as figures (tests/bench/Figures.h), and tells on
// the error output how far it is.
// State: none.
#pragma once

#include "tests/fleet/Lab.h"

struct LoadOptions {
    LabOptions lab;
    unsigned logins = 500; // that are on their way at once when the fleet logs in
    double seconds = 120;  // of heartbeats alone
    unsigned questions = 2000;
    unsigned askedAtOnce = 64;
    double reportRate = 4000;         // in a second, of all routers together
    double burstSeconds = 10;         // of questions at once, and of those reports
    unsigned addresses = 64;          // of the second storm; 0: there is none
    double outage = 60;               // before the third one, seconds; 0: there is none
    unsigned plugsimSessions = 10000; // 0: without plugsim
};

// Whether what has a limit has kept it. Throws Failure.
bool RunLoad(const LoadOptions &options);

struct SoakOptions {
    LabOptions lab; // its interval is that of the routers' time
    // Before the samples. Every five minutes the gateway reads its buckets again, and for a moment needs room for all that
    // is in them; the first time is a part of its start.
    double warmUp = 330; // seconds
    double minutes = 6;
    double speed = 10;
    // In the routers' time, of each router:
    double reportEvery = 600, questionEvery = 3600, sessionLasts = 6 * 3600; // seconds
};

// Whether all was flat, and every session held and question answered but those that the traffic itself ends.
bool RunSoak(const SoakOptions &options);
