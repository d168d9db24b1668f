#include "tests/e2e/Agent.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <gtest/gtest.h>
#include <poll.h>
#include <regex>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

std::string ConfigText::Text() const
{
    return "[Dev]\nPIN=" + pin + "\n[Protool]\nKEY=" + key + "\nSERVER1=" + server1 + "\nSERVER2=" + server2 +
           "\nPORT=" + port + "\n";
}

std::string AgentProgram()
{
    const char *other = getenv("E2E_AGENT");
    return other ? other : PLUG_PROGRAM;
}

std::map<std::string, std::string> AgentClock(double factor)
{
    std::map<std::string, std::string> environment = {{"FASTCLOCK_FACTOR", std::to_string(factor)}};
    if (!getenv("E2E_AGENT")) environment["LD_PRELOAD"] = PLUG_PRELOAD;
    return environment;
}

bool AgentIsSanitized()
{
#ifdef PLUG_SANITIZED
    return true;
#else
    return getenv("E2E_AGENT") != nullptr;
#endif
}

Agent::Agent(const AgentOptions &options)
{
    mkdir(kAgentFolder, 0755);
    if (!options.config.empty()) WriteFile(kConfigFile, options.config);
    ProcessOptions program;
    program.arguments = {AgentProgram()};
    program.arguments.insert(program.arguments.end(), options.arguments.begin(), options.arguments.end());
    program.environment = options.environment;
    if (options.clock != 1) program.environment.merge(AgentClock(options.clock));
    program.environment.emplace("ROUTER_SIM_LOG", kCallLog);
    program.environment.emplace("TZ", "UTC");
    program.folder = kAgentFolder;
    program.closeInput = options.closeInput;
    process_ = std::make_unique<Process>(program);
    close(process_->Output());
    lines_ = std::make_unique<Lines>(process_->Errors());
}

Agent::~Agent()
{
    process_.reset();
    const std::string log = RawLog();
    const size_t report = log.find("WARNING: ThreadSanitizer");
    if (report != std::string::npos) ADD_FAILURE() << log.substr(report, 8000);
}

static std::string WithoutColours(const std::string &line)
{
    std::string plain;
    for (size_t i = 0; i < line.size(); i++) {
        if (line[i] == '\033')
            i = std::min(line.find('m', i), line.size());
        else
            plain += line[i];
    }
    return plain;
}

// "2026-3-1 12:00:00 [ERR] [Module->Function->12]-> text"
static bool ReadEntry(const std::string &line, LogEntry *entry)
{
    static const std::regex pattern(R"((\d+)-(\d+)-(\d+) (\d+):(\d+):(\d+) \[(\w+)\] \[(\w+)->(\w+)->\d+\]-> (.*))");
    std::smatch part;
    const std::string plain = WithoutColours(line);
    if (!std::regex_match(plain, part, pattern)) return false;
    struct tm time = {};
    time.tm_year = stoi(part[1]) - 1900;
    time.tm_mon = stoi(part[2]) - 1;
    time.tm_mday = stoi(part[3]);
    time.tm_hour = stoi(part[4]);
    time.tm_min = stoi(part[5]);
    time.tm_sec = stoi(part[6]);
    *entry = {timegm(&time), part[7], part[8], part[9], part[10], 0};
    return true;
}

static bool Begins(const std::string &line, const std::string &begin)
{
    LogEntry entry;
    return Contains(line, begin) && ReadEntry(line, &entry) && entry.text.compare(0, begin.size(), begin) == 0;
}

LogEntry Agent::WaitLog(const std::string &begin, size_t from, double seconds)
{
    const auto found = lines_->Find(from, seconds, [&](const std::string &line) { return Begins(line, begin); });
    if (!found) {
        const std::string log = RawLog();
        throw Failure("no log entry \"" + begin + "\"; the last ones are:\n" +
                      WithoutColours(log.substr(log.size() > 1500 ? log.size() - 1500 : 0)));
    }
    LogEntry entry;
    ReadEntry(lines_->At(*found), &entry);
    entry.number = *found;
    return entry;
}

size_t Agent::CountLog(const std::string &begin)
{
    size_t count = 0;
    for (const std::string &line : lines_->All()) count += Begins(line, begin);
    return count;
}

std::string Agent::RawLog()
{
    std::string log;
    for (const std::string &line : lines_->All()) log += line + "\n";
    return log;
}

int Agent::WaitExit(double seconds)
{
    const std::optional<int> status = process_->WaitExit(seconds);
    if (!status) throw Failure("the agent does not end");
    if (!lines_->WaitEnd(seconds)) throw Failure("somebody holds the agent's error output open");
    return *status;
}

std::string Status()
{
    return ReadFile(kStatusFile);
}

void WaitStatus(const std::string &text, double seconds)
{
    const auto limit = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    const int watch = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    if (watch < 0)
        throw Failure(std::string("no inotify instance is left for this user (fs.inotify.max_user_instances): ") +
                      strerror(errno));
    inotify_add_watch(watch, "/tmp", IN_CLOSE_WRITE | IN_MOVED_TO);
    for (;;) {
        char events[4096];
        while (read(watch, events, sizeof events) > 0) {
        }
        const bool there = Status() == text;
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(limit - std::chrono::steady_clock::now());
        struct pollfd changed = {watch, POLLIN, 0};
        if (there || left.count() <= 0 || poll(&changed, 1, static_cast<int>(left.count())) < 1) {
            close(watch);
            if (there || Status() == text) return;
            throw Failure("the status file holds \"" + Status() + "\" instead of \"" + text + "\"");
        }
    }
}
