// SessionFrames.h - what registration, login and heartbeat frames hold in their head blocks and bodies.
//
// Both directions are here: the agent writes requests and reads acknowledgements, a platform does the reverse. All of
// it is plain bytes; encryption and the frame around it are Crypt.h and Frame.h.
//
// State: none. Threads: any.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t kPinHeadSize = 12;  // of the PIN, the first 12 bytes travel
constexpr size_t kTokenSize = 32;    // opaque
constexpr size_t kPluginIdSize = 32; // opaque
constexpr size_t kMaxSerial = 63;    // characters of a serial number
constexpr size_t kRegisterHeadSize = 3 + kPinHeadSize;
constexpr size_t kMaxRegisterRecord = kMaxSerial + 41;
constexpr size_t kRegisterAckSize = 72;
constexpr size_t kLoginHeadSize = kPinHeadSize + kTokenSize;
constexpr size_t kLoginRecordSize = 25;
constexpr size_t kLoginAckSize = 4;
constexpr size_t kHeartbeatHeadSize = 4;

// Registration: the head is 3 zero bytes and the PIN; the record is 2 zero bytes, the serial's length and the
// serial, the router's MAC and 32 zero bytes.
struct RegisterRequest {
    uint8_t pin[kPinHeadSize]; // zero-filled when shorter
    const char *serial;        // not terminated when read
    size_t serialLen;          // at most kMaxSerial
    const uint8_t *mac;        // 6 bytes
};

// The acknowledgement's record: 2 bytes not used, token, login server (one byte an octet, in dotted order), login
// port (little-endian), plugin identifier.
struct RegisterAck {
    uint8_t token[kTokenSize];
    uint8_t server[4];
    uint16_t port;
    uint8_t pluginId[kPluginIdSize];
};

// Login: the head is PIN and token; the record is 19 zero bytes, the four bytes of the plugin version, 1 and 0x36.
struct LoginRequest {
    uint8_t pin[kPinHeadSize];
    uint8_t token[kTokenSize];
    uint8_t version[4];
};

// Copies the first 12 characters of a PIN text into a head field, zero-filled.
void PinField(const char *pin, uint8_t field[kPinHeadSize]);

// Each writer returns the length written, or 0 when `size` is too small. Each reader returns false when bytes are
// missing; the pointers that it stores point into the bytes that it was given.
size_t RegisterHeadWrite(const RegisterRequest &request, uint8_t *out, size_t size);
size_t RegisterRecordWrite(const RegisterRequest &request, uint8_t *out, size_t size);
[[nodiscard]] bool RegisterRequestRead(const uint8_t *head, size_t headLen, const uint8_t *record, size_t recordLen,
                                       RegisterRequest *request);

size_t RegisterAckWrite(const RegisterAck &ack, uint8_t *out, size_t size);
[[nodiscard]] bool RegisterAckRead(const uint8_t *record, size_t recordLen, RegisterAck *ack);

size_t LoginHeadWrite(const LoginRequest &request, uint8_t *out, size_t size);
size_t LoginRecordWrite(const LoginRequest &request, uint8_t *out, size_t size);
[[nodiscard]] bool LoginRequestRead(const uint8_t *head, size_t headLen, const uint8_t *record, size_t recordLen,
                                    LoginRequest *request);

// The login acknowledgement's record: 2 bytes not used, the heartbeat interval in seconds (signed, little-endian).
size_t LoginAckWrite(int16_t interval, uint8_t *out, size_t size);
[[nodiscard]] bool LoginAckRead(const uint8_t *record, size_t recordLen, int16_t *interval);

// The head of a heartbeat: seconds since the epoch, little-endian.
size_t HeartbeatHeadWrite(uint32_t seconds, uint8_t *out, size_t size);
[[nodiscard]] bool HeartbeatHeadRead(const uint8_t *head, size_t headLen, uint32_t *seconds);
