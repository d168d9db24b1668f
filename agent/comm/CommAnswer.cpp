#define LOG_MODULE "CommServer"
#include "comm/CommAnswer.h"

#include "comm/FuncIdList.h"
#include "core/Common.h"
#include "core/Wire.h"

OsWaiter gCommAnswer;
OsAtomic<int> CommReceived;
uint32_t CommAsked;
uint8_t rxData[kRxDataSize];

static const uint8_t kTooLarge = 1; // status of an answer that cannot be kept

static_assert(kRxDataHead + kMaxRxAnswer + 1 <= kRxDataSize, "the longest answer and its NUL do not fit");

// Returns whether a frame of `funcId` is of no concern to the request that is being made. gCommAnswer is held.
static bool ForAnother(uint16_t funcId)
{
    const bool ofDuties = funcId == FUNCID_SET_AUTO_REPORT || funcId == FUNCID_AUTO_REPORT_CONFIG;
    return ofDuties && CommAsked != 0 && CommAsked != funcId;
}

void CommKeepAnswer(uint16_t funcId, const uint8_t *payload, uint32_t length)
{
    const uint8_t status = payload[0];
    OsGuard guard(&gCommAnswer);
    if (ForAnother(funcId)) return;
    if (status != 0) {
        rxData[0] = status;
        return;
    }
    if (length < 1 || length - 1 > kMaxRxAnswer) {
        LOG_AS(LOG_LEVEL_ERR, "CommFuncRecv", "ERROR: receive data too large!");
        rxData[0] = kTooLarge;
        return;
    }
    WireWriter w = WireWrite(rxData, sizeof rxData);
    WirePut8(&w, 0);
    WirePutLe16(&w, static_cast<uint16_t>(length));
    WirePutBytes(&w, payload + 1, length - 1);
    WirePut8(&w, '\0');
    LOG_AS(LOG_LEVEL_DEBUG, "CommFuncRecv", "Recv length: %d", static_cast<int>(length));
}

void CommAnnounceAnswer(uint16_t funcId)
{
    OsGuard guard(&gCommAnswer);
    if (ForAnother(funcId)) return;
    CommReceived = 1;
    OsWakeAll(&gCommAnswer);
}

void CommForgetAnswer(uint16_t funcId)
{
    OsGuard guard(&gCommAnswer);
    if (!ForAnother(funcId)) CommReceived = 0;
}

void CommExpectAnswer(uint32_t funcId)
{
    OsGuard guard(&gCommAnswer);
    CommAsked = funcId;
    CommReceived = 0;
}

void CommExpectNothing()
{
    OsGuard guard(&gCommAnswer);
    CommAsked = 0;
}

void CommWakeRequesters()
{
    OsGuard guard(&gCommAnswer);
    OsWakeAll(&gCommAnswer);
}
