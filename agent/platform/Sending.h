// Sending.h - sending frames to the platform.
// State:    none. Threads: any; frames of several threads go out one after the other.
#pragma once

#include <cstddef>
#include <cstdint>

// Builds a frame and sends it. `head` has headLen bytes in the clear, `body` bodyLen encrypted ones.
// Returns 0; -1 with nothing sent when both lengths are 0, when the frame would be too long or when memory has run out;
// -1 also when the socket did not take all of it at once, see SendData().
int SendRouteUpData(const uint8_t *head, const uint8_t *body, uint8_t msgType, uint8_t flag, uint8_t headLen,
                    uint16_t bodyLen, uint8_t checksum);

// Encrypts `plain`, computes the checksum and sends the frame; registration and login requests are sent this way.
// Returns 0 or -1.
int SendEncrypted(uint8_t msgType, uint8_t flag, const uint8_t *head, uint8_t headLen, const uint8_t *plain,
                  size_t plainLen);

// Reports `length` (1 to 8100) payload bytes under `dataType`; with the 6 bytes of `mac` when `withMac` is not 0.
// Returns 0, or -1: not logged in, a wrong length, or not sent.
int SendIpUpData(const void *payload, int length, uint8_t dataType, int withMac, const uint8_t *mac);

// Answers a platform command: `headValue` is the 16-bit value of the acknowledgement's head block, `length` (0 to
// 8100) payload bytes follow in an encrypted record; with length 0 the head block is sent alone.
// Returns 0, or -1: not logged in, a wrong length, no payload for it, or not sent.
int SendIpAckData(uint16_t headValue, const void *payload, int length, uint8_t dataType, int withMac,
                  const uint8_t *mac);
