// Pushes and popups in any order, compared with a simple model of the receive queue.
//
// Input: steps. A byte N of 0 to 127: push the N bytes that follow. 128 to 191: take a frame out. 192 to 223: push
// the byte that follows (N - 191) * 1024 times, which is how a small input fills the queue. 224 and above: a frame
// with a head of N - 224 bytes and a body of as many bytes as the word that follows says.
#include <cstring>
#include <vector>

#include "FuzzOs.h"
#include "core/Common.h"
#include "platform/TcpQueue.h"

typedef std::vector<uint8_t> Bytes;

static Bytes s_model;
static bool s_news; // pushed since the last popup

static void Push(const Bytes &bytes)
{
    const bool fits = s_model.size() + bytes.size() <= 204800;
    static const uint8_t nothing = 0; // an empty vector has no address, push() needs one
    REQUIRE(push(bytes.empty() ? &nothing : bytes.data(), bytes.size()) == (fits ? 0 : -1));
    if (!fits) return;
    s_model.insert(s_model.end(), bytes.begin(), bytes.end());
    s_news = true;
}

// The start and length of the frame that popup() must return; false if there is none yet.
static bool FindFrame(size_t *start, size_t *length)
{
    for (size_t i = 0; i + 2 < s_model.size(); i++) {
        if (s_model[i] != 0xCC || s_model[i + 1] != 0xDD) continue;
        if (s_model.size() - i < 7) return false;
        const size_t body = s_model[i + 5] + 256u * s_model[i + 6];
        if (body > 1508) continue;
        *start = i;
        *length = 7 + s_model[i + 3] + body;
        return s_model.size() - i >= *length;
    }
    return false;
}

static void Popup(ReceivedFrame *frame)
{
    size_t start = 0, length = 0;
    const bool complete = FindFrame(&start, &length);
    memset(frame, 0xA5, sizeof *frame);
    REQUIRE(popup(frame) == (complete ? 0 : -1));
    s_news = false;
    if (!complete) return;

    const uint8_t *at = s_model.data() + start;
    const size_t headLen = at[3], bodyLen = length - 7 - headLen;
    REQUIRE(frame->header.msgType == at[2] % 32 && frame->header.flag == at[2] / 32);
    REQUIRE(frame->header.headLen == headLen && frame->header.checksum == at[4] && frame->header.bodyLen == bodyLen);
    REQUIRE(memcmp(frame->head, at + 7, headLen) == 0);
    REQUIRE(memcmp(frame->body, at + 7 + headLen, bodyLen) == 0);
    REQUIRE(headLen == sizeof frame->head || frame->head[headLen] == 0xA5); // nothing behind them is touched
    REQUIRE(bodyLen == sizeof frame->body || frame->body[bodyLen] == 0xA5);
    REQUIRE(frame->firstWord == (bodyLen < 2 ? 0 : frame->body[0] + 256 * frame->body[1]));
    s_model.erase(s_model.begin(), s_model.begin() + static_cast<long>(start + length));
}

static Bytes MadeFrame(uint8_t headLen, uint16_t bodyLen, uint8_t fill)
{
    Bytes bytes = {0xCC, 0xDD, 0x14, headLen, fill, static_cast<uint8_t>(bodyLen), static_cast<uint8_t>(bodyLen >> 8)};
    bytes.resize(bytes.size() + headLen + bodyLen % 2048, fill);
    return bytes;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static ReceivedFrame frame;
    FuzzOsReset();
    d_set_log_level(LOG_LEVEL_NONE);
    NewTcpQueue();
    s_model.clear();
    s_news = false;
    FuzzInput input = {data, size};
    while (input.left > 0) {
        const uint8_t step = input.Byte();
        if (step < 128) {
            size_t length = step;
            const uint8_t *bytes = input.Bytes(&length);
            Push(Bytes(bytes, bytes + length));
        } else if (step < 192) {
            Popup(&frame);
        } else if (step < 224) {
            Push(Bytes((step - 191u) * 1024u, input.Byte()));
        } else {
            const uint16_t bodyLen = input.Word();
            Push(MadeFrame(static_cast<uint8_t>(step - 224), bodyLen, input.Byte()));
        }
        REQUIRE(!s_news || QueueTurn(true)); // bytes that have arrived since are never left lying
    }
    return 0;
}
