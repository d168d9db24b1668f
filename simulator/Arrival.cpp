#include "simulator/Arrival.h"

#include "core/Wire.h"
#include "simulator/Decoder.h"

namespace sim
{

// Reports come as replies too, with a tag that no request had: those are not matched and not wrong.
static void PairWithRequest(ParsedFrame *frame, Peer *peer, int64_t nowMs, Fields *fields)
{
    if (!FindField(*fields, "tag")) return;
    WireReader r = WireRead(frame->payload.data(), frame->payload.size());
    const uint16_t tag = WireGetLe16(&r);
    const uint16_t function = WireGetLe16(&r);
    const auto request = peer->waiting.find(tag);
    fields->push_back(FlagField("matched", request != peer->waiting.end()));
    if (request == peer->waiting.end()) return;
    fields->push_back(NumberField("latency_ms", nowMs - request->second.sentMs, "ms"));
    if (request->second.function != function)
        frame->problems.push_back("the reply names function " + std::to_string(function) + ", asked was " +
                                  std::to_string(request->second.function));
    peer->waiting.erase(request);
}

Fields DescribeArrival(ParsedFrame *frame, Peer *peer, int64_t nowMs)
{
    Fields fields = DescribeFrame(frame, STEP_COMMAND);
    if (frame->checksumOk && frame->header.msgType == MSG_ACK_MAC) PairWithRequest(frame, peer, nowMs, &fields);
    if (frame->hasRecord && !frame->mac.empty() && peer->macSure && frame->mac != peer->mac)
        frame->problems.push_back("the MAC is not the registered " + MacText(peer->mac));
    if (!frame->problems.empty()) fields.push_back(ListField("problems", frame->problems));
    return fields;
}

} // namespace sim
