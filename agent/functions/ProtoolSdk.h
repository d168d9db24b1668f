// ProtoolSdk.h - the platform's numbered functions: queries and settings of the router.
// State:    none between two calls.
// Threads:  the response thread, one command at a time.
#pragma once

#include <cstddef>
#include <cstdint>

// Request: 2 bytes tag, 2 bytes function ID (little-endian), 6 bytes not used, parameters.
constexpr size_t kFunctionRequestMin = 10;
constexpr size_t kFunctionRequestSize = 1600; // the buffer of a request; zeros follow what was sent, at least one
// Reply: the request's first 4 bytes, 2 bytes status, data.
constexpr size_t kFunctionReplySize = 8192;
constexpr uint16_t kStatusUnsupported = 7;

// Carries out one function command.
//   request   kFunctionRequestSize bytes, zeros behind the payload; the last byte is always zero and ends a text
//   reply     kFunctionReplySize zeroed bytes
//   replyLen  receives the reply's length; 0: nothing is to be sent
// Returns 0, or -1 for an unknown function. That one has a reply, too, if its ID is between 1 and 32766.
[[nodiscard]] int ParserProtoolData(const uint8_t *request, uint8_t *reply, int *replyLen);
