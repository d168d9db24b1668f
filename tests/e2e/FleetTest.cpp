// Fifty supervised agents that end in the same second must not be started again in the same second.
#include <algorithm>

#include "tests/e2e/Updates.h"

namespace
{
typedef UpdateTest Fleet;

// How long each of fifty supervisors pauses when the platform cannot be reached. They have the same process number, as
// on routers that are alike.
std::vector<int> PausesOfFifty(const std::string &settings)
{
    NeedPrograms({"unshare"});
    Install(kOld, Script("echo 102 >/tmp/home/status.$ROUTER; exit 255"));
    const std::string all =
        "PLUG_RUN=/tmp/home/run.$ROUTER\nmkdir -p $PLUG_RUN\nLONG_PAUSE=60\nPLUG_STATUS=/tmp/home/status.$ROUTER\n"
        "sleep() { log \"process $$ is starting again in $1 s\"; command sleep 1000; }\n";
    std::vector<std::unique_ptr<Supervisor>> supervisors;
    for (int router = 10; router < 60; router++)
        supervisors.push_back(std::make_unique<Supervisor>(
            "", all + settings, std::map<std::string, std::string>{{"ROUTER", std::to_string(router)}},
            std::vector<std::string>{"/usr/bin/unshare", "--pid", "--fork", "--kill-child"}));
    std::vector<int> pauses;
    for (const auto &supervisor : supervisors) {
        supervisor->WaitLog("process 1 is");
        const std::vector<int> said = supervisor->WaitPauses(2); // by the supervisor, and by what it waits for
        EXPECT_EQ(said[0], said[1]);
        pauses.push_back(said[1]);
    }
    return pauses;
}

void ExpectSpread(const std::vector<int> &pauses)
{
    EXPECT_EQ(50u, pauses.size());
    EXPECT_GE(*std::min_element(pauses.begin(), pauses.end()), 60);
    EXPECT_LE(*std::max_element(pauses.begin(), pauses.end()), 90);
    for (const int pause : pauses)
        EXPECT_LE(4 * std::count(pauses.begin(), pauses.end(), pause), 50) << "at second " << pause;
}

TEST_F(Fleet, StartsAgainInManyDifferentSecondsAfterAnOutage)
{
    ExpectSpread(PausesOfFifty(""));
}

TEST_F(Fleet, StartsAgainInManyDifferentSecondsAlsoWhenNothingButItsAddressesDiffers)
{
    ExpectSpread(PausesOfFifty("dd() { return 1; }\n"
                               "cat() {\n"
                               "    case $1 in\n"
                               "    /sys/class/net/*) echo 02:00:00:00:00:$ROUTER ;;\n"
                               "    *) command cat \"$@\" ;;\n"
                               "    esac\n"
                               "}\n"));
}
} // namespace
