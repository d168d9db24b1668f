#include "tests/unit/gateway/translate/Examples.h"
#include "tests/unit/gateway/translate/Samples.h"

using namespace gateway;

// What the documents show is what the gateway does.
TEST(Examples, OfQuestionsAndCommandsAreTaken)
{
    for (const Json &row : FunctionsJson())
        EXPECT_EQ("none", AskFault(row["name"], ExampleParameters(row))) << row["name"];
    for (const Json &row : CommandsJson())
        EXPECT_EQ("none", FaultOf([&] { MakeCommand(row["name"], ExampleParameters(row)); })) << row["name"];
}

TEST(Examples, OfAnswersAndReportsAreWithoutAFault)
{
    for (const protocol::Function &function : protocol::kFunctions) {
        if (!function.Supported() || function.status == STATUS_NONE) continue;
        const Json answer = AnswerJson(static_cast<uint16_t>(function.id), ExampleReply(function));
        EXPECT_EQ(0, answer["status"]) << function.name;
        EXPECT_FALSE(answer.contains("problems")) << answer;
        EXPECT_EQ(function.layout.reply.count > 0 && function.id != 61, answer.contains("fields")) << answer;
    }
    for (const protocol::Upload &upload : protocol::kUploads) {
        const Report report = MakeReport(upload.withMac ? 19 : 17, upload.dataType, ExampleReport(upload));
        EXPECT_TRUE(report.document.contains("fields")) << report.document;
        EXPECT_FALSE(report.document.contains("problems")) << report.document;
    }
}
