#define LOG_MODULE "Protool"
#include "platform/Protool.h"

#include <cstring>

#include "core/Common.h"
#include "core/Flags.h"
#include "os/OsWait.h"

OsAtomic<int> mRegist;
OsAtomic<int> mLogin;
OsAtomic<int> mQuitPro;
OsAtomic<int> beepAck;
OsAtomic<uint32_t> mHeartTime;
OsAtomic<int16_t> mHeartInterval;

char mLoginServer[kDottedSize];
uint16_t mLoginPort;
uint8_t mLoginTocken[kTokenSize];
uint8_t mLoginPluginId[kPluginIdSize];
uint8_t gRoutemac[kMacSize];
char gSN[kSerialSize];
pthread_mutex_t gProtoolMutex;

static const int kIntervalsToMiss = 3;
static const int16_t kFirstHeartInterval = 50; // until the login acknowledgement brings another

static bool s_lockMade; // gProtoolMutex: made once, however many cycles begin; main thread only

int SilenceLimitMs()
{
    return kIntervalsToMiss * mHeartInterval * 1000;
}

void NewProtool()
{
    if (!s_lockMade) pthread_mutex_init(&gProtoolMutex, nullptr);
    s_lockMade = true;
    ClearLoginValues();
    mRegist = 0;
    beepAck = 0;
    mHeartInterval = kFirstHeartInterval;
    mHeartTime = 0;
}

void DeleteProtool()
{
    if (s_lockMade) pthread_mutex_destroy(&gProtoolMutex);
    s_lockMade = false;
    LOG_DEBUG("pthread_mutex_destroy::Protool");
}

void ClearLoginValues()
{
    memset(mLoginServer, 0, sizeof mLoginServer);
    memset(mLoginTocken, 0, sizeof mLoginTocken);
    memset(mLoginPluginId, 0, sizeof mLoginPluginId);
    mLoginPort = 0;
}

void SetSessionFlag(OsAtomic<int> &flag, int value)
{
    OsGuard guard(&gFlags);
    flag = value;
    OsWakeAll(&gFlags);
}

void SetHeartInterval(int16_t seconds)
{
    OsGuard guard(&gFlags);
    mHeartInterval = seconds;
    OsWakeAll(&gFlags);
}

void ClearQuitWhileLoggedIn()
{
    OsGuard guard(&gFlags);
    if (mLogin == 1) mQuitPro = 0;
}

void WaitForSession(const OsAtomic<int> &flag, int64_t milliseconds)
{
    OsWaitFor(&gFlags, milliseconds, [&] { return flag == 1 || mQuitPro == 1; });
}

bool WaitForQuit(int64_t milliseconds)
{
    WaitForSession(mQuitPro, milliseconds);
    return mQuitPro == 1;
}
