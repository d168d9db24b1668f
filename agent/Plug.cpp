#define LOG_MODULE "Plug"
#include "Plug.h"

#include <cstring>
#include <initializer_list>

#include "CBHandle.h"
#include "comm/AutoReport.h"
#include "comm/ComRequests.h"
#include "comm/CommHandle.h"
#include "comm/CommServer.h"
#include "core/About.h"
#include "core/Common.h"
#include "core/Config.h"
#include "core/PlugStatus.h"
#include "core/Version.h"
#include "functions/FwVersionReport.h"
#include "http/HttpSocket.h"
#include "os/OsClock.h"
#include "os/OsDivide.h"
#include "os/OsProcess.h"
#include "os/OsWait.h"
#include "os/Paths.h"
#include "platform/Protool.h"
#include "platform/Session.h"
#include "platform/Settings.h"
#include "platform/SettingsCheck.h"
#include "platform/SignOfLife.h"
#include "platform/TcpServer.h"
#include "rules/eaccess.h"
#include "subdev/Function39.h"
#include "subdev/Function40.h"
#include "subdev/Subdev.h"

static const int kRetriesToExit = 11; // failed attempts in a row; one more ends the process
static const uint32_t kTickMs = 2000;
static const uint32_t kWeekOfTicks = 302401;

// All that this module remembers.
static struct {
    SessionContext plug;
    uint32_t dutyCounter; // ticks spent in sessions; never reset, so each duty is done once per process
    int retries;          // failed registrations since the last session
} s_plug;

uint32_t PlugDutyCounter()
{
    return s_plug.dutyCounter;
}

void PlugSetDutyCounter(uint32_t ticks)
{
    s_plug.dutyCounter = ticks;
}

void PlugResetCounters()
{
    s_plug.dutyCounter = 0;
    s_plug.retries = 0;
}

// ---- Services ----

// A part of the agent with a thread of its own. Sessions work without it.
struct Service {
    int (*start)(); // returns 0, or an error when the thread could not be started
    bool failed;
};

static Service s_accessDaemon = {StartEaccess, false};
static Service s_function39 = {Fn39Init, false};
static Service s_function40 = {Fn40Init, false};

static void Start(Service *service)
{
    service->failed = service->start() != 0;
}

static void StartWhatFailed()
{
    for (Service *service : {&s_accessDaemon, &s_function39, &s_function40})
        if (service->failed) Start(service);
}

// ---- Start-up ----

void PlugConnectModules()
{
    static const HttpSession s_session = {[] { return ServerRun != 1; }, [] { SetResponseState(RESPONSE_STAYS); }};
    static ServerStopCall s_onStop = {HttpSessionEnds, false, nullptr};
    ServerOnFrame(CBHandle);
    CommOnDevices(Fn40Handle);
    HttpFollow(&s_session);
    ServerOnStop(&s_onStop);
}

// Its result is not used: without settings every registration fails, and that is retried and reported.
static int SysInit()
{
    NewTcpQueue();
    NewProgramProfile(kPathDefaultConfig);
    return InitProtool();
}

void PlugStart(int argc, char *argv[])
{
    if (AboutAsked(argc, argv)) OsExit(AboutPrint());
    ClearOptions();
    if (SettingsCheckAsked(argc, argv)) OsExit(SettingsCheck(argc, argv));
    memset(gSN, 0, sizeof gSN);
    if (config_line_proc(argc, argv) != 0) LOG_FATAL("main", "Error wrong param(s).");
    d_set_log_level(l_debug ? LOG_LEVEL_ALL : LOG_LEVEL_NONE);
    LOG_AS(LOG_LEVEL_DEBUG, "main", "Log system [debug] working.");
    LOG_AS(LOG_LEVEL_INFO, "main", ">>>>>>>>>>>>>>>>> Plugin Version = %s", kPluginVersionTagged);
    OsSleepMs(50);
    PlugConnectModules();
    SysInit();
    Start(&s_accessDaemon);
    if (CommServerStart() != 0) LOG_FATAL("main", "Comm server start error.");
    OsSleepMs(10);
    Start(&s_function39);
    OsSleepMs(10);
    Start(&s_function40);
    if (StartSubdev() != 0) LOG_FATAL("main", "StartSubdev failed.");
}

// ---- The cycle ----

static void SysVarInit()
{
    ServerRun = 0;
    memset(&s_plug.plug, 0, sizeof s_plug.plug);
    NewProtool();
    SetSessionFlag(mQuitPro, 0);
    mHeartTime = 0;
    SetSessionFlag(mLogin, 0);
    LogPlugStatus(PLUG_CONNECTING);
}

static bool Register()
{
    if (runMode == 0) return RegisterStart(&s_plug.plug, RegisterIpAddr1) == 0;
    LOG_AS(LOG_LEVEL_INFO, "main", "Register server1...");
    if (RegisterStart(&s_plug.plug, RegisterIpAddr1) == 0) return true;
    SysVarInit();
    LOG_AS(LOG_LEVEL_INFO, "main", "Register server2...");
    return RegisterStart(&s_plug.plug, RegisterIpAddr2) == 0;
}

static void SendCalibration()
{
    LOG_AS(LOG_LEVEL_INFO, "main", "Send calibration info.");
    ComF_send_calibration();
}

// Duties, each done once per process at its tick; in ascending order.
static const struct {
    uint32_t tick;
    void (*run)();
} kDuties[] = {
    {8, [] { ComF_send_pluginstate(); }},
    {9, [] { ComF_get_autoreport_conf(); }},
    {11, [] { dev_fwversion_report(); }},
    {100, SendCalibration},
};

// Does the duty of the current tick. Returns the ticks until the next duty, or 0 when there is none left.
static uint32_t DoDuties()
{
    for (const auto &duty : kDuties) {
        if (duty.tick == s_plug.dutyCounter) duty.run();
        if (duty.tick > s_plug.dutyCounter) return duty.tick - s_plug.dutyCounter;
    }
    return 0;
}

// The duty loop ticks every 2 s. Ticks without a duty are counted, not waited for one by one: the wait lasts to the
// next duty, or to the end of the session. A tick that has begun counts as a whole one.
static void RunUntilQuit()
{
    while (mQuitPro != 1) {
        const uint32_t ticks = DoDuties();
        const int64_t begin = OsNowMs();
        const bool quit = WaitForQuit(ticks > 0 ? int64_t{ticks} * kTickMs : OS_FOREVER);
        const uint32_t begun = static_cast<uint32_t>(OsDivide(static_cast<uint64_t>(OsNowMs() - begin), kTickMs)) + 1;
        s_plug.dutyCounter += quit && (ticks == 0 || begun < ticks) ? begun : ticks;
    }
}

static void EndOfSession()
{
    SetSessionFlag(mLogin, 0);
    ComF_send_pluginstate();
    if (s_plug.dutyCounter >= kWeekOfTicks) {
        LOG_AS(LOG_LEVEL_ERR, "main", "After a week exit, restart ...");
        DeleteServer(&s_plug.plug); // waits for a command that outlasts its session, as an update does
        OsExit(-1);
    }
    DeleteHeartbear(&s_plug.plug);
    DeleteServer(&s_plug.plug);
    LogPlugStatus(PLUG_LINK_LOST);
    LOG_AS(LOG_LEVEL_INFO, "main", "Ready to Register ...");
    s_plug.retries = 0;
}

void PlugCycle()
{
    StartWhatFailed();
    SysVarInit();
    if (!Register()) {
        if (s_plug.retries >= kRetriesToExit) {
            LOG_AS(LOG_LEVEL_ERR, "main", "Register retry more than 10 times, exit !!!");
            LogPlugStatus(PLUG_START_FAILED);
            OsExit(-1);
        }
        s_plug.retries++;
        LOG_AS(LOG_LEVEL_ERR, "main", "RegisterStart error.");
        return;
    }
    if (LoginStart(&s_plug.plug) != 0) {
        LOG_AS(LOG_LEVEL_ERR, "main", "LoginStart error.");
        return;
    }
    if (HeartbeatStart(&s_plug.plug) != 0) {
        LOG_AS(LOG_LEVEL_ERR, "main", "LoginStart error."); // the same text, on purpose
        DeleteHeartbear(&s_plug.plug);
        DeleteServer(&s_plug.plug);
        LogPlugStatus(PLUG_START_FAILED);
        return;
    }
    RunUntilQuit();
    EndOfSession();
}
