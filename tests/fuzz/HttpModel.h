// HttpModel.h - what a response header announces, for the targets that compare the agent with it.
// State: none. Threads: any.
#pragma once

#include <climits>
#include <cstring>
#include <string>

#include "http/Download.h"

// The length by the rules of AnnouncedLength(), computed digit by digit. `header` has no NUL. Returns -1 if there is none.
inline long long ExpectedLength(const std::string &header)
{
    static const char kName[] = "Content-Length:";
    const size_t begin = header.find(kName);
    if (begin == std::string::npos) return -1;
    const size_t end = header.find("\r\n", begin);
    if (end == std::string::npos || end - begin >= 64) return -1;
    size_t at = begin + strlen(kName);
    while (at < end && (header[at] == ' ' || (header[at] >= '\t' && header[at] <= '\r'))) at++;
    if (at < end && header[at] == '+') at++;
    long long number = 0;
    for (; at < end && header[at] >= '0' && header[at] <= '9'; at++) {
        number = number * 10 + (header[at] - '0');
        if (number > INT_MAX) return -1;
    }
    return number >= kDownloadMin ? number : -1;
}
