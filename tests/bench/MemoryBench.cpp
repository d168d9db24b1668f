#include <cstdio>
#include <filesystem>

#include "Agent.h"
#include "BenchPlatform.h"
#include "Benches.h"
#include "Figures.h"
#include "Memory.h"
#include "os/OsLibraries.h"

namespace fs = std::filesystem;

static const int16_t kHeartbeatSeconds = 60;
// With libcrypto as a part of the program; the loader writes 0.4 MB of addresses into the shared one.
static const long kDirtyMostKb = 300, kAloneMostKb = 520;
static const char *const kFolder = "/tmp/alone";

// What is shipped and its libraries, as copies that nobody else on the machine has mapped. Not the C library: there is no
// router on which nobody else has that.
static std::string CopyOfTheAgent()
{
    std::error_code error;
    fs::create_directory(kFolder, error);
    const std::string built = AgentProgram(), shipped = built + ".stripped", copy = std::string(kFolder) + "/plug";
    fs::copy_file(fs::exists(shipped) ? shipped : built, copy, fs::copy_options::overwrite_existing, error);
    if (error) Fail("cannot copy the agent");
    OsEachLibrary([](const char *path) {
        const std::string name = fs::path(path).filename();
        std::error_code failed;
        for (const char *ours : {"libRouterSdk", "libcjson", "libcrypto"})
            if (name.rfind(ours, 0) == 0)
                fs::copy_file(path, fs::path(kFolder) / name, fs::copy_options::overwrite_existing, failed);
        if (failed) Fail("cannot copy a library of the agent");
    });
    return copy;
}

static MappedKb Total(const std::vector<MappedKb> &list)
{
    MappedKb total;
    for (const MappedKb &kind : list) {
        total.dirty += kind.dirty;
        total.clean += kind.clean;
    }
    return total;
}

void MeasureMemory(int settleSeconds)
{
    const std::string built = fs::path(AgentProgram()).filename();
    SetAgentProgram(CopyOfTheAgent());
    BenchPlatform platform;
    Agent agent(platform.RegisterPort());
    Link session = platform.LogIn(kHeartbeatSeconds, 20000);
    BenchFrame frame;
    const double end = NowMs() + settleSeconds * 1e3;
    while (session.Next(&frame, end)) AnswerHeartbeat(&session, frame);

    const std::vector<MappedKb> alone = PrivateMemory(agent.Pid());
    const MappedKb total = Total(alone);
    printf("%-32s %8s %8s\n", (built + ", private KB:").c_str(), "dirty", "clean");
    for (const MappedKb &kind : alone) printf("  %-30s %8ld %8ld\n", kind.name.c_str(), kind.dirty, kind.clean);
    printf("  %-30s %8ld %8ld\n", "together", total.dirty, total.clean);

    Neighbour neighbour(MappedLibraries(agent.Pid()));
    const MappedKb beside = Total(PrivateMemory(agent.Pid()));

    // The agent with the shared libcrypto is measured, not judged.
    const bool judged = built == "plug";
    const auto figure = [&](const char *what, long kb, long most) {
        PrintFigure(Format("%s, %s, logged in", what, built.c_str()),
                    judged && most ? Format("at most %ld KB", most) : "", Format("%ld KB", kb),
                    !judged || !most || kb <= most);
    };
    figure("dirty private memory", total.dirty, kDirtyMostKb);
    figure("private memory alone", total.dirty + total.clean, kAloneMostKb);
    figure("private memory with a neighbour", beside.dirty + beside.clean, 0);
}
