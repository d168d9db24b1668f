// Torture.h - one fault in one session, and what has to be true of the agent afterwards.
//
// State:   a scene, an agent and a page at fixed paths of /tmp: one Torture in a sandbox.
// Threads: one.
#pragma once

#include <array>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/torture/FaultPage.h"
#include "tests/torture/Script.h"

// The page, for one agent at a time.
class Faults
{
  public:
    Faults(); // makes the page
    ~Faults();
    Faults(const Faults &) = delete;
    Faults &operator=(const Faults &) = delete;

    void Clear(); // before an agent starts
    void SwitchOff();
    const FaultPage &Page() const { return *page_; }

  private:
    FaultPage *page_;
};

typedef std::array<uint32_t, FAULT_KIND_COUNT> Counts;

const char *KindName(int kind);
// -1 when there is none of that name.
int KindOf(const std::string &name);

// A fault in a session. Written as "SESSION KIND:N", "SESSION KIND:N+" or "SESSION random:SEED:PERMILLE".
struct Point {
    size_t session;
    std::string fault;
    int kind; // -1: at random
    std::string Text() const { return std::string(Sessions()[session].name) + " " + fault; }
};

// Reads what Text() writes. Throws Failure.
Point ReadPoint(const std::string &text);

// What a healthy agent holds at the end of a session that was gone through twice.
struct Footing {
    long descriptors, threads, blocks, dirtyKb;
};

// A session without a fault.
struct Reach {
    Counts login; // calls until the session stands
    Counts all;   // and in all
    Footing footing;
    double seconds;
};

enum Outcome {
    CAME_BACK,    // the agent went on, and all is as before
    STARTED_ANEW, // it ended in a way that is meant, and its successor works
    STOPPED,      // SIGTERM has ended it while calls went wrong, and its successor works
    NOT_REACHED,  // the session was over before the call came
    FAULTY
};

struct Verdict {
    Outcome outcome = FAULTY;
    std::string text; // why it is faulty, or how the agent ended
    std::string call; // the first that went wrong, with the place in the program it returns to
    double seconds = 0;
};

class Torture
{
  public:
    // Goes through a session without a fault, and remembers how far it reaches. Throws Failure when something is wrong.
    const Reach &Measure(size_t session);
    // Goes through the session of a point with its fault.
    Verdict Try(const Point &point);

  private:
    void TryUnderFault(const Point &point, Verdict *verdict);
    void AwaitRecovery();
    void ExpectAll(const Session &session, bool first);
    void ExpectFooting(const Footing &footing, bool acceptFailed);
    void ExpectEnd(bool clean);
    void ExpectSuccessor();
    void ExpectMeantEnd(const Point &point, Verdict *verdict);
    bool GoThrough(const Session &session);
    void Prepare(bool peer);
    void Start(const std::string *fault);

    Programs programs_;
    std::unique_ptr<Scene> scene_;
    unsigned uses_ = 0;
    Faults faults_;
    std::unique_ptr<Agent> agent_;
    std::map<size_t, Reach> reaches_;
};
