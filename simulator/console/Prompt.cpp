#include "simulator/console/Prompt.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <unistd.h>

// readline's header uses FILE without including it.
#include <readline/history.h>
#include <readline/readline.h>

namespace sim
{

static const char kPromptText[] = "plugsim> ";
static const int kHistoryLines = 1000;
static const int64_t kFullPollMs = 20;

// All that readline's plain callbacks need to find; there is one prompt per process.
static struct {
    std::function<void(const std::string &)> line;
    std::function<void()> end;
    std::function<std::vector<std::string>(const Words &)> completions;
    std::string historyFile;
    std::vector<std::string> matches; // of the completion under way
} s_prompt;

static void LineTyped(char *text)
{
    if (!text) {
        putchar('\n');
        s_prompt.end();
        return;
    }
    const std::string line = text;
    free(text);
    if (line.find_first_not_of(" \t") != std::string::npos) {
        const HIST_ENTRY *last = history_length > 0 ? history_get(history_base + history_length - 1) : nullptr;
        if (!last || line != last->line) add_history(line.c_str());
    }
    s_prompt.line(line);
}

static char *NextMatch(const char *text, int state)
{
    static size_t position;
    if (state == 0) position = 0;
    while (position < s_prompt.matches.size()) {
        const std::string &match = s_prompt.matches[position++];
        if (match.compare(0, strlen(text), text) == 0) return strdup(match.c_str());
    }
    return nullptr;
}

static char **Complete(const char *text, int start, int)
{
    Words before;
    std::string error;
    rl_attempted_completion_over = 1; // no file names
    if (!SplitWords(std::string(rl_line_buffer, static_cast<size_t>(start)), &before, &error)) return nullptr;
    s_prompt.matches = s_prompt.completions(before);
    if (s_prompt.matches == Words{kAnyFile}) {
        rl_attempted_completion_over = 0;
        return nullptr;
    }
    char **matches = rl_completion_matches(text, NextMatch);
    // The value follows NAME= without a blank.
    const std::string match = matches ? matches[0] : "";
    rl_completion_suppress_append = !match.empty() && match.back() == '=';
    return matches;
}

Prompt::Prompt(Loop *loop, std::function<void(const std::string &)> line, std::function<void()> end,
               std::function<std::vector<std::string>(const Words &before)> completions)
    : loop_(loop)
{
    s_prompt.completions = std::move(completions);
    s_prompt.line = std::move(line);
    s_prompt.end = std::move(end);
    const char *home = getenv("HOME");
    if (home) s_prompt.historyFile = std::string(home) + "/.plugsim_history";
    rl_readline_name = "plugsim";
    rl_catch_signals = 0; // the loop takes them
    rl_completer_word_break_characters = const_cast<char *>(" \t");
    rl_attempted_completion_function = Complete;
    using_history();
    stifle_history(kHistoryLines);
    if (!s_prompt.historyFile.empty()) read_history(s_prompt.historyFile.c_str());
    rl_callback_handler_install(kPromptText, LineTyped);
    loop_->Watch(STDIN_FILENO, POLLIN, [](short) { rl_callback_read_char(); });
}

Prompt::~Prompt()
{
    loop_->Unwatch(STDIN_FILENO);
    rl_clear_visible_line();
    rl_callback_handler_remove(); // restores the terminal
    if (!s_prompt.historyFile.empty()) write_history(s_prompt.historyFile.c_str());
}

void Prompt::Print(const std::string &text)
{
    rl_clear_visible_line();
    fputs(text.c_str(), stdout);
    fflush(stdout);
    rl_on_new_line();
    rl_redisplay();
}

bool Prompt::DropLine()
{
    const bool something = rl_end > 0 || RL_ISSTATE(RL_STATE_ISEARCH | RL_STATE_NSEARCH);
    rl_callback_sigcleanup(); // out of a search
    rl_replace_line("", 1);
    rl_clear_visible_line();
    rl_on_new_line();
    rl_redisplay();
    return something;
}

LineReader::LineReader(Loop *loop, int fd, std::function<void(const std::string &)> line, std::function<void()> end,
                       std::function<bool()> roomFor)
    : loop_(loop), fd_(fd), line_(std::move(line)), end_(std::move(end)), roomFor_(std::move(roomFor))
{
    Watch();
}

LineReader::~LineReader()
{
    if (timer_) loop_->Cancel(timer_);
    loop_->Unwatch(fd_);
}

void LineReader::Watch()
{
    timer_ = 0;
    if (roomFor_()) {
        loop_->Watch(fd_, POLLIN, [this](short) { Read(); });
        return;
    }
    loop_->Unwatch(fd_);
    timer_ = loop_->After(kFullPollMs, [this] { Watch(); });
}

void LineReader::Read()
{
    char buffer[4096];
    const ssize_t count = read(fd_, buffer, sizeof buffer);
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) return;
    if (count <= 0) {
        loop_->Unwatch(fd_);
        if (!partial_.empty()) line_(partial_);
        end_();
        return;
    }
    partial_.append(buffer, static_cast<size_t>(count));
    size_t newline;
    while ((newline = partial_.find('\n')) != std::string::npos) {
        line_(partial_.substr(0, newline));
        partial_.erase(0, newline + 1);
    }
    Watch();
}

} // namespace sim
