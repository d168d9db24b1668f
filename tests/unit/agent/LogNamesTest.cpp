// Every fixed text is logged under its procedure: one scene after the other has the real procedures log theirs.
#include "tests/unit/agent/LogNames.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "CBHandle.h"
#include "Plug.h"
#include "core/Common.h"
#include "core/Config.h"
#include "functions/FwVersionReport.h"
#include "functions/ProtoolSdk.h"
#include "functions/RateTest.h"
#include "functions/Traceroute.h"
#include "http/Download.h"
#include "os/OsClock.h"
#include "os/OsWait.h"
#include "platform/Crypt.h"
#include "platform/Protool.h"
#include "platform/Sending.h"
#include "platform/Session.h"
#include "platform/Settings.h"
#include "plugin/BuildJson.h"
#include "plugin/ParseJson.h"
#include "plugin/PlugUpdate.h"
#include "tests/fakes/FakeLibraries.h"
#include "tests/support/HttpServer.h"
#include "tests/unit/agent/FeatureSpy.h"
#include "tests/unit/agent/LogScenes.h"

// ---- Start-up ----

void LogNames::Options()
{
    Parse({"-f"});
    Parse({"-m", "1"});
    Parse({"-x"});
}

void LogNames::File()
{
    NewProgramProfile(kPathDefaultConfig);
    char value[8];
    getKeyValueStr("Protool", "KEY", nullptr, value, sizeof value);
    WriteFile(kPathDefaultConfig, "");
    NewProgramProfile(kPathDefaultConfig);
}

void LogNames::Settings()
{
    FakeHost("one", "one.example", {"127.0.0.1"});
    FakeHost("empty", "empty.example", {});
    Init("[Protool]\nPORT=1\n");
    Init("[Protool]\nSERVER1=nobody\n");
    Init("[Protool]\nSERVER1=one\nSERVER2=empty\n");
}

void LogNames::Start()
{
    FeatureSpy spy;
    WriteFile(kPathDefaultConfig, "[Protool]\nPORT=1\n");
    static char program[] = "plug", debug[] = "-d";
    char *argv[] = {program, debug, nullptr};
    PlugStart(2, argv);
}

void LogNames::Cycle()
{
    Unlink();
    gSN[0] = '\0';
    runMode = 1;
    regist_port = mUnused.Number();
    strcpy(RegisterIpAddr1, "127.0.0.1");
    strcpy(RegisterIpAddr2, "127.0.0.2");
    PlugCycle();
}

void LogNames::Session()
{
    Unlink();
    SessionContext other = {};
    strcpy(mLoginServer, "");
    EXPECT_EQ(-1, LoginStart(&other));
    strcpy(mLoginServer, "127.0.0.1");
    mLoginPort = mUnused.Number();
    EXPECT_EQ(-1, LoginStart(&other));
    mQuitPro = 1; // for the threads that do start
    FakeFailThreadStart(1, EAGAIN);
    EXPECT_EQ(-1, HeartbeatStart(&other));
    FakeFailThreadStart(2, EAGAIN);
    mLogin = 1;
    EXPECT_EQ(-1, HeartbeatStart(&other));
    FakeFailThreadJoin(1, EINVAL);
    DeleteHeartbear(&other);
    DeleteProtool();
}

// ---- The platform ----

void LogNames::Frames()
{
    mRegist = 0;
    CBHandle(Received(11, Hex("01 00"), {}));
    mRegist = 1;
    mLogin = 0;
    CBHandle(Received(11, {}, {}));
    CBHandle(Received(2, {}, {}));
    ReceivedFrame failure = Received(25, {}, Hex("FF FF"));
    failure.firstWord = 0xFFFF;
    CBHandle(failure);
    CBHandle(ReceivedRecord(26, {}, Record(99, mac, Text("x"))));
}

void LogNames::Sending()
{
    Unlink();
    SendIpUpData("x", 1, 3, 0, nullptr);
    uint8_t block[64] = {};
    size_t length;
    FakeRefuseCipherKey();
    aes_encrypt(kTestKey, block, block, 16, &length);
    FakeRefuseCipherKey();
    aes_decrypt(kTestKey, block, block, 16, &length);
    const Bytes much(204800);
    push(much.data(), much.size());
    push(much.data(), 1);
}

void LogNames::Connecting()
{
    const auto connect = [this](int joinToFail) {
        const int result = ServerInit("127.0.0.1", peer.Port(), &context);
        if (joinToFail > 0) FakeFailThreadJoin(joinToFail, EINVAL);
        DeleteServer(&context);
        return result;
    };
    EXPECT_EQ(-1, ServerInit("127.0.0.1", peer.Port(), &context)); // runs already
    Unlink();
    EXPECT_EQ(0, connect(1));
    EXPECT_EQ(0, connect(2));
    FakeFailSocket();
    EXPECT_EQ(-1, connect(0));
    for (int option : {SO_REUSEADDR, SO_SNDBUF}) {
        FakeFailSocketOption(option);
        EXPECT_EQ(-1, connect(0));
    }
    for (int thread : {1, 2}) {
        FakeFailThreadStart(thread, EAGAIN);
        EXPECT_EQ(-1, connect(0));
    }
}

void LogNames::Receiving()
{
    const auto receive = [this](std::initializer_list<OsReadable> results, const std::function<void()> &platform) {
        Unlink();
        SetSessionFlag(mLogin, 1); // or the acknowledgement below would end the session
        SetSessionFlag(mQuitPro, 0);
        FakeReadableResults(results);
        ASSERT_EQ(0, ServerInit("127.0.0.1", peer.Port(), &context));
        ASSERT_TRUE(peer.Accept());
        platform();
        WaitForQuit(OS_FOREVER);
    };
    const OsReadable failed = OS_WAIT_FAILED, nothing = OS_READABLE;
    const auto wait = [] {};
    receive({OS_OTHER_EVENT, failed, failed, failed, failed, failed, failed}, wait);
    receive({nothing, nothing, nothing, nothing, nothing, nothing}, wait);
    receive({}, [this] {
        beepAck = 0;
        peer.SendFrame(11, 0, {}, {}, 0);
        peer.SendFrame(2, 0, {}, {}, 0); // shows that the one before it has been handled
        EXPECT_TRUE(Within([] { return beepAck == 1; }));
        peer.Close();
    });
}

// ---- Functions and diagnostics ----

void LogNames::Functions()
{
    for (uint16_t id : {16, 41, 71, 72, 74, 75, 76, 77, 78, 80, 82, 83, 87, 88}) Ask(id);
    WithoutDeviceTable([] {
        for (uint16_t id : {32, 33, 34, 35, 36, 37, 38, 39, 41, 42, 43}) Ask(id);
    });
}

void LogNames::Diagnostics()
{
    Ask(8);
    Ask(9); // waits for its end
    killRun = 1;
    KillTrace500s(nullptr);
    killRun = 0;
    dev_fwversion_report();
}

void LogNames::Rates()
{
    const std::string url = "http://127.0.0.1:" + std::to_string(mUnused.Number()) + "/x";
    FakeHost(PLUG_RATE_TEST_SERVER, "rate", {});
    RateTestThread(nullptr);
    RateTestProc(const_cast<char *>(url.c_str()));
    const std::string config = "{\"value_func61\":\"" + url + "\"}";
    for (const bool runs : {true, false}) {
        for (const bool configured : {true, false}) {
            gRateThreadState = runs;
            if (!runs) FakeFailThreadStart(1, EAGAIN);
            if (configured)
                EXPECT_EQ(0, ParseConfigData(config.c_str(), static_cast<int>(config.size())));
            else
                Ask(61);
        }
    }
}

void LogNames::Downloads()
{
    const std::string answers[] = {Header("X: 1"), Header("Content-Length: 5"), "HTTP/1.1 404 Not Found\r\n\r\n"};
    const std::string file = FakeFolder() + "/downloaded";
    for (const std::string &answer : answers) {
        const HttpServer server([&](HttpConnection &connection) { connection.Send(answer); });
        EXPECT_EQ(-1, DownLoadFIle("127.0.0.1", server.Port(), "/x", file.c_str()));
        EXPECT_EQ(-1, DownTestRateFIle("127.0.0.1", server.Port(), "/x", nullptr));
    }
    EXPECT_EQ(-1, DownLoadFIle("127.0.0.1", mUnused.Number(), "/x", file.c_str()));
    EXPECT_EQ(-1, DownLoadFIle("127.0.0.1", mUnused.Number(), "/x", (FakeFolder() + "/missing/file").c_str()));
}

// ---- Commands to the agent ----

void LogNames::Commands()
{
    ParserPlugData(1, "{\"pluginID\":\"p\",\"fromVersion\":\"1\",\"toVersion\":\"2\"}");
    const std::string url = "\"url\":\"http://127.0.0.1:" + std::to_string(mUnused.Number()) + "/x\"";
    ParserPlugData(2, ("{" + url + ",\"fileLength\":1,\"fileMD5\":\"m\",\"token\":\"t\"}").c_str());
    ParserPlugData(4, "{\"result\":0}");
    for (int type : {5, 6, 7}) ParserPlugData(static_cast<uint8_t>(type), "{\"mac\":\"02AABBCCDDEE\",\"result\":1}");
    ParserPlugData(9, "{}");
    ParserPlugData(18, "{}");
    for (int minutes : {0, 19, 20})
        ParserPlugData(18, ("{\"func40Interval\":" + std::to_string(minutes) + "}").c_str());
}

void LogNames::Firmware()
{
    ParserPlugData(15, "{\"fromVersion\":\"1\",\"toVersion\":\"2\"}");
    ParserPlugData(15, "{}");
    ParserPlugData(15, "{\"fromVersion\":\"1\"}");
    const char *const members[] = {"\"fromVersion\":\"1\",\"toVersion\":\"2\"", ",\"url\":\"u\"", ",\"fileLength\":1",
                                   ",\"checkMethod\":1", ",\"chkSum\":\"c\""};
    std::string command = "{";
    for (const char *member : members) {
        command += member;
        ParserPlugData(16, (command + "}").c_str());
    }
    char digest[kMd5TextSize];
    EXPECT_EQ(-1, Compute_file_md5((FakeFolder() + "/missing").c_str(), digest));
    DeleteDownloadFile();
    char json[256];
    WithoutDeviceTable(
        [&] { EXPECT_NE(0, BuildJson(JSON_DEVICE_ONLINE, 0, "02AABBCCDDEE", nullptr, json, sizeof json)); });
}

// ---- The table ----

static const std::map<std::string, void (LogNames::*)()> kScenes = {
    {"Options", &LogNames::Options},       {"File", &LogNames::File},
    {"Settings", &LogNames::Settings},     {"Start", &LogNames::Start},
    {"Cycle", &LogNames::Cycle},           {"Session", &LogNames::Session},
    {"Frames", &LogNames::Frames},         {"Sending", &LogNames::Sending},
    {"Connecting", &LogNames::Connecting}, {"Receiving", &LogNames::Receiving},
    {"Functions", &LogNames::Functions},   {"Diagnostics", &LogNames::Diagnostics},
    {"Rates", &LogNames::Rates},           {"Downloads", &LogNames::Downloads},
    {"Commands", &LogNames::Commands},     {"Firmware", &LogNames::Firmware},
    {"Forwarding", &LogNames::Forwarding}, {"Limits", &LogNames::Limits},
    {"Surfing", &LogNames::Surfing},       {"Enforcing", &LogNames::Enforcing},
    {"Devices", &LogNames::Devices},       {"Online", &LogNames::Online},
    {"Server", &LogNames::Server},         {"Local", &LogNames::Local},
    {"Requests", &LogNames::Requests},     {"Reporting", &LogNames::Reporting},
};

TEST_P(LogNames, AreTheFixedOnesOfEveryText)
{
    (this->*kScenes.at(GetParam()))();
    const std::vector<LogText> logged = LogTexts(Log()); // which has looked for names that are wrong
    for (const LogName &name : kLogNames) {
        if (strcmp(name.scene, GetParam()) != 0) continue;
        const bool found = std::any_of(logged.begin(), logged.end(), [&](const LogText &entry) {
            return HasText(entry, name) && HasName(entry, name);
        });
        EXPECT_TRUE(found) << name.module << "->" << name.function << ": " << name.text;
    }
}

static std::vector<const char *> SceneNames()
{
    std::vector<const char *> names;
    for (const auto &scene : kScenes) names.push_back(scene.first.c_str());
    return names;
}

INSTANTIATE_TEST_SUITE_P(, LogNames, testing::ValuesIn(SceneNames()),
                         [](const auto &tested) { return std::string(tested.param); });

TEST(LogNamesTable, HasAKnownSceneInEveryRow)
{
    for (const LogName &name : kLogNames)
        EXPECT_TRUE(*name.scene == '\0' || kScenes.count(name.scene) == 1) << name.scene << ": " << name.text;
}

TEST(LogNamesTable, FindsAWrongNameAndAWrongLevel)
{
    const auto line = [](const std::string &level, const std::string &name, const std::string &text) {
        return "2023-11-14 22:13:20 [" + level + "] [" + name + "->7]-> " + text + "\n\n";
    };
    EXPECT_EQ("",
              Misnamed(line("ERR", "Plug->main", "Register server1...") + line("ERR", "Plug->Any", "not documented") +
                       line("ERR", "Protool->CBHandle", "regist ack error")));
    EXPECT_EQ("INFO Plug->Register: Register server1...\n",
              Misnamed(line("DEBUG", "Plug->main", "Ready to Register ...") +
                       line("INFO", "Plug->Register", "Register server1...")));
    EXPECT_EQ("ERR ParseJson->ParserPlug: MD5: ab\n", Misnamed(line("ERR", "ParseJson->ParserPlug", "MD5: ab")));
}
