#include "tests/soak/World.h"

#include <chrono>
#include <climits>
#include <cmath>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/mman.h>
#include <unistd.h>

namespace fs = std::filesystem;

static const int64_t kSecond = 1000000000;
static const int64_t kFirstDate = 1772625600;         // Wednesday, 4 March 2026, noon in UTC
static const char kZone[] = "EST5EDT,M3.2.0,M11.1.0"; // summer time begins on the first Sunday of the run
static const char kShiftFile[] = "/tmp/date-shift";

static int64_t Nanoseconds(clockid_t clock)
{
    struct timespec now;
    clock_gettime(clock, &now);
    return now.tv_sec * kSecond + now.tv_nsec;
}

// ---- Looking at a process

static std::string Proc(pid_t process, const char *name)
{
    return "/proc/" + std::to_string(process) + "/" + name;
}

// The fields of "stat" behind the name, the state first.
static std::vector<std::string> StatOf(pid_t process)
{
    const std::string stat = ReadFile(Proc(process, "stat"));
    const size_t name = stat.rfind(')');
    if (name == std::string::npos) return {};
    std::istringstream words(stat.substr(name + 1));
    return {std::istream_iterator<std::string>(words), std::istream_iterator<std::string>()};
}

static long FilesInTmp()
{
    long count = 0;
    for (const auto &entry : fs::directory_iterator("/tmp")) count += !entry.is_directory();
    return count;
}

// False when the process has ended meanwhile.
static bool Look(pid_t process, double speed, Sample *sample)
{
    try {
        const std::vector<std::string> stat = StatOf(process);
        if (stat.size() < 22) return false;
        const double tick = static_cast<double>(sysconf(_SC_CLK_TCK));
        const double started = std::stod(stat[19]) / tick; // since the machine's start, as CLOCK_BOOTTIME
        sample->age = (static_cast<double>(Nanoseconds(CLOCK_BOOTTIME)) / kSecond - started) * speed;
        sample->cpuMs = CpuSecondsOf(process) * 1000;
        sample->dirtyKb = DirtyKbOf(process);
        sample->descriptors = static_cast<long>(DescriptorsOf(process));
        sample->threads = static_cast<long>(ThreadsOf(process));
        sample->files = FilesInTmp();
    } catch (const fs::filesystem_error &) {
        return false;
    }
    return sample->dirtyKb > 0;
}

// ---- Start and end

static int64_t *MakeShiftPage()
{
    const int fd = open(kShiftFile, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    void *page = MAP_FAILED;
    if (fd >= 0 && ftruncate(fd, sizeof(int64_t)) == 0)
        page = mmap(nullptr, sizeof(int64_t), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (fd >= 0) close(fd);
    if (page == MAP_FAILED) throw Failure(std::string("cannot make ") + kShiftFile);
    return static_cast<int64_t *>(page);
}

// The agent's first duty for the local peer is 18 s of its time after its login.
static ManagerOptions QuickToConnect()
{
    ManagerOptions options;
    options.retry = 0.01;
    return options;
}

World::World(const WorldOptions &options)
    : scene(QuickToConnect()), speed_(options.speed), folder_(options.folder), begin_(Nanoseconds(CLOCK_MONOTONIC)),
      shift_(MakeShiftPage())
{
    setenv("TZ", kZone, 1); // ours too: Weekday()
    LoseDate();
    scene.Clear(false);
    WriteFile(folder_ + "/samples.tsv", "at\tlife\tage\tdirty\tdescriptors\tthreads\tfiles\tcpu\tsettled\n");
    StartSupervisor(options);
    sampler_ = std::thread(&World::TakeSamples, this, options.interval);
}

World::~World()
{
    {
        std::lock_guard<std::mutex> guard(lock_);
        stopped_ = true;
        stop_.notify_all();
    }
    sampler_.join();
    supervisor_.reset();
    munmap(shift_, sizeof *shift_);
}

// Updates are kept beside the samples: in /tmp, which is memory, every page of theirs would count as written to.
void World::StartSupervisor(const WorldOptions &options)
{
    ConfigText config;
    config.server2 = config.server1; // two attempts for each retry: at this speed the machine has little time to answer
    WriteFile(kConfigFile, config.Text());
    const std::string settings = folder_ + "/supervisor";
    // The supervisor measures runs in the machine's own time.
    WriteFile(settings, std::string("PLUG=" PLUG_PROGRAM "\nPLUG_OPTIONS='-f ") + kConfigFile +
                            "'\nPLUG_NEW=" + folder_ + "/plug.update\nPLUG_RUN=" + folder_ +
                            "\nPLUG_LOG=none\nTRIAL=1\nSHORT_RUN=1\nlog() { echo \"plug: $*\" >&2; }\n");
    ProcessOptions program;
    program.arguments = {"/bin/sh", PLUG_SUPERVISOR};
    program.environment = SceneOptions().environment;
    program.environment["LD_PRELOAD"] = PLUG_PRELOAD;
    program.environment["LD_LIBRARY_PATH"] = PLUG_BUILD_FOLDER;
    program.environment["FASTCLOCK_FACTOR"] = std::to_string(speed_);
    program.environment["FASTCLOCK_ANCHOR"] = std::to_string(kFirstDate * kSecond) + " " + std::to_string(begin_);
    program.environment["FASTCLOCK_SHIFT"] = kShiftFile;
    program.environment["PLUG_DEFAULTS"] = settings;
    if (!options.leak.empty()) {
        program.environment["LD_PRELOAD"] = PLUG_LEAK_LIBRARY " " PLUG_PRELOAD;
        program.environment["PLUG_LEAK"] = options.leak;
    }
    supervisor_ = std::make_unique<Process>(program);
    close(supervisor_->Output());
    log_ = std::make_unique<Lines>(supervisor_->Errors());
}

void World::Stop()
{
    supervisor_->Signal(SIGTERM);
    const auto status = supervisor_->WaitExit(kPatience);
    if (status != 0) throw Failure("the supervisor does not end");
    if (fs::exists(kSocket)) throw Failure("the agent leaves its socket behind");
}

// ---- Time

double World::Now() const
{
    return static_cast<double>(Nanoseconds(CLOCK_MONOTONIC) - begin_) / kSecond * speed_;
}

void World::WaitUntil(double at) const
{
    const double left = (at - Now()) / speed_;
    if (left > 0) std::this_thread::sleep_for(std::chrono::duration<double>(left));
}

void World::SetDate(double shift)
{
    __atomic_store_n(shift_, static_cast<int64_t>(shift) * kSecond, __ATOMIC_RELAXED);
}

void World::LoseDate()
{
    SetDate(static_cast<double>(-kFirstDate));
}

int World::Weekday() const
{
    const time_t date = kFirstDate + static_cast<time_t>(Now()) + *shift_ / kSecond;
    struct tm local;
    localtime_r(&date, &local);
    return local.tm_wday;
}

// ---- The agent

pid_t World::AgentId() const
{
    return ChildNamed(supervisor_->Id(), "plug");
}

std::string World::AgentProgram() const
{
    std::error_code error;
    return fs::read_symlink(Proc(AgentId(), "exe"), error).filename();
}

std::vector<End> World::Ends()
{
    static const char text[] = " ended with status ";
    std::vector<End> ends;
    for (const std::string &line : log_->All()) {
        const size_t at = line.find(text);
        char stage[8];
        int status;
        if (at == std::string::npos || line.rfind("plug: ", 0) != 0) continue;
        if (sscanf(line.c_str() + at + strlen(text), "%d at stage %7[0-9a-z];", &status, stage) == 2)
            ends.push_back({status, stage});
    }
    return ends;
}

// ---- Samples

void World::Take(bool settled)
{
    const pid_t agent = AgentId();
    Sample sample;
    sample.at = Now();
    sample.settled = settled;
    if (agent == 0 || !Look(agent, speed_, &sample)) return;
    std::lock_guard<std::mutex> guard(lock_);
    if (agent != lastAgent_) lives_++;
    lastAgent_ = agent;
    sample.life = lives_;
    samples_.push_back(sample);
    std::ofstream file(folder_ + "/samples.tsv", std::ios::app);
    file << sample.at << '\t' << sample.life << '\t' << sample.age << '\t' << sample.dirtyKb << '\t'
         << sample.descriptors << '\t' << sample.threads << '\t' << sample.files << '\t' << sample.cpuMs << '\t'
         << sample.settled << '\n';
}

void World::TakeSettled()
{
    Take(true);
}

void World::TakeSamples(double interval)
{
    const std::chrono::duration<double> pause(interval / speed_);
    for (;;) {
        {
            std::unique_lock<std::mutex> guard(lock_);
            if (stop_.wait_for(guard, pause, [this] { return stopped_; })) return;
        }
        Take(false);
    }
}

std::vector<Sample> World::Samples()
{
    std::lock_guard<std::mutex> guard(lock_);
    return samples_;
}
