#include "gateway/translate/Report.h"

#include "platform/Frame.h"
#include "protocol/Decoder.h"
#include "protocol/FunctionNames.h"
#include "protocol/Names.h"
#include "protocol/UploadDecoders.h"

namespace gateway
{

// Behind a name that is not empty stands a report that a table describes.
static std::string NameOf(uint8_t msgType, uint8_t dataType)
{
    if (const protocol::Upload *upload = protocol::FindUpload(msgType, dataType)) return upload->name;
    // Replies that are reports have numbers that no function has.
    const bool reply = msgType == MSG_ACK_MAC && protocol::FunctionName(dataType).empty();
    return reply ? protocol::DataTypeName(msgType, dataType) : "";
}

Report MakeReport(uint8_t msgType, uint8_t dataType, const protocol::Bytes &payload)
{
    const std::string name = NameOf(msgType, dataType);
    Report report;
    report.name = name.empty() ? "unknown-" + std::to_string(dataType) : name;
    report.document = {{"report", report.name}};
    if (!name.empty()) {
        std::vector<std::string> problems;
        const protocol::Fields described = msgType == MSG_ACK_MAC
                                               ? protocol::DescribeReply(payload, &problems)
                                               : protocol::DescribeUpload(msgType, dataType, payload, &problems);
        const protocol::Field *fields = protocol::FindField(described, "fields");
        // A report that is a JSON text has its members as fields.
        if (!fields) fields = protocol::FindField(described, "json");
        if (const protocol::Field *meaning = protocol::FindField(described, "meaning"))
            report.document["meaning"] = TextJson(meaning->value);
        if (fields) report.document["fields"] = FieldsJson(fields->children);
        if (!problems.empty()) {
            report.document["problems"] = Json::array();
            for (const std::string &problem : problems) report.document["problems"].push_back(TextJson(problem));
        }
    }
    report.document["raw"] = protocol::ToHex(payload);
    return report;
}

} // namespace gateway
