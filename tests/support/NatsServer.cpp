#include "tests/support/NatsServer.h"

#include <arpa/inet.h>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

#include "tests/support/Within.h"

// The port in the file that the server writes when it serves: {"nats":["nats://127.0.0.1:34567"], ...}, or "tls://"
static int PortOf(const std::string &file)
{
    const std::string text = ReadFile(file), mark = "://127.0.0.1:";
    const size_t at = text.find(mark);
    return at == std::string::npos ? -1 : atoi(text.c_str() + at + mark.size());
}

static bool Serves(int port)
{
    struct sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool serves = connect(fd, reinterpret_cast<struct sockaddr *>(&address), sizeof address) == 0;
    close(fd);
    return serves;
}

NatsServer::NatsServer(NatsOptions options)
    : mOptions(std::move(options)), mStore(mOptions.store.empty() ? mFolder.Path("store") : mOptions.store)
{
    Start();
}

NatsServer::~NatsServer()
{
    Kill();
}

void NatsServer::Start()
{
    const std::string log = mFolder.Path("log");
    std::vector<std::string> arguments = {"nats-server",         "-a",          "127.0.0.1", "-p",
                                          std::to_string(mPort), "-js",         "-sd",       mStore,
                                          "--ports_file_dir",    mFolder.Path()};
    arguments.insert(arguments.end(), mOptions.arguments.begin(), mOptions.arguments.end());
    std::vector<char *> pointers;
    for (std::string &argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    mProcess = fork();
    if (mProcess < 0) throw std::runtime_error("fork");
    if (mProcess == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int output = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        dup2(output, STDOUT_FILENO);
        dup2(output, STDERR_FILENO);
        // Debian has it where only root looks.
        setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
        execvp("nats-server", pointers.data());
        _exit(127);
    }
    const std::string ports = mFolder.Path("nats-server_" + std::to_string(mProcess) + ".ports");
    const bool serves = Within([&] {
        if (mPort < 0) mPort = PortOf(ports);
        return mPort > 0 && Serves(mPort);
    });
    if (!serves) throw std::runtime_error("nats-server does not serve: " + ReadFile(log));
}

std::string NatsServer::Log() const
{
    return ReadFile(mFolder.Path("log"));
}

void NatsServer::Kill()
{
    if (mProcess <= 0) return;
    kill(mProcess, SIGKILL);
    waitpid(mProcess, nullptr, 0);
    mProcess = -1;
}
