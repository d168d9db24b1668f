// Updates.h - what the tests of the update and of the supervisor share: a server that has one, a platform that orders
// it, and a supervisor in a folder of its own.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "tests/e2e/Diagnostics.h"
#include "tests/support/HttpServer.h"

constexpr char kUpdate[] = "/tmp/plug_download";
constexpr char kHome[] = "/tmp/home"; // of the supervised agents
constexpr char kRuns[] = "/tmp/runs"; // where stand-ins for agents say that they run
constexpr char kOld[] = "/tmp/home/plug";
constexpr char kNew[] = "/tmp/home/plug.update";
constexpr char kAgentId[] = "/tmp/home/id"; // where the process number of InstallAgent()'s can be read

// What follows "datatype":3 in the platform's events.
constexpr char kSuccess[] =
    "{\"pluginID\":\"router\",\"fromVersion\":\"2.0\",\"toVersion\":\"2.1\",\"process\":1,\"result\":0,"
    "\"resultDesc\":\"\"}";

class UpdateTest : public DiagnosticsTest
{
  protected:
    void SetUp() override
    {
        DiagnosticsTest::SetUp();
        for (const char *path : {kUpdate, kHome, kRuns}) std::filesystem::remove_all(path);
        mkdir(kHome, 0755);
    }
    void TearDown() override { std::filesystem::remove_all(kUpdate); }
};

// The digest as the system's own program computes it.
std::string Md5(const std::string &content);

HttpServer::Answer Serving(const std::string &content);
std::string UpdateCommand(uint16_t port, const std::string &path, const std::string &md5);
void Announce(Platform *platform);

// A program in place of an agent, as long as an update must be.
std::string Script(const std::string &text);

void Install(const std::string &path, const std::string &content);

// Installs the real agent under a name of ours, and the settings with which it finds its router library and runs on a
// fast clock.
void InstallAgent();
std::map<std::string, std::string> AgentEnvironment(double clock);

// The content of kRuns.
std::string Runs();

class Supervisor
{
  public:
    // `options` are those of the agent, `settings` lines of its settings file; `runner` is a command that runs it.
    explicit Supervisor(const std::string &options = "", const std::string &settings = "",
                        std::map<std::string, std::string> environment = {}, std::vector<std::string> runner = {});
    void WaitLog(const std::string &text);
    std::string Log();
    // The seconds after which it started the agent again, of the first `count` times.
    std::vector<int> WaitPauses(size_t count);
    void Signal(int signal);
    bool Runs() { return process_->Runs(); }
    // Its exit status; -1 when it does not end.
    int WaitExit();
    int Stop();

  private:
    std::unique_ptr<Lines> lines_;
    std::unique_ptr<Process> process_;
};
