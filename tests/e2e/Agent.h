// Agent.h - the real agent, with its files, options, clock and simulated router.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/e2e/Process.h"
#include "tests/support/Files.h"
#include "tests/support/Processes.h"
#include "tests/support/Texts.h"
#include "tests/support/Within.h"

constexpr char kStatusFile[] = "/tmp/plugstatus";
constexpr char kConfigFile[] = "/tmp/plug.conf";
constexpr char kAgentFolder[] = "/tmp/agent"; // where it runs
constexpr char kCallLog[] = "/tmp/agent/calls.log";

struct ConfigText {
    std::string pin = "123456789012";
    std::string key = "0123456789abcdef";
    std::string server1 = "127.0.0.1";
    std::string server2 = "127.0.0.2";
    std::string port = "6039";
    std::string Text() const;
};

struct AgentOptions {
    std::string config = ConfigText().Text(); // of kConfigFile; empty: there is none
    std::vector<std::string> arguments = {"-d"};
    double clock = 20;                              // how many times faster its time runs
    std::map<std::string, std::string> environment; // in addition to ours
    bool closeInput = false;
};

struct LogEntry {
    int64_t time; // seconds since 1970 on the agent's own clock
    std::string level, module, function, text;
    size_t number; // of its line
};

// The agent's program: the one of this build, or the one that E2E_AGENT names.
std::string AgentProgram();
// What makes its time run `factor` times faster. The program that E2E_AGENT names has a fast clock of its own.
std::map<std::string, std::string> AgentClock(double factor);

// Whether its program is one whose memory is mostly a sanitizer's.
bool AgentIsSanitized();

class Agent
{
  public:
    // Writes the files and starts the agent.
    explicit Agent(const AgentOptions &options = {});
    // Ends the agent. Fails the test when ThreadSanitizer has found something in it.
    ~Agent();

    // The first entry of the log, from line `from` on, whose text begins so. Throws Failure when there is none within
    // `seconds`.
    LogEntry WaitLog(const std::string &begin, size_t from = 0, double seconds = kPatience);
    // How many entries begin so, up to now.
    size_t CountLog(const std::string &begin);
    // What it wrote to its error output, as it stands. Complete once the agent has ended.
    std::string RawLog();

    // Its exit status; throws Failure when it does not end within `seconds`.
    int WaitExit(double seconds = kPatience);
    bool Runs() { return process_->Runs(); }
    void Signal(int number) { process_->Signal(number); }
    pid_t Id() const { return process_->Id(); }

  private:
    std::unique_ptr<Lines> lines_; // outlives the program that writes them
    std::unique_ptr<Process> process_;
};

// The status file's content, "" when there is none.
std::string Status();
// Waits until the status file holds `text`; throws Failure when it does not within `seconds`.
void WaitStatus(const std::string &text, double seconds = kPatience);
