#include "platform/ServerStop.h"

#include "os/OsWait.h"

OsAtomic<int> ServerRun;

static OsWaiter s_stop;             // woken when ServerRun is cleared and when the response thread has ended
static ServerStopCall *s_stopCalls; // guarded by s_stop, as is the next
static bool s_responding;

static const int64_t kCallAgainMs = 1000;

bool WaitForServerStop(int64_t milliseconds)
{
    return OsWaitFor(&s_stop, milliseconds, [] { return ServerRun != 1; });
}

void ServerOnStop(ServerStopCall *call)
{
    OsGuard guard(&s_stop);
    if (call->named) return;
    call->named = true;
    call->next = s_stopCalls;
    s_stopCalls = call;
}

// Returns whether one of them wants to be called again.
static bool MakeStopCalls()
{
    const ServerStopCall *call;
    {
        OsGuard guard(&s_stop);
        call = s_stopCalls;
    }
    // Without the lock, because each call takes the lock of what it wakes. Calls are only ever put in front of the
    // list, so what hangs on this one does not change.
    bool again = false;
    for (; call; call = call->next) again = call->letGo() || again;
    return again;
}

void SetServerResponding(bool responding)
{
    OsGuard guard(&s_stop);
    s_responding = responding;
    OsWakeAll(&s_stop);
}

void BeginServerStop()
{
    {
        OsGuard guard(&s_stop);
        ServerRun = 0;
        OsWakeAll(&s_stop);
    }
    MakeStopCalls();
}

void AwaitServerResponse()
{
    while (!OsWaitFor(&s_stop, MakeStopCalls() ? kCallAgainMs : OS_FOREVER, [] { return !s_responding; })) {
    }
}
