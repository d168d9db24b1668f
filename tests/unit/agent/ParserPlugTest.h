// ParserPlugTest.h - what the tests of the commands to the agent itself share.
#pragma once

#include <cstring>

#include "platform/Settings.h"
#include "plugin/ParseJson.h"
#include "plugin/PlugParameters.h"
#include "tests/data/HostileTexts.h"
#include "tests/unit/agent/PlatformSide.h"

// A session with the platform at the other end; every value as at the start of the process.
class ParserPlugTest : public LinkedTest
{
  protected:
    void SetUp() override
    {
        LinkedTest::SetUp();
        for (char *text : {mPluginID, mFromVersion, mToVersion, mDownloadServer, mDownloadUrl, mFileMD5, mToken})
            text[0] = '\0';
        mDownloadPort = 0;
        mFileLength = 0;
        mProcess = 0;
        memset(mMac, 0, sizeof mMac);
        mRecogResult = 0;
        memset(&upParm, 0, sizeof upParm);
        Fn40Interval = 6;
        AutoReportDevinfo = 1;
    }

    static std::string Update(const std::string &url, const std::string &rest = ",\"fileLength\":5,\"fileMD5\":\"ab\","
                                                                                "\"token\":\"t\"")
    {
        return "{\"url\":" + JsonString(url) + rest + "}";
    }

    static int ParseUrl(const std::string &url) { return ParserPlug(2, Update(url).c_str()); }

    static std::string Place()
    {
        return std::string(mDownloadServer) + "|" + std::to_string(mDownloadPort) + "|" + mDownloadUrl;
    }
};

// The members of an object, in order; each may be left out or replaced.
struct Members {
    std::vector<std::pair<std::string, std::string>> all; // values as JSON
    std::string Text() const
    {
        std::string text = "{";
        for (const auto &member : all) text += (text.size() > 1 ? ",\"" : "\"") + member.first + "\":" + member.second;
        return text + "}";
    }
    Members Without(size_t which) const
    {
        Members rest = *this;
        rest.all.erase(rest.all.begin() + static_cast<long>(which));
        return rest;
    }
    Members With(size_t which, const std::string &value) const
    {
        Members other = *this;
        other.all[which].second = value;
        return other;
    }
};

struct Command {
    uint8_t dataType;
    Members members;
    std::vector<int> missing; // the result without each
};

// Every command that requires members, whole.
std::vector<Command> Commands();
