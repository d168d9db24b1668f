// HttpReply.h - the reply to a request, byte by byte and when, decided before anything is sent.
// State: none. Threads: any.
#pragma once

#include <string>
#include <vector>

#include "simulator/faults/Faults.h"
#include "simulator/http/HttpContent.h"
#include "simulator/http/HttpRequest.h"

namespace sim
{

struct HttpReply {
    enum class End {
        Keep,  // ready for the next request
        Close, // behind the reply
        Reset, // close with a TCP reset
        Stall, // send nothing more, stay connected
    };
    int status = 200;
    std::string header; // everything before the body
    HttpBody body;
    int64_t send = 0; // bytes of the body that are sent; those beyond a file's end are made up
    End end = End::Keep;
    bool early = false;              // it does not end as announced
    int64_t lateMs = 0;              // before the first byte
    int64_t dripMs = -1;             // before each further byte of the header; -1: the header leaves at once
    int64_t rate = 0;                // bytes of the body a second; 0: no limit
    std::vector<std::string> faults; // that happen to it on purpose
};

// The reply to `request`; `body` is the content of its path. A refused request gets its status and no fault.
HttpReply MakeHttpReply(const HttpRequest &request, HttpBody body, const std::vector<ActiveFault> &faults);

} // namespace sim
