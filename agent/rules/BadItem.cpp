#include "rules/BadItem.h"

#include "platform/ServerStop.h"
#include "platform/SignOfLife.h"

static const int64_t kPauseMs = 1000;

bool StayOnBadItem()
{
    SetResponseState(RESPONSE_STAYS);
    return !WaitForServerStop(kPauseMs);
}
