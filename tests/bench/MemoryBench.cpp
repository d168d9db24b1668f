#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

#include "Agent.h"
#include "BenchPlatform.h"
#include "Benches.h"
#include "Figures.h"
#include "Memory.h"
#include "tests/support/Mappings.h"

namespace fs = std::filesystem;

static const int16_t kHeartbeatSeconds = 60;
// With libcrypto as a part of the program; the loader writes 0.4 MB of addresses into the shared one.
static const long kDirtyMostKb = 300, kAloneMostKb = 520;

// Written out to the disk: a page that still has to be counts as dirty for everybody who maps it.
static void Copy(const fs::path &from, const fs::path &to)
{
    std::error_code error;
    fs::remove(to, error);
    fs::copy_file(from, to, error);
    const int fd = open(to.c_str(), O_RDONLY | O_CLOEXEC);
    if (error || fd < 0 || fsync(fd) != 0) Fail("cannot copy the agent and its libraries");
    close(fd);
}

// What is shipped and its libraries, as copies that nobody else on the machine has mapped. Not the C library: there is
// no router on which nobody else has that. Beside the build: in a /tmp that is memory every page is dirty.
static std::string CopyOfTheAgent()
{
    const std::string built = AgentProgram(), shipped = built + ".stripped";
    const fs::path folder = built + ".alone";
    std::error_code error;
    fs::create_directory(folder, error);
    Copy(fs::exists(shipped) ? shipped : built, folder / "plug");

    FILE *const version = popen((built + " --version").c_str(), "r"); // ends with the libraries, a path in each line
    char line[1024];
    int copied = 0;
    while (version && fgets(line, sizeof line, version)) {
        line[strcspn(line, "\n")] = 0;
        const std::string name = fs::path(line).filename();
        for (const char *ours : {"libRouterSdk", "libcjson", "libcrypto"}) {
            if (name.rfind(ours, 0) != 0 || strncmp(line, "  /", 3) != 0) continue;
            Copy(line + 2, folder / name);
            copied++;
        }
    }
    if (!version || pclose(version) != 0 || copied < 2) Fail("the agent does not say which libraries it has");
    return folder / "plug";
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
    if (alone.empty()) Fail("the agent is gone");
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
