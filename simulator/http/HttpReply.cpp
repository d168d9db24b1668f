#include "simulator/http/HttpReply.h"

#include <algorithm>
#include <optional>

#include "simulator/http/HttpFaults.h"

namespace sim
{

namespace
{
// The parts of a header.
struct Parts {
    int64_t announced = 0;           // bytes
    std::optional<std::string> text; // instead of their number
    size_t lengthLine = 0;           // least number of characters of the Content-Length line
    bool withLength = true;
    bool keepAlive = true;
    std::string before, after; // whole lines around Content-Length
    bool emptyLine = true;
    bool bareLf = false;
    size_t cut = std::string::npos;
};
} // namespace

static std::string Reason(int status)
{
    switch (status) {
    case 200: return "OK";
    case 404: return "Not Found";
    case 405: return "Method Not Allowed";
    case 408: return "Request Timeout";
    case 431: return "Request Header Fields Too Large";
    case 505: return "HTTP Version Not Supported";
    default: return "Bad Request";
    }
}

// A header line of `size` bytes, CR LF included.
static std::string Filler(int64_t size)
{
    const std::string name = "X-Filler: ", end = "\r\n";
    return name + std::string(static_cast<size_t>(size) - name.size() - end.size(), 'x') + end;
}

static std::string LengthLine(const Parts &parts)
{
    const std::string name = "Content-Length: ";
    const std::string number = parts.text.value_or(std::to_string(parts.announced));
    const size_t size = name.size() + number.size();
    return name + std::string(parts.lengthLine > size ? parts.lengthLine - size : 0, '0') + number + "\r\n";
}

static std::string HeaderText(int status, const Parts &parts)
{
    std::string text = "HTTP/1.1 " + std::to_string(status) + ' ' + Reason(status) + "\r\n";
    if (status == 405) text += "Allow: GET\r\n";
    text += "Content-Type: application/octet-stream\r\n";
    text += parts.keepAlive ? "Connection: keep-alive\r\n" : "Connection: close\r\n";
    text += parts.before + (parts.withLength ? LengthLine(parts) : "") + parts.after;
    if (parts.emptyLine) text += "\r\n";
    if (parts.bareLf) text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    if (parts.cut < text.size()) text.resize(parts.cut);
    return text;
}

// Ends the reply after `bytes` of the body, unless it ends earlier.
static void EndAfter(HttpReply *reply, int64_t bytes, HttpReply::End end)
{
    if (bytes > reply->send || (reply->early && bytes == reply->send)) return;
    reply->send = bytes;
    reply->end = end;
    reply->early = true;
}

// What is sent, and when.
static void ApplyToBody(const ActiveFault &fault, HttpReply *reply)
{
    if (fault.Is("size") || fault.Is("not-found")) {
        reply->status = fault.Is("size") ? 200 : 404;
        reply->body = HttpBody();
        reply->body.size = fault.number;
    }
    if (fault.Is("late")) reply->lateMs = fault.number;
    if (fault.Is("drip-header")) reply->dripMs = fault.number;
    if (fault.Is("slow")) reply->rate = fault.number;
}

static void ApplyToHeader(const ActiveFault &fault, Parts *parts)
{
    if (fault.Is("cut-header")) parts->cut = static_cast<size_t>(fault.number);
    if (fault.Is("no-header-end")) parts->emptyLine = false;
    if (fault.Is("bare-lf")) parts->bareLf = true;
    if (fault.Is("long-header")) parts->after = Filler(fault.number);
    if (fault.Is("late-length")) parts->before += Filler(fault.number);
    if (fault.Is("header")) parts->before += fault.value + "\r\n";
    if (fault.Is("length")) parts->text = fault.value;
    if (fault.Is("length-line")) parts->lengthLine = static_cast<size_t>(fault.number);
    if (fault.Is("no-length")) parts->withLength = parts->keepAlive = false; // nothing else would end the body
    if (fault.Is("announce-more")) parts->announced += fault.number;
}

static void ApplyToEnd(const ActiveFault &fault, HttpReply *reply)
{
    if (fault.Is("announce-more")) EndAfter(reply, reply->send, HttpReply::End::Close);
    if (fault.Is("stall")) EndAfter(reply, fault.number, HttpReply::End::Stall);
    if (fault.Is("close")) EndAfter(reply, fault.number, HttpReply::End::Close);
    if (fault.Is("reset")) EndAfter(reply, fault.number, HttpReply::End::Reset);
}

HttpReply MakeHttpReply(const HttpRequest &request, HttpBody body, const std::vector<ActiveFault> &faults)
{
    HttpReply reply;
    Parts parts;
    parts.keepAlive = request.keepAlive;
    if (request.refusal || request.method != "GET") {
        reply.status = request.refusal ? request.refusal : 405;
        parts.keepAlive = false; // anything sent after it is ignored
        reply.end = HttpReply::End::Close;
        reply.header = HeaderText(reply.status, parts);
        return reply;
    }
    reply.status = body.found ? 200 : 404;
    reply.body = std::move(body);
    for (const ActiveFault &fault : faults) {
        reply.faults.push_back(FaultText(kHttpFaults, fault));
        ApplyToBody(fault, &reply);
    }
    reply.send = parts.announced = reply.body.size;
    for (const ActiveFault &fault : faults) {
        ApplyToHeader(fault, &parts);
        if (fault.Is("send-more")) reply.send += fault.number;
    }
    reply.end = parts.keepAlive ? HttpReply::End::Keep : HttpReply::End::Close;
    for (const ActiveFault &fault : faults) ApplyToEnd(fault, &reply);
    reply.header = HeaderText(reply.status, parts);
    if (parts.cut != std::string::npos) {
        reply.send = 0;
        if (!reply.early) reply.end = HttpReply::End::Close;
        reply.early = true;
    }
    return reply;
}

} // namespace sim
