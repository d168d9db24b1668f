#include "tests/e2e/Updates.h"

#include <csignal>
#include <unistd.h>

// Of the system's own program.
std::string Md5(const std::string &content)
{
    WriteFile("/tmp/md5-of", content);
    const std::string digest = RunShell("md5sum </tmp/md5-of").substr(0, 32);
    std::filesystem::remove("/tmp/md5-of");
    return digest;
}

HttpServer::Answer Serving(const std::string &content)
{
    return [content](HttpConnection &connection) {
        connection.Send(HeaderFor(content.size()) + content);
        connection.AwaitEnd();
    };
}

std::string UpdateCommand(uint16_t port, const std::string &path, const std::string &md5)
{
    return "plugin 2 {\"url\":\"http://127.0.0.1:" + std::to_string(port) + path +
           "\",\"fileLength\":1,\"fileMD5\":\"" + md5 + "\",\"token\":\"t\"}";
}

void Announce(Platform *platform)
{
    platform->Command("plugin 1 {\"pluginID\":\"router\",\"fromVersion\":\"2.0\",\"toVersion\":\"2.1\"}");
    platform->Wait("ack", {{"datatype", "1"}});
}

std::string Script(const std::string &text)
{
    return "#!/bin/sh\n" + text + "\n#" + std::string(2000, '-') + "\n";
}

void Install(const std::string &path, const std::string &content)
{
    WriteFile(path, content);
    chmod(path.c_str(), 0755);
}

void InstallAgent()
{
    Install(kOld, std::string("#!/bin/sh\necho $$ >") + kAgentId + "\nexec " + AgentProgram() + " \"$@\"\n");
}

std::map<std::string, std::string> AgentEnvironment(double clock)
{
    std::map<std::string, std::string> environment = AgentClock(clock);
    environment["LD_LIBRARY_PATH"] = std::filesystem::path(AgentProgram()).parent_path();
    environment["TZ"] = "UTC";
    return environment;
}

std::string Runs()
{
    return ReadFile(kRuns);
}

Supervisor::Supervisor(const std::string &options, const std::string &settings,
                       std::map<std::string, std::string> environment, std::vector<std::string> runner)
{
    WriteFile("/tmp/home/defaults.new", std::string("PLUG=") + kOld + "\nPLUG_OPTIONS='" + options +
                                            "'\nPLUG_NEW=" + kNew + "\nPLUG_RUN=" + kHome +
                                            "\nPLUG_LOG_FILTER=" PLUG_LOG_FILTER
                                            "\nPAUSE=0\nLONG_PAUSE=0\nMAX_PAUSE=0\nTRIAL=2\n"
                                            "log() { echo \"plug: $*\" >&2; }\n"
                                            "log_agent() { echo \"agent $1: $2\" >&2; }\n" +
                                            settings);
    std::filesystem::rename("/tmp/home/defaults.new", "/tmp/home/defaults"); // another supervisor may be reading it
    ProcessOptions program;
    program.arguments = std::move(runner);
    program.arguments.insert(program.arguments.end(), {"/bin/sh", PLUG_SUPERVISOR});
    program.environment = std::move(environment);
    program.environment["PLUG_DEFAULTS"] = "/tmp/home/defaults";
    process_ = std::make_unique<Process>(program);
    close(process_->Output());
    lines_ = std::make_unique<Lines>(process_->Errors());
}

void Supervisor::WaitLog(const std::string &text)
{
    const auto found = lines_->Find(0, kPatience, [&](const std::string &line) { return Contains(line, text); });
    if (!found) throw Failure("the supervisor does not say: " + text);
}

std::string Supervisor::Log()
{
    std::string log;
    for (const std::string &line : lines_->All()) log += line + "\n";
    return log;
}

std::vector<int> Supervisor::WaitPauses(size_t count)
{
    const std::string text = "starting again in ";
    std::vector<int> pauses;
    for (size_t from = 0; pauses.size() < count; from++) {
        const auto found = lines_->Find(from, kPatience, [&](const std::string &line) { return Contains(line, text); });
        if (!found) throw Failure("the supervisor does not start the agent again");
        from = *found;
        const std::string line = lines_->At(from);
        pauses.push_back(std::stoi(line.substr(line.find(text) + text.size())));
    }
    return pauses;
}

void Supervisor::Signal(int signal)
{
    process_->Signal(signal);
}

int Supervisor::WaitExit()
{
    return process_->WaitExit(kPatience).value_or(-1);
}

int Supervisor::Stop()
{
    Signal(SIGTERM);
    return WaitExit();
}
