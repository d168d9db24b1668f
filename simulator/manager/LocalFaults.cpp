#include "simulator/manager/LocalFaults.h"

#include "simulator/manager/LocalRequests.h"

namespace sim
{

static const unsigned kAnswer = 1, kOther = 2; // frames

static bool NarrowToId(const std::string &where, ActiveFault *fault, std::string *error)
{
    uint16_t id = 0;
    *error = "there is no frame '" + where + "'";
    if (!LocalNumber(where, &id)) return false;
    fault->where = std::to_string(id);
    return true;
}

const FaultTable kLocalFaults = {
    "misbehave",
    "WHAT",
    "NAME[@WHAT][=VALUE] [COUNT]; without COUNT until \"misbehave off\". WHAT is the FuncID of the\n"
    "frames that it is for, by number or name; without it, it is for all that are sent.\n\n",
    " ",
    "",
    {
        {"silent", kNoValue, "do not send it"},
        {"late", SecondsValue(), "send it SECONDS later; other frames may overtake"},
        {"status", NumberValue("N", "1", 0, 255), "answer status N and nothing else", kAnswer},
        {"wrong-id", NumberValue("ID", "6", 0, 65535), "send it under another FuncID"},
        {"repeat-sequence", kNoValue, "give it the number of the frame before"},
        {"bad-checksum", kNoValue, "send a checksum that is one too high"},
        {"bad-head", kNoValue, "begin it with YY instead of ZZ"},
        {"oversized", NumberValue("N", "8101", 15, kMaxLocalPayload), "fill it with zeros up to N bytes"},
        {"announce", NumberValue("N", "65535", 0, UINT32_MAX), "announce a payload of N bytes"},
        {"empty", kNoValue, "send it without a payload"},
        {"noise", NumberValue("N", "100", 1, kMaxLocalPayload), "send N bytes that are no frame first"},
        {"two-in-one", kNoValue, "send it in one write with a frame behind it that asks for nothing"},
        {"twice", kNoValue, "send it twice, in two writes"},
        {"split", SecondsValue("1"), "send half of it, and the rest SECONDS later"},
        {"half", kNoValue, "send half of it, and never the rest"},
        {"close-mid-frame", kNoValue, "send half of it and close the connection"},
        {"close", kNoValue, "close the connection behind it"},
        {"disconnect", kNoValue, "close the connection instead"},
    },
    NarrowToId,
    nullptr,
};

FaultPlace PlaceOf(uint16_t id, bool answer)
{
    return {std::to_string(id), answer ? kAnswer : kOther};
}

} // namespace sim
