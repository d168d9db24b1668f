#include "platform/ServerStop.h"

#include "os/OsWait.h"

OsAtomic<int> ServerRun;

static OsWaiter s_stop; // woken when ServerRun is cleared and when what follows changes, all of which it guards
static ServerStopCall *s_stopCalls;
static int s_threads;
static bool s_socketPassed; // and nobody has taken it

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

void CountServerThread(int change)
{
    OsGuard guard(&s_stop);
    s_threads += change;
    if (change > 0) return;
    s_socketPassed = false; // by the last thread at the latest, so not for the next connection
    OsWakeAll(&s_stop);
}

void PassSocket()
{
    OsGuard guard(&s_stop);
    s_socketPassed = true;
    OsWakeAll(&s_stop);
}

bool AwaitSocket()
{
    OsGuard guard(&s_stop);
    while (ServerRun == 1 && !s_socketPassed) OsWaitUntil(&s_stop, OS_FOREVER);
    s_socketPassed = false;
    return ServerRun == 1;
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
    while (!OsWaitFor(&s_stop, MakeStopCalls() ? kCallAgainMs : OS_FOREVER, [] { return s_threads == 0; })) {
    }
}
