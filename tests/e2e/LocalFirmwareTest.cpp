// A firmware update: the platform's command goes through the agent to the local peer, the result comes back.
#include "tests/e2e/LocalSession.h"

namespace
{

class LocalFirmware : public EndToEnd
{
};

const char kCheck[] = "plugin 15 {\"fromVersion\":\"1.0.0\",\"toVersion\":\"2.0.0\"}";
const char kUpdate[] = "plugin 16 {\"fromVersion\":\"9.9\",\"toVersion\":\"2.0.0\",\"url\":\"http://198.51.100.9/rom\","
                       "\"fileLength\":70000,\"checkMethod\":1,\"chkSum\":\"0123456789abcdef0123456789abcdef\"}";

void Check(LocalSession *local)
{
    local->platform.Command(kCheck);
    EXPECT_EQ("{\"result\":0,\"resultDesc\":\"success\"}",
              local->platform.Wait("upload", {{"datatype", "17"}}).Text("text"));
}

TEST_F(LocalFirmware, AnUpdateIsHandedOverAndItsResultIsReported)
{
    LocalSession local;
    local.manager.Set("set firmware-result 7");
    Check(&local);
    local.platform.Command(kUpdate);
    const Event handOver = local.manager.Wait("request", {{"name", "firmware-update"}});
    EXPECT_EQ("432", handOver.Text("length"));
    for (const auto &field : Wanted{{"from_version", "1.0.0"}, // as the check said it
                                    {"to_version", "2.0.0"},
                                    {"url", "http://198.51.100.9/rom"},
                                    {"file_length", "70000"},
                                    {"check_method", "1"},
                                    {"checksum", "0123456789abcdef0123456789abcdef"}})
        EXPECT_EQ(field.second, handOver.Text("fields." + field.first)) << field.first;
    EXPECT_EQ("{\"result\":7,\"resultDesc\":\"check sum error.\"}",
              local.platform.Wait("upload", {{"datatype", "17"}}).Text("text"));
}

TEST_F(LocalFirmware, AnUpdateWithFullOrMissingTextsIsHandedOver)
{
    LocalSession local;
    local.manager.Set("set firmware-result 0");
    local.platform.Command("plugin 15 {\"fromVersion\":\"" + std::string(70, 'f') + "\",\"toVersion\":2}");
    local.platform.Wait("upload", {{"datatype", "17"}});
    local.platform.Command("plugin 16 {\"fromVersion\":null,\"toVersion\":2,\"url\":\"u\",\"fileLength\":\"70000\","
                           "\"checkMethod\":-1,\"chkSum\":\"0123456789abcdef0123456789abcdef01234567\"}");
    const Event handOver = local.manager.Wait("request", {{"name", "firmware-update"}});
    for (const auto &field : Wanted{{"from_version", std::string(64, 'f')},
                                    {"to_version", ""},
                                    {"url", "u"},
                                    {"file_length", "0"},
                                    {"check_method", "4294967295"},
                                    {"checksum", "0123456789abcdef0123456789abcdef01234567"}})
        EXPECT_EQ(field.second, handOver.Text("fields." + field.first)) << field.first;
}

TEST_F(LocalFirmware, AResultMayComeMuchLater)
{
    LocalSession local;
    local.manager.Set("set firmware-result 255");
    Check(&local);
    local.platform.Command(kUpdate);
    local.manager.Wait("request", {{"name", "firmware-update"}});
    for (int i = 0; i < 2; i++) local.platform.Wait("heartbeat");
    EXPECT_EQ(1u, local.platform.Count("upload", {{"datatype", "17"}})); // the check's
    local.manager.Command("firmware-result 0");
    EXPECT_EQ("{\"result\":0,\"resultDesc\":\"success\"}",
              local.platform.Wait("upload", {{"datatype", "17"}}).Text("text"));
}

TEST_F(LocalFirmware, WithoutAPeerTheAgentAnswersItself)
{
    RunningSession session;
    session.platform.Command(kUpdate);
    EXPECT_EQ("{\"result\":9,\"resultDesc\":\"unKnown error.\"}",
              session.platform.Wait("upload", {{"datatype", "17"}}).Text("text"));
    session.agent.WaitLog("send update firmware command failed.");
}

} // namespace
