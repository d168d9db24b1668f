// Frame.h - the frames that the agent and the platform exchange.
//
//   offset  size  content
//   0       2     magic 0xDDCC, little-endian: the bytes CC DD
//   2       1     low 5 bits: MsgType; high 3 bits: flag (1 for data sent up, 0 for acknowledgements)
//   3       1     head length: number of clear bytes after this header
//   4       1     checksum: FrameChecksum() over the plaintext
//   5       2     body length, little-endian: number of encrypted bytes
//   7       ...   head block, in the clear
//   ...     ...   body: AES-128-CBC, see Crypt.h
//
// The decrypted body of a data frame is an inner record:
//
//   0       2     zero
//   2       1     DataType
//   3       6     router MAC (only in MsgTypes 19, 20 and 26)
//   3 or 9  2     payload length, little-endian
//   5 or 11 ...   payload
//
// State:    none, these are pure functions over bytes.
// Threads:  any.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/MacText.h"

constexpr uint8_t kFrameMagic0 = 0xCC;
constexpr uint8_t kFrameMagic1 = 0xDD;
constexpr size_t kFrameLeadSize = 3;                                   // magic and MsgType byte
constexpr size_t kFrameFieldsSize = 4;                                 // head length, checksum, body length
constexpr size_t kFrameHeaderSize = kFrameLeadSize + kFrameFieldsSize; // what stands before the head block
constexpr size_t kMaxFrame = 8192;                                     // the longest frame that is ever sent
constexpr size_t kFrameMaxReceivedBody = 1508;                         // a header that announces more is no frame
constexpr size_t kMaxPayload = 8100;                                   // of one data frame
constexpr size_t kMaxInnerHead = 3 + kMacSize + 2;                     // of an inner record, before its payload

enum MsgType : uint8_t {
    MSG_HEARTBEAT = 1,
    MSG_HEARTBEAT_ACK = 2,
    MSG_FORCE_DISCONNECT = 3,
    MSG_REGISTER = 9,
    MSG_LOGIN = 10,
    MSG_SESSION_ACK = 11, // answers a registration or a login, whichever is under way
    MSG_UP = 17,
    MSG_PLUG_COMMAND = 18,
    MSG_UP_MAC = 19,
    MSG_FUNCTION_COMMAND = 20,
    MSG_ACK = 25,
    MSG_ACK_MAC = 26,
};

enum FrameFlag : uint8_t { FLAG_ACK = 0, FLAG_UP = 1 };

struct FrameHeader {
    uint8_t msgType; // 0 to 31
    uint8_t flag;    // 0 to 7
    uint8_t headLen;
    uint8_t checksum;
    uint16_t bodyLen;
};

struct InnerRecord {
    uint8_t dataType;
    const uint8_t *mac; // 6 bytes, or nullptr in a record without MAC
    const uint8_t *payload;
    size_t payloadLen;
};

// The sum of all bytes modulo 256; 0 for an empty buffer.
uint8_t GetCheckSum(const uint8_t *buffer, size_t length);

// The checksum of a frame: GetCheckSum() over the encrypted body length (two bytes, little-endian), the head block
// and the plain record without its padding. It is the same for all frames: a part that is missing adds nothing.
uint8_t FrameChecksum(uint16_t bodyLen, const uint8_t *head, size_t headLen, const uint8_t *plain, size_t plainLen);

// Whether the inner record of this MsgType carries the router's MAC.
[[nodiscard]] bool FrameCarriesMac(uint8_t msgType);

// Reads the 7 header bytes at `data`. Returns false when `size` is less than 7 or the magic is another.
[[nodiscard]] bool FrameReadHeader(const uint8_t *data, size_t size, FrameHeader *header);

// Writes header, head block and body into `out`. `header` gives MsgType, flag, checksum and both lengths.
// Returns the frame's length, or 0 when it does not fit into `size` bytes.
[[nodiscard]] size_t FrameWrite(const FrameHeader &header, const uint8_t *head, const uint8_t *body, uint8_t *out,
                                size_t size);

// Writes a record. Returns its length, or 0 when it does not fit into `size` bytes.
[[nodiscard]] size_t InnerRecordWrite(const InnerRecord &record, uint8_t *out, size_t size);

// Reads a record; `record` then points into `plain`. `plain` may still carry its padding.
// Returns false when it is cut off or announces more payload than follows: nothing past `size` is ever read.
[[nodiscard]] bool InnerRecordRead(const uint8_t *plain, size_t size, bool withMac, InnerRecord *record);
