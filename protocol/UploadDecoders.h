// UploadDecoders.h - what an agent reports by itself, data type by data type: the one table of how each report looks.
// Decoded frames and the documentation are made from it.
// State: none; the table is a constant. Threads: any.
#pragma once

#include <string>
#include <vector>

#include "protocol/Bytes.h"
#include "protocol/Layout.h"
#include "protocol/Tree.h"

namespace protocol
{

struct Upload {
    uint8_t dataType;
    bool withMac; // MsgType 19, otherwise 17
    const char *name;
    const char *summary;
    Layout layout;       // of the payload; of a JSON text its members, in their order
    bool json;           // the payload is a JSON text
    Layout another = {}; // of a payload that is as long as this one
    size_t least = 0;    // bytes of payload, where the layout would do with fewer
    // What the report says, in a few words; may find fault with it. nullptr: nothing in particular.
    std::string (*meaning)(const Fields &content, std::string *problem) = nullptr;
    const char *note = ""; // what else there is to know
};

extern const std::vector<Upload> kUploads;

// The report of this data type in frames of MsgType 17 or 19; nullptr when there is none.
const Upload *FindUpload(uint8_t msgType, uint8_t dataType);

// Its content. `*meaning` becomes what it says, or empty. A JSON text has no fields of its own: they are the text's
// members. Faults are added to `problems`: another length than the layout's, a count or length that differs from what
// follows, numbers that cannot be other ones, JSON members that are missing, too many or of another kind.
Fields DecodeUpload(const Upload &upload, const Bytes &payload, std::string *meaning,
                    std::vector<std::string> *problems);

// What an agent writes beside a result of a firmware command: "success" for 0.
std::string FirmwareResultText(int result);

} // namespace protocol
