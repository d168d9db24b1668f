#include "simulator/platform/FrameCommands.h"

#include <algorithm>

#include "protocol/FunctionNames.h"
#include "protocol/FunctionParameters.h"
#include "protocol/Meanings.h"
#include "protocol/Names.h"
#include "protocol/PluginCommands.h"
#include "simulator/console/ParameterCompletions.h"
#include "simulator/platform/FunctionText.h"

namespace sim
{

// A frame's length field has 16 bits, and the padding must fit too.
static const size_t kMaxBytes = 65000;

static bool Fail(std::string *error, const std::string &reason)
{
    *error = reason;
    return false;
}

static bool HexArgument(const std::string &text, Bytes *bytes, std::string *error)
{
    if (!FromHex(text, bytes)) return Fail(error, "'" + text + "' is not hexadecimal");
    if (bytes->size() > kMaxBytes) return Fail(error, "more than " + std::to_string(kMaxBytes) + " bytes");
    return true;
}

// "key=value": true, with the value, when `word` begins with `key`=.
static bool ValueOf(const std::string &word, const std::string &key, std::string *value)
{
    if (word.compare(0, key.size() + 1, key + "=") != 0) return false;
    *value = word.substr(key.size() + 1);
    return true;
}

static OutFrame FunctionFrame(const Bytes &request, uint8_t dataType, const Peer &peer)
{
    OutFrame frame;
    frame.msgType = MSG_FUNCTION_COMMAND;
    frame.hasPlain = true;
    frame.plain = InnerRecordBytes(dataType, peer.mac.empty() ? Bytes(kMacSize) : peer.mac, request);
    return frame;
}

// A body that happens to begin with FF FF would be read as a network failure.
static bool LooksLikeNetworkFailure(const OutFrame &frame, const std::string &key)
{
    const Bytes bytes = EncodeFrame(frame, key);
    const size_t body = kFrameHeaderSize + frame.head.size();
    return bytes.size() >= body + 2 && bytes[body] == 0xFF && bytes[body + 1] == 0xFF;
}

static void CallFunction(uint16_t id, uint8_t dataType, const Bytes &parameters, FrameContext *context, OutFrame *frame)
{
    Peer *peer = context->peer;
    uint16_t tag;
    do {
        tag = peer->nextTag++;
        Bytes request = {static_cast<uint8_t>(tag), static_cast<uint8_t>(tag >> 8), static_cast<uint8_t>(id),
                         static_cast<uint8_t>(id >> 8)};
        request.resize(10);
        Append(&request, parameters);
        *frame = FunctionFrame(request, dataType, *peer);
    } while (LooksLikeNetworkFailure(*frame, context->key));
    peer->waiting[tag] = {id, context->nowMs};
}

// A function under its own name, with typed parameters.
static bool MakeTypedFunction(const Function &function, const Words &words, FrameContext *context, OutFrame *frame,
                              std::string *error)
{
    Bytes parameters;
    if (!MakeParameters(function, Words(words.begin() + 1, words.end()), &parameters, error)) return false;
    if (parameters.size() > kMaxBytes) return Fail(error, "too many bytes");
    CallFunction(static_cast<uint16_t>(function.id), static_cast<uint8_t>(function.id), parameters, context, frame);
    return true;
}

static bool MakeFunction(const Words &words, FrameContext *context, OutFrame *frame, std::string *error)
{
    uint16_t id;
    if (!ParseFunction(words[1], &id)) return Fail(error, "'" + words[1] + "' is not a function");
    uint8_t dataType = static_cast<uint8_t>(id);
    Bytes parameters;
    for (size_t i = 2; i < words.size(); i++) {
        std::string value;
        Bytes bytes;
        int64_t number;
        if (ValueOf(words[i], "text", &value)) {
            bytes = ToBytes(value);
        } else if (ValueOf(words[i], "datatype", &value)) {
            if (!ParseNumber(value, 0, 255, &number)) return Fail(error, "'" + value + "' is not a DataType");
            dataType = static_cast<uint8_t>(number);
        } else if (!HexArgument(words[i], &bytes, error)) {
            return false;
        }
        Append(&parameters, bytes);
    }
    if (parameters.size() > kMaxBytes) return Fail(error, "too many bytes");
    CallFunction(id, dataType, parameters, context, frame);
    return true;
}

static bool MakeRecord(const Words &words, FrameContext *context, OutFrame *frame, std::string *error)
{
    Bytes request;
    std::string value;
    int64_t dataType = 0;
    if (!HexArgument(words[1], &request, error)) return false;
    if (words.size() > 2 && (!ValueOf(words[2], "datatype", &value) || !ParseNumber(value, 0, 255, &dataType)))
        return Fail(error, "'" + words[2] + "' is not datatype=NUMBER");
    *frame = FunctionFrame(request, static_cast<uint8_t>(dataType), *context->peer);
    return true;
}

static bool PluginFrame(uint8_t dataType, const std::string &text, OutFrame *frame, std::string *error)
{
    if (text.size() > kMaxBytes) return Fail(error, "too long");
    frame->msgType = MSG_PLUG_COMMAND;
    frame->hasPlain = true;
    frame->plain = InnerRecordBytes(dataType, {}, ToBytes(text));
    return true;
}

static bool MakePlugin(const Words &words, FrameContext *, OutFrame *frame, std::string *error)
{
    uint8_t dataType;
    if (!ParsePluginType(words[1], &dataType)) return Fail(error, "'" + words[1] + "' is not a plugin data type");
    return PluginFrame(dataType, Joined(words, 2), frame, error);
}

// A function whose only parameter is a text to the end of its request.
static bool CallWithText(uint16_t id, const std::string &text, FrameContext *context, OutFrame *frame,
                         std::string *error)
{
    if (text.size() > kMaxBytes) return Fail(error, "too long");
    CallFunction(id, static_cast<uint8_t>(id), ToBytes(text), context, frame);
    return true;
}

static bool MakeSurfJson(const Words &words, FrameContext *context, OutFrame *frame, std::string *error)
{
    return CallWithText(kSurfFunction, Joined(words, 1), context, frame, error);
}

static bool MakeRaw(const Words &words, FrameContext *, OutFrame *frame, std::string *error)
{
    std::string text;
    for (size_t i = 1; i < words.size(); i++) text += words[i] + ' ';
    if (!HexArgument(text, &frame->raw, error)) return false;
    return !frame->raw.empty() || Fail(error, "no bytes");
}

static bool MakeFreeFrame(const Words &words, FrameContext *, OutFrame *frame, std::string *error)
{
    if (!ParseMsgType(words[1], &frame->msgType)) return Fail(error, "'" + words[1] + "' is not a MsgType");
    for (size_t i = 2; i < words.size(); i++) {
        std::string value;
        int64_t number;
        if (ValueOf(words[i], "head", &value)) {
            if (!HexArgument(value, &frame->head, error)) return false;
            if (frame->head.size() > 255) return Fail(error, "a head block has at most 255 bytes");
        } else if (ValueOf(words[i], "body", &value)) {
            if (!HexArgument(value, &frame->body, error)) return false;
        } else if (ValueOf(words[i], "plain", &value)) {
            if (!HexArgument(value, &frame->plain, error)) return false;
            frame->hasPlain = true;
        } else if (ValueOf(words[i], "checksum", &value)) {
            if (!ParseNumber(value, 0, 255, &number)) return Fail(error, "a checksum is 0 to 255");
            frame->checksum = static_cast<uint8_t>(number);
        } else if (ValueOf(words[i], "length", &value)) {
            if (!ParseNumber(value, 0, 65535, &number)) return Fail(error, "a length is 0 to 65535");
            frame->bodyLength = static_cast<uint16_t>(number);
        } else if (ValueOf(words[i], "flag", &value)) {
            if (!ParseNumber(value, 0, 7, &number)) return Fail(error, "a flag is 0 to 7");
            frame->flag = static_cast<uint8_t>(number);
        } else {
            return Fail(error, "'" + words[i] + "' is none of head=, body=, plain=, checksum=, length=, flag=");
        }
    }
    if (frame->hasPlain && !frame->body.empty()) return Fail(error, "give body= or plain=, not both");
    return true;
}

static bool MakeDisconnect(const Words &, FrameContext *, OutFrame *frame, std::string *)
{
    frame->msgType = MSG_FORCE_DISCONNECT;
    return true;
}

static bool MakeNetworkFailure(const Words &, FrameContext *, OutFrame *frame, std::string *)
{
    frame->msgType = MSG_HEARTBEAT_ACK;
    frame->body = Bytes(16, 0xFF);
    return true;
}

// The values of a typed command. `limit` tells what to do by what stands behind the MAC.
static bool TypedValues(const Words &words, std::vector<std::optional<std::string>> *values, std::string *error)
{
    values->assign(words.begin() + 1, words.end());
    if (words[0] != "limit") return true;
    const bool off = words.size() == 3;
    if (off && words[2] != "off")
        return Fail(error, "'" + words[2] + "' is not off, and behind an UP a DOWN is missing");
    if (off) values->pop_back();
    values->insert(values->begin(), off ? "off" : "set");
    return true;
}

// A command whose frame is a JSON text with typed members. To send an agent something invalid, use a text (`plugin`,
// `set-bandwidth`, `surf-json`).
static bool MakeTypedCommand(const Words &words, FrameContext *context, OutFrame *frame, std::string *error)
{
    const PluginCommand &command = *FindPluginCommand(words[0]);
    std::vector<std::optional<std::string>> values;
    std::string text;
    if (!TypedValues(words, &values, error) || !MakeCommandText(command, values, &CommandMember::label, &text, error))
        return false;
    return command.function ? CallWithText(command.function, text, context, frame, error)
                            : PluginFrame(command.dataType, text, frame, error);
}

static std::vector<std::string> LimitCompletions(const Words &words)
{
    return words.size() == 2 ? std::vector<std::string>{"off"} : std::vector<std::string>();
}

CommandList FrameCommands(FrameContext *context, OutFrame *frame)
{
    const auto make = [=](bool (*maker)(const Words &, FrameContext *, OutFrame *, std::string *)) {
        return [=](const Words &words) {
            std::string error;
            return Result(maker(words, context, frame, &error), error);
        };
    };
    const auto typed = make(MakeTypedCommand);
    return {
        {"version", "", "ask for the router's version (function 1)", 0, 0, true,
         [=](const Words &) {
             CallFunction(1, 1, {}, context, frame);
             return Outcome::Ok();
         }},
        {"function", "ID [HEX | text=TEXT | datatype=N]...",
         "send any function command, by number or name, with its parameters as they stand. The DataType is the low "
         "byte "
         "of ID unless given",
         1, 32, true, make(MakeFunction), Choice(FunctionNameList())},
        {"record", "HEX [datatype=N]", "send a function command whose whole request record is HEX, however short", 1, 2,
         true, make(MakeRecord)},
        {"plugin", "TYPE [TEXT]",
         "send a plugin data command (MsgType 18): TYPE by number or name, then its text, mostly JSON", 1, kMaxWords,
         true, make(MakePlugin), Choice(PluginTypeNames())},
        {"forward", "add|del PRE_IP PRE_PORT POST_IP POST_PORT",
         "forward TCP connections for PRE_IP:PRE_PORT to POST_IP:POST_PORT; del: stop it (plugin route-set)", 5, 5,
         true, typed, Choice({"add", "del"})},
        {"limit", "MAC UP DOWN | limit MAC off",
         "limit what a device sends and receives, in the router's unit; off: remove the limit (function 66)", 2, 3,
         true, typed, LimitCompletions},
        {"surf", "add|del MAC DAYS START STOP",
         "block a device's internet access from START to STOP (H:MM, both included); del: remove the rule (function "
         "69). DAYS has a digit for each weekday: 1 Monday, 2 Tuesday, 3 Wednesday, 4 Thursday, 5 Friday, 6 Saturday. "
         "7 is stored and never matches: an agent counts Sunday as 0, for which there are no rules",
         5, 5, true, typed, Choice({"add", "del"})},
        {"surf-json", "TEXT", "send function 69 with this text, valid or not", 1, kMaxWords, true, make(MakeSurfJson)},
        {"firmware-check", "FROM TO",
         "ask whether firmware FROM may become TO (plugin firmware-check); answered as an upload", 2, 2, true, typed},
        {"firmware-update", "FROM TO URL LENGTH METHOD SUM",
         "have the router's management process update the firmware (plugin firmware-update); the result is an upload",
         6, 6, true, typed},
        {"report-interval", "MINUTES",
         "report each device that comes online, and again after MINUTES (1 to 19); 0: report none (plugin "
         "report-interval)",
         1, 1, true, typed},
        {"frame", "MSGTYPE [head=HEX] [plain=HEX | body=HEX] [checksum=N] [length=N] [flag=N]",
         "send any frame: plain= is encrypted, body= is not; checksum and body length are right unless given", 1, 7,
         true, make(MakeFreeFrame), Choice(MsgTypeNames())},
        {"raw", "HEX", "send bytes as they stand", 1, kMaxWords, true, make(MakeRaw)},
        {"disconnect", "", "send a forced disconnect (MsgType 3), which ends the agent's process", 0, 0, true,
         make(MakeDisconnect)},
        {"network-failure", "", "send a frame whose body begins FF FF, which ends the agent's session", 0, 0, true,
         make(MakeNetworkFailure)},
    };
}

CommandList FunctionCommands()
{
    CommandList commands;
    for (const Function &function : kFunctions) {
        if (!*function.name) continue;
        const auto completions = [&function](const Words &words) {
            return ParameterCompletions(function, From(words, 1));
        };
        // The list of help has one line for all of them.
        const char *line = commands.empty()
                               ? "  FUNCTION [PARAMETER]...\n        query or set something of the router: "
                                 "\"functions\" lists them all\n"
                               : "";
        const auto help = [&function, line](bool alone) { return alone ? FunctionHelp(function) : line; };
        commands.push_back({function.name, "", nullptr, 0, 0, true, nullptr, completions, help});
    }
    return commands;
}

bool MakeFrame(const Words &words, FrameContext *context, OutFrame *frame, std::string *error)
{
    const std::string name = words.empty() ? "" : words[0];
    *frame = OutFrame();
    const CommandList commands = FrameCommands(context, frame);
    const Command *command = FindCommand(commands, name);
    const Function *function = FindFunction(name);
    if (!command && function) return MakeTypedFunction(*function, words, context, frame, error);
    if (!command) return Fail(error, "'" + name + "' sends no frame");
    const Outcome outcome = RunCommand(*command, words);
    return outcome.kind == Outcome::Done || Fail(error, outcome.reason);
}

} // namespace sim
