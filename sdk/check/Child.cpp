#include "sdk/check/Child.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "sdk/check/Library.h"

namespace check
{

static const int kFatal[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};
static const int kHangSignal = SIGALRM; // from the parent, when the time is over
static const double kHangSeconds = 1;   // for the child to tell where it is
static const size_t kAlternateStack = 65536;
static int s_report; // of the child, for its signal handler

// ---- In the child

static void Write(const char *text, size_t length)
{
    while (length > 0) {
        const ssize_t written = write(s_report, text, length);
        if (written <= 0) return;
        text += written;
        length -= static_cast<size_t>(written);
    }
}

static const char *NameOf(int number)
{
    switch (number) {
    case SIGSEGV: return "SIGSEGV";
    case SIGBUS: return "SIGBUS";
    case SIGFPE: return "SIGFPE";
    case SIGILL: return "SIGILL";
    default: return "SIGABRT";
    }
}

static void Write(const char *text)
{
    Write(text, strlen(text));
}

// Of several threads that crash at once one tells it, and ends the process.
static void BeTheFirst()
{
    static std::atomic_flag s_told = ATOMIC_FLAG_INIT;
    while (s_told.test_and_set()) pause();
}

// In the thread that has crashed. Hardly anything may be called here.
static void TellCrash(int number)
{
    BeTheFirst();
    const char *const name = PresentCall();
    Write("Xcrashed in ");
    Write(name ? name : "the checker itself");
    Write(" (");
    Write(NameOf(number));
    Write(")\n");
    _exit(1);
}

// In any thread.
static void TellHang(int)
{
    BeTheFirst();
    Write("Xdoes not return:");
    const char *name;
    for (int thread = 0; (name = PresentCallOf(thread)) != nullptr; thread++) {
        if (*name == '\0') continue;
        Write(" ");
        Write(name);
    }
    Write("\n");
    _exit(1);
}

static void CatchCrashes()
{
    static char stack[kAlternateStack];
    const stack_t alternate = {stack, 0, sizeof stack};
    sigaltstack(&alternate, nullptr);
    struct sigaction action = {};
    action.sa_handler = TellCrash;
    action.sa_flags = SA_ONSTACK;
    sigfillset(&action.sa_mask); // who tells something is not interrupted by something else to tell
    for (const int number : kFatal) sigaction(number, &action, nullptr);
    action.sa_handler = TellHang;
    sigaction(kHangSignal, &action, nullptr);
}

struct Findings::Told {
    std::mutex lock;
    std::vector<std::string> lines;
};

Findings::Findings(int fd) : mTold(std::make_shared<Told>())
{
    s_report = fd;
}

Findings Findings::Of(const std::string &name) const
{
    Findings named = *this;
    named.mPrefix = name + " ";
    return named;
}

void Findings::Tell(char kind, const std::string &text)
{
    std::string line = kind + text + '\n';
    std::replace(line.begin(), line.end() - 1, '\n', ' ');
    const std::lock_guard<std::mutex> guard(mTold->lock);
    if (std::find(mTold->lines.begin(), mTold->lines.end(), line) != mTold->lines.end()) return;
    mTold->lines.push_back(line);
    Write(line.data(), line.size());
}

void Findings::Wrong(const std::string &text)
{
    Tell('W', mPrefix + text);
}

void Findings::Answer(const std::string &text)
{
    Tell('A', text);
}

void Findings::Note(const std::string &text)
{
    Tell('N', text);
}

void Findings::Keep(const std::string &text)
{
    Tell('K', text);
}

[[noreturn]] static void RunChild(int fd, const std::function<void(Findings *)> &body)
{
    CatchCrashes();
    Findings findings(fd);
    body(&findings);
    const std::string last = "T" + std::to_string(LongestCall()) + "\n";
    Write(last.data(), last.size());
    _exit(0); // no destructor of the library: it belongs to the parent's copy of it, too
}

// ---- In the parent

static void Take(const std::string &line, Result *result)
{
    const std::string text = line.substr(1);
    switch (line[0]) {
    case 'W': result->wrong.push_back(text); break;
    case 'X':
        result->wrong.push_back(text);
        result->died = true;
        break;
    case 'A': result->answer = text; break;
    case 'N': result->notes.push_back(text); break;
    case 'K': result->kept = text; break;
    case 'T': result->longest = std::stoll(text); break;
    default: break;
    }
}

// Reads until the child closes its end, or the time is over. Returns false then.
static bool ReadAll(int fd, double seconds, std::string *text)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        struct pollfd ready = {fd, POLLIN, 0};
        if (left.count() <= 0 || poll(&ready, 1, static_cast<int>(left.count())) == 0) return false;
        char bytes[4096];
        const ssize_t count = read(fd, bytes, sizeof bytes);
        if (count <= 0) return true;
        text->append(bytes, static_cast<size_t>(count));
    }
}

Result RunInChild(double seconds, const std::function<void(Findings *)> &body)
{
    Result result;
    int ends[2];
    fflush(nullptr);
    if (pipe(ends) != 0) {
        result.wrong.push_back(std::string("cannot make a pipe: ") + strerror(errno));
        return result;
    }
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        RunChild(ends[1], body);
    }
    close(ends[1]);
    std::string text;
    if (child < 0) {
        close(ends[0]);
        result.wrong.push_back(std::string("cannot start a process: ") + strerror(errno));
        return result;
    }
    bool ended = ReadAll(ends[0], seconds, &text);
    if (!ended) {
        kill(child, kHangSignal);
        ended = ReadAll(ends[0], kHangSeconds, &text);
        kill(child, SIGKILL);
    }
    close(ends[0]);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    for (size_t at = 0, end; (end = text.find('\n', at)) != std::string::npos; at = end + 1)
        if (end > at) Take(text.substr(at, end - at), &result);
    const bool whole = WIFEXITED(status) && (WEXITSTATUS(status) == 0 || result.died);
    if (!ended) result.wrong.push_back("does not return, and blocks all signals");
    if (ended && !whole) result.wrong.push_back("ended the process");
    result.died = result.died || !ended || !whole;
    return result;
}

} // namespace check
