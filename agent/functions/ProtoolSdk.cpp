#define LOG_MODULE "ProtoolSdk"
#include "functions/ProtoolSdk.h"

#include <cstddef>
#include <iterator>

#include "core/Common.h"
#include "functions/Devices.h"
#include "functions/FunctionHandler.h"
#include "functions/FunctionList.h"
#include "functions/Identity.h"
#include "functions/Lan.h"
#include "functions/LocalRows.h"
#include "functions/Ping.h"
#include "functions/RateTest.h"
#include "functions/Rules.h"
#include "functions/Services.h"
#include "functions/Shapes.h"
#include "functions/System.h"
#include "functions/Traceroute.h"
#include "functions/Wan.h"
#include "functions/Wireless.h"
#include "sdk/RouterSdk.h"

static const size_t kReplyHeader = 6; // tag, ID and status

// The handler of rows with status UNKNOWN; never called.
static int Unsupported(WireReader *, WireWriter *)
{
    return 0;
}

struct FunctionRow {
    uint16_t id;
    FunctionStatus status;
    FunctionHandler answer;
};

#define FUNCTION_ROW(id, name, handler, status, length) {id, STATUS_##status, handler},
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

static uint16_t StatusOf(FunctionStatus encoding, int result)
{
    switch (encoding) {
    case STATUS_HOST: return static_cast<uint16_t>(result);
    case STATUS_PROTOCOL: return swapInt16(static_cast<uint16_t>(result));
    default: return 0;
    }
}

// An unknown function is answered only if its ID is positive as a signed 16-bit number, and below the largest one.
static int AnswerUnknown(uint16_t id, uint16_t *status, size_t *length)
{
    *status = swapInt16(kStatusUnsupported);
    *length = id >= 1 && id <= INT16_MAX - 1 ? kReplyHeader : 0;
    return -1;
}

int ParserProtoolData(const uint8_t *request, uint8_t *reply, int *replyLen)
{
    WireReader in = WireRead(request, kFunctionRequestSize);
    WireWriter out = WireWrite(reply, kFunctionReplySize);
    WireTake(&in, 2);
    const uint16_t id = swapInt16(WireGetLe16(&in));
    WireTake(&in, kFunctionRequestMin - 4);
    LOG_DEBUG("ParserProtoolData funcid %d", id);

    WirePutZeros(&out, kReplyHeader);
    uint16_t status;
    size_t length;
    int result = 0;
    if (id >= kFunctionCount || kFunctions[id].status == STATUS_UNKNOWN) {
        result = AnswerUnknown(id, &status, &length);
    } else {
        const FunctionRow &row = kFunctions[id];
        status = StatusOf(row.status, row.answer(&in, &out));
        length = row.status == STATUS_NONE ? 0 : out.used;
    }
    if (length > 0) {
        WireWriter head = WireWrite(reply, kReplyHeader);
        WirePutBytes(&head, request, 4); // tag and ID are echoed byte for byte
        WirePutLe16(&head, status);
    }
    *replyLen = static_cast<int>(length);
    return result;
}
