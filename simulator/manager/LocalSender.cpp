#include "simulator/manager/LocalSender.h"

#include <algorithm>

#include "comm/CommFrame.h"
#include "comm/FuncIdList.h"
#include "simulator/manager/LocalFaults.h"

namespace sim
{

uint32_t LocalSender::Number()
{
    last_ = next_++;
    return last_;
}

static void Damage(FaultTaker *taker, LocalFrame *frame, LocalOverrides *overrides)
{
    if (taker->Take("status")) frame->payload = {static_cast<uint8_t>(taker->Number())};
    if (taker->Take("wrong-id")) frame->id = static_cast<uint16_t>(taker->Number());
    if (taker->Take("empty")) frame->payload.clear();
    if (taker->Take("oversized")) {
        const size_t size = static_cast<size_t>(taker->Number()) - kCommHeaderSize;
        frame->payload.resize(std::max(size, frame->payload.size()));
    }
    if (taker->Take("bad-checksum"))
        overrides->checksum = static_cast<uint16_t>(CommChecksum(frame->payload.data(), frame->payload.size()) + 1);
    if (taker->Take("bad-head")) overrides->head = false;
    if (taker->Take("announce")) overrides->length = static_cast<uint32_t>(taker->Number());
}

static std::vector<Chunk> InTwo(const Bytes &bytes, int64_t pauseMs)
{
    const auto middle = bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size() / 2);
    return {{0, Bytes(bytes.begin(), middle)}, {pauseMs, Bytes(middle, bytes.end())}};
}

LocalDelivery LocalSender::Deliver(const LocalOutgoing &outgoing, Faults *faults)
{
    LocalDelivery out;
    Delivery &delivery = out.delivery;
    out.frame = {outgoing.id, 0, outgoing.payload};
    FaultTaker taker(faults, PlaceOf(outgoing.id, outgoing.answer), &delivery.faults);
    out.disconnect = taker.Take("disconnect");
    if (out.disconnect || taker.Take("silent")) return out;

    Bytes bytes = outgoing.payload;
    if (!outgoing.raw) {
        LocalOverrides overrides = outgoing.overrides;
        Damage(&taker, &out.frame, &overrides);
        const bool repeat = taker.Take("repeat-sequence");
        out.frame.sequence = outgoing.sequence ? *outgoing.sequence : repeat ? last_ : Number();
        if (outgoing.sequence) last_ = *outgoing.sequence;
        bytes = EncodeLocal(out.frame, overrides);
    }
    if (taker.Take("noise")) bytes.insert(bytes.begin(), static_cast<size_t>(taker.Number()), 'n');
    // An agent does not answer a plugin-state query without an i.
    if (taker.Take("two-in-one")) Append(&bytes, EncodeLocal({FUNCID_PLUGIN_STATE, Number(), {'-'}}));

    delivery.chunks = {{0, bytes}};
    if (taker.Take("split")) delivery.chunks = InTwo(bytes, taker.Number());
    const bool cut = taker.Take("close-mid-frame");
    if (cut || taker.Take("half")) delivery.chunks = {InTwo(bytes, 0)[0]};
    if (taker.Take("twice")) delivery.chunks.push_back({0, bytes});
    delivery.closeAfter = taker.Take("close") || cut;
    if (taker.Take("late")) delivery.chunks[0].pauseMs += taker.Number();
    return out;
}

} // namespace sim
