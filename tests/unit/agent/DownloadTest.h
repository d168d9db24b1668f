// DownloadTest.h - what the tests of the downloads share: a running session and a file to download into.
#pragma once

#include "http/Download.h"
#include "platform/TcpServer.h"
#include "tests/fakes/FakeLibraries.h"
#include "tests/support/HttpServer.h"
#include "tests/unit/agent/AgentTest.h"

class DownloadTest : public AgentTest
{
  protected:
    void SetUp() override
    {
        AgentTest::SetUp();
        FakeLibrariesReset();
        ServerRun = 1;
        gDownRate = 0;
    }

    // What the main thread does at the end of a session, with the call that it repeats every second while it waits.
    void EndSession()
    {
        SessionContext context = {};
        FakeClockAuto(true);
        DeleteServer(&context);
        FakeClockAuto(false);
    }

    int ToFile(uint16_t port) { return DownLoadFIle("127.0.0.1", port, "/file", mFile.c_str()); }
    int ToFile(const HttpServer &server) { return ToFile(server.Port()); }
    const std::string mFile = FakeFolder() + "/downloaded";
};
