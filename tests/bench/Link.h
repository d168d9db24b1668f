// Link.h - the platform's side of the connection: listening, and whole frames in and out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/Frame.h"

typedef std::vector<uint8_t> Bytes;

constexpr char kBenchKey[] = "0123456789abcdef";

// Milliseconds of the monotonic clock.
double NowMs();

// Sleeps until a time of NowMs().
void SleepUntilMs(double when);

// Ends the program when something that a measurement needs is not there.
[[noreturn]] void Fail(const char *what);

struct BenchFrame {
    FrameHeader header;
    Bytes head;
    Bytes plain; // decrypted body, padding included
};

// The bytes of a frame around `record` (none: no body), with its checksum.
Bytes MakeFrame(uint8_t msgType, const Bytes &head, const Bytes &record);

// A loopback listener on a free port. Closed at the end of its life.
class Listener
{
  public:
    Listener();
    ~Listener();
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;
    int Descriptor() const { return mFd; }
    uint16_t Port() const { return mPort; }
    int Accept() const; // the next connection, with TCP_NODELAY as a platform has it

  private:
    int mFd;
    uint16_t mPort;
};

// One accepted connection.
class Link
{
  public:
    explicit Link(int fd = -1) : mFd(fd) {}
    ~Link() { Close(); }
    Link(Link &&other) noexcept;
    Link &operator=(Link &&other) noexcept;

    bool Open() const { return mFd >= 0; }
    int Descriptor() const { return mFd; }
    void Close();
    void Send(const Bytes &bytes);
    // Waits for the next frame, at most until `deadline` (NowMs()). False at that time and at the connection's end.
    bool Next(BenchFrame *frame, double deadline);

  private:
    bool CutOut(BenchFrame *frame);

    int mFd;
    Bytes mReceived;
};
