#include "rules/BadItem.h"

#include "platform/TcpServer.h"

static const int64_t kPauseMs = 1000;

bool StayOnBadItem()
{
    return !WaitForServerStop(kPauseMs);
}
