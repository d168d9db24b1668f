#include "tests/torture/Torture.h"

#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/mman.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

static const char kPage[] = "/tmp/fault.page";
static const unsigned kUses = 4;       // of a scene
static const double kBrief = 0.2;      // real seconds for a step under a fault
static const int kGiveUpAfter = 3;     // steps in a row that nothing comes of
static const double kStopSeconds = 1;  // real ones in which SIGTERM has to end the agent
static const long kBlocksMore = 4;     // of the heap, than without a fault: text buffers of a library, rules that stay
static const long kBlocksOfNames = 24; // that the C library keeps once it has looked a name up
static const long kDirtyKbMore = 128;

// ---- The page

Faults::Faults()
{
    const int fd = open(kPage, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0 || ftruncate(fd, sizeof *page_) != 0) throw Failure(std::string("cannot make ") + kPage);
    void *const mapped = mmap(nullptr, sizeof *page_, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (mapped == MAP_FAILED) throw Failure(std::string("cannot map ") + kPage);
    page_ = static_cast<FaultPage *>(mapped);
}

Faults::~Faults()
{
    munmap(page_, sizeof *page_);
}

void Faults::Clear()
{
    memset(page_, 0, sizeof *page_);
}

void Faults::SwitchOff()
{
    __atomic_store_n(&page_->off, 1, __ATOMIC_RELAXED);
}

// ---- Points

static const char *const kKindNames[] = {
#define KIND_TEXT(name) #name,
    FAULT_KINDS(KIND_TEXT)};

const char *KindName(int kind)
{
    return kind < 0 ? "random" : kKindNames[kind];
}

int KindOf(const std::string &name)
{
    for (int kind = 0; kind < FAULT_KIND_COUNT; kind++)
        if (name == kKindNames[kind]) return kind;
    return -1;
}

Point ReadPoint(const std::string &text)
{
    const size_t blank = text.find(' ');
    const size_t colon = text.find(':');
    for (size_t i = 0; i < Sessions().size(); i++) {
        if (blank == std::string::npos || colon == std::string::npos || colon < blank) break;
        if (text.substr(0, blank) != Sessions()[i].name) continue;
        const std::string kind = text.substr(blank + 1, colon - blank - 1);
        if (KindOf(kind) < 0 && kind != "random") break;
        return {i, text.substr(blank + 1), KindOf(kind)};
    }
    throw Failure("no such point: " + text);
}

// ---- Looking at the agent

static double Now()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

static void Rest()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

static long CountEntries(const std::string &folder)
{
    std::error_code error;
    long count = 0;
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) count++;
    return error ? -1 : count;
}

static Footing Look(pid_t process, const FaultPage &page)
{
    const std::string folder = "/proc/" + std::to_string(process);
    return {CountEntries(folder + "/fd"), CountEntries(folder + "/task"), page.blocks, DirtyKbOf(process)};
}

static std::string Text(const Footing &footing)
{
    return std::to_string(footing.descriptors) + " descriptors, " + std::to_string(footing.threads) + " threads, " +
           std::to_string(footing.blocks) + " blocks of the heap, " + std::to_string(footing.dirtyKb) +
           " KB of memory written to";
}

// ---- Ends of the process that are meant

// The last words of an agent that ends itself with status 255 because it cannot go on; its supervisor starts it again.
static const char *const kLastWords[] = {
    "Comm server start error.",
    "StartSubdev failed.",
    "ERROR: get sn failed!",
    "ERROR: SN is invalid!",
    "ERROR: PIN is empty, plese check your plug.conf!",
    "ERROR: KEY is empty, plese check your plug.conf!",
    "Error wrong param(s).",
    "Register retry more than 10 times, exit !!!",
    "exit at [ParserPlugData]",
};

static std::string LastWords(Agent *agent)
{
    const std::string log = agent->RawLog();
    for (const char *words : kLastWords)
        if (Contains(log, words)) return words;
    throw Failure("the agent ends by itself, without a reason:\n" +
                  log.substr(log.size() > 2000 ? log.size() - 2000 : 0));
}

// ---- Going through a session

// What a scene has said is kept, and looked through again and again: so a scene is not used for too long.
void Torture::Prepare(bool peer)
{
    agent_.reset();
    if (uses_++ % kUses == 0) {
        scene_.reset();
        scene_ = std::make_unique<Scene>();
    }
    scene_->Clear(peer);
}

void Torture::Start(const std::string *fault)
{
    AgentOptions options = SceneOptions();
    if (fault) {
        faults_.Clear();
        options.environment["PLUG_FAULT"] = *fault;
        options.environment["PLUG_FAULT_PAGE"] = kPage;
    }
    agent_ = std::make_unique<Agent>(options);
}

// As far as it goes. Returns whether the agent still runs.
bool Torture::GoThrough(const Session &session)
{
    int failed = 0;
    try {
        scene_->platform.WaitSession(3 * kBrief);
    } catch (const Failure &) {
        failed++;
    }
    for (const Step &step : session.steps) {
        if (failed == kGiveUpAfter || !agent_->Runs()) break;
        try {
            step.run({*scene_, agent_.get(), kBrief, true});
            failed = 0;
        } catch (const Failure &) {
            failed++;
        }
    }
    return agent_->Runs();
}

// Until the agent answers, as long as it takes.
void Torture::AwaitRecovery()
{
    const double limit = Now() + kPatience;
    for (;;) {
        if (!agent_->Runs()) return;
        try {
            scene_->platform.Command("version");
            scene_->platform.Wait("reply", {{"function", "1"}, {"matched", "true"}, {"status", "0"}}, kBrief);
            return;
        } catch (const Failure &) {
            if (Now() > limit) throw Failure("the session does not come back: " + Status());
            Rest();
        }
    }
}

// Everything works; what the fault has left behind may keep a step from it for a while.
void Torture::ExpectAll(const Session &session, bool first)
{
    for (const Step &step : session.steps) {
        const double limit = Now() + kPatience;
        for (;;) {
            try {
                step.run({*scene_, agent_.get(), first ? kPatience : 4 * kBrief, first});
                break;
            } catch (const Failure &failure) {
                if (!agent_->Runs() && !session.ends) throw Failure("the agent ends, " + LastWords(agent_.get()));
                if (first || Now() > limit) throw Failure(std::string(step.name) + ": " + failure.what());
            }
        }
    }
}

void Torture::ExpectFooting(const Footing &footing, bool acceptFailed)
{
    const long fewer = acceptFailed ? 1 : 0;
    const long more = kBlocksMore + (agent_->CountLog("gethostbyname error") > 0 ? kBlocksOfNames : 0);
    const double limit = Now() + kPatience;
    for (;;) {
        const Footing now = Look(agent_->Id(), faults_.Page());
        if (now.descriptors == footing.descriptors && now.threads <= footing.threads &&
            now.threads >= footing.threads - fewer && now.blocks <= footing.blocks + more &&
            now.dirtyKb <= footing.dirtyKb + kDirtyKbMore)
            return;
        if (Now() > limit) throw Failure("it holds " + Text(now) + "; without a fault " + Text(footing));
        Rest();
    }
}

// SIGTERM ends the agent. `clean`: no call goes wrong any more that would keep it from clearing up.
void Torture::ExpectEnd(bool clean)
{
    const double begin = Now();
    agent_->Signal(SIGTERM);
    const int status = agent_->WaitExit(kPatience);
    if (status != 0) throw Failure("status " + std::to_string(status) + " after SIGTERM");
    if (Now() - begin > kStopSeconds) throw Failure("SIGTERM takes " + std::to_string(Now() - begin) + " s");
    if (clean && fs::exists(kSocket)) throw Failure("the socket is left behind");
}

const Reach &Torture::Measure(size_t number)
{
    const Session &session = Sessions()[number];
    Reach reach = {};
    const double begin = Now();
    Prepare(session.peer);
    const std::string none;
    Start(&none);
    scene_->platform.WaitSession();
    std::copy_n(faults_.Page().calls, FAULT_KIND_COUNT, reach.login.begin());
    if (!faults_.Page().loaded) throw Failure("the fault library does not work");
    ExpectAll(session, true);
    std::copy_n(faults_.Page().calls, FAULT_KIND_COUNT, reach.all.begin());
    reach.seconds = Now() - begin;
    if (!session.ends) {
        ExpectAll(session, false);
        reach.footing = Look(agent_->Id(), faults_.Page());
        ExpectEnd(true);
    } else {
        LastWords(agent_.get());
    }
    return reaches_[number] = reach;
}

// ---- A point

static std::string WhatWentWrong(const FaultPage &page)
{
    if (page.faults == 0) return "";
    char from[32];
    snprintf(from, sizeof from, " before 0x%llx", static_cast<unsigned long long>(page.from));
    return std::string(page.first) + from;
}

// The supervisor's turn: a new agent without a fault.
void Torture::ExpectSuccessor()
{
    Prepare(false);
    Start(nullptr);
    scene_->platform.WaitSession();
    ExpectEnd(true);
}

// Twelve registrations in vain are meant to end the agent, but not after a fault that passes; unless it has met the
// settings, or the look-up of the servers' names, which are done once.
static bool AllowsToGiveUp(const Point &point, Agent *agent)
{
    return point.fault.back() == '+' || agent->CountLog("Can not fopen(") > 0 ||
           agent->CountLog("gethostbyname error") > 0;
}

// The agent has ended by itself.
void Torture::ExpectMeantEnd(const Point &point, Verdict *verdict)
{
    const Session &session = Sessions()[point.session];
    const int status = agent_->WaitExit();
    if (status != 255) {
        const std::string log = agent_->RawLog();
        throw Failure("the agent ends with status " + std::to_string(status) + ":\n" +
                      log.substr(log.size() > 2000 ? log.size() - 2000 : 0));
    }
    verdict->text = LastWords(agent_.get());
    if (Contains(verdict->text, "Register retry") && !AllowsToGiveUp(point, agent_.get()))
        throw Failure("a passing fault makes the agent give up");
    // The supervisor goes by the status alone. When it could not be written the new agent is not taken.
    if (Status() == "004\n" && ReadFile(kUpdate) != NewAgent())
        throw Failure("an update counts as done that is not whole");
    if (session.ends && Contains(verdict->text, "ParserPlugData")) return; // nobody has had to come back
    ExpectSuccessor();
}

// Of the points at which a call goes on failing, every fourth ends so.
static bool StopsAmidTrouble(const Point &point)
{
    const size_t colon = point.fault.find(':');
    return point.fault.back() == '+' && atoi(point.fault.c_str() + colon + 1) % 4 == 0;
}

void Torture::TryUnderFault(const Point &point, Verdict *verdict)
{
    const Session &session = Sessions()[point.session];
    if (reaches_.count(point.session) == 0) Measure(point.session);
    Prepare(session.peer);
    Start(&point.fault);
    const bool runs = GoThrough(session);
    if (runs && StopsAmidTrouble(point)) {
        ExpectEnd(false);
        ExpectSuccessor();
        verdict->outcome = STOPPED;
        return;
    }
    faults_.SwitchOff();
    if (runs) AwaitRecovery();
    if (!agent_->Runs()) {
        ExpectMeantEnd(point, verdict);
        verdict->outcome = STARTED_ANEW;
        return;
    }
    ExpectAll(session, false);
    if (session.ends) {
        ExpectMeantEnd(point, verdict);
    } else {
        // An accept that fails counts as a peer, and where there is a peer the thread of Function 39 ends.
        ExpectFooting(reaches_.at(point.session).footing, point.kind == FAULT_accept || point.kind < 0);
        // A socket file that could not be looked at is not known for its own, and stays.
        ExpectEnd(point.kind != FAULT_stat);
    }
    verdict->text.clear();
    verdict->outcome = CAME_BACK;
}

Verdict Torture::Try(const Point &point)
{
    Verdict verdict;
    const double begin = Now();
    try {
        TryUnderFault(point, &verdict);
    } catch (const Failure &failure) {
        verdict.outcome = FAULTY;
        verdict.text = failure.what();
    }
    verdict.call = WhatWentWrong(faults_.Page());
    if (faults_.Page().faults == 0 && verdict.outcome != FAULTY) verdict.outcome = NOT_REACHED;
    verdict.seconds = Now() - begin;
    agent_.reset();
    return verdict;
}
