#include "tests/unit/gateway/web/Browser.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/Within.h"

using gateway::Json;

static constexpr int kPatienceMs = 30000;

Browser::Browser(const std::string &folder, const std::string &url)
{
    int commands[2], answers[2];
    if (pipe2(commands, O_CLOEXEC) != 0 || pipe2(answers, O_CLOEXEC) != 0) throw std::runtime_error("pipe");
    commands_ = commands[1];
    answers_ = answers[0];
    process_ = fork();
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        setpgid(0, 0);
        // It reads from 3 and writes to 4; the pipes may have these numbers already.
        const int from = fcntl(commands[0], F_DUPFD, 10), to = fcntl(answers[1], F_DUPFD, 10);
        dup2(from, 3);
        dup2(to, 4);
        const int log = open((folder + "/log").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(log, STDOUT_FILENO);
        dup2(log, STDERR_FILENO);
        const std::string data = "--user-data-dir=" + folder;
        execlp("chromium", "chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
               "--window-size=1200,900", "--remote-debugging-pipe", data.c_str(), static_cast<char *>(nullptr));
        _exit(127);
    }
    close(commands[0]);
    close(answers[1]);
    const Json page = Call("Target.createTarget", {{"url", url}});
    session_ = Call("Target.attachToTarget", {{"targetId", page["targetId"]}, {"flatten", true}})["sessionId"];
}

Browser::~Browser()
{
    close(commands_);
    close(answers_);
    if (process_ > 0) {
        kill(-process_, SIGKILL);
        kill(process_, SIGKILL); // before it has a group of its own
        waitpid(process_, nullptr, 0);
    }
}

Json Browser::Call(const std::string &method, const Json &parameters)
{
    Json command = {{"id", ++last_}, {"method", method}, {"params", parameters}};
    if (!session_.empty()) command["sessionId"] = session_;
    const std::string text = command.dump();
    if (write(commands_, text.c_str(), text.size() + 1) != static_cast<ssize_t>(text.size() + 1))
        throw std::runtime_error("the browser takes no command");
    for (;;) {
        const size_t end = unread_.find('\0');
        if (end == std::string::npos) {
            struct pollfd readable = {answers_, POLLIN, 0};
            char block[4096];
            const ssize_t count =
                poll(&readable, 1, kPatienceMs) == 1 ? read(answers_, block, sizeof block) : ssize_t{0};
            if (count <= 0) throw std::runtime_error("the browser does not answer " + method);
            unread_.append(block, static_cast<size_t>(count));
            continue;
        }
        const Json answer = Json::parse(unread_.substr(0, end), nullptr, false);
        unread_.erase(0, end + 1);
        if (!answer.is_object() || answer.value("id", 0) != last_) continue; // something that has happened
        if (!answer.contains("result")) throw std::runtime_error(method + ": " + answer.dump());
        return answer["result"];
    }
}

Json Browser::Value(const std::string &expression)
{
    const Json result =
        Call("Runtime.evaluate", {{"expression", expression}, {"returnByValue", true}, {"awaitPromise", true}});
    if (result.contains("exceptionDetails")) throw std::runtime_error(expression + ": " + result.dump());
    return result["result"].value("value", Json());
}

bool Browser::Becomes(const std::string &expression)
{
    return Within(20, [&] { return Value(expression) == true; });
}

void Browser::Click(const std::string &selector)
{
    const std::string found = "document.querySelector(" + Json(selector).dump() + ")";
    Value(found + ".scrollIntoView({block: 'center'})");
    const Json middle = Value("(r => [r.x + r.width / 2, r.y + r.height / 2])(" + found + ".getBoundingClientRect())");
    for (const char *type : {"mousePressed", "mouseReleased"})
        Call("Input.dispatchMouseEvent",
             {{"type", type}, {"x", middle[0]}, {"y", middle[1]}, {"button", "left"}, {"clickCount", 1}});
}

void Browser::Type(const std::string &selector, const std::string &text)
{
    Click(selector);
    Call("Input.insertText", {{"text", text}});
}
