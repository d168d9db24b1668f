#include "platform/SignOfLife.h"

#include "os/OsClock.h"
#include "os/OsWait.h"

static pthread_mutex_t s_lock = PTHREAD_MUTEX_INITIALIZER; // guards what follows
static int64_t s_heardMs;
static ResponseState s_response;

void SetResponseState(ResponseState state)
{
    OsGuard guard(&s_lock);
    s_response = state;
}

ResponseState CurrentResponseState()
{
    OsGuard guard(&s_lock);
    return s_response;
}

void NoteBytes()
{
    OsGuard guard(&s_lock);
    if (s_response == RESPONSE_OCCUPIED) s_heardMs = OsNowMs();
}

void NoteAcknowledgement()
{
    OsGuard guard(&s_lock);
    s_heardMs = OsNowMs();
}

int64_t SilenceMs()
{
    OsGuard guard(&s_lock);
    return OsNowMs() - s_heardMs;
}
