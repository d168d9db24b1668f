#include "core/LocalPeer.h"

OsAtomic<int> CommClientReg;
OsWaiter gLocalPeer;

void LocalPeerCame()
{
    OsGuard guard(&gLocalPeer);
    CommClientReg = 1;
    OsWakeAll(&gLocalPeer);
}

void LocalPeerReset()
{
    CommClientReg = 0;
}
