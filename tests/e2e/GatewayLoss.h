// GatewayLoss.h - the traffic of GatewayLossTest: routers that report and answer all the time, and one who asks them.
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <cstdio>
#include <mutex>
#include <random>
#include <thread>
#include <unistd.h>

#include "platform/Frame.h"
#include "tests/e2e/Gateway.h"
#include "tests/support/Within.h"

namespace loss
{

using gateway::Json;

constexpr unsigned kAtOnce = 5; // reports of one router
constexpr unsigned kQuestionsASecond = 200;

inline double Now()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// What a router answers to a question, which is known by its number.
inline std::string NameFor(unsigned router, unsigned question)
{
    return FactsOf(router).serial + " answers " + std::to_string(question);
}

// Sends numbered reports, some at once, and never one again: what was not acknowledged when the session ends is given
// up. Answers questions all the time.
class Reporter
{
  public:
    struct Burst {
        unsigned first, count, acknowledged;
    };

    Reporter(unsigned number, unsigned reports, double pause, std::vector<std::string> gateways)
        : number_(number), reports_(reports), pause_(pause), gateways_(std::move(gateways)), router_(FactsOf(number)),
          thread_([this] { Run(); })
    {
    }
    ~Reporter() { End(); }
    void Stop() { stop_ = true; }
    void End()
    {
        Stop();
        if (thread_.joinable()) thread_.join();
    }
    bool Online() const { return online_; }
    unsigned Acknowledged() const { return acknowledged_; }
    unsigned GivenUp() const { return givenUp_; }
    unsigned Settled() const { return acknowledged_ + givenUp_; }
    const std::vector<Burst> &Bursts() const { return bursts_; } // once it has ended
    const std::vector<unsigned> &Asked() const { return asked_; }

  private:
    void Run()
    {
        // Not all at the same time.
        std::minstd_rand generator(number_ + 1);
        std::uniform_real_distribution<double> some(0, 2 * pause_);
        for (unsigned first = 0; first < reports_ && !stop_; first += kAtOnce) {
            BeOnline();
            Attend(some(generator), UINT_MAX);
            BeOnline();
            Burst burst = {first, std::min(kAtOnce, reports_ - first), 0};
            for (unsigned i = 0; i < burst.count; i++)
                router_.SendReport(R"({"MAC":")" + std::to_string(first + i) + R"("})");
            burst.acknowledged = Attend(20, burst.count);
            if (burst.acknowledged < burst.count) online_ = false;
            acknowledged_ += burst.acknowledged;
            givenUp_ += burst.count - burst.acknowledged;
            bursts_.push_back(burst);
        }
        while (!stop_) {
            BeOnline();
            Attend(1, UINT_MAX);
        }
    }

    void BeOnline()
    {
        while (!online_ && !stop_) {
            tries_++;
            online_ = router_.Register(gateways_[(number_ + tries_) % gateways_.size()]) && router_.Login();
            if (!online_) usleep(100000);
        }
    }

    // Takes what comes for so long, or until that many reports are acknowledged. Returns how many are.
    unsigned Attend(double seconds, unsigned reports)
    {
        unsigned acknowledged = 0;
        const double end = Now() + seconds;
        while (online_ && !stop_ && acknowledged < reports && Now() < end) {
            const double limit = std::min(end, Now() + 0.5);
            const auto frame = router_.Read(std::max(0.0, limit - Now()));
            if (!frame)
                online_ = Now() > limit - 0.01; // nothing has come; earlier, it is closed
            else if (frame->header.msgType == MSG_ACK)
                acknowledged++;
            else
                Answer(*frame);
        }
        return acknowledged;
    }

    void Answer(const protocol::ParsedFrame &frame)
    {
        const protocol::Bytes &payload = frame.payload; // a MAC behind 10 bytes, whose last four are the number
        if (frame.header.msgType != MSG_FUNCTION_COMMAND || payload.size() < 16) return;
        unsigned question = 0;
        for (size_t i = 12; i < 16; i++) question = question << 8 | payload[i];
        asked_.push_back(question);
        protocol::Bytes name = protocol::ToBytes(NameFor(number_, question));
        name.resize(64);
        router_.Reply(frame, name);
    }

    const unsigned number_, reports_;
    const double pause_;
    const std::vector<std::string> gateways_;
    GatewayRouter router_;
    unsigned tries_ = 0;
    std::vector<Burst> bursts_;
    std::vector<unsigned> asked_; // what it was asked, in this order
    std::atomic<unsigned> acknowledged_{0}, givenUp_{0};
    std::atomic<bool> online_{false}, stop_{false};
    std::thread thread_; // last: it uses the others
};

// Puts questions to one router after the other, and takes whatever is answered.
class Asker
{
  public:
    struct Question {
        unsigned router;
        bool amidst; // something is dead
        double put;
        unsigned answers = 0;
        bool right = false, wrong = false; // the router's own answer; another router's, or to another question
        std::string error = {};            // in place of an answer
    };

    Asker(gateway::Bus &bus, unsigned routers)
        : bus_(bus), routers_(routers), inbox_(bus.NewInbox()),
          answers_(bus.Subscribe(inbox_ + ".*", "", context_.io, [this](const auto &message) { Take(message); }))
    {
    }
    ~Asker()
    {
        End();
        answers_.reset();
        context_.End();
    }
    void Begin()
    {
        thread_ = std::thread([this] {
            for (unsigned i = 0; !stop_; i++) {
                Ask(i % routers_);
                usleep(1000000 / kQuestionsASecond);
            }
        });
    }
    void End()
    {
        stop_ = true;
        if (thread_.joinable()) thread_.join();
    }
    void SetAmidst(bool amidst) { amidst_ = amidst; }
    // To each router once. Returns how many have answered rightly.
    unsigned AskEach()
    {
        const size_t first = All().size();
        for (unsigned i = 0; i < routers_; i++) Ask(i);
        unsigned right = 0;
        Within([&] {
            const auto all = All();
            right = 0;
            unsigned answered = 0;
            for (size_t i = first; i < all.size(); i++) {
                right += all[i].right;
                answered += all[i].answers > 0;
            }
            return answered == routers_;
        });
        return right;
    }
    std::vector<Question> All()
    {
        const std::lock_guard<std::mutex> hold(lock_);
        return questions_;
    }

  private:
    void Ask(unsigned router)
    {
        unsigned number;
        const bool amidst = amidst_;
        {
            const std::lock_guard<std::mutex> hold(lock_);
            number = static_cast<unsigned>(questions_.size());
            questions_.push_back({router, amidst, Now()});
        }
        char mac[64];
        snprintf(mac, sizeof mac, R"({"mac":"02:00:%02x:%02x:%02x:%02x"})", number >> 24, number >> 16 & 255,
                 number >> 8 & 255, number & 255);
        const bool put = bus_.Publish("plug." + FactsOf(router).serial + ".ask.device-name", mac,
                                      inbox_ + "." + std::to_string(number));
        EXPECT_TRUE(put || amidst); // a connection that has just broken takes nothing
    }
    void Take(const gateway::Message &message)
    {
        const auto number = static_cast<unsigned>(std::stoul(message.subject.substr(inbox_.size() + 1)));
        const Json answer = Json::parse(message.data, nullptr, false);
        const std::lock_guard<std::mutex> hold(lock_);
        Question &question = questions_.at(number);
        question.answers++;
        if (!answer.is_object())
            question.error = "by the NATS server: no gateway is there";
        else if (!answer.value("ok", false))
            question.error = "by a gateway: " + answer["error"]["code"].get<std::string>();
        else
            (answer["fields"].value("name", "") == NameFor(question.router, number) ? question.right : question.wrong) =
                true;
    }

    gateway::Bus &bus_;
    const unsigned routers_;
    const std::string inbox_;
    std::mutex lock_;
    std::vector<Question> questions_;
    std::atomic<bool> stop_{false}, amidst_{false};
    Context context_;
    std::unique_ptr<gateway::Subscription> answers_;
    std::thread thread_;
};

} // namespace loss
