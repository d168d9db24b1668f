#include "protocol/Decoder.h"

#include <algorithm>
#include <cstring>

#include "core/Wire.h"
#include "protocol/Address.h"
#include "protocol/FunctionDecoders.h"
#include "protocol/FunctionNames.h"
#include "protocol/Meanings.h"
#include "protocol/Names.h"
#include "protocol/Numbers.h"
#include "protocol/UploadDecoders.h"

namespace protocol
{

// Head values of acknowledgements that are not sequence numbers.
static const uint16_t kAckChecksumWrong = 11;
static const uint16_t kAckParserError = 0xFFFF;

static std::string OpaqueText(const uint8_t *bytes, size_t size)
{
    const Bytes field(bytes, bytes + size);
    const std::string text = FieldText(field);
    const bool plainText =
        std::all_of(text.begin(), text.end(), [](unsigned char c) { return c >= ' ' && c < 0x7F; }) &&
        std::all_of(field.begin() + static_cast<std::ptrdiff_t>(text.size()), field.end(),
                    [](uint8_t c) { return c == 0; });
    return plainText ? text : ToHex(field);
}

std::string VersionText(const LoginRequest &request)
{
    std::string version;
    for (uint8_t part : request.version) version += (version.empty() ? "" : ".") + std::to_string(part);
    return version;
}

static std::string PinText(const uint8_t *pin)
{
    return OpaqueText(pin, kPinHeadSize);
}

static void DescribeRegister(ParsedFrame *frame, Fields *head, Fields *fields)
{
    RegisterRequest request;
    if (!RegisterRequestRead(frame->head.data(), frame->head.size(), frame->plain.data(), frame->plain.size(),
                             &request)) {
        frame->problems.push_back("the registration is cut off");
        return;
    }
    head->push_back(TextField("pin", PinText(request.pin)));
    fields->push_back(TextField("serial", std::string(request.serial, request.serialLen)));
    fields->push_back(TextField("mac", MacText(Bytes(request.mac, request.mac + kMacSize))));
    // A registration can be written in one way only: write it again and compare.
    Bytes again(kMaxRegisterRecord);
    again.resize(RegisterRecordWrite(request, again.data(), again.size()));
    if (again != frame->plain) frame->problems.push_back("bytes of the registration that must be zero are not");
    if (frame->head[0] || frame->head[1] || frame->head[2])
        frame->problems.push_back("the head block does not begin with three zero bytes");
}

static void DescribeLogin(ParsedFrame *frame, Fields *head, Fields *fields)
{
    LoginRequest request;
    if (!LoginRequestRead(frame->head.data(), frame->head.size(), frame->plain.data(), frame->plain.size(), &request)) {
        frame->problems.push_back("the login is cut off");
        return;
    }
    head->push_back(TextField("pin", PinText(request.pin)));
    head->push_back(TextField("token", OpaqueText(request.token, kTokenSize)));
    fields->push_back(TextField("version", VersionText(request)));
    Bytes again(kLoginRecordSize);
    again.resize(LoginRecordWrite(request, again.data(), again.size()));
    if (again != frame->plain) frame->problems.push_back("fixed bytes of the login are different");
}

static void DescribeSessionAck(const ParsedFrame &frame, Step step, Fields *head, Fields *fields)
{
    if (!frame.head.empty()) {
        WireReader r = WireRead(frame.head.data(), frame.head.size());
        head->push_back(NumberField("error_code", frame.head.size() == 1 ? WireGet8(&r) : WireGetLe16(&r)));
    }
    RegisterAck ack;
    int16_t interval;
    if (step == STEP_REGISTER && RegisterAckRead(frame.plain.data(), frame.plain.size(), &ack)) {
        Address login;
        memcpy(login.octets, ack.server, sizeof login.octets);
        login.port = ack.port;
        fields->push_back(TextField("login", AddressText(login)));
        fields->push_back(TextField("token", OpaqueText(ack.token, kTokenSize)));
        fields->push_back(TextField("plugin_id", OpaqueText(ack.pluginId, kPluginIdSize)));
    } else if (step == STEP_LOGIN && LoginAckRead(frame.plain.data(), frame.plain.size(), &interval)) {
        fields->push_back(NumberField("interval", interval, "s"));
    }
}

static bool PrintableText(const std::string &text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) {
        return c == '\t' || c == '\n' || c == '\r' || (c >= ' ' && c != 0x7F);
    });
}

// A payload that is a text: also shown as a text, and parsed if it is JSON.
static void DescribeText(const Bytes &payload, Fields *out)
{
    const std::string text(payload.begin(), payload.end());
    if (!PrintableText(text)) return;
    out->push_back(TextField("text", text));
    Field json;
    if (text[0] == '{' && FieldFromJson("json", text, &json)) out->push_back(json);
}

// The answer to a plugin command is {"result":N}.
static void DescribeResult(uint8_t dataType, Fields *out)
{
    const Field *result = FindField(*out, "json.result");
    int64_t number;
    if (!result || !ParseNumber(result->value, INT16_MIN, INT16_MAX, &number)) return;
    const std::string meaning = ResultMeaning(dataType, static_cast<int>(number));
    if (!meaning.empty()) out->push_back(TextField("meaning", meaning));
}

Fields DescribeUpload(uint8_t msgType, uint8_t dataType, const Bytes &payload, std::vector<std::string> *problems)
{
    Fields out;
    DescribeText(payload, &out);
    const Upload *upload = FindUpload(msgType, dataType);
    if (!upload) return out;
    std::string meaning;
    const Fields fields = DecodeUpload(*upload, payload, &meaning, problems);
    if (!meaning.empty()) out.push_back(TextField("meaning", meaning));
    if (!fields.empty()) out.push_back(ObjectField("fields", fields));
    return out;
}

static bool IsErrorText(const Bytes &payload)
{
    const std::string text(payload.begin(), payload.end());
    return text == "length error" || text == "mem error" || text == "parser error";
}

static Field TagField(const uint8_t *tag)
{
    return TextField("tag", ToHex(Bytes(tag, tag + 2)));
}

static Fields DescribeRequest(const Bytes &payload)
{
    if (payload.size() < kRequestHeader) return {};
    WireReader r = WireRead(payload.data(), payload.size());
    const uint8_t *tag = WireTake(&r, 2);
    const uint16_t id = WireGetLe16(&r);
    const Bytes parameters(payload.begin() + kRequestHeader, payload.end());
    Fields out = {NumberField("function", id), TextField("function_name", FunctionName(id)), TagField(tag),
                  TextField("parameters", ToHex(parameters))};
    const Fields fields = DecodeRequest(id, parameters);
    if (!fields.empty()) out.push_back(ObjectField("fields", fields));
    return out;
}

Fields DescribeReply(const Bytes &payload, std::vector<std::string> *problems)
{
    Fields out;
    if (IsErrorText(payload)) {
        DescribeText(payload, &out);
        return out;
    }
    if (payload.size() < kReplyHeader) {
        problems->push_back("a reply shorter than its header");
        return out;
    }
    WireReader r = WireRead(payload.data(), payload.size());
    const uint8_t *tag = WireTake(&r, 2);
    const uint16_t id = WireGetLe16(&r);
    const int16_t status = static_cast<int16_t>(WireGetLe16(&r));
    out = {NumberField("function", id), TextField("function_name", FunctionName(id)), TagField(tag),
           NumberField("status", status)};
    std::string meaning = StatusMeaning(id, status);
    if (meaning.empty() && status == 1 && FindFunction(id)) meaning = FindFunction(id)->layout.failed;
    if (!meaning.empty()) out.push_back(TextField("meaning", meaning));
    const Bytes data(payload.begin() + kReplyHeader, payload.end());
    if (status == 7 && data.empty()) out.push_back(TextField("verdict", "not supported"));
    const Fields fields = DecodeReply(id, status, data, problems);
    if (status != 0 && std::all_of(data.begin(), data.end(), [](uint8_t byte) { return byte == 0; }) && !data.empty())
        out.push_back(FlagField("zeros", true)); // a failure that fills its record
    if (!fields.empty())
        out.push_back(ObjectField("fields", fields));
    else if (!data.empty())
        out.push_back(TextField("data", ToHex(data)));
    return out;
}

static void DescribeAckHead(const ParsedFrame &frame, Fields *head)
{
    if (frame.head.size() != 2) return;
    WireReader r = WireRead(frame.head.data(), frame.head.size());
    const uint16_t value = WireGetLe16(&r);
    head->push_back(NumberField("ack", value));
    if (value == kAckChecksumWrong && frame.header.bodyLen == 0)
        head->push_back(TextField("meaning", "checksum wrong"));
    else if (value == kAckParserError && frame.header.msgType == MSG_ACK_MAC) // in other frames it is the result -1
        head->push_back(TextField("meaning", "parser error"));
}

Fields DescribeFrame(ParsedFrame *frame, Step step)
{
    const FrameHeader &header = frame->header;
    Fields out = {TextField("type", MsgTypeName(header.msgType)),
                  NumberField("msgtype", header.msgType),
                  NumberField("flag", header.flag),
                  NumberField("length", static_cast<int64_t>(frame->raw.size())),
                  NumberField("head_length", header.headLen),
                  NumberField("body_length", header.bodyLen),
                  NumberField("checksum", header.checksum),
                  FlagField("checksum_ok", frame->checksumOk)};
    if (!frame->checksumOk) out.push_back(NumberField("checksum_expected", frame->checksumExpected));

    Fields head, fields, rest;
    uint32_t seconds;
    switch (header.msgType) {
    case MSG_REGISTER: DescribeRegister(frame, &head, &fields); break;
    case MSG_LOGIN: DescribeLogin(frame, &head, &fields); break;
    case MSG_SESSION_ACK: DescribeSessionAck(*frame, step, &head, &fields); break;
    case MSG_HEARTBEAT:
        if (HeartbeatHeadRead(frame->head.data(), frame->head.size(), &seconds))
            head.push_back(NumberField("time", seconds));
        break;
    case MSG_ACK:
    case MSG_ACK_MAC: DescribeAckHead(*frame, &head); break;
    default: break;
    }
    if (frame->hasRecord) {
        rest.push_back(NumberField("datatype", frame->dataType));
        rest.push_back(TextField("datatype_name", DataTypeName(header.msgType, frame->dataType)));
        if (!frame->mac.empty()) rest.push_back(TextField("mac", MacText(frame->mac)));
        rest.push_back(TextField("payload", ToHex(frame->payload)));
        // The platform's own acknowledgement of an upload is a text, not a function's reply.
        const bool functionReply = header.msgType == MSG_ACK_MAC && step == STEP_COMMAND;
        Fields content;
        if (header.msgType == MSG_FUNCTION_COMMAND)
            content = DescribeRequest(frame->payload);
        else if (functionReply)
            content = DescribeReply(frame->payload, &frame->problems);
        else if (header.msgType == MSG_UP || header.msgType == MSG_UP_MAC)
            content = DescribeUpload(header.msgType, frame->dataType, frame->payload, &frame->problems);
        else
            DescribeText(frame->payload, &content);
        rest.insert(rest.end(), content.begin(), content.end());
        if (header.msgType == MSG_ACK && step == STEP_COMMAND) DescribeResult(frame->dataType, &rest);
    }
    if (head.empty() && !frame->head.empty()) head.push_back(TextField("bytes", ToHex(frame->head)));
    if (!head.empty()) out.push_back(ObjectField("head", head));
    out.insert(out.end(), rest.begin(), rest.end());
    if (!fields.empty()) out.push_back(ObjectField("fields", fields));
    return out;
}

std::string ArrivalEvent(uint8_t msgType)
{
    switch (msgType) {
    case MSG_REGISTER: return "register";
    case MSG_LOGIN: return "login";
    case MSG_HEARTBEAT: return "heartbeat";
    case MSG_UP:
    case MSG_UP_MAC: return "upload";
    case MSG_ACK: return "ack";
    case MSG_ACK_MAC: return "reply";
    default: return "frame";
    }
}

} // namespace protocol
