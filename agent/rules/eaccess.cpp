#define LOG_MODULE "eaccess"
#include "rules/eaccess.h"

#include "core/Common.h"
#include "core/PlugStatus.h"
#include "os/OsProcess.h"
#include "rules/SurfTable.h"
#include "rules/iot_poll.h"
#include "rules/iot_signal.h"

pthread_t eaccess_thread;
int32_t real_vap_int;
int32_t no_feeling_int;
int32_t no_feeling_port;

static const uint32_t kStarter = LogModule("Plug"); // the module in the log lines of start and stop

static bool s_tryAgain; // the last start failed: rules that commands have stored since then are kept

int StartEaccess()
{
    pollPrepare();
    int error = OsThreadStart(&eaccess_thread, EaccessThread, nullptr);
    if (error != 0) {
        LogLine(LogPlace(LOG_LEVEL_ERR, kStarter, __LINE__), __func__, "Create EaccessThread feiled !!!!!");
        LogPlugStatus(PLUG_START_FAILED);
    } else {
        // Without this wait the daemon could empty the table after a command has stored its rules.
        error = pollAwaitStart();
        if (error != 0) OsThreadJoin(eaccess_thread);
    }
    s_tryAgain = error != 0;
    return error;
}

void StopEaccess()
{
    pollStop();
    OsThreadJoin(eaccess_thread);
    LogLine(LogPlace(LOG_LEVEL_DEBUG, kStarter, __LINE__), __func__, "Stop Eaccess success !!!!!");
}

void *EaccessThread(void *)
{
    no_feeling_daemon(1, 99, 6100);
    return nullptr;
}

// One of the daemon's threads. Not every failed start ends the daemon (see below); then there is no thread to join.
struct DaemonThread {
    pthread_t handle;
    int error; // of its start
};

static DaemonThread Start(void *(*body)(void *), void *argument)
{
    DaemonThread thread = {};
    thread.error = OsThreadStart(&thread.handle, body, argument);
    return thread;
}

static bool Join(const DaemonThread &thread)
{
    if (thread.error == 0 && OsThreadJoin(thread.handle) == 0) return true;
    LOG_AS(LOG_LEVEL_ERR, "no_feeling_daemon", " thread is not exit...");
    return false;
}

int no_feeling_daemon(int32_t real_vap, int32_t no_feeling, int32_t port)
{
    test_security("helloworld");
    set_real_vap_int(real_vap);
    set_no_feeling_int(no_feeling);
    set_no_feeling_port(port);
    pollStart();

    // Not every error number ends the daemon: for the first thread only -1 does, for the second any negative number.
    const DaemonThread poll = Start(thread_epoll, &no_feeling_port);
    if (poll.error == -1) {
        LOG_DEBUG("create thread epoll error!");
        return pollStarted(DAEMON_NO_THREAD);
    }
    LOG_DEBUG("create thread epoll ok!");
    if (!s_tryAgain) hash_table_init();
    const DaemonThread rules = Start(TimeRuleProc, nullptr);
    if (rules.error < 0) {
        LOG_DEBUG("create TimeRuleProc error!");
        if (poll.error == 0) OsThreadJoin(poll.handle); // it has ended or ends at once
        return pollStarted(DAEMON_NO_THREAD);
    }
    LOG_DEBUG("create TimeRuleProc ok!");
    pollStarted(rules.error == 0 ? DAEMON_ENDED : DAEMON_NOT_JOINED);
    Join(poll);
    return Join(rules) ? DAEMON_ENDED : DAEMON_NOT_JOINED;
}

int set_real_vap_int(int32_t value)
{
    real_vap_int = value;
    return 0;
}

int set_no_feeling_int(int32_t value)
{
    no_feeling_int = value;
    return 0;
}

int set_no_feeling_port(int32_t value)
{
    no_feeling_port = value;
    return 0;
}
