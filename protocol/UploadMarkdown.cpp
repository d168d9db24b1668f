#include "protocol/UploadMarkdown.h"

#include "protocol/LayoutText.h"
#include "protocol/UploadDecoders.h"

namespace protocol
{

static const char kIntroduction[] = R"(
## Reports

Reports that the agent sends by itself, with MsgType 17 or, with the router's MAC, 19. Offsets count from the start of
the payload. JSON texts have exactly these members, in this order.

| data type | MsgType | | |
|---|---|---|---|
)";

static std::string Heading(const Upload &upload)
{
    return std::to_string(upload.dataType) + " `" + upload.name + "`";
}

static std::string Rows(const Layout &layout, bool json)
{
    std::string text =
        json ? "\n| type | name | |\n|---|---|---|\n" : "\n| offset | size | type | name | |\n|---|---|---|---|---|\n";
    for (const LayoutRow &row : LayoutRows(layout, 0)) {
        const std::string name = row.name.empty() ? "" : '`' + row.name + '`';
        text += "| " + (json ? "" : row.offset + " | " + row.size + " | ");
        text += (json && row.type != "text" ? "number" : row.type) + " | " + name + " | " + row.about + " |\n";
    }
    return text;
}

std::string UploadMarkdown()
{
    std::string text = kIntroduction;
    for (const Upload &upload : kUploads)
        text += "| " + Heading(upload) + " | " + (upload.withMac ? "19" : "17") + " | " +
                (upload.json ? "JSON" : "bytes") + " | " + upload.summary + " |\n";
    for (const Upload &upload : kUploads) {
        text += "\n### Report " + Heading(upload) + ": " + upload.summary + "\n";
        if (*upload.note) text += std::string("\n") + upload.note + "\n";
        text += Rows(upload.layout, upload.json);
        for (const Layout &record : RecordsOf(upload.layout))
            text += "\nThe " + RecordHeading(record) + ":\n" + Rows(record, false);
    }
    return text;
}

} // namespace protocol
