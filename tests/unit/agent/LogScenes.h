// LogScenes.h - scenes in which the real procedures log the fixed texts; LogNames.h says under which names.
#pragma once

#include <string>
#include <vector>

#include "comm/AutoReport.h"
#include "comm/CommHandle.h"
#include "comm/CommLink.h"
#include "comm/CommReports.h"
#include "core/Config.h"
#include "functions/ProtoolSdk.h"
#include "os/Paths.h"
#include "platform/Settings.h"
#include "rules/SurfTable.h"
#include "subdev/Subdev.h"
#include "subdev/SubdevMutex.h"
#include "tests/fakes/FakeLibraries.h"
#include "tests/unit/agent/CommTest.h"
#include "tests/unit/agent/FunctionTest.h"

// A logged-in session over `peer`, of which no wait waits.
class LogNames : public LinkedTest, public testing::WithParamInterface<const char *>
{
  public:
    // The scenes, by name; the table says what each has to bring.
    void Options();
    void File();
    void Settings();
    void Start();
    void Cycle();
    void Session();
    void Frames();
    void Sending();
    void Connecting();
    void Receiving();
    void Functions();
    void Diagnostics();
    void Rates();
    void Downloads();
    void Commands();
    void Firmware();
    void Forwarding();
    void Limits();
    void Surfing();
    void Enforcing();
    void Devices();
    void Online();
    void Server();
    void Local();
    void Requests();
    void Reporting();

  protected:
    void SetUp() override
    {
        LinkedTest::SetUp();
        FakeLibrariesReset();
        FakeClockAuto(true);
        CommReportsReset();
        CommRxSeq = 0;
        CommRun = 1;
    }
    void TearDown() override
    {
        CommRun = 0;
        l_debug = 0;
        hash_table_destroy();
        FakeLibrariesReset();
        LinkedTest::TearDown();
    }

    static int Parse(std::vector<std::string> words)
    {
        static std::vector<std::string> kept; // getopt() keeps a pointer into the last text it has seen
        words.insert(words.begin(), "plug");
        kept = std::move(words);
        std::vector<char *> argv;
        for (std::string &word : kept) argv.push_back(&word[0]);
        argv.push_back(nullptr);
        return config_line_proc(static_cast<int>(kept.size()), argv.data());
    }
    static int Init(const std::string &config)
    {
        WriteFile(kPathDefaultConfig, config);
        NewProgramProfile(kPathDefaultConfig);
        return InitProtool();
    }
    static void Ask(uint16_t id, const Bytes &parameters = {})
    {
        Bytes request = FunctionRequest(id, parameters);
        request.resize(8192);
        Bytes reply(8192);
        int length;
        EXPECT_EQ(0, ParserProtoolData(request.data(), reply.data(), &length));
    }
    void Handle(uint16_t funcId, const Bytes &payload)
    {
        Bytes slot = Slot(LocalFrame(funcId, ++mSequence, payload));
        CommHandleFrame(slot.data());
    }
    static void HandleRead(const Bytes &read)
    {
        Bytes slot = Slot(read);
        CommHandleFrame(slot.data());
    }
    static void SetAutoReport(const std::string &json)
    {
        EXPECT_EQ(1, ComF_set_auto_report(json.c_str(), static_cast<int>(json.size()))); // there is no peer
    }
    // Calls `body` while nobody gets at the device table.
    template <typename Body>
    static void WithoutDeviceTable(Body body)
    {
        pthread_mutex_lock(&SubdevMutex); // the lock tells its owner that it has it, which is an error as well
        body();
        pthread_mutex_unlock(&SubdevMutex);
    }

    uint32_t mSequence = 0;
    const UnusedPort mUnused;
};
