#define LOG_MODULE "ProtoolSdk"
#include "functions/ProtoolSdk.h"

#include <cstddef>
#include <iterator>

#include "core/Common.h"
#include "core/Wire.h"
#include "functions/FunctionList.h"
#include "functions/Identity.h"

typedef bool (*FunctionHandler)(WireReader *parameters, WireWriter *reply);

static bool Unsupported(WireReader *, WireWriter *)
{
    return false;
}

struct FunctionRow {
    uint16_t id;
    FunctionHandler answer;
};

#define FUNCTION_ROW(id, name, handler) {id, handler},
static constexpr FunctionRow kFunctions[] = {FUNCTION_LIST(FUNCTION_ROW)};
#undef FUNCTION_ROW

static constexpr bool StandAtTheirOwnId(const FunctionRow *rows, size_t count)
{
    for (size_t i = 0; i < count; i++)
        if (rows[i].id != i) return false;
    return true;
}
static_assert(std::size(kFunctions) == kFunctionCount, "a row is missing");
static_assert(StandAtTheirOwnId(kFunctions, std::size(kFunctions)), "rows stand at their own ID");

// An unknown function is answered only when its ID is positive as a signed 16-bit number.
static int AnswerUnknown(uint16_t id, WireWriter *reply)
{
    if (id >= 1 && id <= INT16_MAX - 1)
        WirePutLe16(reply, swapInt16(kStatusUnsupported));
    else
        reply->used = 0;
    return -1;
}

int ParserProtoolData(uint8_t *request, uint8_t *reply, int *replyLen)
{
    WireReader in = WireRead(request, kFunctionRequestSize);
    WireWriter out = WireWrite(reply, kFunctionReplySize);
    WireTake(&in, 2);
    const uint16_t id = swapInt16(WireGetLe16(&in));
    WireTake(&in, kFunctionRequestMin - 4);
    LOG_DEBUG("ParserProtoolData funcid %d", id);

    reply[0] = 0;
    WirePutBytes(&out, request, 4); // tag and ID are echoed byte for byte
    int result = 0;
    if (id >= kFunctionCount || !kFunctions[id].answer(&in, &out)) result = AnswerUnknown(id, &out);
    *replyLen = static_cast<int>(out.used);
    return result;
}
