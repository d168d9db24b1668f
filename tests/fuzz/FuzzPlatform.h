// FuzzPlatform.h - the platform's end of the link in a fuzz target: reads what the agent sends, and makes its frames.
//
// State:    none; the key is the agent's gProtoolKey.
// Threads:  one.
#pragma once

#include <string>
#include <vector>

#include "platform/TcpQueue.h"

typedef std::vector<uint8_t> Bytes;

// A frame of the agent. Those of registration, login and heartbeat carry no record.
struct AgentFrame {
    uint8_t msgType;
    uint8_t flag;
    Bytes head;
    uint8_t dataType; // 0 without a record
    std::string payload;

    // The first two bytes of the head block, of an acknowledgement.
    uint16_t HeadValue() const { return static_cast<uint16_t>(head[0] | head[1] << 8); }
};

// All that the agent has sent since the last call, on a descriptor that does not block. Every frame has to be complete
// and correct: length, checksum, padding, and the kind of head block and flag of its type.
std::vector<AgentFrame> AgentFrames(int fd);

// Encrypts `plain` into the body of the frame, at most what fits, and puts its length into the header. With
// `rightChecksum` the header gets the checksum, too; the head block must be there.
void EncryptInto(ReceivedFrame *frame, Bytes plain, bool rightChecksum);

// The frame as it travels.
Bytes OnTheWire(const ReceivedFrame &frame);

// Decrypts the whole blocks of the body and returns whether the frame's checksum matches.
bool Decrypted(const ReceivedFrame &frame, Bytes *plain);

// A frame that begins so means that the platform's network is down, unless it is a command with a valid checksum.
bool IsNetworkFailure(const ReceivedFrame &frame);

bool IsCommand(const ReceivedFrame &frame);
