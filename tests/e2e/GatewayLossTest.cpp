// Nothing that a router was told is stored gets lost, or is stored twice, when what stores it dies; and meanwhile each
// question is answered by its router, at most once. scripts/gateway-loss.sh runs it with as many routers as wanted.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <map>
#include <pthread.h>
#include <sys/mount.h>
#include <thread>

#include "tests/e2e/GatewayLoss.h"

using namespace loss;

namespace
{
constexpr unsigned kReportsASecond = 2500;      // of all of them, so that much is still to come when something dies
constexpr double kAway = 1.5;                   // seconds without what has died
constexpr double kUnderWay = 5, kNoticed = 0.5; // of a question when something dies: it may have no answer
constexpr size_t kStack = 256 * 1024;

unsigned Wanted(const char *name, unsigned otherwise)
{
    const char *given = getenv(name);
    return given ? static_cast<unsigned>(std::stoul(given)) : otherwise;
}

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
