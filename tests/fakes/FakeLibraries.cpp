// These definitions stand in the test program itself, so the linker prefers them to the libraries' own.
#include "tests/fakes/FakeLibraries.h"

#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <deque>
#include <dlfcn.h>
#include <map>
#include <mutex>
#include <netdb.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace
{

struct Host {
    std::string canonical;
    std::vector<in_addr> addresses;
    int type;
};

const std::pair<int, int> kNoOption = {-1, -1};

std::mutex s_lock; // guards what follows
std::map<std::string, Host> s_hosts;
std::map<std::pair<int, int>, int> s_options; // by level and option
std::deque<int> s_sends;
int s_lookUps;
std::pair<int, int> s_failingOption = kNoOption;
bool s_refuseKey;
bool s_refuseSocket;
bool s_refuseListen;
int s_backlog;
int s_refuseAccepts;

typedef int (*SetKey)(const unsigned char *, int, void *);
typedef ssize_t (*Send)(int, const void *, size_t, int);

int SetKeyUnlessRefused(const char *name, const unsigned char *key, int bits, void *schedule)
{
    {
        std::lock_guard<std::mutex> guard(s_lock);
        if (s_refuseKey) {
            s_refuseKey = false;
            return -1;
        }
    }
    return reinterpret_cast<SetKey>(dlsym(RTLD_NEXT, name))(key, bits, schedule);
}

} // namespace

void FakeLibrariesReset()
{
    std::lock_guard<std::mutex> guard(s_lock);
    s_hosts.clear();
    s_options.clear();
    s_lookUps = 0;
    s_sends.clear();
    s_failingOption = kNoOption;
    s_refuseKey = s_refuseSocket = s_refuseListen = false;
    s_refuseAccepts = 0;
}

void FakeFailSocket()
{
    std::lock_guard<std::mutex> guard(s_lock);
    s_refuseSocket = true;
}

void FakeFailListen()
{
    std::lock_guard<std::mutex> guard(s_lock);
    s_refuseListen = true;
}

int FakeListenBacklog()
{
    std::lock_guard<std::mutex> guard(s_lock);
    return s_backlog;
}

void FakeFailAccept(int times)
{
    std::lock_guard<std::mutex> guard(s_lock);
    s_refuseAccepts = times;
}

void FakeHost(const std::string &name, const std::string &canonical, std::initializer_list<std::string> addresses)
{
    Host host = {canonical, {}, AF_INET};
    for (const std::string &dotted : addresses) {
        in_addr address;
        inet_pton(AF_INET, dotted.c_str(), &address);
        host.addresses.push_back(address);
    }
    std::lock_guard<std::mutex> guard(s_lock);
    s_hosts[name] = host;
}

void FakeHostWithIpv6Only(const std::string &name)
{
    std::lock_guard<std::mutex> guard(s_lock);
    s_hosts[name] = {name, {in_addr()}, AF_INET6};
}

int FakeLookUps()
{
    std::lock_guard<std::mutex> guard(s_lock);
    return s_lookUps;
}

void FakeFailSocketOption(int option, int level)
{
    std::lock_guard<std::mutex> guard(s_lock);
    s_failingOption = {level, option};
}

int FakeSocketOption(int option, int level)
{
    std::lock_guard<std::mutex> guard(s_lock);
    const auto found = s_options.find({level, option});
    return found == s_options.end() ? -1 : found->second;
}

void FakeSendTakes(std::initializer_list<int> bytes)
{
    std::lock_guard<std::mutex> guard(s_lock);
    s_sends.assign(bytes);
}

void FakeRefuseCipherKey()
{
    std::lock_guard<std::mutex> guard(s_lock);
    s_refuseKey = true;
}

extern "C" {

struct hostent *gethostbyname(const char *name)
{
    static hostent entry;
    static Host host;
    static std::vector<char *> list;

    std::lock_guard<std::mutex> guard(s_lock);
    s_lookUps++;
    in_addr numeric;
    const char *dotted = strcmp(name, "localhost") == 0 ? "127.0.0.1" : name;
    if (s_hosts.count(name))
        host = s_hosts[name];
    else if (inet_pton(AF_INET, dotted, &numeric) == 1)
        host = {name, {numeric}, AF_INET};
    else
        return nullptr;

    list.clear();
    for (in_addr &address : host.addresses) list.push_back(reinterpret_cast<char *>(&address));
    list.push_back(nullptr);
    entry = {};
    entry.h_name = &host.canonical[0];
    entry.h_addrtype = host.type;
    entry.h_length = host.type == AF_INET ? 4 : 16;
    entry.h_addr_list = list.data();
    return &entry;
}

int socket(int family, int type, int protocol) noexcept
{
    {
        std::lock_guard<std::mutex> guard(s_lock);
        if (s_refuseSocket) {
            s_refuseSocket = false;
            errno = EMFILE;
            return -1;
        }
    }
    return static_cast<int>(syscall(SYS_socket, family, type, protocol));
}

int listen(int fd, int backlog) noexcept
{
    {
        std::lock_guard<std::mutex> guard(s_lock);
        s_backlog = backlog;
        if (s_refuseListen) {
            s_refuseListen = false;
            errno = EADDRINUSE;
            return -1;
        }
    }
    return static_cast<int>(syscall(SYS_listen, fd, backlog));
}

int accept4(int fd, struct sockaddr *address, socklen_t *size, int flags)
{
    {
        std::lock_guard<std::mutex> guard(s_lock);
        if (s_refuseAccepts > 0) {
            s_refuseAccepts--;
            errno = EMFILE;
            return -1;
        }
    }
    return static_cast<int>(syscall(SYS_accept4, fd, address, size, flags));
}

int setsockopt(int fd, int level, int option, const void *value, socklen_t size) noexcept
{
    {
        std::lock_guard<std::mutex> guard(s_lock);
        if (std::pair<int, int>(level, option) == s_failingOption) {
            s_failingOption = kNoOption;
            errno = level == SOL_SOCKET ? ENOBUFS : ENOPROTOOPT;
            return -1;
        }
        if (size == sizeof(int)) memcpy(&s_options[{level, option}], value, sizeof(int));
    }
    return static_cast<int>(syscall(SYS_setsockopt, fd, level, option, value, size));
}

ssize_t send(int fd, const void *bytes, size_t length, int flags)
{
    static const auto real = reinterpret_cast<Send>(dlsym(RTLD_NEXT, "send"));
    {
        std::lock_guard<std::mutex> guard(s_lock);
        if (!s_sends.empty()) {
            length = std::min(length, static_cast<size_t>(s_sends.front()));
            s_sends.pop_front();
            if (length == 0) {
                errno = EAGAIN;
                return -1;
            }
        }
    }
    return real(fd, bytes, length, flags);
}

int AES_set_encrypt_key(const unsigned char *key, int bits, void *schedule)
{
    return SetKeyUnlessRefused("AES_set_encrypt_key", key, bits, schedule);
}

int AES_set_decrypt_key(const unsigned char *key, int bits, void *schedule)
{
    return SetKeyUnlessRefused("AES_set_decrypt_key", key, bits, schedule);
}
}
