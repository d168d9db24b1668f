// FirmwareAnswer.h - tells the platform how a firmware update ended, whether the agent or the local peer ended it.
// State: none. Threads: any.
#pragma once

#include <cstdint>

constexpr uint8_t kFirmwareDataType = 17; // of every answer

// Returns the text of a code: 0 success, 1 to 8 what went wrong, any other an unknown error.
[[nodiscard]] const char *FirmwareText(int code);

// Sends {"result":code,"resultDesc":"text"}, cut to 255 characters; `text` needs no escapes. Returns the result of
// SendIpUpData().
int SendFirmwareAnswer(int code, const char *text);
