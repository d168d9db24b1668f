// AskedPeer.h - a test with the local peer at the other end of a socket pair.
#pragma once

#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

#include "comm/CommAnswer.h"
#include "comm/CommFrame.h"
#include "comm/CommHandle.h"
#include "comm/CommLink.h"
#include "comm/FuncIdList.h"
#include "core/LocalPeer.h"
#include "tests/unit/agent/CommTest.h"

// The peer without the server's threads: the test reads what the agent sends and handles the peer's frames on its own
// thread. The test has to be logged in, or the frames are dropped.
class AskedPeer
{
  public:
    AskedPeer()
    {
        EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, mEnds));
        const struct timeval limit = {10, 0};
        setsockopt(mEnds[1], SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        memset(rxData, 0, sizeof rxData);
        CommReceived = 0;
        CommTxSeq = 0;
        CommRun = 1;
        InstanceSocket = mEnds[0];
    }

    ~AskedPeer()
    {
        InstanceSocket = 0;
        CommRun = 0;
        CommClientReg = 0;
        close(mEnds[0]);
        close(mEnds[1]);
    }

    // The next request, header and payload; empty when none came in ten real seconds.
    Bytes Frame()
    {
        Bytes frame = Exactly(kCommHeaderSize);
        if (frame.empty()) return {};
        const Bytes payload = Exactly(frame[8] + frame[9] * 256u); // no request is longer
        frame.insert(frame.end(), payload.begin(), payload.end());
        return frame;
    }

    std::string Payload()
    {
        const Bytes frame = Frame();
        return frame.size() < kCommHeaderSize ? "" : std::string(frame.begin() + kCommHeaderSize, frame.end());
    }

    bool NothingSent()
    {
        char byte;
        return recv(mEnds[1], &byte, 1, MSG_DONTWAIT) < 0;
    }

    // Handles an answer of the peer as the handler thread does: `bytes` after its status. Wakes the requester.
    static void Answer(uint8_t status, const Bytes &bytes) { Say(FUNCID_MESH_SUPPORT, Bytes{status} + bytes); }

    // Handles a frame that is no answer.
    static void Report() { Say(FUNCID_VERSION, {0}); }

    // Handles any frame.
    static void Say(uint16_t funcId, const Bytes &payload)
    {
        Bytes slot = Slot(LocalFrame(funcId, CommRxSeq + 1, payload));
        CommHandleFrame(slot.data());
    }

  private:
    Bytes Exactly(size_t size)
    {
        Bytes bytes(size);
        if (size > 0 && recv(mEnds[1], bytes.data(), size, MSG_WAITALL) != static_cast<ssize_t>(size)) return {};
        return bytes;
    }

    int mEnds[2];
};
