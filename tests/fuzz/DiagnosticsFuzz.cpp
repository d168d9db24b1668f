// Any output of ping and traceroute, and any parameters: the command has nothing but numbers of the parameters; of a
// ping's output all lines but those of single replies are kept, up to the first that does not fit whole, and of a
// traceroute's the first 3999 bytes; the reply holds that text and its length.
//
// Input: flags (bit 0 the command cannot be started, bit 1 it cannot be waited for, bit 2 no file), tenths of a second
// before each line, the parameters (24 bytes), and the output.
#include <cstring>
#include <string>

#include "FuzzOs.h"
#include "core/Common.h"
#include "functions/Diagnostics.h"
#include "functions/Ping.h"
#include "functions/Traceroute.h"
#include "platform/ServerStop.h"

static const size_t kMaxText = 3999;
static const size_t kMaxPiece = 255;

static uint8_t s_reply[8192];

// Commands that cannot be started are reported with it, once for most inputs.
extern "C" void __wrap_perror(const char *text);
extern "C" void __wrap_perror(const char *) {}

// Calls a function; returns what it has put into the reply, without the length in front.
static std::string Reply(int (*function)(WireReader *, WireWriter *), const uint8_t *parameters, size_t size,
                         int *status)
{
    WireReader in = WireRead(parameters, size);
    WireWriter out = WireWrite(s_reply, sizeof s_reply);
    *status = function(&in, &out);
    REQUIRE(!in.failed && !out.failed);
    if (out.used == 0) return "";
    REQUIRE(out.used >= 2 && out.used - 2 == s_reply[0] + 256u * s_reply[1]);
    return std::string(reinterpret_cast<const char *>(s_reply) + 2, out.used - 2);
}

static std::string Address(const uint8_t *reversed)
{
    std::string text;
    for (int octet = 3; octet >= 0; octet--) text += std::to_string(reversed[octet]) + (octet > 0 ? "." : "");
    return text;
}

// What a ping keeps of its output when it may run for `milliseconds`, of which each line takes 50 and `lineMs`. An output
// with a NUL is text up to there in each piece.
static std::string Kept(const std::string &output, int64_t milliseconds, int64_t lineMs)
{
    std::string kept;
    int64_t now = 0;
    for (size_t at = 0; at < output.size();) {
        const size_t feed = output.find('\n', at);
        const size_t length = std::min((feed == std::string::npos ? output.size() : feed + 1) - at, kMaxPiece);
        const std::string piece = output.substr(at, length).c_str();
        at += length;
        now += 50 + lineMs;
        if (now >= milliseconds) break;
        if (piece.find("ttl") != std::string::npos || piece.find("TTL") != std::string::npos) continue;
        if (kept.size() + piece.size() > kMaxText) break;
        kept += piece;
    }
    return kept;
}

static void Ping(const uint8_t *parameters, const std::string &output)
{
    int status;
    REQUIRE(Reply(PingStart, parameters, 24, &status).empty() && status == 0);
    REQUIRE(g_world.threads.size() == 1 && gPingThreadState == 1 && gPingState == 1);
    REQUIRE(Reply(PingStart, parameters, 24, &status).empty() && status == 1); // busy
    g_world.output = output;
    g_world.threads[0].body(g_world.threads[0].argument);
    REQUIRE(gPingThreadState == 0);

    const int size = parameters[20] | parameters[21] << 8;
    const int count = static_cast<int16_t>(parameters[22] | parameters[23] << 8);
    const std::string text = Reply(PingResult, nullptr, 0, &status);
    if (g_world.commandFails) {
        REQUIRE(text.empty() && status == 1 && g_world.commands.empty());
        return;
    }
    REQUIRE(g_world.commands.size() == 1);
    REQUIRE(g_world.commands[0] == "ping -s " + std::to_string(size) + " -c " +
                                       std::to_string(count > 50 ? 50 : count) + " " + Address(parameters));
    REQUIRE(status == 0);
    REQUIRE(text == Kept(output, count > 0 ? INT64_MAX : 500000, g_world.lineMs));
}

static void Traceroute(const uint8_t *parameters, const std::string &output, bool noFile)
{
    g_world.commands.clear();
    g_world.threads.clear();
    int status;
    REQUIRE(Reply(TracerouteStart, parameters, 4, &status).empty() && status == 0);
    REQUIRE(g_world.threads.size() == 2 && gTraceThreadState == 1); // the watcher, too
    g_world.output = output;
    g_world.openFails = noFile;
    g_world.threads[1].body(g_world.threads[1].argument);
    REQUIRE(gTraceThreadState == 0);
    REQUIRE(g_world.written == (noFile ? "" : output));
    REQUIRE(noFile ? g_world.commands.empty()
                   : g_world.commands == std::vector<std::string>{"traceroute -n " + Address(parameters)});

    g_world.configFile = g_world.written;
    g_world.configMissing = noFile;
    const std::string text = Reply(TracerouteResult, nullptr, 0, &status);
    REQUIRE(g_world.commands.back() == "killall -9 traceroute");
    REQUIRE(status == (noFile ? 1 : 0));
    REQUIRE(text == g_world.written.substr(0, kMaxText));
    REQUIRE(traceRes == 0 && killRun == 0);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzOsReset();
    d_set_log_level(LOG_LEVEL_NONE);
    ServerRun = 1;
    FuzzInput input = {data, size};
    const uint8_t flags = input.Byte();
    g_world.lineMs = input.Byte() * 100;
    g_world.commandFails = (flags & 1) != 0;
    g_world.closeFails = (flags & 2) != 0;
    uint8_t parameters[24] = {};
    size_t length = sizeof parameters;
    const uint8_t *sent = input.Bytes(&length);
    if (length > 0) memcpy(parameters, sent, length);
    const std::string output(input.left > 0 ? reinterpret_cast<const char *>(input.data) : "", input.left);

    Ping(parameters, output);
    Traceroute(parameters, output, (flags & 4) != 0);
    StopDiagnostics();
    ServerRun = 0;
    return 0;
}
