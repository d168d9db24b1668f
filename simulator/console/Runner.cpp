#include "simulator/console/Runner.h"

namespace sim
{

static const int64_t kDrainPollMs = 20;

Runner::~Runner()
{
    if (woken_) loop_->Cancel(woken_);
    if (timer_) loop_->Cancel(timer_);
}

void Runner::AddLine(const std::string &line)
{
    lines_.push_back(line);
    Wake();
}

void Runner::EndOfLines()
{
    ended_ = true;
    Wake();
}

void Runner::Wake()
{
    if (woken_ || state_ == State::Finished) return;
    woken_ = loop_->After(0, [this] {
        woken_ = 0;
        Step();
    });
}

bool Runner::Interrupt()
{
    if (state_ == State::Ready && !lines_.empty())
        current_ = lines_.front();
    else if (state_ != State::Waiting && state_ != State::Sleeping)
        return false;
    if (timer_) loop_->Cancel(timer_);
    timer_ = 0;
    lines_.clear();
    wait_ = {};
    Fail("interrupted");
    return true;
}

void Runner::Step()
{
    for (;;) {
        if (state_ == State::Waiting && journal_->Log().Take(wait_.wait)) {
            Took();
        } else if (state_ == State::Ready && !lines_.empty()) {
            const std::string line = lines_.front();
            lines_.pop_front();
            RunLine(line);
        } else {
            break;
        }
    }
    if (state_ != State::Ready || !ended_ || !rules_.exitAtEnd) return;
    // Work that a command has started is part of the command.
    if (!busy_()) {
        Finish(0);
    } else if (!timer_) {
        timer_ = loop_->After(kDrainPollMs, [this] {
            timer_ = 0;
            Step();
        });
    }
}

void Runner::RunLine(const std::string &line)
{
    lineNumber_++;
    Words words;
    std::string error;
    current_ = line;
    const bool split = SplitWords(line, &words, &error);
    if (split && words.empty()) return;
    if (!rules_.interactive)
        journal_->Emit("command", {TextField("command", line), NumberField("line", static_cast<int64_t>(lineNumber_))});
    if (split)
        Settle(execute_(words));
    else
        Fail(error);
}

void Runner::Settle(Outcome outcome)
{
    switch (outcome.kind) {
    case Outcome::Done: Succeed(); return;
    case Outcome::Failed: Fail(outcome.reason); return;
    case Outcome::Quit: Finish(outcome.status); return;
    case Outcome::Sleep:
        state_ = State::Sleeping;
        timer_ = loop_->After(outcome.sleepMs, [this] {
            timer_ = 0;
            Succeed();
            Wake();
        });
        return;
    case Outcome::Wait:
        wait_ = std::move(outcome);
        state_ = State::Waiting;
        timer_ = loop_->After(wait_.wait.timeoutMs, [this] {
            timer_ = 0;
            const std::string seconds = std::to_string(static_cast<double>(wait_.wait.timeoutMs) / 1000);
            Fail(wait_.reason.empty() ? "no " + WaitText(wait_.wait) + " within " + seconds.substr(0, 6) + " s"
                                      : wait_.reason);
            Wake();
        });
        return;
    }
}

// The event that a command waited for has happened.
void Runner::Took()
{
    if (timer_) loop_->Cancel(timer_);
    timer_ = 0;
    state_ = State::Ready;
    const auto then = std::move(wait_.then);
    Settle(then ? then(*journal_->Log().Taken()) : Outcome::Ok());
}

void Runner::Succeed()
{
    if (timer_) loop_->Cancel(timer_);
    timer_ = 0;
    state_ = State::Ready;
    // People see the effect; a program needs to know when it may send the next command.
    if (journal_->Style().json) journal_->Emit("done", {TextField("command", current_)});
}

void Runner::Fail(const std::string &reason)
{
    state_ = State::Ready;
    if (!rules_.interactive) failures_++;
    journal_->Emit("failed", {TextField("command", current_), TextField("reason", reason)});
    if (rules_.strict) Finish(1);
}

void Runner::Finish(int status)
{
    if (state_ == State::Finished) return;
    state_ = State::Finished;
    if (timer_) loop_->Cancel(timer_);
    lines_.clear();
    finish_(status);
}

} // namespace sim
