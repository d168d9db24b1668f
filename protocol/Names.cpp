#include "protocol/Names.h"

#include "platform/Frame.h"
#include "protocol/FunctionNames.h"
#include "protocol/Numbers.h"
#include "protocol/UploadDecoders.h"

namespace protocol
{

namespace
{
struct NameRow {
    uint8_t number;
    const char *name;
};

const NameRow kMsgTypes[] = {
    {MSG_HEARTBEAT, "heartbeat"},
    {MSG_HEARTBEAT_ACK, "heartbeat-ack"},
    {MSG_FORCE_DISCONNECT, "disconnect"},
    {MSG_REGISTER, "register"},
    {MSG_LOGIN, "login"},
    {MSG_SESSION_ACK, "session-ack"},
    {MSG_UP, "upload"},
    {MSG_PLUG_COMMAND, "plugin-command"},
    {MSG_UP_MAC, "upload-mac"},
    {MSG_FUNCTION_COMMAND, "function-command"},
    {MSG_ACK, "ack"},
    {MSG_ACK_MAC, "ack-mac"},
};

const NameRow kPluginTypes[] = {
    {1, "plugin-update-check"},
    {2, "plugin-update"},
    {3, "plugin-update-report"},
    {4, "online"},
    {5, "vip"},
    {6, "recognition"},
    {7, "re-recognition"},
    {9, "route-set"},
    {13, "rules-request"},
    {14, "firmware-report"},
    {15, "firmware-check"},
    {16, "firmware-update"},
    {17, "firmware-answer"},
    {18, "report-interval"},
};

// Replies without a request.
const NameRow kReportTypes[] = {
    {62, "rate-result"},
};

template <size_t Count>
std::string NameOf(const NameRow (&rows)[Count], uint8_t number)
{
    for (const NameRow &row : rows)
        if (row.number == number) return row.name;
    return "";
}

template <size_t Count>
bool NumberOf(const NameRow (&rows)[Count], const std::string &text, int64_t high, uint8_t *out)
{
    for (const NameRow &row : rows) {
        if (text == row.name) {
            *out = row.number;
            return true;
        }
    }
    int64_t number;
    if (!ParseNumber(text, 0, high, &number)) return false;
    *out = static_cast<uint8_t>(number);
    return true;
}

template <size_t Count>
std::vector<std::string> AllNames(const NameRow (&rows)[Count])
{
    std::vector<std::string> names;
    for (const NameRow &row : rows) names.push_back(row.name);
    return names;
}
} // namespace

std::string MsgTypeName(uint8_t msgType)
{
    return NameOf(kMsgTypes, msgType);
}

std::string DataTypeName(uint8_t msgType, uint8_t dataType)
{
    if (const Upload *upload = FindUpload(msgType, dataType)) return upload->name;
    if (!FrameCarriesMac(msgType)) return NameOf(kPluginTypes, dataType);
    const std::string report = msgType == MSG_FUNCTION_COMMAND ? "" : NameOf(kReportTypes, dataType);
    return report.empty() ? FunctionName(dataType) : report;
}

bool ParseMsgType(const std::string &text, uint8_t *msgType)
{
    return NumberOf(kMsgTypes, text, 31, msgType);
}

bool ParsePluginType(const std::string &text, uint8_t *dataType)
{
    return NumberOf(kPluginTypes, text, 255, dataType);
}

std::vector<std::string> PluginTypeNames()
{
    return AllNames(kPluginTypes);
}

std::vector<std::string> MsgTypeNames()
{
    return AllNames(kMsgTypes);
}

} // namespace protocol
