#include <set>

#include "platform/Frame.h"
#include "protocol/UploadDecoders.h"
#include "tests/unit/gateway/translate/Samples.h"

using namespace gateway;

namespace
{
std::string Reported(uint8_t msgType, uint8_t dataType, const Bytes &payload)
{
    const Report report = MakeReport(msgType, dataType, payload);
    EXPECT_EQ(report.name, report.document["report"].get<std::string>());
    return JsonText(report.document);
}

// The name of a device, with zeros.
Bytes Name(const std::string &name)
{
    Bytes field = Text(name);
    field.resize(16);
    return field;
}
} // namespace

TEST(Report, OfDevicesHasThemByName)
{
    // Sequence 258, type 63, one device: 192.168.1.20, sends 1024, receives 1; online, not on the black list, allowed.
    const Bytes payload = Hex("0201 3f00 0000 0100 1401a8c0 021a2b000014") + Name("laptop") +
                          Hex("0004000000000000 0100000000000000 01 01 01");
    EXPECT_EQ("{\"report\":\"device-list\",\"meaning\":\"1 devices, 1 of them connected\",\"fields\":{\"sequence\":258,"
              "\"devices\":[{\"ip\":\"192.168.1.20\",\"mac\":\"02:1a:2b:00:00:14\",\"name\":\"laptop\",\"up\":1024,"
              "\"down\":1,\"online\":\"yes\",\"black_listed\":\"no\",\"access\":\"allowed\"}]},\"raw\":\""
              "02013f00000001001401a8c0021a2b0000146c6170746f7000000000000000000000000400000000000001000000000000000101"
              "01\"}",
              Reported(MSG_UP_MAC, 63, payload));
}

TEST(Report, OfAJsonTextHasItsMembers)
{
    EXPECT_EQ("{\"report\":\"rules-request\",\"fields\":{\"MAC\":\"021122334455\"},"
              "\"raw\":\"7b224d4143223a22303231313232333334343535227d\"}",
              Reported(MSG_UP, 13, Text("{\"MAC\":\"021122334455\"}")));
    EXPECT_EQ("{\"report\":\"firmware-answer\",\"meaning\":\"success\","
              "\"fields\":{\"result\":0,\"resultDesc\":\"success\"},"
              "\"raw\":\"7b22726573756c74223a302c22726573756c7444657363223a2273756363657373227d\"}",
              Reported(MSG_UP, 17, Text("{\"result\":0,\"resultDesc\":\"success\"}")));
}

TEST(Report, ThatIsFaultyHasItsProblems)
{
    EXPECT_EQ("{\"report\":\"device-report\",\"problems\":[\"2 bytes of data instead of 47\"],\"raw\":\"0000\"}",
              Reported(MSG_UP_MAC, 40, Hex("0000")));
    EXPECT_EQ("{\"report\":\"rules-request\",\"problems\":[\"the text is no JSON object\"],\"raw\":\"7b\"}",
              Reported(MSG_UP, 13, Text("{")));
}

TEST(Report, ThatNoTableDescribesHasItsNumberAndItsBytes)
{
    EXPECT_EQ("{\"report\":\"unknown-77\",\"raw\":\"7b7d\"}", Reported(MSG_UP, 77, Text("{}")));
    EXPECT_EQ("{\"report\":\"unknown-63\",\"raw\":\"\"}", Reported(MSG_UP, 63, {})); // without a MAC it is another
    EXPECT_EQ("{\"report\":\"unknown-8\",\"raw\":\"\"}", Reported(MSG_ACK_MAC, 8, {}));
}

TEST(Report, OfTheRateTestArrivesAsAReply)
{
    EXPECT_EQ("{\"report\":\"rate-result\",\"fields\":{\"rate\":1000000},\"raw\":\"07003e00000040420f00\"}",
              Reported(MSG_ACK_MAC, 62, Hex("0700 3e00 0000 40420f00")));
}

TEST(EveryReport, HasANameThatASubjectTakes)
{
    for (int msgType : {17, 19, 26})
        for (int dataType = 0; dataType < 256; dataType++) {
            const Report report =
                MakeReport(static_cast<uint8_t>(msgType), static_cast<uint8_t>(dataType), Hex("ff80 00"));
            EXPECT_FALSE(report.name.empty());
            EXPECT_EQ(std::string::npos, report.name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-"));
            EXPECT_EQ("ff8000", report.document["raw"]);
            EXPECT_EQ(report.document, Json::parse(JsonText(report.document)));
        }
}

TEST(EveryReport, OfTheTableIsNamedByIt)
{
    std::set<std::string> names;
    for (const protocol::Upload &upload : protocol::kUploads) {
        const Report report = MakeReport(upload.withMac ? MSG_UP_MAC : MSG_UP, upload.dataType, {});
        EXPECT_EQ(upload.name, report.name);
        EXPECT_TRUE(report.document.contains("problems")) << report.name; // none is empty
        names.insert(report.name);
    }
    EXPECT_EQ(protocol::kUploads.size(), names.size());
}
