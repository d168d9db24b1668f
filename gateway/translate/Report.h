// Report.h - what routers report by themselves, as JSON.
//
// Names and fields are those of protocol/UploadDecoders.h. State: none. Threads: any.
#pragma once

#include <cstdint>
#include <string>

#include "gateway/translate/Json.h"
#include "protocol/Bytes.h"

namespace gateway
{

struct Report {
    std::string name; // a subject token: letters, digits and `-` only
    Json document;    // {"report":NAME,"meaning":TEXT,"fields":{...},"problems":[...],"raw":HEX}
};

// Of an upload (MsgType 17 or 19), or of a function's reply that no question waits for (MsgType 26: `payload` from the
// tag on; the result of a rate test arrives in this way). What no table describes has the name "unknown-N", N its data
// type, and only its raw bytes. Meaning, fields and problems only when there are any.
Report MakeReport(uint8_t msgType, uint8_t dataType, const protocol::Bytes &payload);

} // namespace gateway
