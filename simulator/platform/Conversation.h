// Conversation.h - what a received frame means on its connection, and the frames that answer it.
//
// State:    in the two structs below, which the caller keeps. Threads: the caller's.
// Leans on: frames only; no socket, no clock.
#pragma once

#include <map>
#include <set>
#include <string>

#include "protocol/FrameCodec.h"
#include "protocol/Tree.h"
#include "simulator/console/Words.h"

namespace sim
{

using namespace protocol;

struct ConversationSettings {
    std::string key = "0123456789abcdef";
    std::string token;                    // of every registration; empty: a new one for each
    std::string pluginId = "plugin-0001"; // at most 32 characters
    int interval = 60;                    // seconds between heartbeats
    bool ackHeartbeats = true;
    bool ackUploads = true;
};

// Who registered, over all connections: a login shows the token only.
struct Registrations {
    struct Router {
        std::string serial;
        Bytes mac;
    };
    std::map<std::string, Router> byToken; // the latest of each token
    std::set<std::string> shared;          // tokens issued to routers with different MACs
    unsigned count = 0;
};

// One connection.
struct Peer {
    bool registered = false;
    bool loggedIn = false;
    std::string serial;
    std::string pin;
    std::string token, version; // of the login
    Bytes mac;                  // empty until known
    bool macSure = false;       // the token belongs to this MAC alone
    bool tokenOk = true;        // the login's token was issued here
    uint16_t nextTag = 1;
    struct Request {
        uint16_t function;
        int64_t sentMs;
    };
    std::map<uint16_t, Request> waiting; // function commands without a reply yet, by tag
    uint64_t framesIn = 0, framesOut = 0;
};

// The frames that answer `frame`; none if it needs no answer or is damaged. `login` is the address of the login server
// that a registration gets.
std::vector<OutFrame> Answer(const ParsedFrame &frame, const ConversationSettings &settings, const Address &login,
                             Peer *peer, Registrations *registrations);

// The step that a received MsgType belongs to.
Step StepOf(uint8_t msgType);

// Decodes a received frame, pairs a reply with its request, and checks the MAC against the registration. Errors are
// added to `frame->problems`, which become the last field, "problems".
Fields DescribeArrival(ParsedFrame *frame, Peer *peer, int64_t nowMs);

} // namespace sim
