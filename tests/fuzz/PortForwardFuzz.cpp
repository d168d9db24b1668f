// Any text as a port-forwarding command, or any five texts as its members: everything that runs is one of the two known
// commands with plain words in it, and only a command with result 0 runs anything.
//
// Input: 0 and a document; or any other byte and the five texts, each ended by a NUL.
#include <cstring>

#include "FuzzOs.h"
#include "core/Common.h"
#include "rules/PortForward.h"
#include "tests/data/HostileTexts.h"

static const char kPlain[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.:/_-";

static std::string DocumentOf(FuzzInput *input)
{
    if (input->Byte() == 0) return input->Text();
    std::string document = "{";
    for (const char *name : {"FLAG", "PRE_IP", "PRE_PORT", "POST_IP", "POST_PORT"})
        document += (document.size() > 1 ? ",\"" : "\"") + std::string(name) + "\":" + JsonString(input->Text());
    return document + "}";
}

static std::vector<std::string> WordsOf(const std::string &command)
{
    std::vector<std::string> words(1);
    for (const char c : command) {
        if (c == ' ')
            words.emplace_back();
        else
            words.back() += c;
    }
    return words;
}

static void RequireArgument(const std::string &word, size_t most)
{
    REQUIRE(!word.empty() && word.size() <= most && word[0] != '-');
    REQUIRE(word.find_first_not_of(kPlain) == std::string::npos);
}

// `action` is -A or -D.
static void RequireCommand(const std::string &command, const char *action, bool first)
{
    REQUIRE(command.find_first_not_of(std::string(kPlain) + ' ') == std::string::npos);
    const std::vector<std::string> words = WordsOf(command);
    REQUIRE(words.size() == 17);
    const char *const expected[] = {"iptables",
                                    "-t",
                                    "nat",
                                    action,
                                    first ? "PREROUTING" : "POSTROUTING",
                                    "-d",
                                    nullptr,
                                    "-p",
                                    "tcp",
                                    "-m",
                                    "tcp",
                                    "--dport",
                                    nullptr,
                                    "-j",
                                    first ? "DNAT" : "SNAT",
                                    first ? "--to-destination" : "--to-source",
                                    nullptr};
    for (size_t i = 0; i < words.size(); i++) REQUIRE(!expected[i] || words[i] == expected[i]);
    RequireArgument(words[6], 31);
    RequireArgument(words[12], 7);
    RequireArgument(words[16], 39);
    REQUIRE(words[16].find(':') != std::string::npos);
}

static void RequirePair(size_t at, const char *action)
{
    RequireCommand(g_world.commands[at], action, true);
    RequireCommand(g_world.commands[at + 1], action, false);
    // One matches what the other rewrites to.
    const std::vector<std::string> pre = WordsOf(g_world.commands[at]), post = WordsOf(g_world.commands[at + 1]);
    REQUIRE(pre[16] == post[6] + ":" + post[12]);
    REQUIRE(post[16] == pre[6] + ":" + pre[12]);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzOsReset();
    d_set_log_level(LOG_LEVEL_NONE);
    FuzzInput input = {data, size};
    const int result = ParseRouteParam(DocumentOf(&input).c_str());

    const size_t count = g_world.commands.size();
    REQUIRE(result <= PORT_FORWARD_DONE && result >= PORT_FORWARD_BAD_TEXT);
    REQUIRE(result != PORT_FORWARD_NO_TEXT);
    REQUIRE(result == PORT_FORWARD_DONE ? count == 2 || count == 4 : count == 0);
    if (count >= 2) RequirePair(0, "-D");
    if (count == 4) RequirePair(2, "-A");
    return 0;
}
