#include "sdk/linux/commands/Services.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "sdk/linux/base/Result.h"
#include "sdk/linux/base/Say.h"
#include "sdk/linux/commands/Process.h"

static const size_t kMaxWords = 32;
static const size_t kMaxOutput = 512;

// Runs the command of `key` with two more words (or null), and `input`. `output` has kMaxOutput bytes.
static int Run(const Config *config, Key key, const char *first, const char *second, const char *input, char *output)
{
    const int result = NeedKey(config, key);
    if (result != RESULT_OK) return result;
    char words[kMaxCommand];
    CopyText(words, sizeof words, CommandOf(config, key));
    const char *arguments[kMaxWords + 3] = {};
    size_t count = 0;
    char *rest = words;
    while (count < kMaxWords && rest) {
        char *word = strsep(&rest, " \t");
        if (*word) arguments[count++] = word;
    }
    if (first) arguments[count++] = first;
    if (second) arguments[count++] = second;
    const ProcessRun run = {arguments, input, strlen(input), output, kMaxOutput, config->timeoutSeconds * 1000,
                            nullptr};
    const int status = RunProcess(&run);
    if (status == 0) return RESULT_OK;
    if (status < 0)
        Say("%s: %s", arguments[0], strerror(errno));
    else
        Say("%s %s %s: exit status %d: %.200s", arguments[0], first ? first : "", second ? second : "", status, output);
    return RESULT_COMMAND;
}

// Cuts off what follows the first line.
static void FirstLine(char *text)
{
    text[strcspn(text, "\r\n")] = '\0';
}

int GetServiceSwitch(const Config *config, Key key, uint8_t *on)
{
    char output[kMaxOutput];
    const int result = Run(config, key, "get", "switch", "", output);
    if (result != RESULT_OK) return result;
    FirstLine(output);
    const bool isOn = strcmp(output, "on") == 0;
    if (!isOn && strcmp(output, "off") != 0) {
        Say("%s get switch: wrote neither \"on\" nor \"off\"", CommandOf(config, key));
        return RESULT_COMMAND;
    }
    *on = isOn;
    return RESULT_OK;
}

int SetServiceSwitch(const Config *config, Key key, uint8_t on)
{
    char output[kMaxOutput];
    if (on > 1) return RESULT_BAD_VALUE;
    return Run(config, key, "set", "switch", on ? "on" : "off", output);
}

int GetServiceText(const Config *config, Key key, const char *what, char text[kAccountText])
{
    char output[kMaxOutput];
    const int result = Run(config, key, "get", what, "", output);
    if (result != RESULT_OK) return result;
    FirstLine(output);
    if (strlen(output) > kAccountText) return RESULT_TOO_LONG;
    FillField(text, kAccountText, output);
    return RESULT_OK;
}

int SetServiceText(const Config *config, Key key, const char *what, const char *text)
{
    char output[kMaxOutput];
    if (strnlen(text, kAccountText + 1) > kAccountText) return RESULT_TOO_LONG;
    for (const char *c = text; *c; c++)
        if (static_cast<unsigned char>(*c) < ' ' || *c == 127) return RESULT_BAD_VALUE;
    return Run(config, key, "set", what, text, output);
}

int RunCommand(const Config *config, Key key, const char *input)
{
    char output[kMaxOutput];
    return Run(config, key, nullptr, nullptr, input, output);
}
