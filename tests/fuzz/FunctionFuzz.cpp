// Any payload as a function request: the reply fits its room, echoes tag and ID, and an unknown function is answered
// by the rule for unknown functions.
#include <cstring>

#include "FuzzOs.h"
#include "core/Common.h"
#include "functions/FunctionList.h"
#include "functions/ProtoolSdk.h"

static const size_t kGuard = 64;
static const uint8_t kGuardByte = 0xA5;

static bool GuardIntact(const uint8_t *guard)
{
    for (size_t i = 0; i < kGuard; i++)
        if (guard[i] != kGuardByte) return false;
    return true;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static uint8_t request[kFunctionRequestSize + kGuard];
    static uint8_t reply[kFunctionReplySize + kGuard];
    FuzzOsReset();
    d_set_log_level(LOG_LEVEL_NONE);
    if (size < kFunctionRequestMin || size > kFunctionRequestSize) return 0; // never gets here

    memset(request, 0, kFunctionRequestSize);
    memcpy(request, data, size);
    memset(request + kFunctionRequestSize, kGuardByte, kGuard);
    memset(reply, 0, kFunctionReplySize);
    memset(reply + kFunctionReplySize, kGuardByte, kGuard);
    int replyLen = -1;
    const int result = ParserProtoolData(request, reply, &replyLen);

    const int id = data[2] | data[3] << 8;
    REQUIRE(GuardIntact(request + kFunctionRequestSize) && GuardIntact(reply + kFunctionReplySize));
    REQUIRE(replyLen >= 0 && replyLen <= static_cast<int>(kFunctionReplySize));
    REQUIRE(replyLen == 0 || replyLen >= 6); // tag, ID and status
    REQUIRE(replyLen == 0 || memcmp(reply, data, 4) == 0);
    REQUIRE(result == 0 || result == -1);
    REQUIRE(result == -1 || (id >= 1 && id < kFunctionCount));
    if (result == -1) {
        const bool answered = id >= 1 && id < 0x7FFF;
        REQUIRE(replyLen == (answered ? 6 : 0));
        REQUIRE(!answered || (reply[4] == 7 && reply[5] == 0));
    }
    return 0;
}
