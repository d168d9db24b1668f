// Any bytes from the local peer: reads are split without losing or doubling a byte, only valid frames have an effect,
// an answer is kept unchanged or not at all, reports are counted once, and nothing outside a frame's slot is touched.
//
// Input: steps.
//   kind      bit 7 set: a read; bit 0: after a truncated frame. Then its length (2 bytes) and its bytes.
//             bit 7 clear: a frame. bit 0: declare the right length; bit 1: the right checksum; bit 2: the next
//             sequence; bit 3: no memory; bits 4 to 6: half minutes that pass before
//   FuncID, sequence, length, checksum, payload length (2 bytes each) and the payload
#include <algorithm>
#include <cstring>
#include <vector>

#include "FuzzOs.h"
#include "comm/CommAnswer.h"
#include "comm/CommFrame.h"
#include "comm/CommHandle.h"
#include "comm/CommReports.h"
#include "core/Common.h"
#include "core/Config.h"
#include "platform/Protool.h"
#include "subdev/Function40.h"

typedef std::vector<uint8_t> Bytes;

static const size_t kGuard = 64;
static const uint8_t kGuardByte = 0xA5;

static uint8_t s_slot[8200 + kGuard]; // one for all frames, so that each finds the bytes of the one before
static uint8_t s_rxBefore[sizeof rxData];

static unsigned Le(const uint8_t *at, int bytes)
{
    unsigned value = 0;
    while (bytes-- > 0) value = value << 8 | at[bytes];
    return value;
}

static unsigned Sum(const uint8_t *bytes, size_t length)
{
    unsigned sum = 0;
    for (size_t i = 0; i < length; i++) sum += bytes[i];
    return sum % 65536;
}

// Whether the item in the slot is a valid frame.
static bool InOrder()
{
    uint32_t came;
    memcpy(&came, s_slot, 4);
    const uint8_t *frame = s_slot + 4;
    if (came < 15 || came > 8100 || frame[0] != 'Z' || frame[1] != 'Z' || Le(frame + 4, 4) == CommRxSeq) return false;
    const unsigned declared = Le(frame + 8, 4);
    return declared <= 8182 && Le(frame + 12, 2) == Sum(frame + 14, declared);
}

static bool IsAnswer(unsigned id)
{
    return (id >= 70 && id <= 80) || id == 82 || id == 83 || id == 85 || id == 88;
}

static void CheckAnswer(unsigned id, const uint8_t *payload, unsigned declared)
{
    if (!IsAnswer(id)) {
        REQUIRE(memcmp(rxData, s_rxBefore, sizeof rxData) == 0);
        return;
    }
    size_t changed = 1;
    if (payload[0] != 0) {
        REQUIRE(rxData[0] == payload[0]);
    } else if (declared < 1 || declared > 4000) {
        REQUIRE(rxData[0] == 1);
    } else {
        REQUIRE(rxData[0] == 0 && Le(rxData + 1, 2) == declared);
        REQUIRE(memcmp(rxData + 3, payload + 1, declared - 1) == 0 && rxData[2 + declared] == 0);
        changed = 3 + declared;
    }
    REQUIRE(memcmp(rxData + changed, s_rxBefore + changed, sizeof rxData - changed) == 0);
}

// Passes the item on as the queue would and checks the effect.
static void Handle(const uint8_t *item, size_t length)
{
    const uint32_t came = static_cast<uint32_t>(length);
    memcpy(s_slot, &came, 4);
    memcpy(s_slot + 4, item, length);
    const bool inOrder = InOrder();
    const Bytes before(s_slot, s_slot + sizeof s_slot);
    const uint16_t reports = autoReportSeq;
    const uint32_t sequence = CommRxSeq;
    memcpy(s_rxBefore, rxData, sizeof rxData);
    CommReceived = 0;

    CommHandleFrame(s_slot);

    REQUIRE(CommReceived == (inOrder ? 1 : 0));
    const unsigned id = Le(before.data() + 6, 2);
    const unsigned declared = Le(before.data() + 12, 4);
    const uint16_t sent = static_cast<uint16_t>(autoReportSeq - reports);
    if (!inOrder) {
        REQUIRE(memcmp(rxData, s_rxBefore, sizeof rxData) == 0 && sent == 0);
        REQUIRE(CommRxSeq == sequence || CommRxSeq == Le(before.data() + 8, 4));
        REQUIRE(memcmp(s_slot, before.data(), sizeof s_slot) == 0);
        return;
    }
    REQUIRE(CommRxSeq == Le(before.data() + 8, 4));
    CheckAnswer(id, before.data() + 18, declared);
    const bool report = id == 81 || id == 84 || id == 86;
    const bool memory = g_world.allocationsLeft != 0;
    REQUIRE(sent == (report && declared > 0 && memory ? 1 : 0) || (id == 89 && declared > 0 && memory && sent == 1));
    for (size_t i = 0; i < before.size(); i++) {
        const bool address = id == 81 && i >= 18 + 205 && i < 18 + 225;
        REQUIRE(address || s_slot[i] == before[i]);
    }
}

static Bytes s_cut; // the truncated frame of the last read

// How many bytes of the read complete the truncated frame before it; that one is handled, completed or not.
static size_t Complete(const Bytes &read)
{
    const size_t cut = s_cut.size();
    Bytes joined = s_cut;
    joined.insert(joined.end(), read.begin(), read.end());
    const size_t rest = CommFrameRest(joined.data(), cut, std::min(joined.size(), kMaxCommFrame));
    REQUIRE(rest <= read.size() && cut + rest <= kMaxCommFrame);
    REQUIRE(rest == 0 || cut + rest == kCommHeaderSize + Le(joined.data() + 8, 4));
    s_cut.clear();
    Handle(joined.data(), cut + rest);
    return rest;
}

static void Read(FuzzInput *input, bool further)
{
    size_t length = input->Word() % (kMaxCommRead + 1);
    const uint8_t *bytes = input->Bytes(&length);
    const Bytes read(bytes, bytes + length);
    size_t at = s_cut.empty() || read.empty() ? 0 : Complete(read);
    further = further || at > 0;
    while (at < length) {
        const size_t piece = CommFrameCut(read.data() + at, length - at, further);
        REQUIRE(piece <= length - at);
        REQUIRE(further || piece > 0); // the first frame of a read never waits for more
        if (piece == 0) {
            REQUIRE(length - at < kMaxCommFrame); // there is room for the rest
            s_cut.assign(read.begin() + static_cast<long>(at), read.end());
            return;
        }
        Handle(read.data() + at, piece);
        at += piece;
        further = true;
    }
}

static void Frame(FuzzInput *input, uint8_t kind)
{
    g_world.nowMs += (kind >> 4) * 30000;
    g_world.allocationsLeft = (kind & 8) ? 0 : -1;
    const uint16_t id = input->Word();
    const uint32_t sequence = (kind & 4) ? CommRxSeq + 1 : input->Word();
    const uint16_t declared = input->Word();
    const uint16_t checksum = input->Word();
    size_t length = input->Word() % (kCommSlotPayload + 1);
    const uint8_t *payload = input->Bytes(&length);
    uint8_t frame[kCommHeaderSize + kCommSlotPayload];
    const size_t size = CommFrameWrite(id, sequence, payload, length, frame, sizeof frame);
    REQUIRE(size == kCommHeaderSize + length);
    REQUIRE(Le(frame + 8, 4) == length && Le(frame + 12, 2) == Sum(payload, length));
    for (int i = 0; i < 2; i++) {
        if (!(kind & 1)) frame[8 + i] = static_cast<uint8_t>(declared >> 8 * i);
        if (!(kind & 2)) frame[12 + i] = static_cast<uint8_t>(checksum >> 8 * i);
    }
    Handle(frame, size);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzOsReset();
    d_set_log_level(LOG_LEVEL_NONE);
    l_debug = 0;
    mLogin = 1;
    CommRxSeq = CommTxSeq = 0;
    CommReportsReset();
    CommOnDevices(Fn40Handle);
    s_cut.clear();
    memset(rxData, 0, sizeof rxData);
    memset(s_slot, 0, sizeof s_slot);
    memset(s_slot + sizeof s_slot - kGuard, kGuardByte, kGuard);
    FuzzInput input = {data, size};
    while (input.left > 0) {
        const uint8_t kind = input.Byte();
        if (kind & 0x80)
            Read(&input, kind & 1);
        else
            Frame(&input, kind);
    }
    return 0;
}
