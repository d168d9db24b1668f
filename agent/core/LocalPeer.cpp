#include "core/LocalPeer.h"

#include "core/Flags.h"

OsAtomic<int> CommClientReg;

void LocalPeerCame()
{
    OsGuard guard(&gFlags);
    CommClientReg = 1;
    OsWakeAll(&gFlags);
}

void LocalPeerReset()
{
    CommClientReg = 0;
}
