#include "tests/support/HttpServer.h"

#include <arpa/inet.h>
#include <chrono>
#include <fstream>
#include <gtest/gtest.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

static const std::chrono::seconds kPatience(10);

static struct sockaddr_in AddressOf(int fd, int (*query)(int, struct sockaddr *, socklen_t *))
{
    struct sockaddr_in address = {};
    socklen_t size = sizeof address;
    query(fd, reinterpret_cast<struct sockaddr *>(&address), &size);
    return address;
}

void HttpConnection::Send(const std::string &text)
{
    size_t sent = 0;
    while (sent < text.size()) {
        const ssize_t count = send(mSocket, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) return; // the agent has had enough
        sent += static_cast<size_t>(count);
    }
}

void HttpConnection::SendByteByByte(const std::string &text)
{
    for (char byte : text) Send(std::string(1, byte));
}

// The kernel tells how much lies unread at the other end, which has our port as its remote one.
static bool HasReadAll(uint16_t reader, uint16_t sender)
{
    std::ifstream table("/proc/net/tcp");
    std::string line;
    while (std::getline(table, line)) {
        unsigned local, remote, state, unsent, unread;
        if (sscanf(line.c_str(), " %*d: %*x:%x %*x:%x %x %x:%x", &local, &remote, &state, &unsent, &unread) != 5)
            continue;
        if (local == reader && remote == sender) return unread == 0;
    }
    return false;
}

void HttpConnection::AwaitReader()
{
    const uint16_t here = ntohs(AddressOf(mSocket, getsockname).sin_port);
    const uint16_t there = ntohs(AddressOf(mSocket, getpeername).sin_port);
    const auto limit = std::chrono::steady_clock::now() + kPatience;
    while (!HasReadAll(there, here)) {
        if (std::chrono::steady_clock::now() > limit) {
            ADD_FAILURE() << "nobody reads";
            return;
        }
        std::this_thread::yield();
    }
}

void HttpConnection::AwaitEnd()
{
    char byte;
    while (recv(mSocket, &byte, 1, 0) > 0) {
    }
}

void HttpConnection::Reset()
{
    const struct linger now = {1, 0};
    setsockopt(mSocket, SOL_SOCKET, SO_LINGER, &now, sizeof now);
}

HttpServer::HttpServer(Answer answer, const std::string &address, uint16_t port)
    : mAnswer(std::move(answer)), mListener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    struct sockaddr_in here = {};
    here.sin_family = AF_INET;
    here.sin_port = htons(port);
    inet_pton(AF_INET, address.c_str(), &here.sin_addr);
    const int on = 1;
    setsockopt(mListener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    EXPECT_EQ(0, bind(mListener, reinterpret_cast<struct sockaddr *>(&here), sizeof here));
    EXPECT_EQ(0, listen(mListener, 8));
    mPort = ntohs(AddressOf(mListener, getsockname).sin_port);
    mThread = std::thread([this] { Serve(); });
}

HttpServer::~HttpServer()
{
    Requests();
    close(mListener);
}

std::vector<std::string> HttpServer::Requests()
{
    shutdown(mListener, SHUT_RD); // ends accept()
    if (mThread.joinable()) mThread.join();
    return mRequests;
}

void HttpServer::Serve()
{
    int fd;
    while ((fd = accept4(mListener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0) {
        const struct timeval limit = {10, 0};
        const int on = 1;
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        std::string request;
        char byte;
        while (request.find("\r\n\r\n") == std::string::npos && recv(fd, &byte, 1, 0) == 1) request += byte;
        mRequests.push_back(request);
        HttpConnection connection(fd);
        mAnswer(connection);
        close(fd);
    }
}

std::string Header(const std::string &lengthLine)
{
    return "HTTP/1.1 200 OK\r\nServer: test\r\n" + lengthLine + "\r\nX-Last: yes\r\n\r\n";
}

std::string HeaderFor(size_t length)
{
    return Header("Content-Length: " + std::to_string(length));
}

std::string Body(size_t length)
{
    std::string body;
    for (size_t number = 0; body.size() < length; number++) body += std::to_string(number) + "\n";
    body.resize(length);
    return body;
}
