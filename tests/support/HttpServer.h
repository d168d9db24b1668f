// HttpServer.h - a web server on the loopback device that does exactly what a test tells it, good or bad.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

// The server's end of one connection. Every wait gives up after ten real seconds.
class HttpConnection
{
  public:
    explicit HttpConnection(int fd) : mSocket(fd) {}
    void Send(const std::string &text);
    void SendByteByByte(const std::string &text);
    void AwaitReader(); // until the agent has taken all that was sent
    void AwaitEnd();    // until the agent closes the connection
    void Reset();       // breaks the connection off

  private:
    int mSocket;
};

// Serves one connection after the other: reads the request, then calls `answer`, then closes. Its address is 127.0.0.1,
// at a free port unless another address is given.
class HttpServer
{
  public:
    typedef std::function<void(HttpConnection &)> Answer;
    explicit HttpServer(Answer answer, const std::string &address = "127.0.0.1", uint16_t port = 0);
    ~HttpServer();
    uint16_t Port() const { return mPort; }
    std::vector<std::string> Requests(); // all of them; stops the server

  private:
    void Serve();
    Answer mAnswer;
    int mListener;
    uint16_t mPort = 0;
    std::vector<std::string> mRequests; // the server's thread only, until it is joined
    std::thread mThread;
};

// A response header that announces `length`, and what stands before and behind that line.
std::string Header(const std::string &lengthLine);
std::string HeaderFor(size_t length);

// `length` bytes of which no two places are alike.
std::string Body(size_t length);
