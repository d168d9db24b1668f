// FirmwareAnswer.h - what the platform is told about a firmware update, by the agent itself and by the local peer.
// State: none. Threads: any.
#pragma once

#include <cstdint>

constexpr uint8_t kFirmwareDataType = 17; // of every answer

// The text of a code: 0 success, 1 to 8 what went wrong, anything else an error that nobody knows.
const char *FirmwareText(int code);

// Sends {"result":code,"resultDesc":"text"}, of which at most 255 characters; `text` needs no escapes. Returns the
// result of SendIpUpData().
int SendFirmwareAnswer(int code, const char *text);
