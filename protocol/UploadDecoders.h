// UploadDecoders.h - the reports of an agent: one table with the layout of each data type. Decoded frames and the
// documentation are made from it.
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
    Layout another = {}; // of a payload with the length of this one
    size_t least = 0;    // bytes of payload, if more than the layout needs
    // The report in a few words; may add errors. nullptr: none.
    std::string (*meaning)(const Fields &content, std::string *problem) = nullptr;
    const char *note = ""; // further notes
};

extern const std::vector<Upload> kUploads;

// The report of this data type in frames of MsgType 17 or 19; nullptr when there is none.
const Upload *FindUpload(uint8_t msgType, uint8_t dataType);

// Its content. `*meaning` is set to its meaning, or empty. The fields of a JSON text are its members. Errors are added
// to `problems`: a wrong length, a count or length that differs from what follows, a constant with another value, JSON
// members that are missing, unknown or of the wrong type.
Fields DecodeUpload(const Upload &upload, const Bytes &payload, std::string *meaning,
                    std::vector<std::string> *problems);

// The text that an agent sends with a result of a firmware command: "success" for 0.
std::string FirmwareResultText(int result);

} // namespace protocol
