#include "tests/soak/Rounds.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <unistd.h>

static const char kPhone[] = "02:1a:2b:00:00:14";
static const char kKnownDevices[] = "/tmp/macconfig";
static const double kTry = 3;          // real seconds for each step of a thing
static const double kTries = 4 * kTry; // after which it has failed
static const double kWorkEnds = 0.75;  // of a round
static const double kSampleAt = 0.9;   // of a round
static const double kSettles = 0.05;   // of a round, when the work has taken longer
static const double kPause = 0.01;     // of a round, before a thing is tried again
static const int kWaysARound = 2;      // to lose a session
static const double kDay = 86400;

Rounds::Rounds(World *world, double length, unsigned seed) : world_(world), length_(length), random_(seed) {}

// ---- What is done

static void Reply(World *world, const std::string &command, int function)
{
    world->scene.platform.Command(command);
    world->scene.platform.Wait("reply", {{"function", std::to_string(function)}, {"matched", "true"}}, kTry);
}

static std::string AccessOf(World *world, const char *device)
{
    world->scene.platform.Command(std::string("device-config ") + device);
    return world->scene.platform.Wait("reply", {{"function", "38"}, {"matched", "true"}}, kTry).Text("fields.access");
}

static void AwaitAccess(World *world, const char *access)
{
    if (!Within(kTry, [&] { return AccessOf(world, kPhone) == access; }))
        throw Failure(std::string("the device's access does not become ") + access);
}

// A day and the next one, lest midnight comes; there are no rules for Sundays.
static void SurfRules(World *world)
{
    const int today = world->Weekday(), tomorrow = (today + 1) % 7;
    std::string days;
    for (const int day : {today, tomorrow})
        if (day != 0) days += std::to_string(day);
    const std::string rule = std::string(kPhone) + " " + days + " 0:00 23:59";
    Reply(world, "surf del " + rule, 69);
    Reply(world, std::string("set-device-access mac=") + kPhone + " access=allowed", 32);
    Reply(world, "surf add " + rule, 69);
    if (today != 0) AwaitAccess(world, "refused");
    Reply(world, "surf del " + rule, 69);
    Reply(world, std::string("set-device-access mac=") + kPhone + " access=allowed", 32);
    AwaitAccess(world, "allowed");
}

static void DamagedFrames(World *world)
{
    Platform &platform = world->scene.platform;
    for (const char *fault :
         {"bad-checksum@command", "cut-body@command=3", "garbage@command=3000", "long-body@command=40"})
        platform.Set(std::string("misbehave ") + fault + " 1"), platform.Command("identity");
    Reply(world, "version", 1);
}

static void PeerLeaves(World *world)
{
    Scene &scene = world->scene;
    scene.manager.Set("disconnect");
    Reply(world, "mesh", 73);
    world->WaitUntil(world->Now() + 300);
    Reply(world, "identity", 2);
    scene.manager.Command("connect");
    scene.manager.Wait("connected", {}, kTry);
}

static void PeerMisbehaves(World *world)
{
    Scene &scene = world->scene;
    for (const char *fault : {"silent@mesh", "bad-checksum@mesh", "half@mesh", "wrong-id@mesh", "empty@mesh"}) {
        scene.manager.Set(std::string("misbehave ") + fault + " 1");
        Reply(world, "mesh", 73);
    }
    scene.manager.Set("misbehave off");
    scene.manager.Command("reconnect");
    scene.manager.Wait("connected", {}, kTry);
}

static void SetDate(World *world, std::mt19937 *random)
{
    world->SetDate(std::uniform_real_distribution<double>(-3 * kDay, 3 * kDay)(*random));
    Reply(world, "identity", 2);
    world->WaitUntil(world->Now() + 120);
    world->SetDate(0);
}

static void Loses(World *world, const char *command)
{
    world->scene.platform.Command(command);
    world->scene.platform.WaitSession(kTry);
}

static void FallsSilent(World *world)
{
    Platform &platform = world->scene.platform;
    platform.Set("misbehave silent@heartbeat");
    platform.Mark();
    platform.Wait("disconnected", {{"server", "login"}, {"by", "agent"}}, kTry);
    platform.Set("misbehave off silent");
    platform.WaitSession(kTry);
}

static void Refuses(World *world)
{
    world->scene.platform.Set("misbehave refuse@register 5");
    Loses(world, "drop");
}

// ---- A round

std::vector<Rounds::Thing> Rounds::ThingsOfEachRound() const
{
    World *const world = world_;
    std::vector<Thing> things;
    for (const Session &session : Sessions())
        for (const Step &step : session.steps)
            for (const char *name :
                 {"report interval", "queries", "settings", "ping", "traceroute", "rate test", "port forwarding",
                  "bandwidth", "attached devices", "mesh", "reports", "devices", "auto report", "firmware", "refused"})
                if (std::string(step.name) == name)
                    things.push_back({name, [world, &step] { step.run({world->scene, nullptr, kTry, false}); }});
    things.push_back({"surf rules", [world] { SurfRules(world); }});
    things.push_back({"damaged frames", [world] { DamagedFrames(world); }});
    things.push_back({"local peer leaves", [world] { PeerLeaves(world); }});
    things.push_back({"local peer misbehaves", [world] { PeerMisbehaves(world); }});
    return things;
}

std::vector<Rounds::Thing> Rounds::WaysToLoseASession() const
{
    World *const world = world_;
    return {{"closed", [world] { Loses(world, "drop"); }},
            {"broken", [world] { Loses(world, "reset"); }},
            {"half closed", [world] { Loses(world, "half-close"); }},
            {"network failure", [world] { Loses(world, "network-failure"); }},
            {"silence", [world] { FallsSilent(world); }},
            {"refused registrations", [world] { Refuses(world); }}};
}

// Until the agent answers; for a while.
void Rounds::AwaitAnswer()
{
    Platform &platform = world_->scene.platform;
    Within(kTry, [&] {
        try {
            platform.Command("version");
            platform.Wait("reply", {{"function", "1"}, {"matched", "true"}}, 0.1);
            return true;
        } catch (const Failure &) {
            return false;
        }
    });
}

void Rounds::Do(const Thing &thing)
{
    const auto begin = std::chrono::steady_clock::now();
    things_++;
    for (;;) {
        try {
            thing.run();
            return;
        } catch (const Failure &failure) {
            std::ofstream(world_->Folder() + "/retries.txt", std::ios::app)
                << static_cast<long>(world_->Now()) << " s, " << thing.name << ": " << failure.what() << "\n\n";
            retries_++;
            if (std::chrono::steady_clock::now() - begin > std::chrono::duration<double>(kTries)) {
                failures_[thing.name] = std::string(failure.what()).substr(0, 400);
                return;
            }
            world_->scene.platform.Set("misbehave off");
            world_->WaitUntil(world_->Now() + kPause * length_);
            AwaitAnswer();
        }
    }
}

void Rounds::Run()
{
    const double begin = world_->Now();
    std::vector<Thing> things = ThingsOfEachRound();
    const std::vector<Thing> ways = WaysToLoseASession();
    for (int i = 0; i < kWaysARound; i++) things.push_back(ways[(done_ * kWaysARound + i) % ways.size()]);
    things.push_back({"date", [this] { SetDate(world_, &random_); }});
    std::shuffle(things.begin(), things.end(), random_);
    std::vector<double> times(things.size());
    for (double &time : times) time = std::uniform_real_distribution<double>(0, kWorkEnds * length_)(random_);
    std::sort(times.begin(), times.end());
    for (size_t i = 0; i < things.size(); i++) {
        world_->WaitUntil(begin + times[i]);
        Do(things[i]);
    }
    late_ += world_->Now() > begin + kSampleAt * length_;
    world_->WaitUntil(std::max(begin + kSampleAt * length_, world_->Now() + kSettles * length_));
    AwaitAnswer();
    world_->TakeSettled();
    world_->WaitUntil(begin + length_);
    done_++;
}

// ---- The end of a process

// The platform reaches a new process, and so does the local peer: at once, or after it has been away so long that the
// agent reports the devices by itself.
static void BeginLife(World *world, bool peerIsLate)
{
    Scene &scene = world->scene;
    scene.platform.WaitSession();
    world->SetDate(0);
    if (peerIsLate) {
        scene.platform.Command("report-interval 5");
        scene.platform.Wait("upload", {{"datatype", "40"}});
        scene.manager.Command("connect");
        scene.manager.Wait("connected");
    } else {
        scene.manager.Wait("connected");
    }
}

void Rounds::Begin()
{
    BeginLife(world_, true);
}

static void Cause(World *world, Ending ending)
{
    Platform &platform = world->scene.platform;
    switch (ending) {
    case Ending::FORCED: platform.Command("disconnect"); return;
    case Ending::KILLED: {
        const pid_t agent = world->AgentId();
        platform.Mark();
        if (agent > 0) kill(agent, SIGKILL);
        return;
    }
    case Ending::OUTAGE:
        platform.Set("misbehave refuse");
        platform.Command("drop");
        return;
    case Ending::UPDATE: platform.Command("update " PLUG_NEXT_PROGRAM " within=5"); return;
    }
}

// What the supervisor has to see of it.
static bool IsOf(const ::End &end, Ending ending)
{
    switch (ending) {
    case Ending::FORCED: return end.status == 255 && end.stage == "005";
    case Ending::KILLED: return end.status == 128 + SIGKILL;
    case Ending::OUTAGE: return end.status == 255 && end.stage == "102";
    case Ending::UPDATE: return end.status == 255 && end.stage == "004";
    }
    return false;
}

void Rounds::End(Ending ending)
{
    const size_t before = world_->Ends().size();
    const bool peerIsLate = ending == Ending::FORCED || ending == Ending::OUTAGE;
    const auto hasEnded = [&] { return world_->Ends().size() > before; };
    world_->LoseDate();
    world_->scene.manager.Mark();
    if (peerIsLate) {
        std::filesystem::remove(kKnownDevices);
        world_->scene.manager.Set("disconnect");
    }
    Do({"end", [&] {
            if (!hasEnded()) Cause(world_, ending);
            if (!Within(kTry, hasEnded)) throw Failure("the agent's process does not end");
        }});
    world_->scene.platform.Set("misbehave off");
    BeginLife(world_, peerIsLate);
    const ::End end = world_->Ends().at(before);
    if (!IsOf(end, ending)) failures_["end"] = "status " + std::to_string(end.status) + " at stage " + end.stage;
    if (ending == Ending::UPDATE && world_->AgentProgram().rfind("plug.update", 0) != 0)
        failures_["update"] = "another program runs";
}
