// Diagnostics.h - what the tests of ping, traceroute and rate test share: their commands, and programs in the place of
// the system's.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/e2e/EndToEnd.h"
#include "tests/e2e/NetNamespace.h"

constexpr char kTracerouteFile[] = "/tmp/tracerouteFile";

class DiagnosticsTest : public EndToEnd
{
  protected:
    void SetUp() override;
};

// Throws Failure unless the system has these programs.
void NeedPrograms(const std::vector<std::string> &names);

// Options for an agent that finds FakeProgram()s before the system's programs.
AgentOptions WithFakes(double clock = 20);

// A program of the test that its agent finds under `name`. It notes its arguments, each in angle brackets, a line a
// run, and then does what `script` says, a shell's text in which "@wait" waits, without a child process, until the test
// lets it go on.
class FakeProgram
{
  public:
    explicit FakeProgram(const std::string &name, const std::string &script = "");
    ~FakeProgram();
    FakeProgram(const FakeProgram &) = delete;
    FakeProgram &operator=(const FakeProgram &) = delete;

    void LetGo(); // one run that waits, or the next one that comes to wait
    // All runs so far.
    std::string Runs() const { return ReadFile(log_); }
    // Waits until it has been run so often. Throws Failure when it has not within kPatience.
    void AwaitRuns(size_t count) const;

  private:
    std::string path_, log_, gate_;
    int held_;
};

// Whether a file contains `text`, at the latest after kPatience.
bool WaitForFile(const std::string &path, const std::string &text);
// The names of all programs that run in the sandbox, without zombies.
std::vector<std::string> RunningPrograms();
// Whether a program of that name runs, at the latest after kPatience.
bool OneRuns(const std::string &name);
// Whether no program of that name runs any more, at the latest after `seconds`.
bool NoneRuns(const std::string &name, double seconds = kPatience);

// A 16-bit parameter as hexadecimal digits.
std::string Hex16(unsigned value);
// The parameters of the functions 8 and 51, likewise.
std::string PingParameters(const std::string &address, unsigned size, int count);
std::string TargetParameter(const std::string &address);

struct FunctionReply {
    int status = -1;
    size_t length = 0; // of the whole record
    std::string text;  // behind the 16-bit length, when there is one
};

// Sends a function with its parameters and returns its reply.
FunctionReply Ask(Platform *platform, int function, const std::string &parameters = "");
// The same in two steps.
void Send(Platform *platform, int function, const std::string &parameters = "");
FunctionReply AwaitReply(Platform *platform, int function, double seconds = kPatience);

// A host behind a router: we are 10.77.1.1, the router 10.77.1.2 and 10.77.2.1, the host 10.77.2.2.
constexpr char kRouter[] = "10.77.1.2";
constexpr char kFarHost[] = "10.77.2.2";
class HostBehindRouter
{
  public:
    HostBehindRouter();
    ~HostBehindRouter();
    const NetNamespace &Router() const { return router_; }
    // Runs `body` on the host, on this thread.
    void Inside(const std::function<void()> &body) const;

  private:
    NetNamespace router_;
    std::unique_ptr<NetNamespace> host_;
};
