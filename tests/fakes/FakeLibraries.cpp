// These definitions stand in the test program itself, so the linker prefers them to the libraries' own.
#include "tests/fakes/FakeLibraries.h"

#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <cstring>
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

std::mutex s_lock; // guards what follows
std::map<std::string, Host> s_hosts;
std::map<int, int> s_options;
int s_lookUps;
int s_failingOption = -1;
bool s_refuseKey;
bool s_refuseSocket;
bool s_refuseListen;
int s_backlog;
int s_refuseAccepts;

typedef int (*SetKey)(const unsigned char *, int, void *);

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
    s_failingOption = -1;
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

void FakeFailSocketOption(int option)
{
    std::lock_guard<std::mutex> guard(s_lock);
    s_failingOption = option;
}

int FakeSocketOption(int option)
{
    std::lock_guard<std::mutex> guard(s_lock);
    return s_options.count(option) ? s_options[option] : -1;
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
    if (level == SOL_SOCKET) {
        std::lock_guard<std::mutex> guard(s_lock);
        if (option == s_failingOption) {
            s_failingOption = -1;
            errno = ENOBUFS;
            return -1;
        }
        if (size == sizeof(int)) memcpy(&s_options[option], value, sizeof(int));
    }
    return static_cast<int>(syscall(SYS_setsockopt, fd, level, option, value, size));
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
