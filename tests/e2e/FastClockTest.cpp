// FastClockTest.cpp - the preload library that lets end-to-end tests wait for hours within seconds.
//
// This is a test of a clock, so it needs real time; the calls under test wait ten fast seconds, which are 10 ms at
// the factor used here. A call that the library missed would wait 8 real seconds and be killed.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

namespace
{
constexpr int64_t SECOND = 1000000000;
constexpr int64_t FACTOR = 1000;
constexpr int64_t WAIT = 10 * SECOND;
constexpr int64_t HOUR = 3600 * SECOND;

struct ProbeResult {
    int status = -1; // exit status, -1 when killed
    std::string output;
    // The numbers of "name number name number ...".
    int64_t operator[](const std::string &name) const
    {
        std::istringstream words(output);
        std::string word;
        while (words >> word) {
            int64_t number;
            if (word == name && words >> number) return number;
            words.clear();
        }
        ADD_FAILURE() << "no " << name << " in: " << output;
        return INT64_MIN;
    }
};

// Runs the probe under the library. settings: "NAME=value" words for its environment, quoted for the shell.
ProbeResult Probe(const std::string &arguments, const std::string &settings = "FASTCLOCK_FACTOR=1000")
{
    const std::string command = "exec env -u FASTCLOCK_FACTOR -u FASTCLOCK_ANCHOR LD_PRELOAD='" FASTCLOCK_LIBRARY "' " +
                                settings + " '" FASTCLOCK_PROBE "' " + arguments + " 2>&1";
    ProbeResult result;
    FILE *pipe = popen(command.c_str(), "r");
    if (!pipe) return result;
    char part[256];
    while (fgets(part, sizeof part, pipe)) result.output += part;
    const int status = pclose(pipe);
    if (WIFEXITED(status)) result.status = WEXITSTATUS(status);
    return result;
}

int64_t RealMonotonic()
{
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec * SECOND + t.tv_nsec;
}

std::string Anchor(int64_t realtime, int64_t monotonic)
{
    return "FASTCLOCK_ANCHOR='" + std::to_string(realtime) + " " + std::to_string(monotonic) + "'";
}

struct Call {
    const char *name;
    int64_t result; // when the wait has ended as it should
};

void PrintTo(const Call &call, std::ostream *out)
{
    *out << call.name;
}

std::string TestName(const testing::TestParamInfo<Call> &call)
{
    std::string name = call.param.name;
    for (char &c : name) c = isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name;
}

class FastClockWait : public testing::TestWithParam<Call>
{
};

TEST_P(FastClockWait, LastsItsTimeOnTheFastClockAndAThousandthOfItInReality)
{
    const ProbeResult probe = Probe(std::string("call ") + GetParam().name);
    ASSERT_EQ(0, probe.status) << probe.output;
    EXPECT_EQ(GetParam().result, probe["result"]);
    EXPECT_GE(probe["late"], 0) << "returned before its deadline";
    EXPECT_GE(probe["fast"], WAIT);
    EXPECT_LT(probe["inner"], WAIT / 2) << "waited in real time";
    EXPECT_GE(probe["fast"], probe["inner"] * FACTOR);
    EXPECT_LE(probe["fast"], probe["outer"] * FACTOR);
}

INSTANTIATE_TEST_SUITE_P(
    , FastClockWait,
    testing::Values(Call{"nanosleep", 0}, Call{"sleep", 0}, Call{"usleep", 0}, Call{"std::sleep_for", 0},
                    Call{"clock_nanosleep:monotonic", 0}, Call{"clock_nanosleep:realtime", 0},
                    Call{"clock_nanosleep:boottime", 0}, Call{"clock_nanosleep:until:monotonic", 0},
                    Call{"clock_nanosleep:until:realtime", 0}, Call{"clock_nanosleep:until:boottime", 0},
                    Call{"poll", 0}, Call{"ppoll", 0}, Call{"__poll_chk", 0}, Call{"__ppoll_chk", 0}, Call{"select", 0},
                    Call{"pselect", 0}, Call{"epoll_wait", 0}, Call{"epoll_pwait", 0}, Call{"epoll_pwait2", 0},
                    Call{"cond_timedwait:monotonic", ETIMEDOUT}, Call{"cond_timedwait:realtime", ETIMEDOUT},
                    Call{"cond_timedwait:static", ETIMEDOUT}, Call{"cond_clockwait:monotonic", ETIMEDOUT},
                    Call{"cond_clockwait:realtime", ETIMEDOUT}, Call{"std::condition_variable", 0},
                    Call{"mutex_timedlock", ETIMEDOUT}, Call{"mutex_clocklock", ETIMEDOUT},
                    Call{"sem_timedwait", -ETIMEDOUT}, Call{"sem_clockwait", -ETIMEDOUT}),
    TestName);

class FastClockWake : public testing::TestWithParam<Call>
{
};

TEST_P(FastClockWake, EndsAWaitOfAnHourOrOfAnyLengthAtOnce)
{
    const ProbeResult probe = Probe(std::string("call ") + GetParam().name);
    ASSERT_EQ(0, probe.status) << probe.output;
    EXPECT_EQ(GetParam().result, probe["result"]);
    EXPECT_LT(probe["fast"], HOUR);
}

INSTANTIATE_TEST_SUITE_P(, FastClockWake,
                         testing::Values(Call{"poll:woken", 1}, Call{"poll:forever", 1}, Call{"ppoll:woken", 1},
                                         Call{"ppoll:forever", 1}, Call{"__poll_chk:forever", 1},
                                         Call{"__ppoll_chk:forever", 1}, Call{"select:woken", 1},
                                         Call{"select:forever", 1}, Call{"pselect:woken", 1},
                                         Call{"pselect:forever", 1}, Call{"epoll_wait:woken", 1},
                                         Call{"epoll_wait:forever", 1}, Call{"epoll_pwait:woken", 1},
                                         Call{"epoll_pwait:forever", 1}, Call{"epoll_pwait2:forever", 1},
                                         Call{"cond_timedwait:monotonic:woken", 0},
                                         Call{"cond_timedwait:realtime:woken", 0}, Call{"sem_timedwait:woken", 0}),
                         TestName);

class FastClockRest : public testing::TestWithParam<Call>
{
};

TEST_P(FastClockRest, IsToldInFastTimeWhenAWaitEndsEarly)
{
    const ProbeResult probe = Probe(std::string("call ") + GetParam().name);
    ASSERT_EQ(0, probe.status) << probe.output;
    EXPECT_EQ(GetParam().result, probe["result"]);
    const int64_t whole = HOUR, unit = std::string(GetParam().name) == "sleep:interrupted" ? SECOND : 1000;
    EXPECT_LT(probe["left"], whole);
    EXPECT_GT(probe["left"] + probe["fast"], whole - unit); // rounded down to its unit
}

INSTANTIATE_TEST_SUITE_P(, FastClockRest,
                         testing::Values(Call{"nanosleep:interrupted", -EINTR}, Call{"sleep:interrupted", 0},
                                         Call{"select:woken", 1}),
                         TestName);

TEST(FastClock, RunsEveryFineClockExactlyFactorTimesFaster)
{
    for (const char *clock : {"monotonic", "realtime", "boottime", "monotonic_raw"}) {
        const ProbeResult probe = Probe(std::string("span ") + clock);
        ASSERT_EQ(0, probe.status) << probe.output;
        EXPECT_GE(probe["fast"], probe["inner"] * FACTOR) << clock;
        EXPECT_LE(probe["fast"], probe["outer"] * FACTOR) << clock;
    }
}

TEST(FastClock, RunsCoarseClocksFactorTimesFasterWithinATickOfTheKernel)
{
    const int64_t tick = 10000000;
    for (const char *clock : {"monotonic_coarse", "realtime_coarse"}) {
        const ProbeResult probe = Probe(std::string("span ") + clock);
        ASSERT_EQ(0, probe.status) << probe.output;
        EXPECT_GE(probe["fast"], (probe["inner"] - tick) * FACTOR) << clock;
        EXPECT_LE(probe["fast"], (probe["outer"] + tick) * FACTOR) << clock;
    }
}

TEST(FastClock, NeverGoesBack)
{
    const ProbeResult probe = Probe("steps");
    ASSERT_EQ(0, probe.status) << probe.output;
    EXPECT_EQ(0, probe["back"]);
}

TEST(FastClock, LeavesCpuTimeAlone)
{
    const ProbeResult probe = Probe("read process_cpu process_cpu");
    ASSERT_EQ(0, probe.status) << probe.output;
    EXPECT_GE(probe["fast"], probe["before"]);
    EXPECT_LE(probe["fast"], probe["after"]);
}

TEST(FastClock, CountsFromTheAnchorThatItIsGiven)
{
    const int64_t date = 1000000000 * SECOND; // 9 September 2001, 01:46:40 UTC
    const int64_t start = RealMonotonic();
    const std::string settings = "FASTCLOCK_FACTOR=1000 " + Anchor(date, start);
    const ProbeResult realtime = Probe("read realtime", settings);
    EXPECT_GE(realtime["fast"], date + (realtime["before"] - start) * 1000);
    EXPECT_LE(realtime["fast"], date + (realtime["after"] - start) * 1000);
    const ProbeResult monotonic = Probe("read monotonic", settings); // another process, the same anchor
    EXPECT_GE(monotonic["fast"], start + (monotonic["before"] - start) * 1000);
    EXPECT_LE(monotonic["fast"], start + (monotonic["after"] - start) * 1000);
}

TEST(FastClock, AlsoWaitsForDeadlinesOfAnAnchoredDate)
{
    const std::string settings = "FASTCLOCK_FACTOR=1000 " + Anchor(1000000000 * SECOND, RealMonotonic());
    for (const char *call : {"cond_timedwait:realtime", "clock_nanosleep:until:realtime", "sem_timedwait"}) {
        const ProbeResult probe = Probe(std::string("call ") + call, settings);
        ASSERT_EQ(0, probe.status) << call << probe.output;
        EXPECT_GE(probe["late"], 0) << call;
        EXPECT_GE(probe["fast"], WAIT) << call;
        EXPECT_LT(probe["inner"], WAIT / 2) << call;
    }
}

TEST(FastClock, ShiftsTheDateAndNothingElseByTheFileThatItIsGiven)
{
    char path[] = "/tmp/fastclock-shift-XXXXXX";
    const int fd = mkstemp(path);
    const int64_t date = 1000000000 * SECOND, start = RealMonotonic();
    const std::string settings =
        "FASTCLOCK_FACTOR=1000 " + Anchor(date, start) + " FASTCLOCK_SHIFT='" + std::string(path) + "'";
    for (const int64_t shift : {24 * HOUR, int64_t{0}, -date}) {
        ASSERT_EQ(static_cast<ssize_t>(sizeof shift), pwrite(fd, &shift, sizeof shift, 0));
        const ProbeResult realtime = Probe("read realtime", settings);
        EXPECT_GE(realtime["fast"], date + shift + (realtime["before"] - start) * 1000);
        EXPECT_LE(realtime["fast"], date + shift + (realtime["after"] - start) * 1000);
        const ProbeResult monotonic = Probe("read monotonic", settings);
        EXPECT_GE(monotonic["fast"], start + (monotonic["before"] - start) * 1000);
        EXPECT_LE(monotonic["fast"], start + (monotonic["after"] - start) * 1000);
        const ProbeResult wait = Probe("call cond_timedwait:realtime", settings);
        EXPECT_GE(wait["late"], 0);
        EXPECT_LT(wait["inner"], WAIT / 2);
    }
    close(fd);
    unlink(path);
}

TEST(FastClock, SetsTheDateOfAProcessThatRuns)
{
    char path[] = "/tmp/fastclock-shift-XXXXXX";
    const int fd = mkstemp(path);
    const int64_t none = 0;
    ASSERT_EQ(static_cast<ssize_t>(sizeof none), pwrite(fd, &none, sizeof none, 0));
    const ProbeResult probe =
        Probe(std::string("shift ") + path, "FASTCLOCK_FACTOR=1000 FASTCLOCK_SHIFT=" + std::string(path));
    close(fd);
    unlink(path);
    ASSERT_EQ(0, probe.status) << probe.output;
    EXPECT_GE(probe["forth"], 24 * HOUR);
    EXPECT_LT(probe["back"], -23 * HOUR);
}

TEST(FastClock, TakesDecimalFactorsAndSlowsDownBelowOne)
{
    const int64_t start = RealMonotonic();
    const ProbeResult more = Probe("read monotonic", "FASTCLOCK_FACTOR=2.5 " + Anchor(0, start));
    EXPECT_GE(more["fast"], start + (more["before"] - start) * 5 / 2);
    EXPECT_LE(more["fast"], start + (more["after"] - start) * 5 / 2);
    const ProbeResult less = Probe("read monotonic", "FASTCLOCK_FACTOR=0.125 " + Anchor(0, start));
    EXPECT_GE(less["fast"], start + (less["before"] - start) / 8);
    EXPECT_LE(less["fast"], start + (less["after"] - start) / 8);
}

TEST(FastClock, StartsAtTheRealDateAndHandsItsAnchorToChildren)
{
    const int64_t realtime = time(nullptr) * SECOND, monotonic = RealMonotonic();
    const ProbeResult child = Probe("child");
    ASSERT_EQ(0, child.status) << child.output;
    long long date = 0, start = 0;
    const size_t at = child.output.find("anchor ");
    ASSERT_NE(std::string::npos, at);
    ASSERT_EQ(2, sscanf(child.output.c_str() + at, "anchor %lld %lld", &date, &start)) << child.output;
    EXPECT_GE(date, realtime);
    EXPECT_LE(date, realtime + 5 * SECOND);
    EXPECT_GE(start, monotonic);
    EXPECT_LE(start, RealMonotonic());
    EXPECT_GE(child["fast"], date + (child["before"] - start) * FACTOR);
    EXPECT_LE(child["fast"], date + (child["after"] - start) * FACTOR);
}

TEST(FastClock, AnswersTimeAndGettimeofdayFromTheRealtimeClock)
{
    const ProbeResult probe = Probe("date", "FASTCLOCK_FACTOR=1000 " + Anchor(1000000000 * SECOND, RealMonotonic()));
    ASSERT_EQ(0, probe.status) << probe.output;
    EXPECT_GE(probe["gettimeofday"], probe["before"] / 1000 * 1000); // microseconds
    EXPECT_LE(probe["gettimeofday"], probe["after"]);
    EXPECT_GE(probe["time"], probe["before"] / SECOND);
    EXPECT_LE(probe["time"], probe["after"] / SECOND);
    EXPECT_EQ(probe["time"], probe["again"]);
}

TEST(FastClock, PassesEverythingThroughWithFactorOneOrNone)
{
    for (const char *settings : {"", "FASTCLOCK_FACTOR=1", "FASTCLOCK_FACTOR=1.000"}) {
        for (const char *clock : {"monotonic", "realtime", "boottime", "monotonic_raw"}) {
            const ProbeResult probe = Probe(std::string("read ") + clock + " " + clock, settings);
            ASSERT_EQ(0, probe.status) << probe.output;
            EXPECT_GE(probe["fast"], probe["before"]);
            EXPECT_LE(probe["fast"], probe["after"]);
            EXPECT_NE(std::string::npos, probe.output.find("anchor unset")) << "children would believe in it";
        }
        const ProbeResult woken = Probe("call cond_timedwait:monotonic:woken", settings);
        ASSERT_EQ(0, woken.status) << woken.output;
        EXPECT_GE(woken["fast"], woken["inner"]);
        EXPECT_LE(woken["fast"], woken["outer"]);
    }
}

TEST(FastClock, EndsAProcessWhoseSettingsItCannotRead)
{
    for (const char *factor : {"''", "fast", "0", "0.0009", "-3", "1e3", "1.", ".5", "1.0000001", "1000001", "'60 '"}) {
        const ProbeResult probe = Probe("steps", std::string("FASTCLOCK_FACTOR=") + factor);
        EXPECT_EQ(127, probe.status) << factor;
        EXPECT_EQ("fastclock: FASTCLOCK_FACTOR must be a decimal number from 0.001 to 1000000\n", probe.output);
    }
    for (const char *anchor : {"''", "5", "'5 '", "'5 6 7'", "'5  6'", "'-5 6'", "'99999999999999999999 6'"}) {
        const ProbeResult probe = Probe("steps", std::string("FASTCLOCK_FACTOR=60 FASTCLOCK_ANCHOR=") + anchor);
        EXPECT_EQ(127, probe.status) << anchor;
        EXPECT_EQ("fastclock: FASTCLOCK_ANCHOR must be \"<realtime ns> <monotonic ns>\"\n", probe.output);
    }
    for (const char *shift : {"''", "/nowhere", "/dev/null"}) {
        const ProbeResult probe = Probe("steps", std::string("FASTCLOCK_FACTOR=60 FASTCLOCK_SHIFT=") + shift);
        EXPECT_EQ(127, probe.status) << shift;
        EXPECT_EQ("fastclock: FASTCLOCK_SHIFT must be a file of 8 bytes\n", probe.output);
    }
}
} // namespace
