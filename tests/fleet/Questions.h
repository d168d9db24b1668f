// Questions.h - puts questions to a fleet, and measures how long each takes and how many are answered.
// State: none.
#pragma once

#include <vector>

#include "tests/fleet/Lab.h"

// Milliseconds of each, in the order they were asked.
struct Latencies {
    std::vector<double> routers; // through the gateway
    std::vector<double> bare;    // a request and its reply over the same server, with nothing between
    size_t failed = 0;
};

// So many questions to routers at random, each in turn with a bare request, one after another.
Latencies AskOneByOne(Lab &lab, unsigned count);

struct Answers {
    size_t good = 0, failed = 0;
    double seconds = 0;
};

// Keeps `atOnce` questions on their way for so long, each to another router.
Answers AskMany(Lab &lab, unsigned atOnce, double seconds);

// Asks at this rate until its end, on a thread of its own.
class SteadyQuestions
{
  public:
    SteadyQuestions(Lab &lab, double perSecond);
    ~SteadyQuestions();
    size_t Good() const { return good_; }
    size_t Failed() const { return failed_; }

  private:
    void Run();

    Lab &lab_;
    const double perSecond_;
    std::atomic<size_t> good_{0}, failed_{0};
    std::atomic<bool> stop_{false};
    std::thread thread_;
};
