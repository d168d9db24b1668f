#include "tests/e2e/Gateway.h"

#include <cstdlib>
#include <unistd.h>

#include "tests/support/Within.h"

using gateway::Json;

ProcessOptions GatewayTool(const NatsServer &nats, const std::vector<std::string> &arguments)
{
    const char *other = getenv("E2E_GATEWAY");
    ProcessOptions options;
    options.arguments = {other ? other : GATEWAY_PROGRAM, "--nats", nats.Url()};
    options.arguments.insert(options.arguments.end(), arguments.begin(), arguments.end());
    return options;
}

namespace
{
std::string Joined(const std::vector<std::string> &lines)
{
    std::string text;
    for (const std::string &line : lines) text += line + "\n";
    return text;
}

bool Has(const gateway::Message &message, const std::string &subject, const std::string &text)
{
    return message.subject == subject && message.data.find(text) != std::string::npos;
}
} // namespace

std::string RunGatewayTool(const NatsServer &nats, const std::vector<std::string> &arguments, int status)
{
    Process process(GatewayTool(nats, arguments));
    Lines output(process.Output()), errors(process.Errors());
    const std::optional<int> ended = process.WaitExit(2 * kPatience);
    if (!ended) process.Signal(SIGKILL);
    output.WaitEnd(kPatience);
    errors.WaitEnd(kPatience);
    if (ended != status)
        throw Failure("plug-gateway " + arguments.at(0) + ": exit status " + std::to_string(ended.value_or(-1)) + "\n" +
                      Joined(output.All()) + Joined(errors.All()));
    return Joined(output.All()) + Joined(errors.All());
}

GatewayProgram::GatewayProgram(const NatsServer &nats, const GatewayOptions &options)
    : port_(6039 + 10 * options.number)
{
    static const char kSecret[] = "/tmp/gateway-secret";
    WriteFile(kSecret, "the tests' secret\n");
    std::vector<std::string> arguments = {"run",
                                          "--name",
                                          "gw" + std::to_string(options.number),
                                          "--register",
                                          RegisterAt(),
                                          "--login",
                                          LoginAt(),
                                          "--secret-file",
                                          kSecret,
                                          "--registrations-per-second",
                                          "0",
                                          "--web",
                                          "none"};
    arguments.insert(arguments.end(), options.arguments.begin(), options.arguments.end());
    process_ = std::make_unique<Process>(GatewayTool(nats, arguments));
    lines_ = std::make_unique<Lines>(process_->Output());
    errors_ = std::make_unique<Lines>(process_->Errors());
    const std::string ready = WaitLog("ready: gateway=", 2 * kPatience);
    const size_t id = ready.find("gateway=") + 8;
    id_ = ready.substr(id, ready.find(' ', id) - id);
}

std::string GatewayProgram::WaitLog(const std::string &text, double seconds)
{
    const auto found =
        lines_->Find(0, seconds, [&](const std::string &line) { return line.find(text) != std::string::npos; });
    if (!found) throw Failure("no line with \"" + text + "\" in\n" + Joined(lines_->All()) + Joined(errors_->All()));
    return lines_->At(*found);
}

std::string GatewayProgram::AllLog()
{
    lines_->WaitEnd(kPatience);
    errors_->WaitEnd(kPatience);
    return Joined(lines_->All()) + Joined(errors_->All());
}

GatewayTest::GatewayTest()
{
    for (const char *path : {kStatusFile, kConfigFile}) unlink(path);
    gateway::BusOptions options;
    options.servers = {nats_.Url()};
    bus_ = std::make_unique<gateway::Bus>(options);
    all_ = bus_->Subscribe("plug.>", "", context_.io, [this](const gateway::Message &message) {
        const std::lock_guard<std::mutex> hold(lock_);
        heard_.push_back(message);
    });
}

GatewayTest::~GatewayTest()
{
    all_.reset();
    context_.End();
}

void GatewayTest::AddDevice(const RouterFacts &facts, const std::vector<std::string> &more)
{
    std::vector<std::string> arguments = {"device", "add", facts.pin, facts.serial, "--key", facts.key};
    arguments.insert(arguments.end(), more.begin(), more.end());
    RunGatewayTool(nats_, arguments);
}

void GatewayTest::AddDevices(unsigned count)
{
    WriteFile("/tmp/devices.csv", DevicesCsv(count));
    RunGatewayTool(nats_, {"device", "import", "/tmp/devices.csv"});
}

Json GatewayTest::Ask(const std::string &serial, const std::string &what, const std::string &parameters)
{
    const auto answer = bus_->Request("plug." + serial + "." + what, parameters, 15000);
    return answer ? Json::parse(*answer, nullptr, false) : Json();
}

size_t GatewayTest::CountHeard(const std::string &subject, const std::string &text)
{
    const std::lock_guard<std::mutex> hold(lock_);
    size_t count = 0;
    for (const gateway::Message &message : heard_) count += Has(message, subject, text);
    return count;
}

Json GatewayTest::WaitHeard(const std::string &subject, const std::string &text, double seconds)
{
    Json json;
    const bool found = Within(seconds, [&] {
        const std::lock_guard<std::mutex> hold(lock_);
        for (const gateway::Message &message : heard_)
            if (Has(message, subject, text)) {
                json = Json::parse(message.data, nullptr, false);
                return true;
            }
        return false;
    });
    if (found) return json;
    std::string all;
    const std::lock_guard<std::mutex> hold(lock_);
    for (const gateway::Message &message : heard_) all += message.subject + " " + message.data + "\n";
    throw Failure("nothing at " + subject + " with \"" + text + "\" in\n" + all);
}

int GatewayTest::Stored()
{
    const auto info = bus_->Request("$JS.API.STREAM.INFO.PLUG_REPORTS", "", 5000);
    const Json json = Json::parse(info.value_or(""), nullptr, false);
    return json.is_object() && json.contains("state") ? json["state"]["messages"].get<int>() : -1;
}

std::string GatewayTest::Entry(const std::string &bucket, const std::string &key)
{
    return bus_->Request("$JS.API.DIRECT.GET.KV_" + bucket + ".$KV." + bucket + "." + key, "", 5000).value_or("");
}
