// FrameCodec.h - cuts a byte stream into frames, parses and checks them; builds frames.
//
// Layout and checksum are the agent's own (platform/Frame.h). The checks here are stricter than a receiver needs: they
// cover everything that an agent must write in one way only.
//
// State: none but in FrameCutter. Threads: any, one FrameCutter per thread.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/Frame.h"
#include "protocol/Bytes.h"

namespace protocol
{

// Where in the conversation a frame stands.
enum Step : unsigned {
    STEP_REGISTER = 1,
    STEP_LOGIN = 2,
    STEP_HEARTBEAT = 4,
    STEP_UPLOAD = 8,
    STEP_COMMAND = 16,
};

// ---- Received -----------------------------------------------------------------------------------------------------

// Cuts a stream of bytes into frames.
class FrameCutter
{
  public:
    void Push(const uint8_t *data, size_t size) { pending_.insert(pending_.end(), data, data + size); }

    // The next whole frame. `*problem` is the reason why bytes before it were skipped, or empty; it may be set although
    // there is no frame yet. False if more bytes are needed.
    bool Pop(Bytes *frame, std::string *problem);

    // Bytes of a frame that has begun but not ended.
    size_t Left() const { return pending_.size(); }

  private:
    Bytes pending_;
};

struct ParsedFrame {
    Bytes raw;
    FrameHeader header = {};
    Bytes head;
    Bytes plain;             // the decrypted body without its padding
    bool checksumOk = false; // over the plaintext
    uint8_t checksumExpected = 0;
    bool hasRecord = false; // the body is an inner record, and these three are set:
    uint8_t dataType = 0;
    Bytes mac; // empty in records without one
    Bytes payload;
    std::vector<std::string> problems; // errors other than the checksum
};

// Parses one whole frame. `fromAgent` adds the checks on flag, head length and record that an agent must pass.
ParsedFrame ParseFrame(const Bytes &raw, const std::string &key, bool fromAgent);

// ---- Sent ---------------------------------------------------------------------------------------------------------

struct OutFrame {
    Step step = STEP_COMMAND;
    uint8_t msgType = 0;
    uint8_t flag = 0;
    Bytes head;
    bool hasPlain = false; // the body is `plain`, encrypted; otherwise `body`, unchanged
    Bytes plain;
    Bytes body;
    std::optional<uint8_t> checksum;    // instead of the right one
    std::optional<uint16_t> bodyLength; // announced instead of the right one
    Bytes raw;                          // not empty: these bytes, and nothing else of this struct
};

// The bytes of a frame, encrypted with `key`.
Bytes EncodeFrame(const OutFrame &frame, const std::string &key);

// An inner record, with a MAC when `mac` is not empty.
Bytes InnerRecordBytes(uint8_t dataType, const Bytes &mac, const Bytes &payload);

} // namespace protocol
