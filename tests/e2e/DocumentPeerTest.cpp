// The local peer of docs/local-protocol.md, compiled from there: it does with a real agent what the document says.
#include <algorithm>
#include <unistd.h>

#include "tests/e2e/EndToEnd.h"
#include "tests/support/Files.h"

namespace
{

class DocumentPeer : public EndToEnd
{
};

const size_t kMaxLines = 80; // so that a reader types it in

// The peer, which reports after `silence` seconds.
struct Peer {
    explicit Peer(const std::string &silence = "3600") : process(Program(silence))
    {
        close(process.Output()); // it says nothing
        close(process.Errors());
    }
    static ProcessOptions Program(const std::string &silence)
    {
        ProcessOptions program;
        program.arguments = {DOCUMENT_PEER_PROGRAM, silence};
        program.environment = {{"LD_PRELOAD", PLUG_PRELOAD}, {"FASTCLOCK_FACTOR", "20"}}; // the time of the agent
        return program;
    }
    Process process;
};

Event Ask(Platform &platform, const std::string &command)
{
    platform.Command(command);
    return platform.Wait("reply");
}

// A session in which the peer has answered what the agent asks by itself after its login.
struct PeerSession {
    Peer peer;
    RunningSession session;
    Platform &platform = session.platform;
    Agent &agent = session.agent;

    explicit PeerSession(const std::string &silence = "3600") : peer(silence) { agent.WaitLog("get autoreport conf"); }
};

} // namespace

TEST_F(DocumentPeer, HasAtMostEightyLines)
{
    const std::string source = ReadFile(DOCUMENT_PEER_SOURCE);
    EXPECT_LE(static_cast<size_t>(std::count(source.begin(), source.end(), '\n')), kMaxLines);
    EXPECT_NE(std::string::npos, source.find("int main("));
}

TEST_F(DocumentPeer, ReportsADeviceWhenTheAgentIsOnline)
{
    PeerSession local;
    // Sequence 0, function 40, one device: MAC, name, what the peer adds, online.
    EXPECT_EQ("0000"
              "2800"
              "0000"
              "0100"
              "021a2b000031"
              "6c6170746f7000000000000000000000"
              "64617461206f66206f75727300000000"
              "01",
              local.platform.Wait("upload", {{"datatype", "40"}}).Text("payload"));
}

TEST_F(DocumentPeer, ReportsATextWhenTheAgentIsOnlineAndAfterSilence)
{
    PeerSession local("60");
    for (int i = 0; i < 2; i++) {
        const Event upload = local.platform.Wait("upload", {{"datatype", "89"}});
        EXPECT_EQ("5900"
                  "0000"
                  "1600"
                  "03"
                  "7b226f6e6c696e65223a5b226c6170746f70225d7d", // {"online":["laptop"]}
                  upload.Text("payload").substr(4));
    }
}

TEST_F(DocumentPeer, AnswersTheFunctionsOfTheMesh)
{
    PeerSession local;
    EXPECT_EQ("yes", Ask(local.platform, "mesh-support").Text("fields.support"));
    EXPECT_EQ("on", Ask(local.platform, "mesh").Text("fields.switch"));
    EXPECT_EQ("0", Ask(local.platform, "set-mesh off").Text("status"));
    EXPECT_EQ("off", Ask(local.platform, "mesh").Text("fields.switch"));
    EXPECT_EQ("0", Ask(local.platform, "set-roaming-threshold 81 42").Text("status"));
    const Event thresholds = Ask(local.platform, "roaming-threshold");
    EXPECT_EQ("81", thresholds.Text("fields.first"));
    EXPECT_EQ("42", thresholds.Text("fields.second"));
    EXPECT_EQ("{\"nodes\":1}", Ask(local.platform, "mesh-topology").Text("fields.topology"));
}

TEST_F(DocumentPeer, RefusesWhatItDoesNotKnow)
{
    PeerSession local;
    const Event refused = Ask(local.platform, "bssid");
    EXPECT_EQ("1", refused.Text("status"));
    EXPECT_FALSE(refused.Has("fields"));
    EXPECT_EQ(0u, local.agent.CountLog("ERROR: request timeout!"));
}

TEST_F(DocumentPeer, TellsTheResultOfAnUpdate)
{
    PeerSession local;
    local.platform.Command("firmware-update 1.0 2.0 http://127.0.0.1/firmware 1 0 00");
    EXPECT_EQ("{\"result\":2,\"resultDesc\":\"toVersion not support.\"}",
              local.platform.Wait("upload", {{"datatype", "17"}}).Text("text"));
}

TEST_F(DocumentPeer, KeepsTheConfigurationForTheNextAgent)
{
    Peer peer;
    Platform platform;
    {
        Agent agent;
        platform.WaitSession();
        EXPECT_EQ("no", platform.Wait("upload", {{"datatype", "14"}}).Text("json.configed"));
        const long now = static_cast<long>(platform.Wait("heartbeat").Number("head.time"));
        platform.Command("set-auto-report {\"timestamp\":" + std::to_string(now) +
                         ",\"referNum\":100,\"interval1\":5,\"interval2\":1440,\"interval3\":60}");
        EXPECT_EQ("0", platform.Wait("reply").Text("status"));
    }
    Agent agent;
    const Event report = platform.Wait("upload", {{"datatype", "14"}});
    EXPECT_EQ("yes", report.Text("json.configed"));
    EXPECT_EQ("1440", report.Text("json.interval2"));
}
