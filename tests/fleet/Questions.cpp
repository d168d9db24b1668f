#include "tests/fleet/Questions.h"

#include <asio/post.hpp>
#include <random>

#include "tests/support/Within.h"
#include "tests/unit/gateway/bus/Context.h"

static constexpr char kFunction[] = "router-version";
static constexpr char kGood[] = "\"ok\":true";
static constexpr int kPatienceMs = 30000;
static constexpr unsigned kWarmUp = 50;

static std::string SubjectOf(unsigned router)
{
    return "plug." + FactsOf(router).serial + ".ask." + kFunction;
}

static bool IsGood(const std::string &answer)
{
    return answer.find(kGood) != std::string::npos;
}

Latencies AskOneByOne(Lab &lab, unsigned count)
{
    Context context;
    gateway::Bus other(lab.BusAt()); // who answers the bare requests
    const std::string subject = other.NewInbox();
    const std::string text(300, 'x'); // about as long as an answer
    const auto echo = other.Subscribe(subject, "", context.io,
                                      [&](const gateway::Message &message) { other.Publish(message.reply, text); });
    std::minstd_rand random(2);
    std::uniform_int_distribution<unsigned> any(0, lab.Fleet().Size() - 1);
    const auto timed = [&](const std::string &to, std::string *answer) {
        const auto begin = FleetClock::now();
        *answer = lab.Bus().Request(to, "", kPatienceMs).value_or("");
        return 1000 * SecondsSince(begin);
    };
    Latencies latencies;
    for (unsigned i = 0; i < count + kWarmUp; i++) {
        std::string answer;
        const double ms = timed(SubjectOf(any(random)), &answer);
        const bool good = IsGood(answer);
        const double bareMs = timed(subject, &answer);
        if (!good || answer != text) latencies.failed++;
        if (i >= kWarmUp) {
            latencies.routers.push_back(ms);
            latencies.bare.push_back(bareMs);
        }
        Sleep(0.002); // for the rest of the fleet
    }
    return latencies;
}

Answers AskMany(Lab &lab, unsigned atOnce, double seconds)
{
    gateway::Bus bus(lab.BusAt());
    const std::string inbox = bus.NewInbox();
    Answers answers;
    std::atomic<unsigned> waiting{atOnce};
    unsigned next = 0;
    const auto begin = FleetClock::now();
    Context context;
    const auto ask = [&] {
        bus.Publish(SubjectOf(next), "", inbox);
        next = (next + 1) % lab.Fleet().Size();
    };
    const auto replies = bus.Subscribe(inbox, "", context.io, [&](const gateway::Message &message) {
        (IsGood(message.data) ? answers.good : answers.failed)++;
        if (SecondsSince(begin) < seconds)
            ask();
        else
            waiting--;
    });
    asio::post(context.io, [&] {
        for (unsigned i = 0; i < atOnce; i++) ask();
    });
    const bool all = Within(seconds + kPatienceMs / 1000, [&] { return waiting == 0; });
    answers.seconds = SecondsSince(begin);
    context.End();
    if (!all) answers.failed += waiting;
    return answers;
}

SteadyQuestions::SteadyQuestions(Lab &lab, double perSecond)
    : lab_(lab), perSecond_(perSecond), thread_([this] { Run(); })
{
}

SteadyQuestions::~SteadyQuestions()
{
    stop_ = true;
    thread_.join();
}

void SteadyQuestions::Run()
{
    std::minstd_rand random(3);
    std::uniform_int_distribution<unsigned> any(0, lab_.Fleet().Size() - 1);
    const auto begin = FleetClock::now();
    for (uint64_t asked = 0; !stop_; asked++) {
        const double early = static_cast<double>(asked) / perSecond_ - SecondsSince(begin);
        if (early > 0) Sleep(early);
        (IsGood(lab_.Bus().Request(SubjectOf(any(random)), "", kPatienceMs).value_or("")) ? good_ : failed_)++;
    }
}
