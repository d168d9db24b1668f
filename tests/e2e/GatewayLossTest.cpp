// Nothing that a router was told is stored gets lost, or is stored twice, when what stores it dies; and meanwhile each
// question is answered by its router, at most once. scripts/gateway-loss.sh runs it with as many routers as wanted.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdio>
#include <map>
#include <pthread.h>
#include <random>
#include <sys/mount.h>
#include <thread>
#include <unistd.h>

#include "platform/Frame.h"
#include "tests/e2e/Gateway.h"
#include "tests/support/Within.h"

using gateway::Json;

namespace
{
constexpr unsigned kAtOnce = 5;            // reports of one router
constexpr unsigned kReportsASecond = 2500; // of all of them, so that much is still to come when something dies
constexpr unsigned kQuestionsASecond = 200;
constexpr double kAway = 1.5;                   // seconds without what has died
constexpr double kUnderWay = 5, kNoticed = 0.5; // of a question when something dies: it may have no answer
constexpr size_t kStack = 256 * 1024;

double Now()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

unsigned Wanted(const char *name, unsigned otherwise)
{
    const char *given = getenv(name);
    return given ? static_cast<unsigned>(std::stoul(given)) : otherwise;
}

// What a router answers to a question, which is known by its number.
std::string NameFor(unsigned router, unsigned question)
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

// Before the message system starts, which looks how much room it has.
struct Room {
    Room()
    {
        EXPECT_EQ(0, mount("tmpfs", "/tmp", "tmpfs", MS_REMOUNT | MS_NOSUID | MS_NODEV, "size=1g"));
        pthread_attr_t small;
        pthread_attr_init(&small);
        pthread_attr_setstacksize(&small, kStack);
        pthread_setattr_default_np(&small); // a thread for each router
        pthread_attr_destroy(&small);
    }
};

struct GatewayLoss : Room, GatewayTest {
    const unsigned routers = Wanted("PLUG_LOSS_AGENTS", 100), all = Wanted("PLUG_LOSS_REPORTS", 10000);
    const double begin = Now();
    std::unique_ptr<GatewayProgram> gateways[2];
    std::vector<std::unique_ptr<Reporter>> reporters;
    std::unique_ptr<Asker> asker;
    unsigned died = 0; // gateways
    std::vector<double> deaths;

    // Reports that are acknowledged, or that their routers have given up.
    unsigned Settled() const
    {
        unsigned sum = 0;
        for (const auto &reporter : reporters) sum += reporter->Settled();
        return sum;
    }
    void Say(const char *what) const
    {
        printf("  %6.1f s  %6u of %u reports settled  %s\n", Now() - begin, Settled(), all, what);
        fflush(stdout);
    }
    void Until(double share)
    {
        double said = Now();
        const unsigned wanted = static_cast<unsigned>(share * all);
        const bool reached = Within(120 + all / 200, [&] {
            if (Now() > said + 5) {
                Say("");
                said = Now();
            }
            return Settled() >= wanted;
        });
        if (!reached) throw Failure(std::to_string(Settled()) + " reports, and no more");
    }
    // What is dead comes back.
    void Back(const char *what)
    {
        for (unsigned i = 0; i < 2; i++)
            if (!gateways[i]) gateways[i] = std::make_unique<GatewayProgram>(nats_, GatewayOptions{i});
        asker->SetAmidst(false);
        EXPECT_LT(Settled(), all) << what << ": it was under way";
        Say(what);
    }
    void Amidst(const char *what)
    {
        asker->SetAmidst(true);
        Say(what);
    }
    void KillServer(const char *what)
    {
        Amidst(what);
        nats_.Kill();
        deaths.push_back(Now());
    }
    void KillGateway(unsigned i, const char *what)
    {
        Amidst(what);
        deaths.push_back(Now());
        gateways[i]->Program().Signal(SIGKILL);
        gateways[i].reset();
        died++;
    }
    void Away() { std::this_thread::sleep_for(std::chrono::duration<double>(kAway)); }

    void Disturb()
    {
        // It hangs until reports are sent to it again, and has them twice then.
        Until(0.10);
        Amidst("the NATS server hangs");
        kill(nats_.Id(), SIGSTOP);
        Away();
        kill(nats_.Id(), SIGCONT);
        Back("the NATS server goes on");
        Until(0.25);
        KillServer("the NATS server is killed");
        Away();
        nats_.Start();
        Back("the NATS server is back");
        Until(0.40);
        KillGateway(1, "the second gateway is killed");
        Away();
        Back("the second gateway is back");
        // A gateway in which reports wait.
        Until(0.55);
        KillServer("the NATS server is killed");
        Away(); // each router has sent its next reports
        KillGateway(1, "the second gateway is killed");
        nats_.Start();
        Back("both are back");
        Until(0.70);
        KillGateway(0, "the first gateway is killed");
        Away();
        Back("the first gateway is back");
        Until(0.85);
        KillServer("the NATS server is killed");
        Away();
        nats_.Start();
        Back("the NATS server is back");
        Until(1);
        Say("");
    }

    void JudgeReports();
    void JudgeQuestions();
};

void Row(const char *what, size_t count)
{
    printf("  %-58s %8zu\n", what, count);
}

void GatewayLoss::JudgeReports()
{
    std::map<std::pair<std::string, unsigned>, unsigned> stored; // router and number
    const int messages = Stored();
    for (int i = 1; i <= messages; i++) {
        const auto text = bus_->Request("$JS.API.DIRECT.GET.PLUG_REPORTS", Json{{"seq", i}}.dump(), 5000);
        const Json report = Json::parse(text.value_or(""), nullptr, false);
        ASSERT_TRUE(report.is_object() && report.contains("fields")) << i << ": " << text.value_or("nothing");
        stored[{report["serial"], static_cast<unsigned>(std::stoul(report["fields"]["MAC"].get<std::string>()))}]++;
    }
    // An acknowledgement does not say of which report it is: those of one burst are counted.
    size_t sent = 0, acknowledged = 0, lost = 0, twice = 0;
    for (unsigned i = 0; i < routers; i++)
        for (const Reporter::Burst &burst : reporters[i]->Bursts()) {
            size_t found = 0;
            for (unsigned n = burst.first; n < burst.first + burst.count; n++)
                found += stored.count({FactsOf(i).serial, n});
            sent += burst.count;
            acknowledged += burst.acknowledged;
            if (found < burst.acknowledged) lost += burst.acknowledged - found;
        }
    for (const auto &report : stored) twice += report.second > 1;
    Row("reports sent", sent);
    Row("  acknowledged", acknowledged);
    Row("  not acknowledged when the session ended", sent - acknowledged);
    Row("  in the stream", stored.size());
    Row("  in the stream twice", twice);
    Row("  acknowledged, and not in the stream", lost);
    EXPECT_EQ(all, sent);
    EXPECT_EQ(0u, lost);
    EXPECT_EQ(0u, twice);
    EXPECT_LE(acknowledged, stored.size());
    // A gateway that dies takes what it has not stored yet, of its own routers only; the server takes nothing.
    EXPECT_GT(sent, acknowledged);
    EXPECT_LE(sent - acknowledged, died * routers * kAtOnce);
}

void GatewayLoss::JudgeQuestions()
{
    const std::vector<Asker::Question> questions = asker->All();
    std::vector<unsigned> put(questions.size());
    size_t elsewhere = 0, amidst = 0, answeredAmidst = 0, right = 0, wrong = 0, twice = 0, putTwice = 0, silent = 0,
           forgotten = 0;
    for (unsigned i = 0; i < routers; i++)
        for (const unsigned number : reporters[i]->Asked()) {
            const bool known = number < questions.size();
            elsewhere += !known || questions[number].router != i;
            if (known) putTwice += ++put[number] == 2;
        }
    std::map<std::string, size_t> refused;
    for (const Asker::Question &question : questions) {
        amidst += question.amidst;
        answeredAmidst += question.amidst && question.right;
        right += question.right;
        wrong += question.wrong;
        twice += question.answers > 1;
        if (question.answers == 0) {
            silent++;
            forgotten += std::none_of(deaths.begin(), deaths.end(), [&](double death) {
                return question.put > death - kUnderWay && question.put < death + kNoticed;
            });
        }
        if (!question.error.empty()) refused[question.error]++;
    }
    Row("questions put", questions.size());
    Row("  while something was dead", amidst);
    Row("  answered by the router that was asked", right);
    Row("  of them, put while something was dead", answeredAmidst);
    for (const auto &[error, count] : refused) Row(("  refused " + error).c_str(), count);
    Row("  without an answer", silent);
    Row("  of them, put at another time than when something died", forgotten);
    Row("  answered twice", twice);
    Row("  answered by the wrong router, or the answer of another one", wrong);
    Row("  put to the router twice", putTwice);
    Row("  put to the wrong router", elsewhere);
    EXPECT_EQ(0u, twice + wrong + putTwice + elsewhere + forgotten);
    EXPECT_GT(answeredAmidst, 0u);
    EXPECT_GT(right, questions.size() / 2);
}

TEST_F(GatewayLoss, WhatRoutersWereAcknowledgedIsInTheStreamOnceAndEachQuestionIsAnsweredOnceThoughServerAndGatewayDie)
{
    all_.reset(); // nobody but gateways has the questions
    AddDevices(routers);
    for (unsigned i = 0; i < 2; i++) gateways[i] = std::make_unique<GatewayProgram>(nats_, GatewayOptions{i});
    const double pause = double{kAtOnce} * routers / kReportsASecond;
    for (unsigned i = 0; i < routers; i++)
        reporters.push_back(
            std::make_unique<Reporter>(i, all / routers + (i < all % routers), pause,
                                       std::vector{gateways[0]->RegisterAt(), gateways[1]->RegisterAt()}));
    asker = std::make_unique<Asker>(*bus_, routers);
    ASSERT_TRUE(Within(60, [&] {
        return std::all_of(reporters.begin(), reporters.end(), [](const auto &reporter) { return reporter->Online(); });
    }));
    Say("all routers are online");
    asker->Begin();
    Disturb();
    asker->End();
    // Everybody is there again.
    unsigned answered = 0;
    EXPECT_TRUE(Within(60, [&] { return (answered = asker->AskEach()) == routers; })) << answered;
    for (const auto &reporter : reporters) reporter->Stop();
    for (const auto &reporter : reporters) reporter->End();
    JudgeReports();
    JudgeQuestions();
}

// Long before the others miss it.
TEST_F(GatewayTest, AQuestionToARouterWhoseGatewayHasJustDiedIsRefusedAtOnce)
{
    AddDevices(1);
    GatewayProgram first(nats_, {0});
    auto second = std::make_unique<GatewayProgram>(nats_, GatewayOptions{1});
    GatewayRouter router(FactsOf(0));
    ASSERT_TRUE(router.Register() && router.Login(second->LoginAt()));
    router.Serve();
    const auto ask = [&](const char *what) { return bus_->Request(std::string("plug.R0.") + what, "", 3000); };
    // Both know where it is: either answers.
    ASSERT_TRUE(Within([&] {
        int good = 0;
        for (int i = 0; i < 20; i++) good += ask("ask.led").value_or("").find("\"ok\":true") != std::string::npos;
        return good == 20;
    }));
    second->Program().Signal(SIGKILL);
    EXPECT_EQ(128 + SIGKILL, second->Program().WaitExit(kPatience).value_or(-1));
    for (const char *what : {"ask.led", "command.online"})
        EXPECT_EQ(R"({"ok":false,"error":{"code":"offline","sentence":"the router is not online"}})",
                  ask(what).value_or("nothing"));
}
} // namespace
