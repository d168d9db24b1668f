#include "comm/FirmwareAnswer.h"

#include <cstddef>
#include <cstdio>

#include "platform/Sending.h"

static const char *const kTexts[] = {
    "success",
    "fromVersion not match.",
    "toVersion not support.",
    "url address error.",
    "check method not match.",
    "fileLength error.",
    "file download failed.",
    "check sum error.",
    "firmware update faiiled.", // spelt as the platform knows it, as is the next
};

const char *FirmwareText(int code)
{
    const int known = static_cast<int>(sizeof kTexts / sizeof kTexts[0]);
    return code >= 0 && code < known ? kTexts[code] : "unKnown error.";
}

int SendFirmwareAnswer(int code, const char *text)
{
    char answer[256];
    const int length = snprintf(answer, sizeof answer, "{\"result\":%d,\"resultDesc\":\"%s\"}", code, text);
    const int most = static_cast<int>(sizeof answer) - 1;
    return SendIpUpData(answer, length < most ? length : most, kFirmwareDataType, 0, nullptr);
}
